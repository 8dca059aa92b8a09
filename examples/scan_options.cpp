// scan_options: a scan with all that scanners do, made into a mesh by one call; what its options say, and what the report
// tells.
#include <kel.h>

#include <cmath>
#include <iostream>
#include <random>

using namespace TARN_KEL;

namespace {

/// A unit sphere that is scanned sixteen times as densely on one side as on the other, points that lie anywhere around it,
/// and one that is far away.
std::vector<Point3> scan() {
    std::mt19937 random(7);
    const auto uniform = [&](double low, double high) {
        return low + (high - low) * static_cast<double>(random()) / 4294967296.0;
    };
    std::vector<Point3> vPoints;
    while (vPoints.size() < 40000) {
        const double z = uniform(-1.0, 1.0), angle = uniform(0.0, 6.28318530717958648), r = std::sqrt(1.0 - z * z);
        if (uniform(0.0, 1.0) < std::pow(16.0, 0.5 * (z - 1.0)))
            vPoints.emplace_back(r * std::cos(angle), r * std::sin(angle), z);
    }
    for (int i = 0; i < 50; ++i)
        vPoints.emplace_back(uniform(-2.0, 2.0), uniform(-2.0, 2.0), uniform(-2.0, 2.0));
    vPoints.emplace_back(1e7, 0.0, 0.0);
    return vPoints;
}

}  // namespace

int main() {
    ReconstructOptions options;
    options.factor = 1.1;         // cells a little wider than the points are apart; larger ones make a coarser mesh
    options.minPieceArea = 50.0;  // squares of a cell; what is smaller is no part of the object
    options.maxHoleEdges = 20;    // closes further holes; without it, pinholes only
    options.bEven = true;         // the default: adds points where the scan is sparse; false leaves those places open
    options.bOutliers = true;     // the default: leaves out points that belong to no surface
    options.bDenoise = false;     // this scan is clean; of a very noisy one the surface would be made again
    options.origin = Point3();    // cells begin here, so that scans of neighbouring places share them
    options.numThreads = 2;       // no result depends on it

    ReconstructReport report;
    const MeshPtr pMesh = reconstruct(scan(), options, &report);
    if (!pMesh) return 1;

    std::cout << report.numPoints << " points, " << report.numFarOutliers << " far away, " << report.numStrays << " astray, "
              << report.numAdded << " added\n"
              << report.numCells << " cells, " << report.numPiecesDropped << " small pieces dropped, "
              << report.numHolesClosed << " holes closed\n"
              << "border edges: " << report.after.numBorderEdges << ", manifold: " << report.after.isManifold() << "\n";
    for (const auto& [name, seconds] : report.vSteps)
        std::cout << "  " << name << ": " << seconds << " s\n";
    return report.after.isManifold() && report.after.numBorderEdges == 0 ? 0 : 1;
}
