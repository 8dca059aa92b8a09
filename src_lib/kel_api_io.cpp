// The public functions on point files and triangle soups, and the step from a soup in a file to a mesh.
//
// The format of a file is determined by its first bytes where it has a signature, else by its name. Readers never append
// more than a fixed multiple of the file's length, whatever its header claims.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>

#include "AtomicFile.h"
#include "RMesh.h"
#include "RTop.h"
#include "Visualizer3.h"
#include "attributeColumns.h"
#include "bin_io.h"
#include "chosenPoints.h"
#include "csv_io.h"
#include "fileFormats.h"
#include "kel.h"
#include "las_io.h"
#include "numberForms.h"
#include "obj_io.h"
#include "off_io.h"
#include "pcd_io.h"
#include "plyReading.h"
#include "ply_io.h"
#include "pointChoice.h"
#include "pts_io.h"
#include "sortMT.h"
#include "stl_io.h"
#include "textNumbers.h"
#include "tools.h"
#include "xyz_io.h"

namespace TARN_KEL {

namespace {

constexpr unsigned LIST_POINT_SIZE = 10;  // the width of points in a Geomview list, in pixels

std::string nameOf(const char* filename) {
    return filename != nullptr ? filename : "";
}

bool fail(const std::string& text) {
    out() << text << std::endl;
    return false;
}

/// What a text of points has behind their coordinates, colours as bytes; may be nothing.
std::vector<Vector3> numbersBehind(const PointAttributes& attributes) {
    if (kindInText(attributes) == AttributeKind::NORMAL) return normalsOf(attributes);
    std::vector<Vector3> vColours = coloursOf(attributes);
    for (Vector3& colour : vColours)
        colour = asBytes(colour);
    return vColours;
}

/// Appends the vertices of a mesh. The triangles are read, too: a bad one makes a bad file.
template <typename Read>
bool readVertices(const Read& read, const std::string& filename, std::vector<Point3>& vPoints,
                  AttributeColumns* pAttributes) {
    std::vector<int> vIndices;
    return read(filename, vPoints, vIndices, pAttributes);
}

/// False, without a word, when the format is NONE. pAttributes: gets what the points carry; null where nobody wants it.
bool readPointsAs(PointFormat format, const std::string& filename, std::vector<Point3>& vPoints,
                  AttributeColumns* pAttributes = nullptr) {
    switch (format) {
    case PointFormat::ASCII:
        return readXyzFile(filename, vPoints, pAttributes);
    case PointFormat::BIN:
        return readBin(filename, vPoints, pAttributes);
    case PointFormat::PLY:
        return readPointsPly(filename, vPoints, pAttributes);
    case PointFormat::LAS:
        return readLas(filename, vPoints, pAttributes);
    case PointFormat::PCD:
        return readPcd(filename, vPoints, pAttributes);
    case PointFormat::PTS:
        return readPts(filename, vPoints, pAttributes);
    case PointFormat::PTX:
        return readPtx(filename, vPoints, pAttributes);
    case PointFormat::CSV:
        return readCsv(filename, vPoints, pAttributes);
    case PointFormat::OBJ:
        return readVertices(readObj, filename, vPoints, wantedColumns(pAttributes));
    case PointFormat::OFF:
        return readVertices(readOff, filename, vPoints, wantedColumns(pAttributes));
    case PointFormat::NONE:
        break;
    }
    return false;
}

/// With a line for a format that has no points.
bool readPointsOrSay(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    const PointFormat format = pointFormat(filename);
    if (isE57(filename)) return fail(filename + " " + E57_REFUSED);
    if (format == PointFormat::NONE) return fail("Filename extension of [" + filename + "] is none of a file with points");
    warnOfWrongName("readPointFile", filename);
    return readPointsAs(format, filename, vPoints, pAttributes);
}

/// Says which columns of a file aren't read.
void warnOfColumns(const std::string& filename, const AttributeColumns& columns) {
    for (const std::string& line : columns.notes())
        warning("readPointFile", std::string(filename).append(": ").append(line));
    if (columns.numLeftOut() > 0)
        warning("readPointFile", filename + ": left out " + toString(columns.numLeftOut()) + " columns");
    if (columns.numBytesLeftOut() > 0)
        warning("readPointFile", filename + ": left out " + toString(columns.numBytesLeftOut()) +
                                     " bytes of each point, which its format doesn't describe");
}

/// Reads points with what they carry, all of them or none. pAttributes: null where nobody wants it. read:
/// bool(AttributeColumns*), which appends points. pChoose: null where all points are wanted.
template <typename Read>
bool readWithAttributes(const std::string& filename, std::vector<Point3>& vPoints, PointAttributes* pAttributes,
                        const Read& read, const ChoosePoints* pChoose = nullptr) {
    const std::size_t numBefore = vPoints.size();
    AttributeColumns columns;
    pAttributes != nullptr ? requireRows(*pAttributes, numBefore) : columns.wantClassesOnly();
    if (pChoose != nullptr) columns.chooseBy(*pChoose, numBefore);
    if (!read(&columns)) {
        vPoints.resize(numBefore);
        return false;
    }
    columns.settle(vPoints);
    if (pAttributes == nullptr) return true;
    columns.nameChannels();
    warnOfColumns(filename, columns);
    try {
        columns.fillAll(vPoints.size() - numBefore);
        appendRows(std::move(columns.columns()), numBefore, vPoints.size() - numBefore, *pAttributes);
        return true;
    } catch (const std::bad_alloc&) {  // attributes are as they were
    } catch (const std::length_error&) {
    }
    vPoints.resize(numBefore);
    return fail(filename + " holds more columns than the memory");
}

LasClasses wantedClasses(const std::vector<int>& vClasses) {
    LasClasses aWanted{};
    for (const int number : vClasses) {
        ASSEX(number>=0 && number<=255);
        aWanted[static_cast<std::size_t>(number)] = true;
    }
    return aWanted;
}

std::vector<const Point3*> pointersTo(const std::vector<Point3>& vPoints) {
    std::vector<const Point3*> vPointers;
    vPointers.reserve(vPoints.size());
    for (const Point3& point : vPoints)
        vPointers.push_back(&point);
    return vPointers;
}

// ---- Meshes

/// Reads the corners of an STL file as vertices, each used once.
bool readStlNumbered(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices) {
    if (!readStl(filename, true, vVertices)) return false;
    const std::size_t numBefore = vIndices.size();
    vIndices.resize(numBefore + vVertices.size());
    std::iota(vIndices.begin() + static_cast<std::ptrdiff_t>(numBefore), vIndices.end(), 0);
    return true;
}

/// Reads a mesh as the file numbers its vertices, which must be none before. pAttributes: gets what they carry; null where
/// nobody wants it.
bool readNumbered(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                  AttributeColumns* pAttributes) {
    ASSEX(vVertices.empty());
    warnOfWrongName("readTriangles_auto", filename);
    switch (meshFormat(filename)) {
    case MeshFormat::PLY:
        return readMeshPly(filename, vVertices, vIndices, pAttributes);
    case MeshFormat::STL:
        if (readStlNumbered(filename, vVertices, vIndices)) return true;
        vVertices.clear();
        return false;
    case MeshFormat::OBJ:
        return readObj(filename, vVertices, vIndices, pAttributes);
    case MeshFormat::OFF:
        return readOff(filename, vVertices, vIndices, pAttributes);
    case MeshFormat::NONE:
        break;
    }
    return fail("Filename extension of [" + filename + "] is not valid, expected *.ply, *.stl, *.obj or *.off");
}

/// Appends three corners per triangle of a file that numbers its vertices.
bool readCornersByNumber(const std::string& filename, std::vector<Point3>& vCorners) {
    std::vector<Point3> vVertices;
    std::vector<int> vIndices;
    if (!readNumbered(filename, vVertices, vIndices, nullptr)) return false;
    vCorners.reserve(vCorners.size() + vIndices.size());
    for (const int index : vIndices)
        vCorners.push_back(vVertices[static_cast<std::size_t>(index)]);
    return true;
}

/// Three vertices by number, in the order of the file.
using Triple = std::array<std::size_t, 3>;

/// Creates the vertices of all triangles with three different, finite corners; with bJoin one for each place, else one for
/// each that is used. name: what a warning with the number of the other triangles begins with. vRow: gets, for each vertex
/// by its index in the mesh, a position in vVertices.
std::vector<Triple> createVertices(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices, bool bJoin,
                                   const std::string& name, RMesh& mesh, std::vector<std::size_t>& vRow) {
    constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();
    std::vector<std::size_t> vNumber(bJoin ? 0 : vVertices.size(), NONE);
    const auto placeOf = [&](int index) -> const Point3& { return vVertices[static_cast<std::size_t>(index)]; };
    const auto noteRow = [&](std::size_t number, int index) {
        if (number >= vRow.size()) vRow.resize(number + 1, static_cast<std::size_t>(index));
        return number;
    };
    const auto vertexOf = [&](int index) {
        if (bJoin) return noteRow(mesh.getVtxIndex(mesh.createVertex(placeOf(index), false)), index);
        std::size_t& number = vNumber[static_cast<std::size_t>(index)];
        if (number == NONE) number = noteRow(mesh.getVtxIndex(mesh.createVertexApart(placeOf(index))), index);
        return number;
    };
    std::vector<Triple> vTriple;
    vTriple.reserve(vIndices.size() / 3);
    std::size_t numEqual = 0, numNotFinite = 0;
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3) {
        const int a = vIndices[i], b = vIndices[i + 1], c = vIndices[i + 2];
        const Point3 &p0 = placeOf(a), &p1 = placeOf(b), &p2 = placeOf(c);
        if (!isFinitePoint(p0) || !isFinitePoint(p1) || !isFinitePoint(p2)) {
            ++numNotFinite;
        } else if (p0 == p1 || p1 == p2 || p2 == p0) {
            ++numEqual;
        } else {
            vTriple.push_back(Triple{vertexOf(a), vertexOf(b), vertexOf(c)});
        }
    }
    if (numEqual + numNotFinite != 0)
        warning("readMesh_auto", name + ": left out " + toString(numEqual) + " triangles with equal corners and " +
                                     toString(numNotFinite) + " with coordinates that aren't finite");
    return vTriple;
}

/// Keeps the first one of triangles with the same vertices. The others aren't created at all: a file may hold a triangle a
/// million times, and removing that many from an edge one by one is slow.
void dropEqual(std::vector<Triple>& vTriple) {
    std::vector<std::pair<Triple, std::size_t>> vSorted(vTriple.size());
    for (std::size_t i = 0; i < vTriple.size(); ++i) {
        vSorted[i] = {vTriple[i], i};
        std::sort(vSorted[i].first.begin(), vSorted[i].first.end());
    }
    sortMT(vSorted.begin(), vSorted.end());
    dropRepeatsOfFirst(vSorted);
    if (vSorted.size() == vTriple.size()) return;
    std::vector<std::size_t> vStays;
    vStays.reserve(vSorted.size());
    for (const auto& [triple, i] : vSorted)
        vStays.push_back(i);
    std::sort(vStays.begin(), vStays.end());
    for (std::size_t i = 0; i < vStays.size(); ++i)
        vTriple[i] = vTriple[vStays[i]];
    vTriple.resize(vStays.size());
}

/// Does the work of makeMesh(). name: what messages begin with.
MeshPtr meshOf(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices, double sideLen, bool bJoin,
               const std::string& name, std::vector<std::size_t>& vRow) {
    auto pRMesh = std::make_unique<RMesh>(sideLen);
    std::vector<std::size_t> vRowOfIndex;
    std::vector<Triple> vTriple = createVertices(vVertices, vIndices, bJoin, name, *pRMesh, vRowOfIndex);
    dropEqual(vTriple);
    for (const auto& [a, b, c] : vTriple)
        pRMesh->createT(pRMesh->getVtx(a), pRMesh->getVtx(b), pRMesh->getVtx(c));
    RTop(pRMesh.get()).finalizeBase();
    if (pRMesh->getNumT() == 0) {
        warning("readMesh_auto", name + " has no triangles");
        return nullptr;
    }
    if (!std::isfinite(sideLen) || !(sideLen > 0.0)) pRMesh->sideLen = pRMesh->getAvgLen();
    std::vector<Point3*> vAlive;
    pRMesh->getPoints(vAlive);
    vRow.clear();
    for (const Point3* p : vAlive)
        vRow.push_back(vRowOfIndex.at(pRMesh->getVtxIndex(p)));  // the clean-up makes no vertices
    auto pMesh = std::make_shared<Mesh>(pRMesh.get());
    static_cast<void>(pRMesh.release());  // the new one owns it
    return pMesh;
}

}  // namespace

