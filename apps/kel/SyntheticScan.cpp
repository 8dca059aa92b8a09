// Every shape is a list of pieces; a piece maps the unit square to a part of the surface so that equal areas stay equal and
// the part is about as long as it is wide: a map that stretches would leave gaps between rows of points. The square is
// filled by an additive sequence with two irrational steps: it covers evenly at every number of points, as a scanner does,
// without the regularity of a grid. The seed shifts the sequence. Pieces are tried in proportion to their area; where a
// patch is missing, tries that fall into it are made up for on all pieces alike, so that the density is the same everywhere.
#include "SyntheticScan.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <stdexcept>

using TARN_KEL::crossProduct;
using TARN_KEL::Point3;
using TARN_KEL::Vector3;

namespace {

const double PI = 3.14159265358979323846;

struct Sample {
    Point3 point;
    Vector3 normal;  // unit length
};

/// A part of a surface. Points of the square at which accepts is false belong to a missing patch.
struct Piece {
    double area;  // of the whole piece, missing patches included
    std::function<Sample(double u, double v)> at;
    std::function<bool(const Point3&)> accepts = [](const Point3&) { return true; };
};

struct Shape {
    std::vector<Piece> vPieces;
    ScanTruth truth;
};

/// Numbers in [0, 1) and normal deviates, the same with every standard library.
class Chance {
public:
    explicit Chance(std::uint64_t seed) : state(seed * 0x9e3779b97f4a7c15ULL + 0x1234567ULL) {
        if (state == 0) state = 1;  // it would stay there
    }
    double uniform() {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return static_cast<double>((state * 0x2545f4914f6cdd1dULL) >> 11) * 0x1p-53;
    }
    double normal() {
        const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform()));
        return radius * std::cos(2.0 * PI * uniform());
    }

private:
    std::uint64_t state;
};

Sample sphereAt(double z, double longitude) {
    const double r = std::sqrt(std::max(0.0, 1.0 - z * z));
    const Vector3 n(r * std::cos(longitude), r * std::sin(longitude), z);
    return {Point3() + n, n};
}

/// A square from the equator to a pole, a quarter of the way round it. Beyond the diagonal the lines towards the pole
/// converge.
Sample polarSquareAt(double quarter, double pole, double u, double v) {
    if (u + v < 1.0) return sphereAt(pole * 2.0 / 3.0 * (u + v), PI / 2.0 * quarter + PI / 4.0 * (1.0 + v - u));
    const double toPole = 2.0 - u - v;
    const double share = toPole > 0.0 ? (1.0 - u) / toPole : 0.0;
    return sphereAt(pole * (1.0 - toPole * toPole / 3.0), PI / 2.0 * (quarter + share));
}

/// A square that stands on a corner across the equator, between two polar ones.
Sample equatorSquareAt(double quarter, double u, double v) {
    return sphereAt(2.0 / 3.0 * (u + v - 1.0), PI / 2.0 * quarter + PI / 4.0 * (v - u));
}

/// Twelve squares of the unit sphere: four round each pole, four along the equator.
std::vector<Piece> sphere(const std::function<bool(const Point3&)>& accepts) {
    std::vector<Piece> vPieces;
    for (const double quarter : {0.0, 1.0, 2.0, 3.0}) {
        for (const double pole : {1.0, -1.0})
            vPieces.push_back({PI / 3.0, [=](double u, double v) { return polarSquareAt(quarter, pole, u, v); }, accepts});
        vPieces.push_back({PI / 3.0, [=](double u, double v) { return equatorSquareAt(quarter, u, v); }, accepts});
    }
    return vPieces;
}

/// The angle round the tube below which the share u of the torus's area lies: t + k sin t = 2 pi u with k = tube / ring.
double tubeAngle(double u, double k) {
    double t = 2.0 * PI * u;
    double change = 1.0;
    for (int i = 0; i < 60 && std::abs(change) > 1e-14; ++i) {  // Newton's steps double the digits, so a few do
        change = (t + k * std::sin(t) - 2.0 * PI * u) / (1.0 + k * std::cos(t));
        t -= change;
    }
    return t;
}

constexpr double RING = 1.0;
constexpr double TUBE = 0.4;

