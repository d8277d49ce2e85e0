#include "NimbClip/Mp4Index.h"

#include "NimbClip/ClipFault.h"

#include <algorithm>
#include <limits>
#include <string>

namespace Nimb {
namespace Clip {
namespace {

// 38 hours of video at 30 frames a second. A file need not back its claims with bytes, memory has to.
constexpr std::uint64_t c_MostSamples = std::uint64_t(1) << 22;
constexpr std::size_t c_MostTopLevelBoxes = 65536;

constexpr std::uint32_t Type(const char (&name)[5]) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(name[0])) << 24 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(name[1])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(name[2])) << 8 | static_cast<unsigned char>(name[3]);
}

[[noreturn]] void Damaged(const std::string& what) {
    throw ClipFault(NIMB_CLIP_DAMAGED, "the file's index is damaged: " + what);
}

/// A part of the index, read from its beginning to its end.
class Fields {
public:
    Fields() = default;
    Fields(const BYTE* data, std::size_t size) : m_At(data), m_End(data + size) {}

    std::size_t Left() const { return static_cast<std::size_t>(m_End - m_At); }
    const BYTE* Data() const { return m_At; }

    std::uint64_t Read(std::size_t bytes) {
        Need(bytes);
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i) {
            value = value << 8 | *m_At++;
        }
        return value;
    }
    std::uint32_t U32() { return static_cast<std::uint32_t>(Read(4)); }
    std::uint16_t U16() { return static_cast<std::uint16_t>(Read(2)); }
    std::uint8_t U8() { return static_cast<std::uint8_t>(Read(1)); }

    Fields Take(std::size_t bytes) {
        Need(bytes);
        const Fields taken(m_At, bytes);
        m_At += bytes;
        return taken;
    }
    void Skip(std::size_t bytes) { Take(bytes); }

private:
    void Need(std::size_t bytes) const {
        if (bytes > Left()) {
            Damaged("a box is too short");
        }
    }

    const BYTE* m_At = nullptr;
    const BYTE* m_End = nullptr;
};

struct Box {
    std::uint32_t type = 0;
    Fields content;
};

Box TakeBox(Fields& fields) {
    Box box;
    std::uint64_t size = fields.U32();
    box.type = fields.U32();
    std::uint64_t header = 8;
    if (size == 1) {
        size = fields.Read(8);
        header = 16;
    } else if (size == 0) {
        size = header + fields.Left();
    }
    if (size < header || size - header > fields.Left()) {
        Damaged("a box is longer than the one around it");
    }
    box.content = fields.Take(static_cast<std::size_t>(size - header));
    return box;
}

/// The first box of a type, or an empty one.
Fields FindBox(Fields fields, std::uint32_t type) {
    while (fields.Left() >= 8) {
        const Box box = TakeBox(fields);
        if (box.type == type) {
            return box.content;
        }
    }
    return {};
}

/// Of a full box: its version; the flags are passed over.
unsigned TakeVersion(Fields& fields) {
    return fields.U32() >> 24;
}

struct MediaHeader {
    std::uint32_t timeScale = 0;
    std::uint64_t duration = 0;
};

/// Of 'mvhd' and 'mdhd', which begin alike.
MediaHeader ReadHeader(Fields fields) {
    MediaHeader header;
    const std::size_t width = TakeVersion(fields) == 1 ? 8 : 4;
    fields.Skip(2 * width);
    header.timeScale = fields.U32();
    header.duration = fields.Read(width);
    if (header.timeScale == 0) {
        Damaged("a time scale is 0");
    }
    return header;
}

std::uint32_t TakeCount(Fields& fields, std::size_t bytesOfOne) {
    const std::uint32_t count = fields.U32();
    if (count > fields.Left() / bytesOfOne) {
        Damaged("a table is shorter than it says");
    }
    return count;
}

void ReadSizes(const Fields& tables, std::uint64_t fileSize, std::vector<Sample>& samples) {
    Fields sizes = FindBox(tables, Type("stsz"));
    const bool isCompact = sizes.Left() == 0;
    if (isCompact) {
        sizes = FindBox(tables, Type("stz2"));
    }
    TakeVersion(sizes);
    std::uint32_t equalSize = 0;
    unsigned bits = 32;
    if (isCompact) {
        bits = sizes.U32() & 0xFF;
        if (bits != 4 && bits != 8 && bits != 16) {
            Damaged("sizes of samples have a width that there is not");
        }
    } else {
        equalSize = sizes.U32();
    }
    const std::uint64_t count = sizes.U32();
    const bool isBacked = equalSize != 0 ? count <= fileSize / equalSize : (count * bits + 7) / 8 <= sizes.Left();
    if (!isBacked || count > c_MostSamples) {
        Damaged("it claims " + std::to_string(count) + " samples");
    }
    samples.resize(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (equalSize != 0) {
            samples[i].size = equalSize;
        } else if (bits != 4) {
            samples[i].size = static_cast<std::uint32_t>(sizes.Read(bits / 8));
        } else {
            const std::uint8_t pair = i % 2 == 0 ? sizes.U8() : sizes.Data()[-1];
            samples[i].size = i % 2 == 0 ? pair >> 4 : pair & 15u;
        }
    }
}

