// Writes a clip: an MP4 file whose first track is H.264 video with a mesh in each sample, whose second is AAC sound if
// there is any, and which ends with the attribute atom. Ordinary players play it as the plain video of its textures.
//
// The file is written under a temporary name beside its own and renamed when it is complete: an interrupted run leaves
// no half-written file under the final name, and a writer that is destroyed before Finish leaves nothing at all.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/XtraAttributes.h"
#include "Clip/Write/ClipError.h"
#include "Clip/Write/TrackOptions.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace Nimb::Authoring {

/// Belongs to one thread. After a method has thrown anything but std::invalid_argument, only destroy it.
class Mp4Writer {
public:
    /// Sound is announced here, and may turn out to be empty. Finish replaces a file that exists. Throws
    /// std::invalid_argument for invalid options, ClipError when the file or an encoder cannot be opened.
    Mp4Writer(const std::string& path, const VideoTrackOptions& video,
              const std::optional<AudioTrackOptions>& audio = std::nullopt);
    ~Mp4Writer();
    Mp4Writer(const Mp4Writer&) = delete;
    Mp4Writer& operator=(const Mp4Writer&) = delete;

    /// The next frame: its texture, rows from top to bottom and `stride` bytes apart, and its encoded mesh. Without a
    /// mesh (empty) the sample has no mesh unit, and players lose that frame.
    void AddFrame(const BYTE* rgba, std::size_t stride, const Bytes& mesh, KeyPicture key = KeyPicture::Open);

    /// The next frame where the picture has been encoded already, by a VideoEncoder with the same options but for the
    /// quality. A clip has frames of one kind.
    void AddSample(const Bytes& sample, bool isKeyPicture);

    /// The next stretch of sound: interleaved stereo, 48000 frames a second, from time 0 on. It may come before,
    /// between or after the frames; what the other track has not caught up with yet is kept in memory.
    void AddAudio(const float* samples, std::size_t frameCount);
    void AddAudio(const std::int16_t* samples, std::size_t frameCount);

    /// Completes the file and gives it its name. Without attributes, players know nothing about the file.
    void Finish(const std::optional<FileAttributes>& attributes);

private:
    class Container;

    std::string m_Path;
    std::size_t m_Width = 0;
    std::unique_ptr<Container> m_Container;  // null after Finish
};

}  // namespace Nimb::Authoring
