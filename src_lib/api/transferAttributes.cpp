// From what the points carry to what the vertices of a mesh carry.
//
// Each point belongs to the nearest place with vertices, which a k-d tree finds. The points of a place, in their order, make
// its values: column by column their known values are gathered, and a mean of the column's kind is taken of them. A place
// without points borrows from the nearest one that has some; there are few of these, in closed holes and on added vertices.
// The way to it goes along edges, as the nearest one in space may be on the other side of a thin wall; only in a component
// where no place has points it goes through space.
//
// A mean is the first value plus the mean of the differences to it, and is kept between the least and the greatest one:
// equal values, of whatever type and size, stay what they are.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <queue>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "PointTree.h"
#include "attributeColumns.h"
#include "kel.h"
#include "listsByNumber.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::uint32_t NOWHERE = PointTree::NONE;
constexpr std::size_t MIN_PARALLEL = 2000;

// ---- Which points a vertex has ------------------------------------------------------------------------------------------

/// The places of vertices; several may be at one, and a tree with thousands of them there would be slow.
struct VertexPlaces {
    std::vector<Point3> vPlace;            ///< in the order of their first vertices; finite
    std::vector<std::uint32_t> vVertex;    ///< these
    std::vector<std::uint32_t> vOfVertex;  ///< NOWHERE for a vertex that isn't finite
};

VertexPlaces placesOf(const std::vector<Point3*>& vVertices) {
    std::vector<std::uint32_t> vSorted;
    vSorted.reserve(vVertices.size());
    for (std::size_t i = 0; i < vVertices.size(); ++i)
        if (isFinitePoint(*vVertices[i])) vSorted.push_back(static_cast<std::uint32_t>(i));
    sortMT(vSorted.begin(), vSorted.end(), [&](std::uint32_t a, std::uint32_t b) {
        return *vVertices[a] != *vVertices[b] ? *vVertices[a] < *vVertices[b] : a < b;
    });
    std::vector<std::uint32_t> vFirst(vVertices.size(), NOWHERE);  // the first vertex at the place of each
    for (std::size_t i = 0; i < vSorted.size(); ++i) {
        const bool bSame = i > 0 && *vVertices[vSorted[i]] == *vVertices[vSorted[i - 1]];
        vFirst[vSorted[i]] = bSame ? vFirst[vSorted[i - 1]] : vSorted[i];
    }
    VertexPlaces places;
    places.vOfVertex.assign(vVertices.size(), NOWHERE);
    for (std::size_t i = 0; i < vVertices.size(); ++i) {
        if (vFirst[i] == NOWHERE) continue;
        if (vFirst[i] == i) {
            places.vOfVertex[i] = static_cast<std::uint32_t>(places.vPlace.size());
            places.vPlace.push_back(*vVertices[i]);
            places.vVertex.push_back(static_cast<std::uint32_t>(i));
        } else {
            places.vOfVertex[i] = places.vOfVertex[vFirst[i]];
        }
    }
    return places;
}

/// Walks along the edges of a mesh from places with values to those without.
class PlaceWalk {
public:
    /// All must outlive this object.
    PlaceWalk(Mesh& theMesh, const VertexPlaces& thePlaces) : mesh(theMesh), places(thePlaces) {}

    /// vSource: for a place with values itself, for others NOWHERE; set to the place with values that is nearest by edges,
    /// of equally near ones the first, and left where there is none. Cost: O(n + k log k) for k edges of places without
    /// values.
    void fill(std::vector<std::uint32_t>& vSource) const {
        const ListsByNumber<std::uint32_t> steps = stepsInto(vSource);
        std::priority_queue<Stop, std::vector<Stop>, std::greater<>> queue;
        const auto goOn = [&](double way, std::uint32_t source, std::uint32_t place) {
            for (const std::uint32_t* pTo = steps.begin(place); pTo != steps.end(place); ++pTo)
                if (vSource[*pTo] == NOWHERE)
                    queue.emplace(way + (places.vPlace[*pTo] - places.vPlace[place]).length(), source, *pTo);
        };
        for (std::uint32_t place = 0; place < vSource.size(); ++place)
            if (vSource[place] != NOWHERE) goOn(0.0, place, place);
        while (!queue.empty()) {
            const auto [way, source, place] = queue.top();
            queue.pop();
            if (vSource[place] != NOWHERE) continue;
            vSource[place] = source;
            goOn(way, source, place);
        }
    }

private:
    /// The length of the way, where it began, and where it leads.
    using Stop = std::tuple<double, std::uint32_t, std::uint32_t>;

