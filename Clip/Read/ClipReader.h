// Reads a clip as the player does: the tracks of an MP4 file and their samples in the file's order.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Scene/MeshSource.h"
#include "Media/FileBoxes.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct AVCodecParameters;

namespace Nimb::Authoring {

struct ClipTrack {
    enum class Kind { Video, Audio, Other };

    Kind kind = Kind::Other;
    std::string codec;  ///< FFmpeg's name for it: "h264", "aac"
    int width = 0;      ///< of video, in pixels
    int height = 0;
    int sampleRate = 0;  ///< of audio, a second
    int channels = 0;
    std::int64_t timeBaseNumerator = 0;  ///< of seconds: unit of the samples' times
    std::int64_t timeBaseDenominator = 1;
    double seconds = 0;           ///< duration; 0 when the file does not say
    std::size_t sampleCount = 0;  ///< as the index has it; 0 in files without an index, such as fragmented ones
    double Rate() const { return seconds > 0 ? static_cast<double>(sampleCount) / seconds : 0; }  ///< samples a second
};

struct ClipSample {
    std::size_t track = 0;
    std::size_t number = 0;  ///< among the track's samples, from 0
    std::optional<std::int64_t> presentationTime;
    std::optional<std::int64_t> decodeTime;
    std::int64_t duration = 0;      ///< 0 when the file does not say
    std::int64_t microseconds = 0;  ///< presentation time as the player has it, not below 0
    UINT64 offset = 0;              ///< in the file
    bool isKeyPicture = false;
    bool isCut = false;           ///< the file ends inside it
    Bytes bytes;                  ///< as the file has them
    Bytes byteStream;             ///< what decoders get: H.264 with start codes, everything else as it is
    std::string damage;           ///< why there is no H.264 byte stream; players leave the sample out
    std::size_t lengthBytes = 0;  ///< of H.264: before each NAL unit in `bytes`; 0: the file does not say
};

/// How a file is read.
enum class ClipForm {
    Played,  ///< as players do: an MP4 file, without its edit lists
    Edited,  ///< as editors left it: MP4, QuickTime or Matroska, with the times that edit lists give
};

/// Belongs to one thread. Memory is bounded by the index and the largest sample.
class ClipReader {
public:
    /// Throws InputError, naming the file, when it is missing, is of another format, or ends inside its index.
    explicit ClipReader(const std::string& path, ClipForm form = ClipForm::Played);
    ~ClipReader();
    ClipReader(const ClipReader&) = delete;
    ClipReader& operator=(const ClipReader&) = delete;

    const std::string& Path() const { return m_Path; }
    const Media::FileBoxes& Boxes() const { return m_Boxes; }
    const std::vector<ClipTrack>& Tracks() const { return m_Tracks; }

    /// The first track with video, whose samples are the frames.
    std::optional<std::size_t> VideoTrack() const;

    /// The next sample of any video or audio track; false at the end.
    bool Read(ClipSample& sample);

    /// After Read has returned false: why, if it was not the regular end.
    const std::string& EndReason() const { return m_EndReason; }

    /// For decoders of what Read delivers. Lives as long as the reader.
    const AVCodecParameters& Parameters(std::size_t track) const;

    /// As the file describes the track. Lives as long as the reader.
    const AVCodecParameters& StoredParameters(std::size_t track) const;

private:
    class Container;

    std::string m_Path;
    Media::FileBoxes m_Boxes;
    std::unique_ptr<Container> m_Container;
    std::vector<ClipTrack> m_Tracks;
    std::string m_EndReason;
};

/// Silences FFmpeg's libraries on standard error, for the whole process: for programs that say themselves what is wrong
/// with a clip, and where.
void SilenceAvLog();

}  // namespace Nimb::Authoring
