// Spots where the mesh is off the points and no single change may mend it: a vertex whose way to its sheet leads through a
// fold until an edge beside it is flipped, an edge over a crease whose flip makes a sliver until a vertex moves. There a
// step is made on trial whatever it does to the shape, then edges around it are flipped while that makes it better. What
// counts is the cost of all that changed, together: how far the triangles and edges are off the points, and their folds and
// slivers, of which there may not be more than before. No triangles around may cross. The best of such trials is kept.
//
//     worst first, each spot:   remedies     its vertices to sheets, creases and corners near them; edges off the points
//                                            flipped or split
//                               trials       each remedy with the flips that follow, and taken back
//                               the best     once more, if it gains enough
#include <algorithm>
#include <utility>
#include <variant>
#include <vector>

#include "MeshFitter.h"
#include "countCrossings.h"
#include "fitLimits.h"

namespace TARN_KEL {

namespace {

const int MAX_PASSES = 4;
// A spot takes up to a hundred trials, so spots are mended where the surface is exact but for a few: more of them than this
// many, or than this share of the vertices, are what a rough scan looks like.
const std::size_t FEW_SPOTS = 20;
const std::size_t VERTICES_A_SPOT = 2000;
const int MAX_FOLLOWING = 4;           // flips after a remedy
const std::size_t MAX_TRIANGLES = 80;  // around a spot
// In spacings, beside noise:
const double SPOT = 0.15;  // off the points
const double ON_POINTS = 0.02;
const double MAX_OFF = 2.0;  // more says no more
const double NO_POINTS = 0.5;
const double SAME_TARGET = 0.1;
// In the unit of costs, a spacing off the points:
const double FOLD_COST = 0.5, FOLD_GROWTH = 1.0;  // per unit of the cosine
const double SHARP_FOLD = -0.7;                   // cosine; counts twice
const double SLIVER_COST = 0.3;                   // of one with half the height that it should have, a half more
const double AWAY_COST = 0.5;                     // of a triangle that no point near it agrees with
const double DOUBTFUL = 0.05;                     // of an edge that may be flipped or split
const double FLIP_COST_GAIN = 0.01, MEND_GAIN = 0.05;
const double HOPELESS = 1.0;       // what a remedy may cost before the flips that follow
const double MAX_MEND_MOVE = 2.0;  // cells

bool has(const std::vector<FitIndex>& v, FitIndex index) {
    return std::find(v.begin(), v.end(), index) != v.end();
}

}  // namespace

/// Nothing where there are too many.
void MeshFitter::mendSpots() {
    for (int pass = 0; pass < MAX_PASSES; ++pass) {
        const std::vector<FitIndex> vSpot = findSpots();
        if (vSpot.size() > std::max(FEW_SPOTS, fitMesh.numVertices() / VERTICES_A_SPOT)) return;
        std::size_t numMended = 0;
        for (const FitIndex v : vSpot)
            numMended += mendSpot(v) ? 1 : 0;
        if (numMended == 0) return;
    }
}

/// Rough vertices that are off the points, or have an edge that is, the farthest off first.
std::vector<FitIndex> MeshFitter::findSpots() const {
    const double limit = SPOT + 2.0 * fitPoints.residual;
    std::vector<double> vOff(fitMesh.numVertices());
    const auto enter = [&](FitIndex v, double off) {
        if (off > limit && vKind[v] != Kind::HELD) vOff[v] = std::max(vOff[v], off);
    };
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v)
        if (vRough[v] != 0) enter(v, guard.distanceToPoints(fitMesh.place(v), sides.of(v)));
    for (FitIndex t = 0; t < fitMesh.numTriangles(); ++t)
        for (int k = 0; k < 3; ++k) {
            const FitIndex o = fitMesh.neighbour(t, k);
            const auto [a, b] = endsOf(t, k);
            if (o == NO_INDEX || o < t || (vRough[a] == 0 && vRough[b] == 0)) continue;
            const double off = distanceOfEdge(a, b);
            enter(a, off);
            enter(b, off);
        }
    std::vector<FitIndex> vSpot;
    for (FitIndex v = 0; v < vOff.size(); ++v)
        if (vOff[v] > 0.0) vSpot.push_back(v);
    std::stable_sort(vSpot.begin(), vSpot.end(), [&](FitIndex a, FitIndex b) { return vOff[a] > vOff[b]; });
    return vSpot;
}

