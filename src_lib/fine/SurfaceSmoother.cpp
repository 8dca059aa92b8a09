// Smoothing that doesn't shrink, in two ways.
//
// The mean of the neighbours takes a share k of the height of a wave per step, k between 0 for long waves and 2 for zigzag.
// Two steps with factors in > 0 and out < 0 leave (1 - in k)(1 - out k) of it. That is 1 for k = 0 and for the pass band,
// k = 1 / in + 1 / out, hardly more than 1 in between, and falls beyond.
//
//    height left                      The neighbours count alike. So triangles become more even; weights by angles would
//    1 |-------.                      keep their shape, but become negative or endless at slivers.
//      |        `.
//      |          `-.___
//    0 +-------|---------- k
//          pass band
//
// Means round edges off. So for edged shapes the normals are smoothed first, each by those triangles around whose normals
// are like it. Across an edge they aren't, so what is on either side becomes even by itself. Then each vertex moves, again
// and again, to the mean of its feet in the planes through the centres of its triangles with the smooth normals: that turns
// the triangles and lets vertices slide neither along a plane nor along an edge.
#include "SurfaceSmoother.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "Progress.h"
#include "edgeGeometry.h"
#include "flood.h"
#include "geometryFunctions.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MIN_PARALLEL_MOVES = 1000;
constexpr double STEP_IN = 0.6307;
// After so many rounds most of the turn is done.
constexpr int FOLLOW_ROUNDS = 20;
// Of the triangles around a vertex, as many are looked at in each direction; all of them in even meshes.
constexpr int MAX_TURNS = 4;

}  // namespace

SurfaceSmoother::SurfaceSmoother(FlatSurface& theSurface, bool bKeepBorders, bool bNoCrossings) : surface(theSurface) {
    listNeighbours(bKeepBorders);
    if (bNoCrossings) freePlaces.emplace(surface.sourcePlaces(), surface.triples());
}

void SurfaceSmoother::listNeighbours(bool bKeepBorders) {
    vBegin.reserve(surface.numVertices() + 1);
    vNeighbour.reserve(surface.vVertex.size());
    for (Index v = 0; v < surface.numVertices(); ++v) {
        vBegin.push_back(vNeighbour.size());
        const std::size_t begin = vNeighbour.size();
        Index first = FlatSurface::NONE, last = FlatSurface::NONE;
        const bool bClosed = surface.forFan(surface.vCorner[v], [&](Index c) {
            if (first == FlatSurface::NONE) first = surface.vVertex[FlatSurface::previous(c)];
            last = surface.vVertex[FlatSurface::next(c)];
            vNeighbour.push_back(last);
        });
        if (bClosed) continue;
        vNeighbour.resize(begin);
        if (!bKeepBorders) vNeighbour.insert(vNeighbour.end(), {first, last});
    }
    vBegin.push_back(vNeighbour.size());
}

// ---- By means -----------------------------------------------------------------------------------------------------------

void SurfaceSmoother::taubin(int numRounds, double passBand) {
    const double stepOut = 1.0 / (passBand - 1.0 / STEP_IN);
    std::vector<Vector3> vBetween(surface.numVertices()), vTo(surface.numVertices());
    const ProgressStep progress("SS_round", static_cast<std::size_t>(std::max(numRounds, 0)));
    for (int i = 0; i < numRounds; ++i) {
        step(surface.vPlace, STEP_IN, vBetween);
        step(vBetween, stepOut, vTo);
        moveTo(vTo);
        progress.advance();
    }
}

/// Moves vertices by a share of the way to the mean of their neighbours.
void SurfaceSmoother::step(const std::vector<Vector3>& vFrom, double factor, std::vector<Vector3>& vTo) const {
    forChunks_MT(
        vFrom.size(),
        [&](std::size_t begin, std::size_t end) {
            for (std::size_t v = begin; v < end; ++v) {
                vTo[v] = vFrom[v];
                const std::size_t n = vBegin[v + 1] - vBegin[v];
                if (n == 0) continue;
                Vector3 sum;
                for (std::size_t i = vBegin[v]; i < vBegin[v + 1]; ++i)
                    sum += vFrom[vNeighbour[i]];
                vTo[v] += (sum / static_cast<double>(n) - vFrom[v]) * factor;
            }
        },
        MIN_PARALLEL_MOVES);
}

