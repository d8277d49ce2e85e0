// Texts as pages take them.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace Nimb::Tool {

using TemplateValues = std::map<std::string_view, std::string>;

/// Puts values in place of {{name}}. What is put in is not looked at again.
std::string FillTemplate(std::string_view text, const TemplateValues& values);

/// For text between tags and for attributes in quotes.
std::string EscapeHtml(std::string_view text);

/// A script's text in a page: it must not end its own element. Both sequences can only stand in strings and regular
/// expressions of code that a bundler wrote, where these mean the same.
std::string InlineScript(std::string_view text);

/// In one line.
std::string Base64(std::string_view bytes);

}  // namespace Nimb::Tool