Sample torusAt(double u, double longitude) {
    const double t = tubeAngle(u, TUBE / RING);
    const Vector3 outward(std::cos(longitude), std::sin(longitude), 0.0);
    const Vector3 n = outward * std::cos(t) + Vector3(0.0, 0.0, std::sin(t));
    return {Point3() + outward * RING + n * TUBE, n};
}

/// Cut across the ring into sections as long as the tube is round.
std::vector<Piece> torus() {
    const int numSections = static_cast<int>(std::lround(RING / TUBE));
    std::vector<Piece> vPieces;
    for (int i = 0; i < numSections; ++i)
        vPieces.push_back({4.0 * PI * PI * RING * TUBE / numSections,
                           [=](double u, double v) { return torusAt(u, 2.0 * PI * (i + v) / numSections); }});
    return vPieces;
}

/// Cut into squares as far as the sides allow it.
void addRectangle(const Point3& corner, const Vector3& a, const Vector3& b, std::vector<Piece>& vPieces) {
    const auto parts = [](const Vector3& side, const Vector3& other) {
        return std::max(1, static_cast<int>(std::lround(side.length() / other.length())));
    };
    const int numA = parts(a, b);
    const int numB = parts(b, a);
    const Vector3 partA = a / numA;
    const Vector3 partB = b / numB;
    const Vector3 c = crossProduct(partA, partB);
    for (int i = 0; i < numA * numB; ++i) {
        const Point3 low = corner + partA * (i % numA) + partB * (i / numA);
        vPieces.push_back({c.length(), [=](double u, double v) {
                               return Sample{low + partA * u + partB * v, c / c.length()};
                           }});
    }
}

std::vector<Piece> rectangle(const Point3& corner, const Vector3& a, const Vector3& b) {
    std::vector<Piece> vPieces;
    addRectangle(corner, a, b, vPieces);
    return vPieces;
}

std::vector<Piece> box(double x, double y, double z) {
    const Point3 low(0.0, 0.0, 0.0);
    const Point3 high(x, y, z);
    const Vector3 ax(x, 0.0, 0.0);
    const Vector3 ay(0.0, y, 0.0);
    const Vector3 az(0.0, 0.0, z);
    std::vector<Piece> vPieces;
    addRectangle(low, ay, ax, vPieces);
    addRectangle(low, ax, az, vPieces);
    addRectangle(low, az, ay, vPieces);
    addRectangle(high, -ax, -ay, vPieces);
    addRectangle(high, -az, -ax, vPieces);
    addRectangle(high, -ay, -az, vPieces);
    return vPieces;
}

/// Two parallel unit squares, distance apart.
Shape doubleWall(double distance) {
    const Vector3 ax(1.0, 0.0, 0.0);
    const Vector3 ay(0.0, 1.0, 0.0);
    std::vector<Piece> vPieces;
    addRectangle(Point3(), ax, ay, vPieces);
    addRectangle(Point3(0.0, 0.0, distance), ax, ay, vPieces);
    return {vPieces, {2.0, 0.0, 2, 2, 2}};
}

/// A sphere of radius 1 without six round patches. Seen from its centre the radius of the first is 0.05 radians, that of
/// each further one 0.05 more.
Shape patchedSphere() {
    const std::vector<Vector3> vAxes = {{1.0, 0.0, 0.0},  {0.0, 1.0, 0.0},  {0.0, 0.0, 1.0},
                                        {-1.0, 0.0, 0.0}, {0.0, -1.0, 0.0}, {0.0, 0.0, -1.0}};
    std::vector<double> vCosines;
    double missing = 0.0;
    for (std::size_t i = 0; i < vAxes.size(); ++i) {
        vCosines.push_back(std::cos(0.05 * static_cast<double>(i + 1)));
        missing += 2.0 * PI * (1.0 - vCosines.back());
    }
    const auto accepts = [=](const Point3& p) {
        for (std::size_t i = 0; i < vAxes.size(); ++i)
            if ((p - Point3()) * vAxes[i] > vCosines[i]) return false;
        return true;
    };
    return {sphere(accepts), {4.0 * PI - missing, 0.0, 1, 6, -4}};
}

