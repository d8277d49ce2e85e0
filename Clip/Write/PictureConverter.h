// Pictures as video has them: 4:2:0, BT.709, video range.
#pragma once

#include "Media/Av.h"
#include "Nimb/NimbInterfaces.h"

#include <cstddef>

namespace Nimb::Authoring {

/// Belongs to one thread. The same result on every processor.
class PictureConverter {
public:
    /// Both even.
    PictureConverter(int width, int height);

    /// `rgba`: rows from top to bottom, `stride` bytes apart.
    Media::AvPtr<AVFrame> Convert(const BYTE* rgba, std::size_t stride);

private:
    const int m_Width;
    const int m_Height;
    Media::AvPtr<SwsContext> m_Converter;
};

}  // namespace Nimb::Authoring