    /// Where edges lead from each place, as far as to places without values.
    ListsByNumber<std::uint32_t> stepsInto(const std::vector<std::uint32_t>& vSource) const {
        std::vector<Point3*> vVertices;
        std::vector<int> vIndices;
        mesh.getVertexIndexData(vVertices, vIndices);
        return listsByNumber<std::uint32_t>(vSource.size(), [&](const auto& add) {
            for (std::size_t i = 0; i < vIndices.size(); ++i) {
                const auto placeAt = [&](std::size_t k) { return places.vOfVertex[static_cast<std::size_t>(vIndices[k])]; };
                const std::uint32_t a = placeAt(i), b = placeAt(i % 3 == 2 ? i - 2 : i + 1);
                if (a == NOWHERE || b == NOWHERE) continue;
                if (vSource[b] == NOWHERE) add(a, b);
                if (vSource[a] == NOWHERE) add(b, a);
            }
        });
    }

    Mesh& mesh;
    const VertexPlaces& places;
};

/// The points of each place.
class PointsOfPlaces {
public:
    /// There must be a place. vPlace_, walk_: must outlive this object. isOwn: bool(point, place), whether a point may
    /// belong to the place that is nearest to it.
    template <typename IsOwn>
    PointsOfPlaces(const std::vector<Point3>& vPlace_, const PlaceWalk& walk_, const std::vector<Point3>& vPoints,
                   double reach, const IsOwn& isOwn)
        : vPlace(vPlace_), walk(walk_) {
        const PointTree tree(vPlace);
        std::vector<std::uint32_t> vOwner = ownersOf(vPoints, tree, reach);
        for (std::size_t i = 0; i < vOwner.size(); ++i)
            if (vOwner[i] != NOWHERE && !isOwn(i, vOwner[i])) vOwner[i] = NOWHERE;
        if (std::all_of(vOwner.begin(), vOwner.end(), [](std::uint32_t place) { return place == NOWHERE; }))
            vOwner = ownersOf(vPoints, tree, std::numeric_limits<double>::infinity());
        points = listsByNumber<std::uint32_t>(vPlace.size(), [&](const auto& add) {
            for (std::size_t i = 0; i < vOwner.size(); ++i)
                if (vOwner[i] != NOWHERE) add(vOwner[i], static_cast<std::uint32_t>(i));
        });
        vSource = sourcesWhere([this](std::uint32_t place) { return !of(place).empty(); });
    }

    std::size_t numPlaces() const { return points.size(); }
    std::span<const std::uint32_t> of(std::size_t place) const { return {points.begin(place), points.end(place)}; }
    /// For each place itself, or, when it has no points, the nearest one that has some; NOWHERE when none has.
    const std::vector<std::uint32_t>& sources() const { return vSource; }
    /// The same for the places that are wanted, in place of those with points. vWanted: not 0 for each of them.
    std::vector<std::uint32_t> sourcesAmong(const std::vector<unsigned char>& vWanted) const {
        const auto isWanted = [&](std::uint32_t place) { return vWanted[place] != 0; };
        for (std::uint32_t place = 0; place < vPlace.size(); ++place)
            if (!isWanted(place) && !of(place).empty()) return sourcesWhere(isWanted);
        return vSource;
    }

private:
    static std::vector<std::uint32_t> ownersOf(const std::vector<Point3>& vPoints, const PointTree& tree, double reach) {
        std::vector<std::uint32_t> vOwner(vPoints.size(), NOWHERE);
        const auto find = [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                if (isFinitePoint(vPoints[i])) vOwner[i] = tree.nearestTo(vPoints[i], reach);
        };
        forChunks_MT(vPoints.size(), find, MIN_PARALLEL);
        return vOwner;
    }

    /// isSource: bool(place).
    template <typename IsSource>
    std::vector<std::uint32_t> sourcesWhere(const IsSource& isSource) const {
        std::vector<std::uint32_t> vOwning, vFound(vPlace.size(), NOWHERE);
        for (std::uint32_t i = 0; i < vPlace.size(); ++i) {
            if (!isSource(i)) continue;
            vOwning.push_back(i);
            vFound[i] = i;
        }
        if (vOwning.empty() || vOwning.size() == vPlace.size()) return vFound;
        walk.fill(vFound);
        fillThroughSpace(vOwning, vFound);
        return vFound;
    }

