// Borders go out to the last points. The rim cells end up to a cell before them, and where the sheet of cells is thinned
// its outermost row may go as well.
#include <algorithm>
#include <cmath>

#include "MeshFitter.h"
#include "fitLimits.h"
#include "geometryFunctions.h"

namespace TARN_KEL {

namespace {

const int NUM_BORDER_ROUNDS = 2;
const double HALF_WIDTH = 1.0;     // spacings along the border; beyond, points say nothing of the surface at a vertex
const double MAX_OFF_SHEET = 0.7;  // spacings off the sheet
const double MAX_OUTWARD = 1.2;    // cells
const double MIN_OUTWARD = 0.05;   // spacings

}  // namespace

void MeshFitter::reachLastPoints() {
    for (int round = 0; round < NUM_BORDER_ROUNDS; ++round)
        for (FitIndex v = 0; v < fitMesh.numVertices(); ++v) {
            FitIndex next = NO_INDEX, previous = NO_INDEX;
            if (!state.isFree(v) || !findBorderNeighbours(v, next, previous)) continue;
            const Vector3 from = fitMesh.place(v);
            const Vector3 along = normalize(fitMesh.place(next) - fitMesh.place(previous));
            const Vector3 outward = normalize(crossProduct(along, state.sides.vNormal[v]));
            const double distance = std::min(distanceToLastPoint(v, along, outward), MAX_OUTWARD * state.cell);
            if (distance < MIN_OUTWARD) continue;
            if (guard.mayMove(v, from + outward * distance))
                state.moveVertex(v, from + outward * distance);
            else if (guard.mayMove(v, from + outward * (0.5 * distance)))
                state.moveVertex(v, from + outward * (0.5 * distance));
        }
}

/// The neighbours along the border; false where the vertex isn't on exactly one.
bool MeshFitter::findBorderNeighbours(FitIndex vertex, FitIndex& next, FitIndex& previous) const {
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

/// How far points lie beyond the border at a vertex. Only those to which it was among the nearest: a border may run along
/// another one, or over a sheet.
double MeshFitter::distanceToLastPoint(FitIndex vertex, const Vector3& along, const Vector3& outward) const {
    const Vector3& from = fitMesh.place(vertex);
    const SurfaceSide side = state.sides.of(vertex);
    double farthest = 0.0;
    state.grid.visitWithin(from, FIT_GRID_EDGE, [&](FitIndex j, double) {
        const Vector3 offset = state.points.vFitted[j] - from;
        if (!state.points.isSeenFrom(side, j) || std::fabs(offset * along) > HALF_WIDTH) return;
        if (std::fabs(0.5 * (offset * (side.normal + state.points.vNormal[j]))) > MAX_OFF_SHEET) return;
        const double distance = offset * outward;
        if (distance <= farthest) return;
        const FitIndex nearest = state.points.vNearest[j];
        if (nearest == vertex || fitMesh.isJoined(vertex, nearest)) farthest = distance;
    });
    return farthest;
}

}  // namespace TARN_KEL
