// How near the default road comes to surfaces that are known, in spacings of the points (the root of the area that each
// stands for), over clouds turned at random:
//
//     fit_quality [NUMBER_OF_POINTS [NUMBER_OF_ROTATIONS]]
//
// mean: of the distances both ways. far: the largest one, its median and its largest over the rotations; back: the same from
// the surface to the mesh. folds: edges that bend by more than 135 degrees. angle: the first percentile of the smallest
// angles. cross: pairs of triangles that cross. fit, all: seconds.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "RMesh.h"
#include "SyntheticScan.h"
#include "TriangleTree.h"
#include "geometryFunctions.h"
#include "kel.h"
#include "unit.h"

namespace {

using TARN_KEL::Point3;
using TARN_KEL::Vector3;

// ---- Surfaces

double distanceToBox(const Vector3& v, const Vector3& size) {
    const auto over = [](double x, double length) { return std::fabs(x - 0.5 * length) - 0.5 * length; };
    const double x = over(v.x(), size.x()), y = over(v.y(), size.y()), z = over(v.z(), size.z());
    const double inside = std::max({x, y, z});
    return inside <= 0.0 ? -inside : std::hypot(std::max(x, 0.0), std::max(y, 0.0), std::max(z, 0.0));
}

using Distance = double (*)(const Vector3&);
const std::map<std::string, Distance> DISTANCES = {
    {"sphere", [](const Vector3& v) { return std::fabs(v.length() - 1.0); }},
    {"torus", [](const Vector3& v) { return std::fabs(std::hypot(std::hypot(v.x(), v.y()) - 1.0, v.z()) - 0.4); }},
    {"block",
     [](const Vector3& v) {
         return distanceToBox(v, {2.0, 1.0, 0.5});
     }},
    {"cube",
     [](const Vector3& v) {
         return distanceToBox(v, {1.0, 1.0, 1.0});
     }},
    {"plane",
     [](const Vector3& v) {
         return distanceToBox(v, {1.0, 1.0, 0.0});
     }},
};

struct Surface {
    std::string shape;
    double noise = 0.0;
    double outlierShare = 0.0;
    std::string pattern = "even";
};

// ---- Turns

/// A turn around the origin, by its rows.
struct Turn {
    std::array<Vector3, 3> rows;

    Vector3 apply(const Vector3& v) const { return {rows[0] * v, rows[1] * v, rows[2] * v}; }
    Vector3 undo(const Vector3& v) const { return rows[0] * v.x() + rows[1] * v.y() + rows[2] * v.z(); }
};

Turn turnBy(std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal;
    const auto any = [&] {
        const double x = normal(random), y = normal(random), z = normal(random);
        return Vector3(x, y, z);
    };
    const Vector3 first = normalize(any()), second = normalize(crossProduct(first, any()));
    return {{first, second, crossProduct(first, second)}};
}

// ---- Figures

struct Figures {
    double mean = 0.0, back = 0.0, farthest = 0.0, farthestBack = 0.0;  // in spacings
    double angle = 0.0;                                                 // degrees
    std::size_t numFolds = 0, numBorder = 0, numCrossings = 0;
    double fitSeconds = 0.0, seconds = 0.0;
};

double smallestAngle(const TARN_KEL::TrianglePlaces& t) {
    double least = 180.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const Vector3 a = t[(i + 1) % 3] - t[i], b = t[(i + 2) % 3] - t[i];
        least = std::min(least, std::atan2(crossProduct(a, b).length(), a * b) * 180.0 / std::acos(-1.0));
    }
    return least;
}

