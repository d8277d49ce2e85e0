#include "Authoring/Source/FramePictures.h"

#include <algorithm>
#include <map>

namespace Nimb::Authoring {

namespace {

using Numbers = std::vector<std::size_t>;

/// The pictures of the frames in the range, by their numbers.
std::vector<std::string> Pair(const SourceOptions& options, const Numbers& frames, FileRange range,
                              const FileSequence& pictures, const Numbers& numbers) {
    std::map<std::size_t, std::string> byNumber;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        byNumber.emplace(numbers[i], pictures.paths[i]);
    }
    std::vector<std::string> paths;
    for (std::size_t i = range.begin; i < range.end; ++i) {
        const auto found = byNumber.find(frames[i]);
        if (found == byNumber.end()) {
            throw InputError(options.texture + ": there is no picture " + std::to_string(frames[i]) +
                             " for the frame of that number in " + options.input);
        }
        paths.push_back(found->second);
    }
    // Pictures outside of a range that was asked for do not matter.
    const auto begin = options.firstFrame ? byNumber.lower_bound(frames[range.begin]) : byNumber.begin();
    const auto end = options.lastFrame ? byNumber.upper_bound(frames[range.end - 1]) : byNumber.end();
    for (auto picture = begin; picture != end; ++picture) {
        if (!std::binary_search(frames.begin(), frames.end(), picture->first)) {
            throw InputError(picture->second + ": " + options.input + " has no frame " +
                             std::to_string(picture->first) + " for this picture");
        }
    }
    return paths;
}

}  // namespace

const FileKinds& PictureKinds() {
    static const FileKinds s_Kinds = {{"png"}, {"jpg", "jpeg"}, {"bmp"}, {"tga"}};
    return s_Kinds;
}

FramePictures::FramePictures(const SourceOptions& options, std::size_t frames, FileRange range,
                             const std::optional<Numbers>& numbers)
    : m_Input(options.input), m_pWarnings(options.pWarnings) {
    if (options.texture.empty()) {
        return;
    }
    const FileSequence pictures = options.textureFiles.empty()
                                      ? FindFiles(options.texture, PictureKinds(), "picture")
                                      : FindFiles(options.textureFiles, PictureKinds(), "picture");
    const std::optional<Numbers> pictureNumbers = NumbersInNames(pictures, options.texture);
    const std::size_t taken = range.end - range.begin;
    if (numbers && pictureNumbers) {
        m_Paths = Pair(options, *numbers, range, pictures, *pictureNumbers);
    } else if (pictures.paths.size() == 1) {
        m_Paths = pictures.paths;
    } else if (pictures.paths.size() == frames) {
        const auto begin = pictures.paths.begin();
        m_Paths.assign(begin + static_cast<std::ptrdiff_t>(range.begin),
                       begin + static_cast<std::ptrdiff_t>(range.end));
    } else if (pictures.paths.size() == taken) {
        m_Paths = pictures.paths;
    } else {
        throw InputError(options.texture + ": " + std::to_string(pictures.paths.size()) + " pictures for the " +
                         std::to_string(frames) + " frames of " + options.input +
                         (taken == frames ? "" : ", of which " + std::to_string(taken) + " are used"));
    }
}

SourceMaterial FramePictures::NamedFor(std::size_t frame) const {
    SourceMaterial look;
    look.name = "texture";
    look.picture = Picture{m_Paths.size() == 1 ? m_Paths.front() : m_Paths.at(frame), nullptr};
    return look;
}

std::vector<std::string> FramePictures::Files(std::size_t frame, const std::vector<SourceMaterial>& materials) const {
    if (AreNamed()) {
        return {NamedFor(frame).picture->name};
    }
    std::vector<std::string> files;
    for (const SourceMaterial& look : materials) {
        if (look.picture && look.picture->bytes == nullptr && look.painting == nullptr) {
            files.push_back(look.picture->name);
        }
    }
    return files;
}

std::shared_ptr<const Image> FramePictures::Load(const SourceMaterial& look) {
    try {
        bool isTransparent = look.transparency == Transparency::Always;
        std::shared_ptr<const Image> image = m_Store->Get(look, isTransparent);
        if (isTransparent && look.transparency != Transparency::None && m_pWarnings != nullptr) {
            m_pWarnings->Add("transparency is not stored",
                             look.picture ? look.picture->name : m_Input + ": material " + look.name);
        }
        return image;
    } catch (const InputError& error) {
        throw AreNamed() ? error : InputError(std::string(error.what()) + "; use --texture to name another");
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
                         text(size.width, size.height) + "; all frames need pictures of one size");
    }
    return image;
}

}  // namespace Nimb::Authoring
