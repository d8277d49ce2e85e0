#include "Clip/Write/Mp4File.h"

#include "Authoring/Codec/ByteWriter.h"
#include "Clip/Write/CheckAv.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Nimb::Authoring {
namespace {

/// Beside the file. Names have 255 bytes at most.
std::string TemporaryPathOf(const std::string& path) {
    const std::string tail = ".part" + std::to_string(getpid());
    const std::size_t name = path.rfind('/') + 1;  // 0 without a folder
    return path.substr(0, name) + path.substr(name, 255 - tail.size()) + tail;
}

void AppendToFile(const std::string& path, const Bytes& bytes) {
    std::FILE* const file = std::fopen(path.c_str(), "ab");
    const bool isWritten = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool isClosed = file != nullptr && std::fclose(file) == 0;
    if (!isWritten || !isClosed) {
        throw ClipError(std::string("attribute atom: ") + std::strerror(errno));
    }
}

}  // namespace

Mp4File::Mp4File(const std::string& path) : m_Path(path), m_TemporaryPath(TemporaryPathOf(path)) {
    AVFormatContext* context = nullptr;
    CheckAv(avformat_alloc_output_context2(&context, nullptr, "mp4", m_TemporaryPath.c_str()), "MP4 writer");
    m_Context.reset(context);
    // Waits for the other track, however long it takes: samples are stored in the order of their times.
    m_Context->max_interleave_delta = 0;
}

Mp4File::~Mp4File() {
    m_Context.reset();
    if (!m_HasName) {
        std::remove(m_TemporaryPath.c_str());
    }
}

AVStream& Mp4File::AddStream(AVRational timeBase) {
    AVStream* const stream = avformat_new_stream(m_Context.get(), nullptr);
    if (stream == nullptr) {
        throw std::bad_alloc();
    }
    stream->time_base = timeBase;
    return *stream;
}

void Mp4File::Begin() {
    CheckAv(avio_open(&m_Context->pb, m_TemporaryPath.c_str(), AVIO_FLAG_WRITE), "cannot be written");
    CheckAv(avformat_write_header(m_Context.get(), nullptr), "MP4 header");
}

void Mp4File::Write(AVPacket& packet, AVRational timeBase, const AVStream& stream) {
    av_packet_rescale_ts(&packet, timeBase, stream.time_base);
    packet.stream_index = stream.index;
    CheckAv(av_interleaved_write_frame(m_Context.get(), &packet), "sample");
    CheckAv(m_Context->pb->error, "sample");
}

void Mp4File::Finish(const std::optional<FileAttributes>& attributes) {
    CheckAv(av_write_trailer(m_Context.get()), "MP4 index");
    CheckAv(avio_closep(&m_Context->pb), "end of file");
    if (attributes) {
        AppendToFile(m_TemporaryPath, WriteAttributeAtom(*attributes));
    }
    if (std::rename(m_TemporaryPath.c_str(), m_Path.c_str()) != 0) {
        throw ClipError(std::string("cannot be replaced: ") + std::strerror(errno));
    }
    m_HasName = true;
}

}  // namespace Nimb::Authoring