void ReadOffsets(const Fields& tables, std::uint64_t fileSize, std::vector<Sample>& samples) {
    Fields chunks = FindBox(tables, Type("stco"));
    const std::size_t width = chunks.Left() != 0 ? 4 : 8;
    if (width == 8) {
        chunks = FindBox(tables, Type("co64"));
    }
    Fields runs = FindBox(tables, Type("stsc"));
    TakeVersion(chunks);
    TakeVersion(runs);
    const std::uint32_t chunkCount = TakeCount(chunks, width);
    const std::uint32_t runCount = TakeCount(runs, 12);
    std::size_t sample = 0, inFile = 0;
    std::uint64_t total = 0;                              // bytes of the samples that the file holds
    std::uint32_t next = runCount != 0 ? runs.U32() : 0;  // the chunk from which on the next run counts, from 1
    std::uint32_t run = 0, inChunk = 0;
    for (std::uint32_t chunk = 1; chunk <= chunkCount; ++chunk) {
        while (run < runCount && next <= chunk) {
            inChunk = runs.U32();
            runs.Skip(4);
            next = ++run < runCount ? runs.U32() : 0;
        }
        std::uint64_t offset = chunks.Read(width);
        for (std::uint32_t i = 0; i < inChunk && sample < samples.size(); ++i, ++sample) {
            samples[sample].offset = offset;
            if (offset <= fileSize && samples[sample].size <= fileSize - offset) {
                total += samples[sample].size;
                ++inFile;
            }
            offset += samples[sample].size;
        }
    }
    if (total > fileSize) {
        Damaged("its samples are larger than the file");  // one on the other, they would take for ever to read
    }
    if (inFile == 0 && sample != 0) {
        Damaged("all its samples are beyond the end of the file");
    }
    if (sample != samples.size()) {
        Damaged("it says where " + std::to_string(sample) + " of " + std::to_string(samples.size()) + " samples are");
    }
}

/// Calls set(sample, value) for all samples of a table of runs (count, value).
template <class Set>
void ForEachRun(Fields& fields, std::size_t sampleCount, Set set) {
    const std::uint32_t runs = TakeCount(fields, 8);
    std::size_t sample = 0;
    for (std::uint32_t run = 0; run < runs; ++run) {
        const std::uint32_t count = fields.U32(), value = fields.U32();
        for (std::uint32_t i = 0; i < count && sample < sampleCount; ++i) {
            set(sample++, value);
        }
    }
}

void ReadTimes(const Fields& tables, std::vector<Sample>& samples) {
    Fields durations = FindBox(tables, Type("stts"));
    TakeVersion(durations);
    std::int64_t time = 0;
    std::size_t timed = 0;
    ForEachRun(durations, samples.size(), [&](std::size_t sample, std::uint32_t duration) {
        samples[sample].time = time;
        samples[sample].duration = duration;
        time += duration;
        ++timed;
    });
    if (timed != samples.size()) {
        Damaged("it says when " + std::to_string(timed) + " of " + std::to_string(samples.size()) + " samples are");
    }
    Fields shifts = FindBox(tables, Type("ctts"));
    if (shifts.Left() != 0) {
        TakeVersion(shifts);  // writers of version 0 store negative numbers, too
        ForEachRun(shifts, samples.size(), [&](std::size_t sample, std::uint32_t shift) {
            samples[sample].time += static_cast<std::int32_t>(shift);
        });
    }
}

void ReadKeys(const Fields& tables, std::vector<Sample>& samples) {
    Fields keys = FindBox(tables, Type("stss"));
    if (keys.Left() == 0) {
        for (Sample& sample : samples) {
            sample.isKey = true;
        }
        return;
    }
    TakeVersion(keys);
    const std::uint32_t count = TakeCount(keys, 4);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t number = keys.U32();  // from 1
        if (number != 0 && number <= samples.size()) {
            samples[number - 1].isKey = true;
        }
    }
}

