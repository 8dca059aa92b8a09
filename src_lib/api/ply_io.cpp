// Reads points, triangles and meshes from PLY files, and writes them.
#include "ply_io.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "AtomicFile.h"
#include "Bundle.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "InputFile.h"
#include "RMesh.h"
#include "RTriangle.h"
#include "attributeColumns.h"
#include "numberForms.h"
#include "polygons.h"
#include "textNumbers.h"
#include "tinyply.h"
#include "tools.h"

namespace PLY {

using TARN_KEL::AttributeColumn;
using TARN_KEL::AttributeColumns;
using TARN_KEL::Bundle;
using TARN_KEL::CCD;
using TARN_KEL::CMesh;
using TARN_KEL::CTriangle;
using TARN_KEL::Point3;
using TARN_KEL::PointAttributes;
using TARN_KEL::Precision;
using TARN_KEL::RMesh;
using TARN_KEL::VCD;
using TARN_KEL::warning;

namespace {

// ---- Reading

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
    const auto it =
        std::find_if(vElement.begin(), vElement.end(), [&](const auto& element) { return element.name == name; });
    return it != vElement.end() ? &*it : nullptr;
}

std::size_t findProperty(const PlyElement& element, const std::string& name) {
    const auto it = std::find_if(element.properties.begin(), element.properties.end(),
                                 [&](const auto& property) { return property.name == name; });
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

/// Each face as triangles round its first corner.
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

// ---- Writing

constexpr std::uint32_t NO_NUMBER = std::numeric_limits<std::uint32_t>::max();

void addVertex(const Point3& point, Precision precision, geometry& geo) {
    if (precision == Precision::DOUBLE)
        geo.exactVertices.push_back({point.x(), point.y(), point.z()});
    else
        geo.vertices.push_back(
            {static_cast<float>(point.x()), static_cast<float>(point.y()), static_cast<float>(point.z())});
}

/// The number of a vertex, kept in its slot; a vertex without number gets the next one.
std::uint32_t numberVertex(std::uint32_t& slot, const Point3& point, Precision precision, geometry& geo) {
    if (slot == NO_NUMBER) {
        slot = static_cast<std::uint32_t>(geo.vertices.size() + geo.exactVertices.size());
        addVertex(point, precision, geo);
    }
    return slot;
}

template <typename Triple>
void describeVertices(std::vector<Triple>& vVertex, Type type, PlyFile& file) {
    file.add_properties_to_element("vertex", {"x", "y", "z"}, type, vVertex.size(),
                                   reinterpret_cast<std::uint8_t*>(vVertex.data()), Type::INVALID, 0);
}

/// What whole numbers of 64 bits become, which PLY doesn't have.
using NarrowValues = std::variant<std::vector<std::int32_t>, std::vector<std::uint32_t>, std::vector<double>>;

NarrowValues inPlyType(const std::vector<std::int64_t>& vValue) {
    const auto extremes = std::minmax_element(vValue.begin(), vValue.end());
    const auto fit = [&](auto type) {
        using T = decltype(type);
        return vValue.empty() || (*extremes.first >= std::int64_t{std::numeric_limits<T>::min()} &&
                                  *extremes.second <= std::int64_t{std::numeric_limits<T>::max()});
    };
    const auto converted = [&](auto type) -> NarrowValues {
        std::vector<decltype(type)> v(vValue.size());
        std::transform(vValue.begin(), vValue.end(), v.begin(), [](auto i) { return static_cast<decltype(type)>(i); });
        return v;
    };
    if (fit(std::int32_t{})) return converted(std::int32_t{});
    if (fit(std::uint32_t{})) return converted(std::uint32_t{});
    return converted(double{});
}
NarrowValues inPlyType(const std::vector<std::uint64_t>& vValue) {
    const bool bFit = std::all_of(vValue.begin(), vValue.end(),
                                  [](std::uint64_t i) { return i <= std::numeric_limits<std::uint32_t>::max(); });
    if (bFit) return std::vector<std::uint32_t>(vValue.begin(), vValue.end());
    return std::vector<double>(vValue.begin(), vValue.end());
}

template <typename T>
constexpr Type plyType() {
    if constexpr (std::is_floating_point_v<T>) return sizeof(T) == sizeof(float) ? Type::FLOAT32 : Type::FLOAT64;
    static_assert(std::is_floating_point_v<T> || sizeof(T) <= sizeof(std::int32_t));
    constexpr bool SIGNED = std::is_signed_v<T>;
    if constexpr (sizeof(T) == 1) return SIGNED ? Type::INT8 : Type::UINT8;
    if constexpr (sizeof(T) == 2) return SIGNED ? Type::INT16 : Type::UINT16;
    return SIGNED ? Type::INT32 : Type::UINT32;
}

/// A word that no coordinate has for a name; empty when there is none.
std::string plyName(std::string name) {
    for (char& c : name)
        if (TARN_KEL::isSpace(c)) c = '_';
    return name != "x" && name != "y" && name != "z" ? name : "";
}

/// Has columns written behind the coordinates. vOwn: keeps values of another type until then.
void describeAttributes(const PointAttributes& attributes, std::list<NarrowValues>& vOwn, PlyFile& file) {
    const auto describe = [&file](const std::string& name, const auto& vValue) {
        using T = TARN_KEL::ValueOf<decltype(vValue)>;
        file.setTextDigits(std::numeric_limits<T>::max_digits10);
        file.add_properties_to_element("vertex", {name}, plyType<T>(), vValue.size(),
                                       const_cast<std::uint8_t*>(  // which only reads it
                                           reinterpret_cast<const std::uint8_t*>(vValue.data())),
                                       Type::INVALID, 0);
    };
    std::set<std::string> sDone;
    for (const AttributeColumn& column : attributes.vColumns) {
        const std::string name = plyName(column.name);
        if (name.empty() || !sDone.insert(name).second) continue;
        std::visit(
            [&](const auto& vValue) {
                using T = TARN_KEL::ValueOf<decltype(vValue)>;
                if constexpr (std::is_integral_v<T> && sizeof(T) == sizeof(std::int64_t))
                    std::visit([&](const auto& vOther) { describe(name, vOther); }, vOwn.emplace_back(inPlyType(vValue)));
                else
                    describe(name, vValue);
            },
            column.values);
    }
    file.setTextDigits(0);
}

/// True when the file is in its place, whole.
bool writeGeometry(geometry& geo, bool bFaces, const std::string& filename, bool bAscii, const PointAttributes& attributes) {
    try {
        TARN_KEL::AtomicFile out(filename);
        PlyFile file;
        const bool bExact = !geo.exactVertices.empty();
        bExact ? describeVertices(geo.exactVertices, Type::FLOAT64, file)
               : describeVertices(geo.vertices, Type::FLOAT32, file);
        std::list<NarrowValues> vOwn;
        describeAttributes(attributes, vOwn, file);
        if (bFaces)
            file.add_properties_to_element("face", {"vertex_indices"}, Type::UINT32, geo.faces.size(),
                                           reinterpret_cast<std::uint8_t*>(geo.faces.data()), Type::UINT8, 3);
        if (bExact) out.stream().precision(TARN_KEL::EXACT_DIGITS);
        if (out.isOpen()) file.write(out.stream(), !bAscii);
        return out.commit();
    } catch (const std::exception& e) {
        TARN_KEL::out() << "Error: " << e.what() << std::endl;
        return false;
    }
}

bool writeMesh(geometry& geo, const std::string& filename, bool bAscii, const PointAttributes& attributes = {}) {
    if (writeGeometry(geo, true, filename, bAscii, attributes)) return true;
    TARN_KEL::out() << "Failed, filename=" << filename << "\nfailed to write " << filename << std::endl;
    return false;
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

bool writePly(RMesh* pRMesh, const std::string& filename, bool bAscii) {
    ASSEX(pRMesh!=NULL);
    return TARN_KEL::writeMeshPly(*pRMesh, filename, bAscii);
}

bool writePly(std::vector<Point3*>& vPoints, const std::string& filename, bool bAscii) {
    return TARN_KEL::writePointsPly({vPoints.begin(), vPoints.end()}, filename, bAscii, Precision::FLOAT);
}

bool writePly(CMesh* pCMesh, std::map<CCD, Bundle*> mCCDBundle, const std::string& filename, bool bAscii) {
    ASSEX(pCMesh!=NULL);
    std::vector<CTriangle*> vCT;
    pCMesh->getAliveTriangles(vCT);
    std::map<VCD, std::uint32_t> mNumber;
    geometry geo;
    const auto number = [&](VCD vcd) {
        const auto q_it = mCCDBundle.find(vcd);
        ASSEX(q_it!=mCCDBundle.end());
        return numberVertex(mNumber.try_emplace(vcd, NO_NUMBER).first->second, *q_it->second->pVtx, Precision::FLOAT, geo);
    };
    for (const CTriangle* pCT : vCT) {
        geometry::uint3 face{};
        face.x = number(pCT->getC0());
        face.y = number(pCT->getC1());
        face.z = number(pCT->getC2());
        geo.faces.push_back(face);
    }
    return writeMesh(geo, filename, bAscii);
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

namespace {

/// The rows of vertices in the order of a file. vNumber: of each vertex its number there, or NO_NUMBER.
PointAttributes inFileOrder(const PointAttributes& attributes, const std::vector<std::uint32_t>& vNumber,
                            std::size_t numVertices) {
    if (attributes.empty()) return {};
    std::vector<std::size_t> vRow(numVertices);
    std::size_t row = 0;
    for (const std::uint32_t number : vNumber)
        if (number != PLY::NO_NUMBER) vRow[number] = row++;
    return attributes.rows(vRow);
}

}  // namespace

bool writeMeshPly(const RMesh& rMesh, const std::string& filename, bool bAscii, Precision precision,
                  const PointAttributes& attributes) {
    std::vector<RTriangle*> vRT;
    rMesh.getAliveTriangles(vRT);
    std::vector<std::uint32_t> vNumber(rMesh.getNumVtx_all(), PLY::NO_NUMBER);
    PLY::geometry geo;
    geo.faces.reserve(vRT.size());
    const auto number = [&](const Point3* pVtx) {
        return PLY::numberVertex(vNumber[rMesh.getVtxIndex(pVtx)], *pVtx, precision, geo);
    };
    for (const RTriangle* pRT : vRT) {
        ASSEX(pRT->isAlive());
        PLY::geometry::uint3 face{};
        face.x = number(pRT->getCorner(0));
        face.y = number(pRT->getCorner(1));
        face.z = number(pRT->getCorner(2));
        geo.faces.push_back(face);
    }
    const std::size_t numVertices = geo.vertices.size() + geo.exactVertices.size();
    requireRows(attributes, numVertices);
    return PLY::writeMesh(geo, filename, bAscii, inFileOrder(attributes, vNumber, numVertices));
}

bool writePointsPly(const std::vector<const Point3*>& vPoints, const std::string& filename, bool bAscii, Precision precision,
                    const PointAttributes& attributes) {
    out() << "writePointsPly, received " << vPoints.size() << " points" << std::endl;
    PLY::geometry geo;
    precision == Precision::DOUBLE ? geo.exactVertices.reserve(vPoints.size()) : geo.vertices.reserve(vPoints.size());
    for (const Point3* pPoint : vPoints)
        PLY::addVertex(*pPoint, precision, geo);
    if (PLY::writeGeometry(geo, false, filename, bAscii, attributes)) return true;
    out() << "Can't write " << filename << std::endl;
    return false;
}

}  // namespace TARN_KEL
