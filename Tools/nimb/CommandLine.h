// The command-line library, whose header is not written for this project's warnings; options that commands share.
#pragma once

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#include <CLI/CLI.hpp>
#pragma GCC diagnostic pop

#include <cmath>
#include <string>

namespace Nimb::Tool {

/// For values that have no largest one worth telling.
inline CLI::Validator AboveZero() {
    return CLI::Validator(
        [](const std::string& text) {
            double value = 0;
            return CLI::detail::lexical_cast(text, value) && value > 0 && std::isfinite(value)
                       ? ""
                       : "must be above 0, not " + text;
        },
        ">0");
}

inline void AddOverwrite(CLI::App& command, bool& overwrite) {
    command.add_flag("-y,--overwrite", overwrite, "overwrite outputs that exist");
}

}  // namespace Nimb::Tool
