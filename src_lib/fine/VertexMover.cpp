// Moves many vertices at once; tests by sorted hashes whether all new places are free.
#include "VertexMover.h"

#include <algorithm>

#include "radixSort.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

// A code: the hash of a place above, below the number of the vertex that is there, or of the move that goes there.
constexpr int HASH_SHIFT = 32;
constexpr std::uint64_t NUMBER_MASK = 0x7fffffff;
constexpr std::uint64_t IS_MOVE = 0x80000000;
constexpr int HASH_BITS = 27;  // three passes of the sort; a few thousand of a million places fall together by chance

std::uint64_t codeOf(const Point3& place, std::uint64_t whose) {
    return placeHash(place) >> (64 - HASH_BITS) << HASH_SHIFT | whose;
}

bool isMove(const VertexMove& move) {
    return move.second != *move.first && isFinitePoint(move.second);
}

}  // namespace

VertexMover::VertexMover(RMesh& rMesh) : mesh(rMesh), vFound(rMesh.getNumVtx_all(), 0) {
    freshTable.reserve(vFound.size());
    noteFound();
}

VertexMover::~VertexMover() {
    renewTable();
}

void VertexMover::move(const std::vector<VertexMove>& vMoves) {
    if (!areApart(vMoves)) {
        moveOneByOne(vMoves);
        return;
    }
    for (const VertexMove& move : vMoves) {
        if (!isMove(move)) continue;
        *move.first = move.second;
        vFound[mesh.getVtxIndex(move.first)] = 1;
    }
}

/// True when no two of the places at which vertices are found and of those that others move to are equal.
bool VertexMover::areApart(const std::vector<VertexMove>& vMoves) {
    const std::size_t numVtx = vFound.size();
    vCode.resize(numVtx + vMoves.size());
    forChunks_MT(vCode.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vCode[i] =
                i < numVtx ? codeOf(*mesh.poolVtx.at(i), i) : codeOf(vMoves[i - numVtx].second, (i - numVtx) | IS_MOVE);
    });
    const auto hashOf = [](std::uint64_t code) { return code >> HASH_SHIFT; };
    radixSortOnThreads(vCode.data(), vCode.size(), hashOf, numProcessors());

    const std::uint64_t* const pEnd = vCode.data() + vCode.size();
    for (const std::uint64_t* p = vCode.data(); p < pEnd;) {
        const std::uint64_t* pNext = p + 1;
        while (pNext < pEnd && hashOf(*pNext) == hashOf(*p))
            ++pNext;
        if (pNext - p > 1 && !areApart(p, pNext, vMoves)) return false;
        p = pNext;
    }
    return true;
}

/// The same among places of one hash.
bool VertexMover::areApart(const std::uint64_t* pBegin, const std::uint64_t* pEnd,
                           const std::vector<VertexMove>& vMoves) const {
    std::vector<Point3> vPlace;
    for (const std::uint64_t* p = pBegin; p < pEnd; ++p) {
        const std::size_t number = *p & NUMBER_MASK;
        if ((*p & IS_MOVE) == 0) {
            if (vFound[number] != 0) vPlace.push_back(*mesh.poolVtx.at(number));
        } else if (isMove(vMoves[number])) {
            vPlace.push_back(vMoves[number].second);
        }
    }
    std::sort(vPlace.begin(), vPlace.end());
    return std::adjacent_find(vPlace.begin(), vPlace.end()) == vPlace.end();
}

void VertexMover::moveOneByOne(const std::vector<VertexMove>& vMoves) {
    renewTable();
    for (const VertexMove& move : vMoves)
        if (isMove(move) && !mesh.hasVertex(move.second)) mesh.updateVertex(move.first, move.second);
    freshTable.reserve(vFound.size());
    noteFound();
}

void VertexMover::noteFound() {
    std::fill(vFound.begin(), vFound.end(), 0);
    mesh.mVtx.forEach([this](std::uint32_t i) { vFound[i] = 1; });
}

void VertexMover::renewTable() {
    for (std::size_t i = 0; i < vFound.size(); ++i)
        if (vFound[i] != 0) freshTable.insert(placeHash(*mesh.poolVtx.at(i)), static_cast<std::uint32_t>(i));
    mesh.mVtx = std::move(freshTable);
    freshTable = HashIndex();
}

}  // namespace TARN_KEL
