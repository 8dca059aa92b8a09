// While there are crossings an index of all triangles is kept up to date, and vertices of
// crossing triangles are moved while that helps; a triangle without area counts as several crossings, so that none is the
// way out. What crosses the triangles that moved is looked up, and a few times all goes on from there.
#include "Untangler.h"

#include <algorithm>

#include "crossing.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const int MAX_UNTANGLE_ROUNDS = 4;
const int MAX_SWEEPS = 20;

Point3 toPoint(const Vector3& v) {
    return Point3() + v;
}

}  // namespace

std::vector<CrossingPair> Untangler::crossingsAmong(const std::vector<FitIndex>& vTriangle) const {
    std::vector<Point3> vPoint;
    vPoint.reserve(fitMesh.numVertices());
    for (const Vector3& place : fitMesh.places())
        vPoint.push_back(toPoint(place));
    std::vector<FitTriangle> vCorners;
    vCorners.reserve(vTriangle.size());
    for (const FitIndex t : vTriangle)
        vCorners.push_back(fitMesh.corners(t));
    std::vector<CrossingPair> vPair;
    countCrossings(vPoint, vCorners, &vPair);
    for (CrossingPair& pair : vPair)
        pair = {vTriangle[pair.first], vTriangle[pair.second]};
    return vPair;
}

/// After moves: all pairs that one of the moved vertices has a part in are looked up anew.
void Untangler::renewCrossings(const std::vector<FitIndex>& vMoved, std::vector<CrossingPair>& vPair) const {
    std::vector<FitIndex> vTriangle;
    for (const FitIndex v : vMoved)
        fitMesh.visitTriangles(v, [&](FitIndex t) { vTriangle.push_back(t); });
    oneInstanceOfNumbers(vTriangle);
    const auto hasMoved = [&](FitIndex t) { return std::binary_search(vTriangle.begin(), vTriangle.end(), t); };
    std::erase_if(vPair, [&](const CrossingPair& pair) { return hasMoved(pair.first) || hasMoved(pair.second); });
    for (const FitIndex t : vTriangle) {
        const TriangleCorners& corners = index.cornersOf(t);
        index.forEachNear(boxOf(corners), [&](FitIndex o) {
            if (o != t && (o > t || !hasMoved(o)) && areCrossing(corners, index.cornersOf(o))) vPair.emplace_back(t, o);
        });
    }
}

std::vector<FitIndex> Untangler::verticesOf(const std::vector<CrossingPair>& vPair) const {
    std::vector<FitIndex> vVertex;
    for (const auto& [t, o] : vPair)
        for (const auto triangle : {t, o})
            for (const FitIndex v : fitMesh.corners(triangle))
                vVertex.push_back(v);
    oneInstanceOfNumbers(vVertex);
    return vVertex;
}

std::size_t Untangler::untangle(const std::vector<FitIndex>& vMovable, std::vector<CrossingPair> vPair) {
    std::vector<FitIndex> vMoved;
    for (int round = 0; round < MAX_UNTANGLE_ROUNDS; ++round) {
        vLeft = verticesOf(vPair);
        std::erase_if(vLeft, [&](FitIndex v) { return !std::binary_search(vMovable.begin(), vMovable.end(), v); });
        if (vLeft.empty()) break;
        if (round == 0)
            for (FitIndex t = 0; t < fitMesh.numTriangles(); ++t)
                index.insert(t, cornersWith(t, NO_INDEX, {}));
        const std::vector<FitIndex> vNow = sweep(vLeft);
        if (vNow.empty()) break;
        renewCrossings(vNow, vPair);
        vMoved.insert(vMoved.end(), vNow.begin(), vNow.end());
    }
    oneInstanceOfNumbers(vMoved);
    return vMoved.size();
}

/// Returns the vertices that were moved. What crosses them later, since others moved, is left to another round.
std::vector<FitIndex> Untangler::sweep(std::vector<FitIndex> vVertex) {
    std::vector<FitIndex> vMoved;
    for (int again = 0; again < MAX_SWEEPS && !vVertex.empty(); ++again) {
        const std::size_t numBefore = vMoved.size();
        std::erase_if(vVertex, [&](FitIndex v) {
            if (crossingsAt(v, fitMesh.place(v)) == 0) return true;
            if (improve(v)) vMoved.push_back(v);
            return false;
        });
        if (vMoved.size() == numBefore) break;
    }
    return vMoved;
}

bool Untangler::improve(FitIndex vertex) {
    const Vector3 from = fitMesh.place(vertex);
    std::vector<Vector3> vTarget;
    if (vertex < vFormer.size())
        for (const double part : {0.5, 1.0})
            vTarget.push_back(from + (vFormer[vertex] - from) * part);
    if (!fitMesh.isAtBorder(vertex))
        for (const double part : {0.5, 1.0})
            vTarget.push_back(from + (fitMesh.meanOfNeighbours(vertex) - from) * part);
    std::size_t least = crossingsAt(vertex, from);
    Vector3 best = from;
    for (const Vector3& target : vTarget) {
        const std::size_t count = crossingsAt(vertex, target);
        if (count >= least) continue;
        least = count;
        best = target;
        if (count == 0) break;
    }
    if ((best - from).isDegenerate()) return false;
    fitMesh.move(vertex, best);
    fitMesh.visitTriangles(vertex, [&](FitIndex t) { index.change(t, cornersWith(t, NO_INDEX, {})); });
    return true;
}

TriangleCorners Untangler::cornersWith(FitIndex t, FitIndex vertex, const Vector3& there) const {
    const auto at = [&](FitIndex corner) { return toPoint(corner == vertex ? there : fitMesh.place(corner)); };
    const FitTriangle& c = fitMesh.corners(t);
    return {at(c[0]), at(c[1]), at(c[2])};
}

/// How many pairs of triangles cross of which one is at the vertex, if it were there; flat ones count as three.
std::size_t Untangler::crossingsAt(FitIndex vertex, const Vector3& there) const {
    std::size_t numFlat = 0;
    CrossingIndex::Ids vStar;
    CrossingIndex::Corners vCorners;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        vStar.push_back(t);
        vCorners.push_back(cornersWith(t, vertex, there));
        const TriangleCorners& c = vCorners.back();
        if (areaVector(c[0] - Point3(), c[1] - Point3(), c[2] - Point3()).isDegenerate()) ++numFlat;
    });
    std::sort(vStar.begin(), vStar.end());
    return 3 * numFlat + index.numCrossings(vCorners, vStar);
}

}  // namespace TARN_KEL
