// Huffman trees and code tables from symbol frequencies: D. A. Huffman, "A method for the construction of
// minimum-redundancy codes", 1952.
//
// Encoder and decoder build the same tree from the same table of counts, so the heap's behaviour on equal counts is
// part of the format: Pop prefers the right child when both are equal, and Push stops below an equal parent.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbMeshReader.h"

void HuffmanEncoding::Push(TreeNode* node) {
    std::size_t hole = m_Heap.size();
    m_Heap.push_back(node);
    while (hole > 0 && m_Heap[(hole - 1) / 2]->freq > node->freq) {
        m_Heap[hole] = m_Heap[(hole - 1) / 2];
        hole = (hole - 1) / 2;
    }
    m_Heap[hole] = node;
}

HuffmanEncoding::TreeNode* HuffmanEncoding::Pop() {
    TreeNode* const top = m_Heap.front();
    TreeNode* const last = m_Heap.back();
    const std::size_t size = m_Heap.size() - 1;  // `last` takes no part in the walk down

    std::size_t hole = 0;
    std::size_t right = 2;
    for (; right < size; right = 2 * hole + 2) {
        const std::size_t child = m_Heap[right]->freq > m_Heap[right - 1]->freq ? right - 1 : right;
        m_Heap[hole] = m_Heap[child];
        hole = child;
    }
    if (right == size) {
        m_Heap[hole] = m_Heap[right - 1];
        hole = right - 1;
    }
    while (hole > 0 && m_Heap[(hole - 1) / 2]->freq > last->freq) {
        m_Heap[hole] = m_Heap[(hole - 1) / 2];
        hole = (hole - 1) / 2;
    }
    m_Heap[hole] = last;
    m_Heap.pop_back();
    return top;
}

void HuffmanEncoding::BuildTree(std::vector<int>& frequencies, TreeNode** root) {
    m_Pool.assign(c_PoolSize, TreeNode{});
    m_Heap.clear();
    NIMB_ASSERT(frequencies.size() <= c_MaxUniqueDeltas);

    TreeNode* next = m_Pool.data();
    for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
        if (frequencies[symbol] >= 1) {
            *next = TreeNode{frequencies[symbol], static_cast<INT32>(symbol), nullptr, nullptr};
            Push(next++);
        }
    }
    while (m_Heap.size() > 1) {
        TreeNode* const a = Pop();
        TreeNode* const b = Pop();
        // Counts of a hostile table may wrap; the tree is then odd but still a tree.
        const INT32 freq = static_cast<INT32>(static_cast<UINT32>(a->freq) + static_cast<UINT32>(b->freq));
        *next = TreeNode{freq, 0, a, b};
        Push(next++);
    }
    if (root != nullptr) {
        *root = m_Heap.empty() ? nullptr : m_Heap.front();
    }
}

void HuffmanEncoding::BuildTable(std::vector<int>& frequencies, std::vector<HuffmanCode>& codes) {
    TreeNode* root = nullptr;
    BuildTree(frequencies, &root);
    codes.resize(c_MaxUniqueDeltas);
    if (root != nullptr) {
        AssignCodes(root, codes);
    }
}

void HuffmanEncoding::AssignCodes(const TreeNode* root, std::vector<HuffmanCode>& codes) {
    struct Visit {
        const TreeNode* node;
        UINT32 code;
        INT32 length;
    };
    std::vector<Visit> pending{{root, 0, 0}};
    while (!pending.empty()) {
        const Visit visit = pending.back();
        pending.pop_back();
        const TreeNode* const node = visit.node;
        if (node->left != nullptr) {
            NIMB_ASSERT_MSG(node->right != nullptr, "root->right");
            pending.push_back({node->right, visit.code * 2 + 1, visit.length + 1});
            pending.push_back({node->left, visit.code * 2, visit.length + 1});
        } else {
            NIMB_ASSERT_MSG(node->right == nullptr, "root->right == nullptr");
            HuffmanCode& code = codes[static_cast<std::size_t>(node->index)];
            NIMB_ASSERT_MSG(code.numbits == 0, "codes[root->index].numbits == 0");
            code = HuffmanCode{visit.length, visit.code};
        }
    }
}
