// Draws frames of a clip into pictures of one size.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Tools/nimb/PlaySession.h"
#include "Tools/nimb/Viewer/Framebuffer.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Nimb::Tool {

class Studio {
public:
    Studio(PlaySession& session, int width, int height);
    ~Studio();
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    /// The frame that is in the playback's objects, seen from one of the views.
    Authoring::Image Draw(const Playback& playback, int number, const std::vector<View>& views, std::size_t view);
    Authoring::Image Draw(const Playback& playback, const Camera& camera, Appearance appearance);

    float Aspect() const;

private:
    PlaySession& m_Session;
    std::unique_ptr<Framebuffer> m_Framebuffer;
};

}  // namespace Nimb::Tool
