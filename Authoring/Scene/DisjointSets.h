// What belongs together, found pair by pair (union-find with path halving).
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <numeric>
#include <vector>

namespace Nimb::Authoring {

/// Sets of numbers below `count` that can be joined, at first one for each; each is named by one of its members.
class DisjointSets {
public:
    explicit DisjointSets(std::size_t count) : m_Parents(count) { std::iota(m_Parents.begin(), m_Parents.end(), 0U); }

    UINT32 Find(UINT32 i) {
        while (m_Parents[i] != i) {
            m_Parents[i] = m_Parents[m_Parents[i]];
            i = m_Parents[i];
        }
        return i;
    }

    void Join(UINT32 a, UINT32 b) { m_Parents[Find(a)] = Find(b); }

private:
    std::vector<UINT32> m_Parents;
};

}  // namespace Nimb::Authoring
