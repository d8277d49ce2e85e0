#include "Bench/FigureClip.h"

#include "Authoring/Source/MeshSources.h"

#include <utility>

namespace Bench {

std::vector<Nimb::Authoring::Mesh> LoadFigureClip(const std::string& path) {
    Nimb::Authoring::SourceOptions options;
    options.input = path;
    const auto source = Nimb::Authoring::OpenMeshSource(options);
    std::vector<Nimb::Authoring::Mesh> frames;
    for (std::size_t i = 0; i < source->FrameCount(); ++i) {
        Nimb::Authoring::SourceFrame frame = source->Frame(i);
        if (frame.meshes.empty()) {
            throw Nimb::Authoring::InputError(source->FrameName(i) + ": has no triangles");
        }
        frames.push_back(std::move(frame.meshes.front().mesh));
        frames.back().normals.clear();  // players compute them
    }
    return frames;
}

}  // namespace Bench
