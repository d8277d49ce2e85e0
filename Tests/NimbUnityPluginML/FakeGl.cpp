#include "Tests/NimbUnityPluginML/FakeGl.h"

#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#include <EGL/eglext.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <sstream>
#include <utility>

namespace {

constexpr GLuint c_EnginesFramebuffer = 77;

/// What Reset takes away.
struct Data {
    FakeGl::Script script;
    std::vector<std::string> calls;
    int callsWithoutContext = 0;
    std::map<GLuint, GLenum> shaders;
    std::map<GLuint, Fake::Bytes> buffers;
    std::map<GLuint, std::int64_t> textures;  ///< name, picture
    std::map<GLenum, GLuint> boundBuffers;
    GLuint boundExternal = 0;
    GLuint framebuffer = c_EnginesFramebuffer;
    GLuint attachment = 0;
    std::map<std::uintptr_t, std::int64_t> images;  ///< name, picture
    int imagesOfReleasedBuffers = 0;
};

struct State : Data {
    std::mutex mutex;
    GLuint next = 1;
};

State& TheState() {
    static State state;
    return state;
}

thread_local EGLContext t_Context = EGL_NO_CONTEXT;
char g_ContextObject = 0;

/// Records one call. The lock guards the state; `operator bool`: there is a context.
class Call {
public:
    template <class... Arguments>
    explicit Call(const char* function, Arguments... arguments) : m_Lock(TheState().mutex) {
        if (t_Context == EGL_NO_CONTEXT) {
            ++TheState().callsWithoutContext;
            return;
        }
        std::ostringstream list;
        ((list << ", " << arguments), ...);
        const std::string text = list.str();
        TheState().calls.push_back(function + (text.empty() ? "" : "(" + text.substr(2) + ")"));
    }
    explicit operator bool() const { return t_Context != EGL_NO_CONTEXT; }

private:
    Fake::Inside m_Inside;
    std::lock_guard<std::mutex> m_Lock;
};

/// A constant of GL, as headers have it.
std::string Hex(GLenum value) {
    const Fake::Inside inside;
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

/// The bytes of the buffer bound to `target` when the range lies inside it; the error of GL otherwise.
std::uint8_t* Range(GLenum target, GLintptr offset, GLsizeiptr size) {
    State& state = TheState();
    const auto it = state.buffers.find(state.boundBuffers[target]);
    if (it == state.buffers.end()) {
        state.script.error = GL_INVALID_OPERATION;
        return nullptr;
    }
    if (offset < 0 || size < 0 || static_cast<std::size_t>(offset + size) > it->second.size()) {
        state.script.error = GL_INVALID_VALUE;
        return nullptr;
    }
    return it->second.data() + offset;
}

/// What the driver says of a shader or program that failed with this log, or, with none, did not.
GLint StatusOrLength(GLenum name, GLenum statusName, const std::string& log) {
    const bool failed = !log.empty();
    return name == statusName ? (failed ? 0 : 1) : (failed ? static_cast<GLint>(log.size()) + 1 : 0);
}

void CopyLog(const std::string& log, GLsizei size, char* out) {
    std::snprintf(out, static_cast<std::size_t>(size), "%s", log.c_str());
}

}  // namespace

namespace FakeGl {

void Reset() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    static_cast<Data&>(TheState()) = Data();
}

void MakeCurrent(EGLContext context) {
    t_Context = context;
}

EGLContext TheContext() {
    return static_cast<EGLContext>(&g_ContextObject);
}

Script& TheScript() {
    return TheState().script;
}

std::vector<std::string> Calls() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().calls;
}

int CallsOf(const std::string& begin) {
    const std::vector<std::string> calls = Calls();
    return static_cast<int>(std::count_if(calls.begin(), calls.end(), [&begin](const std::string& call) {
        return call.compare(0, begin.size(), begin) == 0;
    }));
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
    return std::exchange(TheState().script.eglError, EGL_SUCCESS);
}

EGLImageKHR eglCreateImageKHR(EGLDisplay, EGLContext context, EGLenum target, EGLClientBuffer buffer,
                              const EGLint* attributes) {
    const Call call(__func__, context == EGL_NO_CONTEXT ? "no context" : "context", Hex(target),
                    attributes == nullptr ? "null" : "attributes");
    State& state = TheState();
    const auto picture = Fake::PictureOf(reinterpret_cast<std::uintptr_t>(buffer));
    state.imagesOfReleasedBuffers += picture ? 0 : 1;
    if (!call || state.script.failImages || !picture) {
        return EGL_NO_IMAGE_KHR;
    }
    const std::uintptr_t name = state.next++;
    state.images[name] = *picture;
    return reinterpret_cast<EGLImageKHR>(name);
}

