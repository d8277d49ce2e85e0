// MIME types: a table of the usual ones; all others are "kind/x-NAME" with the codec's name.
#include "Platform/Desktop/MimeTypes.h"

namespace Nimb::Desktop {
namespace {

struct Coding {
    AVCodecID codec;
    const char* mimeType;
    const char* byteStreamFilter;
};

constexpr Coding c_Codings[] = {
    {AV_CODEC_ID_H264, "video/avc", "h264_mp4toannexb"},
    {AV_CODEC_ID_HEVC, "video/hevc", "hevc_mp4toannexb"},
    {AV_CODEC_ID_MPEG4, "video/mp4v-es", nullptr},
    {AV_CODEC_ID_H263, "video/3gpp", nullptr},
    {AV_CODEC_ID_VP9, "video/x-vnd.on2.vp9", nullptr},
    {AV_CODEC_ID_AV1, "video/av01", nullptr},
    {AV_CODEC_ID_AAC, "audio/mp4a-latm", nullptr},
    {AV_CODEC_ID_MP3, "audio/mpeg", nullptr},
    {AV_CODEC_ID_AC3, "audio/ac3", nullptr},
    {AV_CODEC_ID_EAC3, "audio/eac3", nullptr},
    {AV_CODEC_ID_OPUS, "audio/opus", nullptr},
    {AV_CODEC_ID_FLAC, "audio/flac", nullptr},
    {AV_CODEC_ID_MOV_TEXT, "text/3gpp-tt", nullptr},
};

constexpr char c_OtherPrefix[] = "/x-";

const Coding* FindCoding(AVCodecID codec) {
    for (const Coding& coding : c_Codings) {
        if (coding.codec == codec) {
            return &coding;
        }
    }
    return nullptr;
}

const char* KindOf(AVMediaType type) {
    switch (type) {
        case AVMEDIA_TYPE_VIDEO:
            return "video";
        case AVMEDIA_TYPE_AUDIO:
            return "audio";
        case AVMEDIA_TYPE_SUBTITLE:
            return "text";
        default:
            return "application";
    }
}

bool IsPlayable(AVMediaType type) {
    return type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO;
}

}  // namespace

std::string MimeTypeOf(const AVCodecParameters& parameters) {
    const Coding* const coding = FindCoding(parameters.codec_id);
    if (coding != nullptr) {
        return coding->mimeType;
    }
    return KindOf(parameters.codec_type) + std::string(c_OtherPrefix) + avcodec_get_name(parameters.codec_id);
}

AVCodecID CodecOfMimeType(const std::string& mimeType) {
    for (const Coding& coding : c_Codings) {
        if (mimeType == coding.mimeType) {
            return IsPlayable(avcodec_get_type(coding.codec)) ? coding.codec : AV_CODEC_ID_NONE;
        }
    }
    const size_t prefix = mimeType.find(c_OtherPrefix);
    if (prefix == std::string::npos) {
        return AV_CODEC_ID_NONE;
    }
    const AVCodecDescriptor* const descriptor =
        avcodec_descriptor_get_by_name(mimeType.c_str() + prefix + sizeof c_OtherPrefix - 1);
    const bool fits = descriptor != nullptr && IsPlayable(descriptor->type) &&
                      mimeType.compare(0, prefix, KindOf(descriptor->type)) == 0;
    return fits ? descriptor->id : AV_CODEC_ID_NONE;
}

const char* ByteStreamFilterOf(AVCodecID codec) {
    const Coding* const coding = FindCoding(codec);
    return coding != nullptr ? coding->byteStreamFilter : nullptr;
}

}  // namespace Nimb::Desktop
