// The three functions of the image extensions that the headset's drivers export by name, and desktop drivers do not.
//
// EGL_NATIVE_BUFFER_ANDROID means one of our codec's frames here: its pixels are uploaded into a texture of the current
// context, top row first, and an image is made of that. The texture's name is given up at once: the image keeps the
// pixels, and frees them when it is destroyed, whichever context is current then. All other targets go to the driver.
#include "Platform/Desktop/HandleTable.h"
#include "Platform/Desktop/VideoFrame.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#define GL_GLEXT_PROTOTYPES
#include <GLES2/gl2ext.h>

#include <array>
#include <cstddef>

using Nimb::Desktop::HandleTable;
using Nimb::Desktop::VideoFrame;

namespace {

constexpr GLint c_BytesPerPixel = 4;

/// Puts back what an upload changes: callers do not expect an EGL function to touch their GL state.
class UploadState {
public:
    UploadState() {
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &m_Texture);
        glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &m_UnpackBuffer);
        for (size_t i = 0; i < c_Parameters.size(); ++i) {
            glGetIntegerv(c_Parameters[i], &m_Values[i]);
            glPixelStorei(c_Parameters[i], c_Parameters[i] == GL_UNPACK_ALIGNMENT ? c_BytesPerPixel : 0);
        }
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    }
    ~UploadState() {
        for (size_t i = 0; i < c_Parameters.size(); ++i) {
            glPixelStorei(c_Parameters[i], m_Values[i]);
        }
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(m_UnpackBuffer));
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(m_Texture));
    }
    UploadState(const UploadState&) = delete;
    UploadState& operator=(const UploadState&) = delete;

private:
    static constexpr std::array<GLenum, 6> c_Parameters = {GL_UNPACK_ROW_LENGTH,  GL_UNPACK_IMAGE_HEIGHT,
                                                           GL_UNPACK_SKIP_ROWS,   GL_UNPACK_SKIP_PIXELS,
                                                           GL_UNPACK_SKIP_IMAGES, GL_UNPACK_ALIGNMENT};
    std::array<GLint, c_Parameters.size()> m_Values = {};
    GLint m_Texture = 0;
    GLint m_UnpackBuffer = 0;
};

template <class Function>
Function DriverFunction(const char* name) {
    return reinterpret_cast<Function>(eglGetProcAddress(name));
}

PFNEGLCREATEIMAGEKHRPROC DriverCreateImage() {
    static const auto function = DriverFunction<PFNEGLCREATEIMAGEKHRPROC>("eglCreateImageKHR");
    return function;
}

bool FitsTexture(const VideoFrame& frame) {
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    return frame.width <= maxSize && frame.height <= maxSize;
}

GLuint UploadFrame(const VideoFrame& frame) {
    const UploadState state;
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);  // complete without further levels
    glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(frame.stride) / c_BytesPerPixel);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, frame.width, frame.height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 frame.pixels.get());
    return texture;
}

EGLImageKHR CreateFrameImage(EGLDisplay display, const VideoFrame& frame) {
    if (DriverCreateImage() == nullptr || !FitsTexture(frame)) {
        return EGL_NO_IMAGE_KHR;
    }
    const GLuint texture = UploadFrame(frame);
    const auto buffer = reinterpret_cast<EGLClientBuffer>(uintptr_t{texture});
    const EGLImageKHR image =
        DriverCreateImage()(display, eglGetCurrentContext(), EGL_GL_TEXTURE_2D_KHR, buffer, nullptr);
    glDeleteTextures(1, &texture);
    return image;
}

}  // namespace

extern "C" {

ML_API EGLImageKHR EGLAPIENTRY eglCreateImageKHR(EGLDisplay display, EGLContext context, EGLenum target,
                                                 EGLClientBuffer buffer, const EGLint* attributes) {
    if (target == EGL_NATIVE_BUFFER_ANDROID && eglGetCurrentContext() != EGL_NO_CONTEXT) {
        const auto frame = HandleTable::Get().Find<VideoFrame>(reinterpret_cast<uintptr_t>(buffer));
        if (frame != nullptr) {
            return CreateFrameImage(display, *frame);
        }
    }
    // The driver does not know the target either, and sets the error.
    return DriverCreateImage() != nullptr ? DriverCreateImage()(display, context, target, buffer, attributes)
                                          : EGL_NO_IMAGE_KHR;
}

ML_API EGLBoolean EGLAPIENTRY eglDestroyImageKHR(EGLDisplay display, EGLImageKHR image) {
    static const auto destroyImage = DriverFunction<PFNEGLDESTROYIMAGEKHRPROC>("eglDestroyImageKHR");
    return destroyImage != nullptr ? destroyImage(display, image) : EGLBoolean{EGL_FALSE};
}

ML_API void GL_APIENTRY glEGLImageTargetTexture2DOES(GLenum target, GLeglImageOES image) {
    static const auto targetTexture =
        DriverFunction<PFNGLEGLIMAGETARGETTEXTURE2DOESPROC>("glEGLImageTargetTexture2DOES");
    if (targetTexture != nullptr) {
        targetTexture(target, image);
    }
}

}  // extern "C"