int getFileType(const std::string& filename) {
    return formatByName(filename).type;
}

PointFormat pointFormat(const std::string& filename) {
    return formatOf(filename).points;
}

MeshFormat meshFormat(const std::string& filename) {
    return formatOf(filename).triangles;
}

bool isLasFile(const std::string& filename) {
    return pointFormat(filename) == PointFormat::LAS;
}

bool readPointFile(const std::string& filename, std::vector<Point3>& vPoints) {
    return readPointsOrSay(filename, vPoints, nullptr);
}

bool readPointFile(const std::string& filename, std::vector<Point3>& vPoints, PointAttributes& attributes) {
    return readWithAttributes(filename, vPoints, &attributes, [&](AttributeColumns* pAttributes) {
        return readPointsOrSay(filename, vPoints, pAttributes);
    });
}

bool readChosenPoints(const std::string& filename, const ChoosePoints& choose, std::vector<Point3>& vPoints,
                      PointAttributes* pAttributes) {
    const auto read = [&](AttributeColumns* pColumns) { return readPointsOrSay(filename, vPoints, pColumns); };
    return readWithAttributes(filename, vPoints, pAttributes, read, &choose);
}

bool readPoints_auto(std::string& filename, std::vector<Point3>& vPoints) {
    const PointFormat format = formatByName(filename).points;
    if (format != PointFormat::ASCII && format != PointFormat::BIN && format != PointFormat::PLY)
        return fail("Filename extension of [" + filename + "] is not valid, expected *.ply, *.xyz or *.bin");
    if (format == PointFormat::ASCII) return readPoints_ASCII(filename.c_str(), vPoints);
    if (format == PointFormat::PLY) return readPly(filename.c_str(), true, vPoints);
    return readPointsAs(format, filename, vPoints);
}

