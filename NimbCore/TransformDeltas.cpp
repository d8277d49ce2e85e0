// Transform deltas (vertex version 5): positions carried along by the transforms of a figure's parts, then corrected.
//
// A section is parsed completely before the first position is written, because with two frames of history the new
// positions take the place of the older ones: a section that turns out to be bad must leave the history intact.
#include "NimbCore/TransformDeltas.h"

#include "Nimb/NimbAssert.h"
#include "NimbCore/BitReader.h"
#include "NimbCore/DeltaOutput.h"
#include "NimbCore/StreamReader.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace Nimb {
namespace {

using namespace TransformDeltas;

/// Vertices handled at a time, so that positions are still in the first cache when their records are written.
constexpr std::size_t c_BlockVertices = 256;

/// Fields of the section's code words.
class FieldReader {
public:
    explicit FieldReader(const std::vector<UINT32>& words) noexcept : m_Bits(words.data(), words.size()) {}

    UINT32 Read(UINT32 numBits) {
        NIMB_ASSERT(numBits <= 32);
        return m_Bits.Read(numBits);
    }

    bool ReadFlag() { return Read(1) != 0; }

    float ReadFloat() {
        const UINT32 bits = Read(32);
        float value = 0.0f;
        std::memcpy(&value, &bits, sizeof(value));
        return value;
    }

    /// Exponential Golomb code (J. Teuhola, "A compression method for clustered bit-vectors", 1978): p ones and a zero,
    /// then p + order bits, counted on from where p - 1 ended.
    UINT32 ReadGolomb(UINT32 order) {
        UINT32 p = 0;
        while (p <= 32 && ReadFlag()) {
            ++p;
        }
        const UINT64 base = ((UINT64{1} << p) - 1) << order;
        return static_cast<UINT32>(base + Read(p + order));
    }

    INT32 ReadSigned(UINT32 order) { return Unzigzag(ReadGolomb(order)); }

    WordBitReader& Bits() noexcept { return m_Bits; }
    bool Overrun() const noexcept { return m_Bits.Overrun(); }

private:
    WordBitReader m_Bits;
};

/// A prefix code, read through a table that the code's first bits index.
class SymbolCode {
public:
    /// Reads the code's lengths and builds it. False unless they are those of a complete code, or of a single symbol.
    bool Read(FieldReader& fields, UINT32 numSymbols);

    UINT32 Next(FieldReader& fields) const noexcept {
        WordBitReader& bits = fields.Bits();
        bits.Refill();
        const std::uint16_t entry = m_Table[bits.Peek() >> m_Shift];
        bits.Skip(entry & 15u);
        return entry >> 4;
    }

    UINT32 NextNumber(FieldReader& fields) const {
        const NumberBucket bucket = BucketOfSymbol(Next(fields));
        return bucket.base + fields.Read(bucket.extraBits);
    }

    bool Contains(UINT32 symbol) const noexcept { return m_Lengths[symbol] != 0; }

private:
    bool ReadLengths(FieldReader& fields, UINT32 numSymbols);
    void Fill(const HuffmanEncoding::TreeNode* node, UINT32 code, UINT32 length);