    /// Where no edges lead. vOwning: the places with values.
    void fillThroughSpace(const std::vector<std::uint32_t>& vOwning, std::vector<std::uint32_t>& vFound) const {
        std::vector<std::uint32_t> vOrphan;
        for (std::uint32_t i = 0; i < vFound.size(); ++i)
            if (vFound[i] == NOWHERE) vOrphan.push_back(i);
        if (vOrphan.empty()) return;
        std::vector<Point3> vOwningPlace;
        vOwningPlace.reserve(vOwning.size());
        for (const std::uint32_t place : vOwning)
            vOwningPlace.push_back(vPlace[place]);
        const PointTree tree(vOwningPlace);
        const auto find = [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                vFound[vOrphan[i]] = vOwning[tree.nearestTo(vPlace[vOrphan[i]])];
        };
        forChunks_MT(vOrphan.size(), find, MIN_PARALLEL);
    }

    const std::vector<Point3>& vPlace;
    const PlaceWalk& walk;
    ListsByNumber<std::uint32_t> points;
    std::vector<std::uint32_t> vSource;  // by place
};

// ---- Means --------------------------------------------------------------------------------------------------------------
// Each takes values that are known and finite, at least one.

/// The mean minus the first one. beyondFirst: double(T), a value minus the first one.
template <typename T, typename BeyondFirst>
double meanBeyondFirst(const std::vector<T>& v, const BeyondFirst& beyondFirst) {
    double sum = 0.0;
    for (const T value : v)
        sum += beyondFirst(value);
    return sum / static_cast<double>(v.size());
}

/// The nearest double, also where a double can't hold the numbers.
template <typename T>
double differenceOf(T value, T first) {
    if constexpr (std::is_floating_point_v<T> || sizeof(T) < sizeof(std::int64_t)) {
        return static_cast<double>(value) - static_cast<double>(first);
    } else {
        const auto a = static_cast<std::uint64_t>(value), b = static_cast<std::uint64_t>(first);  // wrap around alike
        return value < first ? -static_cast<double>(b - a) : static_cast<double>(a - b);
    }
}

template <typename T>
T amongValues(T value, const std::vector<T>& v) {
    const auto [least, greatest] = std::minmax_element(v.begin(), v.end());
    return std::clamp(value, *least, *greatest);
}

template <typename T>
T meanNumber(const std::vector<T>& v) {
    constexpr double EXACT = 4503599627370496.0;  // 2^52: below, a double holds every half
    const double mean = meanBeyondFirst(v, [first = v.front()](T value) { return differenceOf(value, first); });
    const double first = static_cast<double>(v.front());
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isfinite(mean)) return amongValues(static_cast<T>(first + mean), v);
        double sum = 0.0;  // differences beyond the range of a double
        for (const T value : v)
            sum += static_cast<double>(value) / static_cast<double>(v.size());
        return amongValues(static_cast<T>(sum), v);
    } else {
        if (!(std::abs(mean) < EXACT)) return amongValues(nearestInt<T>(first + mean), v);
        const auto steps = static_cast<std::uint64_t>(nearestInt<std::int64_t>(mean));  // sums of these wrap around
        return amongValues(static_cast<T>(static_cast<std::uint64_t>(v.front()) + steps), v);
    }
}

/// Between the numbers of colours and light, by sRGB.
template <typename T>
class Light {
public:
    Light() {
        if constexpr (std::is_integral_v<T>)
            for (double value = 0.0; value <= MOST; ++value)
                vLight.push_back(linearLight(value / MOST));
    }

    T mean(const std::vector<T>& v) const {
        const double first = light(v.front());
        const double number =
            colourOfLight(first + meanBeyondFirst(v, [&](T value) { return light(value) - first; })) * MOST;
        if constexpr (std::is_integral_v<T>)
            return amongValues(nearestInt<T>(number), v);
        else
            return amongValues(static_cast<T>(number), v);
    }

private:
    static constexpr double MOST = std::is_integral_v<T> ? static_cast<double>(std::numeric_limits<T>::max()) : 1.0;

    double light(T value) const {
        if constexpr (std::is_integral_v<T>)
            return vLight[value];
        else
            return linearLight(value);
    }

    std::vector<double> vLight;  // of each number, where these are few
};