bool writePoints_auto(std::string& filename, std::vector<Point3>& vPoints, bool bAscii) {
    return writePoints_auto(filename, vPoints, bAscii, Precision::FLOAT);
}

bool writePoints_auto(std::string& filename, const std::vector<Point3>& vPoints, bool bAscii, Precision precision) {
    return writePoints_auto(filename, vPoints, bAscii, precision, PointAttributes());
}

bool writePoints_auto(std::string& filename, const std::vector<Point3>& vPoints, bool bAscii, Precision precision,
                      const PointAttributes& attributes) {
    requireRows(attributes, vPoints.size());
    if (precision == Precision::AUTO) precision = neededPrecision(filename, vPoints, bAscii);
    switch (getFileType(filename)) {
    case FT_PLY:
        return writePointsPly(pointersTo(vPoints), filename, bAscii, precision, attributes);
    case FT_ASCII:
        return writePoints_ASCII(filename.c_str(), vPoints,
                                 precision == Precision::DOUBLE ? EXACT_DIGITS : SHORT_TEXT.numDigits, attributes);
    case FT_BIN:
        return writeBin(filename, vPoints);
    case FT_LIST:
        return writeDrawing(filename, nullptr, true,
                            [&](Visualizer3& visualizer) { visualizer.writePoints(vPoints, LIST_POINT_SIZE, CRED); });
    default:
        out() << "Filename [" << filename << "] is not valid, using [kel_output_bin.ply] instead" << std::endl;
        return writePointsPly(pointersTo(vPoints), "kel_output_bin.ply", bAscii, precision, attributes);
    }
}