bool MeshFitter::mendSpot(FitIndex centre) {
    const std::vector<FitIndex> vAround = trianglesAround(centre);
    if (vAround.size() > MAX_TRIANGLES) return false;
    const std::vector<Remedy> vRemedy = remediesAt(centre, vAround);
    const std::vector<FitIndex> vWider = withNeighbours(vAround);
    const std::size_t numTriangles = fitMesh.numTriangles();
    double best = -MEND_GAIN;
    const Remedy* pBest = nullptr;
    for (const Remedy& remedy : vRemedy) {
        Trial trial;
        if (apply(remedy, trial) && trial.cost.sum < best && trial.cost.numBad <= 0 &&
            crossingsAmong(vWider, numTriangles) == 0) {
            best = trial.cost.sum;
            pBest = &remedy;
        }
        takeBack(trial);
    }
    if (pBest == nullptr) return false;
    Trial trial;
    apply(*pBest, trial);
    return true;
}

// ---- Remedies

/// The triangles of a vertex and of its neighbours, in ascending order.
std::vector<FitIndex> MeshFitter::trianglesAround(FitIndex vertex) const {
    std::vector<FitIndex> vTriangle;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) { vTriangle.push_back(t); });
    return withNeighbours(vTriangle);
}

/// With all triangles at their corners, in ascending order.
std::vector<FitIndex> MeshFitter::withNeighbours(const std::vector<FitIndex>& vTriangle) const {
    std::vector<FitIndex> vWider;
    for (const FitIndex t : vTriangle)
        for (const FitIndex corner : fitMesh.corners(t))
            if (!fitMesh.isHub(corner)) fitMesh.visitTriangles(corner, [&](FitIndex other) { vWider.push_back(other); });
    std::sort(vWider.begin(), vWider.end());
    vWider.erase(std::unique(vWider.begin(), vWider.end()), vWider.end());
    return vWider;
}

std::vector<MeshFitter::Remedy> MeshFitter::remediesAt(FitIndex centre, const std::vector<FitIndex>& vTriangle) {
    std::vector<FitIndex> vVertex;
    fitMesh.visitTriangles(centre, [&](FitIndex t) {
        for (const FitIndex corner : fitMesh.corners(t))
            if (!has(vVertex, corner)) vVertex.push_back(corner);
    });
    std::sort(vVertex.begin(), vVertex.end());
    std::vector<Remedy> vRemedy;
    for (const FitIndex v : vVertex)
        if (vKind[v] != Kind::HELD && vKind[v] != Kind::ON_CORNER && !fitMesh.isAtBorder(v))
            addMoves(v, v == centre, vRemedy);
    for (const FitIndex t : vTriangle)
        for (int k = 0; k < 3; ++k) {
            const FitIndex o = fitMesh.neighbour(t, k);
            if (o == NO_INDEX || o < t || !std::binary_search(vTriangle.begin(), vTriangle.end(), o) ||
                costOfEdge(t, k).sum < DOUBTFUL)
                continue;
            vRemedy.emplace_back(Flip{endsOf(t, k)});
            vRemedy.emplace_back(SplitOf{endsOf(t, k)});
        }
    return vRemedy;
}

/// To what is near the vertex and near the mean of its neighbours; of a centre also towards each of these.
void MeshFitter::addMoves(FitIndex vertex, bool bCentre, std::vector<Remedy>& vRemedy) {
    std::vector<Vector3> vNear = placesAround(vertex);
    if (!bCentre) vNear.resize(NUM_MEANS);
    const Vector3 from = fitMesh.place(vertex);
    std::vector<Vector3> vTo = {from};
    const auto add = [&](const Vector3& to, Kind kind) {
        const auto isSame = [&](const Vector3& other) { return (to - other).length() < SAME_TARGET; };
        if ((to - from).length() > MAX_MEND_MOVE * cell || std::any_of(vTo.begin(), vTo.end(), isSame)) return;
        vTo.push_back(to);
        vRemedy.emplace_back(Placed{vertex, to, kind});
    };
    for (const Vector3& near : vNear) {
        const VertexPlace found = finder.find(near, sides.of(vertex));
        if (found.numSheets == 0) continue;
        if (found.bCorner) add(found.corner, Kind::ON_CORNER);
        if (found.bCrease) add(found.crease, Kind::ON_CREASE);
        add(found.sheet, Kind::ON_SHEET);
    }
}

