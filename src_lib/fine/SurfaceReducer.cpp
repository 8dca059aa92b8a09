// Edge collapses by quadrics.
//
// Each vertex has the sum of the planes of its triangles as a quadric, computed anew from the triangles as they are once one
// of them has changed. A collapse changes the cost of all edges around, but none of them is computed again before it comes
// up: mostly it has become dearer by then, and goes back to its place.
//
//            w1                    w1             The edge u v, side of the corner at w1, collapses. The two triangles
//          / | \                 / | \            on it are removed, the other ones at u get v as their corner, and v
//    ---- u --- v ----   ->   ----  v ----        goes to where the sum of both quadrics is least.
//          \ | /                 \ | /
//            w2                    w2
//
// Borders, and folds that shall remain, are lines. A vertex with exactly two line edges may be joined with its neighbours on
// the line, one where lines end, bend or meet with none; all others are free, and may be joined with vertices on lines,
// which don't move by that. Lines never merge.
//
// Quadrics alone don't see borders, as a flat sheet is flat up to its border and beyond. So each border edge adds the plane
// that stands on its triangle.
#include "SurfaceReducer.h"

#include <algorithm>
#include <cmath>

#include "Progress.h"
#include "edgeGeometry.h"
#include "geometryFunctions.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

// Where planes leave a place open, as along a fold or within a plane, this share of their weight draws it to the middle of
// the edge. Lower: places run away along nearly flat surfaces. Higher: they don't reach ridges of small angles.
constexpr double SOFTNESS = 1e-4;
// A new place is at most this many edge lengths away from the middle of the edge.
constexpr double MAX_REACH = 2.0;
// Of two collapses that change nothing the shorter one is first. Squared lengths count as much as squared distances a
// thousand times shorter.
constexpr double LENGTH_WEIGHT = 1e-6;
constexpr double BORDER_WEIGHT = 2.0;
// The cosine of the largest turn of a normal.
constexpr double MIN_TURN_COSINE = 0.2;
// The quality of a triangle: 1 for equal sides, 0 without area.
constexpr double MIN_QUALITY = 0.1;
// The cosine between the normals at the sharpest fold that may arise.
constexpr double MIN_FOLD_COSINE = -0.3;
// No vertex of more triangles arises; this also bounds the cost of looking at a collapse.
constexpr std::size_t MAX_DEGREE = 64;

double qualityOf(double area, const Vector3& p, const Vector3& q, const Vector3& r) {
    const double sum = (q - p).sqLength() + (r - q).sqLength() + (p - r).sqLength();
    return 6.928203230275509 * area / sum;
}

/// Of two normals of length 1; what has none lies as the other one.
double unitCosine(const Vector3& a, const Vector3& b) {
    return a.isDegenerate() || b.isDegenerate() ? 1.0 : a * b;
}

}  // namespace

SurfaceReducer::SurfaceReducer(FlatSurface& theSurface, const Rules& theRules, const std::vector<CollapseGuard*>& vTheGuard)
    : surface(theSurface),
      rules(theRules),
      vGuard(vTheGuard),
      numLeft(theSurface.numTriangles()),
      vMoved(theSurface.numVertices(), 0),
      vPlane(theSurface.numTriangles()),
      vQuadric(theSurface.numVertices()),
      vChangedAround(theSurface.numVertices(), 1),
      vBlocked(theSurface.numVertices(), 0),
      vKind(theSurface.numVertices(), FREE),
      vLine(theSurface.vVertex.size(), 0),
      vQueued(theSurface.vVertex.size(), 0),
      vMark(theSurface.numVertices(), 0) {
    computePlanes();
    markLines();
    setKinds();
}

