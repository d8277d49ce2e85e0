// Words and numbers of text files.
#pragma once

#include <charconv>
#include <string_view>

namespace Nimb::Authoring {

constexpr bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

/// Takes the first word off `text`; empty when there is none.
inline std::string_view TakeWord(std::string_view& text) {
    std::size_t begin = 0;
    while (begin < text.size() && IsBlank(text[begin])) {
        ++begin;
    }
    std::size_t end = begin;
    while (end < text.size() && !IsBlank(text[end])) {
        ++end;
    }
    const std::string_view word = text.substr(begin, end - begin);
    text.remove_prefix(end);
    return word;
}

/// Takes the first line off `text`, without its end.
inline std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return !line.empty() && line.back() == '\r' ? line.substr(0, line.size() - 1) : line;
}

/// Editors on Windows begin UTF-8 files with one.
inline std::string_view WithoutByteOrderMark(std::string_view text) {
    return text.substr(0, 3) == "\xEF\xBB\xBF" ? text.substr(3) : text;
}

inline std::string_view WithoutBlanksAround(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// False unless the whole word is a number that fits. A float's "nan" and "inf" are numbers.
template <class Number>
bool ParseNumber(std::string_view word, Number& number) {
    if (word.size() > 1 && word[0] == '+' && word[1] != '-') {
        word.remove_prefix(1);
    }
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size();
}

}  // namespace Nimb::Authoring