// ---- Trials

/// The remedy, and the flips that follow. False where it can't be done.
bool MeshFitter::apply(const Remedy& remedy, Trial& trial) {
    std::vector<FitIndex> vAround;
    const auto enterStar = [&](FitIndex v) { fitMesh.visitTriangles(v, [&](FitIndex t) { vAround.push_back(t); }); };
    if (const auto* pPlaced = std::get_if<Placed>(&remedy)) {
        tryMove(*pPlaced, trial);
        enterStar(pPlaced->vertex);
    } else if (const auto* pFlip = std::get_if<Flip>(&remedy)) {
        if (!tryFlip(pFlip->ends, trial)) return false;
        const auto& q = std::get<FitQuad>(trial.vDone.back());
        vAround = {q.t, q.o};
    } else {
        if (!trySplit(std::get<SplitOf>(remedy).ends, trial)) return false;
        enterStar(static_cast<FitIndex>(fitMesh.numVertices() - 1));
    }
    if (trial.cost.sum > HOPELESS) return false;
    flipAround(std::move(vAround), trial);
    return true;
}

void MeshFitter::tryMove(const Placed& placed, Trial& trial) {
    const FitIndex v = placed.vertex;
    std::vector<FitIndex> vTriangle;
    fitMesh.visitTriangles(v, [&](FitIndex t) { vTriangle.push_back(t); });
    const auto cost = [&] {
        Cost sum = costOf(vTriangle);
        sum.sum += costOfPlace(fitMesh.place(v), sides.of(v));
        return sum;
    };
    const Cost before = cost();
    trial.vDone.emplace_back(Placed{v, fitMesh.place(v), vKind[v]});
    moveVertex(v, placed.place);
    vKind[v] = placed.kind;
    trial.cost += cost() - before;
}

/// Not where the triangles cost less than leastCost.
bool MeshFitter::tryFlip(const Side& ends, Trial& trial, double leastCost) {
    const std::optional<Edge> edge = findEdge(ends);
    if (!edge) return false;
    const FitQuad q = fitMesh.quadAt(edge->triangle, edge->k);
    if (!mayFlip(q)) return false;
    const std::vector<FitIndex> vTriangle = {q.t, q.o};
    const Cost before = costOf(vTriangle);
    if (before.sum < leastCost) return false;
    fitMesh.flip(edge->triangle, edge->k);
    trial.vDone.emplace_back(q);
    trial.cost += costOf(vTriangle) - before;
    return true;
}

bool MeshFitter::trySplit(const Side& ends, Trial& trial) {
    const std::optional<Split> split = findSplit(ends);
    if (!split) return false;
    const auto newT = static_cast<FitIndex>(fitMesh.numTriangles());
    const Cost before = costOf({split->quad.t, split->quad.o});
    perform(*split);
    trial.vDone.emplace_back(*split);
    trial.cost += costOf({split->quad.t, split->quad.o, newT, newT + 1}) - before;
    return true;
}

/// Flips edges of the triangles, and of those that they are flipped with, the best first, while each gains.
void MeshFitter::flipAround(std::vector<FitIndex> vTriangle, Trial& trial) {
    for (int i = 0; i < MAX_FOLLOWING; ++i) {
        std::vector<Side> vSide;
        for (const FitIndex t : vTriangle)
            for (int k = 0; k < 3; ++k) {
                const FitIndex o = fitMesh.neighbour(t, k);
                if (o != NO_INDEX && (t < o || !has(vTriangle, o))) vSide.push_back(endsOf(t, k));
            }
        double best = -FLIP_COST_GAIN;
        const Side* pBest = nullptr;
        for (const Side& side : vSide) {
            Trial flip;
            if (tryFlip(side, flip, -best) && flip.cost.sum < best) {
                best = flip.cost.sum;
                pBest = &side;
            }
            takeBack(flip);
        }
        if (pBest == nullptr) return;
        tryFlip(*pBest, trial);
        const auto& q = std::get<FitQuad>(trial.vDone.back());
        for (const FitIndex t : {q.t, q.o})
            if (!has(vTriangle, t)) vTriangle.push_back(t);
    }
}

