// Lists of numbers, one after the other in one array.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace Nimb::Authoring {

class IndexLists {
public:
    IndexLists() = default;

    /// `forEach(add)` calls add(list, value) for all values. It is called twice, and must do the same each time.
    template <class ForEach>
    IndexLists(std::size_t count, ForEach forEach) : m_First(count + 1) {
        forEach([&](std::size_t list, UINT32) { ++m_First[list + 1]; });
        std::partial_sum(m_First.begin(), m_First.end(), m_First.begin());
        m_Values.resize(m_First.back());
        std::vector<UINT32> next(m_First.begin(), m_First.end() - 1);
        forEach([&](std::size_t list, UINT32 value) { m_Values[next[list]++] = value; });
    }

    class Range {
    public:
        Range(const UINT32* begin, const UINT32* end) : m_Begin(begin), m_End(end) {}
        const UINT32* begin() const { return m_Begin; }
        const UINT32* end() const { return m_End; }
        std::size_t size() const { return static_cast<std::size_t>(m_End - m_Begin); }

    private:
        const UINT32* m_Begin;
        const UINT32* m_End;
    };

    Range operator[](std::size_t list) const {
        return {m_Values.data() + m_First[list], m_Values.data() + m_First[list + 1]};
    }

private:
    std::vector<UINT32> m_First;
    std::vector<UINT32> m_Values;
};

/// How many lists to look up so many keys in: a power of two.
inline std::size_t ListsFor(std::size_t keys) {
    std::size_t lists = 1;
    while (lists < keys) {
        lists *= 2;
    }
    return lists;
}

/// The list, of so many, that a key and all equal ones are in. (Multiplicative hashing: D. Knuth, "The Art of Computer
/// Programming" 3, 6.4; the factor is 2^64 over the golden ratio.)
inline std::size_t ListOfKey(const std::array<UINT32, 3>& key, std::size_t lists) {
    std::uint64_t hash = 0;
    for (const UINT32 value : key) {
        hash = (hash ^ value) * 0x9E3779B97F4A7C15;
        hash ^= hash >> 32;
    }
    return static_cast<std::size_t>(hash) & (lists - 1);
}

/// For each vertex, the faces that have it as a corner.
inline IndexLists FacesOfVertices(const std::vector<TarnMeshFace>& faces, std::size_t vertices) {
    return IndexLists(vertices, [&](auto&& add) {
        for (std::size_t face = 0; face < faces.size(); ++face) {
            for (const UINT32 v : faces[face].v) {
                add(v, static_cast<UINT32>(face));
            }
        }
    });
}

}  // namespace Nimb::Authoring
