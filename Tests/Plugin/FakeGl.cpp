#include "FakeGl.h"

#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#include <EGL/eglext.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace {

struct State {
    std::mutex mutex;
    std::vector<std::string> calls;
    int callsWithoutContext = 0;

    std::map<GLenum, std::string> shaderFailures;
    std::optional<std::string> linkFailure;
    std::map<GLuint, GLenum> shaders;
    std::map<GLenum, std::string> sources;
    std::set<GLuint> programs;
    bool failImages = false;
    bool refuseMapping = false;
    GLenum error = GL_NO_ERROR;
    EGLint eglError = EGL_SUCCESS;
    GLint uniformLocation = 0;

    GLuint next = 1;
    std::map<GLuint, Fake::Bytes> buffers;
    std::map<GLuint, std::int64_t> textures;  ///< name, picture
    std::map<GLenum, GLuint> boundBuffers;
    GLuint boundExternal = 0;
    GLuint framebuffer = 77;  ///< the engine's
    GLuint attachment = 0;
    std::map<std::uintptr_t, std::int64_t> images;  ///< name, picture
    int imagesOfReleasedBuffers = 0;
};

State& TheState() {
    static State state;
    return state;
}

thread_local EGLContext t_Context = EGL_NO_CONTEXT;
char g_ContextObject = 0;

/// Records one call. The returned lock guards the state; `operator bool`: there is a context.
class Call {
public:
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    explicit Call(const char* format, ...)
        : m_Lock(TheState().mutex) {
        char text[256];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        if (t_Context == EGL_NO_CONTEXT) {
            ++TheState().callsWithoutContext;
        } else if (TheState().calls.size() < 100000) {
            TheState().calls.emplace_back(text);
        }
    }
    explicit operator bool() const {
        return t_Context != EGL_NO_CONTEXT;
    }

private:
    std::lock_guard<std::mutex> m_Lock;
};

/// The bytes of the buffer bound to `target` when the range lies inside it; the error of GL otherwise.
std::uint8_t* Range(GLenum target, GLintptr offset, GLsizeiptr size) {
    State& state = TheState();
    const auto it = state.buffers.find(state.boundBuffers[target]);
    if (it == state.buffers.end()) {
        state.error = GL_INVALID_OPERATION;
        return nullptr;
    }
    if (offset < 0 || size < 0 || static_cast<std::size_t>(offset + size) > it->second.size()) {
        state.error = GL_INVALID_VALUE;
        return nullptr;
    }
    return it->second.data() + offset;
}

void CopyLog(const std::string& log, GLsizei size, char* out) {
    std::snprintf(out, static_cast<std::size_t>(size), "%s", log.c_str());
}

}  // namespace

namespace FakeGl {

void Reset() {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.calls.clear();
    state.callsWithoutContext = 0;
    state.shaderFailures.clear();
    state.linkFailure.reset();
    state.shaders.clear();
    state.sources.clear();
    state.programs.clear();
    state.failImages = state.refuseMapping = false;
    state.error = GL_NO_ERROR;
    state.eglError = EGL_SUCCESS;
    state.uniformLocation = 0;
    state.buffers.clear();
    state.textures.clear();
    state.boundBuffers.clear();
    state.framebuffer = 77;
    state.images.clear();
    state.imagesOfReleasedBuffers = 0;
}

void MakeCurrent(EGLContext context) {
    t_Context = context;
}

EGLContext TheContext() {
    return static_cast<EGLContext>(&g_ContextObject);
}

void FailShader(GLenum type, const std::string& infoLog) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().shaderFailures[type] = infoLog;
}

void FailLink(const std::string& infoLog) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().linkFailure = infoLog;
}

void Repair() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().shaderFailures.clear();
    TheState().linkFailure.reset();
}

void FailImages(bool fail) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().failImages = fail;
}

void SetError(GLenum error) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().error = error;
}

void SetEglError(EGLint error) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().eglError = error;
}

void SetUniformLocation(GLint location) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().uniformLocation = location;
}

void RefuseMapping(bool refuse) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().refuseMapping = refuse;
}

