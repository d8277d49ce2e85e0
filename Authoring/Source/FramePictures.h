// The pictures that the caller names in place of those of the input, and the sizes of all of them.
#pragma once

#include "Authoring/Image.h"
#include "Authoring/Source/FileSequence.h"
#include "Authoring/Source/MeshSources.h"
#include "Authoring/Source/PictureStore.h"

#include <mutex>
#include <optional>
#include <vector>

namespace Authoring {

/// The formats of pictures that are read.
const FileKinds& PictureKinds();

/// Any thread.
class FramePictures {
public:
    /// `frames` is the number of frames that the whole input has, of which `range` is taken. Throws InputError when the
    /// number of pictures is another one.
    FramePictures(const SourceOptions& options, std::size_t frames, FileRange range);

    /// Whether the caller named pictures.
    bool AreNamed() const { return !m_Paths.empty(); }

    /// The picture that the caller named for a frame.
    SourceMaterial NamedFor(std::size_t frame) const;

    /// The material's picture in a frame. Throws InputError when its size is not that of the first frame's; `frameName`
    /// is for this message.
    std::shared_ptr<const Image> Get(const SourceMaterial& look, std::size_t material, const std::string& frameName);

    /// How many materials there are. To be called once, before Get.
    void SetMaterialCount(std::size_t count);

private:
    struct Size {
        std::size_t width = 0;
        std::size_t height = 0;
    };

    std::shared_ptr<const Image> Load(const SourceMaterial& look);

    std::vector<std::string> m_Paths;  ///< none, one for all frames, or one for each
    std::unique_ptr<PictureStore> m_Store;
    std::mutex m_Mutex;
    std::vector<Size> m_Sizes;  ///< for each material, what it had when first asked for
};

}  // namespace Authoring
