// Edges that cut across a crease: flipped where the other diagonal lies nearer to the surface of the points, else split on
// the crease.
#include <algorithm>
#include <array>
#include <utility>

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
                if (o == NO_INDEX || o < t || (vStale[t] == 0 && vStale[o] == 0) || !tryFlip(t, k)) continue;
                vChanged[t] = vChanged[o] = 1;
                ++numFlips;
                break;
            }
        counts.numFlips += numFlips;
        if (numFlips == 0) return;
    }
}

bool MeshFitter::tryFlip(FitIndex t, int k) {
    const FitQuad q = fitMesh.quadAt(t, k);
    if (vRough[q.a] == 0 && vRough[q.b] == 0) return false;
    const double now = distanceOfEdge(q.a, q.b);
    if (now < FLIP_GAIN || !mayDivide(q) || fitMesh.isJoined(q.c, q.d)) return false;
    if (fitMesh.degree(q.a) <= MIN_DEGREE || fitMesh.degree(q.b) <= MIN_DEGREE) return false;
    const double then = distanceOfEdge(q.c, q.d);
    if (then < 0.0 || then + FLIP_GAIN > now || then > FLIP_RATIO * now) return false;
    if (!mayFlip(q)) return false;
    fitMesh.flip(t, k);
    return true;
}

/// Not where an operation would take time in proportion to the triangles of a hub.
bool MeshFitter::mayDivide(const FitQuad& q) const {
    return q.c != q.d && !fitMesh.isHub(q.a) && !fitMesh.isHub(q.b) && !fitMesh.isHub(q.c) && !fitMesh.isHub(q.d);
}

bool MeshFitter::mayFlip(const FitQuad& q) const {
    const Vector3 &a = fitMesh.place(q.a), &b = fitMesh.place(q.b), &c = fitMesh.place(q.c), &d = fitMesh.place(q.d);
    const TrianglePlaces oldC{a, b, c}, oldD{b, a, d}, newA{a, d, c}, newB{d, b, c};
    const double newHeight = std::min(leastHeight(newA), leastHeight(newB));
    if (newHeight < MIN_HEIGHT * cell && newHeight < std::min(leastHeight(oldC), leastHeight(oldD))) return false;

    const Vector3 areaC = areaVector(oldC), areaD = areaVector(oldD), areaA = areaVector(newA), areaB = areaVector(newB);
    if (isNewFold(cosineOf(areaA, areaB), cosineOf(areaC, areaD))) return false;
    const SurfaceSide side = sides.between(q.a, q.b);
    const Vector3 former = normalize(areaC) + normalize(areaD);
    if (!guard.mayReplace(newA, former, side) || !guard.mayReplace(newB, former, side)) return false;
    return !guard.foldsOver(q.overBC, areaB, areaC) && !guard.foldsOver(q.overCA, areaA, areaC) &&
           !guard.foldsOver(q.overAD, areaA, areaD) && !guard.foldsOver(q.overDB, areaB, areaD);
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
            const FitIndex a = fitMesh.corners(t)[static_cast<std::size_t>(k)];
            const FitIndex b = fitMesh.corners(t)[static_cast<std::size_t>(nextCorner(k))];
            if (vRough[a] == 0 && vRough[b] == 0) continue;
            const double distance = distanceOfEdge(a, b);
            if (distance > SPLIT_DISTANCE) vOff.push_back({distance, a, b});
        }
    std::sort(vOff.begin(), vOff.end());
    std::size_t numSplits = 0;
    for (const Off& off : vOff)
        numSplits += trySplit(off.a, off.b) ? 1 : 0;
    counts.numSplits += numSplits;
    return numSplits;
}

bool MeshFitter::trySplit(FitIndex a, FitIndex b) {
    FitIndex t = NO_INDEX;
    fitMesh.visitTriangles(a, [&](FitIndex at) {
        if (fitMesh.edgeFrom(at, a, b) >= 0) t = at;
    });
    if (t == NO_INDEX) return false;
    const int k = fitMesh.edgeFrom(t, a, b);
    if (fitMesh.neighbour(t, k) == NO_INDEX) return false;
    const FitQuad q = fitMesh.quadAt(t, k);
    if (!mayDivide(q)) return false;
    const Vector3 middle = (fitMesh.place(a) + fitMesh.place(b)) * 0.5;
    const SurfaceSide side = sides.between(a, b);
    const VertexPlace found = finder.find(middle, side);
    if (!found.bCrease || (found.crease - middle).length() >= MAX_SPLIT_TO_CREASE * cell || !maySplit(q, found.crease))
        return false;
    fitMesh.split(t, k, found.crease);
    vChanged[q.t] = vChanged[q.o] = 1;
    vChanged.resize(fitMesh.numTriangles(), 1);
    sides.vNormal.push_back(side.normal);
    sides.vPiece.push_back(side.piece);
    vKind.push_back(Kind::ON_CREASE);
    vRough.push_back(1);
    vFound.emplace_back();
    return true;
}

bool MeshFitter::maySplit(const FitQuad& q, const Vector3& at) const {
    const Vector3 &a = fitMesh.place(q.a), &b = fitMesh.place(q.b), &c = fitMesh.place(q.c), &d = fitMesh.place(q.d);
    if (std::min((at - a).length(), (at - b).length()) < MIN_TO_END * cell) return false;
    const TrianglePlaces atAC{a, at, c}, atBC{at, b, c}, atAD{at, a, d}, atBD{b, at, d};
    if (std::min({leastHeight(atAC), leastHeight(atBC), leastHeight(atAD), leastHeight(atBD)}) < MIN_HEIGHT * cell)
        return false;
    const Vector3 areaC = areaVector(a, b, c), areaD = areaVector(b, a, d);
    const Vector3 areaAC = areaVector(atAC), areaBC = areaVector(atBC), areaAD = areaVector(atAD), areaBD = areaVector(atBD);
    const double across = cosineOf(areaC, areaD);
    if (isNewFold(cosineOf(areaAC, areaBC), 1.0) || isNewFold(cosineOf(areaAD, areaBD), 1.0) ||
        isNewFold(cosineOf(areaAC, areaAD), across) || isNewFold(cosineOf(areaBC, areaBD), across))
        return false;
    if (guard.foldsOver(q.overCA, areaAC, areaC) || guard.foldsOver(q.overBC, areaBC, areaC) ||
        guard.foldsOver(q.overAD, areaAD, areaD) || guard.foldsOver(q.overDB, areaBD, areaD))
        return false;
    const SurfaceSide side = sides.between(q.a, q.b);
    return guard.mayReplace(atAC, areaC, side) && guard.mayReplace(atBC, areaC, side) &&
           guard.mayReplace(atAD, areaD, side) && guard.mayReplace(atBD, areaD, side);
}

}  // namespace TARN_KEL