// ---- By normals ---------------------------------------------------------------------------------------------------------

void SurfaceSmoother::bilateral(int numRounds, double edgeAngle) {
    if (numRounds < 1) return;
    const std::vector<Vector3> vNormal = smoothNormals(numRounds, edgeAngle);
    std::vector<Vector3> vTo(surface.numVertices());
    const ProgressStep progress("SS_round", FOLLOW_ROUNDS);
    for (int i = 0; i < FOLLOW_ROUNDS; ++i) {
        follow(vNormal, vTo);
        moveTo(vTo);
        progress.advance();
    }
}

std::vector<Vector3> SurfaceSmoother::smoothNormals(int numRounds, double edgeAngle) const {
    const auto forTriangles = [this](auto&& work) {
        forChunks_MT(
            surface.numTriangles(),
            [&](std::size_t begin, std::size_t end) {
                for (std::size_t t = begin; t < end; ++t)
                    work(static_cast<Index>(t));
            },
            MIN_PARALLEL_MOVES);
    };
    std::vector<Vector3> vNormal(surface.numTriangles()), vNext(surface.numTriangles());
    forTriangles([&](Index t) { vNormal[t] = normalize(surface.normalOf(t)); });
    const double spread = 2.0 * std::sin(edgeAngle / 2.0 / DEGREES_PER_RADIAN), sqDistanceSpread = meanSqStep();
    const ProgressStep progress("SS_round", static_cast<std::size_t>(numRounds));
    for (int i = 0; i < numRounds; ++i) {
        forTriangles([&](Index t) { vNext[t] = smoothNormal(t, vNormal, spread * spread, sqDistanceSpread); });
        vNormal.swap(vNext);
        progress.advance();
    }
    return vNormal;
}

/// Of the distances between the centres of neighbours, the mean square.
double SurfaceSmoother::meanSqStep() const {
    double sum = 0.0;
    std::size_t number = 0;
    for (Index c = 0; c < surface.vVertex.size(); ++c) {
        const Index across = surface.vOpposite[c];
        if (across == FlatSurface::NONE || across < c) continue;
        sum += (surface.centreOf(c / 3) - surface.centreOf(across / 3)).sqLength();
        ++number;
    }
    return number > 0 ? sum / static_cast<double>(number) : 1.0;
}

Vector3 SurfaceSmoother::smoothNormal(Index triangle, const std::vector<Vector3>& vNormal, double sqSpread,
                                      double sqDistanceSpread) const {
    const Vector3 centre = surface.centreOf(triangle), normal = vNormal[triangle];
    Vector3 sum = normal * surface.normalOf(triangle).length();
    const auto add = [&](Index other) {
        const double unlike = (vNormal[other] - normal).sqLength() / sqSpread +
                              (surface.centreOf(other) - centre).sqLength() / sqDistanceSpread;
        sum += vNormal[other] * (surface.normalOf(other).length() * std::exp(-unlike / 2.0));
    };
    for (Index c = 3 * triangle; c < 3 * triangle + 3; ++c) {
        Index ahead = c, back = c;
        for (int i = 0; i < MAX_TURNS; ++i) {
            if (ahead != FlatSurface::NONE) ahead = surface.turn(ahead);
            if (ahead == c || (ahead != FlatSurface::NONE && ahead == back)) break;  // all around
            if (ahead != FlatSurface::NONE) add(ahead / 3);
            if (back != FlatSurface::NONE) back = surface.turnBack(back);
            if (back == c || (back != FlatSurface::NONE && back == ahead)) break;
            if (back != FlatSurface::NONE) add(back / 3);
        }
    }
    const Vector3 smooth = normalize(sum);
    return smooth.isDegenerate() ? normal : smooth;
}

