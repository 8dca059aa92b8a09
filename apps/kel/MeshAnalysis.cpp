// All topology follows from one sorted list: the sides of all triangles, sorted so that sides on the same edge are adjacent.
// The rest are disjoint sets:
//
//   pieces      of triangles: those on an edge are joined
//   fans        of corners: at both ends of an edge, the corners of its triangles there are joined
//   loops       of border edges: those with ends in the same fan are joined. These are the loops that a mesh has once every
//               vertex is split into its fans
//   components  of vertices: those of a triangle are joined
//
// None of this depends on the orientation of triangles or on how many meet at an edge, so it works on any soup.
#include "MeshAnalysis.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <span>
#include <stdexcept>
#include <utility>

#include "../../src_lib/base/Forest.h"
#include "../../src_lib/fine/countCrossings.h"
#include "../../src_lib/geometry/PointTree.h"

using namespace TARN_KEL;

namespace {

using Index = std::uint32_t;
using Triangle = IndexedTriangles::Triangle;

constexpr Index NONE = std::numeric_limits<Index>::max();

/// Numbers places from 0 on, in the order of their first occurrence. Equal places get the same number.
class PlaceNumbers {
public:
    PlaceNumbers(std::size_t maxPlaces, std::vector<Point3>& places)
        : vSlot(std::bit_ceil(2 * maxPlaces + 1), NONE), vPlaces(places) {}

    Index numberOf(const Point3& p) {
        const std::size_t mask = vSlot.size() - 1;
        std::size_t slot = hash(p) & mask;
        while (vSlot[slot] != NONE && vPlaces[vSlot[slot]] != p)
            slot = (slot + 1) & mask;
        if (vSlot[slot] == NONE) {
            vSlot[slot] = static_cast<Index>(vPlaces.size());
            vPlaces.push_back(p);
        }
        return vSlot[slot];
    }

private:
    static std::size_t hash(const Point3& p) {
        std::uint64_t h = 0;
        for (const double value : {p.x(), p.y(), p.z()}) {
            h = (h ^ std::bit_cast<std::uint64_t>(value + 0.0)) * 0x9E3779B97F4A7C15;  // -0.0 is 0.0
            h ^= h >> 32;
        }
        return h;
    }

    std::vector<Index> vSlot;      // a hash table of numbers; NONE: free. At most half full
    std::vector<Point3>& vPlaces;  // by number
};

/// The side of a triangle that begins at a corner. Corner 3 t + k is the k-th of triangle t.
struct Side {
    std::uint64_t edge;  // the lower vertex in the upper 32 bits, the higher vertex in the lower ones
    Index corner;

    Index lowVertex() const { return static_cast<Index>(edge >> 32); }
    Index highVertex() const { return static_cast<Index>(edge); }
    Index triangle() const { return corner / 3; }
    Index endCorner() const { return corner % 3 == 2 ? corner - 2 : corner + 1; }
    Index oppositeCorner() const { return corner % 3 == 0 ? corner + 2 : corner - 1; }
    bool operator<(const Side& s) const { return edge != s.edge ? edge < s.edge : corner < s.corner; }
};
using Sides = std::span<const Side>;

bool hasEqualCorners(const Triangle& t) {
    return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
}

/// Works for all sizes: the squares of components may leave the range of doubles.
double lengthOf(const Vector3& v) {
    return std::hypot(v.x(), v.y(), v.z());
}

/// Scales by the longest side first, so the size of the mesh doesn't matter.
bool isFlat(const Point3& a, const Point3& b, const Point3& c) {
    constexpr double LEAST_HEIGHT = 1e-6;  // less is lost in single precision
    const double longest = std::max({lengthOf(b - a), lengthOf(c - b), lengthOf(a - c)});
    return !(crossProduct((b - a) / longest, (c - a) / longest).length() > LEAST_HEIGHT);
}

/// The topology of triangles that have three different corners.
class Topology {
public:
    Topology(const std::vector<Point3>& vertices, std::vector<Triangle> triangles)
        : vVertices(vertices), vTriangles(std::move(triangles)) {
        sortSides();
    }
    void measure(MeshFigures& figures) const {
        countDuplicates(figures);
        measureEdges(figures);
        countComponents(figures);
        measureFans(figures);
        measurePieces(figures);
    }

private:
    struct Piece {
        bool bClosed = true;
        bool bOriented = true;
        double volume = 0.0;
        double absVolume = 0.0;  // sum of the absolute values of its parts, to judge rounding errors
    };