/// How much later than in the track's own time samples are shown: players begin where the first edit with media begins,
/// after the empty ones before it. Later edits are not looked at.
std::int64_t EditShift(const Fields& trak, std::uint32_t movieTimeScale, std::uint32_t timeScale) {
    Fields edits = FindBox(FindBox(trak, Type("edts")), Type("elst"));
    if (edits.Left() == 0) {
        return 0;
    }
    const std::size_t width = TakeVersion(edits) == 1 ? 8 : 4;
    const std::uint32_t count = TakeCount(edits, 2 * width + 4);
    constexpr double most = 4e18;  // whatever the fields claim, times stay within 64 bits
    double empty = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t duration = edits.Read(width);
        std::int64_t begin = static_cast<std::int64_t>(edits.Read(width));
        if (width == 4) {
            begin = static_cast<std::int32_t>(begin);
        }
        edits.Skip(4);
        if (begin >= 0) {
            const double shift = empty - static_cast<double>(begin);
            return static_cast<std::int64_t>(std::max(-most, std::min(most, shift)));
        }
        empty += static_cast<double>(duration) * timeScale / movieTimeScale;
    }
    return 0;
}

/// Reads an AVCDecoderConfigurationRecord (ISO/IEC 14496-15).
void ReadAvcConfiguration(Fields fields, Track& track) {
    track.configuration.assign(fields.Data(), fields.Data() + fields.Left());
    fields.Skip(4);
    track.lengthSize = (fields.U8() & 3u) + 1;
    if (track.lengthSize == 3) {
        Damaged("lengths of NAL units have 3 bytes");
    }
    for (const unsigned mask : {31u, 255u}) {  // sequence parameter sets, then picture parameter sets
        const unsigned count = fields.U8() & mask;
        for (unsigned i = 0; i < count; ++i) {
            const Fields set = fields.Take(fields.U16());
            const BYTE startCode[] = {0, 0, 0, 1};
            track.parameterSets.insert(track.parameterSets.end(), startCode, startCode + 4);
            track.parameterSets.insert(track.parameterSets.end(), set.Data(), set.Data() + set.Left());
        }
    }
}

/// The content of the first descriptor with this tag (ISO/IEC 14496-1).
Fields FindDescriptor(Fields fields, unsigned tag) {
    while (fields.Left() >= 2) {
        const unsigned found = fields.U8();
        std::size_t size = 0;
        for (unsigned i = 0, more = 1; i < 4 && more != 0; ++i) {
            const unsigned byte = fields.U8();
            size = size << 7 | (byte & 127u);
            more = byte & 128u;
        }
        const Fields content = fields.Take(std::min(size, fields.Left()));
        if (found == tag) {
            return content;
        }
    }
    return {};
}

void ReadAacConfiguration(Fields fields, Track& track) {
    constexpr unsigned stream = 3, decoder = 4, specific = 5;
    TakeVersion(fields);
    Fields inStream = FindDescriptor(fields, stream);
    inStream.Skip(2);
    const unsigned flags = inStream.U8();
    inStream.Skip((flags & 128u) != 0 ? 2 : 0);
    inStream.Skip((flags & 64u) != 0 ? inStream.U8() : 0);
    inStream.Skip((flags & 32u) != 0 ? 2 : 0);
    Fields inDecoder = FindDescriptor(inStream, decoder);
    inDecoder.Skip(13);
    const Fields configuration = FindDescriptor(inDecoder, specific);
    track.configuration.assign(configuration.Data(), configuration.Data() + configuration.Left());
}

/// False when the track is not of the kind that is looked for.
bool ReadDescription(Fields descriptions, bool isVideo, Track& track) {
    TakeVersion(descriptions);
    if (descriptions.U32() == 0) {
        return false;
    }
    Box entry = TakeBox(descriptions);
    if (isVideo && (entry.type == Type("avc1") || entry.type == Type("avc3"))) {
        entry.content.Skip(24);
        track.width = entry.content.U16();
        track.height = entry.content.U16();
        entry.content.Skip(50);
        ReadAvcConfiguration(FindBox(entry.content, Type("avcC")), track);
        return true;
    }
    if (!isVideo && entry.type == Type("mp4a")) {
        entry.content.Skip(8);
        const unsigned version = entry.content.U16();  // QuickTime's; in MP4 files it is 0
        entry.content.Skip(6);
        track.channels = entry.content.U16();
        entry.content.Skip(6);
        track.sampleRate = entry.content.U32() >> 16;
        entry.content.Skip(version == 1 ? 16 : 0);
        ReadAacConfiguration(FindBox(entry.content, Type("esds")), track);
        return true;
    }
    return false;
}