/// Moves vertices to the mean of their feet in the planes of their triangles.
void SurfaceSmoother::follow(const std::vector<Vector3>& vNormal, std::vector<Vector3>& vTo) const {
    forChunks_MT(
        vTo.size(),
        [&](std::size_t begin, std::size_t end) {
            for (std::size_t v = begin; v < end; ++v) {
                const Vector3 place = vTo[v] = surface.vPlace[v];
                if (vBegin[v] == vBegin[v + 1]) continue;
                Vector3 sum;
                double number = 0.0;
                surface.forFan(surface.vCorner[v], [&](Index c) {
                    sum += vNormal[c / 3] * (vNormal[c / 3] * (surface.centreOf(c / 3) - place));
                    number += 1.0;
                });
                vTo[v] += sum / number;
            }
        },
        MIN_PARALLEL_MOVES);
}

// ---- The guard ----------------------------------------------------------------------------------------------------------

/// Moves the vertices, except for those that have to wait. Where some wait since triangles would cross, others may be spoilt
/// by the moves around that are left, and where those wait, triangles may cross: until nothing is wrong.
void SurfaceSmoother::moveTo(std::vector<Vector3>& vTo) {
    std::vector<Index> vSpoilt = spoiltTriangles(vTo);
    do {
        waitWhereSpoilt(std::move(vSpoilt), vTo);
        vSpoilt = waitWhereCrossing(vTo);
    } while (!vSpoilt.empty());
    surface.vPlace.swap(vTo);
}

std::vector<SurfaceSmoother::Index> SurfaceSmoother::spoiltTriangles(const std::vector<Vector3>& vTo) const {
    std::vector<char> vSpoilt(surface.numTriangles(), 0);
    forChunks_MT(
        vSpoilt.size(),
        [&](std::size_t begin, std::size_t end) {
            for (std::size_t t = begin; t < end; ++t)
                vSpoilt[t] = spoils(static_cast<Index>(t), vTo) ? 1 : 0;
        },
        MIN_PARALLEL_MOVES);
    std::vector<Index> vTriangle;
    for (Index t = 0; t < vSpoilt.size(); ++t)
        if (vSpoilt[t] != 0) vTriangle.push_back(t);
    return vTriangle;
}

/// The corners of triangles that the move would spoil wait. When one does, it may be that triangles around it are spoilt by
/// the moves of others alone, so these are looked at again.
void SurfaceSmoother::waitWhereSpoilt(std::vector<Index> vOpen, std::vector<Vector3>& vTo) {
    workThrough(vOpen, [&](Index t) {
        if (!spoils(t, vTo)) return;
        for (Index c = 3 * t; c < 3 * t + 3; ++c) {
            const Index v = surface.vVertex[c];
            if (!isMoved(v, vTo)) continue;
            vTo[v] = surface.vPlace[v];
            ++held;
            surface.forFan(c, [&](Index other) { vOpen.push_back(other / 3); });
        }
    });
}

/// Returns the triangles around those that wait, of which some may be spoilt now. When there are none, the places are taken.
std::vector<SurfaceSmoother::Index> SurfaceSmoother::waitWhereCrossing(std::vector<Vector3>& vTo) {
    std::vector<Index> vAround;
    if (!freePlaces) return vAround;
    std::vector<Point3> vInMesh = freePlaces->places();
    for (Index v = 0; v < vTo.size(); ++v)
        if (isMoved(v, vTo)) vInMesh[v] = surface.toMesh(vTo[v]);
    for (const Index v : freePlaces->putBack(vInMesh)) {
        vTo[v] = surface.vPlace[v];
        ++held;
        surface.forFan(surface.vCorner[v], [&](Index c) { vAround.push_back(c / 3); });
    }
    if (vAround.empty()) freePlaces->accept(std::move(vInMesh));
    return vAround;
}

bool SurfaceSmoother::isMoved(Index v, const std::vector<Vector3>& vTo) const {
    const Vector3 &to = vTo[v], &from = surface.vPlace[v];
    return to.x() != from.x() || to.y() != from.y() || to.z() != from.z();
}

bool SurfaceSmoother::spoils(Index t, const std::vector<Vector3>& vTo) const {
    const auto place = [&](Index corner) {  // as it will be in the mesh: pieces may shrink to next to nothing
        return surface.toOwn(surface.toMesh(vTo[surface.vVertex[corner]]));
    };
    const Vector3 p = place(3 * t), q = place(3 * t + 1), r = place(3 * t + 2);
    return !(surface.normalOf(t) * crossProduct(q - p, r - p) > 0.0) || isFlat(q - p, r - p);
}

}  // namespace TARN_KEL
