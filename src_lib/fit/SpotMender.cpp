// Worst first, each spot:
//
//     remedies     its vertices to sheets, creases and corners near them; edges off the points flipped or split
//     trials       each remedy with the flips that follow, and taken back
//     the best     once more, if it gains enough
//
// Nearly all of the time goes into looking for the points near a triangle or an edge. A trial moves or makes one vertex, so
// what is known of triangles and edges without it holds from trial to trial, and from spot to spot until one is mended.
#include "SpotMender.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

#include "fitLimits.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const int MAX_PASSES = 4;
// A spot takes up to a hundred trials, some milliseconds, so spots are mended where the surface is exact but for a few.
// Those of a noisy body's edges are one at every thousand vertices, those of a rough scan one at every fifty, or ten.
const std::size_t FEW_SPOTS = 100;
const std::size_t VERTICES_A_SPOT = 500;
const int MAX_FOLLOWING = 4;           // flips after a remedy
const std::size_t MAX_TRIANGLES = 80;  // around a spot
// In spacings, beside noise:
const double SPOT = 0.15;  // off the points
const double ON_POINTS = 0.02;
const double MAX_OFF = 2.0;  // more says no more
const double NO_POINTS = 0.5;
const double MEND_BARE = 0.9;  // of a point that a remedy leaves: tips and ridges have such points
const double SAME_TARGET = 0.1;
// In the unit of costs, a spacing off the points:
const double FOLD_COST = 0.5, FOLD_GROWTH = 1.0;  // per unit of the cosine
const double SLIVER_COST = 0.3;                   // of one with half the height that it should have, a half more
const double AWAY_COST = 0.5;                     // of a triangle that no point near it agrees with
const double BARE_COST = 0.5;                     // of a remedy that leaves points
const double CROSSING_COST = 1.0;                 // of a pair of triangles
const double DOUBTFUL = 0.05;                     // of an edge that may be flipped or split
const double FLIP_COST_GAIN = 0.01, MEND_GAIN = 0.05;
const double HOPELESS = 1.0;       // what a remedy may cost before the flips that follow
const double MAX_MEND_MOVE = 2.0;  // cells

template <typename Indices>
bool has(const Indices& v, FitIndex index) {
    return std::find(v.begin(), v.end(), index) != v.end();
}

}  // namespace

/// Of some triangles and all their edges.
template <typename Triangles>
double SpotMender::costOf(const Triangles& vTriangle) {
    double cost = 0.0;
    for (const FitIndex t : vTriangle) {
        cost += costOfTriangle(t);
        for (int k = 0; k < 3; ++k) {
            const FitIndex o = fitMesh.neighbour(t, k);
            if (o == NO_INDEX || t < o || !has(vTriangle, o)) cost += costOfEdge(t, k);
        }
    }
    return cost;
}

SpotMender::SpotMender(FitState& meshState)
    : state(meshState), fitMesh(meshState.mesh), guard(meshState.guard), vFresh(meshState.mesh.numVertices(), 1) {}

bool SpotMender::hasFew() {
    findOff();
    numSpots = static_cast<std::size_t>(std::count_if(vOff.begin(), vOff.end(), [](double off) { return off > 0.0; }));
    return numSpots <= std::max(FEW_SPOTS, fitMesh.numVertices() / VERTICES_A_SPOT);
}

void SpotMender::mend(const std::vector<FitIndex>& vCrossing) {
    for (const FitIndex v : vCrossing)
        vOff[v] = CROSSING_COST;
    for (int pass = 0; pass < MAX_PASSES; ++pass) {
        const std::size_t numBefore = numMended;
        for (const FitIndex v : worstFirst())
            numMended += mendSpot(v) ? 1 : 0;
        if (numMended == numBefore) return;
        findOff();
    }
}

