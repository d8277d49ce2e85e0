// The command-line library, whose header is not written for this project's warnings.
#pragma once

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#include <CLI/CLI.hpp>
#pragma GCC diagnostic pop
