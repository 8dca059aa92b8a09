// Chooses of many moves those that don't make a mesh cross itself.
//
// The moves are tried on a copy of the places. A pair that crosses there and didn't before loses the moves of its six
// corners, after which it is as it was. That may put others in its way, so the pairs are looked for again. Each time some
// moves are dropped, so it ends: at the latest with no move, and no new pair.
#include "FreeMoves.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "RMesh.h"

namespace TARN_KEL {

FreeMoves::FreeMoves(const RMesh& theMesh) : mesh(theMesh), vMoved(mesh.getNumVtx_all(), 0) {
    for (std::size_t i = 0; i < mesh.getNumVtx_all(); ++i)
        vPlace.push_back(*mesh.getVtx(i));
    const auto number = [&](const Point3* p) { return static_cast<std::uint32_t>(mesh.getVtxIndex(p)); };
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive())
            vTriangle.push_back({number(pRT->aCorners[0]), number(pRT->aCorners[1]), number(pRT->aCorners[2])});
    countCrossings(vPlace, vTriangle, &vBefore);
}

void FreeMoves::choose(std::vector<VertexMove>& vMoves) {
    dropTaken(vMoves);
    std::fill(vMoved.begin(), vMoved.end(), 0);
    for (const VertexMove& move : vMoves) {
        vPlace[mesh.getVtxIndex(move.first)] = move.second;
        vMoved[mesh.getVtxIndex(move.first)] = 1;
    }
    while (takeBack()) {
    }
    std::erase_if(vMoves, [this](const VertexMove& move) { return vMoved[mesh.getVtxIndex(move.first)] == 0; });
    vBefore.swap(vNow);
}

void FreeMoves::dropTaken(std::vector<VertexMove>& vMoves) const {
    std::erase_if(vMoves, [](const VertexMove& m) { return m.second == *m.first || !isFinitePoint(m.second); });
    std::vector<Point3> vTaken;
    std::copy_if(vPlace.begin(), vPlace.end(), std::back_inserter(vTaken), isFinitePoint);
    oneInstanceMT(vTaken);  // vertices that share a place don't count twice
    for (const VertexMove& move : vMoves)
        vTaken.push_back(move.second);
    sortMT(vTaken.begin(), vTaken.end());
    std::erase_if(vMoves, [&vTaken](const VertexMove& move) {
        const auto it = std::lower_bound(vTaken.begin(), vTaken.end(), move.second);
        return std::next(it) != vTaken.end() && *std::next(it) == move.second;
    });
}

/// Takes back the moves of new pairs. False when there was none to take back.
bool FreeMoves::takeBack() {
    std::vector<CrossingPair> vNew;
    countCrossings(vPlace, vTriangle, &vNow);
    std::set_difference(vNow.begin(), vNow.end(), vBefore.begin(), vBefore.end(), std::back_inserter(vNew));
    bool bAny = false;
    for (const CrossingPair& pair : vNew)
        for (const std::uint32_t triangle : {pair.first, pair.second})
            for (const std::uint32_t vertex : vTriangle[triangle])
                if (std::exchange(vMoved[vertex], 0) != 0) {
                    vPlace[vertex] = *mesh.getVtx(vertex);
                    bAny = true;
                }
    return bAny;
}

}  // namespace TARN_KEL