void SurfaceReducer::run() {
    if (numLeft <= rules.numTriangles) return;
    const ProgressStep step("SR_collapse", numLeft - rules.numTriangles);
    // A collapse that isn't allowed is looked at again when something around its two vertices has changed, but may also
    // become possible by changes farther away. So the queue is filled anew as long as that helps much.
    std::size_t numBefore = 0;
    do {
        numBefore = numLeft;
        refreshQuadrics();
        fillQueue();
        while (!queue.empty() && numLeft > rules.numTriangles) {
            const std::size_t numThen = numLeft;
            if (collapseNext()) step.advance(numThen - numLeft);
        }
    } while (numLeft > rules.numTriangles && numLeft < numBefore - numBefore / 100);
    step.finish();
}

SurfaceReducer::TrianglePlane SurfaceReducer::planeOf(const Vector3& normal) {
    const double length = normal.length();
    return length > 0.0 ? TrianglePlane{normal / length, length / 2.0} : TrianglePlane{Vector3(), 0.0};
}

// ---- Before the first collapse ------------------------------------------------------------------------------------------

void SurfaceReducer::computePlanes() {
    forChunks_MT(vPlane.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t t = begin; t < end; ++t)
            vPlane[t] = planeOf(surface.normalOf(static_cast<Index>(t)));
    });
}

void SurfaceReducer::markLines() {
    const bool bFolds = rules.featureAngle < 180.0;
    const double minCosine = std::cos(rules.featureAngle / DEGREES_PER_RADIAN);
    forChunks_MT(vLine.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto c = static_cast<Index>(i);
            const bool bLine = isBorder(c) || (bFolds && unitCosine(vPlane[c / 3].normal,
                                                                    vPlane[surface.vOpposite[c] / 3].normal) < minCosine);
            vLine[i] = bLine ? 1 : 0;
        }
    });
}

void SurfaceReducer::setKinds() {
    const double maxBend = rules.featureAngle < 180.0 ? std::cos(rules.featureAngle / DEGREES_PER_RADIAN) : -2.0;
    forChunks_MT(vKind.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto v = static_cast<Index>(i);
            Index aEnd[2] = {v, v};  // the other ends of the first two lines at v
            std::size_t numLines = 0;
            bool bBorder = false;
            const auto addLine = [&](Index other) {
                if (numLines < 2) aEnd[numLines] = other;
                ++numLines;
            };
            surface.forFanInAnyOrder(surface.vCorner[v], [&](Index c) {
                const Index next = FlatSurface::next(c), previous = FlatSurface::previous(c);
                if (vLine[previous] != 0) addLine(surface.vVertex[next]);
                if (!isBorder(next)) return;
                bBorder = true;
                addLine(surface.vVertex[previous]);
            });
            if (numLines == 0) continue;
            const Vector3 in = surface.vPlace[v] - surface.vPlace[aEnd[0]],
                          out = surface.vPlace[aEnd[1]] - surface.vPlace[v];
            const bool bFixed =
                numLines != 2 || (rules.bKeepBorders && bBorder) || unitCosine(normalize(in), normalize(out)) < maxBend;
            vKind[v] = bFixed ? FIXED : ON_LINE;
        }
    });
}

void SurfaceReducer::refreshQuadric(Index vertex) {
    Quadric sum;
    const auto addWall = [&](Index c, const Vector3& unit) {
        const Vector3 p = surface.placeAt(FlatSurface::next(c)), along = surface.placeAt(FlatSurface::previous(c)) - p;
        sum += Quadric(normalize(crossProduct(along, unit)), p, BORDER_WEIGHT * along.sqLength());
    };
    surface.forFanInAnyOrder(surface.vCorner[vertex], [&](Index c) {
        const TrianglePlane& plane = vPlane[c / 3];
        sum += Quadric(plane.normal, surface.vPlace[vertex], plane.area);
        for (const Index side : {FlatSurface::next(c), FlatSurface::previous(c)})
            if (isBorder(side)) addWall(side, plane.normal);
    });
    vQuadric[vertex] = sum;
    vChangedAround[vertex] = 0;
}

void SurfaceReducer::refreshQuadrics() {
    forChunks_MT(vQuadric.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t v = begin; v < end; ++v)
            if (vChangedAround[v] != 0 && surface.vCorner[v] != FlatSurface::NONE) refreshQuadric(static_cast<Index>(v));
    });
}

