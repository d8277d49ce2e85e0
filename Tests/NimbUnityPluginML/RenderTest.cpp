// What reaches GL: the texture copy call by call, and meshes in all layouts in the engine's buffers.
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include "NimbCore/NimbCrossPlatform.h"
#include "NimbUnityPluginML/MeshFrame.h"
#include "NimbUnityPluginML/MeshUpload.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

using namespace Nimb::Plugin;

using namespace PluginTest;

namespace {

using RenderTest = PluginFixture;
using Vertex = MeshUpload::Vertex;

template <class T>
NIMBCORE::CComPtr<INimbBuffer> BufferOf(const std::vector<T>& values) {
    NIMBCORE::CComPtr<INimbBuffer> buffer(
        new NimbCrossPlatform::Buffer(static_cast<UINT32>(values.size() * sizeof(T))));
    NimbLockedMemory memory{};
    buffer->LockBuffer(&memory);
    if (!values.empty()) {
        std::memcpy(memory.pData, values.data(), values.size() * sizeof(T));
    }
    return buffer;
}

/// A mesh frame as the reader would have made it.
template <class T>
MeshFrame FrameOf(const std::vector<T>& records, UINT32 numVertices, const std::vector<UINT32>& indices,
                  double boxMax = 1) {
    const NIMBCORE::CComPtr<INimbBuffer> vertices = BufferOf(records);
    auto* const attributes = static_cast<NimbCrossPlatform::Buffer*>(vertices.p);
    attributes->SetUINT32(NimbAttrib_NumVertices, numVertices);
    attributes->SetUINT32(NimbAttrib_NumIndices, static_cast<UINT32>(indices.size()));
    attributes->SetUINT32(NimbAttrib_FrameId, 55);
    for (const _GUID* const key : {&NimbAttrib_BBoxMaxX, &NimbAttrib_BBoxMaxY, &NimbAttrib_BBoxMaxZ}) {
        attributes->SetDouble(*key, boxMax);
    }
    return MeshFrame(vertices, BufferOf(indices), 1234);
}

template <class T>
std::vector<T> ContentsOf(GLuint buffer) {
    const Fake::Bytes bytes = FakeGl::BufferBytes(buffer);
    std::vector<T> values(bytes.size() / sizeof(T));
    std::memcpy(static_cast<void*>(values.data()), bytes.data(), values.size() * sizeof(T));
    return values;
}
std::vector<Vertex> VerticesIn(GLuint buffer) {
    return ContentsOf<Vertex>(buffer);
}
std::vector<UINT32> IndicesIn(GLuint buffer) {
    return ContentsOf<UINT32>(buffer);
}

std::vector<float> Floats(const Vertex& v) {
    return {v.x, v.y, v.z, v.nx, v.ny, v.nz, v.u, v.v};
}

bool AreNaN(const Vertex& v) {
    return std::isnan(v.nx) && std::isnan(v.ny) && std::isnan(v.nz);
}

const std::vector<float> c_Square20{0, 0, 0, 0,   0,     // position and texture coordinates
                                    1, 0, 0, 1,   0,     //
                                    1, 1, 0, 1,   1,     //
                                    0, 1, 0, 0.5, 0.25,  //
                                    5, 5, 5, 0,   0};
const std::vector<UINT32> c_SquareIndices{0, 1, 2, 0, 2, 3};

TEST_F(RenderTest, EveryLayoutIsConvertedToTheUploadLayout) {
    const std::vector<float> upload{1, 2, 3, 0, 0, 1, 0.5f, 0.25f, 4, 5, 6, 0, 1, 0, 0.75f, 1};
    const std::vector<float> plain{1, 2, 3, 0.5f, 0.25f, 4, 5, 6, 0.75f, 1};
    const std::vector<std::int16_t> quantised{-32768, 32767, -32768, 99, -32768, 32767,
                                              32767,  32767, 32767,  99, 32767,  -32768};
    const GLuint vb = FakeGl::MakeBuffer(2 * 32), ib = FakeGl::MakeBuffer(0);
    const auto uploaded = [&](MeshFrame frame) {
        frame.CopyToGLBuffers(vb, ib, 0, 2, false, false);
        return ContentsOf<float>(vb);
    };
    EXPECT_EQ(uploaded(FrameOf(upload, 2, {})), upload);
    EXPECT_EQ(uploaded(FrameOf(plain, 2, {})),
              (std::vector<float>{1, 2, 3, 0, 0, 0, 0.5f, 0.25f, 4, 5, 6, 0, 0, 0, 0.75f, 1}));
    EXPECT_EQ(uploaded(FrameOf(quantised, 2, {}, 8)),
              (std::vector<float>{0, 8, 0, 0, 0, 0, 0, 1, 8, 8, 8, 0, 0, 0, 1, 0}));
    EXPECT_EQ(LoggedWith("error"), 0);
}

TEST_F(RenderTest, NormalsComeFromTheTrianglesWhateverTheLayout) {
    std::vector<float> withNormals;
    for (std::size_t i = 0; i < c_Square20.size(); i += 5) {
        const float* const v = &c_Square20[i];
        withNormals.insert(withNormals.end(), {v[0], v[1], v[2], 7, 7, 7, v[3], v[4]});
    }
    const GLuint vb = FakeGl::MakeBuffer(5 * 32), ib = FakeGl::MakeBuffer(6 * 4);
    for (MeshFrame frame : {FrameOf(c_Square20, 5, c_SquareIndices), FrameOf(withNormals, 5, c_SquareIndices)}) {
        frame.CopyToGLBuffers(vb, ib, 6, 5, true, true);
        const std::vector<Vertex> out = VerticesIn(vb);
        EXPECT_EQ(Floats(out[3]), (std::vector<float>{0, 1, 0, 0, 0, 1, 0.5f, 0.25f}));
        EXPECT_TRUE(AreNaN(out[4]));  // no triangle has it
        EXPECT_EQ(out[4].x, 5);
        EXPECT_EQ(IndicesIn(ib), c_SquareIndices);
    }
}

TEST_F(RenderTest, FacesWeighByAreaAndTooFewIndicesGiveNoNormals) {
    // A small triangle in the xy plane and one in the xz plane with twice its size share vertex 0.
    std::vector<Vertex> vertices(5);
    vertices[1].x = 1;
    vertices[2].y = 1;
    vertices[3].z = 2;
    vertices[4].x = 1;
    const UINT32 indices[] = {0, 1, 2, 0, 3, 4, 9};
    MeshUpload::ComputeNormals(vertices.data(), 5, indices, 7, [](UINT32, UINT32, UINT32, UINT32) { ADD_FAILURE(); });
    EXPECT_FLOAT_EQ(vertices[0].ny / vertices[0].nz, 2.0f);
    EXPECT_FLOAT_EQ(std::hypot(vertices[0].nx, vertices[0].ny, vertices[0].nz), 1.0f);
    std::vector<Vertex> none(2);
    MeshUpload::ComputeNormals(none.data(), 2, indices, 2, [](UINT32, UINT32, UINT32, UINT32) { ADD_FAILURE(); });
    EXPECT_TRUE(AreNaN(none[0]) && AreNaN(none[1]));
}

TEST_F(RenderTest, TrianglesOutOfBoundsAreLoggedAndTheOthersCount) {
    const GLuint vb = FakeGl::MakeBuffer(5 * 32), ib = FakeGl::MakeBuffer(9 * 4);
    const std::vector<UINT32> indices{5, 1, 2, 0, 1, 2, 0, 2, 0xFFFFFFFF};
    MeshFrame frame = FrameOf(c_Square20, 5, indices);
    frame.CopyToGLBuffers(vb, ib, 9, 5, true, true);
    EXPECT_EQ(Logged(MLLogLevel_Warning, "Out of bounds in normal calculation at 5: 1 2 limit 5"), 1);
    EXPECT_EQ(Logged(MLLogLevel_Warning, "Out of bounds in normal calculation at 0: 2 -1 limit 5"), 1);
    EXPECT_EQ(VerticesIn(vb)[1].nz, 1.0f);
    EXPECT_EQ(IndicesIn(ib), indices);  // as they are
}

TEST_F(RenderTest, BuffersThatAreTooSmallCutAndTheRestIsZero) {
    const GLuint vb = FakeGl::MakeBuffer(2 * 32), smallIb = FakeGl::MakeBuffer(4 * 4),
                 largeIb = FakeGl::MakeBuffer(10 * 4);
    FrameOf(c_Square20, 5, c_SquareIndices).CopyToGLBuffers(vb, smallIb, 4, 2, true, true);
    EXPECT_EQ(IndicesIn(smallIb), (std::vector<UINT32>{0, 1, 2, 0}));
    EXPECT_EQ(VerticesIn(vb)[1].nz, 1.0f);  // computed with vertices that are not uploaded
    FrameOf(c_Square20, 5, c_SquareIndices).CopyToGLBuffers(vb, largeIb, 10, 2, true, true);
    EXPECT_EQ(IndicesIn(largeIb), (std::vector<UINT32>{0, 1, 2, 0, 2, 3, 0, 0, 0, 0}));
    EXPECT_EQ(LoggedWith("error"), 0);

    FakeGl::SetBufferBytes(largeIb, Fake::Bytes(40, 0x11));
    FrameOf(c_Square20, 5, c_SquareIndices).CopyToGLBuffers(vb, largeIb, 10, 2, true, false);
    EXPECT_EQ(FakeGl::BufferBytes(largeIb), Fake::Bytes(40, 0x11));
    EXPECT_EQ(VerticesIn(vb)[1].nz, 1.0f);
}

TEST_F(RenderTest, ContentsThatContradictTheirCountsAreNotRead) {
    const GLuint vb = FakeGl::MakeBuffer(5 * 32), ib = FakeGl::MakeBuffer(12 * 4);
    MeshFrame tooMany = FrameOf(c_Square20, 50, c_SquareIndices);
    tooMany.m_indexCount = 5000;
    tooMany.CopyToGLBuffers(vb, ib, 12, 5, true, true);
    EXPECT_EQ(FakeGl::BufferBytes(vb), Fake::Bytes(5 * 32, 0xC5));
    EXPECT_EQ(IndicesIn(ib), (std::vector<UINT32>{0, 1, 2, 0, 2, 3, 0, 0, 0, 0, 0, 0}));
    FrameOf(std::vector<float>{}, 0, {}).CopyToGLBuffers(vb, ib, 12, 5, true, true);
    EXPECT_EQ(IndicesIn(ib), std::vector<UINT32>(12, 0));
}

TEST_F(RenderTest, GlErrorsOfTheUploadAreLoggedAndAFailedMappingIsSurvived) {
    const GLuint vb = FakeGl::MakeBuffer(32), ib = FakeGl::MakeBuffer(4);
    FrameOf(c_Square20, 5, c_SquareIndices).CopyToGLBuffers(vb, ib, 100, 5, false, true);
    EXPECT_EQ(Logged(MLLogLevel_Error, "MeshFrame::CopyToGLBuffers: copy indices, error = 501"), 1);
    EXPECT_EQ(Logged(MLLogLevel_Error, "MeshFrame::Initialize: copy verts, error = 501"), 1);
    FakeGl::TheScript().refuseMapping = true;
    FrameOf(c_Square20, 5, c_SquareIndices).CopyToGLBuffers(vb, ib, 1, 1, true, true);
    EXPECT_EQ(FakeGl::BufferBytes(vb), Fake::Bytes(32, 0xC5));
}

TEST_F(RenderTest, FramesThatShareTheirIndicesUploadThemOnce) {
    Playback playback({8, 3000, 0, 0, {}, {}, true});
    Screen& screen = playback.screen;
    ASSERT_TRUE(playback.UntilPicture(3));
    EXPECT_EQ(FakeGl::CallsOf("glBufferSubData(8893"), 1);
    screen.indexBuffer = FakeGl::MakeBuffer(c_MeshIndices * 4);
    screen.HandOver();
    ASSERT_TRUE(playback.UntilPicture(7));
    EXPECT_EQ(FakeGl::CallsOf("glBufferSubData(8893"), 2);
    EXPECT_EQ(screen.shown, Matching(0, 7));
    const std::vector<UINT32> indices = IndicesIn(screen.indexBuffer);
    EXPECT_LT(*std::max_element(indices.begin(), indices.end()), c_MeshVertices);
}

// ---- The texture copy ----

class TextureCopyTest : public RenderTest {
protected:
    void SetUp() override {
        RenderTest::SetUp();
        m_Player.emplace();
        m_Screen.emplace(*m_Player);
    }
    void TearDown() override {
        m_Player.reset();
        RenderTest::TearDown();
    }

