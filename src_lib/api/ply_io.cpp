// Reads points, triangles and meshes from PLY files, and writes them.
#include "ply_io.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>

#include "AtomicFile.h"
#include "Bundle.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "InputFile.h"
#include "RMesh.h"
#include "RTriangle.h"
#include "numberForms.h"
#include "tinyply.h"
#include "tools.h"

namespace PLY {

using TARN_KEL::Bundle;
using TARN_KEL::CCD;
using TARN_KEL::CMesh;
using TARN_KEL::CTriangle;
using TARN_KEL::Point3;
using TARN_KEL::Precision;
using TARN_KEL::RMesh;
using TARN_KEL::RTriangle;
using TARN_KEL::VCD;
using TARN_KEL::warning;

namespace {

// ---- Reading

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

Content fetch(std::istream& in, bool bPointsOnly) {
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
    file.read(in);
    return content;
}

template <typename T>
T load(const PlyData& data, std::size_t position) {
    T value;
    std::memcpy(&value, data.buffer.data() + position * sizeof(T), sizeof(T));
    return value;
}

bool isCoordinateType(Type type) {
    return type == Type::FLOAT32 || type == Type::FLOAT64 || type == Type::INT32;
}

double coordinate(const Column& column, std::size_t vertex) {
    const std::size_t position = column.first + vertex * column.step;
    switch (column.pData->t) {
    case Type::FLOAT32:
        return load<float>(*column.pData, position);
    case Type::FLOAT64:
        return load<double>(*column.pData, position);
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

/// Calls visit(number of a vertex) for three corners a triangle: each face as triangles round its first corner.
template <typename Index, typename Visit>
void visitCorners(const PlyData& faces, std::size_t numVertices, const Visit& visit) {
    std::size_t first = 0;
    const auto visitCorner = [&](std::size_t i) {
        const Index index = load<Index>(faces, first + i);
        if (index < 0 || static_cast<std::size_t>(index) >= numVertices)
            throw std::runtime_error("index out of range: " + std::to_string(index));
        visit(static_cast<std::size_t>(index));
    };
    for (const std::uint32_t length : faces.vListLength) {
        if (length < 3) throw std::runtime_error("a face of fewer than three corners");
        for (std::size_t i = 1; i + 1 < length; ++i) {
            visitCorner(0);
            visitCorner(i);
            visitCorner(i + 1);
        }
        first += length;
    }
}

/// The same for whatever type the numbers have.
template <typename Visit>
void visitCorners(const PlyData& faces, std::size_t numVertices, const Visit& visit) {
    if (faces.vListLength.size() != faces.count) throw std::runtime_error("indices of faces aren't lists");
    switch (faces.t) {
    case Type::INT8:
        return visitCorners<std::int8_t>(faces, numVertices, visit);
    case Type::UINT8:
        return visitCorners<std::uint8_t>(faces, numVertices, visit);
    case Type::INT16:
        return visitCorners<std::int16_t>(faces, numVertices, visit);
    case Type::UINT16:
        return visitCorners<std::uint16_t>(faces, numVertices, visit);
    case Type::INT32:
        return visitCorners<std::int32_t>(faces, numVertices, visit);
    case Type::UINT32:
        return visitCorners<std::uint32_t>(faces, numVertices, visit);
    default:
        throw std::runtime_error("indices of faces aren't whole numbers");
    }
}

void appendSoup(const Content& content, std::vector<Point3>& vOut) {
    std::vector<Point3> vVertex;
    appendVertices(content, vVertex);
    vOut.reserve(vOut.size() + 3 * content.pFaces->count);
    visitCorners(*content.pFaces, vVertex.size(), [&](std::size_t i) { vOut.push_back(vVertex[i]); });
}

/// fetch() with a line for the user when the file isn't as it should be.
Content fetchOrReport(std::istream& in, bool bPointsOnly) {
    try {
        return fetch(in, bPointsOnly);
    } catch (const std::exception& e) {
        TARN_KEL::out() << "tinyply exception: " << e.what() << std::endl;
        throw;
    }
}

/// Fetches a file and hands it to use(). A failure, of use() as well, is false and lines for the user.
template <typename Use>
bool readContent(const std::string& filename, bool bPointsOnly, const Use& use) {
    try {
        TARN_KEL::InputFile file(filename);
        if (!file.isOpen()) {
            warning("readPly", "Failed to open " + filename);
            return false;
        }
        const Content content = fetchOrReport(file.stream(), bPointsOnly);
        for (const Column& column : content.aColumn) {
            if (isCoordinateType(column.pData->t)) continue;
            warning("readPly", "unsupported type in " + filename);
            return false;
        }
        use(content);
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

/// True when the file is in its place, whole.
bool writeGeometry(geometry& geo, bool bFaces, const std::string& filename, bool bAscii) {
    try {
        TARN_KEL::AtomicFile out(filename);
        PlyFile file;
        const bool bExact = !geo.exactVertices.empty();
        bExact ? describeVertices(geo.exactVertices, Type::FLOAT64, file)
               : describeVertices(geo.vertices, Type::FLOAT32, file);
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

bool writeMesh(geometry& geo, const std::string& filename, bool bAscii) {
    if (writeGeometry(geo, true, filename, bAscii)) return true;
    TARN_KEL::out() << "Failed, filename=" << filename << "\nfailed to write " << filename << std::endl;
    return false;
}

}  // namespace

bool readPly(const std::string& filename, bool bPointsOnly, std::vector<Point3>& vOut) {
    const std::size_t numBefore = vOut.size();
    const bool bRead = readContent(filename, bPointsOnly, [&](const Content& content) {
        bPointsOnly ? appendVertices(content, vOut) : appendSoup(content, vOut);
    });
    if (!bRead) vOut.resize(numBefore);
    return bRead;
}

bool readPly(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices) {
    ASSEX(vVertices.empty());
    const std::size_t numBefore = vIndices.size();
    const bool bRead = readContent(filename, false, [&](const Content& content) {
        appendVertices(content, vVertices);
        vIndices.reserve(vIndices.size() + 3 * content.pFaces->count);
        visitCorners(*content.pFaces, vVertices.size(), [&](std::size_t i) { vIndices.push_back(toIndex(i)); });
    });
    if (!bRead) {
        vVertices.clear();
        vIndices.resize(numBefore);
    }
    return bRead;
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

bool writeMeshPly(const RMesh& rMesh, const std::string& filename, bool bAscii, Precision precision) {
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
    return PLY::writeMesh(geo, filename, bAscii);
}

bool writePointsPly(const std::vector<const Point3*>& vPoints, const std::string& filename, bool bAscii,
                    Precision precision) {
    out() << "writePointsPly, received " << vPoints.size() << " points" << std::endl;
    PLY::geometry geo;
    precision == Precision::DOUBLE ? geo.exactVertices.reserve(vPoints.size()) : geo.vertices.reserve(vPoints.size());
    for (const Point3* pPoint : vPoints)
        PLY::addVertex(*pPoint, precision, geo);
    if (PLY::writeGeometry(geo, false, filename, bAscii)) return true;
    out() << "Can't write " << filename << std::endl;
    return false;
}

}  // namespace TARN_KEL