std::vector<std::string> Calls() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().calls;
}

void ClearCalls() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().calls.clear();
}

int CallsWithoutContext() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().callsWithoutContext;
}

GLuint MakeBuffer(std::size_t size) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().buffers[TheState().next] = Fake::Bytes(size, 0xC5) /* -6328 as a float */;
    return TheState().next++;
}

GLuint MakeTexture() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().textures[TheState().next] = -1;
    return TheState().next++;
}

Fake::Bytes BufferBytes(GLuint buffer) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().buffers[buffer];
}

void SetBufferBytes(GLuint buffer, Fake::Bytes bytes) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().buffers[buffer] = std::move(bytes);
}

std::int64_t PictureIn(GLuint texture) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().textures[texture];
}

std::string ShaderSource(GLenum type) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().sources[type];
}

int LiveImages() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return static_cast<int>(TheState().images.size());
}

int ImagesOfReleasedBuffers() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().imagesOfReleasedBuffers;
}

}  // namespace FakeGl

// ---- EGL ----

EGLContext eglGetCurrentContext() {
    return t_Context;
}

EGLDisplay eglGetDisplay(EGLNativeDisplayType) {
    return static_cast<EGLDisplay>(&TheState());
}

EGLBoolean eglQueryContext(EGLDisplay, EGLContext context, EGLint attribute, EGLint* value) {
    if (context == EGL_NO_CONTEXT || attribute != EGL_CONTEXT_CLIENT_VERSION) {
        return EGL_FALSE;
    }
    *value = 3;
    return EGL_TRUE;
}

EGLint eglGetError() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return std::exchange(TheState().eglError, EGL_SUCCESS);
}

EGLImageKHR eglCreateImageKHR(EGLDisplay, EGLContext context, EGLenum target, EGLClientBuffer buffer,
                              const EGLint* attributes) {
    const Call call("eglCreateImageKHR(%s, %x, %s)", context == EGL_NO_CONTEXT ? "no context" : "context", target,
                    attributes == nullptr ? "null" : "attributes");
    State& state = TheState();
    const auto picture = Fake::PictureOf(reinterpret_cast<std::uintptr_t>(buffer));
    state.imagesOfReleasedBuffers += picture ? 0 : 1;
    if (!call || state.failImages || !picture) {
        return EGL_NO_IMAGE_KHR;
    }
    const std::uintptr_t name = state.next++;
    state.images[name] = *picture;
    return reinterpret_cast<EGLImageKHR>(name);
}

EGLBoolean eglDestroyImageKHR(EGLDisplay, EGLImageKHR image) {
    const Call call("eglDestroyImageKHR");
    return TheState().images.erase(reinterpret_cast<std::uintptr_t>(image)) != 0 ? EGL_TRUE : EGL_FALSE;
}

// ---- GL ----

void glEGLImageTargetTexture2DOES(GLenum target, GLeglImageOES image) {
    if (const Call call("glEGLImageTargetTexture2DOES(%x)", target); call) {
        const auto it = TheState().images.find(reinterpret_cast<std::uintptr_t>(image));
        TheState().textures[TheState().boundExternal] = it != TheState().images.end() ? it->second : -2;
    }
}

GLenum glGetError() {
    const Call call("glGetError");
    return call ? std::exchange(TheState().error, static_cast<GLenum>(GL_NO_ERROR)) : GL_NO_ERROR;
}

const GLubyte* glGetString(GLenum name) {
    const Call call("glGetString(%x)", name);
    return call ? reinterpret_cast<const GLubyte*>("a fake") : nullptr;
}

void glGetIntegerv(GLenum name, GLint* data) {
    const Call call("glGetIntegerv(%x)", name);
    *data = static_cast<GLint>(TheState().framebuffer);
}

void glGenBuffers(GLsizei n, GLuint* names) {
    if (const Call call("glGenBuffers(%d)", n); call) {
        TheState().buffers[*names = TheState().next++];
    }
}

