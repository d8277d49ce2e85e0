// Where the key pictures of a segment are.
#pragma once

#include "Authoring/Scene/Image.h"

#include <cstddef>
#include <memory>

namespace Nimb::Authoring {

/// A mesh key frame falls on a key picture, so that playback can begin there with both; but not each of several in a
/// row, as in a clip whose surface is another in every frame. Apart from that there is one whenever the interval is
/// over, unless the picture has been the same all along.
class KeyPictures {
public:
    explicit KeyPictures(std::size_t interval) : m_Interval(interval) {}

    bool Next(bool isKeyFrame, const std::shared_ptr<const Image>& picture) {
        m_HasChanged = m_HasChanged || m_Last == nullptr || !(*picture == *m_Last);
        const bool isDue = m_SinceKey >= m_Interval && m_HasChanged;
        const bool begins = isKeyFrame && !m_WasKeyFrame;
        m_WasKeyFrame = isKeyFrame;
        m_Last = picture;
        ++m_SinceKey;
        if (!isDue && !begins) {
            return false;
        }
        m_SinceKey = 1;
        m_HasChanged = false;
        return true;
    }

private:
    const std::size_t m_Interval;
    std::shared_ptr<const Image> m_Last;
    std::size_t m_SinceKey = 0;  // pictures from the last key picture on
    bool m_HasChanged = false;   // since the last key picture
    bool m_WasKeyFrame = false;
};

}  // namespace Nimb::Authoring