void measureShape(const std::vector<TARN_KEL::TrianglePlaces>& vTriangle, const std::vector<int>& vIndex, Figures& figures) {
    std::vector<double> vAngle;
    std::map<std::pair<int, int>, Vector3> mNormal;  // of the triangle at one side of an edge
    for (std::size_t t = 0; t < vTriangle.size(); ++t) {
        vAngle.push_back(smallestAngle(vTriangle[t]));
        const auto& places = vTriangle[t];
        const Vector3 normal = normalize(crossProduct(places[1] - places[0], places[2] - places[0]));
        for (std::size_t k = 0; k < 3; ++k) {
            const auto edge = std::minmax(vIndex[3 * t + k], vIndex[3 * t + (k + 1) % 3]);
            const auto [it, bNew] = mNormal.emplace(edge, normal);
            if (bNew) continue;
            if (it->second * normal < -std::sqrt(0.5)) ++figures.numFolds;
            mNormal.erase(it);
        }
    }
    figures.numBorder = mNormal.size();
    const auto itAngle = vAngle.begin() + static_cast<std::ptrdiff_t>(vAngle.size() / 100);
    std::nth_element(vAngle.begin(), itAngle, vAngle.end());
    figures.angle = *itAngle;
}

/// Each triangle counts by its area: the mean is over the centroids of STEPS * STEPS equal parts of it. The corners of the
/// parts count for the farthest place alone, since in a mean the rims of the triangles would weigh too much.
void measureDistances(const std::vector<TARN_KEL::TrianglePlaces>& vTriangle, const std::vector<Vector3>& vTruth,
                      Distance distance, Figures& figures) {
    constexpr int STEPS = 4;
    double sum = 0.0, areas = 0.0;
    for (const auto& t : vTriangle) {
        const Vector3 a = t[1] - t[0], b = t[2] - t[0];
        const auto offAt = [&](double i, double j) {
            const double off = distance(t[0] + a * (i / STEPS) + b * (j / STEPS));
            figures.farthest = std::max(figures.farthest, off);
            return off;
        };
        for (int i = 0; i <= STEPS; ++i)
            for (int j = 0; i + j <= STEPS; ++j)
                offAt(i, j);
        double ofParts = 0.0;
        for (int i = 0; i < STEPS; ++i)
            for (int j = 0; i + j < STEPS; ++j) {
                ofParts += offAt(i + 1.0 / 3.0, j + 1.0 / 3.0);
                if (i + j + 1 < STEPS) ofParts += offAt(i + 2.0 / 3.0, j + 2.0 / 3.0);
            }
        const double area = crossProduct(a, b).length();
        sum += area * ofParts / (STEPS * STEPS);
        areas += area;
    }
    figures.mean = sum / areas;
    const TARN_KEL::TriangleTree tree(vTriangle);
    for (const Vector3& place : vTruth) {
        const double off = std::sqrt(tree.nearest(place).sqDistance);
        figures.back += off / static_cast<double>(vTruth.size());
        figures.farthestBack = std::max(figures.farthestBack, off);
    }
}

/// Points on the surface without noise, and its corners, which no random point meets.
std::vector<Vector3> truthOf(const std::string& shape, std::size_t numPoints) {
    std::vector<Point3> vPoint;
    makeScan({.shape = shape, .numPoints = numPoints, .seed = 12345}, vPoint);
    std::vector<Vector3> vTruth;
    for (const Point3& p : vPoint)
        vTruth.push_back(p - Point3());
    const Distance distance = DISTANCES.at(shape);
    for (const double x : {0.0, 1.0, 2.0})
        for (const double y : {0.0, 1.0})
            for (const double z : {0.0, 0.5, 1.0})
                if (shape != "sphere" && shape != "torus" && distance({x, y, z}) < 1e-12) vTruth.push_back({x, y, z});
    return vTruth;
}