    std::array<BYTE, 256> m_Lengths{};   // 0: the symbol has no code
    std::vector<std::uint16_t> m_Table;  // symbol << 4 | code length
    UINT32 m_TableBits = 1;
    UINT32 m_Shift = 63;
};

bool SymbolCode::ReadLengths(FieldReader& fields, UINT32 numSymbols) {
    const UINT32 lastSymbol = fields.Read(8);
    if (lastSymbol >= numSymbols) {
        return false;
    }
    UINT32 length = c_FirstCodeLength;
    for (UINT32 symbol = 0; symbol <= lastSymbol; ++symbol) {
        if (fields.ReadFlag()) {
            if (!fields.ReadFlag()) {
                ++length;
            } else if (!fields.ReadFlag()) {
                --length;
            } else if (!fields.ReadFlag()) {
                const UINT32 moreAbsent = fields.ReadGolomb(0);
                if (moreAbsent >= lastSymbol - symbol) {
                    return false;
                }
                symbol += moreAbsent;
                continue;
            } else {
                length = fields.Read(4);
            }
        }
        if (length - 1 >= c_MaxCodeLength) {
            return false;
        }
        m_Lengths[symbol] = static_cast<BYTE>(length);
    }
    return true;
}

bool SymbolCode::Read(FieldReader& fields, UINT32 numSymbols) {
    if (!ReadLengths(fields, numSymbols)) {
        return false;
    }
    // With 2^-length for their frequencies the symbols of a complete code get back exactly these lengths.
    std::vector<int> frequencies(numSymbols);
    UINT32 maxLength = 0;
    for (UINT32 symbol = 0; symbol < numSymbols; ++symbol) {
        if (m_Lengths[symbol] != 0) {
            frequencies[symbol] = 1 << (c_MaxCodeLength - m_Lengths[symbol]);
            maxLength = std::max<UINT32>(maxLength, m_Lengths[symbol]);
        }
    }
    const int sum = std::accumulate(frequencies.begin(), frequencies.end(), 0);
    HuffmanEncoding builder;
    HuffmanEncoding::TreeNode* root = nullptr;
    builder.BuildTree(frequencies, &root);
    const bool single = root->left == nullptr;
    if (!single && sum != 1 << c_MaxCodeLength) {
        return false;
    }
    m_TableBits = single ? 1 : maxLength;
    m_Shift = 64 - m_TableBits;
    m_Table.resize(std::size_t{1} << m_TableBits);
    Fill(root, 0, 0);
    return true;
}

void SymbolCode::Fill(const HuffmanEncoding::TreeNode* node, UINT32 code, UINT32 length) {
    if (node->left != nullptr) {
        Fill(node->left, 2 * code, length + 1);
        Fill(node->right, 2 * code + 1, length + 1);
        return;
    }
    const UINT32 unused = m_TableBits - length;
    const auto entry = static_cast<std::uint16_t>((static_cast<UINT32>(node->index) << 4) | length);
    std::fill_n(m_Table.begin() + (code << unused), std::size_t{1} << unused, entry);
}

/// A section as parsed.
struct Section {
    float step = 0.0f;
    float translationUnit = 0.0f;
    bool partsKept = false;
    std::array<Transform, 256> transforms{};  // any part number finds one; the identity where the section has none
    UINT32 numTransforms = 0;
    std::vector<BYTE> parts;  // of each vertex, when not kept
    std::vector<Correction> corrections;
};

bool ReadTransforms(FieldReader& fields, Section& section) {
    section.step = fields.ReadFloat();
    section.partsKept = fields.ReadFlag();
    section.numTransforms = fields.Read(7);
    if (section.numTransforms > c_MaxTransforms) {
        return false;
    }
    if (section.numTransforms == 0) {
        return true;
    }
    section.translationUnit = section.step * NegativePowerOfTwo(fields.Read(4));
    const UINT32 linearOrder = fields.Read(5);
    const UINT32 translationOrder = fields.Read(5);
    for (UINT32 i = 0; i < section.numTransforms; ++i) {
        Transform& transform = section.transforms[i];
        transform.kind = static_cast<Kind>(fields.Read(2));
        transform.extrapolation = static_cast<BYTE>(fields.Read(2));
        if (transform.kind >= Kind_Rigid) {
            transform.linearShift = static_cast<BYTE>(fields.Read(5));
            const std::size_t count = transform.kind == Kind_Rigid ? 3 : 9;
            for (std::size_t k = 0; k < count; ++k) {
                transform.linear[k] = fields.ReadSigned(linearOrder);
            }
        }
        if (transform.kind >= Kind_Translation) {
            for (INT32& component : transform.translation) {
                component = fields.ReadSigned(translationOrder);
            }
        }
    }
    return true;
}

/// The part of every vertex: runs of vertices of one part, named by its rank in the list of most recently named parts
/// (move to front: J. Bentley, D. Sleator, R. Tarjan, V. Wei, "A locally adaptive data compression scheme", 1986).
bool ReadParts(FieldReader& fields, UINT32 numTransforms, std::vector<BYTE>& parts) {
    if (numTransforms <= 1) {
        return true;
    }
    SymbolCode ranks;
    SymbolCode lengths;
    if (!ranks.Read(fields, numTransforms) || !lengths.Read(fields, c_NumNumberSymbols)) {
        return false;
    }
    std::array<BYTE, c_MaxTransforms> recent;
    std::iota(recent.begin(), recent.end(), BYTE{0});
    for (std::size_t i = 0; i < parts.size();) {
        const UINT32 rank = ranks.Next(fields);
        const std::size_t length = std::size_t{1} + lengths.NextNumber(fields);
        if (length > parts.size() - i) {
            return false;
        }
        std::rotate(recent.begin(), recent.begin() + rank, recent.begin() + rank + 1);
        std::fill_n(parts.begin() + static_cast<std::ptrdiff_t>(i), length, recent[0]);
        i += length;
    }
    return true;
}

bool ReadCorrections(FieldReader& fields, std::vector<Correction>& corrections) {
    SymbolCode vertexCode;
    if (!vertexCode.Read(fields, c_NumVertexSymbols)) {
        return false;
    }
    std::array<SymbolCode, 3> axisCodes;
    const SymbolCode* codes[3] = {&axisCodes[0], &axisCodes[0], &axisCodes[0]};
    if (vertexCode.Contains(c_EscapeSymbol)) {
        const std::size_t numCodes = fields.ReadFlag() ? 3 : 1;
        for (std::size_t axis = 0; axis < numCodes; ++axis) {
            codes[axis] = &axisCodes[axis];
            if (!axisCodes[axis].Read(fields, c_NumNumberSymbols)) {
                return false;
            }
        }
    }
    for (std::size_t i = 0; i < corrections.size();) {
        const UINT32 symbol = vertexCode.Next(fields);
        if (symbol < c_NumSmallCorrections) {
            corrections[i++] = c_SmallCorrections.entries[symbol];
        } else if (symbol == c_EscapeSymbol) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                corrections[i].axis[axis] = static_cast<std::int16_t>(Unzigzag(codes[axis]->NextNumber(fields)));
            }
            ++i;
        } else {
            const UINT32 exponent = symbol - c_EscapeSymbol;
            const std::size_t length = (std::size_t{1} << exponent) + fields.Read(exponent);
            if (length > corrections.size() - i) {
                return false;
            }
            i += length;  // corrections start out as zero
        }
    }
    return true;
}