// ---- The queue ----------------------------------------------------------------------------------------------------------

std::optional<SurfaceReducer::Plan> SurfaceReducer::planFor(Index corner) const {
    const Index u = surface.vVertex[FlatSurface::next(corner)], v = surface.vVertex[FlatSurface::previous(corner)];
    const auto mayGo = [&](Index from, Index to) {
        return vKind[from] <= vKind[to] && (vKind[from] == FREE || (vKind[from] == ON_LINE && vLine[corner] != 0));
    };
    Quadric sum = vQuadric[u];
    sum += vQuadric[v];
    for (const Index c : {corner, surface.vOpposite[corner]})  // both have these
        if (c != FlatSurface::NONE) sum += Quadric(vPlane[c / 3].normal, surface.placeAt(c), -vPlane[c / 3].area);
    std::optional<Plan> best;
    const auto consider = [&](Index from, Index to, const Vector3& place, bool bMoves) {
        const double cost = sum.at(place);
        if (!best || cost < best->cost) best = Plan{from, to, place, cost, bMoves};
    };
    const Vector3 placeU = surface.vPlace[u], placeV = surface.vPlace[v], middle = (placeU + placeV) * 0.5;
    const double sqLength = (placeV - placeU).sqLength();
    if (mayGo(u, v)) consider(u, v, placeV, false);
    if (mayGo(v, u)) consider(v, u, placeU, false);
    if (rules.bMoveVertices && mayGo(u, v) && mayGo(v, u)) {
        consider(u, v, middle, true);
        const auto lowest = sum.lowestNear(middle, SOFTNESS);
        if (lowest && (*lowest - middle).sqLength() <= MAX_REACH * MAX_REACH * sqLength) consider(u, v, *lowest, true);
    }
    if (best) best->cost += LENGTH_WEIGHT * sum.weight() * sqLength;
    return best;
}

std::optional<SurfaceReducer::Plan> SurfaceReducer::freshPlanFor(Index corner) {
    for (const Index v : {surface.vVertex[FlatSurface::next(corner)], surface.vVertex[FlatSurface::previous(corner)]})
        if (vChangedAround[v] != 0) refreshQuadric(v);
    return planFor(corner);
}

void SurfaceReducer::fillQueue() {
    std::vector<double> vCost(surface.vVertex.size(), HUGE_VAL);
    forChunks_MT(vCost.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto c = static_cast<Index>(i);
            if (!isAlive(c) || (!isBorder(c) && surface.vOpposite[c] < c)) continue;
            if (const auto plan = planFor(c)) vCost[i] = plan->cost;
        }
    });
    queue.clear();
    std::fill(vQueued.begin(), vQueued.end(), char{0});
    for (Index c = 0; c < vCost.size(); ++c)
        if (vCost[c] < HUGE_VAL) push(vCost[c], c);
}

void SurfaceReducer::enter(Index corner) {
    const auto plan = freshPlanFor(corner);
    if (plan) push(plan->cost, corner);
}

void SurfaceReducer::push(double cost, Index corner) {
    queue.push(BucketQueue::bucketOf(cost), corner);
    vQueued[corner] = 1;
}

/// Enters the edges at a vertex that aren't in the queue.
void SurfaceReducer::enterAround(Index vertex) {
    const auto enterNew = [this](Index side) {
        const Index across = surface.vOpposite[side];
        if (vQueued[side] == 0 && (across == FlatSurface::NONE || vQueued[across] == 0)) enter(side);
    };
    surface.forFanInAnyOrder(surface.vCorner[vertex], [&](Index c) {
        enterNew(FlatSurface::previous(c));
        if (isBorder(FlatSurface::next(c))) enterNew(FlatSurface::next(c));
    });
}

