#include "FreeMoves.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "RMesh.h"

namespace TARN_KEL {

namespace {

std::vector<Point3> placesOf(const RMesh& mesh) {
    std::vector<Point3> vPlace;
    vPlace.reserve(mesh.getNumVtx_all());
    for (std::size_t i = 0; i < mesh.getNumVtx_all(); ++i)
        vPlace.push_back(*mesh.getVtx(i));
    return vPlace;
}

std::vector<IndexTriple> trianglesOf(const RMesh& mesh) {
    std::vector<IndexTriple> vTriangle;
    const auto number = [&](const Point3* p) { return static_cast<std::uint32_t>(mesh.getVtxIndex(p)); };
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive())
            vTriangle.push_back({number(pRT->aCorners[0]), number(pRT->aCorners[1]), number(pRT->aCorners[2])});
    return vTriangle;
}

}  // namespace

FreeMoves::FreeMoves(const RMesh& theMesh) : mesh(theMesh), free(placesOf(theMesh), trianglesOf(theMesh)) {}

void FreeMoves::choose(std::vector<VertexMove>& vMoves) {
    dropTaken(vMoves);
    std::vector<Point3> vTo = free.places();
    for (const VertexMove& move : vMoves)
        vTo[mesh.getVtxIndex(move.first)] = move.second;
    std::vector<FreePlaces::Index> vPutBack = free.putBack(vTo);
    std::sort(vPutBack.begin(), vPutBack.end());
    std::erase_if(vMoves, [&](const VertexMove& move) {
        return std::binary_search(vPutBack.begin(), vPutBack.end(), mesh.getVtxIndex(move.first));
    });
    free.accept(std::move(vTo));
}

void FreeMoves::dropTaken(std::vector<VertexMove>& vMoves) const {
    std::erase_if(vMoves, [](const VertexMove& m) { return m.second == *m.first || !isFinitePoint(m.second); });
    std::vector<Point3> vTaken;
    std::copy_if(free.places().begin(), free.places().end(), std::back_inserter(vTaken), isFinitePoint);
    oneInstanceMT(vTaken);  // vertices that share a place don't count twice
    for (const VertexMove& move : vMoves)
        vTaken.push_back(move.second);
    sortMT(vTaken.begin(), vTaken.end());
    std::erase_if(vMoves, [&vTaken](const VertexMove& move) {
        const auto it = std::lower_bound(vTaken.begin(), vTaken.end(), move.second);
        return std::next(it) != vTaken.end() && *std::next(it) == move.second;
    });
}

}  // namespace TARN_KEL