/// The surfaces by name. numPoints: of the scan to come.
struct NamedShape {
    const char* name;
    Shape (*make)(std::size_t numPoints);
};
const NamedShape SHAPES[] = {
    {"sphere",
     [](std::size_t) {
         return Shape{sphere([](const Point3&) { return true; }), {4.0 * PI, 0.0, 1, 0, 2}};
     }},
    {"torus",
     [](std::size_t) {
         return Shape{torus(), {4.0 * PI * PI * RING * TUBE, 0.0, 1, 0, 0}};
     }},
    {"plane",
     [](std::size_t) {
         return Shape{rectangle(Point3(), {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}), {1.0, 0.0, 1, 1, 1}};
     }},
    {"cube",
     [](std::size_t) {
         return Shape{box(1.0, 1.0, 1.0), {6.0, 0.0, 1, 0, 2}};
     }},
    {"block",
     [](std::size_t) {
         return Shape{box(2.0, 1.0, 0.5), {7.0, 0.0, 1, 0, 2}};
     }},
    {"wall",
     [](std::size_t numPoints) {
         const double spacing = std::sqrt(2.0 / static_cast<double>(numPoints));
         return doubleWall(4.0 * spacing);
     }},
    {"patches", [](std::size_t) { return patchedSphere(); }},
};

Shape makeShape(const std::string& name, std::size_t numPoints) {
    const auto it =
        std::find_if(std::begin(SHAPES), std::end(SHAPES), [&](const auto& shape) { return shape.name == name; });
    if (it == std::end(SHAPES)) throw std::invalid_argument("There is no shape '" + name + "'");
    return it->make(numPoints);
}

double fraction(double value) {
    return value - std::floor(value);
}

/// Where the sequence of a piece stands.
struct Sequence {
    double u;
    double v;
};

/// Goes on with a piece for numTries samples and appends those that it accepts.
void samplePiece(const Piece& piece, std::size_t numTries, double noise, Sequence& at, Chance& chance,
                 std::vector<Point3>& vPoints) {
    // Powers of the inverse of the real root of x^3 = x + 1: the two-dimensional companion of the golden ratio.
    const double stepU = 0.7548776662466927;
    const double stepV = 0.5698402909980532;
    for (; numTries > 0; --numTries) {
        at = {fraction(at.u + stepU), fraction(at.v + stepV)};
        const Sample sample = piece.at(at.u, at.v);
        if (!piece.accepts(sample.point)) continue;
        const double shift = noise > 0.0 ? noise * chance.normal() : 0.0;
        vPoints.push_back(sample.point + sample.normal * shift);
    }
}

}  // namespace

std::vector<std::string> scanShapes() {
    std::vector<std::string> vNames;
    for (const NamedShape& shape : SHAPES)
        vNames.emplace_back(shape.name);
    return vNames;
}

ScanTruth makeScan(const ScanRequest& request, std::vector<Point3>& vPoints) {
    Shape shape = makeShape(request.shape, request.numPoints);
    shape.truth.spacing = std::sqrt(shape.truth.area / static_cast<double>(request.numPoints));
    double wholeArea = 0.0;
    for (const Piece& piece : shape.vPieces)
        wholeArea += piece.area;

    Chance chance(request.seed);
    std::vector<Sequence> vSequence;
    const std::size_t numWanted = vPoints.size() + request.numPoints;
    vPoints.reserve(numWanted);
    while (vPoints.size() < numWanted) {
        const std::size_t numTries = numWanted - vPoints.size();
        std::size_t numTried = 0;
        double areaSoFar = 0.0;
        for (std::size_t i = 0; i < shape.vPieces.size(); ++i) {
            const Piece& piece = shape.vPieces[i];
            areaSoFar += piece.area;
            const bool bLast = i + 1 == shape.vPieces.size();
            const auto numUpToHere =
                bLast ? numTries : static_cast<std::size_t>(static_cast<double>(numTries) * (areaSoFar / wholeArea));
            if (vSequence.size() == i) vSequence.push_back({chance.uniform(), chance.uniform()});
            samplePiece(piece, numUpToHere - numTried, request.noise * shape.truth.spacing, vSequence[i], chance, vPoints);
            numTried = numUpToHere;
        }
    }
    return shape.truth;
}
