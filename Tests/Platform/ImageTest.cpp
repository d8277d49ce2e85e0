// Images of frames: who keeps the pixels, what happens to the caller's GL state, and buffers that are not frames.
#include "Tests/Platform/Clip.h"
#include "Tests/Platform/Platform.h"

#include <gtest/gtest.h>

namespace NimbTest {
namespace {

class DesktopImage : public testing::Test {
protected:
    // The clip's first frame, acquired.
    MLHandle AcquireFrame() {
        MLHandle frame = ML_INVALID_HANDLE;
        EXPECT_TRUE(m_Codec.Queue(m_Extractor.Current().bytes, 0));
        EXPECT_EQ(MLMediaCodecReleaseOutputBuffer(m_Codec, m_Codec.DequeueOutput(), true), MLResult_Ok);
        EXPECT_EQ(MLMediaCodecAcquireNextAvailableFrame(m_Codec, &frame), MLResult_Ok);
        return frame;
    }
    int PaintedNumber(EGLImageKHR image) const {
        return ReadPaintedNumber(m_Reader.ReadImage(image, 320, 240), 320, 240);
    }

    const Extractor m_Extractor{MakeClip(ClipOptions()).path};
    const PictureReader m_Reader;
    const Codec m_Codec{m_Extractor, 0};
};

TEST_F(DesktopImage, OutlivesFrameAndCodec) {
    const MLHandle frame = AcquireFrame();
    const EGLImageKHR image = m_Reader.CreateImage(frame);
    ASSERT_NE(image, EGL_NO_IMAGE_KHR);
    EXPECT_EQ(MLMediaCodecDestroy(m_Codec), MLResult_Ok);
    EXPECT_EQ(m_Reader.CreateImage(frame), EGL_NO_IMAGE_KHR) << "the frame outlived its codec";
    EXPECT_EQ(PaintedNumber(image), 0);
    EXPECT_EQ(eglDestroyImageKHR(m_Reader.Display(), image), static_cast<EGLBoolean>(EGL_TRUE));
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(DesktopImage, LeavesTheCallersStateAndIsNotMisledByIt) {
    const MLHandle frame = AcquireFrame();

    GLuint texture = 0;
    GLuint buffer = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
    const std::pair<GLenum, GLint> parameters[] = {
        {GL_UNPACK_ALIGNMENT, 8}, {GL_UNPACK_ROW_LENGTH, 17}, {GL_UNPACK_SKIP_ROWS, 3}, {GL_UNPACK_SKIP_PIXELS, 5}};
    for (const auto& [name, value] : parameters) {
        glPixelStorei(name, value);
    }
    const EGLImageKHR image = m_Reader.CreateImage(frame);
    ASSERT_NE(image, EGL_NO_IMAGE_KHR);
    GLint now = 0;
    for (const auto& [name, value] : parameters) {
        glGetIntegerv(name, &now);
        EXPECT_EQ(now, value) << std::hex << name;
    }
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &now);
    EXPECT_EQ(now, static_cast<GLint>(texture));
    glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &now);
    EXPECT_EQ(now, static_cast<GLint>(buffer));
    EXPECT_EQ(PaintedNumber(image), 0);
    eglDestroyImageKHR(m_Reader.Display(), image);
    glDeleteBuffers(1, &buffer);
    glDeleteTextures(1, &texture);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(DesktopImage, RefusesOtherHandlesAndPassesOtherTargetsOn) {
    for (const MLHandle handle : {MLHandle{0}, ML_INVALID_HANDLE, MLHandle{m_Codec}, MLHandle{m_Extractor}}) {
        EXPECT_EQ(m_Reader.CreateImage(handle), EGL_NO_IMAGE_KHR);
        EXPECT_NE(eglGetError(), EGL_SUCCESS);
    }
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    const std::vector<uint8_t> pixel = {10, 200, 30, 255};
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    const EGLImageKHR image =
        eglCreateImageKHR(m_Reader.Display(), eglGetCurrentContext(), EGL_GL_TEXTURE_2D_KHR,
                          reinterpret_cast<EGLClientBuffer>(static_cast<uintptr_t>(texture)), nullptr);
    ASSERT_NE(image, EGL_NO_IMAGE_KHR);
    EXPECT_EQ(m_Reader.ReadImage(image, 1, 1), pixel);
    EXPECT_EQ(eglDestroyImageKHR(m_Reader.Display(), image), static_cast<EGLBoolean>(EGL_TRUE));
    glDeleteTextures(1, &texture);
}

}  // namespace
}  // namespace NimbTest