/// How far off the points vertices are, and the edges at them, or how much these fold. Only where something changed since
/// the last time.
void SpotMender::findOff() {
    const double limit = SPOT + 2.0 * state.points.residual;
    vOff.resize(fitMesh.numVertices());
    const auto enter = [&](FitIndex v, double off) {
        if (off > limit && vFresh[v] != 0 && state.vKind[v] != VertexKind::HELD) vOff[v] = std::max(vOff[v], off);
    };
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v)
        if (state.vRough[v] != 0 && vFresh[v] != 0) enter(v, guard.distanceToPoints(fitMesh.place(v), state.sides.of(v)));
    fitMesh.forEachInnerEdge([&](FitIndex t, int k, FitIndex o) {
        const FitSide edge = fitMesh.endsOf(t, k);
        if (vFresh[edge.first] == 0 && vFresh[edge.second] == 0) return;
        const double fold = costOfFold(t, o);
        if (fold == 0.0 && !state.isRough(edge)) return;
        const double distance = state.distanceOfEdge(edge);
        const double off = distance < 0.0 ? 0.0 : std::max(distance, fold);  // what no points are near stays
        enter(edge.first, off);
        enter(edge.second, off);
    });
}

/// The vertices that are off, which they then count as no more until something near them changes.
std::vector<FitIndex> SpotMender::worstFirst() {
    std::vector<FitIndex> vSpot;
    for (FitIndex v = 0; v < vOff.size(); ++v)
        if (vOff[v] > 0.0) vSpot.push_back(v);
    std::stable_sort(vSpot.begin(), vSpot.end(), [&](FitIndex a, FitIndex b) { return vOff[a] > vOff[b]; });
    vOff.assign(fitMesh.numVertices(), 0.0);
    vFresh.assign(fitMesh.numVertices(), 0);
    return vSpot;
}

bool SpotMender::mendSpot(FitIndex centre) {
    const std::vector<FitIndex> vAround = trianglesAround(centre);
    if (vAround.size() > MAX_TRIANGLES) return false;
    const std::vector<Remedy> vRemedy = remediesAt(centre, vAround);
    const std::vector<FitIndex> vWider = withNeighbours(vAround);
    const std::size_t numTriangles = fitMesh.numTriangles();
    const std::size_t numCrossings = crossingsAmong(vWider, numTriangles);
    const double costOfCrossings = CROSSING_COST * static_cast<double>(numCrossings);
    double best = -MEND_GAIN;
    const Remedy* pBest = nullptr;
    for (const Remedy& remedy : vRemedy) {
        Trial trial;
        double cost = 0.0;
        if (apply(remedy, trial) && trial.cost - costOfCrossings < best) {
            const std::size_t numNow = crossingsAmong(vWider, numTriangles);
            if (numNow <= numCrossings) cost = trial.cost - costOfCrossings + CROSSING_COST * static_cast<double>(numNow);
        }
        takeBack(trial);
        if (cost >= best) continue;
        cost += costOfBare(remedy);
        if (cost >= best) continue;
        best = cost;
        pBest = &remedy;
    }
    if (pBest == nullptr) return false;
    Trial trial;
    apply(*pBest, trial);
    known.forget();
    markFresh(vWider);
    return true;
}

/// The corners of the triangles, and vertices that are new.
void SpotMender::markFresh(const std::vector<FitIndex>& vTriangle) {
    vFresh.resize(fitMesh.numVertices(), 1);
    for (const FitIndex t : vTriangle)
        for (const FitIndex corner : fitMesh.corners(t))
            vFresh[corner] = 1;
}

// ---- Remedies

/// The triangles of a vertex and of its neighbours, in ascending order.
std::vector<FitIndex> SpotMender::trianglesAround(FitIndex vertex) const {
    std::vector<FitIndex> vTriangle;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) { vTriangle.push_back(t); });
    return withNeighbours(vTriangle);
}

/// With all triangles at their corners, in ascending order.
std::vector<FitIndex> SpotMender::withNeighbours(const std::vector<FitIndex>& vTriangle) const {
    std::vector<FitIndex> vWider;
    for (const FitIndex t : vTriangle)
        for (const FitIndex corner : fitMesh.corners(t))
            if (!fitMesh.isHub(corner)) fitMesh.visitTriangles(corner, [&](FitIndex other) { vWider.push_back(other); });
    oneInstance(vWider);
    return vWider;
}