bool SurfaceReducer::collapseNext() {
    const std::size_t bucket = queue.firstBucket();
    const Index corner = queue.popFrom(bucket);
    if (!isAlive(corner) || vQueued[corner] == 0) return false;
    vQueued[corner] = 0;
    const auto plan = freshPlanFor(corner);
    if (!plan) return false;
    if (BucketQueue::bucketOf(plan->cost) > bucket) {
        push(plan->cost, corner);
        return false;
    }
    if (!mayCollapse(corner, *plan)) {
        vBlocked[plan->from] = vBlocked[plan->to] = 1;
        return false;
    }
    collapse(corner, *plan);
    return true;
}

// ---- What is allowed ----------------------------------------------------------------------------------------------------

bool SurfaceReducer::mayCollapse(Index corner, const Plan& plan) {
    if (!gatherFans(corner) || !keepsTopology(corner) || !keepsShape(plan)) return false;
    vRemovedAsked.assign(1, corner);
    if (!isBorder(corner)) vRemovedAsked.push_back(surface.vOpposite[corner]);
    return pleasesGuards(vRemovedAsked, plan, plan.bMoves || vMoved[plan.to] != 0 ? nullptr : surface.vSource[plan.to]);
}

/// pSource: where the vertex that remains will be, if that is a place of the original mesh.
bool SurfaceReducer::pleasesGuards(const std::vector<Index>& vRemoved, const Plan& plan, const Point3* pSource) {
    if (vGuard.empty()) return true;
    collapseAsked.remaining = plan.to;
    collapseAsked.vKept.clear();
    for (const Changed& changed : vChanged)
        collapseAsked.vKept.push_back(changed.corner);
    collapseAsked.vRemoved = vRemoved;
    collapseAsked.place = plan.place;
    collapseAsked.inMesh = pSource != nullptr ? *pSource : surface.toMesh(plan.place);
    return std::all_of(vGuard.begin(), vGuard.end(), [this](CollapseGuard* p) { return p->allows(collapseAsked); });
}

/// False when the vertex that remains would have too many triangles. Counting ends there, so that a hub of many triangles
/// costs no more than other vertices.
bool SurfaceReducer::gatherFans(Index corner) {
    gather(FlatSurface::next(corner), vFanU);
    gather(FlatSurface::previous(corner), vFanV);
    return vFanU.size() + vFanV.size() <= MAX_DEGREE;
}

/// The corners of a vertex in the order of turn(), or MAX_DEGREE + 1 of them.
void SurfaceReducer::gather(Index start, std::vector<Index>& vFan) const {
    vFan.clear();
    Index c = start;
    for (; c != FlatSurface::NONE && vFan.size() <= MAX_DEGREE; c = surface.turn(c)) {
        if (c == start && !vFan.empty()) return;
        vFan.push_back(c);
    }
    if (c != FlatSurface::NONE) return;
    // It ends at a border: what is before the start comes first.
    const std::size_t numBehind = vFan.size();
    for (c = surface.turnBack(start); c != FlatSurface::NONE && vFan.size() <= MAX_DEGREE; c = surface.turnBack(c))
        vFan.push_back(c);
    std::reverse(vFan.begin() + static_cast<std::ptrdiff_t>(numBehind), vFan.end());
    std::rotate(vFan.begin(), vFan.begin() + static_cast<std::ptrdiff_t>(numBehind), vFan.end());
}

/// Of a vertex that moves by itself.
bool SurfaceReducer::gatherFan(Index vertex) {
    gather(surface.vCorner[vertex], vFanU);
    vFanV.clear();
    return vFanU.size() <= MAX_DEGREE;
}

