// Which meshes of a file to leave out.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// For one file.
class SkippedNames {
public:
    explicit SkippedNames(const std::vector<std::string>& names) : m_Names(names.begin(), names.end()) {}

    /// Whether a mesh of this name is to be left out. Remembers the name.
    bool Contains(const std::string& name);

    /// Throws InputError, beginning with `path`, if the file does not have one of the names; lists those that it has.
    void Check(const std::string& path) const;

private:
    const std::set<std::string> m_Names;
    std::set<std::string> m_Known;
};

}  // namespace Nimb::Authoring
