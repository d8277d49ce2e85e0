// What the reader keeps of its sub-meshes between frames: how much it may be, and what is given back.
//
// Every frame settles the account of its context, however it ended: a context counts for the storage that it holds. So
// a frame that hits the ceiling, or fails otherwise, costs only what it left behind.
//
// Vertices that a stream does not deliver are zeros, so a few bytes can claim millions of them. They are all alike, and
// between frames one stands for all (FoldTail). The next delta frame gets them back (UnfoldTail).
#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace Nimb {
namespace {

bool SamePosition(const std::vector<__vector4>* positions, std::size_t a, std::size_t b) {
    return positions == nullptr || std::memcmp(&(*positions)[a], &(*positions)[b], 3 * sizeof(float)) == 0;
}

/// Whether delta frames see the same in two vertices.
bool SameVertex(const CNimbMeshReaderCtx& ctx, std::size_t a, std::size_t b) {
    const SQuantisedVertex& recordA = ctx.m_QuantisedVertices[a];
    const SQuantisedVertex& recordB = ctx.m_QuantisedVertices[b];
    return recordA.u == recordB.u && recordA.v == recordB.v && SamePosition(ctx.m_pPrevMesh, a, b) &&
           SamePosition(ctx.m_pPrevPrevMesh, a, b) &&
           (ctx.m_TransformIndices.empty() || ctx.m_TransformIndices[a] == ctx.m_TransformIndices[b]);
}

template <class T>
void Shorten(std::vector<T>& array, std::size_t count) noexcept {
    array.resize(std::min(array.size(), count));
    array.shrink_to_fit();
}

void FoldTail(CNimbMeshReaderCtx& ctx) noexcept {
    const std::size_t count = ctx.m_Positions.size();
    std::size_t kept = count;
    while (kept > 1 && SameVertex(ctx, kept - 2, kept - 1)) {
        --kept;
    }
    if (kept == count) {
        return;
    }
    ctx.m_FoldedVertices += count - kept;
    Shorten(ctx.m_QuantisedVertices, kept);
    Shorten(ctx.m_Positions, kept);
    Shorten(ctx.m_HistoryPositions, kept);
    Shorten(ctx.m_TransformIndices, kept);
    Shorten(ctx.m_TexCoords, 0);
}

template <class T>
void Lengthen(std::vector<T>& array, std::size_t count) {
    if (!array.empty()) {
        array.resize(count, T(array.back()));
    }
}

void UnfoldTail(CNimbMeshReaderCtx& ctx) {
    const std::size_t count = ctx.m_Positions.size() + ctx.m_FoldedVertices;
    // All storage first: without enough of it the context stays as it is.
    ctx.m_QuantisedVertices.reserve(count);
    ctx.m_Positions.reserve(count);
    ctx.m_HistoryPositions.reserve(count);
    ctx.m_TransformIndices.reserve(ctx.m_TransformIndices.empty() ? 0 : count);
    Lengthen(ctx.m_QuantisedVertices, count);
    Lengthen(ctx.m_Positions, count);
    Lengthen(ctx.m_HistoryPositions, count);
    Lengthen(ctx.m_TransformIndices, count);
    ctx.m_FoldedVertices = 0;
}

/// Memory that a context stands for: its arrays, its index buffer, and itself.
UINT64 ContextCost(UINT64 numVertices, UINT64 indexBytes) {
    constexpr UINT64 fixed = 512;
    constexpr UINT64 perVertex = sizeof(SQuantisedVertex) + 2 * sizeof(__vector4) + sizeof(STexCoord) + sizeof(BYTE);
    return fixed + perVertex * numVertices + indexBytes;
}

std::shared_ptr<CNimbMeshReaderCtx> Copy(const CNimbMeshReaderCtx& ctx) {
    const auto copy = std::make_shared<CNimbMeshReaderCtx>();
    copy->m_numIndices = ctx.m_numIndices;
    copy->m_numVertices = ctx.m_numVertices;
    copy->m_numFaces = ctx.m_numFaces;
    copy->m_InUse = ctx.m_InUse;
    copy->m_QuantisedVertices = ctx.m_QuantisedVertices;
    copy->m_Positions = ctx.m_Positions;
    copy->m_HistoryPositions = ctx.m_HistoryPositions;
    copy->m_TexCoords = ctx.m_TexCoords;
    const auto sameArray = [&](const std::vector<__vector4>* array) {
        return array == nullptr ? nullptr : array == &ctx.m_Positions ? &copy->m_Positions : &copy->m_HistoryPositions;
    };
    copy->m_pPrevMesh = sameArray(ctx.m_pPrevMesh);
    copy->m_pPrevPrevMesh = sameArray(ctx.m_pPrevPrevMesh);
    copy->m_TransformIndices = ctx.m_TransformIndices;
    copy->m_pIndexBuffer = ctx.m_pIndexBuffer;  // nobody writes to it any more
    copy->m_IndexBytes = ctx.m_IndexBytes;
    copy->m_IsCutShort = ctx.m_IsCutShort;
    copy->m_FoldedVertices = ctx.m_FoldedVertices;
    return copy;
}

}  // namespace

