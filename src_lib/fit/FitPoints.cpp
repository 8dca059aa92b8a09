// Which points take part. Where many lie in one small cell they are averaged: more wouldn't say more of the surface, and
// each costs time for each neighbour.
#include "FitPoints.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "Forest.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const std::size_t NUM_SAMPLES = 20000;
const std::size_t NUM_NEAR = 6;
const std::size_t DENSE = 4;  // points of a cell; more are averaged
const std::size_t MIN_PARALLEL_POINTS = 2000;

/// The mean distance to the six nearest; 0.0 when these are too far away.
double meanDistance(const PointGrid& grid, const Vector3& place, double guess) {
    std::vector<double> vSquare;
    for (double radius = 1.5 * guess; radius < 10.0 * guess && vSquare.size() <= NUM_NEAR; radius *= 1.5) {
        vSquare.clear();
        grid.visitWithin(place, radius, [&](FitIndex, double sqDistance) { vSquare.push_back(sqDistance); });
    }
    if (vSquare.size() <= NUM_NEAR) return 0.0;
    const auto itEnd = vSquare.begin() + NUM_NEAR + 1;
    std::partial_sort(vSquare.begin(), itEnd, vSquare.end());
    double sum = 0.0;
    for (auto it = vSquare.begin() + 1; it != itEnd; ++it)
        sum += std::sqrt(*it);
    return sum / static_cast<double>(NUM_NEAR);
}

std::vector<FitIndex> piecesOf(const FitMesh& mesh) {
    Forest pieces(mesh.numVertices());
    for (const FitTriangle& c : mesh.triangles()) {
        pieces.join(c[0], c[1]);
        pieces.join(c[1], c[2]);
    }
    std::vector<FitIndex> vRoot(mesh.numVertices());
    for (FitIndex v = 0; v < vRoot.size(); ++v)
        vRoot[v] = pieces.findRoot(v);
    return vRoot;
}

/// The vertex nearest to a place, of those within the reach; of several at that distance the first.
FitIndex nearestVertex(const PointGrid& grid, const Vector3& place, double reach) {
    for (const double radius : {0.3 * reach, 0.5 * reach, reach}) {  // most are near
        std::pair<double, FitIndex> nearest(radius * radius, NO_INDEX);
        grid.visitWithin(place, radius, [&](FitIndex vertex, double sqDistance) {
            nearest = std::min(nearest, std::pair(sqDistance, vertex));
        });
        if (nearest.second != NO_INDEX) return nearest.second;
    }
    return NO_INDEX;
}

}  // namespace

double spacingOfPoints(const std::vector<Vector3>& vPlace, double guess) {
    const PointGrid grid(vPlace, guess);
    const std::vector<FitIndex> vOrder = grid.order();
    const std::size_t step = std::max<std::size_t>(1, vPlace.size() / NUM_SAMPLES);
    std::vector<FitIndex> vSample;
    for (std::size_t i = 0; i < vOrder.size(); i += step)
        vSample.push_back(vOrder[i]);
    std::vector<double> vMean;
    transform_MT(vSample, vMean, [&](FitIndex i) { return meanDistance(grid, vPlace[i], guess); });
    std::erase(vMean, 0.0);
    return medianOf(vMean);
}

void thinDensePoints(std::vector<Vector3>& vPlace, double cellEdge) {
    using Cell = std::array<std::int64_t, 3>;
    using CellPoint = std::pair<Cell, FitIndex>;
    const auto stepsTo = [cellEdge](double x) { return static_cast<std::int64_t>(std::floor(x / cellEdge)); };
    std::vector<CellPoint> vSorted(vPlace.size());
    const auto enterPoints = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const Vector3& p = vPlace[i];
            vSorted[i] = {{stepsTo(p.x()), stepsTo(p.y()), stepsTo(p.z())}, static_cast<FitIndex>(i)};
        }
    };
    forChunks_MT(vPlace.size(), enterPoints, MIN_PARALLEL_POINTS);
    const int numThreads = numProcessors();
    for (const std::size_t axis : {2U, 1U, 0U})  // stable: the last one counts most
        radixSortOnThreads(
            vSorted.data(), vSorted.size(), [axis](const CellPoint& entry) { return radixCode(entry.first[axis]); },
            numThreads);
    std::vector<Vector3> vThinned;
    vThinned.reserve(vPlace.size());
    const auto keyOf = [](const auto& entry) { return entry.first; };
    forEachRun(vSorted.cbegin(), vSorted.cend(), keyOf, [&](auto first, auto end) {
        if (static_cast<std::size_t>(end - first) <= DENSE) {
            for (auto it = first; it != end; ++it)
                vThinned.push_back(vPlace[it->second]);
            return;
        }
        Vector3 sum;
        for (auto it = first; it != end; ++it)
            sum += vPlace[it->second];
        vThinned.push_back(sum / static_cast<double>(end - first));
    });
    vPlace = std::move(vThinned);
}

VertexSides sidesOf(const FitMesh& mesh) {
    return {mesh.smoothNormals(), piecesOf(mesh)};
}

FitPoints selectPoints(std::vector<Vector3> vPlace, const FitMesh& mesh, const VertexSides& sides, double reach,
                       double cellEdge) {
    std::vector<unsigned char> vUsed(mesh.numVertices());
    for (FitIndex v = 0; v < vUsed.size(); ++v)
        vUsed[v] = !sides.vNormal[v].isDegenerate();
    const PointGrid vertexGrid(mesh.places(), 0.5 * reach, vUsed);
    const std::vector<FitIndex> vOrder = PointGrid(vPlace, cellEdge).order();
    std::vector<FitIndex> vNearest;
    transform_MT(vOrder, vNearest, [&](FitIndex i) { return nearestVertex(vertexGrid, vPlace[i], reach); });

    const auto num = vNearest.size() - static_cast<std::size_t>(std::count(vNearest.begin(), vNearest.end(), NO_INDEX));
    FitPoints points;
    points.vPlace.reserve(num);
    points.vSide.reserve(num);
    points.vPiece.reserve(num);
    points.vNearest.reserve(num);
    for (std::size_t i = 0; i < vOrder.size(); ++i) {
        if (vNearest[i] == NO_INDEX) continue;
        points.vPlace.push_back(vPlace[vOrder[i]]);
        points.vSide.push_back(sides.vNormal[vNearest[i]]);
        points.vPiece.push_back(sides.vPiece[vNearest[i]]);
        points.vNearest.push_back(vNearest[i]);
    }
    return points;
}

}  // namespace TARN_KEL
