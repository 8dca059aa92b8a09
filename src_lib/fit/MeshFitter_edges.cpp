// Edges that cut across a crease: flipped where the other diagonal lies nearer to the surface of the points, else split on
// the crease.
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "MeshFitter.h"
#include "fitLimits.h"
#include "geometryFunctions.h"

namespace TARN_KEL {

namespace {

const int MAX_ROUNDS = 4;
const double FLIP_GAIN = 0.03;           // spacings that the middle of the edge comes nearer to the points
const double FLIP_RATIO = 0.6;           // of its distance then to that before
const double SPLIT_DISTANCE = 0.12;      // spacings; edges farther off are split
const double MAX_SPLIT_TO_CREASE = 1.6;  // cells
const double MIN_TO_END = 0.25;          // cells, from a new vertex to the ends of its edge
const std::size_t MIN_DEGREE = 3;        // of the ends of an edge that is flipped, before

}  // namespace

double MeshFitter::distanceOfEdge(FitIndex a, FitIndex b) const {
    return guard.distanceToPoints((fitMesh.place(a) + fitMesh.place(b)) * 0.5, sides.between(a, b));
}

void MeshFitter::flipTowardsPoints() {
    for (int round = 0; round < MAX_ROUNDS; ++round) {
        const std::vector<unsigned char> vStale =
            std::exchange(vChanged, std::vector<unsigned char>(fitMesh.numTriangles()));
        std::size_t numFlips = 0;
        for (FitIndex t = 0; t < fitMesh.numTriangles(); ++t)
            for (int k = 0; k < 3; ++k) {
                const FitIndex o = fitMesh.neighbour(t, k);
                if (o == NO_INDEX || o < t || (vStale[t] == 0 && vStale[o] == 0)) continue;
                const std::size_t numNow = flipAt(t, k);
                if (numNow == 0) continue;
                vChanged[t] = vChanged[o] = 1;
                numFlips += numNow;
                break;
            }
        counts.numFlips += numFlips;
        if (numFlips == 0) return;
    }
}

/// Up to two flips: where two edges from one vertex cut a crease, either flip alone may leave a fold over the other edge.
std::size_t MeshFitter::flipAt(FitIndex t, int k) {
    const FitQuad q = fitMesh.quadAt(t, k);
    if (!wantsFlip(q) || !keepsShape(q, cosineAcross(q))) return 0;
    const std::vector<Side> vFolded = foldedSides(q);
    if (vFolded.size() > 1) return 0;
    fitMesh.flip(t, k);
    if (vFolded.empty()) return 1;
    if (const std::optional<Edge> edge = findEdge(vFolded[0])) {
        const FitQuad second = fitMesh.quadAt(edge->triangle, edge->k);
        if (wantsFlip(second) && keepsShape(second, 1.0) && foldedSides(second).empty()) {
            fitMesh.flip(edge->triangle, edge->k);
            vChanged[second.t] = vChanged[second.o] = 1;
            return 2;
        }
    }
    fitMesh.undoFlip(q);
    return 0;
}

/// Where the other diagonal lies nearer to the points, by far.
bool MeshFitter::wantsFlip(const FitQuad& q) const {
    if (vRough[q.a] == 0 && vRough[q.b] == 0) return false;
    const double now = distanceOfEdge(q.a, q.b);
    if (now < FLIP_GAIN || !mayFlip(q)) return false;
    const double then = distanceOfEdge(q.c, q.d);
    return then >= 0.0 && then + FLIP_GAIN <= now && then <= FLIP_RATIO * now;
}

/// Not where an operation would take time in proportion to the triangles of a hub.
bool MeshFitter::mayDivide(const FitQuad& q) const {
    return q.c != q.d && !fitMesh.isHub(q.a) && !fitMesh.isHub(q.b) && !fitMesh.isHub(q.c) && !fitMesh.isHub(q.d);
}

bool MeshFitter::mayFlip(const FitQuad& q) const {
    return mayDivide(q) && !fitMesh.isJoined(q.c, q.d) && fitMesh.degree(q.a) > MIN_DEGREE &&
           fitMesh.degree(q.b) > MIN_DEGREE;
}

TrianglePlaces MeshFitter::cornersOf(FitIndex a, FitIndex b, FitIndex c) const {
    return {fitMesh.place(a), fitMesh.place(b), fitMesh.place(c)};
}

double MeshFitter::cosineAcross(const FitQuad& q) const {
    return cosineOf(areaVector(cornersOf(q.a, q.b, q.c)), areaVector(cornersOf(q.b, q.a, q.d)));
}

/// A flip makes no sliver and no fold between its two triangles, and both face as the former two or as the points do.
/// across: the cosine at the edge.
bool MeshFitter::keepsShape(const FitQuad& q, double across) const {
    const TrianglePlaces oldC = cornersOf(q.a, q.b, q.c), oldD = cornersOf(q.b, q.a, q.d);
    const TrianglePlaces newA = cornersOf(q.a, q.d, q.c), newB = cornersOf(q.d, q.b, q.c);
    const double newHeight = std::min(leastHeight(newA), leastHeight(newB));
    if (newHeight < MIN_HEIGHT * cell && newHeight < std::min(leastHeight(oldC), leastHeight(oldD))) return false;
    if (isNewFold(cosineOf(areaVector(newA), areaVector(newB)), across)) return false;
    const SurfaceSide side = sides.between(q.a, q.b);
    const Vector3 former = normalize(areaVector(oldC)) + normalize(areaVector(oldD));
    return guard.mayReplace(newA, former, side) && guard.mayReplace(newB, former, side);
}

/// The outer edges over which a flip would make a new fold.
std::vector<MeshFitter::Side> MeshFitter::foldedSides(const FitQuad& q) const {
    const Vector3 areaC = areaVector(cornersOf(q.a, q.b, q.c)), areaD = areaVector(cornersOf(q.b, q.a, q.d));
    const Vector3 areaA = areaVector(cornersOf(q.a, q.d, q.c)), areaB = areaVector(cornersOf(q.d, q.b, q.c));
    std::vector<Side> vFolded;
    if (guard.foldsOver(q.overBC, areaB, areaC)) vFolded.emplace_back(q.b, q.c);
    if (guard.foldsOver(q.overCA, areaA, areaC)) vFolded.emplace_back(q.c, q.a);
    if (guard.foldsOver(q.overAD, areaA, areaD)) vFolded.emplace_back(q.a, q.d);
    if (guard.foldsOver(q.overDB, areaB, areaD)) vFolded.emplace_back(q.d, q.b);
    return vFolded;
}

/// An edge of two triangles; none when these ends have no such edge.
std::optional<MeshFitter::Edge> MeshFitter::findEdge(const Side& ends) const {
    std::optional<Edge> edge;
    fitMesh.visitTriangles(ends.first, [&](FitIndex t) {
        const int k = fitMesh.edgeFrom(t, ends.first, ends.second);
        if (k >= 0 && fitMesh.neighbour(t, k) != NO_INDEX) edge = Edge{t, k};
    });
    return edge;
}

MeshFitter::Side MeshFitter::endsOf(FitIndex t, int k) const {
    const FitTriangle& c = fitMesh.corners(t);
    return {c[static_cast<std::size_t>(k)], c[static_cast<std::size_t>(nextCorner(k))]};
}

/// The farthest off first. Returns the number of splits.
std::size_t MeshFitter::splitAtCreases() {
    struct Off {
        double distance;
        FitIndex a, b;
        bool operator<(const Off& other) const {
            if (distance != other.distance) return distance > other.distance;
            return std::pair(a, b) < std::pair(other.a, other.b);
        }
    };
    std::vector<Off> vOff;
    for (FitIndex t = 0; t < fitMesh.numTriangles(); ++t)
        for (int k = 0; k < 3; ++k) {
            const FitIndex o = fitMesh.neighbour(t, k);
            if (o == NO_INDEX || o < t) continue;
            const auto [a, b] = endsOf(t, k);
            if (vRough[a] == 0 && vRough[b] == 0) continue;
            const double distance = distanceOfEdge(a, b);
            if (distance > SPLIT_DISTANCE) vOff.push_back({distance, a, b});
        }
    std::sort(vOff.begin(), vOff.end());
    std::size_t numSplits = 0;
    for (const Off& off : vOff)
        numSplits += splitAt({off.a, off.b});
    counts.numSplits += numSplits;
    return numSplits;
}

/// Returns the number of splits, up to two: where two edges from one vertex cut a crease, either split alone would leave a
/// fold over the other edge.
std::size_t MeshFitter::splitAt(const Side& ends) {
    const std::optional<Split> split = findSplit(ends);
    if (!split || !keepsShape(*split, cosineAcross(split->quad))) return 0;
    const std::vector<Side> vFolded = foldedSides(*split);
    if (vFolded.size() > 1) return 0;
    perform(*split);
    if (vFolded.empty()) return 1;
    const std::optional<Split> second = findSplit(vFolded[0]);
    if (second && keepsShape(*second, 1.0) && foldedSides(*second).empty()) {
        perform(*second);
        return 2;
    }
    undo(*split);
    return 0;
}

/// Where an edge is to be split: on the crease nearest to its middle. None where it has no two triangles or cuts no crease.
std::optional<MeshFitter::Split> MeshFitter::findSplit(const Side& ends) {
    const std::optional<Edge> edge = findEdge(ends);
    if (!edge) return std::nullopt;
    const FitQuad q = fitMesh.quadAt(edge->triangle, edge->k);
    if (!mayDivide(q)) return std::nullopt;
    const Vector3 middle = (fitMesh.place(q.a) + fitMesh.place(q.b)) * 0.5;
    const SurfaceSide side = sides.between(q.a, q.b);
    const VertexPlace found = finder.find(middle, side);
    if (!found.bCrease || (found.crease - middle).length() >= MAX_SPLIT_TO_CREASE * cell) return std::nullopt;
    return Split{q, edge->k, found.crease, side};
}

void MeshFitter::perform(const Split& split) {
    fitMesh.split(split.quad.t, split.edge, split.at);
    vChanged[split.quad.t] = vChanged[split.quad.o] = 1;
    vChanged.resize(fitMesh.numTriangles(), 1);
    sides.vNormal.push_back(split.side.normal);
    sides.vPiece.push_back(split.side.piece);
    vKind.push_back(Kind::ON_CREASE);
    vRough.push_back(1);
    vFound.emplace_back();
}

/// Takes back what was performed last.
void MeshFitter::undo(const Split& split) {
    fitMesh.undoSplit(split.quad);
    vChanged.resize(fitMesh.numTriangles());
    sides.vNormal.pop_back();
    sides.vPiece.pop_back();
    vKind.pop_back();
    vRough.pop_back();
    vFound.pop_back();
}

MeshFitter::SplitTriangles MeshFitter::trianglesOf(const Split& split) const {
    const FitQuad& q = split.quad;
    const Vector3 &a = fitMesh.place(q.a), &b = fitMesh.place(q.b), &c = fitMesh.place(q.c), &d = fitMesh.place(q.d);
    return {{a, split.at, c}, {split.at, b, c}, {split.at, a, d}, {b, split.at, d}};
}

/// No sliver, no fold among the four, and all face as the two did or as the points do. across: the cosine at the edge.
bool MeshFitter::keepsShape(const Split& split, double across) const {
    const FitQuad& q = split.quad;
    if (std::min((split.at - fitMesh.place(q.a)).length(), (split.at - fitMesh.place(q.b)).length()) < MIN_TO_END * cell)
        return false;
    const auto [atAC, atBC, atAD, atBD] = trianglesOf(split);
    if (std::min({leastHeight(atAC), leastHeight(atBC), leastHeight(atAD), leastHeight(atBD)}) < MIN_HEIGHT * cell)
        return false;
    const Vector3 areaAC = areaVector(atAC), areaBC = areaVector(atBC), areaAD = areaVector(atAD), areaBD = areaVector(atBD);
    if (isNewFold(cosineOf(areaAC, areaBC), 1.0) || isNewFold(cosineOf(areaAD, areaBD), 1.0) ||
        isNewFold(cosineOf(areaAC, areaAD), across) || isNewFold(cosineOf(areaBC, areaBD), across))
        return false;
    const Vector3 areaC = areaVector(cornersOf(q.a, q.b, q.c)), areaD = areaVector(cornersOf(q.b, q.a, q.d));
    return guard.mayReplace(atAC, areaC, split.side) && guard.mayReplace(atBC, areaC, split.side) &&
           guard.mayReplace(atAD, areaD, split.side) && guard.mayReplace(atBD, areaD, split.side);
}

/// The outer edges over which there would be a new fold.
std::vector<MeshFitter::Side> MeshFitter::foldedSides(const Split& split) const {
    const FitQuad& q = split.quad;
    const auto [atAC, atBC, atAD, atBD] = trianglesOf(split);
    const Vector3 areaC = areaVector(cornersOf(q.a, q.b, q.c)), areaD = areaVector(cornersOf(q.b, q.a, q.d));
    std::vector<Side> vFolded;
    if (guard.foldsOver(q.overCA, areaVector(atAC), areaC)) vFolded.emplace_back(q.c, q.a);
    if (guard.foldsOver(q.overBC, areaVector(atBC), areaC)) vFolded.emplace_back(q.b, q.c);
    if (guard.foldsOver(q.overAD, areaVector(atAD), areaD)) vFolded.emplace_back(q.a, q.d);
    if (guard.foldsOver(q.overDB, areaVector(atBD), areaD)) vFolded.emplace_back(q.d, q.b);
    return vFolded;
}

}  // namespace TARN_KEL
