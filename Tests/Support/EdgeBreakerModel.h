// What an EdgeBreaker stream must do, written down a second time: its codes read bit by bit, and the promise that
// Compress makes about what Decompress gives back. For tests and fuzz targets.
#pragma once

#include "Nimb/NimbAssert.h"
#include "NimbCore/EdgeBreaker.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace NimbTest {

using Faces = std::vector<TarnMeshFace>;

constexpr char c_EndOfData[] = "p <= &compressedIndices[compressedIndices.size() - 1]";

/// The codes of a stream up to its closing pair, one bit after the other; nothing where the data ends first.
inline std::optional<std::vector<int>> ModelCodes(const std::vector<BYTE>& bytes) {
    std::size_t position = 0;
    const auto bit = [&] {
        const bool set = position / 8 < bytes.size() && ((bytes[position / 8] << (position % 8)) & 0x80) != 0;
        ++position;
        return set;
    };
    std::vector<int> codes;
    while (position < bytes.size() * 8) {
        int code = 0;
        if (bit()) {
            if (bit()) {
                code = bit() ? 3 : 1;
            } else {
                code = bit() ? 2 : bit() ? 5 : 4;
            }
        }
        codes.push_back(code);
        if (code == 5 && codes.size() > 1 && codes[codes.size() - 2] == 5) {
            return codes;
        }
    }
    return std::nullopt;
}

/// Decodes `bytes`; returns the text of the violation, empty for none.
inline std::string Decode(std::vector<BYTE> bytes, Faces* faces) {
    try {
        EdgeBreaker::CEdgeBreaker().Decompress(bytes, faces);
        return "";
    } catch (const Nimb::AssertionFailure& failure) {
        return failure.Info().text;
    }
}

inline bool IsRotation(const UINT32 (&a)[3], const UINT32 (&b)[3]) {
    for (int r = 0; r < 3; ++r) {
        if (a[0] == b[r] && a[1] == b[(r + 1) % 3] && a[2] == b[(r + 2) % 3]) {
            return true;
        }
    }
    return false;
}

/// Encodes and decodes `faces`; returns what is wrong with the result, empty for nothing. `repeats` receives how many
/// vertices more than the input the decoded mesh has, `pieces` how many sub-meshes the stream holds.
inline std::string RoundTrip(const Faces& faces, std::size_t* repeats = nullptr, std::size_t* pieces = nullptr) {
    std::vector<BYTE> bytes;
    std::vector<UINT32> vertexOrder;
    std::vector<UINT32> faceOrder;
    EdgeBreaker::CEdgeBreaker().Compress(faces, &bytes, &vertexOrder, &faceOrder);
    Faces decoded;
    const std::string violation = Decode(bytes, &decoded);
    if (!violation.empty()) {
        return "does not decode: " + violation;
    }
    if (decoded.size() != faces.size() || faceOrder.size() != faces.size()) {
        return "wrong number of faces";
    }
    std::vector<bool> faceSeen(faces.size(), false);
    std::vector<bool> vertexSeen(vertexOrder.size(), false);
    std::set<UINT32> inputVertices;
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        if (faceOrder[i] >= faces.size() || faceSeen[faceOrder[i]]) {
            return "face order is no permutation";
        }
        faceSeen[faceOrder[i]] = true;
        UINT32 mapped[3];
        for (int corner = 0; corner < 3; ++corner) {
            const UINT32 vertex = decoded[i].v[corner];
            if (vertex >= vertexOrder.size()) {
                return "vertex without an original";
            }
            vertexSeen[vertex] = true;
            mapped[corner] = vertexOrder[vertex];
            inputVertices.insert(mapped[corner]);
        }
        if (!IsRotation(mapped, faces[faceOrder[i]].v)) {
            return "face differs from its original";
        }
    }
    for (const bool seen : vertexSeen) {
        if (!seen) {
            return "vertex that no face uses";
        }
    }
    if (repeats != nullptr) {
        *repeats = vertexOrder.size() - inputVertices.size();
    }
    if (pieces != nullptr) {
        *pieces = 0;
        const auto codes = ModelCodes(bytes);
        for (std::size_t i = 1; codes && i < codes->size(); ++i) {
            *pieces += (*codes)[i] == 5 && (*codes)[i - 1] != 5;
        }
    }
    return "";
}

}  // namespace NimbTest
