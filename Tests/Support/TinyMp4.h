// MP4 files of a few frames, made by hand: seeds for fuzzers, and clips where there is no FFmpeg.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/MeshPayload.h"

#include <string>
#include <vector>

namespace NimbTest {

struct TinyMp4 {
    bool isIndexFirst = false;
    bool has64BitOffsets = false;
    UINT32 emptyEdit = 0;  ///< units of time before the first frame; 0: no edit list
    UINT32 keyInterval = 4;
    UINT32 frameDuration = 100;  ///< in units of 1/1000 s

    using Bytes = Nimb::Authoring::Bytes;

    /// A file in whose samples these mesh frames are, in front of a slice that no decoder could make a picture of. An
    /// empty one: none.
    Bytes Make(const std::vector<Bytes>& frames) const {
        std::vector<Bytes> samples;
        Bytes media;
        for (const Bytes& frame : frames) {
            Bytes sample;
            if (!frame.empty()) {
                AppendUnit(
                    Nimb::Authoring::WriteMeshNalUnit(frame.data(), frame.size(), Nimb::Authoring::NalFraming::Bare),
                    sample);
            }
            AppendUnit({0x65, 0x88, 0x84}, sample);
            media.insert(media.end(), sample.begin(), sample.end());
            samples.push_back(sample);
        }
        const Bytes type = Box("ftyp", {'i', 's', 'o', 'm', 0, 0, 2, 0});
        const std::size_t indexSize = Index(samples, 0).size();
        const Bytes index = Index(samples, type.size() + (isIndexFirst ? indexSize : 0) + 8);
        return isIndexFirst ? Join({type, index, Box("mdat", media)}) : Join({type, Box("mdat", media), index});
    }

private:
    static Bytes Join(const std::vector<Bytes>& parts) {
        Bytes all;
        for (const Bytes& bytes : parts) {
            all.insert(all.end(), bytes.begin(), bytes.end());
        }
        return all;
    }
    static Bytes Big(std::initializer_list<UINT64> values, int bytes = 4) {
        Bytes out;
        for (const UINT64 value : values) {
            for (int i = bytes; i-- > 0;) {
                out.push_back(static_cast<BYTE>(value >> 8 * i));
            }
        }
        return out;
    }
    static Bytes Box(const std::string& type, const Bytes& content) {
        return Join({Big({content.size() + 8}), Bytes(type.begin(), type.end()), content});
    }
    static void AppendUnit(const Bytes& unit, Bytes& sample) {
        const Bytes size = Big({unit.size()});
        sample.insert(sample.end(), size.begin(), size.end());
        sample.insert(sample.end(), unit.begin(), unit.end());
    }

    Bytes Index(const std::vector<Bytes>& samples, UINT64 offset) const {
        const Bytes configuration{1, 66, 0, 10, 0xFF, 0xE1, 0, 4, 0x67, 66, 0, 10, 1, 0, 2, 0x68, 0xCE};
        const Bytes entry = Join({Bytes(24), Big({64, 48}, 2), Bytes(50), Box("avcC", configuration)});
        Bytes sizes = Big({0, 0, samples.size()}), keys = Big({0, (samples.size() + keyInterval - 1) / keyInterval});
        for (std::size_t i = 0; i < samples.size(); ++i) {
            sizes = Join({sizes, Big({samples[i].size()})});
            keys = i % keyInterval == 0 ? Join({keys, Big({i + 1})}) : keys;
        }
        const Bytes tables = Join(
            {Box("stsd", Join({Big({0, 1}), Box("avc1", entry)})),
             Box("stts", Big({0, 1, samples.size(), frameDuration})), Box("stss", keys),
             Box("stsc", Big({0, 1, 1, samples.size(), 1})), Box("stsz", sizes),
             has64BitOffsets ? Box("co64", Join({Big({0, 1}), Big({offset}, 8)})) : Box("stco", Big({0, 1, offset}))});
        const Bytes header = Big({0, 0, 0, 1000, samples.size() * frameDuration, 0});
        const Bytes media =
            Join({Box("mdhd", header), Box("hdlr", Join({Big({0, 0}), {'v', 'i', 'd', 'e'}, Bytes(13)})),
                  Box("minf", Box("stbl", tables))});
        const Bytes edits =
            Box("edts", Box("elst", Big({0, 2, emptyEdit, 0xFFFFFFFF, 1, samples.size() * frameDuration, 0, 1})));
        return Box("moov", Join({Box("mvhd", header),
                                 Box("trak", Join({emptyEdit != 0 ? edits : Bytes(), Box("mdia", media)}))}));
    }
};

}  // namespace NimbTest
