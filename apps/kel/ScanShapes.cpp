#include "ScanShapes.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

using TARN_KEL::crossProduct;
using TARN_KEL::Point3;
using TARN_KEL::Vector3;

namespace {

Sample sphereAt(double z, double longitude) {
    const double r = std::sqrt(std::max(0.0, 1.0 - z * z));
    const Vector3 n(r * std::cos(longitude), r * std::sin(longitude), z);
    return {Point3() + n, n};
}

/// A square from the equator to a pole, a quarter of the circumference wide. Its half beyond the diagonal narrows towards
/// the pole.
Sample polarSquareAt(double quarter, double pole, double u, double v) {
    if (u + v < 1.0) return sphereAt(pole * 2.0 / 3.0 * (u + v), PI / 2.0 * quarter + PI / 4.0 * (1.0 + v - u));
    const double toPole = 2.0 - u - v;
    const double share = toPole > 0.0 ? (1.0 - u) / toPole : 0.0;
    return sphereAt(pole * (1.0 - toPole * toPole / 3.0), PI / 2.0 * (quarter + share));
}

/// A square with its centre on the equator that stands on a corner, between two polar squares.
Sample equatorSquareAt(double quarter, double u, double v) {
    return sphereAt(2.0 / 3.0 * (u + v - 1.0), PI / 2.0 * quarter + PI / 4.0 * (v - u));
}

/// Divides the unit sphere into twelve squares: four around each pole, four along the equator.
std::vector<Piece> sphere(const std::function<bool(const Point3&)>& accepts) {
    std::vector<Piece> vPieces;
    for (const double quarter : {0.0, 1.0, 2.0, 3.0}) {
        for (const double pole : {1.0, -1.0})
            vPieces.push_back({PI / 3.0, [=](double u, double v) { return polarSquareAt(quarter, pole, u, v); }, accepts});
        vPieces.push_back({PI / 3.0, [=](double u, double v) { return equatorSquareAt(quarter, u, v); }, accepts});
    }
    return vPieces;
}

/// The angle around the tube below which the share u of the torus's area lies: t + k sin t = 2 pi u with k = tube / ring.
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
    vPieces.reserve(static_cast<std::size_t>(numSections));
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
        const int row = i / numA;
        const Point3 low = corner + partA * (i % numA) + partB * row;
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
    return {sphere(accepts), {4.0 * PI - missing, 0.0, 1, 6, -4}, true};
}

// The hall, in metres.
constexpr double HALL_X = 12.0;
constexpr double HALL_Y = 8.0;
constexpr double HALL_Z = 4.0;
const Point3 BALL_CENTRE(8.5, 5.0, 2.0);
constexpr double BALL_RADIUS = 0.8;

Shape hall() {
    std::vector<Piece> vPieces = box(HALL_X, HALL_Y, HALL_Z);
    const double area = 2.0 * (HALL_X * HALL_Y + HALL_Y * HALL_Z + HALL_Z * HALL_X);
    const double ballArea = 4.0 * PI * BALL_RADIUS * BALL_RADIUS;
    for (const Piece& unit : sphere([](const Point3&) { return true; }))
        vPieces.push_back({unit.area * BALL_RADIUS * BALL_RADIUS, [=](double u, double v) {
                               const Vector3 n = unit.at(u, v).normal;
                               return Sample{BALL_CENTRE + n * BALL_RADIUS, n};
                           }});
    return {vPieces, {area + ballArea, 0.0, 2, 0, 4}, false, true};
}

/// The surfaces by name. numPoints: of the scan to come.
struct NamedShape {
    const char* name;
    Shape (*make)(std::size_t numPoints);
};
const NamedShape SHAPES[] = {
    {"sphere",
     [](std::size_t) {
         return Shape{sphere([](const Point3&) { return true; }), {4.0 * PI, 0.0, 1, 0, 2}, true};
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
    {"hall", [](std::size_t) { return hall(); }},
};

/// How far along the ray the inner side of the room is, from origin inside of it.
double distanceToWall(const Point3& origin, const Vector3& direction, Vector3& normal) {
    const Vector3 position = origin - Point3();
    const Vector3 size(HALL_X, HALL_Y, HALL_Z);
    double nearest = HUGE_VAL;
    for (int axis = 0; axis < 3; ++axis) {
        const double speed = direction.getCartesian(axis);
        if (speed == 0.0) continue;
        const double t = ((speed > 0.0 ? size.getCartesian(axis) : 0.0) - position.getCartesian(axis)) / speed;
        if (t >= nearest) continue;
        nearest = t;
        const double inward = speed > 0.0 ? -1.0 : 1.0;
        normal = {axis == 0 ? inward : 0.0, axis == 1 ? inward : 0.0, axis == 2 ? inward : 0.0};
    }
    return nearest;
}

}  // namespace

double Shape::wholeArea() const {
    double area = 0.0;
    for (const Piece& piece : vPieces)
        area += piece.area;
    return area;
}

Shape makeShape(const std::string& name, std::size_t numPoints) {
    const auto* const it = std::ranges::find(SHAPES, name, &NamedShape::name);
    if (it == std::end(SHAPES)) throw std::invalid_argument("There is no shape '" + name + "'");
    return it->make(numPoints);
}

std::vector<std::string> scanShapes() {
    std::vector<std::string> vNames;
    for (const NamedShape& shape : SHAPES)
        vNames.emplace_back(shape.name);
    return vNames;
}

void cutWindows(const std::vector<Window>& vWindows, Shape& shape) {
    for (Piece& piece : shape.vPieces)
        piece.accepts = [accepts = piece.accepts, vWindows](const Point3& p) {
            return accepts(p) && std::none_of(vWindows.begin(), vWindows.end(), [&](const Window& window) {
                       return (p - window.centre).sqLength() < window.radius * window.radius;
                   });
        };
    for (const Window& window : vWindows)
        shape.truth.area -= PI * window.radius * window.radius;  // of a cap too: the radius is its chord
    shape.truth.numBorderLoops += static_cast<int>(vWindows.size());
    shape.truth.eulerCharacteristic -= static_cast<int>(vWindows.size());
}

Sample castIntoHall(const Point3& origin, const Vector3& direction) {
    Sample sample;
    double distance = distanceToWall(origin, direction, sample.normal);
    const Vector3 toBall = BALL_CENTRE - origin;
    const double along = toBall * direction;
    const double sqHalfChord = BALL_RADIUS * BALL_RADIUS - (toBall.sqLength() - along * along);
    if (along > 0.0 && sqHalfChord > 0.0) {
        distance = along - std::sqrt(sqHalfChord);
        sample.normal = (origin + direction * distance - BALL_CENTRE) / BALL_RADIUS;
    }
    sample.point = origin + direction * distance;
    return sample;
}
