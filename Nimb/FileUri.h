// How a caller's name for a file is read: as a plain path or a "file:" URI. The player's reader of a file's tail and
// the desktop's extractor both use it, so that they find the same file.
//
//   plain path              as it is: any character, percent signs too
//   file:/path              absolute or relative; no host
//   file:///path            the same with an empty host
//   file://localhost/path   this machine by its name
//
// In a URI "%41" stands for the byte 0x41; what only looks like an escape ("%4", "%zz", "50%") is taken literally. A
// "%00" is refused: the path would end there for some and not for others.
#pragma once

#include <cstddef>
#include <string>

namespace Nimb {
namespace FileUri {

inline int HexDigit(char c) {
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    return lower >= '0' && lower <= '9' ? lower - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Empty when there is an escaped zero byte in it.
inline std::string DecodeEscapes(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && text.size() - i > 2 ? HexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
        if (low < 0) {
            decoded += text[i];
            continue;
        }
        if (high == 0 && low == 0) {
            return std::string();
        }
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

/// Whether it begins with "scheme://".
inline bool HasScheme(const std::string& uri) {
    const std::size_t end = uri.find("://");
    return end != std::string::npos && uri.find('/') > end;
}

}  // namespace FileUri

/// The path that a plain path or a "file:" URI names. Empty for URIs of other schemes or hosts, and for nothing.
inline std::string PathOfUri(const std::string& uri) {
    constexpr char fileScheme[] = "file:";
    constexpr std::size_t schemeLength = sizeof(fileScheme) - 1;
    if (uri.compare(0, schemeLength, fileScheme) != 0) {
        return FileUri::HasScheme(uri) ? std::string() : uri;
    }
    std::string rest = uri.substr(schemeLength);
    if (rest.compare(0, 2, "//") == 0) {
        const std::size_t path = rest.find('/', 2);
        const std::string host = rest.substr(2, path == std::string::npos ? path : path - 2);
        if (path == std::string::npos || (!host.empty() && host != "localhost")) {
            return std::string();
        }
        rest.erase(0, path);
    }
    return FileUri::DecodeEscapes(rest);
}

}  // namespace Nimb
