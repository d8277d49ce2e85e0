// Pictures that the caller names to replace those of the input, and the sizes of all pictures.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Authoring/Source/FileSequence.h"
#include "Authoring/Source/MeshSources.h"
#include "Authoring/Source/PictureStore.h"

#include <mutex>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// The formats of pictures that are read.
const FileKinds& PictureKinds();

/// Any thread.
class FramePictures {
public:
    /// `range`: which of the input's `frames` frames are used; `numbers`: the numbers in the names of their files, if
    /// there are any. Where pictures have numbers too, each frame gets the picture with its number; otherwise there
    /// must be one for each frame of the input, or one for each frame of the range. Throws InputError for pictures that
    /// are missing or too many.
    FramePictures(const SourceOptions& options, std::size_t frames, FileRange range,
                  const std::optional<std::vector<std::size_t>>& numbers);

    /// Whether the caller named pictures.
    bool AreNamed() const { return !m_Paths.empty(); }

    /// The picture that the caller named for a frame.
    SourceMaterial NamedFor(std::size_t frame) const;

    /// The files with the pictures of materials.
    std::vector<std::string> Files(std::size_t frame, const std::vector<SourceMaterial>& materials) const;

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

    const std::string m_Input;
    Warnings* const m_pWarnings;
    std::vector<std::string> m_Paths;  ///< none, one for all frames, or one for each
    std::unique_ptr<PictureStore> m_Store;
    std::mutex m_Mutex;
    std::vector<Size> m_Sizes;  ///< for each material, what it had when first asked for
};

}  // namespace Nimb::Authoring