Precision neededPrecision(const std::string& filename, const std::vector<Point3>& vPoints, bool bAscii) {
    NumberForm form = bAscii ? SINGLE_TEXT : SINGLE_BYTES;
    switch (getFileType(filename)) {
    case FT_BIN:
    case FT_LIST:
        return Precision::FLOAT;
    case FT_ASCII:
        form = SHORT_TEXT;
        break;
    default:  // a PLY, also of another name
        break;
    }
    const std::vector<const Point3*> vPointers = pointersTo(vPoints);
    return losesShape(vPointers, form, surfaceSpacing(vPointers)) ? Precision::DOUBLE : Precision::FLOAT;
}

bool readPoints_BIN(const char* filename, std::vector<Point3>& vPoints) {
    return readBin(nameOf(filename), vPoints, nullptr);
}

bool writePoints_BIN(const char* filename, std::vector<Point3>& vPoints) {
    return writeBin(nameOf(filename), vPoints);
}

bool readPoints_ASCII(const char* filename, std::vector<Point3>& vPoints) {
    return readXyz(nameOf(filename), vPoints);
}

bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints) {
    return writePoints_ASCII(filename, vPoints, 6);
}

bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints, int digits) {
    return writePoints_ASCII(filename, vPoints, digits, PointAttributes());
}

bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints, int digits,
                       const PointAttributes& attributes) {
    requireRows(attributes, vPoints.size());
    const std::string name = nameOf(filename);
    const std::vector<Vector3> vBehind = numbersBehind(attributes);
    AtomicFile file(name);
    std::string line;
    const auto add = [&line](const auto& triple, int numDigits) {
        for (const double c : {triple.x(), triple.y(), triple.z()}) {
            if (!line.empty()) line += ' ';
            appendNumber(line, c, numDigits);
        }
    };
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        line.clear();
        add(vPoints[i], digits);
        if (!vBehind.empty()) add(vBehind[i], SHORT_TEXT.numDigits);
        line += '\n';
        file.write(line);
    }
    return file.commit() || fail(name + " can't be written");
}

bool readPoints_LAS(const char* filename, std::vector<Point3>& vPoints) {
    return readLas(nameOf(filename), vPoints);
}