    Index vertexOf(Index corner) const { return vTriangles[corner / 3][corner % 3]; }
    bool isForward(const Side& side) const { return vertexOf(side.corner) == side.lowVertex(); }
    Index lowCorner(const Side& side) const { return isForward(side) ? side.corner : side.endCorner(); }
    Index highCorner(const Side& side) const { return isForward(side) ? side.endCorner() : side.corner; }

    void sortSides();
    /// Calls visit(Sides) for each edge with all its sides.
    template <typename Visit>
    void forEachEdge(Visit&& visit) const;

    void countDuplicates(MeshFigures& figures) const;
    void measureEdges(MeshFigures& figures) const;
    void countComponents(MeshFigures& figures) const;
    void measureFans(MeshFigures& figures) const;
    std::size_t countLoops(Forest& fans) const;
    void measurePieces(MeshFigures& figures) const;
    void addVolumes(Forest& pieces, std::vector<Piece>& vPiece) const;

    const std::vector<Point3>& vVertices;  // the caller's; some may be unused
    const std::vector<Triangle> vTriangles;
    std::vector<Side> vSides;  // sorted, so that the sides of an edge are adjacent
};

/// A counting sort by lower vertex first; then only the few sides at each vertex are left to sort.
void Topology::sortSides() {
    const auto sideAt = [&](Index corner) {
        const auto [low, high] = std::minmax({vertexOf(corner), vertexOf(Side{0, corner}.endCorner())});
        return Side{static_cast<std::uint64_t>(low) << 32 | high, corner};
    };
    const auto numSides = static_cast<Index>(3 * vTriangles.size());
    std::vector<Index> vEnd(vVertices.size() + 1);  // first the begin of the sides at each vertex; once placed, their end
    for (Index corner = 0; corner < numSides; ++corner)
        ++vEnd[sideAt(corner).lowVertex() + 1];
    std::partial_sum(vEnd.begin(), vEnd.end(), vEnd.begin());
    vSides.resize(numSides);
    for (Index corner = 0; corner < numSides; ++corner) {
        const Side side = sideAt(corner);
        vSides[vEnd[side.lowVertex()]++] = side;
    }
    auto begin = vSides.begin();
    for (std::size_t vertex = 0; vertex < vVertices.size(); ++vertex) {
        const auto end = vSides.begin() + vEnd[vertex];
        std::sort(begin, end);
        begin = end;
    }
}

template <typename Visit>
void Topology::forEachEdge(Visit&& visit) const {
    for (auto it = vSides.begin(); it != vSides.end();) {
        const auto next = std::find_if(it, vSides.end(), [&](const Side& side) { return side.edge != it->edge; });
        visit(Sides(it, next));
        it = next;
    }
}

/// Each triangle is compared once, at the edge between its two lower vertices.
void Topology::countDuplicates(MeshFigures& figures) const {
    std::vector<Index> vHighest;
    forEachEdge([&](Sides sides) {
        if (sides.size() == 1) return;
        vHighest.clear();
        for (const Side& side : sides) {
            const Index vertex = vertexOf(side.oppositeCorner());
            if (vertex > side.highVertex()) vHighest.push_back(vertex);
        }
        std::sort(vHighest.begin(), vHighest.end());
        figures.numDuplicates += static_cast<std::size_t>(vHighest.end() - std::unique(vHighest.begin(), vHighest.end()));
    });
}

void Topology::measureEdges(MeshFigures& figures) const {
    double sum = 0.0;
    forEachEdge([&](Sides sides) {
        ++figures.vNumEdges[std::min(sides.size(), MeshFigures::NUM_DEGREES) - 1];
        const bool bConflict = sides.size() == 2 && isForward(sides[0]) == isForward(sides[1]);
        if (bConflict) ++figures.numOrientationConflicts;
        sum += lengthOf(vVertices[sides[0].highVertex()] - vVertices[sides[0].lowVertex()]);
    });
    const std::size_t numEdges = figures.numEdges();
    if (numEdges > 0) figures.averageEdgeLength = sum / static_cast<double>(numEdges);
}

void Topology::countComponents(MeshFigures& figures) const {
    Forest sets(vVertices.size());
    std::vector<bool> vUsed(vVertices.size());
    for (const Triangle& t : vTriangles) {
        sets.join(t[0], t[1]);
        sets.join(t[0], t[2]);
        vUsed[t[0]] = vUsed[t[1]] = vUsed[t[2]] = true;
    }
    const auto numUnused = static_cast<std::size_t>(std::count(vUsed.begin(), vUsed.end(), false));
    figures.numComponents = sets.numSets() - numUnused;
    figures.eulerCharacteristic = static_cast<long long>(vVertices.size() - numUnused + vTriangles.size()) -
                                  static_cast<long long>(figures.numEdges());
}

void Topology::measureFans(MeshFigures& figures) const {
    Forest fans(3 * vTriangles.size());
    forEachEdge([&](Sides sides) {
        for (const Side& side : sides.subspan(1)) {
            fans.join(lowCorner(sides[0]), lowCorner(side));
            fans.join(highCorner(sides[0]), highCorner(side));
        }
    });
    std::vector<Index> vNumFans(vVertices.size());
    for (Index corner = 0; corner < 3 * vTriangles.size(); ++corner)
        vNumFans[vertexOf(corner)] += fans.findRoot(corner) == corner ? 1 : 0;
    figures.numPinchedVertices =
        static_cast<std::size_t>(std::count_if(vNumFans.begin(), vNumFans.end(), [](Index count) { return count > 1; }));
    figures.numBorderLoops = countLoops(fans);
}

std::size_t Topology::countLoops(Forest& fans) const {
    std::vector<Side> vBorder;
    forEachEdge([&](Sides sides) {
        if (sides.size() == 1) vBorder.push_back(sides[0]);
    });
    Forest loops(vBorder.size());
    std::vector<Index> vBorderOfFan(3 * vTriangles.size(), NONE);  // by root of the fan: its first border edge
    for (Index i = 0; i < vBorder.size(); ++i) {
        for (const Index corner : {vBorder[i].corner, vBorder[i].endCorner()}) {
            Index& first = vBorderOfFan[fans.findRoot(corner)];
            if (first == NONE) first = i;
            loops.join(first, i);
        }
    }
    return loops.numSets();
}

void Topology::measurePieces(MeshFigures& figures) const {
    constexpr double ROUNDING = 1e-12;
    Forest pieces(vTriangles.size());
    forEachEdge([&](Sides sides) {
        for (const Side& side : sides)
            pieces.join(sides[0].triangle(), side.triangle());
    });
    figures.numPieces = pieces.numSets();

    std::vector<Piece> vPiece(vTriangles.size());  // by root of the piece
    forEachEdge([&](Sides sides) {
        Piece& piece = vPiece[pieces.findRoot(sides[0].triangle())];
        const auto numForward = std::count_if(sides.begin(), sides.end(), [&](const Side& s) { return isForward(s); });
        if (sides.size() % 2 != 0) piece.bClosed = false;
        if (2 * static_cast<std::size_t>(numForward) != sides.size()) piece.bOriented = false;
    });
    addVolumes(pieces, vPiece);
    for (Index t = 0; t < vTriangles.size(); ++t) {
        const Piece& piece = vPiece[t];
        if (pieces.findRoot(t) != t || !piece.bClosed) continue;
        const bool bVolume = piece.bOriented && std::abs(piece.volume) > ROUNDING * piece.absVolume;
        ++(!bVolume ? figures.numUnclear : piece.volume > 0.0 ? figures.numOutward : figures.numInward);
        if (bVolume) figures.volume += piece.volume;
    }
}

/// Sums up tetrahedra from a vertex of the piece to each triangle. Seen from a distant point, rounding would dominate.
void Topology::addVolumes(Forest& pieces, std::vector<Piece>& vPiece) const {
    for (Index t = 0; t < vTriangles.size(); ++t) {
        const Index root = pieces.findRoot(t);
        const Point3& origin = vVertices[vTriangles[root][0]];
        const auto arm = [&](std::size_t k) { return vVertices[vTriangles[t][k]] - origin; };
        const double volume = arm(0) * crossProduct(arm(1), arm(2)) / 6.0;
        vPiece[root].volume += volume;
        vPiece[root].absVolume += std::abs(volume);
    }
}

/// Adds the triangles whose corners are finite, and counts the others.
/// placeOf: the place of corner i; numberOf: the number of its vertex.
template <typename PlaceOf, typename NumberOf>
void addTriangles(std::size_t numCorners, const PlaceOf& placeOf, const NumberOf& numberOf, IndexedTriangles& mesh) {
    if (numCorners >= NONE) throw std::length_error("The mesh has too many triangles");
    mesh.vTriangles.reserve(numCorners / 3);
    for (std::size_t i = 0; i + 2 < numCorners; i += 3) {
        if (isFinitePoint(placeOf(i)) && isFinitePoint(placeOf(i + 1)) && isFinitePoint(placeOf(i + 2)))
            mesh.vTriangles.push_back({numberOf(i), numberOf(i + 1), numberOf(i + 2)});
        else
            ++mesh.numNotFinite;
    }
}

/// placeOf: the place of corner i. At most maxPlaces places differ.
template <typename PlaceOf>
IndexedTriangles unified(std::size_t numCorners, std::size_t maxPlaces, const PlaceOf& placeOf) {
    IndexedTriangles mesh;
    PlaceNumbers numbers(maxPlaces, mesh.vVertices);
    addTriangles(
        numCorners, placeOf, [&](std::size_t i) { return numbers.numberOf(placeOf(i)); }, mesh);
    return mesh;
}

double shareBelow(const std::vector<double>& vDistance, double limit) {
    const auto count = std::count_if(vDistance.begin(), vDistance.end(), [=](double d) { return d <= limit; });
    return static_cast<double>(count) / static_cast<double>(vDistance.size());
}

}  // namespace

