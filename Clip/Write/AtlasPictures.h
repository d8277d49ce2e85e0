// The pictures of a clip: each frame's textures, composed into the atlas.
#pragma once

#include "Authoring/Scene/Atlas.h"
#include "Clip/Write/SubMeshSource.h"

#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace Nimb::Authoring {

/// Any thread may ask for pictures, several at once. Textures that stay the same are composed once.
class AtlasPictures {
public:
    /// Keeps a reference to `source`. `subMeshes`: those whose textures are in the atlas. See LayOutAtlas for `limit`.
    AtlasPictures(const SubMeshSource& source, std::vector<std::size_t> subMeshes, const PictureSize& limit);

    const AtlasLayout& Layout() const { return m_Layout; }

    using Textures = std::vector<std::shared_ptr<const Image>>;

    /// Throws InputError when a texture cannot be read or does not fit the first frame's.
    std::shared_ptr<const Image> Picture(std::size_t frame) const;

    /// The picture of other textures than the source's, of the same sizes, one for each sub-mesh.
    std::shared_ptr<const Image> Compose(const Textures& textures) const;

private:
    Textures TexturesOf(std::size_t frame) const;

    const SubMeshSource& m_Source;
    const std::vector<std::size_t> m_SubMeshes;
    AtlasLayout m_Layout;

    mutable std::mutex m_Mutex;  // guards what follows: the newest picture, and what it is made of
    mutable Textures m_Textures;
    mutable std::shared_future<std::shared_ptr<const Image>> m_Picture;
};

}  // namespace Nimb::Authoring