bool ReadTrack(const Fields& trak, std::uint32_t movieTimeScale, std::uint64_t fileSize, bool isVideo, Track& track) {
    const Fields media = FindBox(trak, Type("mdia"));
    Fields handler = FindBox(media, Type("hdlr"));
    if (handler.Left() < 12) {
        return false;
    }
    handler.Skip(8);
    const Fields tables = FindBox(FindBox(media, Type("minf")), Type("stbl"));
    const Fields descriptions = FindBox(tables, Type("stsd"));
    if (handler.U32() != (isVideo ? Type("vide") : Type("soun")) || descriptions.Left() == 0 ||
        !ReadDescription(descriptions, isVideo, track)) {
        return false;
    }
    track.timeScale = ReadHeader(FindBox(media, Type("mdhd"))).timeScale;
    ReadSizes(tables, fileSize, track.samples);
    ReadOffsets(tables, fileSize, track.samples);
    ReadTimes(tables, track.samples);
    ReadKeys(tables, track.samples);
    const std::int64_t shift = EditShift(trak, movieTimeScale, track.timeScale);
    for (Sample& sample : track.samples) {
        sample.time += shift;
    }
    return true;
}

struct TopLevel {
    bool hasFragments = false;
    bool isMp4 = false;
    Bytes index;
};

TopLevel ReadTopLevel(const ByteSource& source) {
    TopLevel file;
    Bytes header;
    std::uint64_t offset = 0;
    for (std::size_t boxes = 0; source.Size() - offset >= 8 && boxes < c_MostTopLevelBoxes; ++boxes) {
        source.Read(offset, std::min<std::uint64_t>(16, source.Size() - offset), header);
        Fields fields(header.data(), header.size());
        std::uint64_t size = fields.U32();
        const std::uint32_t type = fields.U32();
        std::uint64_t headerSize = 8;
        if (size == 1) {
            size = fields.Read(8);
            headerSize = 16;
        } else if (size == 0) {
            size = source.Size() - offset;
        }
        file.isMp4 = file.isMp4 || (boxes == 0 && type == Type("ftyp")) || type == Type("moov");
        file.hasFragments = file.hasFragments || type == Type("moof");
        const bool isWhole = size >= headerSize && size <= source.Size() - offset;
        if (type == Type("moov") && file.index.empty()) {
            if (!isWhole) {
                Damaged("the file ends inside it, the box at byte " + std::to_string(offset));
            }
            source.Read(offset + headerSize, size - headerSize, file.index);
        }
        if (!isWhole) {
            break;  // the rest is not a box; if it is the media data, cut off, reading its samples will tell
        }
        offset += size;
    }
    return file;
}

}  // namespace

Mp4Index ReadMp4Index(const ByteSource& source) {
    const TopLevel file = ReadTopLevel(source);
    if (!file.isMp4) {
        throw ClipFault(NIMB_CLIP_NOT_A_CLIP, "not an MP4 file");
    }
    const Fields movie(file.index.data(), file.index.size());
    if (file.hasFragments || FindBox(movie, Type("mvex")).Left() != 0) {
        throw ClipFault(NIMB_CLIP_UNSUPPORTED, "the file is fragmented; nimb remux makes one that is not");
    }
    if (file.index.empty()) {
        throw ClipFault(NIMB_CLIP_NOT_A_CLIP, "the MP4 file has no index: it has no 'moov' box");
    }
    const std::uint32_t movieTimeScale = ReadHeader(FindBox(movie, Type("mvhd"))).timeScale;
    Mp4Index index;
    bool hasVideo = false, hasSound = false;
    for (Fields boxes = movie; boxes.Left() >= 8;) {
        const Box box = TakeBox(boxes);
        if (box.type != Type("trak")) {
            continue;
        }
        if (!hasVideo) {
            hasVideo = ReadTrack(box.content, movieTimeScale, source.Size(), true, index.video);
        }
        if (!hasSound) {
            try {
                hasSound = ReadTrack(box.content, movieTimeScale, source.Size(), false, index.sound);
            } catch (const ClipFault&) {
                index.sound = Track();  // no reason to refuse the meshes
            }
        }
    }
    if (!hasVideo || index.video.samples.empty()) {
        throw ClipFault(NIMB_CLIP_NOT_A_CLIP, "the file has no H.264 track with samples");
    }
    return index;
}

}  // namespace Clip
}  // namespace Nimb
