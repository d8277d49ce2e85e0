#include "Authoring/Source/MeshSources.h"

#include "Authoring/Source/FileSequence.h"
#include "Authoring/Source/FramePictures.h"
#include "Authoring/Source/SourceFactories.h"

#include <cmath>
#include <filesystem>

namespace Nimb::Authoring {

std::unique_ptr<MeshSource> OpenMeshSource(const SourceOptions& options) {
    if (!(options.frameRate > 0 && options.frameRate <= 1000)) {
        throw std::invalid_argument("the frame rate must be above 0 and at most 1000");
    }
    if (!(options.scale > 0 && std::isfinite(options.scale))) {
        throw std::invalid_argument("the scale must be above 0");
    }
    std::error_code ignored;
    const std::string extension = ExtensionOf(options.input);
    const bool isScene = (extension == "gltf" || extension == "glb") && options.inputFiles.empty();
    if (isScene && std::filesystem::is_regular_file(options.input, ignored)) {
        return OpenSceneSource(options);
    }
    if (!options.animation.empty()) {
        throw InputError(options.input + ": an animation can only be chosen in a glTF scene");
    }
    return OpenSequenceSource(options);
}

bool IsPictureName(const std::string& path) {
    return IsOfKind(path, PictureKinds());
}

}  // namespace Nimb::Authoring
