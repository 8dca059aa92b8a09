// The bytes that the text describes are one buffer: the triangles, then a view for each attribute of the vertices. All
// numbers have their low bytes first, and each view begins at a multiple of four.
#include "GlbFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>

#include "../../src_lib/files/AtomicFile.h"
#include "../../src_lib/files/attributeColumns.h"
#include "../../src_lib/files/littleEndian.h"
#include "glbChunks.h"

using namespace TARN_KEL;

namespace {

using Json = nlohmann::ordered_json;

constexpr int UNSIGNED_SHORT = 5123, UNSIGNED_INT = 5125, FLOAT = 5126;  // component types
constexpr int VERTICES = 34962, TRIANGLES = 34963;                       // targets of views

std::array<double, 3> valuesOf(const Point3& p) {
    return {p.x(), p.y(), p.z()};
}
std::array<double, 3> valuesOf(const Vector3& v) {
    return {v.x(), v.y(), v.z()};
}

/// The buffer of a file, and what the text says of it.
class GlbBuffer {
public:
    /// Adds a view that begins behind the bytes so far. It holds all that is put from now on.
    void beginView(int target) {
        vView.push_back({{"buffer", 0}, {"byteOffset", bytes.size()}, {"byteLength", 0}, {"target", target}});
    }
    void put(std::uint32_t value) { store(value); }
    void put(std::uint16_t value) { store(value); }
    void put(float value) {
        bytes.resize(bytes.size() + sizeof value);
        storeFloat(bytes.data() + bytes.size() - sizeof value, value);
    }
    /// Ends the view; returns the number of the accessor that reads all of it.
    std::size_t endView(int componentType, const char* type, std::size_t count, const Json& more = Json::object()) {
        Json& view = vView.back();
        view["byteLength"] = bytes.size() - view["byteOffset"].get<std::size_t>();
        Json accessor{{"bufferView", vView.size() - 1}, {"componentType", componentType}, {"count", count}, {"type", type}};
        accessor.update(more);
        vAccessor.push_back(std::move(accessor));
        return vAccessor.size() - 1;
    }
    const std::string& data() const { return bytes; }
    Json views() const { return vView; }
    Json accessors() const { return vAccessor; }

private:
    template <typename Int>
    void store(Int value) {
        bytes.resize(bytes.size() + sizeof value);
        storeInt(bytes.data() + bytes.size() - sizeof value, value);
    }

    std::string bytes;
    std::vector<Json> vView, vAccessor;
};

std::size_t putTriangles(const std::vector<int>& vIndices, GlbBuffer& buffer) {
    buffer.beginView(TRIANGLES);
    for (const int index : vIndices)
        buffer.put(static_cast<std::uint32_t>(index));
    return buffer.endView(UNSIGNED_INT, "SCALAR", vIndices.size());
}

/// The least and the greatest numbers, which the format wants, are those that were put.
std::size_t putPlaces(const std::vector<Point3*>& vVertices, const Point3& centre, GlbBuffer& buffer) {
    std::array<float, 3> aLeast, aMost;
    aLeast.fill(std::numeric_limits<float>::max());
    aMost.fill(std::numeric_limits<float>::lowest());
    buffer.beginView(VERTICES);
    for (const Point3* p : vVertices)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto value = static_cast<float>(valuesOf(*p - centre)[axis]);
            aLeast[axis] = std::min(aLeast[axis], value);
            aMost[axis] = std::max(aMost[axis], value);
            buffer.put(value);
        }
    return buffer.endView(FLOAT, "VEC3", vVertices.size(), {{"min", aLeast}, {"max", aMost}});
}

std::size_t putNormals(const std::vector<Vector3>& vNormals, GlbBuffer& buffer) {
    buffer.beginView(VERTICES);
    for (const Vector3& normal : vNormals) {
        const Vector3 unit = normal.isDegenerate() ? Vector3(0, 0, 1) : normal;  // the format knows no other lengths than 1
        for (const double value : valuesOf(unit))
            buffer.put(static_cast<float>(value));
    }
    return buffer.endView(FLOAT, "VEC3", vNormals.size());
}

