// Edges that cut across a crease: flipped where the other diagonal lies nearer to the surface of the points, else split on
// the crease.
#include <algorithm>
#include <array>
#include <utility>

#include "MeshFitter.h"
#include "fitLimits.h"

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

Vector3 MeshFitter::normalOfEdge(FitIndex a, FitIndex b) const {
    const Vector3 sum = vNormal[a] + vNormal[b];
    return unitOr(sum, sum);
}

double MeshFitter::distanceOfEdge(FitIndex a, FitIndex b) const {
    return guard.distanceToPoints((fitMesh.place(a) + fitMesh.place(b)) * 0.5, normalOfEdge(a, b));
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
    const FitIndex o = fitMesh.neighbour(t, k);
    const auto corner = [&](int i) { return fitMesh.corners(t)[static_cast<std::size_t>(i)]; };
    const FitIndex a = corner(k), b = corner(nextCorner(k)), c = corner(previousCorner(k));
    if (vRough[a] == 0 && vRough[b] == 0) return false;
    const int j = fitMesh.edgeFrom(o, b, a);
    const FitIndex d = fitMesh.corners(o)[static_cast<std::size_t>(previousCorner(j))];
    const double now = distanceOfEdge(a, b);
    if (now < FLIP_GAIN || c == d || fitMesh.isJoined(c, d)) return false;
    if (fitMesh.degree(a) <= MIN_DEGREE || fitMesh.degree(b) <= MIN_DEGREE) return false;
    const double then = distanceOfEdge(c, d);
    if (then < 0.0 || then + FLIP_GAIN > now || then > FLIP_RATIO * now) return false;

    const Vector3 &pa = fitMesh.place(a), &pb = fitMesh.place(b), &pc = fitMesh.place(c), &pd = fitMesh.place(d);
    const double newHeight = std::min(leastHeight(pa, pd, pc), leastHeight(pd, pb, pc));
    const double oldHeight = std::min(leastHeight(pa, pb, pc), leastHeight(pb, pa, pd));
    if (newHeight < NEW_HEIGHT * cell && newHeight < oldHeight) return false;

    const auto unit = [](const Vector3& v) { return unitOr(v, v); };
    const Vector3 newA = unit(areaVector(pa, pd, pc)), newB = unit(areaVector(pd, pb, pc));
    const Vector3 oldC = unit(areaVector(pa, pb, pc)), oldD = unit(areaVector(pb, pa, pd));
    if (newA * newB < FOLD && newA * newB < oldC * oldD) return false;
    const Vector3 side = normalOfEdge(a, b), former = oldC + oldD;
    if (!guard.mayReplace(pa, pd, pc, former, side) || !guard.mayReplace(pd, pb, pc, former, side)) return false;
    const auto folds = [&](FitIndex over, const Vector3& then_, const Vector3& now_) {
        if (over == NO_INDEX) return false;
        const Vector3 n = unit(fitMesh.areaVectorOf(over));
        return n * then_ < FOLD && n * then_ < n * now_;
    };
    if (folds(fitMesh.neighbour(t, nextCorner(k)), newB, oldC) ||
        folds(fitMesh.neighbour(t, previousCorner(k)), newA, oldC) ||
        folds(fitMesh.neighbour(o, nextCorner(j)), newA, oldD) || folds(fitMesh.neighbour(o, previousCorner(j)), newB, oldD))
        return false;
    fitMesh.flip(t, k);
    return true;
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
    const FitIndex o = fitMesh.neighbour(t, k);
    if (o == NO_INDEX) return false;
    const FitIndex c = fitMesh.corners(t)[static_cast<std::size_t>(previousCorner(k))];
    const FitIndex d = fitMesh.corners(o)[static_cast<std::size_t>(previousCorner(fitMesh.edgeFrom(o, b, a)))];
    const Vector3 pa = fitMesh.place(a), pb = fitMesh.place(b), pc = fitMesh.place(c), pd = fitMesh.place(d);
    const Vector3 middle = (pa + pb) * 0.5, side = normalOfEdge(a, b);
    const VertexPlace found = finder.find(middle, side);
    if (!found.bCrease || c == d) return false;
    const Vector3 p = found.crease;
    if ((p - middle).length() >= MAX_SPLIT_TO_CREASE * cell) return false;
    if (std::min((p - pa).length(), (p - pb).length()) < MIN_TO_END * cell) return false;
    const double height =
        std::min({leastHeight(pa, p, pc), leastHeight(p, pb, pc), leastHeight(p, pa, pd), leastHeight(pb, p, pd)});
    if (height < NEW_HEIGHT * cell) return false;
    const Vector3 former = areaVector(pa, pb, pc), formerO = areaVector(pb, pa, pd);
    if (!guard.mayReplace(pa, p, pc, former, side) || !guard.mayReplace(p, pb, pc, former, side) ||
        !guard.mayReplace(p, pa, pd, formerO, side) || !guard.mayReplace(pb, p, pd, formerO, side))
        return false;
    fitMesh.split(t, k, p);
    vChanged[t] = vChanged[o] = 1;
    vChanged.resize(fitMesh.numTriangles(), 1);
    vNormal.push_back(side);
    vKind.push_back(Kind::ON_CREASE);
    vRough.push_back(1);
    vFound.emplace_back();
    return true;
}

}  // namespace TARN_KEL
