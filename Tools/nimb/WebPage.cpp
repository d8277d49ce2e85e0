#include "Tools/nimb/WebPage.h"

#include "Tools/nimb/HtmlText.h"
#include "Tools/nimb/WebTemplates.h"

#include <cctype>
#include <cstdio>
#include <filesystem>

namespace Nimb::Tool {
namespace {

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

TemplateValues ValuesOf(const WebPage& page) {
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
    return FillTemplate(c_WebIndexHtml, ValuesOf(page));
}

std::string PageCss(const WebPage& page) {
    return FillTemplate(c_WebPageCss, {{"colours", ColoursOf(page.background)}});
}

std::string PageJs() {
    return c_WebPageJs;
}

SinglePage SingleHtml(const WebPage& page, std::string_view player) {
    TemplateValues values = ValuesOf(page);
    values["style"] = PageCss(page);
    values["player"] = InlineScript(player);
    values["script"] = InlineScript(c_WebSingleJs);
    const std::string_view text = c_WebSingleHtml;
    constexpr std::string_view data = "{{data}}\n";
    const std::size_t at = text.find(data);
    return {FillTemplate(text.substr(0, at), values), FillTemplate(text.substr(at + data.size()), values)};
}

}  // namespace Nimb::Tool
