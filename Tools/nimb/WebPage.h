// The texts of the page that shows a clip: the templates in Web/page/ with what is this clip's own.
#pragma once

#include "Tools/nimb/Viewer/Text.h"

#include <optional>
#include <string>
#include <string_view>

namespace Nimb::Tool {

struct WebPage {
    std::string title;
    std::string description;           ///< for link previews; empty: none
    std::string url;                   ///< of the page's folder, with a slash at its end; empty: not known
    std::string clip;                  ///< its name in the folder
    std::string poster;                ///< what the player shows at first: a name in the folder, or a data: URL
    std::string preview;               ///< name of the picture for link previews; empty: none
    std::string cameraOrbit;           ///< as the player's attribute; empty: the front
    std::optional<Colour> background;  ///< none: light or dark, as the reader's system has it
    bool autoplay = false;
    bool loop = true;
    bool muted = false;
};

/// A file's name with nothing in it that an URL, a shell or a server would take for something else; ends in .mp4.
std::string SafeClipName(const std::string& path);

std::string IndexHtml(const WebPage& page);
std::string PageCss(const WebPage& page);
std::string PageJs();

/// A page with everything inside, but for the clip: its data elements go between the two.
struct SinglePage {
    std::string before;
    std::string after;
};
/// `player`: the text of the player's module.
SinglePage SingleHtml(const WebPage& page, std::string_view player);

/// An element of the page with a part of the clip.
constexpr std::string_view c_DataBegin = "<script type=\"application/octet-stream\">";
constexpr std::string_view c_DataEnd = "</script>\n";

}  // namespace Nimb::Tool
