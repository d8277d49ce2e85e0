#include "NimbCore/SymbolCode.h"

#include "Nimb/NimbAssert.h"

#include <algorithm>
#include <numeric>

namespace Nimb {
namespace TransformDeltas {
namespace {

/// Sets what all bits have that start with the code word.
template <class Table, class Entry>
void Fill(Table& table, UINT32 maxLength, const FieldReader::CodeWord& word, Entry entry) {
    const UINT32 unused = maxLength - word.length;
    std::fill_n(table.begin() + (word.code << unused), std::size_t{1} << unused, entry);
}

}  // namespace

UINT32 FieldReader::Read(UINT32 numBits) {
    NIMB_ASSERT(numBits <= 32);
    return m_Bits.Read(numBits);
}

float FieldReader::ReadFloat() {
    const UINT32 bits = Read(32);
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

UINT32 FieldReader::ReadGolomb(UINT32 order) {
    UINT32 p = 0;
    while (p <= 32 && ReadFlag()) {
        ++p;
    }
    const UINT64 base = ((UINT64{1} << p) - 1) << order;
    return static_cast<UINT32>(base + Read(p + order));
}

bool FieldReader::ReadLengths(UINT32 numSymbols, UINT32 maxLength) {
    const UINT32 lastSymbol = Read(8);
    if (lastSymbol >= numSymbols) {
        return false;
    }
    m_Frequencies.assign(lastSymbol + 1, 0);
    UINT32 length = c_FirstCodeLength;
    for (UINT32 symbol = 0; symbol <= lastSymbol; ++symbol) {
        if (ReadFlag()) {
            if (!ReadFlag()) {
                ++length;
            } else if (!ReadFlag()) {
                --length;
            } else if (!ReadFlag()) {
                const UINT32 moreAbsent = ReadGolomb(0);
                if (moreAbsent >= lastSymbol - symbol) {
                    return false;
                }
                symbol += moreAbsent;
                continue;
            } else {
                length = Read(4);
            }
        }
        if (length - 1 >= maxLength) {
            return false;
        }
        m_Frequencies[symbol] = 1 << (maxLength - length);
    }
    return true;
}

const std::vector<FieldReader::CodeWord>& FieldReader::ReadCode(UINT32 numSymbols, UINT32 maxLength) {
    m_Words.clear();
    if (ReadLengths(numSymbols, maxLength)) {
        // With 2^-length for their frequencies the symbols of a complete code get back exactly these lengths.
        const int sum = std::accumulate(m_Frequencies.begin(), m_Frequencies.end(), 0);
        HuffmanEncoding::TreeNode* root = nullptr;
        m_Builder.BuildTree(m_Frequencies, &root);
        const bool single = root->left == nullptr;
        if (single || sum == 1 << maxLength) {
            Collect(root, 0, 0);
        }
    }
    return m_Words;
}

void FieldReader::Collect(const HuffmanEncoding::TreeNode* node, UINT32 code, UINT32 length) {
    if (node->left != nullptr) {
        Collect(node->left, 2 * code, length + 1);
        Collect(node->right, 2 * code + 1, length + 1);
        return;
    }
    m_Words.push_back({static_cast<UINT32>(node->index), code, length});
}

bool NumberCode::Read(FieldReader& fields, UINT32 numSymbols, NumberBucket (*bucketOf)(UINT32 symbol)) {
    const std::vector<FieldReader::CodeWord>& words = fields.ReadCode(numSymbols, c_MaxNumberCodeLength);
    for (const FieldReader::CodeWord& word : words) {
        const NumberBucket bucket = bucketOf(word.symbol);
        const UINT32 offset = bucket.base - (word.code << bucket.extraBits);
        Fill(m_Table, c_MaxNumberCodeLength, word, offset << 16 | (word.length + bucket.extraBits));
    }
    return !words.empty();
}

bool VertexCode::Read(FieldReader& fields) {
    const std::vector<FieldReader::CodeWord>& words = fields.ReadCode(c_NumVertexSymbols, c_MaxVertexCodeLength);
    for (const FieldReader::CodeWord& word : words) {
        const UINT32 extraBits = word.symbol > c_EscapeSymbol ? word.symbol - c_EscapeSymbol : 0;
        const bool isEscape = word.symbol == c_EscapeSymbol;
        m_HasEscapes = m_HasEscapes || isEscape;
        m_Meanings[word.symbol] = {c_VertexCorrections.ofSymbol[word.symbol], isEscape ? 1u : 0u,
                                   (UINT32{1} << extraBits) - (word.code << extraBits)};
        Fill(m_Table, c_MaxVertexCodeLength, word,
             static_cast<std::uint16_t>(word.symbol << 8 | (word.length + extraBits)));
    }
    return !words.empty();
}

}  // namespace TransformDeltas
}  // namespace Nimb
