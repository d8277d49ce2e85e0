#include "Bench/FigureClip.h"

#include "Authoring/Source/MeshSources.h"

#include <utility>

namespace Bench {

std::vector<Authoring::Mesh> LoadFigureClip(const std::string& path) {
    Authoring::SourceOptions options;
    options.input = path;
    const auto source = Authoring::OpenMeshSource(options);
    std::vector<Authoring::Mesh> frames;
    for (std::size_t i = 0; i < source->FrameCount(); ++i) {
        Authoring::SourceFrame frame = source->Frame(i);
        if (frame.parts.empty()) {
            throw Authoring::InputError(source->FrameName(i) + ": has no triangles");
        }
        frames.push_back(std::move(frame.parts.front().mesh));
        frames.back().normals.clear();  // players compute them
    }
    return frames;
}

}  // namespace Bench