/// With an alpha of 1, as three channels don't fill multiples of four bytes.
std::size_t putColours(const PointAttributes& attributes, GlbBuffer& buffer) {
    constexpr double MOST = std::numeric_limits<std::uint16_t>::max();
    buffer.beginView(VERTICES);
    for (const Vector3& colour : coloursOf(attributes)) {
        for (const double number : valuesOf(colour))
            buffer.put(static_cast<std::uint16_t>(std::round(linearLight(number) * MOST)));
        buffer.put(static_cast<std::uint16_t>(MOST));
    }
    return buffer.endView(UNSIGNED_SHORT, "VEC4", attributes.numRows(), {{"normalized", true}});
}

/// The name of a column in capitals behind '_', as the format has it for attributes that it doesn't know.
std::string ownName(const std::string& column) {
    std::string name = "_";
    for (const char c : column) {
        const bool bLower = c >= 'a' && c <= 'z', bKept = (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        name += bLower ? static_cast<char>(c - 'a' + 'A') : bKept ? c : '_';
    }
    return name;
}

/// Values that aren't known are 0: the format has no NaN.
std::size_t putNumbers(const AttributeColumn& column, GlbBuffer& buffer) {
    buffer.beginView(VERTICES);
    for (std::size_t i = 0; i < column.size(); ++i) {
        const double value = column.isKnown(i) ? column.number(i) : 0.0;
        constexpr double MOST = std::numeric_limits<float>::max();
        buffer.put(static_cast<float>(std::clamp(value, -MOST, MOST)));
    }
    return buffer.endView(FLOAT, "SCALAR", column.size());
}

void putColumns(const PointAttributes& attributes, GlbBuffer& buffer, Json& named) {
    if (attributes.hasColour()) named["COLOR_0"] = putColours(attributes, buffer);
    for (const AttributeColumn& column : attributes.vColumns) {
        const AttributeKind kind = attributes.kindOf(column);
        if (kind == AttributeKind::COLOUR || kind == AttributeKind::NORMAL) continue;
        const std::string own = ownName(column.name);
        std::string name = own;
        for (int number = 2; named.contains(name); ++number)
            name = own + "_" + std::to_string(number);
        named[name] = putNumbers(column, buffer);
    }
}

}  // namespace

Point3 centreOf(const std::vector<Point3*>& vVertices) {
    std::array<double, 3> aLeast, aMost, aCentre;
    aLeast.fill(std::numeric_limits<double>::infinity());
    aMost.fill(-std::numeric_limits<double>::infinity());
    for (const Point3* p : vVertices)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            aLeast[axis] = std::min(aLeast[axis], valuesOf(*p)[axis]);
            aMost[axis] = std::max(aMost[axis], valuesOf(*p)[axis]);
        }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double middle = aLeast[axis] / 2.0 + aMost[axis] / 2.0, extent = aMost[axis] - aLeast[axis];
        aCentre[axis] = extent > 100.0 ? std::round(middle) : middle;
    }
    return {aCentre[0], aCentre[1], aCentre[2]};
}

bool writeGlb(const std::string& filename, const MeshPtr& pMesh, const PointAttributes& attributes,
              const std::vector<Vector3>& vNormals) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vVertices, vIndices);
    const Point3 centre = centreOf(vVertices);
    GlbBuffer buffer;
    const std::size_t triangles = putTriangles(vIndices, buffer);
    Json named{{"POSITION", putPlaces(vVertices, centre, buffer)}};
    if (!vNormals.empty()) named["NORMAL"] = putNormals(vNormals, buffer);
    putColumns(attributes, buffer, named);
    const Json text{
        {"asset", {{"version", "2.0"}, {"generator", "KEL"}}},
        {"scene", 0},
        {"scenes", {{{"nodes", {0}}}}},
        {"nodes", {{{"mesh", 0}, {"translation", valuesOf(centre)}}}},
        {"meshes", {{{"primitives", {{{"attributes", named}, {"indices", triangles}, {"material", 0}}}}}}},
        {"materials",
         {{{"pbrMetallicRoughness", {{"metallicFactor", 0.0}, {"roughnessFactor", 0.8}}}, {"doubleSided", true}}}},
        {"buffers", {{{"byteLength", buffer.data().size()}}}},
        {"bufferViews", buffer.views()},
        {"accessors", buffer.accessors()}};
    AtomicFile file(filename);
    return putGlb(text.dump(), buffer.data(), [&file](std::string_view piece) { file.write(piece); }) && file.commit();
}
