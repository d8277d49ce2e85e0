#include "Authoring/Source/SkippedNames.h"

#include "Authoring/Scene/MeshSource.h"

namespace Nimb::Authoring {

bool SkippedNames::Contains(const std::string& name) {
    if (!m_Names.empty() && !name.empty()) {
        m_Known.insert(name);
    }
    return m_Names.count(name) != 0;
}

void SkippedNames::Check(const std::string& path) const {
    for (const std::string& name : m_Names) {
        if (m_Known.count(name) != 0) {
            continue;
        }
        std::string list;
        for (const std::string& known : m_Known) {
            list += (list.empty() ? " '" : ", '") + known + "'";
        }
        throw InputError(path + ": has no mesh '" + name + "' to skip" +
                         (list.empty() ? "; none has a name" : "; its meshes are" + list));
    }
}

}  // namespace Nimb::Authoring
