// Reads points, triangles and meshes from PLY files.
#include "plyReading.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "InputFile.h"
#include "attributeColumns.h"
#include "polygons.h"
#include "tinyply.h"
#include "tools.h"

namespace PLY {

using TARN_KEL::AttributeColumn;
using TARN_KEL::AttributeColumns;
using TARN_KEL::Point3;
using TARN_KEL::warning;

namespace {

/// What is taken for a good file.
enum class Rules {
    PLAIN,  ///< by readPly(): coordinates are float, double or int, and no other text than a stream takes for a number
    WIDE    ///< by the other readers: any numbers, "nan" and "inf"; faces of fewer than three corners are left out
};

/// One of x, y, z of all vertices, in a buffer that it may share with the others.
struct Column {
    std::shared_ptr<PlyData> pData;
    std::size_t first = 0;  ///< position of the first value in the buffer
    std::size_t step = 1;   ///< values from vertex to vertex
};

/// What is fetched from a file.
struct Content {
    std::array<Column, 3> aColumn;
    std::shared_ptr<PlyData> pFaces;  ///< null for points only
    /// A column and its number.
    std::vector<std::pair<std::size_t, std::shared_ptr<PlyData>>> vAttribute;
    std::size_t numBytesBehind = 0;  ///< the last item that the header counts
};

/// The first element of that name; null when there is none.
const PlyElement* findElement(const std::vector<PlyElement>& vElement, const std::string& name) {
    const auto it = std::ranges::find(vElement, name, &PlyElement::name);
    return it != vElement.end() ? &*it : nullptr;
}

std::size_t findProperty(const PlyElement& element, const std::string& name) {
    const auto it = std::ranges::find(element.properties, name, &PlyProperty::name);
    return static_cast<std::size_t>(it - element.properties.begin());
}

/// Whether x, y, z can't share a buffer: it holds one type, in the order of the header.
bool needSeparateRequests(const PlyElement& vertex) {
    const std::array<std::size_t, 3> aPos{findProperty(vertex, "x"), findProperty(vertex, "y"), findProperty(vertex, "z")};
    const auto& properties = vertex.properties;
    if (*std::max_element(aPos.begin(), aPos.end()) == properties.size()) return false;  // the request says what is missing
    const bool bOneType = properties[aPos[0]].propertyType == properties[aPos[1]].propertyType &&
                          properties[aPos[0]].propertyType == properties[aPos[2]].propertyType;
    return !bOneType || aPos[0] > aPos[1] || aPos[1] > aPos[2];
}

std::array<Column, 3> requestCoordinates(PlyFile& file, const PlyElement* pVertex) {
    if (pVertex != nullptr && needSeparateRequests(*pVertex)) {
        const auto column = [&](const char* name) {
            return Column{file.request_properties_from_element("vertex", {name}), 0, 1};
        };
        return {column("x"), column("y"), column("z")};
    }
    const std::shared_ptr<PlyData> pData = file.request_properties_from_element("vertex", {"x", "y", "z"});
    return {Column{pData, 0, 3}, Column{pData, 1, 3}, Column{pData, 2, 3}};
}

/// Other programs write "vertex_index" as often. No hint of a length: polygons are welcome.
std::shared_ptr<PlyData> requestFaces(PlyFile& file, const PlyElement* pFace) {
    const bool bShortName = pFace != nullptr && findProperty(*pFace, "vertex_indices") == pFace->properties.size() &&
                            findProperty(*pFace, "vertex_index") < pFace->properties.size();
    return file.request_properties_from_element("face", {bShortName ? "vertex_index" : "vertex_indices"});
}

/// No list of values that fits would be there for INVALID.
TARN_KEL::AttributeValues noValuesOf(Type type) {
    switch (type) {
    case Type::INT8:
        return TARN_KEL::noValues<std::int8_t>();
    case Type::UINT8:
        return TARN_KEL::noValues<std::uint8_t>();
    case Type::INT16:
        return TARN_KEL::noValues<std::int16_t>();
    case Type::UINT16:
        return TARN_KEL::noValues<std::uint16_t>();
    case Type::INT32:
        return TARN_KEL::noValues<std::int32_t>();
    case Type::UINT32:
        return TARN_KEL::noValues<std::uint32_t>();
    case Type::FLOAT32:
        return TARN_KEL::noValues<float>();
    default:
        return TARN_KEL::noValues<double>();
    }
}

/// The properties of vertices that aren't coordinates or lists. Of those with one name the first counts.
void requestAttributes(PlyFile& file, const PlyElement& vertex, AttributeColumns& columns, Content& content) {
    std::set<std::string> sDone{"x", "y", "z"};
    for (const PlyProperty& property : vertex.properties) {
        if (!sDone.insert(property.name).second || property.isList || property.propertyType == Type::INVALID) continue;
        const std::size_t column = columns.add(property.name, noValuesOf(property.propertyType));
        if (column == AttributeColumns::NONE) continue;
        const auto& [number, pData] =
            content.vAttribute.emplace_back(column, file.request_properties_from_element("vertex", {property.name}));
        pData->bLenient = true;
    }
}

/// Says which coordinate can't be read, before the file is.
void requireKnownTypes(const PlyElement& vertex) {
    for (const char* name : {"x", "y", "z"})
        if (vertex.properties[findProperty(vertex, name)].propertyType == Type::INVALID)
            throw std::runtime_error(std::string("unsupported type of the coordinate ") + name);
}

/// pColumns: null where nobody wants attributes.
Content fetch(std::istream& in, bool bPointsOnly, Rules rules, AttributeColumns* pColumns) {
    PlyFile file;
    if (!file.parse_header(in)) throw std::runtime_error("unknown word in the header");
    const std::vector<PlyElement> vElement = file.get_elements();
    const PlyElement* const pVertex = findElement(vElement, "vertex");
    const PlyElement* const pFace = findElement(vElement, "face");
    Content content;
    content.aColumn = requestCoordinates(file, pVertex);
    if (!bPointsOnly) content.pFaces = requestFaces(file, pFace);
    for (const char* name : {"x", "y", "z"})
        if (pVertex->properties[findProperty(*pVertex, name)].isList) throw std::runtime_error("coordinates are lists");
    if (pColumns != nullptr) requestAttributes(file, *pVertex, *pColumns, content);
    if (rules == Rules::WIDE) {
        requireKnownTypes(*pVertex);
        for (const Column& column : content.aColumn)
            column.pData->bNotFinite = true;
    }
    file.read(in);
    content.numBytesBehind = file.numBytesBehind();
    return content;
}

template <typename T>
T load(const PlyData& data, std::size_t position) {
    T value;
    std::memcpy(&value, data.buffer.data() + position * sizeof(T), sizeof(T));
    return value;
}

bool isCoordinateType(Type type, Rules rules) {
    return rules == Rules::WIDE || type == Type::FLOAT32 || type == Type::FLOAT64 || type == Type::INT32;
}

double coordinate(const Column& column, std::size_t vertex) {
    const std::size_t position = column.first + vertex * column.step;
    switch (column.pData->t) {
    case Type::FLOAT32:
        return load<float>(*column.pData, position);
    case Type::FLOAT64:
        return load<double>(*column.pData, position);
    case Type::INT8:
        return load<std::int8_t>(*column.pData, position);
    case Type::UINT8:
        return load<std::uint8_t>(*column.pData, position);
    case Type::INT16:
        return load<std::int16_t>(*column.pData, position);
    case Type::UINT16:
        return load<std::uint16_t>(*column.pData, position);
    case Type::UINT32:
        return load<std::uint32_t>(*column.pData, position);
    default:
        return load<std::int32_t>(*column.pData, position);
    }
}

void appendVertices(const Content& content, std::vector<Point3>& vOut) {
    const auto& [x, y, z] = content.aColumn;
    vOut.reserve(vOut.size() + x.pData->count);
    for (std::size_t i = 0; i < x.pData->count; ++i)
        vOut.emplace_back(coordinate(x, i), coordinate(y, i), coordinate(z, i));
}

void takeAttributes(const Content& content, AttributeColumns& columns) {
    for (const auto& [number, pData] : content.vAttribute) {
        AttributeColumn& column = columns.columns()[number];
        std::visit(
            [&data = *pData, &column](auto& vValue) {
                using T = TARN_KEL::ValueOf<decltype(vValue)>;
                vValue.resize(data.count);
                if (data.count > 0) std::memcpy(vValue.data(), data.buffer.data(), data.count * sizeof(T));
                for (const std::size_t i : data.vUnknown)
                    vValue[i] = TARN_KEL::unknownValue<T>();
                if (std::is_floating_point_v<T> || data.vUnknown.empty()) return;
                column.vMissing.resize(data.count, 0);
                for (const std::size_t i : data.vUnknown)
                    column.vMissing[i] = 1;
            },
            column.values);
    }
}

/// Calls visit(numbers of the corners' vertices) for each face.
template <typename Index, typename Visit>
void visitFaces(const PlyData& faces, std::size_t numVertices, const Visit& visit) {
    std::size_t first = 0;
    std::vector<std::size_t> vCorner;
    for (const std::uint32_t length : faces.vListLength) {
        vCorner.clear();
        for (std::size_t i = first; i < first + length; ++i) {
            const Index index = load<Index>(faces, i);
            if (index < 0 || static_cast<std::size_t>(index) >= numVertices)
                throw std::runtime_error("index out of range: " + std::to_string(index));
            vCorner.push_back(static_cast<std::size_t>(index));
        }
        visit(vCorner);
        first += length;
    }
}

/// The same for whatever type the numbers have.
template <typename Visit>
void visitFaces(const PlyData& faces, std::size_t numVertices, const Visit& visit) {
    if (faces.vListLength.size() != faces.count) throw std::runtime_error("indices of faces aren't lists");
    switch (faces.t) {
    case Type::INT8:
        return visitFaces<std::int8_t>(faces, numVertices, visit);
    case Type::UINT8:
        return visitFaces<std::uint8_t>(faces, numVertices, visit);
    case Type::INT16:
        return visitFaces<std::int16_t>(faces, numVertices, visit);
    case Type::UINT16:
        return visitFaces<std::uint16_t>(faces, numVertices, visit);
    case Type::INT32:
        return visitFaces<std::int32_t>(faces, numVertices, visit);
    case Type::UINT32:
        return visitFaces<std::uint32_t>(faces, numVertices, visit);
    default:
        throw std::runtime_error("indices of faces aren't whole numbers");
    }
}

/// Each face as triangles around its first corner.
void appendSoup(const Content& content, std::vector<Point3>& vOut) {
    std::vector<Point3> vVertex;
    appendVertices(content, vVertex);
    vOut.reserve(vOut.size() + 3 * content.pFaces->count);
    visitFaces(*content.pFaces, vVertex.size(), [&](const std::vector<std::size_t>& vCorner) {
        if (vCorner.size() < 3) throw std::runtime_error("a face of fewer than three corners");
        for (std::size_t i = 2; i < vCorner.size(); ++i)
            vOut.insert(vOut.end(), {vVertex[vCorner[0]], vVertex[vCorner[i - 1]], vVertex[vCorner[i]]});
    });
}

/// fetch() with a line for the user when the file isn't as it should be.
Content fetchOrReport(std::istream& in, bool bPointsOnly, Rules rules, AttributeColumns* pColumns) {
    try {
        return fetch(in, bPointsOnly, rules, pColumns);
    } catch (const std::exception& e) {
        TARN_KEL::out() << "tinyply exception: " << e.what() << std::endl;
        throw;
    }
}

/// Fetches a file and hands it to use(). A failure, of use() as well, is false and lines for the user.
template <typename Use>
bool readContent(const std::string& filename, bool bPointsOnly, Rules rules, const Use& use,
                 AttributeColumns* pColumns = nullptr) {
    try {
        TARN_KEL::InputFile file(filename);
        if (!file.isOpen()) {
            warning("readPly", "Failed to open " + filename);
            return false;
        }
        const Content content = fetchOrReport(file.stream(), bPointsOnly, rules, pColumns);
        for (const Column& column : content.aColumn) {
            if (isCoordinateType(column.pData->t, rules)) continue;
            warning("readPly", "unsupported type in " + filename);
            return false;
        }
        use(content);
        if (rules == Rules::WIDE && content.numBytesBehind > 0)
            warning("readPointFile", filename + " has more than its header counts: " +
                                         TARN_KEL::toString(content.numBytesBehind) + " bytes in the end aren't read");
        return true;
    } catch (const std::exception& e) {
        TARN_KEL::out() << "Error: " << e.what() << std::endl;
        warning("readPly", filename + " not read");
        return false;
    }
}

int toIndex(std::size_t i) {
    if (i > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::runtime_error("too many vertices");
    return static_cast<int>(i);
}

}  // namespace

bool readPly(const std::string& filename, bool bPointsOnly, std::vector<Point3>& vOut) {
    const std::size_t numBefore = vOut.size();
    const auto take = [&](const Content& content) {
        bPointsOnly ? appendVertices(content, vOut) : appendSoup(content, vOut);
    };
    const bool bRead = readContent(filename, bPointsOnly, Rules::PLAIN, take);
    if (!bRead) vOut.resize(numBefore);
    return bRead;
}

bool readPly(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices) {
    return TARN_KEL::readMeshPly(filename, vVertices, vIndices, nullptr);
}

}  // namespace PLY

namespace TARN_KEL {

bool readPointsPly(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    const std::size_t numBefore = vPoints.size();
    const auto take = [&](const PLY::Content& content) {
        PLY::appendVertices(content, vPoints);
        if (pAttributes != nullptr) PLY::takeAttributes(content, *pAttributes);
    };
    const bool bRead = PLY::readContent(filename, true, PLY::Rules::WIDE, take, pAttributes);
    if (!bRead) vPoints.resize(numBefore);
    return bRead;
}

bool readMeshPly(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                 AttributeColumns* pAttributes) {
    ASSEX(vVertices.empty());
    const std::size_t numBefore = vIndices.size();
    const auto take = [&](const PLY::Content& content) {
        PLY::appendVertices(content, vVertices);
        vIndices.reserve(vIndices.size() + 3 * content.pFaces->count);
        PolygonCutter polygons(vIndices);
        PLY::visitFaces(*content.pFaces, vVertices.size(), [&polygons](const std::vector<std::size_t>& vCorner) {
            for (const std::size_t corner : vCorner)
                polygons.add(PLY::toIndex(corner));
            polygons.endPolygon();
        });
        polygons.finish(vVertices);
        polygons.warn(filename);
        if (pAttributes != nullptr) PLY::takeAttributes(content, *pAttributes);
    };
    const bool bRead = PLY::readContent(filename, false, PLY::Rules::WIDE, take, pAttributes);
    if (!bRead) {
        vVertices.clear();
        vIndices.resize(numBefore);
    }
    return bRead;
}

}  // namespace TARN_KEL
