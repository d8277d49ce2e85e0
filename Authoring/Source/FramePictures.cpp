#include "Authoring/Source/FramePictures.h"

namespace Authoring {

const FileKinds& PictureKinds() {
    static const FileKinds s_Kinds = {{"png"}, {"jpg", "jpeg"}, {"bmp"}, {"tga"}};
    return s_Kinds;
}

FramePictures::FramePictures(const SourceOptions& options, std::size_t frames, FileRange range) {
    if (options.texture.empty()) {
        return;
    }
    const FileSequence pictures = options.textureFiles.empty()
                                      ? FindFiles(options.texture, PictureKinds(), "picture")
                                      : FindFiles(options.textureFiles, PictureKinds(), "picture");
    if (pictures.paths.size() == 1) {
        m_Paths = pictures.paths;
        return;
    }
    if (pictures.paths.size() != frames) {
        throw InputError(options.texture + ": " + std::to_string(pictures.paths.size()) + " pictures for the " +
                         std::to_string(frames) + " frames of " + options.input);
    }
    const auto begin = pictures.paths.begin();
    m_Paths.assign(begin + static_cast<std::ptrdiff_t>(range.begin), begin + static_cast<std::ptrdiff_t>(range.end));
}

SourceMaterial FramePictures::NamedFor(std::size_t frame) const {
    SourceMaterial look;
    look.name = "texture";
    look.picture = Picture{m_Paths.size() == 1 ? m_Paths.front() : m_Paths.at(frame), nullptr};
    return look;
}

std::shared_ptr<const Image> FramePictures::Load(const SourceMaterial& look) {
    try {
        return m_Store->Get(look);
    } catch (const InputError& error) {
        throw AreNamed() ? error : InputError(std::string(error.what()) + "; --texture names another");
    }
}

void FramePictures::SetMaterialCount(std::size_t count) {
    m_Store = std::make_unique<PictureStore>(count);
    m_Sizes.resize(count);
}

std::shared_ptr<const Image> FramePictures::Get(const SourceMaterial& look, std::size_t material,
                                                const std::string& frameName) {
    const std::shared_ptr<const Image> image = Load(look);
    const std::lock_guard<std::mutex> lock(m_Mutex);
    Size& size = m_Sizes[material];
    if (size.width == 0) {
        size = {image->width, image->height};
    }
    if (size.width != image->width || size.height != image->height) {
        const auto text = [](std::size_t width, std::size_t height) {
            return std::to_string(width) + "x" + std::to_string(height);
        };
        throw InputError((look.picture ? look.picture->name : look.name) + ": the picture of " + frameName + " is " +
                         text(image->width, image->height) + ", that of the first frame " +
                         text(size.width, size.height) + "; a clip's pictures need one size");
    }
    return image;
}

}  // namespace Authoring
