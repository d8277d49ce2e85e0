#include "Tools/nimb/HtmlText.h"

#include <cctype>
#include <cstdint>

namespace Nimb::Tool {
namespace {

void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

}  // namespace

std::string FillTemplate(std::string_view text, const TemplateValues& values) {
    std::string filled;
    for (;;) {
        const std::size_t begin = text.find("{{");
        filled += text.substr(0, begin);
        if (begin == std::string_view::npos) {
            return filled;
        }
        const std::size_t end = text.find("}}", begin);
        filled += values.at(text.substr(begin + 2, end - begin - 2));
        text.remove_prefix(end + 2);
    }
}

std::string EscapeHtml(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string InlineScript(std::string_view text) {
    std::string script(text);
    for (std::size_t at = 0; at + 8 <= script.size(); ++at) {
        std::string word = script.substr(at, 8);
        for (char& c : word) {
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        if (word == "</script") {
            script.insert(at + 1, "\\");
        }
    }
    ReplaceAll(script, "<!--", "\\x3C!--");
    return script;
}

std::string Base64(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = bytes.size() - at;
        const auto byte = [&](std::size_t i) {
            return i < count ? std::uint32_t{static_cast<unsigned char>(bytes[at + i])} : 0;
        };
        const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
        text += digits[group >> 18];
        text += digits[group >> 12 & 63];
        text += count > 1 ? digits[group >> 6 & 63] : '=';
        text += count > 2 ? digits[group & 63] : '=';
    }
    return text;
}

}  // namespace Nimb::Tool
