// Length-limited prefix codes and their tables.
#include "Authoring/Codec/PrefixCode.h"

#include "NimbCore/TransformDeltas.h"

#include <algorithm>

namespace Nimb::Authoring {

using namespace Nimb::TransformDeltas;

namespace {

/// Shortest total length under the limit, by package-merge (L. L. Larmore, D. S. Hirschberg, "A fast algorithm for
/// optimal length-limited Huffman codes", 1990). Each length has a list of coins, lightest first: the
/// symbols with their counts, and the coins of the next length in pairs. Of the cheapest 2n - 2 coins of length 1, with
/// all that they contain, each symbol's number is its code length.
std::vector<UINT32> LimitedLengths(const std::vector<UINT32>& counts, UINT32 maxLength) {
    std::vector<UINT32> symbols;
    for (UINT32 symbol = 0; symbol < counts.size(); ++symbol) {
        if (counts[symbol] > 0) {
            symbols.push_back(symbol);
        }
    }
    std::stable_sort(symbols.begin(), symbols.end(), [&](UINT32 a, UINT32 b) { return counts[a] < counts[b]; });
    std::vector<UINT32> lengths(counts.size());
    if (symbols.size() == 1) {
        lengths[symbols[0]] = 1;
        return lengths;
    }
    std::vector<std::vector<bool>> isPair(maxLength + 1);  // of the coins of each length
    std::vector<UINT64> coins, longer;
    for (UINT32 length = maxLength; length > 0; --length) {
        longer.swap(coins);
        coins.clear();
        std::size_t single = 0, pair = 0;
        while (single < symbols.size() || 2 * pair + 1 < longer.size()) {
            const UINT64 weight = 2 * pair + 1 < longer.size() ? longer[2 * pair] + longer[2 * pair + 1] : ~UINT64{0};
            const bool takePair = single == symbols.size() || weight < counts[symbols[single]];
            coins.push_back(takePair ? weight : counts[symbols[single]]);
            isPair[length].push_back(takePair);
            (takePair ? pair : single) += 1;
        }
    }
    std::size_t taken = 2 * symbols.size() - 2;
    for (UINT32 length = 1; length <= maxLength; ++length) {
        const auto end = isPair[length].begin() + static_cast<std::ptrdiff_t>(taken);
        const auto pairs = static_cast<std::size_t>(std::count(isPair[length].begin(), end, true));
        for (std::size_t i = 0; i < taken - pairs; ++i) {
            ++lengths[symbols[i]];
        }
        taken = 2 * pairs;
    }
    return lengths;
}

/// The table that a decoder rebuilds the code from.
void WriteLengths(const std::vector<UINT32>& lengths, BitWriter& out) {
    UINT32 lastSymbol = static_cast<UINT32>(lengths.size()) - 1;
    while (lengths[lastSymbol] == 0) {
        --lastSymbol;
    }
    out.Write(lastSymbol, 8);
    UINT32 before = c_FirstCodeLength;
    for (UINT32 symbol = 0; symbol <= lastSymbol; ++symbol) {
        const UINT32 length = lengths[symbol];
        if (length == 0) {
            UINT32 moreAbsent = 0;
            while (lengths[symbol + 1] == 0) {
                ++symbol;
                ++moreAbsent;
            }
            out.Write(0b1110, 4);
            WriteGolombNumber(out, moreAbsent, 0);
            continue;
        }
        if (length == before) {
            out.Write(0b0, 1);
        } else if (length == before + 1) {
            out.Write(0b10, 2);
        } else if (length + 1 == before) {
            out.Write(0b110, 3);
        } else {
            out.Write(0b1111, 4);
            out.Write(length, 4);
        }
        before = length;
    }
}

}  // namespace

void WriteGolombNumber(BitWriter& out, UINT32 value, UINT32 order) {
    UINT32 p = 0;
    while (value > (((UINT64{2} << p) - 1) << order) - 1) {
        ++p;
    }
    out.WriteUnary(p);
    out.Write(value - static_cast<UINT32>(((UINT64{1} << p) - 1) << order), p + order);
}

UINT32 GolombNumberBits(UINT32 value, UINT32 order) {
    UINT32 p = 0;
    while (value > (((UINT64{2} << p) - 1) << order) - 1) {
        ++p;
    }
    return 2 * p + 1 + order;
}

PrefixCode::PrefixCode(const std::vector<UINT32>& counts, UINT32 maxLength)
    : m_Lengths(LimitedLengths(counts, maxLength)) {
    std::vector<int> frequencies(m_Lengths.size());
    for (std::size_t symbol = 0; symbol < m_Lengths.size(); ++symbol) {
        frequencies[symbol] = m_Lengths[symbol] == 0 ? 0 : 1 << (maxLength - m_Lengths[symbol]);
    }
    HuffmanEncoding().BuildTable(frequencies, m_Codes);
}

void PrefixCode::WriteTable(BitWriter& out) const {
    WriteLengths(m_Lengths, out);
}

UINT64 PrefixCodedBits(const std::vector<UINT32>& counts, UINT32 maxLength) {
    const std::vector<UINT32> lengths = LimitedLengths(counts, maxLength);
    BitWriter table;
    WriteLengths(lengths, table);
    UINT64 bits = table.NumBits();
    const bool single =
        std::count(lengths.begin(), lengths.end(), 0u) + 1 == static_cast<std::ptrdiff_t>(lengths.size());
    for (UINT32 symbol = 0; symbol < counts.size() && !single; ++symbol) {
        bits += UINT64{counts[symbol]} * lengths[symbol];
    }
    return bits;
}

}  // namespace Nimb::Authoring