EGLBoolean eglDestroyImageKHR(EGLDisplay, EGLImageKHR image) {
    const Call call(__func__);
    return TheState().images.erase(reinterpret_cast<std::uintptr_t>(image)) != 0 ? EGL_TRUE : EGL_FALSE;
}

// ---- GL: calls that are recorded and have no other effect here ----

// clang-format off
void glActiveTexture(GLenum unit) { const Call call(__func__, Hex(unit)); }
void glAttachShader(GLuint, GLuint) { const Call call(__func__); }
void glBindAttribLocation(GLuint, GLuint index, const GLchar* name) { const Call call(__func__, index, name); }
void glBindVertexArray(GLuint array) { const Call call(__func__, array); }
void glClearColor(GLfloat r, GLfloat g, GLfloat b, GLfloat a) { const Call call(__func__, r, g, b, a); }
void glColorMask(GLboolean r, GLboolean g, GLboolean b, GLboolean a) { const Call call(__func__, +r, +g, +b, +a); }
void glCompileShader(GLuint) { const Call call(__func__); }
void glDeleteFramebuffers(GLsizei n, const GLuint*) { const Call call(__func__, n); }
void glDeleteProgram(GLuint) { const Call call(__func__); }
void glDeleteShader(GLuint) { const Call call(__func__); }
void glDisable(GLenum what) { const Call call(__func__, Hex(what)); }
void glDrawBuffers(GLsizei n, const GLenum* buffers) { const Call call(__func__, n, Hex(*buffers)); }
void glEnableVertexAttribArray(GLuint index) { const Call call(__func__, index); }
void glLinkProgram(GLuint) { const Call call(__func__); }
void glUniform1i(GLint location, GLint value) { const Call call(__func__, location, value); }
void glUseProgram(GLuint) { const Call call(__func__); }
void glViewport(GLint x, GLint y, GLsizei width, GLsizei height) { const Call call(__func__, x, y, width, height); }
// clang-format on

void glTexParameteri(GLenum target, GLenum name, GLint value) {
    const Call call(__func__, Hex(target), Hex(name), Hex(static_cast<GLenum>(value)));
}

void glVertexAttribPointer(GLuint index, GLint size, GLenum type, GLboolean normalised, GLsizei stride,
                           const void* pointer) {
    const Call call(__func__, index, size, Hex(type), +normalised, stride, reinterpret_cast<std::uintptr_t>(pointer));
}

// ---- GL: all others ----

GLenum glGetError() {
    const Call call(__func__);
    return call ? std::exchange(TheState().script.error, static_cast<GLenum>(GL_NO_ERROR)) : GL_NO_ERROR;
}

const GLubyte* glGetString(GLenum name) {
    const Call call(__func__, Hex(name));
    return call ? reinterpret_cast<const GLubyte*>("a fake") : nullptr;
}

void glGetIntegerv(GLenum name, GLint* data) {
    const Call call(__func__, Hex(name));
    State& state = TheState();
    *data = static_cast<GLint>(name == GL_COPY_READ_BUFFER_BINDING ? state.boundBuffers[GL_COPY_READ_BUFFER]
                                                                   : state.framebuffer);
}

void glGenBuffers(GLsizei n, GLuint* names) {
    if (const Call call(__func__, n); call) {
        TheState().buffers[*names = TheState().next++];
    }
}

GLboolean glIsBuffer(GLuint buffer) {
    const Call call(__func__, buffer);
    return call && TheState().buffers.count(buffer) != 0 ? GL_TRUE : GL_FALSE;
}

void glDeleteBuffers(GLsizei n, const GLuint* names) {
    if (const Call call(__func__, n); call) {
        TheState().buffers.erase(*names);
    }
}

void glBindBuffer(GLenum target, GLuint buffer) {
    if (const Call call(__func__, Hex(target), buffer); call) {
        TheState().boundBuffers[target] = buffer;
    }
}

void glBufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
    if (const Call call(__func__, Hex(target), size, Hex(usage)); call) {
        const auto* const bytes = static_cast<const std::uint8_t*>(data);
        TheState().buffers[TheState().boundBuffers[target]].assign(bytes, bytes + size);
    }
}

