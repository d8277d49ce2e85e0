// The pictures and the sound of a clip, decoded.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Clip/Read/ClipReader.h"

#include <functional>
#include <memory>
#include <string>

namespace Nimb::Authoring {

struct ClipPicture {
    std::size_t number = 0;  ///< of the sample that it came from
    int width = 0;
    int height = 0;
    bool isDamaged = false;  ///< the decoder made up some of it
    Image image;             ///< if pictures are wanted
};

/// Belongs to one thread. Methods return why a sample cannot be decoded, or an empty text if it can.
class ClipPictures {
public:
    using Sink = std::function<void(ClipPicture&&)>;

    /// `withImages`: convert to RGBA, with the file's colour matrix and range. Throws InputError when there is no
    /// decoder.
    ClipPictures(const ClipReader& reader, std::size_t track, bool withImages);
    ~ClipPictures();
    ClipPictures(const ClipPictures&) = delete;
    ClipPictures& operator=(const ClipPictures&) = delete;

    /// `sink` may be called for earlier samples, if the video is reordered.
    std::string Decode(const ClipSample& sample, const Sink& sink);
    std::string Finish(const Sink& sink);

private:
    class Decoder;
    std::unique_ptr<Decoder> m_Decoder;
};

/// As above.
class ClipSound {
public:
    ClipSound(const ClipReader& reader, std::size_t track);
    ~ClipSound();
    ClipSound(const ClipSound&) = delete;
    ClipSound& operator=(const ClipSound&) = delete;

    std::string Decode(const ClipSample& sample);

private:
    class Decoder;
    std::unique_ptr<Decoder> m_Decoder;
};

}  // namespace Nimb::Authoring