IndexedTriangles unifiedCorners(const std::vector<Point3>& vCorners) {
    return unified(vCorners.size(), vCorners.size(), [&](std::size_t i) -> const Point3& { return vCorners[i]; });
}

IndexedTriangles unifiedVertices(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices) {
    return unified(vIndices.size(), vVertices.size(),
                   [&](std::size_t i) -> const Point3& { return vVertices[static_cast<std::size_t>(vIndices[i])]; });
}

IndexedTriangles numberedVertices(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices) {
    IndexedTriangles mesh;
    std::vector<Index> vNumber(vVertices.size(), NONE);
    const auto positionOf = [&](std::size_t i) { return static_cast<std::size_t>(vIndices[i]); };
    const auto numberOf = [&](std::size_t i) {
        Index& number = vNumber[positionOf(i)];
        if (number == NONE) {
            number = static_cast<Index>(mesh.vVertices.size());
            mesh.vVertices.push_back(vVertices[positionOf(i)]);
        }
        return number;
    };
    addTriangles(
        vIndices.size(), [&](std::size_t i) -> const Point3& { return vVertices[positionOf(i)]; }, numberOf, mesh);
    return mesh;
}

std::size_t numPlaces(const std::vector<Point3>& vPoints) {
    std::vector<Point3> vPlaces;
    PlaceNumbers numbers(vPoints.size(), vPlaces);
    for (const Point3& p : vPoints)
        numbers.numberOf(p);
    return vPlaces.size();
}