void glDeleteBuffers(GLsizei n, const GLuint* names) {
    if (const Call call("glDeleteBuffers(%d)", n); call) {
        TheState().buffers.erase(*names);
    }
}

void glBindBuffer(GLenum target, GLuint buffer) {
    const Call call("glBindBuffer(%x, %u)", target, buffer);
    if (call) {
        TheState().boundBuffers[target] = buffer;
    }
}

void glBufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
    if (const Call call("glBufferData(%x, %ld, %x)", target, static_cast<long>(size), usage); call) {
        const auto* const bytes = static_cast<const std::uint8_t*>(data);
        TheState().buffers[TheState().boundBuffers[target]].assign(bytes, bytes + size);
    }
}

void glBufferSubData(GLenum target, GLintptr offset, GLsizeiptr size, const void* data) {
    const Call call("glBufferSubData(%x, %ld, %ld)", target, static_cast<long>(offset), static_cast<long>(size));
    std::uint8_t* const range = call ? Range(target, offset, size) : nullptr;
    if (range != nullptr && size > 0) {
        std::memcpy(range, data, static_cast<std::size_t>(size));
    }
}

void* glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access) {
    const Call call("glMapBufferRange(%x, %ld, %ld, %x)", target, static_cast<long>(offset), static_cast<long>(length),
                    access);
    std::uint8_t* const range = call && !TheState().refuseMapping ? Range(target, offset, length) : nullptr;
    if (range != nullptr && (access & GL_MAP_INVALIDATE_BUFFER_BIT) != 0) {
        Fake::Bytes& bytes = TheState().buffers[TheState().boundBuffers[target]];
        std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xDD});
    }
    return range;
}

GLboolean glUnmapBuffer(GLenum target) {
    const Call call("glUnmapBuffer(%x)", target);
    return GL_TRUE;
}

void glGenTextures(GLsizei n, GLuint* names) {
    if (const Call call("glGenTextures(%d)", n); call) {
        TheState().textures[*names = TheState().next++] = -1;
    }
}

void glDeleteTextures(GLsizei n, const GLuint* names) {
    if (const Call call("glDeleteTextures(%d)", n); call) {
        TheState().textures.erase(*names);
    }
}

void glActiveTexture(GLenum unit) {
    const Call call("glActiveTexture(%x)", unit);
}

void glBindTexture(GLenum target, GLuint texture) {
    if (const Call call("glBindTexture(%x, %u)", target, texture); call) {
        TheState().boundExternal = texture;
    }
}

void glTexParameteri(GLenum target, GLenum name, GLint value) {
    const Call call("glTexParameteri(%x, %x, %x)", target, name, static_cast<unsigned>(value));
}

GLuint glCreateShader(GLenum type) {
    const Call call("glCreateShader(%x)", type);
    if (!call) {
        return 0;
    }
    TheState().shaders[TheState().next] = type;
    return TheState().next++;
}

void glShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings, const GLint* lengths) {
    if (const Call call("glShaderSource(%d, %s)", count, lengths == nullptr ? "null" : "lengths"); call) {
        TheState().sources[TheState().shaders[shader]] = *strings;
    }
}

void glCompileShader(GLuint) {
    const Call call("glCompileShader");
}

void glGetShaderiv(GLuint shader, GLenum name, GLint* value) {
    const Call call("glGetShaderiv(%x)", name);
    State& state = TheState();
    const auto failure = state.shaderFailures.find(state.shaders[shader]);
    const bool failed = failure != state.shaderFailures.end();
    *value =
        name == GL_COMPILE_STATUS ? (failed ? 0 : 1) : (failed ? static_cast<GLint>(failure->second.size()) + 1 : 0);
}

void glGetShaderInfoLog(GLuint shader, GLsizei size, GLsizei*, GLchar* out) {
    const Call call("glGetShaderInfoLog");
    CopyLog(TheState().shaderFailures[TheState().shaders[shader]], size, out);
}

void glDeleteShader(GLuint shader) {
    if (const Call call("glDeleteShader"); call) {
        TheState().shaders.erase(shader);
    }
}

