// Where a data source is: plain paths and file: URIs.
#pragma once

#include <string>

namespace NimbDesktop {

/// The path that a plain path or a "file:" URI names. Empty for URIs of other schemes or hosts, and for nothing.
std::string PathOfUri(const std::string& uri);

}  // namespace NimbDesktop
