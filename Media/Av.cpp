#include "Media/Av.h"

namespace Nimb::Media {

std::string AvText(int result) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(result, text, sizeof(text));
    return text;
}

int OpenAvFile(const std::string& path, const AVInputFormat* format, int flags,
               std::initializer_list<std::pair<const char*, const char*>> options, AvPtr<AVFormatContext>& context,
               AVIOInterruptCB interrupt) {
    AVFormatContext* opened = Owned(avformat_alloc_context()).release();
    opened->flags |= flags;
    opened->interrupt_callback = interrupt;
    AVDictionary* dictionary = nullptr;
    av_dict_set(&dictionary, "protocol_whitelist", "file", 0);
    for (const auto& [name, value] : options) {
        av_dict_set(&dictionary, name, value, 0);
    }
    // A context that could not be opened is freed by the call that could not.
    const int result = avformat_open_input(&opened, ("file:" + path).c_str(), format, &dictionary);
    av_dict_free(&dictionary);
    context.reset(result >= 0 ? opened : nullptr);
    return result;
}

}  // namespace Nimb::Media