std::vector<SpotMender::Remedy> SpotMender::remediesAt(FitIndex centre, const std::vector<FitIndex>& vTriangle) {
    std::vector<FitIndex> vVertex;
    fitMesh.visitTriangles(centre, [&](FitIndex t) {
        for (const FitIndex corner : fitMesh.corners(t))
            if (!has(vVertex, corner)) vVertex.push_back(corner);
    });
    std::sort(vVertex.begin(), vVertex.end());
    std::vector<Remedy> vRemedy;
    for (const FitIndex v : vVertex)
        if (state.vKind[v] != VertexKind::HELD && state.vKind[v] != VertexKind::ON_CORNER) addMoves(v, v == centre, vRemedy);
    for (const FitIndex t : vTriangle)
        fitMesh.forEachInnerEdgeOf(t, [&](int k, FitIndex o) {
            if (!std::binary_search(vTriangle.begin(), vTriangle.end(), o) || costOfEdge(t, k) < DOUBTFUL) return;
            vRemedy.emplace_back(FlipOf{fitMesh.endsOf(t, k)});
            vRemedy.emplace_back(SplitOf{fitMesh.endsOf(t, k)});
        });
    return vRemedy;
}

/// To what is near the vertex and near the mean of its neighbours; of a centre also towards each of these.
void SpotMender::addMoves(FitIndex vertex, bool bCentre, std::vector<Remedy>& vRemedy) {
    std::vector<Vector3> vNear = state.placesAround(vertex);
    if (!bCentre) vNear.resize(FitState::NUM_MEANS);
    const Vector3 from = fitMesh.place(vertex);
    std::vector<Vector3> vTo = {from};
    const bool bBorder = fitMesh.isAtBorder(vertex);
    const auto add = [&](const Vector3& to, VertexKind kind) {
        const auto isSame = [&](const Vector3& other) { return (to - other).length() < SAME_TARGET; };
        if ((to - from).length() > MAX_MEND_MOVE * state.cell || (bBorder && guard.leavesBare(vertex, to)) ||
            std::any_of(vTo.begin(), vTo.end(), isSame))
            return;
        vTo.push_back(to);
        vRemedy.emplace_back(Placed{vertex, to, kind});
    };
    for (const Vector3& near : vNear) {
        const VertexPlace found = state.finder.find(near, state.sides.of(vertex));
        if (found.numSheets == 0) continue;
        if (found.bCorner) add(found.corner, VertexKind::ON_CORNER);
        if (found.bCrease) add(found.crease, VertexKind::ON_CREASE);
        add(found.sheet, VertexKind::ON_SHEET);
    }
}

// ---- Trials

/// The remedy, and the flips that follow. False where it can't be done.
bool SpotMender::apply(const Remedy& remedy, Trial& trial) {
    std::vector<FitIndex> vAround;
    const auto enterStar = [&](FitIndex v) { fitMesh.visitTriangles(v, [&](FitIndex t) { vAround.push_back(t); }); };
    if (const auto* pPlaced = std::get_if<Placed>(&remedy)) {
        tryMove(*pPlaced, trial);
        enterStar(pPlaced->vertex);
    } else if (const auto* pFlip = std::get_if<FlipOf>(&remedy)) {
        if (!tryFlip(pFlip->ends, trial)) return false;
        const FitQuad& q = std::get<EdgeFlip>(trial.vDone.back()).quad;
        vAround = {q.t, q.o};
    } else {
        if (!trySplit(std::get<SplitOf>(remedy).ends, trial)) return false;
        enterStar(static_cast<FitIndex>(fitMesh.numVertices() - 1));
    }
    if (trial.cost > HOPELESS) return false;
    flipAround(std::move(vAround), trial);
    return true;
}

