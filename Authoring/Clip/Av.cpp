#include "Authoring/Clip/Av.h"

#include <new>

namespace Nimb::Authoring {

int OpenAvFile(const std::string& path, const AVInputFormat* format, int flags,
               std::initializer_list<std::pair<const char*, const char*>> options, AvInputPtr& context) {
    AVFormatContext* opened = avformat_alloc_context();
    if (opened == nullptr) {
        throw std::bad_alloc();
    }
    opened->flags |= flags;
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

std::string AvText(int result) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(result, text, sizeof(text));
    return text;
}

}  // namespace Nimb::Authoring
