// What goes wrong while a clip is written.
#pragma once

#include <stdexcept>

namespace Nimb::Authoring {

/// The text names the file, where in it, and what the library or the system said.
class ClipError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Nimb::Authoring