void SpotMender::tryMove(const Placed& placed, Trial& trial) {
    const FitIndex v = placed.vertex;
    std::vector<FitIndex> vTriangle;
    fitMesh.visitTriangles(v, [&](FitIndex t) { vTriangle.push_back(t); });
    const auto cost = [&] { return costOf(vTriangle) + costOfPlace(fitMesh.place(v), state.sides.of(v)); };
    const double before = cost();
    trial.vDone.emplace_back(Placed{v, fitMesh.place(v), state.vKind[v]});
    state.moveVertex(v, placed.place);
    state.vKind[v] = placed.kind;
    known.beginTrial(v);
    trial.cost += cost() - before;
}

/// Not where the triangles cost less than leastCost.
bool SpotMender::tryFlip(const FitSide& ends, Trial& trial, double leastCost) {
    const std::optional<FitEdge> edge = fitMesh.findEdge(ends);
    if (!edge) return false;
    const std::array aTriangle = {edge->triangle, fitMesh.neighbour(edge->triangle, edge->k)};
    const double before = costOf(aTriangle);
    if (before < leastCost) return false;
    const std::optional<EdgeFlip> flip = state.findFlip(ends);
    if (!flip) return false;
    state.perform(*flip);
    trial.vDone.emplace_back(*flip);
    trial.cost += costOf(aTriangle) - before;
    return true;
}

bool SpotMender::trySplit(const FitSide& ends, Trial& trial) {
    const std::optional<EdgeSplit> split = state.findSplit(ends);
    if (!split) return false;
    const auto newT = static_cast<FitIndex>(fitMesh.numTriangles());
    const double before = costOf(std::array{split->quad.t, split->quad.o});
    state.perform(*split);
    trial.vDone.emplace_back(*split);
    known.beginTrial(static_cast<FitIndex>(fitMesh.numVertices() - 1));
    trial.cost += costOf(std::array{split->quad.t, split->quad.o, newT, newT + 1}) - before;
    return true;
}

/// Flips edges of the triangles, and of those that they are flipped with, the best first, while each gains.
void SpotMender::flipAround(std::vector<FitIndex> vTriangle, Trial& trial) {
    for (int i = 0; i < MAX_FOLLOWING; ++i) {
        std::vector<FitSide> vSide;
        for (const FitIndex t : vTriangle)
            for (int k = 0; k < 3; ++k) {
                const FitIndex o = fitMesh.neighbour(t, k);
                if (o != NO_INDEX && (t < o || !has(vTriangle, o))) vSide.push_back(fitMesh.endsOf(t, k));
            }
        double best = -FLIP_COST_GAIN;
        const FitSide* pBest = nullptr;
        for (const FitSide& side : vSide) {
            Trial flip;
            if (tryFlip(side, flip, -best) && flip.cost < best) {
                best = flip.cost;
                pBest = &side;
            }
            undo(flip);
        }
        if (pBest == nullptr) return;
        tryFlip(*pBest, trial);
        const FitQuad& q = std::get<EdgeFlip>(trial.vDone.back()).quad;
        for (const FitIndex t : {q.t, q.o})
            if (!has(vTriangle, t)) vTriangle.push_back(t);
    }
}

void SpotMender::undo(Trial& trial) {
    for (; !trial.vDone.empty(); trial.vDone.pop_back()) {
        const Change& change = trial.vDone.back();
        if (const auto* pPlaced = std::get_if<Placed>(&change)) {
            state.moveVertex(pPlaced->vertex, pPlaced->place);
            state.vKind[pPlaced->vertex] = pPlaced->kind;
        } else if (const auto* pFlip = std::get_if<EdgeFlip>(&change)) {
            state.undo(*pFlip);
        } else {
            state.undo(std::get<EdgeSplit>(change));
        }
    }
}

/// A whole trial.
void SpotMender::takeBack(Trial& trial) {
    undo(trial);
    known.endTrial();
}

