// Huffman-coded delta frames (vertex version 7): one tree and one code stream an axis.
//
// Symbols are found by walking the tree bit by bit. The tree is laid flat, leaves lead straight back to the root, and
// every bit stores a byte that the output position keeps only after a leaf: the walk has no branch to mispredict. The
// three axes are walked side by side, because each walk is a chain of dependent loads.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbMeshReader.h"
#include "NimbCore/StreamReader.h"

#include <algorithm>

namespace Nimb {
namespace {

/// A tree as a table of transitions, two for each inner node.
class FlatTree {
public:
    /// Lays out a tree whose root is an inner node.
    explicit FlatTree(const HuffmanEncoding::TreeNode* root) {
        const HuffmanEncoding::TreeNode* nodes[HuffmanEncoding::c_MaxUniqueDeltas];
        std::size_t count = 0;
        nodes[count++] = root;
        for (std::size_t i = 0; i < count; ++i) {
            const HuffmanEncoding::TreeNode* const children[2] = {nodes[i]->left, nodes[i]->right};
            for (std::size_t bit = 0; bit < 2; ++bit) {
                const HuffmanEncoding::TreeNode* const child = children[bit];
                UINT32& step = steps[2 * i + bit];
                if (child->left == nullptr) {
                    step = UINT32{c_LeafAdvance} << 8 | static_cast<UINT32>(child->index);
                } else {
                    step = static_cast<UINT32>(2 * count) << 16;
                    nodes[count++] = child;
                }
            }
        }
    }

    /// Bytes from one symbol of an axis to the next.
    static constexpr INT32 c_LeafAdvance = 3;

    /// Indexed by state + bit, where a state is twice the number of an inner node. Bits 0 to 7: the symbol of a leaf;
    /// 8 to 15: how far the output moves, c_LeafAdvance or 0; 16 to 31: the next state, the root's behind a leaf.
    UINT32 steps[2 * HuffmanEncoding::c_MaxUniqueDeltas] = {};
};

/// The walk through one axis.
class AxisWalk {
public:
    /// Writes every c_LeafAdvance-th byte of `out` from byte `axis` on, except the last c_LeafAdvance, which are room
    /// for the position behind the last symbol.
    AxisWalk(const FlatTree* tree, const std::vector<UINT32>& words, UINT32 numBits, std::vector<BYTE>& out,
             std::size_t axis)
        : m_Steps(tree->steps),
          m_Words(words.data()),
          m_NumBits(numBits),
          m_Out(out.data() + axis),
          m_OutEnd(out.data() + out.size() - FlatTree::c_LeafAdvance) {}

    /// Whether the next 32 bits are one word inside the stream and their symbols surely fit.
    bool CanTakeWord() const noexcept {
        return m_NumBits - m_Consumed >= 32 && m_OutEnd - m_Out >= 32 * FlatTree::c_LeafAdvance;
    }

    /// The next word, which CanTakeWord allowed; its 32 bits go to Step.
    UINT32 TakeWord() noexcept {
        const UINT32 word = m_Words[m_Consumed >> 5];
        m_Consumed += 32;
        return word;
    }

    /// Walks along the uppermost bit of `word` and shifts it out.
    void Step(UINT32* word) noexcept {
        const UINT32 step = m_Steps[m_State + (*word >> 31)];
        *word <<= 1;
        m_State = step >> 16;
        *m_Out = static_cast<BYTE>(step);
        m_Out += (step >> 8) & 0xFF;
    }

