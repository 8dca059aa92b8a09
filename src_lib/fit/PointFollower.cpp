// The points stay with their triangles through all rounds: moves are small beside those. Only at the end vertices are moved,
// each judged against the moves before.
#include "PointFollower.h"

#include <algorithm>
#include <cmath>

#include "TriangleTree.h"
#include "fitLimits.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const int NUM_PULLS = 3;
// In spacings:
const double MAX_FOOT = 1.0;    // from a point to its triangle
const double MAX_PULL = 0.5;    // of a point that pulls; beyond, it is of something else
const double MAX_FOLLOW = 0.3;  // of a vertex
const double MIN_FOLLOW = 1e-4;
const double SAME_SIDE_OF_FOOT = 0.5;  // cosine of the normals of a point and its triangle
const double DOUBT = 3.0;              // in squares of the deviation of a mean, that it must exceed to be more than noise
const double OWN_WEIGHT = 0.1;         // of a vertex, in points at its place

}  // namespace

void PointFollower::follow(const std::vector<unsigned char>& vSmooth) {
    findFeet();
    vNormal = fitMesh.smoothNormals();
    vDistance.assign(fitMesh.numVertices(), 0.0);
    for (int i = 0; i < NUM_PULLS; ++i)
        pull(vSmooth);
    for (FitIndex v = 0; v < vDistance.size(); ++v) {
        if (std::fabs(vDistance[v]) < MIN_FOLLOW) continue;
        const Vector3 to = fitMesh.place(v) + vNormal[v] * vDistance[v];
        if (state.guard.mayMove(v, to)) fitMesh.move(v, to);
    }
}

void PointFollower::findBalls() {
    const double rounded = 1.0 + 1e-9;
    vBall.resize(fitMesh.numTriangles());
    forChunks_MT(vBall.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t t = begin; t < end; ++t) {
            const FitTriangle& c = fitMesh.corners(static_cast<FitIndex>(t));
            const Vector3 &p = fitMesh.place(c[0]), &q = fitMesh.place(c[1]), &r = fitMesh.place(c[2]);
            const Vector3 centre = (p + q + r) / 3.0;
            const double sqRadius = std::max({(p - centre).sqLength(), (q - centre).sqLength(), (r - centre).sqLength()});
            vBall[t] = {centre, rounded * std::sqrt(sqRadius)};
        }
    });
}

void PointFollower::findFeet() {
    findBalls();
    vFoot.resize(state.points.size());
    forChunks_MT(vFoot.size(), [&](std::size_t begin, std::size_t end) {
        std::vector<FitIndex> vAround;
        for (std::size_t i = begin; i < end; ++i) {
            const auto point = static_cast<FitIndex>(i);
            vFoot[i] = footOn(nearestTriangle(point, vAround), point);
        }
    });
}

/// Of those around the vertex that was the nearest at the beginning, and those beyond these.
FitIndex PointFollower::nearestTriangle(FitIndex point, std::vector<FitIndex>& vAround) const {
    const FitIndex vertex = state.points.vNearest[point];
    vAround.clear();
    fitMesh.visitTriangles(vertex, [&](FitIndex t) { vAround.push_back(t); });
    for (std::size_t i = 0, num = vAround.size(); i < num; ++i) {
        const FitIndex t = vAround[i], beyond = fitMesh.neighbour(t, nextCorner(fitMesh.cornerAt(t, vertex)));
        if (beyond != NO_INDEX) vAround.push_back(beyond);
    }
    const Vector3& place = state.points.vFitted[point];
    FitIndex nearest = NO_INDEX;
    double least = MAX_FOOT, sqLeast = MAX_FOOT * MAX_FOOT;
    for (const FitIndex t : vAround) {
        if ((place - vBall[t].centre).sqLength() > square(vBall[t].radius + least)) continue;
        const FitTriangle& c = fitMesh.corners(t);
        const double sqOff = sqDistance(place, state.cornersOf(c[0], c[1], c[2]));
        if (sqOff > sqLeast || (sqOff == sqLeast && t > nearest)) continue;
        sqLeast = sqOff;
        least = std::sqrt(sqOff);
        nearest = t;
    }
    return nearest;
}

PointFollower::Foot PointFollower::footOn(FitIndex triangle, FitIndex point) const {
    if (triangle == NO_INDEX) return {};
    const Vector3 area = fitMesh.areaVectorOf(triangle), &place = state.points.vFitted[point];
    if (cosineOf(area, state.points.vNormal[point]) < SAME_SIDE_OF_FOOT) return {};
    const FitTriangle& c = fitMesh.corners(triangle);
    Foot foot{.triangle = triangle};
    double sum = 0.0;
    for (std::size_t k = 0; k < 3; ++k) {
        const Vector3 &next = fitMesh.place(c[(k + 1) % 3]), &last = fitMesh.place(c[(k + 2) % 3]);
        foot.aPart[k] = std::max(0.0, areaVector(place, next, last) * area);
        sum += foot.aPart[k];
    }
    for (double& part : foot.aPart)
        part /= sum;
    return foot;
}

/// One round. How sure a mean is follows from how far it is, against the noise that is left. In clean points all that is
/// left is relief.
void PointFollower::pull(const std::vector<unsigned char>& vSmooth) {
    const auto placeOf = [&](FitIndex v) { return fitMesh.place(v) + vNormal[v] * vDistance[v]; };
    const double sqNoise = square(std::min(state.points.residual, state.points.noise));
    std::vector<double> vPull(vDistance.size()), vWeight(vDistance.size());
    for (FitIndex i = 0; i < vFoot.size(); ++i) {
        if (vFoot[i].triangle == NO_INDEX) continue;
        const FitTriangle& c = fitMesh.corners(vFoot[i].triangle);
        const auto& part = vFoot[i].aPart;
        const Vector3 a = placeOf(c[0]), b = placeOf(c[1]), d = placeOf(c[2]);
        const Vector3 offset = state.points.vFitted[i] - (a * part[0] + b * part[1] + d * part[2]);
        const double off = offset * unitOr(areaVector(a, b, d), {});
        if (std::fabs(off) > MAX_PULL) continue;
        for (std::size_t k = 0; k < 3; ++k) {
            vPull[c[k]] += part[k] * off;
            vWeight[c[k]] += part[k];
        }
    }
    for (FitIndex v = 0; v < vPull.size(); ++v) {
        if (vSmooth[v] == 0 || vPull[v] == 0.0) continue;
        const double mean = vPull[v] / (vWeight[v] + OWN_WEIGHT), sqDoubt = sqNoise / vWeight[v];
        const double sure = std::max(0.0, 1.0 - DOUBT * sqDoubt / square(mean));
        vDistance[v] = std::clamp(vDistance[v] + sure * mean, -MAX_FOLLOW, MAX_FOLLOW);
    }
}

}  // namespace TARN_KEL
