// The MP4 file that a clip is written into. It has a temporary name beside its own until it is complete; one that is
// destroyed before Finish leaves nothing.
#pragma once

#include "Authoring/Codec/XtraAttributes.h"
#include "Clip/Write/ClipError.h"
#include "Media/Av.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace Nimb::Authoring {

/// Methods throw ClipError without the file's name, which Named adds.
class Mp4File {
public:
    explicit Mp4File(const std::string& path);
    ~Mp4File();
    Mp4File(const Mp4File&) = delete;
    Mp4File& operator=(const Mp4File&) = delete;

    /// Before Begin; the video comes first. What the stream holds is for the caller to describe.
    AVStream& AddStream(AVRational timeBase);
    void Begin();

    /// Takes the packet, whose times are in units of `timeBase`.
    void Write(AVPacket& packet, AVRational timeBase, const AVStream& stream);

    /// Completes the file and gives it its name. It replaces one that exists.
    void Finish(const std::optional<FileAttributes>& attributes);

private:
    struct Closer {
        void operator()(AVFormatContext* pContext) const noexcept {
            avio_closep(&pContext->pb);
            avformat_free_context(pContext);
        }
    };

    const std::string m_Path;
    const std::string m_TemporaryPath;
    std::unique_ptr<AVFormatContext, Closer> m_Context;
    bool m_HasName = false;  ///< the file is complete
};

/// Runs a step of writing `path`, and adds the file's name to its errors, and the frame's number if there is one.
template <class Step>
void Named(const std::string& path, std::int64_t frame, Step&& step) {
    try {
        step();
    } catch (const ClipError& error) {
        throw ClipError(path + (frame < 0 ? "" : ", frame " + std::to_string(frame)) + ": " + error.what());
    }
}

}  // namespace Nimb::Authoring