void glBufferSubData(GLenum target, GLintptr offset, GLsizeiptr size, const void* data) {
    const Call call(__func__, Hex(target), offset, size);
    std::uint8_t* const range = call ? Range(target, offset, size) : nullptr;
    if (range != nullptr && size > 0) {
        std::memcpy(range, data, static_cast<std::size_t>(size));
    }
}

void* glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access) {
    const Call call(__func__, Hex(target), offset, length, Hex(access));
    std::uint8_t* const range = call && !TheState().script.refuseMapping ? Range(target, offset, length) : nullptr;
    if (range != nullptr && (access & GL_MAP_INVALIDATE_BUFFER_BIT) != 0) {
        Fake::Bytes& bytes = TheState().buffers[TheState().boundBuffers[target]];
        std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xDD});
    }
    return range;
}

GLboolean glUnmapBuffer(GLenum target) {
    const Call call(__func__, Hex(target));
    return GL_TRUE;
}

void glGenTextures(GLsizei n, GLuint* names) {
    if (const Call call(__func__, n); call) {
        TheState().textures[*names = TheState().next++] = -1;
    }
}

void glDeleteTextures(GLsizei n, const GLuint* names) {
    if (const Call call(__func__, n); call) {
        TheState().textures.erase(*names);
    }
}

void glBindTexture(GLenum target, GLuint texture) {
    if (const Call call(__func__, Hex(target), texture); call) {
        TheState().boundExternal = texture;
    }
}

void glEGLImageTargetTexture2DOES(GLenum target, GLeglImageOES image) {
    if (const Call call(__func__, Hex(target)); call) {
        const auto it = TheState().images.find(reinterpret_cast<std::uintptr_t>(image));
        TheState().textures[TheState().boundExternal] = it != TheState().images.end() ? it->second : -2;
    }
}

GLuint glCreateShader(GLenum type) {
    const Call call(__func__, Hex(type));
    if (!call) {
        return 0;
    }
    TheState().shaders[TheState().next] = type;
    return TheState().next++;
}

void glShaderSource(GLuint, GLsizei count, const GLchar* const*, const GLint* lengths) {
    const Call call(__func__, count, lengths == nullptr ? "null" : "lengths");
}

void glGetShaderiv(GLuint shader, GLenum name, GLint* value) {
    const Call call(__func__, Hex(name));
    const auto& failures = TheState().script.shaderFailures;
    const auto failure = failures.find(TheState().shaders[shader]);
    *value = StatusOrLength(name, GL_COMPILE_STATUS, failure != failures.end() ? failure->second : "");
}

void glGetShaderInfoLog(GLuint shader, GLsizei size, GLsizei*, GLchar* out) {
    const Call call(__func__);
    CopyLog(TheState().script.shaderFailures[TheState().shaders[shader]], size, out);
}

GLuint glCreateProgram() {
    const Call call(__func__);
    return call ? TheState().next++ : 0;
}

void glGetProgramiv(GLuint, GLenum name, GLint* value) {
    const Call call(__func__, Hex(name));
    *value = StatusOrLength(name, GL_LINK_STATUS, TheState().script.linkFailure);
}

void glGetProgramInfoLog(GLuint, GLsizei size, GLsizei*, GLchar* out) {
    const Call call(__func__);
    CopyLog(TheState().script.linkFailure, size, out);
}

void glGenFramebuffers(GLsizei n, GLuint* names) {
    const Call call(__func__, n);
    *names = TheState().next++;
}

void glBindFramebuffer(GLenum target, GLuint framebuffer) {
    const Call call(__func__, Hex(target), framebuffer == c_EnginesFramebuffer ? "engine's" : "own");
    TheState().framebuffer = framebuffer;
}

void glFramebufferTexture2D(GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture, GLint level) {
    const Call call(__func__, Hex(target), Hex(attachment), Hex(textureTarget), texture, level);
    TheState().attachment = texture;
}

GLint glGetUniformLocation(GLuint, const GLchar* name) {
    const Call call(__func__, name);
    return TheState().script.uniformLocation;
}

void glDrawArrays(GLenum mode, GLint first, GLsizei count) {
    if (const Call call(__func__, Hex(mode), first, count); call) {
        TheState().textures[TheState().attachment] = TheState().textures[TheState().boundExternal];
    }
}
