// The spacing of the points is the unit of everything, but it is known only when the points near the mesh are. So these are
// selected and thinned in cells of the mesh first, and measured anew in their spacing.
#include "fitSurface.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "FitPoints.h"
#include "Progress.h"
#include "fitLimits.h"
#include "pointSheets.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double EDGE_IN_CELLS = 1.26;  // mean length of the edges of a reconstruction
// In cells:
const double REACH = 2.0;         // from a vertex to a point that takes part
const double DENSE_EDGE = 0.45;   // of the small cells in which dense points are averaged
const double MARGIN = 4.0;        // around the vertices
const double MIN_SPACING = 0.01;  // less is none: most points lie in few places
const double MAX_EXTENT = 1e9;    // beyond, doubles can't tell places on a surface apart

const double MAX_SPACINGS = 4e9;  // of the extent: those that a PointGrid tells apart

double meanEdgeOf(const std::vector<Point3>& vVertex, const std::vector<FitTriangle>& vTriangle) {
    double sum = 0.0;
    for (const FitTriangle& c : vTriangle)
        sum += (vVertex[c[1]] - vVertex[c[0]]).length() + (vVertex[c[2]] - vVertex[c[1]]).length() +
               (vVertex[c[0]] - vVertex[c[2]]).length();
    return sum / (3.0 * static_cast<double>(vTriangle.size()));
}

/// The low corner of the vertices, and in `extent` the longest side of their box.
Point3 lowCornerOf(const std::vector<Point3>& vVertex, double& extent) {
    Point3 low = vVertex.front(), high = low;
    for (const Point3& p : vVertex) {
        low = {std::min(low.x(), p.x()), std::min(low.y(), p.y()), std::min(low.z(), p.z())};
        high = {std::max(high.x(), p.x()), std::max(high.y(), p.y()), std::max(high.z(), p.z())};
    }
    extent = (high - low).getMaxAbsComponent();
    return low;
}

/// The points in the box of the mesh and its margin, each place once, by their coordinates: no sum may depend on the order
/// in which they came. A NaN is in no box.
std::vector<Vector3> pointsNear(std::span<const Point3> given, const LocalFrame& frame, double extent) {
    const double high = extent / frame.unit + 2.0 * MARGIN;
    const auto isIn = [&](double x) { return x >= 0.0 && x <= high; };
    std::vector<Vector3> vPlace;
    vPlace.reserve(given.size());
    for (const Point3& p : given) {
        const Vector3 place = frame.toLocal(p);
        if (isIn(place.x()) && isIn(place.y()) && isIn(place.z())) vPlace.push_back(place);
    }
    sortMT(vPlace.begin(), vPlace.end(), [](const Vector3& a, const Vector3& b) {
        return std::tuple(a.x(), a.y(), a.z()) < std::tuple(b.x(), b.y(), b.z());
    });
    const auto isSame = [](const Vector3& a, const Vector3& b) { return (a - b).isDegenerate(); };
    vPlace.erase(std::unique(vPlace.begin(), vPlace.end(), isSame), vPlace.end());
    return vPlace;
}

}  // namespace

SurfaceFit::SurfaceFit(const std::vector<Point3>& vVertex, const std::vector<FitTriangle>& vTriangle,
                       std::span<const Point3> given, double cellEdge, bool bNoise)
    : cell(cellEdge) {
    result.placed.vVertex = vVertex;
    result.placed.vTriangle = vTriangle;
    const ProgressStep progress("FT_points", 1);
    if (vTriangle.empty()) return;
    if (cell == 0.0) cell = meanEdgeOf(vVertex, vTriangle) / EDGE_IN_CELLS;
    double extent = 0.0;
    const Point3 low = lowCornerOf(vVertex, extent);
    if (!(cell > 0.0 && extent < MAX_EXTENT * cell)) return;
    // Cells first, since the spacing isn't known yet.
    const double margin = MARGIN * cell;
    frame = {low - Vector3(margin, margin, margin), cell};
    lookAt(given, extent, bNoise);
    progress.finish();
}

void SurfaceFit::lookAt(std::span<const Point3> given, double extent, bool bNoise) {
    std::vector<Vector3> vPlace = pointsNear(given, frame, extent);
    thinDensePoints(vPlace, DENSE_EDGE);
    const double spacing = spacingOfPoints(vPlace, 1.0);
    if (spacing < MIN_SPACING || extent / frame.unit > MAX_SPACINGS * spacing) return;
    for (Vector3& place : vPlace)
        place /= spacing;
    frame.unit *= spacing;

    std::vector<Vector3> vStart;
    vStart.reserve(result.placed.vVertex.size());
    for (const Point3& p : result.placed.vVertex)
        vStart.push_back(frame.toLocal(p));
    mesh = FitMesh(std::move(vStart), result.placed.vTriangle);
    sides = sidesOf(mesh);
    points = selectPoints(std::move(vPlace), mesh, sides, REACH / spacing, FIT_GRID_EDGE);
    findPointSheets(points, bNoise);
    result.numPoints = points.size();
    result.spacing = frame.unit;
    result.noise = points.noise * frame.unit;
    result.radius = points.radius * frame.unit;
}

std::vector<Point3> SurfaceFit::pointsWithoutNoise() const {
    std::vector<Point3> vPoint;
    vPoint.reserve(points.size());
    for (const Vector3& place : points.vFitted)
        vPoint.push_back(frame.fromLocal(place));
    return vPoint;
}

/// The mesh in the unit of the caller. vStart: where its vertices were.
PlacedTriangles SurfaceFit::placed(const std::vector<Vector3>& vStart) const {
    PlacedTriangles now{result.placed.vVertex, mesh.triangles()};
    now.vVertex.resize(mesh.numVertices());
    for (FitIndex v = 0; v < mesh.numVertices(); ++v)
        if (v >= vStart.size() || !(mesh.place(v) - vStart[v]).isDegenerate())  // what stays keeps its last bits
            now.vVertex[v] = frame.fromLocal(mesh.place(v));
    return now;
}

FittedSurface SurfaceFit::fit(bool bNoCrossings) {
    if (result.spacing == 0.0) return std::move(result);
    const std::vector<Vector3> vStart = mesh.places();
    MeshFitter fitter(mesh, points, sides, cell / frame.unit);
    result.counts = fitter.fit();
    PlacedTriangles fitted = placed(vStart);
    std::vector<CrossingPair> vPair;
    countCrossings(fitted.vVertex, fitted.vTriangle, &vPair);
    if (!vPair.empty()) {
        result.counts.numUntangled += fitter.untangle(std::exchange(vPair, {}));
        fitted = placed(vStart);
        if (bNoCrossings) countCrossings(fitted.vVertex, fitted.vTriangle, &vPair);
    }
    if (bNoCrossings) result.numCrossings = CrossingUndo(result.placed, fitter.history()).run(fitted, std::move(vPair));
    result.counts.numSplits = fitted.vVertex.size() - result.placed.vVertex.size();
    result.placed = std::move(fitted);
    return std::move(result);
}

}  // namespace TARN_KEL