/// How many pairs cross of these triangles and those from firstNew on.
std::size_t SpotMender::crossingsAmong(std::vector<FitIndex> vTriangle, std::size_t firstNew) const {
    for (std::size_t t = firstNew; t < fitMesh.numTriangles(); ++t)
        vTriangle.push_back(static_cast<FitIndex>(t));
    std::size_t count = 0;
    std::vector<TriangleCorners> vCorners;
    std::vector<TARN_LOCATE3::Bbox3> vBox;
    for (const FitIndex t : vTriangle) {
        const FitTriangle& c = fitMesh.corners(t);
        const TriangleCorners now = {Point3() + fitMesh.place(c[0]), Point3() + fitMesh.place(c[1]),
                                     Point3() + fitMesh.place(c[2])};
        const TARN_LOCATE3::Bbox3 box = boxOf(now);
        for (std::size_t i = 0; i < vCorners.size(); ++i)
            if (vBox[i].intersects(box) && areCrossing(vCorners[i], now)) ++count;
        vCorners.push_back(now);
        vBox.push_back(box);
    }
    return count;
}

// ---- Costs

std::size_t SpotMender::KnownCosts::Hash::operator()(const FitTriangle& c) const {
    std::uint64_t code = 0;
    for (const FitIndex corner : c)
        code = (code + corner) * 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>(code ^ code >> 32);
}

template <typename CostOf>
double SpotMender::KnownCosts::of(const FitTriangle& corners, const CostOf& costOf) {
    Costs& mKnown = has(corners, trialVertex) ? mInTrial : mCost;
    const auto [it, bNew] = mKnown.try_emplace(corners);
    if (bNew) it->second = costOf();
    return it->second;
}

void SpotMender::KnownCosts::endTrial() {
    mInTrial.clear();
    trialVertex = NO_INDEX;
}

void SpotMender::KnownCosts::forget() {
    endTrial();
    mCost.clear();
}

double SpotMender::costOfBare(const Remedy& remedy) const {
    const auto* pPlaced = std::get_if<Placed>(&remedy);
    return pPlaced != nullptr && guard.leavesBare(pPlaced->vertex, pPlaced->place, MEND_BARE) ? BARE_COST : 0.0;
}

double SpotMender::costOfPlace(const Vector3& place, const SurfaceSide& side) const {
    const double distance = guard.distanceToPoints(place, side);
    return distance < 0.0 ? NO_POINTS : std::clamp(distance - ON_POINTS - 2.0 * state.points.residual, 0.0, MAX_OFF);
}

double SpotMender::shapeOf(const FitTriangle& c) const {
    const TrianglePlaces places = state.cornersOf(c[0], c[1], c[2]);
    const Vector3 sum = state.sides.vNormal[c[0]] + state.sides.vNormal[c[1]] + state.sides.vNormal[c[2]];
    const SurfaceSide side{unitOr(sum, sum), state.sides.vPiece[c[0]]};
    double cost = costOfPlace((places[0] + places[1] + places[2]) / 3.0, side);
    const double relativeHeight = leastHeight(places) / (MIN_HEIGHT * state.cell);
    if (relativeHeight < 1.0) cost += SLIVER_COST * (2.0 - relativeHeight);
    if (!guard.agreesWithPoints(places, side)) cost += AWAY_COST;
    return cost;
}

double SpotMender::costOfTriangle(FitIndex t) {
    const FitTriangle& c = fitMesh.corners(t);
    return known.of(c, [&] { return shapeOf(c); });
}

double SpotMender::costOfEdge(FitIndex t, int k) {
    const FitSide ends = fitMesh.endsOf(t, k);
    const FitIndex a = std::min(ends.first, ends.second), b = std::max(ends.first, ends.second);
    const double cost = known.of(
        {a, b, b}, [&] { return costOfPlace((fitMesh.place(a) + fitMesh.place(b)) * 0.5, state.sides.between(a, b)); });
    const FitIndex o = fitMesh.neighbour(t, k);
    return o == NO_INDEX ? cost : cost + costOfFold(t, o);
}

double SpotMender::costOfFold(FitIndex t, FitIndex o) const {
    const Vector3 area = fitMesh.areaVectorOf(t), over = fitMesh.areaVectorOf(o);
    if (area * over >= 0.0) return 0.0;  // the usual case
    const double cosine = cosineOf(area, over);
    return cosine < FOLD ? FOLD_COST + FOLD_GROWTH * (FOLD - cosine) : 0.0;
}

}  // namespace TARN_KEL