/// The surface stays manifold and keeps its borders exactly if the two vertices have no common neighbours but those opposite
/// their edge, with whatever is beyond a border counted as one more vertex; a tetrahedron and a lone triangle are kept.
bool SurfaceReducer::keepsTopology(Index corner) {
    const auto onBorder = [this](const std::vector<Index>& vFan) { return isBorder(FlatSurface::next(vFan.front())); };
    const bool bBorder = isBorder(corner);
    if (!bBorder && onBorder(vFanU) && onBorder(vFanV)) return false;
    if (vFanU.size() == vFanV.size() && vFanU.size() == (bBorder ? 1U : 3U)) return false;
    const auto forRing = [this](const std::vector<Index>& vFan, auto&& visit) {
        for (const Index c : vFan)
            visit(surface.vVertex[FlatSurface::next(c)]);
        if (isBorder(FlatSurface::next(vFan.front()))) visit(surface.vVertex[FlatSurface::previous(vFan.front())]);
    };
    ++mark;
    forRing(vFanU, [this](Index v) { vMark[v] = mark; });
    int numCommon = 0;
    forRing(vFanV, [&](Index v) { numCommon += vMark[v] == mark ? 1 : 0; });
    if (numCommon != (bBorder ? 1 : 2)) return false;
    // Two lines that meet in a removed triangle would become one.
    for (const Index c : {corner, surface.vOpposite[corner]})
        if (c != FlatSurface::NONE && vLine[FlatSurface::next(c)] != 0 && vLine[FlatSurface::previous(c)] != 0) return false;
    return true;
}

bool SurfaceReducer::keepsShape(const Plan& plan) {
    vChanged.clear();
    const Index u = surface.vVertex[vFanU.front()];
    const Index v = vFanV.empty() ? FlatSurface::NONE : surface.vVertex[vFanV.front()];
    if (!takeFan(vFanU, v, plan.place) || !takeFan(vFanV, u, plan.place)) return false;
    const Fitness worst = worstOfChanged(plan.place);
    if (worst.quality >= MIN_QUALITY && worst.fold >= MIN_FOLD_COSINE) return true;
    return hasWorseBefore(vFanU, worst) || hasWorseBefore(vFanV, worst);
}

/// Appends the triangles of a fan that remain to vChanged, in the order of turn() from those that are removed on. False when
/// one would turn over, or become flat, with its corner at that place.
/// otherEnd: NONE for a vertex that moves by itself.
bool SurfaceReducer::takeFan(const std::vector<Index>& vFan, Index otherEnd, const Vector3& place) {
    const auto isRemoved = [&](Index c) {
        return surface.vVertex[FlatSurface::next(c)] == otherEnd || surface.vVertex[FlatSurface::previous(c)] == otherEnd;
    };
    const std::size_t n = vFan.size();
    std::size_t last = 0;  // of the removed ones, which are next to each other
    while (last + 1 < n && (!isRemoved(vFan[last]) || isRemoved(vFan[last + 1])))
        ++last;
    for (std::size_t i = 1; i <= n; ++i) {
        const Index c = vFan[(last + i) % n];
        if (isRemoved(c)) continue;
        const Vector3 a = surface.placeAt(FlatSurface::next(c)) - place,
                      b = surface.placeAt(FlatSurface::previous(c)) - place;
        const TrianglePlane after = planeOf(crossProduct(a, b));
        if (!(unitCosine(vPlane[c / 3].normal, after.normal) > MIN_TURN_COSINE) || isFlat(a, b)) return false;
        vChanged.push_back({c, after});
    }
    return true;
}

/// Of the changed triangles with their corner at that place, and of the folds at their sides.
SurfaceReducer::Fitness SurfaceReducer::worstOfChanged(const Vector3& place) const {
    Fitness worst{1.0, 1.0};
    for (std::size_t i = 0; i < vChanged.size(); ++i) {
        const auto& [c, plane] = vChanged[i];
        const Index next = FlatSurface::next(c), previous = FlatSurface::previous(c);
        worst.quality =
            std::min(worst.quality, qualityOf(plane.area, place, surface.placeAt(next), surface.placeAt(previous)));
        if (!isBorder(c))
            worst.fold = std::min(worst.fold, unitCosine(plane.normal, vPlane[surface.vOpposite[c] / 3].normal));
        const Changed& beside = vChanged[(i + 1) % vChanged.size()];
        if (surface.vVertex[next] == surface.vVertex[FlatSurface::previous(beside.corner)])
            worst.fold = std::min(worst.fold, unitCosine(plane.normal, beside.plane.normal));
    }
    return worst;
}