GLuint glCreateProgram() {
    const Call call("glCreateProgram");
    if (!call) {
        return 0;
    }
    TheState().programs.insert(TheState().next);
    return TheState().next++;
}

void glAttachShader(GLuint, GLuint) {
    const Call call("glAttachShader");
}

void glLinkProgram(GLuint) {
    const Call call("glLinkProgram");
}

void glGetProgramiv(GLuint, GLenum name, GLint* value) {
    const Call call("glGetProgramiv(%x)", name);
    const auto& failure = TheState().linkFailure;
    *value = name == GL_LINK_STATUS ? (failure ? 0 : 1) : (failure ? static_cast<GLint>(failure->size()) + 1 : 0);
}

void glGetProgramInfoLog(GLuint, GLsizei size, GLsizei*, GLchar* out) {
    const Call call("glGetProgramInfoLog");
    CopyLog(TheState().linkFailure.value_or(""), size, out);
}

void glDeleteProgram(GLuint program) {
    if (const Call call("glDeleteProgram"); call) {
        TheState().programs.erase(program);
    }
}

void glBindAttribLocation(GLuint, GLuint index, const GLchar* name) {
    const Call call("glBindAttribLocation(%u, %s)", index, name);
}

void glGenFramebuffers(GLsizei n, GLuint* names) {
    const Call call("glGenFramebuffers(%d)", n);
    *names = TheState().next++;
}

void glBindFramebuffer(GLenum target, GLuint framebuffer) {
    const Call call("glBindFramebuffer(%x, %s)", target, framebuffer == 77 ? "engine's" : "own");
    TheState().framebuffer = framebuffer;
}

void glDeleteFramebuffers(GLsizei n, const GLuint*) {
    const Call call("glDeleteFramebuffers(%d)", n);
}

void glFramebufferTexture2D(GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture, GLint level) {
    const Call call("glFramebufferTexture2D(%x, %x, %x, %u, %d)", target, attachment, textureTarget, texture, level);
    TheState().attachment = texture;
}

void glDisable(GLenum what) {
    const Call call("glDisable(%x)", what);
}

void glColorMask(GLboolean r, GLboolean g, GLboolean b, GLboolean a) {
    const Call call("glColorMask(%d, %d, %d, %d)", r, g, b, a);
}

void glViewport(GLint x, GLint y, GLsizei width, GLsizei height) {
    const Call call("glViewport(%d, %d, %d, %d)", x, y, width, height);
}

void glClearColor(GLfloat r, GLfloat g, GLfloat b, GLfloat a) {
    const Call call("glClearColor(%g, %g, %g, %g)", static_cast<double>(r), static_cast<double>(g),
                    static_cast<double>(b), static_cast<double>(a));
}

void glDrawBuffers(GLsizei n, const GLenum* buffers) {
    const Call call("glDrawBuffers(%d, %x)", n, *buffers);
}

void glUseProgram(GLuint) {
    const Call call("glUseProgram");
}

GLint glGetUniformLocation(GLuint, const GLchar* name) {
    const Call call("glGetUniformLocation(%s)", name);
    return TheState().uniformLocation;
}

void glUniform1i(GLint location, GLint value) {
    const Call call("glUniform1i(%d, %d)", location, value);
}

void glBindVertexArray(GLuint array) {
    const Call call("glBindVertexArray(%u)", array);
}

void glEnableVertexAttribArray(GLuint index) {
    const Call call("glEnableVertexAttribArray(%u)", index);
}

void glVertexAttribPointer(GLuint index, GLint size, GLenum type, GLboolean normalised, GLsizei stride,
                           const void* pointer) {
    const Call call("glVertexAttribPointer(%u, %d, %x, %d, %d, %d)", index, size, type, normalised, stride,
                    static_cast<int>(reinterpret_cast<std::uintptr_t>(pointer)));
}

void glDrawArrays(GLenum mode, GLint first, GLsizei count) {
    if (const Call call("glDrawArrays(%x, %d, %d)", mode, first, count); call) {
        TheState().textures[TheState().attachment] = TheState().textures[TheState().boundExternal];
    }
}
