// Names of codings: MIME types on the platform's side, codec ids on the libraries'.
#pragma once

#include "Media/Av.h"

#include <string>

namespace Nimb::Desktop {

/// Never empty: tracks of unknown codings have a type too.
std::string MimeTypeOf(const AVCodecParameters& parameters);

/// AV_CODEC_ID_NONE for a type that is not of audio or video, or not known.
AVCodecID CodecOfMimeType(const std::string& mimeType);

/// The filter that makes this coding's samples byte streams with start codes, or null where there is none.
const char* ByteStreamFilterOf(AVCodecID codec);

}  // namespace Nimb::Desktop