/// Whether the triangles of a fan have no better quality, and no flatter sharpest fold, than that; what meets the limits
/// need not be compared.
bool SurfaceReducer::hasWorseBefore(const std::vector<Index>& vFan, const Fitness& after) const {
    Fitness worst{after.quality >= MIN_QUALITY ? -1.0 : 1.0, after.fold >= MIN_FOLD_COSINE ? -2.0 : 1.0};
    for (const Index c : vFan) {
        const TrianglePlane& plane = vPlane[c / 3];
        worst.quality =
            std::min(worst.quality, qualityOf(plane.area, surface.placeAt(c), surface.placeAt(FlatSurface::next(c)),
                                              surface.placeAt(FlatSurface::previous(c))));
        for (const Index side : {c, FlatSurface::next(c), FlatSurface::previous(c)})
            if (!isBorder(side))
                worst.fold = std::min(worst.fold, unitCosine(plane.normal, vPlane[surface.vOpposite[side] / 3].normal));
    }
    return worst.quality <= after.quality && worst.fold <= after.fold;
}

// ---- The collapse -------------------------------------------------------------------------------------------------------

void SurfaceReducer::collapse(Index corner, const Plan& plan) {
    const std::vector<Index>& vFanFrom = surface.vVertex[vFanU.front()] == plan.from ? vFanU : vFanV;
    const Index across = surface.vOpposite[corner];
    removeTriangle(corner);
    if (across != FlatSurface::NONE) removeTriangle(across);
    for (const Index c : vFanFrom)
        if (isAlive(c)) surface.vVertex[c] = plan.to;
    for (const std::vector<Index>* pFan : {&vFanU, &vFanV})
        for (const Index c : *pFan)
            if (isAlive(c)) surface.vCorner[plan.to] = c;
    surface.vCorner[plan.from] = FlatSurface::NONE;
    if (plan.bMoves) {
        surface.vPlace[plan.to] = plan.place;
        vMoved[plan.to] = 1;
    }
    vChangedAround[plan.to] = 1;
    for (const Changed& changed : vChanged) {
        vPlane[changed.corner / 3] = changed.plane;
        for (const Index c : {FlatSurface::next(changed.corner), FlatSurface::previous(changed.corner)})
            vChangedAround[surface.vVertex[c]] = 1;
    }
    for (CollapseGuard* pGuard : vGuard)
        pGuard->accept();
    enterAround(plan.to);
    // What was forbidden may be possible now that its surroundings have changed.
    for (const Changed& changed : vChanged)
        for (const Index c : {FlatSurface::next(changed.corner), FlatSurface::previous(changed.corner)}) {
            const Index v = surface.vVertex[c];
            if (vBlocked[v] == 0) continue;
            vBlocked[v] = 0;
            enterAround(v);
        }
}

/// Removes the triangle of a corner whose side collapses, and joins what is beyond its two other sides.
void SurfaceReducer::removeTriangle(Index corner) {
    const Index one = FlatSurface::next(corner), two = FlatSurface::previous(corner);
    const Index a = surface.vOpposite[one], b = surface.vOpposite[two];
    const auto line = static_cast<char>(vLine[one] | vLine[two]);
    for (const auto& [c, partner] : {std::pair(a, b), {b, a}}) {
        if (c == FlatSurface::NONE) continue;
        surface.vOpposite[c] = partner;
        vLine[c] = line;
        const Index w = surface.vVertex[corner];
        surface.vCorner[w] = surface.vVertex[FlatSurface::next(c)] == w ? FlatSurface::next(c) : FlatSurface::previous(c);
    }
    surface.vVertex[corner - corner % 3] = FlatSurface::NONE;
    --numLeft;
}

}  // namespace TARN_KEL