MeshFigures measureMesh(const IndexedTriangles& mesh) {
    MeshFigures figures;
    figures.numVertices = mesh.vVertices.size();
    figures.numTriangles = mesh.vTriangles.size();
    figures.numNotFinite = mesh.numNotFinite;
    std::vector<Triangle> vProper;
    vProper.reserve(mesh.vTriangles.size());
    for (const Triangle& t : mesh.vTriangles) {
        const bool bCollapsed = hasEqualCorners(t);
        if (!bCollapsed) vProper.push_back(t);
        if (bCollapsed || isFlat(mesh.vVertices[t[0]], mesh.vVertices[t[1]], mesh.vVertices[t[2]])) ++figures.numDegenerate;
    }
    Topology(mesh.vVertices, std::move(vProper)).measure(figures);
    figures.numSelfIntersections = countCrossings(mesh.vVertices, mesh.vTriangles);
    return figures;
}

CloudDistances measureDistances(const std::vector<Point3>& vVertices, const std::vector<Point3>& vCloud,
                                double averageEdgeLength, std::optional<double> within) {
    const PointTree tree(vCloud);
    std::vector<double> vDistance;
    vDistance.reserve(vVertices.size());
    for (const Point3& p : vVertices)
        vDistance.push_back(tree.distanceTo(p));

    CloudDistances distances;
    distances.max = *std::max_element(vDistance.begin(), vDistance.end());
    distances.mean = std::accumulate(vDistance.begin(), vDistance.end(), 0.0) / static_cast<double>(vDistance.size());
    distances.shareWithinAverageEdge = shareBelow(vDistance, averageEdgeLength);
    distances.within = within;
    if (within) distances.shareWithinAsked = shareBelow(vDistance, *within);
    const std::size_t rank =
        vDistance.size() - 1 - vDistance.size() / 100;  // a hundredth of the vertices, rounded down, lies above
    const auto quantile = vDistance.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(vDistance.begin(), quantile, vDistance.end());
    distances.quantile99 = *quantile;
    return distances;
}