    /// Plays a clip until its only frame has been shown.
    void ShowOneFrame() {
        ASSERT_TRUE(m_Player->Open(AddFile(MakeClip({1}))));
        ASSERT_TRUE(m_Player->Play());
        ASSERT_TRUE(m_Screen->RenderUntil([&] { return m_Screen->Mesh() == 0; }));
    }

    std::optional<Player> m_Player;
    std::optional<Screen> m_Screen;
};

/// What the engine can rely on afterwards is a matter of every one of these calls.
TEST_F(TextureCopyTest, TheCallsOfOneCopy) {
    FakeGl::TheScript().uniformLocation = 4;
    ShowOneFrame();
    EXPECT_EQ(m_Screen->Picture(), 0);
    const std::vector<std::string> calls = FakeGl::Calls();
    const std::string expected[] = {
        "eglCreateImageKHR(no context, 3140, null)",
        "glActiveTexture(84c0)",
        "glBindTexture(8d65, ",
        "glEGLImageTargetTexture2DOES(8d65)",
        "glGetIntegerv(8ca6)",
        "glGenFramebuffers(1)",
        "glBindFramebuffer(8d40, own)",
        "glDisable(be2)",
        "glDisable(b44)",
        "glColorMask(1, 1, 1, 1)",
        "glViewport(0, 0, 640, 480)",
        "glFramebufferTexture2D(8d40, 8ce0, de1, " + std::to_string(m_Screen->texture) + ", 0)",
        "glClearColor(1, 0, 0, 1)",
        "glDrawBuffers(1, 8ce0)",
        "glUseProgram",
        "glGetUniformLocation(textureSampler)",
        "glUniform1i(4, 0)",
        "glBindVertexArray(0)",
        "glBindBuffer(8892, ",
        "glBindBuffer(8893, 0)",
        "glEnableVertexAttribArray(0)",
        "glVertexAttribPointer(4, 2, 1406, 0, 0, 0)",
        "glDrawArrays(4, 0, 3)",
        "glBindFramebuffer(8d40, engine's)",
        "glDeleteFramebuffers(1)",
        "eglDestroyImageKHR",
        "glGetError",
    };
    auto call = std::find(calls.begin(), calls.end(), expected[0]);
    for (const std::string& begin : expected) {
        ASSERT_NE(call, calls.end()) << begin;
        EXPECT_EQ(call->substr(0, begin.size()), begin);
        ++call;
    }
    EXPECT_EQ(Fake::Live(Fake::Kind::NativeBuffer), 0);
}

TEST_F(TextureCopyTest, TheResourcesAreMadeOnceAndTheMeshThreadsCallsReachNothing) {
    ShowOneFrame();
    const std::vector<std::string> calls = FakeGl::Calls();
    const auto linked = std::find(calls.begin(), calls.end(), "glLinkProgram");
    const auto bound = std::find(calls.begin(), calls.end(), "glBindAttribLocation(0, pos)");
    EXPECT_LT(linked, bound);
    EXPECT_NE(bound, calls.end());
    for (const char* const call : {"glCreateProgram", "glBufferData(8892, 24, 88e4)",
                                   "glTexParameteri(8d65, 2801, 2600)", "glTexParameteri(8d65, 2800, 2601)",
                                   "glTexParameteri(8d65, 2802, 812f)", "glTexParameteri(8d65, 2803, 812f)"}) {
        EXPECT_EQ(FakeGl::CallsOf(call), 1) << call;
    }
    FakeGl::ClearCalls();
    m_Player.reset();
    EXPECT_TRUE(FakeGl::Calls().empty());
    EXPECT_GT(FakeGl::CallsWithoutContext(), 0);
}

TEST_F(TextureCopyTest, WhatFailsIsLoggedAndPlaybackGoesOn) {
    FakeGl::TheScript().failImages = true;
    ShowOneFrame();
    EXPECT_EQ(m_Player->Logged(MLLogLevel_Error, "eglCreateImageKHR -> EGL_NO_IMAGE_KHR"), 1);
    EXPECT_EQ(FakeGl::CallsOf("glDrawArrays"), 1);

    m_Player.emplace();
    m_Screen.emplace(*m_Player);
    m_Screen->Render();
    FakeGl::TheScript().error = GL_INVALID_ENUM;
    ShowOneFrame();
    EXPECT_EQ(Logged(MLLogLevel_Error, "CopyTexture, error = 500"), 1);

    m_Player.emplace();
    m_Screen.emplace(*m_Player);
    m_Screen->texture = 0;
    m_Screen->HandOver();
    FakeGl::ClearCalls();
    ShowOneFrame();  // without a texture to copy to, the mesh
    EXPECT_EQ(FakeGl::CallsOf("eglCreateImageKHR"), 0);
}

TEST_F(TextureCopyTest, ShadersThatFailAreLoggedAndTriedAgain) {
    FakeGl::TheScript().shaderFailures[GL_FRAGMENT_SHADER] = "no such extension";
    m_Screen->Render();
    m_Screen->Render();
    EXPECT_EQ(Logged(MLLogLevel_Error, "Shader compile failed: no such extension\n"), 2);
    EXPECT_EQ(FakeGl::CallsOf("glLinkProgram"), 0);
    EXPECT_EQ(FakeGl::CallsOf("glDeleteShader"), 2);
    EXPECT_EQ(FakeGl::CallsOf("glGenBuffers(1)"), 2);  // the buffer and the texture are made each time
    EXPECT_EQ(FakeGl::CallsOf("glGenTextures(1)"), 2);
    FakeGl::TheScript().shaderFailures.clear();
    FakeGl::TheScript().linkFailure = "varyings differ";
    m_Screen->Render();
    EXPECT_EQ(Logged(MLLogLevel_Error, "Program link failed: varyings differ\n"), 1);
    EXPECT_EQ(FakeGl::CallsOf("glDeleteProgram"), 1);
    FakeGl::TheScript().linkFailure.clear();
    m_Screen->Render();
    m_Screen->Render();
    EXPECT_EQ(FakeGl::CallsOf("glLinkProgram"), 2);
    EXPECT_EQ(FakeGl::CallsOf("glGenBuffers(1)"), 4);
}

TEST_F(TextureCopyTest, WithoutTheEnginesContextTheEventDoesNothing) {
    FakeGl::MakeCurrent(EGL_NO_CONTEXT);
    UnitySetGraphicsDevice(nullptr, 11, 0);
    FakeGl::MakeCurrent(FakeGl::TheContext());
    FakeGl::ClearCalls();
    m_Screen->Render();
    EXPECT_TRUE(FakeGl::Calls().empty());
    UnitySetGraphicsDevice(nullptr, 11, 0);
    ShowOneFrame();
}

}  // namespace
