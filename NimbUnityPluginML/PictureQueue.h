// The pictures that a video codec has been fed with and that have not come out of it, in order.
//
// A codec's output says its time and nothing else. Here stands which frame that is, and what is to be done with it.
// Decoders may swallow pictures that they cannot decode; files with reordered pictures are not played.
#pragma once

#include "NimbUnityPluginML/Mutex.h"

#include <algorithm>
#include <cstdint>
#include <deque>

namespace Nimb::Plugin {

/// Playback thread and video thread.
class PictureQueue {
public:
    enum class Use {
        Show,    ///< when its time has come
        Pass,    ///< decoded only because later ones need it
        Target,  ///< that of a request: when the surface is empty and its mesh is there
        Restart  ///< a range of frames begins anew with it
    };

    struct Picture {
        std::int64_t timeUs;      ///< as the codec knows it
        std::int64_t frame;       ///< -1: unknown
        std::int64_t meshNumber;  ///< of the mesh that belongs to it; meaningless with Pass
        Use use;
    };

    void Add(const Picture& picture) {
        const MutexLock lock(m_mutex);
        m_pictures.push_back(picture);
    }

    /// The picture that came out of the codec after so many flushes and has this time; those before it will not come
    /// any more. It stays, until the next call or Pop. One that is not known is to be shown.
    Picture Find(std::int64_t timeUs, std::uint32_t flushes) {
        const MutexLock lock(m_mutex);
        const auto found = std::find_if(m_pictures.begin(), m_pictures.end(),
                                        [timeUs](const Picture& picture) { return picture.timeUs == timeUs; });
        if (flushes != m_flushes || found == m_pictures.end()) {
            return {timeUs, -1, -1, Use::Show};
        }
        m_pictures.erase(m_pictures.begin(), found);
        return m_pictures.front();
    }

    /// The picture that was found is dealt with.
    void Pop(std::int64_t timeUs, std::uint32_t flushes) {
        const MutexLock lock(m_mutex);
        if (flushes == m_flushes && !m_pictures.empty() && m_pictures.front().timeUs == timeUs) {
            m_pictures.pop_front();
        }
    }

    /// Makes `frame` the target, and passes what is before it. False, and nothing changes, when it is not here or when
    /// playback could not go on from it. `*pTarget`: itself.
    bool Retarget(std::int64_t frame, Picture* pTarget) {
        const MutexLock lock(m_mutex);
        const auto found = std::find_if(m_pictures.begin(), m_pictures.end(), [frame](const Picture& picture) {
            return picture.frame == frame && picture.use != Use::Pass;
        });
        const auto isShown = [](const Picture& picture) { return picture.use == Use::Show; };
        if (found == m_pictures.end() || !std::all_of(found + 1, m_pictures.end(), isShown)) {
            return false;
        }
        for (auto picture = m_pictures.begin(); picture != found; ++picture) {
            picture->use = Use::Pass;
        }
        found->use = Use::Target;
        *pTarget = *found;
        return true;
    }

    /// None of them is shown.
    void PassAll() {
        const MutexLock lock(m_mutex);
        for (Picture& picture : m_pictures) {
            picture.use = Use::Pass;
        }
    }

    /// The codec was flushed. Whoever holds a picture from before must not find one from afterwards in its place: a
    /// frame that is gone to again has the same time.
    void Clear(std::uint32_t flushes) {
        const MutexLock lock(m_mutex);
        m_flushes = flushes;
        m_pictures.clear();
    }

private:
    Mutex m_mutex;
    std::uint32_t m_flushes NIMB_GUARDED_BY(m_mutex) = 0;
    std::deque<Picture> m_pictures NIMB_GUARDED_BY(m_mutex);
};

}  // namespace Nimb::Plugin
