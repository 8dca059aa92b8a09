// The rim cells of a reconstruction end up to a cell before the last points, and where the sheet of cells is thinned its
// outermost row may go as well.
#include "BorderFitter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "fitLimits.h"
#include "geometryFunctions.h"

namespace TARN_KEL {

namespace {

const int NUM_BORDER_ROUNDS = 2;
const double BORDER_RADIUS = 3.0;  // around a vertex, in which points beyond its border count
const double BORDER_SEARCH = 4.0;  // cells around a new place, in which the border may not run
const double HALF_WIDTH = 1.0;     // spacings along the border; beyond, points say nothing of the surface at a vertex
const double MAX_OFF_SHEET = 0.7;  // spacings off the sheet
const double MAX_OUTWARD = 1.2;    // cells
const double MIN_OUTWARD = 0.05;   // spacings
const double MIN_EDGE = 0.01;      // cells; where a border has shorter edges it stays: looking for overlaps would take long

}  // namespace

void BorderFitter::reachLastPoints() {
    for (int round = 0; round < NUM_BORDER_ROUNDS; ++round) {
        findBorder();
        for (const BorderVertex& at : vBorder) {
            if (!state.isFree(at.vertex)) continue;
            const Vector3 along = normalize(fitMesh.place(at.next) - fitMesh.place(at.previous));
            const Vector3 outward = normalize(crossProduct(along, state.sides.vNormal[at.vertex]));
            const double distance = std::min(distanceToLastPoint(at, along, outward), MAX_OUTWARD * state.cell);
            if (distance < MIN_OUTWARD) continue;
            for (const double part : {1.0, 0.5}) {
                const Vector3 to = fitMesh.place(at.vertex) + outward * (part * distance);
                if (!state.guard.mayMove(at.vertex, to) || overlaps(at, to, along, outward)) continue;
                state.moveVertex(at.vertex, to);
                break;
            }
        }
    }
}

/// Whether the move takes the border over another part of it, in the plane of along and outward.
bool BorderFitter::overlaps(const BorderVertex& at, const Vector3& to, const Vector3& along, const Vector3& outward) const {
    const Vector3 from = fitMesh.place(at.vertex), normal = crossProduct(along, outward);
    const auto inPlane = [&](const Vector3& place) { return std::pair((place - from) * along, (place - from) * outward); };
    const auto sideOf = [](const auto& a, const auto& b, const auto& p) {
        return (b.first - a.first) * (p.second - a.second) - (b.second - a.second) * (p.first - a.first);
    };
    const auto cross = [&](const Vector3& a, const Vector3& b, const Vector3& c, const Vector3& d) {
        const auto pa = inPlane(a), pb = inPlane(b), pc = inPlane(c), pd = inPlane(d);
        return sideOf(pa, pb, pc) * sideOf(pa, pb, pd) < 0.0 && sideOf(pc, pd, pa) * sideOf(pc, pd, pb) < 0.0;
    };
    bool bOver = false;
    grid.visitWithin(to, BORDER_SEARCH * state.cell, [&](FitIndex i, double) {
        const BorderVertex& other = vBorder[i];
        const Vector3 &a = fitMesh.place(other.vertex), &b = fitMesh.place(other.next);
        if (other.vertex == at.vertex || other.next == at.vertex || std::fabs((a - to) * normal) > MAX_OFF_SHEET) return;
        bOver = bOver || cross(from, to, a, b) ||
                (other.next != at.previous && cross(fitMesh.place(at.previous), to, a, b)) ||
                (other.vertex != at.next && cross(to, fitMesh.place(at.next), a, b));
    });
    return bOver;
}

void BorderFitter::findBorder() {
    vBorder.clear();
    std::vector<Vector3> vPlace;
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v) {
        BorderVertex at{v, NO_INDEX, NO_INDEX};
        if (!findBorderNeighbours(v, at.next, at.previous) ||
            (fitMesh.place(at.next) - fitMesh.place(v)).length() < MIN_EDGE * state.cell)
            continue;
        vBorder.push_back(at);
        vPlace.push_back(fitMesh.place(v));
    }
    grid = PointGrid(vPlace, BORDER_SEARCH * state.cell);
}

/// The neighbours along the border; false where the vertex isn't on exactly one.
bool BorderFitter::findBorderNeighbours(FitIndex vertex, FitIndex& next, FitIndex& previous) const {
    int numBorders = 0;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        const int k = fitMesh.cornerAt(t, vertex);
        const FitTriangle& c = fitMesh.corners(t);
        if (fitMesh.neighbour(t, k) == NO_INDEX) {
            next = c[static_cast<std::size_t>(nextCorner(k))];
            ++numBorders;
        }
        if (fitMesh.neighbour(t, previousCorner(k)) == NO_INDEX) {
            previous = c[static_cast<std::size_t>(previousCorner(k))];
            ++numBorders;
        }
    });
    return numBorders == 2 && next != NO_INDEX && previous != NO_INDEX;
}

/// How far points lie beyond the border at a vertex: those right beside it, or the line from one on either side to one on
/// the other. Only points to which it or a neighbour on the border was the nearest: a border may run along another one, or
/// over a sheet.
double BorderFitter::distanceToLastPoint(const BorderVertex& at, const Vector3& along, const Vector3& outward) const {
    struct Beyond {
        double along, outward;
    };
    const Vector3& from = fitMesh.place(at.vertex);
    const SurfaceSide side = state.sides.of(at.vertex);
    std::vector<Beyond> vBeyond;
    double farthest = 0.0;
    state.grid.visitWithin(from, BORDER_RADIUS, [&](FitIndex j, double) {
        const Vector3 offset = state.points.vFitted[j] - from;
        if (!state.points.isSeenFrom(side, j)) return;
        if (std::fabs(0.5 * (offset * (side.normal + state.points.vNormal[j]))) > MAX_OFF_SHEET) return;
        const FitIndex nearest = state.points.vNearest[j];
        const auto isAt = [&](FitIndex v) { return nearest == v || fitMesh.isJoined(v, nearest); };
        const Beyond beyond{offset * along, offset * outward};
        if (std::fabs(beyond.along) <= HALF_WIDTH && beyond.outward > farthest && isAt(at.vertex)) farthest = beyond.outward;
        if (isAt(at.vertex) || isAt(at.next) || isAt(at.previous)) vBeyond.push_back(beyond);
    });
    for (const Beyond& a : vBeyond)
        for (const Beyond& b : vBeyond)
            if (a.along < 0.0 && b.along > 0.0)
                farthest = std::max(farthest, (a.outward * b.along - b.outward * a.along) / (b.along - a.along));
    return farthest;
}

}  // namespace TARN_KEL