bool ParseSection(FieldReader& fields, std::size_t numVertices, const CNimbMeshReaderCtx& ctx, Section& section) {
    if (!ReadTransforms(fields, section)) {
        return false;
    }
    if (section.partsKept) {
        if (ctx.m_TransformIndices.size() != numVertices) {
            return false;
        }
    } else {
        section.parts.resize(numVertices);
        if (!ReadParts(fields, section.numTransforms, section.parts)) {
            return false;
        }
    }
    section.corrections.resize(numVertices);
    return ReadCorrections(fields, section.corrections) && !fields.Overrun();
}

/// Each part turns about the previous position of its first vertex.
std::array<Motion, 256> MakeMotions(const Section& section, const std::vector<BYTE>& parts, const __vector4* previous) {
    std::array<const __vector4*, 256> pivots{};
    UINT32 found = 0;
    for (std::size_t i = 0; i < parts.size() && found < section.numTransforms; ++i) {
        if (pivots[parts[i]] == nullptr) {
            pivots[parts[i]] = &previous[i];
            found += parts[i] < section.numTransforms ? 1 : 0;
        }
    }
    std::array<Motion, 256> motions;
    for (std::size_t part = 0; part < motions.size(); ++part) {
        const __vector4 pivot = pivots[part] != nullptr ? *pivots[part] : __vector4{};
        motions[part] = MakeMotion(section.transforms[part], section.translationUnit, pivot);
    }
    return motions;
}

/// positions[i] = prediction + correction. Where there is a second history it is `positions` itself.
template <bool HasOlder>
void Move(const Motion* motions, const BYTE* parts, const Correction* corrections, Float4 step,
          const __vector4* previous, std::size_t count, __vector4* positions) {
    for (std::size_t i = 0; i < count; ++i) {
        const Float4 prev = Float4::Load(&previous[i]);
        Float4 last = Float4::All(0.0f);
        if (HasOlder) {
            last = prev - Float4::Load(&positions[i]);
        }
        Correct(Predict(motions[parts[i]], prev, last), corrections[i], step).Store(&positions[i]);
    }
}

}  // namespace

HRESULT CNimbMeshReader::ReadTransformDeltaVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream,
                                                    CStreamingMeshHeader* pHeader, INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        CheckDeltaContext(pCtx, pHeader, ppBuffer);
        *ppBuffer = nullptr;

        UINT32 numDeltas = 0;
        UINT32 numBits = 0;
        std::vector<UINT32> words;
        HRESULT hr = S_OK;
        if (Failed(hr = ReadField(pStream, &numDeltas))) {
            return hr;
        }
        NIMB_ASSERT(numDeltas > 0);
        if (numDeltas != pHeader->m_numVertices) {
            return E_UNEXPECTED;
        }
        if (Failed(hr = ReadField(pStream, &numBits)) || Failed(hr = ReadCodeWords(pStream, numBits, words))) {
            return hr;
        }

        Section section;
        FieldReader fields(words);
        if (!ParseSection(fields, numDeltas, *pCtx, section)) {
            return E_UNEXPECTED;
        }
        DeltaFrameWriter writer;
        if (Failed(hr = writer.Begin(m_pBufferAllocator, m_VertexFormat, pCtx, pHeader))) {
            return hr;
        }
        if (!section.partsKept) {
            pCtx->m_TransformIndices.swap(section.parts);
        }

        const BYTE* const parts = pCtx->m_TransformIndices.data();
        const __vector4* const previous = pCtx->m_pPrevMesh->data();
        __vector4* const positions = NewPositions(pCtx)->data();
        const std::array<Motion, 256> motions = MakeMotions(section, pCtx->m_TransformIndices, previous);
        const Float4 step = Float4::All(section.step);
        const bool hasOlder = pCtx->m_pPrevPrevMesh != nullptr;
        for (std::size_t first = 0; first < numDeltas; first += c_BlockVertices) {
            const std::size_t count = std::min<std::size_t>(c_BlockVertices, numDeltas - first);
            const Correction* const corrections = section.corrections.data() + first;
            if (hasOlder) {
                Move<true>(motions.data(), parts + first, corrections, step, previous + first, count,
                           positions + first);
            } else {
                Move<false>(motions.data(), parts + first, corrections, step, previous + first, count,
                            positions + first);
            }
            writer.Write(first, count, positions + first);
        }
        AdvanceHistory(pCtx);
        *ppBuffer = writer.Finish();
        return ReadNormals(pStream, pHeader, *ppBuffer);
    });
}

}  // namespace Nimb