void MeshFitter::takeBack(Trial& trial) {
    for (; !trial.vDone.empty(); trial.vDone.pop_back()) {
        const Change& change = trial.vDone.back();
        if (const auto* pPlaced = std::get_if<Placed>(&change)) {
            moveVertex(pPlaced->vertex, pPlaced->place);
            vKind[pPlaced->vertex] = pPlaced->kind;
        } else if (const auto* pQuad = std::get_if<FitQuad>(&change)) {
            fitMesh.undoFlip(*pQuad);
        } else {
            undo(std::get<Split>(change));
        }
    }
}

// ---- Costs

/// How many pairs cross of these triangles and those from firstNew on.
std::size_t MeshFitter::crossingsAmong(std::vector<FitIndex> vTriangle, std::size_t firstNew) const {
    for (std::size_t t = firstNew; t < fitMesh.numTriangles(); ++t)
        vTriangle.push_back(static_cast<FitIndex>(t));
    std::vector<FitIndex> vVertex;
    for (const FitIndex t : vTriangle)
        vVertex.insert(vVertex.end(), fitMesh.corners(t).begin(), fitMesh.corners(t).end());
    std::sort(vVertex.begin(), vVertex.end());
    vVertex.erase(std::unique(vVertex.begin(), vVertex.end()), vVertex.end());
    std::vector<Point3> vPoint;
    vPoint.reserve(vVertex.size());
    for (const FitIndex v : vVertex)
        vPoint.push_back(Point3() + fitMesh.place(v));
    std::vector<FitTriangle> vCorners;
    vCorners.reserve(vTriangle.size());
    for (const FitIndex t : vTriangle) {
        vCorners.push_back(fitMesh.corners(t));
        for (FitIndex& corner : vCorners.back())
            corner = static_cast<FitIndex>(std::lower_bound(vVertex.begin(), vVertex.end(), corner) - vVertex.begin());
    }
    return countCrossings(vPoint, vCorners);
}

double MeshFitter::costOfPlace(const Vector3& place, const SurfaceSide& side) const {
    const double distance = guard.distanceToPoints(place, side);
    return distance < 0.0 ? NO_POINTS : std::clamp(distance - ON_POINTS - 2.0 * fitPoints.residual, 0.0, MAX_OFF);
}

MeshFitter::Cost MeshFitter::costOfTriangle(FitIndex t) const {
    const FitTriangle& c = fitMesh.corners(t);
    const TrianglePlaces places = cornersOf(c[0], c[1], c[2]);
    const Vector3 sum = sides.vNormal[c[0]] + sides.vNormal[c[1]] + sides.vNormal[c[2]];
    const SurfaceSide side{unitOr(sum, sum), sides.vPiece[c[0]]};
    Cost cost{costOfPlace((places[0] + places[1] + places[2]) / 3.0, side), 0};
    const double relativeHeight = leastHeight(places) / (MIN_HEIGHT * cell);
    if (relativeHeight < 1.0) cost += {SLIVER_COST * (2.0 - relativeHeight), 1};
    if (!guard.agreesWithPoints(places, side)) cost += {AWAY_COST, 0};
    return cost;
}

MeshFitter::Cost MeshFitter::costOfEdge(FitIndex t, int k) const {
    const auto [a, b] = endsOf(t, k);
    Cost cost{costOfPlace((fitMesh.place(a) + fitMesh.place(b)) * 0.5, sides.between(a, b)), 0};
    const FitIndex o = fitMesh.neighbour(t, k);
    if (o == NO_INDEX) return cost;
    const double cosine = cosineOf(fitMesh.areaVectorOf(t), fitMesh.areaVectorOf(o));
    if (cosine < FOLD) cost += {FOLD_COST + FOLD_GROWTH * (FOLD - cosine), cosine < SHARP_FOLD ? 2 : 1};
    return cost;
}

/// Of some triangles and all their edges.
MeshFitter::Cost MeshFitter::costOf(const std::vector<FitIndex>& vTriangle) const {
    Cost cost;
    for (const FitIndex t : vTriangle) {
        cost += costOfTriangle(t);
        for (int k = 0; k < 3; ++k) {
            const FitIndex o = fitMesh.neighbour(t, k);
            if (o == NO_INDEX || t < o || !has(vTriangle, o)) cost += costOfEdge(t, k);
        }
    }
    return cost;
}

}  // namespace TARN_KEL
