#include "Tools/nimb/Viewer/Shaders.h"

#include "Tools/nimb/ExitStatus.h"

#include <GLES3/gl3.h>

#include <string>

namespace Nimb::Tool {
namespace {

GLuint Compile(GLenum type, const char* source) {
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    GLint isCompiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &isCompiled);
    if (isCompiled == GL_FALSE) {
        char log[1024] = {};
        glGetShaderInfoLog(shader, sizeof log, nullptr, log);
        throw OutputError(std::string("a shader does not compile: ") + log);
    }
    return shader;
}

}  // namespace

unsigned int LinkShaders(const char* vertexSource, const char* fragmentSource) {
    const GLuint vertex = Compile(GL_VERTEX_SHADER, vertexSource);
    const GLuint fragment = Compile(GL_FRAGMENT_SHADER, fragmentSource);
    const GLuint program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glLinkProgram(program);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    GLint isLinked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &isLinked);
    if (isLinked == GL_FALSE) {
        char log[1024] = {};
        glGetProgramInfoLog(program, sizeof log, nullptr, log);
        throw OutputError(std::string("a shader program does not link: ") + log);
    }
    return program;
}

}  // namespace Nimb::Tool