Figures measure(const Surface& surface, std::size_t numPoints, std::uint64_t seed, const std::vector<Vector3>& vTruth) {
    std::vector<Point3> vPoint;
    ScanRequest request;
    request.shape = surface.shape;
    request.numPoints = numPoints;
    request.noise = surface.noise;
    request.seed = seed;
    request.pattern = surface.pattern;
    request.outlierShare = surface.outlierShare;
    request.outlierKind = "dust";
    const double spacing = makeScan(request, vPoint).spacing;
    const Turn turn = turnBy(seed);
    for (Point3& p : vPoint)
        p = Point3() + turn.apply(p - Point3());

    Figures figures;
    TARN_KEL::ReconstructOptions options;
    TARN_KEL::ReconstructReport report;
    const double begin = seconds();
    const TARN_KEL::MeshPtr pMesh = TARN_KEL::reconstruct(vPoint, options, &report);
    figures.seconds = seconds() - begin;
    for (const auto& step : report.vSteps)
        if (step.name == "fit" || step.name == "noise") figures.fitSeconds += step.seconds;
    std::vector<Point3*> vVertex;
    std::vector<int> vIndex;
    pMesh->getRMesh()->getVertexIndexData(vVertex, vIndex);
    std::vector<TARN_KEL::TrianglePlaces> vTriangle(vIndex.size() / 3);
    for (std::size_t i = 0; i < vIndex.size(); ++i)
        vTriangle[i / 3][i % 3] = turn.undo(*vVertex[static_cast<std::size_t>(vIndex[i])] - Point3());
    measureShape(vTriangle, vIndex, figures);
    measureDistances(vTriangle, vTruth, DISTANCES.at(surface.shape), figures);
    for (double* pLength : {&figures.mean, &figures.back, &figures.farthest, &figures.farthestBack})
        *pLength /= spacing;
    figures.numCrossings = countSelfIntersections(pMesh);
    return figures;
}

// ---- The table

template <typename Value>
Value middle(std::vector<Figures>& vFigures, Value Figures::*member) {
    const auto it = vFigures.begin() + static_cast<std::ptrdiff_t>(vFigures.size() / 2);
    std::nth_element(vFigures.begin(), it, vFigures.end(),
                     [&](const Figures& a, const Figures& b) { return a.*member < b.*member; });
    return (*it).*member;
}
template <typename Value>
Value largest(const std::vector<Figures>& vFigures, Value Figures::*member) {
    Value value{};
    for (const Figures& figures : vFigures)
        value = std::max(value, figures.*member);
    return value;
}

void printRow(const Surface& surface, std::vector<Figures>& v) {
    std::printf("%-8s%-8s%5.2f%5.2f | %.4f %.4f | %.3f %.3f | %.3f %.3f | %5zu %5zu %5zu %5.1f | %.2f %.2f\n",
                surface.shape.c_str(), surface.pattern.c_str(), surface.noise, surface.outlierShare,
                middle(v, &Figures::mean), middle(v, &Figures::back), middle(v, &Figures::farthest),
                largest(v, &Figures::farthest), middle(v, &Figures::farthestBack), largest(v, &Figures::farthestBack),
                largest(v, &Figures::numBorder), largest(v, &Figures::numFolds), largest(v, &Figures::numCrossings),
                middle(v, &Figures::angle), middle(v, &Figures::fitSeconds), middle(v, &Figures::seconds));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t numPoints = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100000;
    const std::uint64_t numTurns = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 10;
    TARN_KEL::setMessageSink([](TARN_KEL::MessageKind, std::string_view) {});
    std::puts(
        "shape   pattern noise outl | mean   back   | far         | back        | border folds cross angle | fit  all");
    for (const Surface& surface :
         {Surface{"sphere"}, Surface{"block"}, Surface{"cube"}, Surface{"plane"}, Surface{"block", 0.173},
          Surface{"torus", 0.173}, Surface{"torus", 0.173, 0.05}, Surface{"torus", 0.577}, Surface{"plane", 0.173},
          Surface{"sphere", 0.0, 0.0, "varying"}, Surface{"sphere", 0.0, 0.0, "lines"}}) {
        const std::vector<Vector3> vTruth = truthOf(surface.shape, 4 * numPoints);
        std::vector<Figures> vFigures;
        for (std::uint64_t seed = 1; seed <= numTurns; ++seed)
            vFigures.push_back(measure(surface, numPoints, seed, vTruth));
        printRow(surface, vFigures);
    }
}
