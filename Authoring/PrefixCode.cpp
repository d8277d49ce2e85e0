// Length-limited prefix codes and their tables.
#include "Authoring/PrefixCode.h"

#include "NimbCore/TransformDeltas.h"

#include <algorithm>

namespace Authoring {

using namespace Nimb::TransformDeltas;

namespace {

/// A coin of the package-merge algorithm: one symbol at one length, or two coins of the next length together.
struct Coin {
    UINT64 weight;
    std::vector<UINT32> symbols;
};

/// Shortest total length under the limit: of the cheapest 2n - 2 coins, each symbol's number is its code length.
std::vector<UINT32> LimitedLengths(const std::vector<UINT32>& counts) {
    std::vector<Coin> singles;
    for (UINT32 symbol = 0; symbol < counts.size(); ++symbol) {
        if (counts[symbol] > 0) {
            singles.push_back({counts[symbol], {symbol}});
        }
    }
    const auto lighter = [](const Coin& a, const Coin& b) { return a.weight < b.weight; };
    std::stable_sort(singles.begin(), singles.end(), lighter);
    std::vector<UINT32> lengths(counts.size());
    if (singles.size() == 1) {
        lengths[singles[0].symbols[0]] = 1;
        return lengths;
    }
    std::vector<Coin> coins = singles;
    for (UINT32 length = c_MaxCodeLength; length > 1; --length) {
        std::vector<Coin> packages;
        for (std::size_t i = 0; i + 1 < coins.size(); i += 2) {
            Coin package = coins[i];
            package.weight += coins[i + 1].weight;
            package.symbols.insert(package.symbols.end(), coins[i + 1].symbols.begin(), coins[i + 1].symbols.end());
            packages.push_back(std::move(package));
        }
        coins.clear();
        std::merge(singles.begin(), singles.end(), packages.begin(), packages.end(), std::back_inserter(coins),
                   lighter);
    }
    for (std::size_t i = 0; i < 2 * singles.size() - 2; ++i) {
        for (const UINT32 symbol : coins[i].symbols) {
            ++lengths[symbol];
        }
    }
    return lengths;
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

PrefixCode::PrefixCode(const std::vector<UINT32>& counts) : m_Lengths(LimitedLengths(counts)) {
    std::vector<int> frequencies(m_Lengths.size());
    for (std::size_t symbol = 0; symbol < m_Lengths.size(); ++symbol) {
        frequencies[symbol] = m_Lengths[symbol] == 0 ? 0 : 1 << (c_MaxCodeLength - m_Lengths[symbol]);
    }
    HuffmanEncoding().BuildTable(frequencies, m_Codes);
}

void PrefixCode::WriteTable(BitWriter& out) const {
    UINT32 lastSymbol = static_cast<UINT32>(m_Lengths.size()) - 1;
    while (m_Lengths[lastSymbol] == 0) {
        --lastSymbol;
    }
    out.Write(lastSymbol, 8);
    UINT32 before = c_FirstCodeLength;
    for (UINT32 symbol = 0; symbol <= lastSymbol; ++symbol) {
        const UINT32 length = m_Lengths[symbol];
        if (length == 0) {
            UINT32 moreAbsent = 0;
            while (m_Lengths[symbol + 1] == 0) {
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

UINT64 PrefixCode::TotalBits(const std::vector<UINT32>& counts) const {
    BitWriter table;
    WriteTable(table);
    UINT64 bits = table.NumBits();
    for (UINT32 symbol = 0; symbol < counts.size(); ++symbol) {
        bits += UINT64{counts[symbol]} * BitsOf(symbol);
    }
    return bits;
}

}  // namespace Authoring
