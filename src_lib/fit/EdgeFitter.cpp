#include "EdgeFitter.h"

#include <algorithm>
#include <utility>

#include "fitLimits.h"
#include "geometryFunctions.h"

namespace TARN_KEL {

namespace {

const int MAX_ROUNDS = 4;
const double FLIP_GAIN = 0.03;       // spacings that the middle of the edge comes nearer to the points
const double FLIP_RATIO = 0.6;       // of its distance then to that before
const double SPLIT_DISTANCE = 0.12;  // spacings; edges farther off are split
const double MIN_TO_END = 0.25;      // cells, from a new vertex to the ends of its edge

}  // namespace

std::size_t EdgeFitter::flipTowardsPoints() {
    std::size_t numFlips = 0;
    for (int round = 0; round < MAX_ROUNDS; ++round) {
        const std::vector<unsigned char> vStale =
            std::exchange(state.vChanged, std::vector<unsigned char>(fitMesh.numTriangles()));
        const std::size_t numBefore = numFlips;
        FitIndex flipped = NO_INDEX;  // the other edges of that triangle wait for the next round
        fitMesh.forEachInnerEdge([&](FitIndex t, int k, FitIndex o) {
            if (t == flipped || (vStale[t] == 0 && vStale[o] == 0)) return;
            const std::size_t numNow = change(findFlip(fitMesh.endsOf(t, k)), &EdgeFitter::findFlip);
            numFlips += numNow;
            if (numNow > 0) flipped = t;
        });
        if (numFlips == numBefore) break;
    }
    return numFlips;
}

std::size_t EdgeFitter::splitAtCreases() {
    struct Off {
        double distance;
        FitSide edge;
        bool operator<(const Off& other) const {
            return distance != other.distance ? distance > other.distance : edge < other.edge;
        }
    };
    std::vector<Off> vOff;
    fitMesh.forEachInnerEdge([&](FitIndex t, int k, FitIndex) {
        const FitSide edge = fitMesh.endsOf(t, k);
        if (!state.isRough(edge)) return;
        const double distance = state.distanceOfEdge(edge);
        if (distance > SPLIT_DISTANCE) vOff.push_back({distance, edge});
    });
    std::sort(vOff.begin(), vOff.end());
    std::size_t numSplits = 0;
    for (const Off& off : vOff)
        numSplits += change(findSplit(off.edge), &EdgeFitter::findSplit);
    return numSplits;
}

/// Returns the number of changes, up to two.
template <typename Change>
std::size_t EdgeFitter::change(const std::optional<Change>& first,
                               std::optional<Change> (EdgeFitter::*findFor)(const FitSide& ends) const) {
    if (!first || !keepsShape(*first, cosineAcross(first->quad))) return 0;
    const std::vector<FitSide> vFolded = foldedSides(first->quad, outerTriangles(*first));
    if (vFolded.size() > 1) return 0;
    state.perform(*first);
    if (vFolded.empty()) {
        state.markChanged(first->quad);
        return 1;
    }
    const std::optional<Change> second = (this->*findFor)(vFolded[0]);
    if (second && keepsShape(*second, 1.0) && foldedSides(second->quad, outerTriangles(*second)).empty()) {
        state.perform(*second);
        state.markChanged(first->quad);
        state.markChanged(second->quad);
        ++numPairs;
        return 2;
    }
    state.undo(*first);
    return 0;
}

/// Where the other diagonal lies nearer to the points, by far.
std::optional<EdgeFlip> EdgeFitter::findFlip(const FitSide& ends) const {
    if (!state.isRough(ends)) return std::nullopt;
    const double now = state.distanceOfEdge(ends);
    if (now < FLIP_GAIN) return std::nullopt;
    const std::optional<EdgeFlip> flip = state.findFlip(ends);
    if (!flip) return std::nullopt;
    const double then = state.distanceOfEdge({flip->quad.c, flip->quad.d});
    return then >= 0.0 && then + FLIP_GAIN <= now && then <= FLIP_RATIO * now ? flip : std::nullopt;
}

double EdgeFitter::cosineAcross(const FitQuad& q) const {
    return cosineOf(fitMesh.areaVectorOf(q.t), fitMesh.areaVectorOf(q.o));
}

// ---- What a change may not do. across: the cosine at the edge.

/// No sliver, no fold between the two triangles, and both face as the former two or as the points do.
bool EdgeFitter::keepsShape(const EdgeFlip& flip, double across) const {
    const FitQuad& q = flip.quad;
    const TrianglePlaces oldC = state.cornersOf(q.a, q.b, q.c), oldD = state.cornersOf(q.b, q.a, q.d);
    const TrianglePlaces newA = state.cornersOf(q.a, q.d, q.c), newB = state.cornersOf(q.d, q.b, q.c);
    const double newHeight = std::min(leastHeight(newA), leastHeight(newB));
    if (newHeight < MIN_HEIGHT * state.cell && newHeight < std::min(leastHeight(oldC), leastHeight(oldD))) return false;
    if (isNewFold(cosineOf(areaVector(newA), areaVector(newB)), across)) return false;
    const SurfaceSide side = state.sides.between(q.a, q.b);
    const Vector3 former = normalize(areaVector(oldC)) + normalize(areaVector(oldD));
    return guard.mayReplace(newA, former, side) && guard.mayReplace(newB, former, side);
}

/// No sliver, no fold among the four triangles, and all face as the two did or as the points do.
bool EdgeFitter::keepsShape(const EdgeSplit& split, double across) const {
    const FitQuad& q = split.quad;
    if (std::min((split.at - fitMesh.place(q.a)).length(), (split.at - fitMesh.place(q.b)).length()) <
        MIN_TO_END * state.cell)
        return false;
    const auto [bc, ca, ad, db] = outerTriangles(split);
    if (std::min({leastHeight(bc), leastHeight(ca), leastHeight(ad), leastHeight(db)}) < MIN_HEIGHT * state.cell)
        return false;
    const Vector3 areaBC = areaVector(bc), areaCA = areaVector(ca), areaAD = areaVector(ad), areaDB = areaVector(db);
    if (isNewFold(cosineOf(areaCA, areaBC), 1.0) || isNewFold(cosineOf(areaAD, areaDB), 1.0) ||
        isNewFold(cosineOf(areaCA, areaAD), across) || isNewFold(cosineOf(areaBC, areaDB), across))
        return false;
    const Vector3 areaC = fitMesh.areaVectorOf(q.t), areaD = fitMesh.areaVectorOf(q.o);
    return guard.mayReplace(ca, areaC, split.side) && guard.mayReplace(bc, areaC, split.side) &&
           guard.mayReplace(ad, areaD, split.side) && guard.mayReplace(db, areaD, split.side);
}

EdgeFitter::Outer EdgeFitter::outerTriangles(const EdgeFlip& flip) const {
    const FitQuad& q = flip.quad;
    const TrianglePlaces atA = state.cornersOf(q.a, q.d, q.c), atB = state.cornersOf(q.d, q.b, q.c);
    return {atB, atA, atA, atB};
}

EdgeFitter::Outer EdgeFitter::outerTriangles(const EdgeSplit& split) const {
    const FitQuad& q = split.quad;
    const Vector3 &a = fitMesh.place(q.a), &b = fitMesh.place(q.b), &c = fitMesh.place(q.c), &d = fitMesh.place(q.d);
    return {{split.at, b, c}, {a, split.at, c}, {split.at, a, d}, {b, split.at, d}};
}

/// The outer edges over which there would be a new fold.
std::vector<FitSide> EdgeFitter::foldedSides(const FitQuad& q, const Outer& now) const {
    const Vector3 areaC = fitMesh.areaVectorOf(q.t), areaD = fitMesh.areaVectorOf(q.o);
    std::vector<FitSide> vFolded;
    if (guard.foldsOver(q.overBC, areaVector(now.overBC), areaC)) vFolded.emplace_back(q.b, q.c);
    if (guard.foldsOver(q.overCA, areaVector(now.overCA), areaC)) vFolded.emplace_back(q.c, q.a);
    if (guard.foldsOver(q.overAD, areaVector(now.overAD), areaD)) vFolded.emplace_back(q.a, q.d);
    if (guard.foldsOver(q.overDB, areaVector(now.overDB), areaD)) vFolded.emplace_back(q.d, q.b);
    return vFolded;
}

}  // namespace TARN_KEL