/// Sorts the values.
template <typename T>
T mostFrequent(std::vector<T>& v) {
    std::sort(v.begin(), v.end());
    T best = v.front();
    std::ptrdiff_t most = 0;
    forEachRun(
        v.cbegin(), v.cend(), [](T value) { return value; },
        [&](auto first, auto end) {
            if (end - first <= most) return;
            most = end - first;
            best = *first;
        });
    return best;
}

/// Equal directions stay what they are. Those that cancel each other out leave the first one.
Vector3 meanDirection(const std::vector<Vector3>& v) {
    constexpr double NOTHING = 1e-10;  // a sum of so much for each is what rounding leaves
    const auto isFirst = [&v](const Vector3& n) { return (n - v.front()).isDegenerate(); };
    if (std::all_of(v.begin(), v.end(), isFirst)) return v.front();
    Vector3 sum;
    for (const Vector3& n : v)
        sum += n / n.length();
    const double length = sum.length();
    return length > NOTHING * static_cast<double>(v.size()) ? sum / length : v.front() / v.front().length();
}

// ---- Columns ------------------------------------------------------------------------------------------------------------

/// Carries columns over to the vertices.
class Transfer {
public:
    Transfer(const PointsOfPlaces& points_, const std::vector<std::uint32_t>& vOfVertex)
        : points(points_), vPlaceOfVertex(vOfVertex) {}

    AttributeColumn column(const AttributeColumn& given, AttributeKind kind) const {
        return std::visit([&](const auto& vValue) { return columnOf(given, vValue, kind); }, given.values);
    }

    /// The three columns of the normals, of one type.
    std::array<AttributeColumn, 3> normals(const std::array<const AttributeColumn*, 3>& given) const {
        const auto normalOf = [&](std::uint32_t i) {
            const Vector3 n(given[0]->number(i), given[1]->number(i), given[2]->number(i));
            return std::isfinite(n.length()) && n.length() > 0.0 ? std::optional(n) : std::nullopt;
        };
        const Means<Vector3> means = meansByPlace<Vector3>(normalOf, meanDirection);
        std::array<AttributeColumn, 3> made;
        for (std::size_t axis = 0; axis < made.size(); ++axis)
            made[axis] = std::visit(
                [&](const auto& vValue) {
                    using T = ValueOf<decltype(vValue)>;
                    Means<T> ofAxis{std::vector<T>(means.vMean.size()), means.vKnown};
                    for (std::size_t i = 0; i < ofAxis.vMean.size(); ++i)
                        ofAxis.vMean[i] = static_cast<T>(means.vMean[i].getCartesian(static_cast<int>(axis)));
                    return onVertices(given[axis]->name, ofAxis, points.sources());
                },
                given[axis]->values);
        return made;
    }

private:
    template <typename T>
    struct Means {
        std::vector<T> vMean;               // by place
        std::vector<unsigned char> vKnown;  // not 0 for places with a mean
    };

    /// ofPoint: std::optional<T>(point), what it carries if that is known. mean: T(std::vector<T>&), of values that it may
    /// reorder.
    template <typename T, typename OfPoint, typename Mean>
    Means<T> meansByPlace(const OfPoint& ofPoint, const Mean& mean) const {
        Means<T> means{std::vector<T>(points.numPlaces()), std::vector<unsigned char>(points.numPlaces(), 0)};
        const auto make = [&](std::size_t begin, std::size_t end) {
            std::vector<T> vOwn;
            for (std::size_t place = begin; place < end; ++place) {
                vOwn.clear();
                for (const std::uint32_t i : points.of(place))
                    if (const std::optional<T> own = ofPoint(i)) vOwn.push_back(*own);
                if (vOwn.empty()) continue;
                means.vMean[place] = mean(vOwn);
                means.vKnown[place] = 1;
            }
        };
        forChunks_MT(points.numPlaces(), make, MIN_PARALLEL);
        return means;
    }

    template <typename T>
    AttributeColumn columnOf(const AttributeColumn& given, const std::vector<T>& vValue, AttributeKind kind) const {
        if (kind == AttributeKind::CLASS) return columnBy(given, vValue, [](std::vector<T>& v) { return mostFrequent(v); });
        if constexpr (std::is_floating_point_v<T> || std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::uint16_t>) {
            if (kind == AttributeKind::COLOUR)
                return columnBy(
                    given, vValue, [light = Light<T>()](std::vector<T>& v) { return light.mean(v); }, true);
        }
        return columnBy(given, vValue, [](std::vector<T>& v) { return meanNumber(v); });
    }