    /// Walks the rest bit by bit. False when the stream holds more symbols than there is room for, or when its last
    /// symbol is not complete within the last word.
    bool Finish() {
        const UINT64 wordBits = (m_NumBits + 31) & ~UINT64{31};
        for (; m_Consumed < m_NumBits || m_State != 0; ++m_Consumed) {
            if (m_Consumed == wordBits || m_Out >= m_OutEnd) {
                return false;
            }
            UINT32 rest = m_Words[m_Consumed >> 5] << (m_Consumed & 31);
            Step(&rest);
        }
        return true;
    }

private:
    const UINT32* m_Steps;
    const UINT32* m_Words;
    UINT64 m_NumBits;
    UINT64 m_Consumed = 0;
    UINT32 m_State = 0;
    BYTE* m_Out;
    BYTE* m_OutEnd;
};

/// Walks `Count` axes in step as long as each can take whole words.
template <std::size_t Count>
void WalkInStep(AxisWalk* const* axes) {
    static_assert(Count >= 1 && Count <= 3, "one to three axes");
    // Copies, so that the loop keeps them in registers; without a second or third axis theirs go unused.
    AxisWalk x = *axes[0];
    AxisWalk y = *axes[Count > 1 ? 1 : 0];
    AxisWalk z = *axes[Count > 2 ? 2 : 0];
    while (x.CanTakeWord() && (Count < 2 || y.CanTakeWord()) && (Count < 3 || z.CanTakeWord())) {
        UINT32 wordX = x.TakeWord();
        UINT32 wordY = Count > 1 ? y.TakeWord() : 0;
        UINT32 wordZ = Count > 2 ? z.TakeWord() : 0;
        for (int bit = 0; bit < 32; ++bit) {
            x.Step(&wordX);
            if (Count > 1) {
                y.Step(&wordY);
            }
            if (Count > 2) {
                z.Step(&wordZ);
            }
        }
    }
    *axes[0] = x;
    if (Count > 1) {
        *axes[1] = y;
    }
    if (Count > 2) {
        *axes[2] = z;
    }
}

/// Walks all axes, in step as far as their streams go, which need not be equally long.
void WalkWords(std::vector<AxisWalk>& walks) {
    AxisWalk* active[3] = {};
    for (;;) {
        std::size_t count = 0;
        for (AxisWalk& walk : walks) {
            if (walk.CanTakeWord()) {
                active[count++] = &walk;
            }
        }
        switch (count) {
            case 3:
                WalkInStep<3>(active);
                break;
            case 2:
                WalkInStep<2>(active);
                break;
            case 1:
                WalkInStep<1>(active);
                break;
            default:
                return;
        }
    }
}

/// One axis of the section as read.
struct HuffmanAxis {
    UINT32 numBits = 0;
    std::vector<int> frequencies = std::vector<int>(256);
    std::vector<UINT32> words;
    HuffmanEncoding builder;
    HuffmanEncoding::TreeNode* root = nullptr;
};

HRESULT ReadAxis(IStream* pStream, UINT32 numBits, HuffmanAxis& axis) {
    axis.numBits = numBits;
    UINT32 bytesRead = 0;
    HRESULT hr = pStream->Read(axis.frequencies.data(), 1024, &bytesRead);
    if (Failed(hr) || Failed(hr = ReadCodeWords(pStream, numBits, axis.words))) {
        return hr;
    }
    axis.builder.BuildTree(axis.frequencies, &axis.root);
    // A tree without an inner node gives no bit a meaning, and no word holds the bits of the longest streams.
    const bool hasCodes = axis.root != nullptr && axis.root->left != nullptr && !axis.words.empty();
    return numBits > 0 && !hasCodes ? E_UNEXPECTED : S_OK;
}

/// Decodes the first `count` axes into `deltas`, where byte 3k + a is the k-th of axis a. False for streams that do not
/// fit it.
bool DecodeAxes(const HuffmanAxis (&axes)[3], std::size_t count, std::vector<BYTE>& deltas) {
    std::vector<FlatTree> trees;
    std::vector<AxisWalk> walks;
    trees.reserve(count);
    for (std::size_t axis = 0; axis < count; ++axis) {
        if (axes[axis].numBits > 0) {
            trees.emplace_back(axes[axis].root);
            walks.emplace_back(&trees.back(), axes[axis].words, axes[axis].numBits, deltas, axis);
        }
    }
    WalkWords(walks);
    return std::all_of(walks.begin(), walks.end(), [](AxisWalk& walk) { return walk.Finish(); });
}

}  // namespace

HRESULT CNimbMeshReader::ReadHuffmanCodedVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream,
                                                  CStreamingMeshHeader* pHeader, INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        NIMB_ASSERT(ppBuffer);
        *ppBuffer = nullptr;

        float box[6] = {};
        HRESULT hr = S_OK;
        for (float& value : box) {
            if (Failed(hr = ReadField(pStream, &value))) {
                return hr;
            }
        }
        UINT32 numBits[3] = {};
        for (UINT32& bits : numBits) {
            UINT32 bytesRead = 0;
            hr = ReadField(pStream, &bits, &bytesRead);
            NIMB_ASSERT_MSG(Failed(hr) || bytesRead == sizeof(bits), "bytesRead == sizeof(numBits[i])");
            if (Failed(hr)) {
                return hr;
            }
        }

        const std::size_t numVertices = pHeader->m_numVertices;
        if (UINT64{3} * numVertices > c_MaxBufferBytes) {
            return E_UNEXPECTED;
        }
        std::vector<BYTE> deltas(3 * numVertices + FlatTree::c_LeafAdvance);
        HuffmanAxis axes[3];
        std::size_t numRead = 0;
        for (; numRead < 3; ++numRead) {
            if (Failed(hr = ReadAxis(pStream, numBits[numRead], axes[numRead]))) {
                break;
            }
        }
        // An axis is decoded before the next is read, so a fault in the ones before comes first.
        if (!DecodeAxes(axes, numRead, deltas)) {
            return E_UNEXPECTED;
        }
        if (Failed(hr)) {
            return hr;
        }
        hr = DecodeDeltas(pCtx, pHeader, deltas.data(), static_cast<UINT32>(3 * numVertices), box[0], box[1], box[2],
                          box[3], box[4], box[5], ppBuffer);
        return Failed(hr) ? hr : ReadNormals(pStream, pHeader, *ppBuffer);
    });
}

}  // namespace Nimb
