#include "Clip/Write/AtlasPictures.h"

#include <utility>

namespace Nimb::Authoring {

AtlasPictures::AtlasPictures(const SubMeshSource& source, std::vector<std::size_t> subMeshes, const PictureSize& limit)
    : m_Source(source), m_SubMeshes(std::move(subMeshes)) {
    std::vector<PictureSize> sizes;
    for (const std::shared_ptr<const Image>& texture : TexturesOf(0)) {
        sizes.push_back({texture->width, texture->height});
    }
    m_Layout = LayOutAtlas(sizes, limit);
}

AtlasPictures::Textures AtlasPictures::TexturesOf(std::size_t frame) const {
    Textures textures;
    for (const std::size_t subMesh : m_SubMeshes) {
        textures.push_back(m_Source.Texture(frame, subMesh));
    }
    return textures;
}

std::shared_ptr<const Image> AtlasPictures::Compose(const Textures& textures) const {
    if (m_Layout.IsWhole() && PictureSize{textures.front()->width, textures.front()->height} == m_Layout.size) {
        return textures.front();
    }
    std::vector<const Image*> images;
    for (const std::shared_ptr<const Image>& texture : textures) {
        images.push_back(texture.get());
    }
    return std::make_shared<const Image>(ComposeAtlas(m_Layout, images));
}

std::shared_ptr<const Image> AtlasPictures::Picture(std::size_t frame) const {
    Textures textures = TexturesOf(frame);
    std::promise<std::shared_ptr<const Image>> promise;
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        if (m_Picture.valid() && textures == m_Textures) {
            const auto known = m_Picture;
            lock.unlock();
            return known.get();
        }
        m_Textures = textures;
        m_Picture = promise.get_future().share();
    }
    try {
        std::shared_ptr<const Image> picture = Compose(textures);
        promise.set_value(picture);
        return picture;
    } catch (...) {
        promise.set_exception(std::current_exception());
        throw;
    }
}

}  // namespace Nimb::Authoring