    /// mean: as above. bBorrow: a place whose points have no known value has that of the nearest one with a value, as an
    /// unknown colour would be black for most programs.
    template <typename T, typename Mean>
    AttributeColumn columnBy(const AttributeColumn& given, const std::vector<T>& vValue, const Mean& mean,
                             bool bBorrow = false) const {
        const auto isKnown = [&](std::uint32_t i) {
            if constexpr (std::is_floating_point_v<T>)
                return std::isfinite(vValue[i]);
            else
                return given.vMissing.empty() || given.vMissing[i] == 0;
        };
        const auto valueOf = [&](std::uint32_t i) { return isKnown(i) ? std::optional(vValue[i]) : std::nullopt; };
        const Means<T> means = meansByPlace<T>(valueOf, mean);
        return onVertices(given.name, means, bBorrow ? points.sourcesAmong(means.vKnown) : points.sources());
    }

    /// vSource: where each place has its value from.
    template <typename T>
    AttributeColumn onVertices(const std::string& name, const Means<T>& means,
                               const std::vector<std::uint32_t>& vSource) const {
        AttributeColumn column{name, {}, {}};
        std::vector<T> vValue(vPlaceOfVertex.size(), unknownValue<T>());
        for (std::size_t i = 0; i < vValue.size(); ++i) {
            const std::uint32_t place = vPlaceOfVertex[i];
            const std::uint32_t source = place != NOWHERE ? vSource[place] : NOWHERE;
            if (source != NOWHERE && means.vKnown[source] != 0) {
                vValue[i] = means.vMean[source];
            } else if (std::is_integral_v<T>) {
                column.vMissing.resize(vValue.size(), 0);
                column.vMissing[i] = 1;
            }
        }
        column.values = std::move(vValue);
        return column;
    }

    const PointsOfPlaces& points;
    const std::vector<std::uint32_t>& vPlaceOfVertex;
};

/// The columns without a row known, where there is no place for points.
PointAttributes unknownRows(const PointAttributes& attributes, std::size_t numRows) {
    PointAttributes empty = attributes.rows({});
    std::vector<AttributeColumn> vNone = std::move(empty.vColumns);
    PointAttributes made;
    appendRows(std::move(vNone), 0, numRows, made);
    return made;
}

}  // namespace

PointAttributes transferAttributes(MeshPtr pMesh, const std::vector<Point3>& vPoints, const PointAttributes& attributes,
                                   double length) {
    return transferAttributes(pMesh, vPoints, {}, attributes, length);
}

PointAttributes transferAttributes(MeshPtr pMesh, const std::vector<Point3>& vPoints, const std::vector<Vector3>& vNormals,
                                   const PointAttributes& attributes, double length) {
    ASSEX(pMesh!=NULL);
    ASSEX(vNormals.empty() || vNormals.size()==vPoints.size());
    requireRows(attributes, vPoints.size());
    if (attributes.empty()) return {};
    ASSEX(vPoints.size()<PointTree::NONE);
    std::vector<Point3*> vVertices;
    pMesh->getPoints(vVertices);
    const VertexPlaces places = placesOf(vVertices);
    if (places.vPlace.empty()) return unknownRows(attributes, vVertices.size());
    const double reach = length > 0.0 ? length : pMesh->getAverageEdgeLength();
    const std::vector<Vector3> vOfVertex = vNormals.empty() ? std::vector<Vector3>() : vertexNormals(pMesh);
    const auto isOwn = [&](std::size_t point, std::uint32_t place) {
        return vNormals.empty() || !(vNormals[point] * vOfVertex[places.vVertex[place]] < 0.0);
    };
    const PlaceWalk walk(*pMesh, places);
    const PointsOfPlaces points(places.vPlace, walk, vPoints, reach, isOwn);
    const Transfer transfer(points, places.vOfVertex);

    PointAttributes made;
    for (const AttributeColumn& column : attributes.vColumns) {
        const AttributeKind kind = attributes.kindOf(column);
        if (kind != AttributeKind::NORMAL) {
            made.vColumns.push_back(transfer.column(column, kind));
            continue;
        }
        if (made.find(column.name) != nullptr) continue;  // came with another one
        for (AttributeColumn& normal :
             transfer.normals({attributes.find("nx"), attributes.find("ny"), attributes.find("nz")}))
            made.vColumns.push_back(std::move(normal));
    }
    return made;
}

}  // namespace TARN_KEL
