#include "Tools/nimb/WebPage.h"

#include "Tools/nimb/WebTemplates.h"

#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>

namespace Nimb::Tool {
namespace {

using Values = std::map<std::string_view, std::string>;

/// Puts values in place of {{name}}. What is put in is not looked at again.
std::string Fill(std::string_view text, const Values& values) {
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

/// For text between tags and for attributes in quotes.
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

void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

/// A script's text in a page: it must not end its own element. Both sequences can only stand in strings and regular
/// expressions of code that a bundler wrote, where these mean the same.
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

std::string Meta(const char* kind, const char* name, const std::string& content) {
    return content.empty()
               ? ""
               : std::string("<meta ") + kind + "=\"" + name + "\" content=\"" + EscapeHtml(content) + "\">\n";
}

std::string MetaOf(const WebPage& page) {
    std::string meta = Meta("name", "description", page.description) + Meta("property", "og:type", "website") +
                       Meta("property", "og:title", page.title) + Meta("property", "og:description", page.description) +
                       Meta("property", "og:url", page.url);
    if (!page.preview.empty()) {
        meta +=
            Meta("property", "og:image", page.url + page.preview) + Meta("name", "twitter:card", "summary_large_image");
    }
    meta.pop_back();
    return meta;
}

std::string AttributesOf(const WebPage& page) {
    std::string attributes;
    attributes += page.loop ? " loop" : "";
    attributes += page.autoplay ? " autoplay" : "";
    attributes += page.muted ? " muted" : "";
    attributes += page.cameraOrbit.empty() ? "" : " camera-orbit=\"" + EscapeHtml(page.cameraOrbit) + "\"";
    return attributes;
}

/// A background of one's own needs a text colour that can be read on it.
std::string ColoursOf(const std::optional<Colour>& background) {
    if (!background) {
        return "";
    }
    const Colour& c = *background;
    const bool isDark = 299 * c[0] + 587 * c[1] + 114 * c[2] < 128 * 1000;
    char rule[200];
    std::snprintf(rule, sizeof rule,
                  "\n:root {\n    color-scheme: %s;\n    --back: #%02x%02x%02x;\n    --ink: %s;\n}\n",
                  isDark ? "dark" : "light", c[0], c[1], c[2], isDark ? "#ffffff" : "#000000");
    return rule;
}

Values ValuesOf(const WebPage& page) {
    return {{"title", EscapeHtml(page.title)},
            {"meta", MetaOf(page)},
            {"attributes", AttributesOf(page)},
            {"clip", EscapeHtml(page.clip)},
            {"poster", EscapeHtml(page.poster)}};
}

}  // namespace

std::string SafeClipName(const std::string& path) {
    std::string name;
    for (const char c : std::filesystem::path(path).stem().string()) {
        const bool isSafe = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' || c == '-';
        if (isSafe && !(name.empty() && (c == '.' || c == '-'))) {
            name += c;
        } else if (!name.empty() && name.back() != '-') {
            name += '-';
        }
    }
    while (!name.empty() && (name.back() == '-' || name.back() == '.')) {
        name.pop_back();
    }
    return (name.empty() ? "clip" : name) + ".mp4";
}

std::string IndexHtml(const WebPage& page) {
    return Fill(c_WebIndexHtml, ValuesOf(page));
}

std::string PageCss(const WebPage& page) {
    return Fill(c_WebPageCss, {{"colours", ColoursOf(page.background)}});
}

std::string PageJs() {
    return c_WebPageJs;
}

SinglePage SingleHtml(const WebPage& page, std::string_view player) {
    Values values = ValuesOf(page);
    values["style"] = PageCss(page);
    values["player"] = InlineScript(player);
    values["script"] = InlineScript(c_WebSingleJs);
    const std::string_view text = c_WebSingleHtml;
    constexpr std::string_view data = "{{data}}\n";
    const std::size_t at = text.find(data);
    return {Fill(text.substr(0, at), values), Fill(text.substr(at + data.size()), values)};
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