bool readPoints_LAS(const char* filename, const std::vector<int>& vClasses, std::vector<Point3>& vPoints,
                    std::size_t& numOthers) {
    return readLas(nameOf(filename), wantedClasses(vClasses), vPoints, numOthers);
}

bool readPoints_LAS(const char* filename, const std::vector<int>& vClasses, std::vector<Point3>& vPoints,
                    std::size_t& numOthers, PointAttributes& attributes) {
    const LasClasses aWanted = wantedClasses(vClasses);
    const std::string name = nameOf(filename);
    std::size_t numOthersHere = numOthers;
    const bool bRead = readWithAttributes(name, vPoints, &attributes, [&](AttributeColumns* pAttributes) {
        return readLas(name, aWanted, vPoints, numOthersHere, pAttributes);
    });
    if (bRead) numOthers = numOthersHere;
    return bRead;
}

bool writePoints_LAS(const char* filename, const std::vector<Point3>& vPoints) {
    return writePoints_LAS(filename, vPoints, PointAttributes());
}

bool writePoints_LAS(const char* filename, const std::vector<Point3>& vPoints, const PointAttributes& attributes) {
    requireRows(attributes, vPoints.size());
    const std::string name = nameOf(filename), fault = writeLas(name, vPoints, attributes);
    return fault.empty() || fail(name + " " + fault);
}

bool readPoints_PCD(const char* filename, std::vector<Point3>& vPoints) {
    return readPcd(nameOf(filename), vPoints);
}

bool readPoints_PTS(const char* filename, std::vector<Point3>& vPoints) {
    return readPts(nameOf(filename), vPoints);
}

bool readPoints_PTX(const char* filename, std::vector<Point3>& vPoints) {
    return readPtx(nameOf(filename), vPoints);
}

bool readPoints_CSV(const char* filename, std::vector<Point3>& vPoints) {
    return readCsv(nameOf(filename), vPoints);
}

bool readSTL_ASCII(const char* filename, std::vector<Point3>& vPoints) {
    return readStl(nameOf(filename), false, vPoints);
}

bool readPly(const char* filename, bool bPointsOnly, std::vector<Point3>& vPoints) {
    return PLY::readPly(nameOf(filename), bPointsOnly, vPoints);
}

bool writePointsPly(const std::string& filename, std::vector<Point3>& vPoints, bool bAscii) {
    return writePointsPly(pointersTo(vPoints), filename, bAscii, Precision::FLOAT);
}

bool readTriangles_auto(const std::string& filename, std::vector<Point3>& vPoints) {
    if (meshFormat(filename) != MeshFormat::STL) return readCornersByNumber(filename, vPoints);
    warnOfWrongName("readTriangles_auto", filename);
    return readStl(filename, true, vPoints);
}

bool readTriangles_auto(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices) {
    return readNumbered(filename, vVertices, vIndices, nullptr);
}

bool readTriangles_auto(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                        PointAttributes& attributes) {
    ASSEX(attributes.empty());
    const std::size_t numBefore = vIndices.size();
    const bool bRead = readWithAttributes(filename, vVertices, &attributes, [&](AttributeColumns* pAttributes) {
        return readNumbered(filename, vVertices, vIndices, pAttributes);
    });
    if (!bRead) vIndices.resize(numBefore);
    return bRead;
}

MeshPtr readMesh_auto(const std::string& filename, double sideLen, bool bJoin) {
    std::vector<Point3> vVertices;
    std::vector<int> vIndices;
    if (!readNumbered(filename, vVertices, vIndices, nullptr)) return nullptr;
    std::vector<std::size_t> vRow;
    return meshOf(vVertices, vIndices, sideLen, bJoin || meshFormat(filename) == MeshFormat::STL, filename, vRow);
}

MeshPtr makeMesh(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices, double sideLen, bool bJoin) {
    std::vector<std::size_t> vRow;
    return makeMesh(vVertices, vIndices, sideLen, bJoin, vRow);
}

MeshPtr makeMesh(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices, double sideLen, bool bJoin,
                 std::vector<std::size_t>& vRow) {
    const auto isVertex = [numVertices = vVertices.size()](int i) {
        return i >= 0 && static_cast<std::size_t>(i) < numVertices;
    };
    const bool bInRange = std::all_of(vIndices.begin(), vIndices.end(), isVertex);
    ASSEX(bInRange);
    ASSEX(vIndices.size()%3==0);
    return meshOf(vVertices, vIndices, sideLen, bJoin, "the mesh", vRow);
}

}  // namespace TARN_KEL