std::size_t MeshFigures::numEdges() const {
    return std::accumulate(vNumEdges.begin(), vNumEdges.end(), std::size_t{0});
}

std::size_t MeshFigures::numNonManifoldEdges() const {
    return std::accumulate(vNumEdges.begin() + 2, vNumEdges.end(), std::size_t{0});
}

bool MeshFigures::isManifold() const {
    return numNonManifoldEdges() + numPinchedVertices + numDegenerate + numDuplicates == 0;
}

nlohmann::ordered_json MeshFigures::toJson() const {
    return {{"vertices", numVertices},
            {"triangles", numTriangles},
            {"notFiniteTriangles", numNotFinite},
            {"degenerateTriangles", numDegenerate},
            {"duplicateTriangles", numDuplicates},
            {"selfIntersections", numSelfIntersections},
            {"edges",
             {{"degree1", vNumEdges[0]},
              {"degree2", vNumEdges[1]},
              {"degree3", vNumEdges[2]},
              {"degree4", vNumEdges[3]},
              {"higher", vNumEdges[4]}}},
            {"averageEdgeLength", averageEdgeLength},
            {"orientationConflicts", numOrientationConflicts},
            {"components", numComponents},
            {"pieces", numPieces},
            {"eulerCharacteristic", eulerCharacteristic},
            {"borderLoops", numBorderLoops},
            {"pinchedVertices", numPinchedVertices},
            {"closedPieces", {{"outward", numOutward}, {"inward", numInward}, {"unclear", numUnclear}}},
            {"volume", volume},
            {"manifold", isManifold()},
            {"closed", isClosed()},
            {"oriented", isOriented()}};
}

nlohmann::ordered_json CloudDistances::toJson() const {
    nlohmann::ordered_json json = {
        {"max", max}, {"mean", mean}, {"quantile99", quantile99}, {"shareWithinAverageEdge", shareWithinAverageEdge}};
    if (within) {
        json["within"] = *within;
        json["shareWithin"] = *shareWithinAsked;
    }
    return json;
}
