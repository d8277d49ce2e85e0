#include "Tools/nimb/CompareStage.h"

#include "Tools/nimb/Viewer/Capture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace Nimb::Tool {
namespace {

using Authoring::Image;
using Authoring::Mesh;
using EngineStandIn::Vertex;

/// Mipmaps mix the charts of a picture, those of the source in another way than those of a tracked clip. Where several
/// pixels are drawn for each that is compared, they hardly come into it. Large views have enough without.
constexpr int c_Finest = 4, c_DrawnHeight = 2048;
constexpr float c_Narrowest = 0.5f, c_Widest = 2;  // width to height

PlayOptions OptionsFor(const std::string& clip) {
    setenv("NIMB_LOG_LEVEL", "error", 0);  // what goes wrong with a frame is reported here
    PlayOptions options;
    options.clip = clip;
    options.sound = false;
    options.computeNormals = false;
    options.snapshot = "views";  // frames are asked for by their numbers: those without a mesh confuse nothing
    for (const char* const name : c_CompareViews) {
        options.views.push_back(ParseView(name));
    }
    return options;
}

/// Of pictures that the box fills, seen from any of the views.
float AspectFor(const NimbFileInfo& info) {
    const double width = std::max(info.maxX - info.minX, info.maxZ - info.minZ), height = info.maxY - info.minY;
    const bool isUsable = height > 0 && std::isfinite(width / height);  // damaged clips may say anything
    return isUsable ? std::clamp(static_cast<float>(width / height), c_Narrowest, c_Widest) : 1;
}

/// Triangles without an area, as those that fill up the buffer, are left out, and so are vertices of earlier frames.
Mesh MeshOf(const std::vector<Vertex>& vertices, const std::vector<std::uint32_t>& indices) {
    constexpr UINT32 c_Unused = 0xFFFFFFFF;
    Mesh mesh;
    std::vector<UINT32> numbers(vertices.size(), c_Unused);
    const auto numberOf = [&](std::uint32_t index) {
        if (index >= vertices.size()) {
            return c_Unused;  // comparing says that the face refers to it
        }
        if (numbers[index] == c_Unused) {
            const Vertex& v = vertices[index];
            numbers[index] = static_cast<UINT32>(mesh.positions.size());
            mesh.positions.push_back({v.x, v.y, v.z});
            mesh.texCoords.push_back({v.u, v.v});
        }
        return numbers[index];
    };
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        const std::uint32_t a = indices[i], b = indices[i + 1], c = indices[i + 2];
        if (a != b && b != c && c != a) {
            const UINT32 first = numberOf(a), second = numberOf(b);
            mesh.faces.push_back({{first, second, numberOf(c)}});
        }
    }
    return mesh;
}

}  // namespace

JoinedFrame Join(const Authoring::MeshSource& source, std::size_t frame) {
    JoinedFrame joined;
    for (const Authoring::MaterialMesh& part : source.Frame(frame).meshes) {
        joined.parts.push_back(
            {joined.mesh.faces.size(), part.mesh.faces.size(), source.Texture(frame, part.material)});
        Append(joined.mesh, part.mesh);
    }
    joined.mesh.normals.clear();  // the player is not asked for any
    return joined;
}

CompareStage::CompareStage(const std::string& clip, int viewHeight)
    : m_Session(OptionsFor(clip), EngineStandIn::MakeSurfacelessContext), m_Playback(m_Session.Open(1, false)) {
    m_Appearance.background = {0, 0, 0, 0};
    m_Appearance.mipmaps = true;
    const NimbFileInfo& info = m_Playback->FileInfo();
    const auto width = static_cast<int>(std::lround(static_cast<float>(viewHeight) * AspectFor(info)));
    m_Aspect = static_cast<float>(width) / static_cast<float>(viewHeight);
    const std::vector<View>& views = m_Session.Options().views;
    const Camera camera = m_Session.CameraFor(info, views, m_Aspect);
    for (const View& view : views) {
        m_Cameras.push_back(camera);
        m_Cameras.back().yaw = view.yaw;
        m_Cameras.back().pitch = view.pitch;
    }
    const int fineness = std::clamp(c_DrawnHeight / viewHeight, 1, c_Finest);
    m_Session.RenderThread().Run([&] { m_Framebuffer = std::make_unique<Framebuffer>(width, viewHeight, fineness); });
}

