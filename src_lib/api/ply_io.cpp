// Writes points and meshes to PLY files.
#include "ply_io.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <list>
#include <map>
#include <set>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "AtomicFile.h"
#include "Bundle.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "RMesh.h"
#include "RTriangle.h"
#include "attributeColumns.h"
#include "numberForms.h"
#include "textNumbers.h"
#include "tinyply.h"
#include "tools.h"

namespace PLY {

using TARN_KEL::AttributeColumn;
using TARN_KEL::Bundle;
using TARN_KEL::CCD;
using TARN_KEL::CMesh;
using TARN_KEL::CTriangle;
using TARN_KEL::Point3;
using TARN_KEL::PointAttributes;
using TARN_KEL::Precision;
using TARN_KEL::RMesh;
using TARN_KEL::VCD;

namespace {

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
