// The readers of point and mesh files on the bytes that libFuzzer invents.
//
// The readers take names, so the bytes go to a file in the folder for temporary files; run.sh makes that one in memory. The
// program has a name for each reader; the one that it is called by says which to run.
//
// Beside what the sanitizers see, four promises are held against each call: earlier points remain, nothing is
// appended out of proportion to the file, a PLY or LAS reader that fails leaves the vector as it was, and a mesh is either
// null or in order. Points of LAS are finite. Text points are also held against a stream. What points carry has a row for
// each of them, and asking for it changes neither the points nor whether a file can be read. A broken promise, like any
// exception, ends the program.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzzing.h"
#include "kel.h"
#include "support/TempFolder.h"
#include "support/fine.h"
#include "support/points.h"

using namespace TARN_KEL;

namespace {

using Points = std::vector<Point3>;

/// To the bit: what isn't a number is the same as itself, too.
bool isSamePoint(const Point3& p, const Point3& q) {
    const auto bitsOf = [](const Point3& point) {
        return std::array{std::bit_cast<std::uint64_t>(point.x()), std::bit_cast<std::uint64_t>(point.y()),
                          std::bit_cast<std::uint64_t>(point.z())};
    };
    return bitsOf(p) == bitsOf(q);
}

/// What a reader appends. read: bool(Points&). mostPerByte: how many points a byte of the file may become.
template <typename Read>
Points appended(std::string_view bytes, bool bAllOrNothing, Read&& read, std::size_t mostPerByte = 8) {
    const Points vBefore{{1, 2, 3}, {4, 5, 6}};
    Points vPoints = vBefore;
    const bool bOk = read(vPoints);
    demand(vPoints.size() >= vBefore.size() && std::equal(vBefore.begin(), vBefore.end(), vPoints.begin()),
           "older points stay");
    vPoints.erase(vPoints.begin(), vPoints.begin() + 2);
    demand(vPoints.size() <= mostPerByte * bytes.size(), "not more points than the bytes justify");
    demand(bOk || !bAllOrNothing || vPoints.empty(), "a failure appends nothing");
    return vPoints;
}

/// Reads the points again, with what they carry, as a file of whatever format that is.
void fuzzAttributes(const std::string& file) {
    Points vPlain, vPoints;
    PointAttributes attributes;
    const bool bPlain = readPointFile(file, vPlain), bCarrying = readPointFile(file, vPoints, attributes);
    demand(bPlain == bCarrying, "attributes are no reason to refuse a file");
    demand(std::equal(vPlain.begin(), vPlain.end(), vPoints.begin(), vPoints.end(), isSamePoint), "points are the same");
    demand(bCarrying || attributes.empty(), "a failure adds no column");
    for (const AttributeColumn& column : attributes.vColumns) {
        demand(column.size() == vPoints.size(), "each point has a row");
        demand(column.vMissing.empty() || column.vMissing.size() == column.size(), "each value is known or not");
    }
}

void fuzzPointsAscii(const std::string& file, std::string_view bytes) {
    const Points vRead = appended(bytes, false, [&](Points& vPoints) { return readPoints_ASCII(file.c_str(), vPoints); });
    const Points vExpected = TARN_TEST::pointsByStreams(bytes);
    demand(vRead.size() == vExpected.size() && std::equal(vRead.begin(), vRead.end(), vExpected.begin()),
           "text points are what a stream extracts");
    fuzzAttributes(file);
}

void fuzzPointsBin(const std::string& file, std::string_view bytes) {
    appended(bytes, false, [&](Points& vPoints) { return readPoints_BIN(file.c_str(), vPoints); });
}

void fuzzPointsLas(const std::string& file, std::string_view bytes) {
    const Points vRead = appended(bytes, true, [&](Points& vPoints) { return readPointFile(file, vPoints); });
    demand(20 * vRead.size() <= bytes.size(), "a point of LAS has at least 20 bytes");
    demand(std::all_of(vRead.begin(), vRead.end(), isFinitePoint), "points of LAS are finite");
    fuzzAttributes(file);
}

void fuzzPointsPcd(const std::string& file, std::string_view bytes) {
    // Three bytes of a compressed block make up to 88 points of single bytes.
    appended(
        bytes, true, [&](Points& vPoints) { return readPoints_PCD(file.c_str(), vPoints); }, 30);
    fuzzAttributes(file);
}

/// A text in which a point takes a line of at least six bytes: three digits, what is between and behind them.
void fuzzPointsTable(const std::string& file, std::string_view bytes) {
    const Points vRead = appended(bytes, true, [&](Points& vPoints) { return readPointFile(file, vPoints); });
    demand(6 * vRead.size() <= bytes.size() + 1, "a point of a text has at least six bytes");
    fuzzAttributes(file);
}

void fuzzStl(const std::string& file, std::string_view bytes) {
    appended(bytes, false, [&](Points& vPoints) { return readSTL_ASCII(file.c_str(), vPoints); });
    appended(bytes, false, [&](Points& vPoints) { return readSTLTriCorners(file, vPoints); });
}

void fuzzPlyPoints(const std::string& file, std::string_view bytes) {
    appended(bytes, true, [&](Points& vPoints) { return readPly(file.c_str(), true, vPoints); });
    fuzzAttributes(file);
}

/// A file that numbers its vertices.
void fuzzNumberedMesh(const std::string& file, std::string_view bytes) {
    const Points vCorners = appended(bytes, true, [&](Points& vPoints) { return readTriangles_auto(file, vPoints); });
    demand(vCorners.size() % 3 == 0, "three corners per triangle");
    Points vVertices;
    std::vector<int> vIndices;
    readTriangles_auto(file, vVertices, vIndices);
    const auto isSame = [&](int i, const Point3& p) { return isSamePoint(p, vVertices.at(static_cast<std::size_t>(i))); };
    demand(std::equal(vIndices.begin(), vIndices.end(), vCorners.begin(), vCorners.end(), isSame),
           "numbered vertices are the corners");
}

void fuzzMeshText(const std::string& file, std::string_view bytes) {
    const Points vRead = appended(bytes, true, [&](Points& vPoints) { return readPointFile(file, vPoints); });
    demand(6 * vRead.size() <= bytes.size() + 1, "a vertex of a text has at least six bytes");
    fuzzAttributes(file);
    fuzzNumberedMesh(file, bytes);
}

void fuzzMeshFile(const std::string& file, std::string_view bytes, bool bJoin) {
    const MeshPtr pMesh = readMesh_auto(file, 0.0, bJoin);
    if (!pMesh) return;

    std::vector<Point3*> vCorners;
    pMesh->getTriangles(vCorners);
    demand(!vCorners.empty() && vCorners.size() <= 3 * bytes.size(), "a mesh has triangles, and not more than its file");
    for (const Point3* p : vCorners)
        demand(std::isfinite(p->x()) && std::isfinite(p->y()) && std::isfinite(p->z()), "the vertices of a mesh are finite");
    const std::string fault = TARN_TEST::firstFault(*pMesh->getRMesh());
    demand(fault.empty(), fault.c_str());
}

void fuzzMesh(const std::string& file, std::string_view bytes) {
    for (const bool bJoin : {false, true})
        fuzzMeshFile(file, bytes, bJoin);
}

struct Target {
    std::string_view reader, extension;
    void (*run)(const std::string& file, std::string_view bytes);
};
constexpr std::array<Target, 16> TARGETS{{
    {"mesh_obj", ".obj", fuzzMesh},
    {"mesh_off", ".off", fuzzMesh},
    {"mesh_ply", ".ply", fuzzMesh},
    {"mesh_stl", ".stl", fuzzMesh},
    {"obj", ".obj", fuzzMeshText},
    {"off", ".off", fuzzMeshText},
    {"ply_mesh", ".ply", fuzzNumberedMesh},
    {"ply_points", ".ply", fuzzPlyPoints},
    {"points_ascii", ".xyz", fuzzPointsAscii},
    {"points_bin", ".bin", fuzzPointsBin},
    {"points_csv", ".csv", fuzzPointsTable},
    {"points_las", ".las", fuzzPointsLas},
    {"points_pcd", ".pcd", fuzzPointsPcd},
    {"points_pts", ".pts", fuzzPointsTable},
    {"points_ptx", ".ptx", fuzzPointsTable},
    {"stl", ".stl", fuzzStl},
}};

const Target* pTarget = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(const int* /*argc*/, const char* const* const* argv) {
    pTarget = &chosenByName(TARGETS, &Target::reader, **argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TARN_TEST::TempFolder folder;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    pTarget->run(folder.write("input" + std::string(pTarget->extension), bytes), bytes);
    return 0;
}
