// Paths out of URIs. Only what begins with "file:" or "scheme://" is a URI: a plain path may hold any character.
#include "FileUri.h"

namespace NimbDesktop {
namespace {

constexpr char c_FileScheme[] = "file:";

int HexDigit(char c) {
    const char* const digits = "0123456789abcdef";
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    for (int value = 0; value < 16; ++value) {
        if (digits[value] == lower) {
            return value;
        }
    }
    return -1;
}

std::string DecodePercents(const std::string& text) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && text.size() - i > 2 ? HexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
        if (low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

bool HasScheme(const std::string& uri) {
    const size_t end = uri.find("://");
    return end != std::string::npos && uri.find('/') > end;
}

}  // namespace

std::string PathOfUri(const std::string& uri) {
    if (uri.compare(0, sizeof c_FileScheme - 1, c_FileScheme) != 0) {
        return HasScheme(uri) ? std::string() : uri;
    }
    std::string rest = uri.substr(sizeof c_FileScheme - 1);
    if (rest.compare(0, 2, "//") == 0) {
        const size_t path = rest.find('/', 2);
        const std::string host = rest.substr(2, path == std::string::npos ? path : path - 2);
        if (path == std::string::npos || (!host.empty() && host != "localhost")) {
            return std::string();
        }
        rest.erase(0, path);
    }
    return DecodePercents(rest);
}

}  // namespace NimbDesktop