CompareStage::~CompareStage() {
    m_Session.RenderThread().Run([this] {
        m_Textures.clear();
        m_Framebuffer.reset();
    });
}

std::size_t CompareStage::FrameCount() const {
    return static_cast<std::size_t>(m_Session.Index().FrameCount());
}

double CompareStage::FrameRate() const {
    return m_Session.Index().FrameRate();
}

void CompareStage::ForFrames(const std::vector<int>& frames, const std::function<void(int)>& take,
                             const std::function<void(int, const std::string&)>& miss) {
    CaptureFrames(*m_Playback, frames, take, miss);
}

template <class DrawView>
std::vector<Image> CompareStage::DrawViews(const DrawView& drawView) {
    std::vector<Image> views;
    for (const Camera& camera : m_Cameras) {
        m_Framebuffer->Bind();
        m_Session.Renderer().Clear(m_Appearance, m_Framebuffer->Width(), m_Framebuffer->Height());
        drawView(camera);
        views.push_back(m_Framebuffer->Read());
    }
    return views;
}

std::vector<Image> CompareStage::DrawPlayed() {
    const EngineStandIn::Player& player = m_Playback->Player();
    const EngineStandIn::Player::Objects& objects = player.GlObjects();
    MakeMipmaps(objects.texture);
    const DrawnMesh mesh = {objects.texture, objects.vertexBuffer, objects.indexBuffer, 0, player.Sizes().indexCount};
    return DrawViews(
        [&](const Camera& camera) { m_Session.Renderer().DrawOver(mesh, camera, m_Appearance, m_Aspect); });
}

PlayedFrame CompareStage::Played() {
    const EngineStandIn::Player& player = m_Playback->Player();
    return m_Session.RenderThread().Run([&] {
        PlayedFrame frame;
        frame.mesh = MeshOf(player.ReadVertices(), player.ReadIndices());
        const EngineStandIn::BufferSizes& sizes = player.Sizes();
        frame.texture = LumaPictureOf(static_cast<std::size_t>(sizes.textureWidth),
                                      static_cast<std::size_t>(sizes.textureHeight), player.ReadTexture().data());
        frame.views = DrawPlayed();
        return frame;
    });
}

/// Render thread. Pictures that stay from frame to frame are uploaded once.
const TextureObject& CompareStage::TextureOf(const std::shared_ptr<const Image>& picture) {
    const auto found = std::find_if(m_Textures.begin(), m_Textures.end(),
                                    [&](const auto& texture) { return texture->Picture() == picture; });
    if (found != m_Textures.end()) {
        return **found;
    }
    m_Textures.push_back(std::make_unique<TextureObject>(picture));
    return *m_Textures.back();
}

std::vector<Image> CompareStage::Draw(const JoinedFrame& frame) {
    return m_Session.RenderThread().Run([&] {
        const auto isOld = [&](const auto& texture) {
            return std::none_of(frame.parts.begin(), frame.parts.end(),
                                [&](const PictureFaces& part) { return part.picture == texture->Picture(); });
        };
        m_Textures.erase(std::remove_if(m_Textures.begin(), m_Textures.end(), isOld), m_Textures.end());
        const MeshObjects mesh(frame.mesh);
        return DrawViews([&](const Camera& camera) {
            for (const PictureFaces& part : frame.parts) {
                m_Session.Renderer().DrawOver(mesh.Faces(part.first, part.count, TextureOf(part.picture)), camera,
                                              m_Appearance, m_Aspect);
            }
        });
    });
}

}  // namespace Nimb::Tool
