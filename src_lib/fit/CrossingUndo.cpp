// A flip can be taken back only when nothing was done to its triangles later. So the mesh is made again, from the one before
// the fit, by all changes of the fit in their order but those that are taken back and those that need one of these.
//
// A change is taken back when three of its vertices go back. So a triangle of which all corners go back isn't one that a
// change made, but one from before the fit, and is where it was. Each round that finds a new pair sends more vertices back,
// so it ends.
#include "CrossingUndo.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>
#include <utility>

#include "listsByNumber.h"

namespace TARN_KEL {

namespace {

const std::size_t PATIENT_ROUNDS = 8;  // those that take back at the pairs alone; two or three are usual

std::vector<Vector3> offsetsOf(const std::vector<Point3>& vPoint) {
    std::vector<Vector3> vOffset;
    vOffset.reserve(vPoint.size());
    for (const Point3& p : vPoint)
        vOffset.push_back(p - Point3());
    return vOffset;
}

}  // namespace

std::size_t CrossingUndo::run(PlacedTriangles& fitted, std::vector<CrossingPair> vPair) {
    if (vPair.empty()) return 0;
    countCrossings(before.vVertex, before.vTriangle, &vPairBefore);
    const std::vector<Point3> vFitted = fitted.vVertex;
    vBack.assign(vFitted.size(), 0);
    vOrigin.resize(vFitted.size());
    std::iota(vOrigin.begin(), vOrigin.end(), 0U);
    for (std::size_t round = 0, numRings = 0;; ++round, numRings = round < PATIENT_ROUNDS ? 0 : 2 * numRings + 1) {
        std::vector<CrossingPair> vNew;
        std::copy_if(vPair.begin(), vPair.end(), std::back_inserter(vNew),
                     [&](const CrossingPair& pair) { return isNew(fitted, pair); });
        if (vNew.empty()) return vPair.size();
        markAround(fitted, vNew, numRings);
        fitted = madeAgain(vFitted);
        countCrossings(fitted.vVertex, fitted.vTriangle, &vPair);
    }
}

bool CrossingUndo::isFromBefore(const PlacedTriangles& now, FitIndex triangle) const {
    return triangle < before.vTriangle.size() && now.vTriangle[triangle] == before.vTriangle[triangle];
}

bool CrossingUndo::isNew(const PlacedTriangles& now, const CrossingPair& pair) const {
    return !isFromBefore(now, pair.first) || !isFromBefore(now, pair.second) ||
           !std::binary_search(vPairBefore.begin(), vPairBefore.end(), pair);
}

/// Sends the corners of the pairs back, and those around them.
void CrossingUndo::markAround(const PlacedTriangles& now, const std::vector<CrossingPair>& vNew, std::size_t numRings) {
    const auto markCorners = [&](const FitTriangle& c) {
        for (const FitIndex corner : c)
            vBack[vOrigin[corner]] = 1;
    };
    for (const auto& [t, o] : vNew) {
        markCorners(now.vTriangle[t]);
        markCorners(now.vTriangle[o]);
    }
    if (numRings > 0) markRings(now, numRings);
}

/// Sends back what is within so many rings around the vertices that go back.
void CrossingUndo::markRings(const PlacedTriangles& now, std::size_t numRings) {
    const auto atVertex = listsByNumber<FitIndex>(now.vVertex.size(), [&](const auto& add) {
        for (FitIndex t = 0; t < now.vTriangle.size(); ++t)
            for (const FitIndex corner : now.vTriangle[t])
                add(corner, t);
    });
    std::vector<FitIndex> vFront;
    for (FitIndex v = 0; v < now.vVertex.size(); ++v)
        if (vBack[vOrigin[v]] != 0) vFront.push_back(v);
    for (std::size_t ring = 0; ring < numRings && !vFront.empty(); ++ring) {
        std::vector<FitIndex> vNext;
        for (const FitIndex v : vFront)
            for (const FitIndex* pT = atVertex.begin(v); pT != atVertex.end(v); ++pT)
                for (const FitIndex corner : now.vTriangle[*pT])
                    if (std::exchange(vBack[vOrigin[corner]], static_cast<unsigned char>(1)) == 0) vNext.push_back(corner);
        vFront = std::move(vNext);
    }
}

bool CrossingUndo::isTakenBack(const EdgeChange& change) const {
    if (change.isSplit() && vBack[change.newVertex] != 0) return true;
    return vBack[change.a] + vBack[change.b] + vBack[change.c] + vBack[change.d] >= 3;
}

/// vFitted: where the fit put each of its vertices.
PlacedTriangles CrossingUndo::madeAgain(const std::vector<Point3>& vFitted) {
    FitMesh mesh(offsetsOf(before.vVertex), before.vTriangle);
    std::vector<FitIndex> vNumber(vFitted.size(), NO_INDEX);  // of each vertex of the fit, in this mesh
    vOrigin.resize(before.vVertex.size());
    std::copy(vOrigin.begin(), vOrigin.end(), vNumber.begin());
    for (const EdgeChange& change : vChange) {
        const FitIndex a = vNumber[change.a], b = vNumber[change.b];
        if (isTakenBack(change) || a == NO_INDEX || b == NO_INDEX) continue;
        const std::optional<FitEdge> edge = mesh.findEdge({a, b});
        if (!edge) continue;
        const FitQuad q = mesh.quadAt(edge->triangle, edge->k);
        if (q.c != vNumber[change.c] || q.d != vNumber[change.d]) continue;
        if (!change.isSplit() && mesh.mayFlip(q)) {
            mesh.flip(edge->triangle, edge->k);
        } else if (change.isSplit() && mesh.maySplit(q)) {
            vNumber[change.newVertex] = static_cast<FitIndex>(mesh.numVertices());
            vOrigin.push_back(change.newVertex);
            mesh.split(edge->triangle, edge->k, vFitted[change.newVertex] - Point3());
        }
    }
    PlacedTriangles again{{}, mesh.triangles()};
    for (const FitIndex v : vOrigin)
        again.vVertex.push_back(vBack[v] != 0 && v < before.vVertex.size() ? before.vVertex[v] : vFitted[v]);
    return again;
}

}  // namespace TARN_KEL