std::unique_ptr<const CNimbMeshReader::State> CNimbMeshReader::SaveState() const {
    auto state = std::make_unique<State>();
    for (const auto& context : m_Contexts) {
        const CNimbMeshReaderCtx& ctx = *context.second;
        state->contexts.emplace(context.first, Copy(ctx));
        state->bytes += ctx.m_AccountedBytes;
    }
    return state;
}

void CNimbMeshReader::RestoreState(const State& state) {
    m_Contexts.clear();
    m_ContextBytes = 0;
    ContextMap copies;
    for (const auto& context : state.contexts) {
        copies.emplace(context.first, Copy(*context.second));
    }
    m_Contexts.swap(copies);
    for (const auto& context : m_Contexts) {
        SettleContext(*context.second);
    }
}

/// Whether `ctx` may grow to these sizes. Contexts without a complete index section, which no delta frame can use, are
/// dropped to make room.
bool CNimbMeshReader::MakeRoom(const CNimbMeshReaderCtx& ctx, UINT64 numVertices, UINT64 indexBytes) {
    const auto fits = [&] {
        return m_ContextBytes - ctx.m_AccountedBytes + ContextCost(numVertices, indexBytes) <= c_MaxContextBytes;
    };
    for (auto it = m_Contexts.begin(); it != m_Contexts.end() && !fits();) {
        const CNimbMeshReaderCtx& other = *it->second;
        it = other.m_pIndexBuffer == nullptr && &other != &ctx ? DropContext(it) : std::next(it);
    }
    return fits();
}

/// Makes the arrays of a context complete. False when there is no room for them, or for a new context.
bool CNimbMeshReader::RestoreContext(CNimbMeshReaderCtx& ctx) {
    if (ctx.m_FoldedVertices == 0 && ctx.m_AccountedBytes != 0) {
        return true;
    }
    if (!MakeRoom(ctx, ctx.m_Positions.size() + ctx.m_FoldedVertices, ctx.m_IndexBytes)) {
        return false;
    }
    UnfoldTail(ctx);
    return true;
}

/// Ends a frame of a context, whether it decoded or not.
void CNimbMeshReader::SettleContext(CNimbMeshReaderCtx& ctx) noexcept {
    if (ctx.m_IsCutShort && ctx.m_pPrevMesh != nullptr) {
        FoldTail(ctx);
    }
    const std::size_t places =
        std::max({ctx.m_QuantisedVertices.capacity(), ctx.m_Positions.capacity(), ctx.m_HistoryPositions.capacity()});
    const UINT64 cost = ContextCost(places, ctx.m_IndexBytes);
    m_ContextBytes += cost - ctx.m_AccountedBytes;
    ctx.m_AccountedBytes = cost;
}

CNimbMeshReader::ContextMap::iterator CNimbMeshReader::DropContext(ContextMap::iterator it) {
    m_ContextBytes -= it->second->m_AccountedBytes;
    return m_Contexts.erase(it);
}

/// Drops the contexts of sub-meshes that the temporal frame did not contain.
void CNimbMeshReader::SweepContexts() {
    for (auto it = m_Contexts.begin(); it != m_Contexts.end();) {
        it = std::exchange(it->second->m_InUse, false) ? std::next(it) : DropContext(it);
    }
}

}  // namespace Nimb
