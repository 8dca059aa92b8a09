// Meshes to STL, OBJ, OFF and Geomview files, and the choice of a writer by the name of the file.
//
// Text is gathered in a buffer by appendNumber, ten times as fast as a stream, and goes to an AtomicFile: a mesh file is
// there as a whole or not at all. Coordinates have ten significant digits in STL, OBJ and OFF, or as many as a double needs.
// A Geomview list is a drawing; it is the visualizer's.
#include "mesh_writers.h"

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "AtomicFile.h"
#include "CMesh.h"
#include "RMesh.h"
#include "Visualizer3.h"
#include "attributeColumns.h"
#include "geometryFunctions.h"
#include "littleEndian.h"
#include "numberForms.h"
#include "ply_io.h"
#include "textNumbers.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Whether that form of the coordinates spoils the mesh.
Precision neededPrecision(const Mesh& mesh, const NumberForm& form) {
    std::vector<Point3*> vPoints;
    mesh.getPoints(vPoints);
    const bool bLoss = losesShape({vPoints.begin(), vPoints.end()}, form, mesh.getAverageEdgeLength());
    return bLoss ? Precision::DOUBLE : Precision::FLOAT;
}

/// A file of text lines.
class TextFile {
public:
    explicit TextFile(const std::string& filename) : file(filename) { text.reserve(FLUSH_AT + 1024); }
    bool isOpen() const { return file.isOpen(); }

    TextFile& operator<<(const char* part) {
        text += part;
        return *this;
    }
    TextFile& operator<<(std::size_t number) {
        appendInt(text, number);
        return *this;
    }
    /// The three components with a blank before each that isn't first in its line.
    template <typename Triple>
    void add(const Triple& triple, int digits) {
        for (const double c : {triple.x(), triple.y(), triple.z()}) {
            if (!text.empty() && text.back() != '\n') text += ' ';
            appendNumber(text, c, digits);
        }
    }
    /// The same and the end of the line.
    template <typename Triple>
    void endLine(const Triple& triple, int digits = LONG_TEXT.numDigits) {
        add(triple, digits);
        endLine();
    }
    void endLine() {
        text += '\n';
        if (text.size() > FLUSH_AT) flush();
    }
    bool commit() {
        flush();
        return file.commit();
    }

private:
    static constexpr std::size_t FLUSH_AT = 1 << 16;

    void flush() {
        file.write(text);
        text.clear();
    }

    AtomicFile file;
    std::string text;
};

void writeFacet(TextFile& out, const Point3* const* aCorners, int digits) {
    bool bOK = false;
    const Vector3 normal = getNormalVector(*aCorners[0], *aCorners[1], *aCorners[2], bOK);
    out << "facet normal";
    out.endLine(bOK ? normal : Vector3());
    out << " outer loop\n";
    for (int i = 0; i < 3; ++i) {
        out << "  vertex";
        out.endLine(*aCorners[i], digits);
    }
    out << " endloop\nendfacet\n";
}

/// vCorners: three a triangle. digits: of coordinates; normals have as many as ever.
bool writeStlCorners(const std::vector<Point3*>& vCorners, const std::string& filename, int digits,
                     const std::string& place) {
    TextFile out(filename);
    if (!out.isOpen()) {
        warning(place, "Failed to open " + filename);
        return false;
    }
    out << "solid - KEL\n";
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3)
        writeFacet(out, &vCorners[i], digits);
    out << "endsolid - KEL\n";
    if (out.commit()) return true;
    warning(place, "Failed to write " + filename);
    return false;
}

/// The name to write to in place of one that says no format.
std::string nameInstead(const std::string& filename) {
    err() << "Filename [" << filename << "] is not valid, using [kel_output.ply] instead" << std::endl;
    return "kel_output.ply";
}

bool writeByType(const std::string& filename, const Mesh& mesh, bool bAscii) {
    switch (getFileType(filename)) {
    case FT_PLY:
        return bAscii ? mesh.writePly_ASCII(filename) : mesh.writePly_BIN(filename);
    case FT_STL:
        return mesh.writeStl_ASCII(filename);
    case FT_LIST:
        return mesh.writeGeomview_ASCII(filename);
    default:
        return mesh.writePly_BIN(nameInstead(filename));
    }
}

/// Of the formats that have a choice. All others are written as without one.
bool writeDoublesByType(const std::string& filename, Mesh& mesh, bool bAscii) {
    switch (getFileType(filename)) {
    case FT_PLY:
        return writeMeshPly(*mesh.getRMesh(), filename, bAscii, Precision::DOUBLE);
    case FT_STL: {
        std::vector<Point3*> vCorners;
        mesh.getTriangles(vCorners);
        return writeStlCorners(vCorners, filename, EXACT_DIGITS, KEL_PLACE);
    }
    case FT_LIST:
        return writeByType(filename, mesh, bAscii);
    default:
        return writeMeshPly(*mesh.getRMesh(), nameInstead(filename), false, Precision::DOUBLE);
    }
}

/// A text of vertices and of faces with their numbers.
struct NumberedForm {
    const char* vertex;  ///< before the coordinates
    const char* face;    ///< before the three numbers
    std::size_t first;   ///< the number of the first vertex
    bool bAnnounced;     ///< prints the name of the file
    bool bCounted;       ///< begins with a header with the numbers of vertices, triangles and edges, for which 0 will do
};
constexpr NumberedForm OBJ_FORM{"v", "f ", 1, true, false};
constexpr NumberedForm OFF_FORM{"", "3 ", 0, false, true};

/// aCorners: three positions of vertices, which are those of their normals, too.
void writeFace(TextFile& file, const NumberedForm& form, const int* aCorners, bool bNormals) {
    file << form.face;
    for (int i = 0; i < 3; ++i) {
        const std::size_t number = static_cast<std::size_t>(aCorners[i]) + form.first;
        file << (i == 0 ? "" : " ") << number;
        if (bNormals) file << "//" << number;
    }
    file.endLine();
}

void requireRowPerVertex(const PointAttributes& attributes, const Mesh& mesh) {
    if (attributes.empty()) return;
    std::vector<Point3*> vPoints;
    mesh.getPoints(vPoints);
    requireRows(attributes, vPoints.size());
}

/// What a text may say of its vertices: a normal and a colour for each, or none.
struct VertexExtras {
    std::vector<Vector3> vNormals, vColours;
};

/// An OFF file has normals and colours behind the coordinates, in this order, an OBJ has only colours there.
void writeVertices(TextFile& file, const NumberedForm& form, const std::vector<Point3*>& vVertices, int digits,
                   const VertexExtras& extras) {
    const bool bOff = form.bCounted;
    for (std::size_t i = 0; i < vVertices.size(); ++i) {
        file << form.vertex;
        file.add(*vVertices[i], digits);
        if (bOff && !extras.vNormals.empty()) file.add(extras.vNormals[i], SHORT_TEXT.numDigits);
        if (!extras.vColours.empty())
            file.add(bOff ? asBytes(extras.vColours[i]) : extras.vColours[i], SHORT_TEXT.numDigits);
        file.endLine();
    }
    if (bOff) return;
    for (const Vector3& normal : extras.vNormals) {
        file << "vn";
        file.endLine(normal, SHORT_TEXT.numDigits);
    }
}

bool writeNumbered(Mesh& mesh, const std::string& filename, Precision precision, const NumberedForm& form,
                   const VertexExtras& extras = {}) {
    if (precision == Precision::AUTO) precision = neededPrecision(mesh, LONG_TEXT);
    const int digits = precision == Precision::DOUBLE ? EXACT_DIGITS : LONG_TEXT.numDigits;
    TextFile file(filename);
    if (!file.isOpen()) {
        err() << "Can't write " << filename << std::endl;
        return false;
    }
    if (form.bAnnounced) out() << "Writing " << filename << std::endl;
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    mesh.getVertexIndexData(vVertices, vIndices);
    if (form.bCounted) {
        file << (extras.vColours.empty() ? "" : "C") << (extras.vNormals.empty() ? "" : "N") << "OFF\n"
             << vVertices.size() << " " << vIndices.size() / 3 << " 0";
        file.endLine();
    }
    writeVertices(file, form, vVertices, digits, extras);
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3)
        writeFace(file, form, &vIndices[i], !form.bCounted && !extras.vNormals.empty());
    if (file.commit()) return true;
    err() << "Can't write " << filename << std::endl;
    return false;
}

/// vCorners: three a triangle, which are moved by shift.
bool writeBinaryStl(const std::vector<Point3*>& vCorners, const std::string& filename, const Vector3& shift) {
    constexpr std::size_t HEADER = 84, FACET = 50, VECTOR = 12;  // bytes; see stl_io.cpp
    const std::size_t numTriangles = vCorners.size() / 3;
    if (numTriangles > std::numeric_limits<std::uint32_t>::max()) return false;
    AtomicFile file(filename);
    std::array<char, HEADER> header{};  // must not begin as a text does
    storeInt(header.data() + HEADER - sizeof(std::uint32_t), static_cast<std::uint32_t>(numTriangles));
    file.write({header.data(), header.size()});
    std::array<char, FACET> facet{};
    const auto put = [&facet](std::size_t byte, const auto& triple) {
        storeFloat(&facet[byte], static_cast<float>(triple.x()));
        storeFloat(&facet[byte + 4], static_cast<float>(triple.y()));
        storeFloat(&facet[byte + 8], static_cast<float>(triple.z()));
    };
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3) {
        bool bOK = false;
        const Vector3 normal = getNormalVector(*vCorners[i], *vCorners[i + 1], *vCorners[i + 2], bOK);
        put(0, bOK ? normal : Vector3());
        for (std::size_t corner = 0; corner < 3; ++corner)
            put((corner + 1) * VECTOR, *vCorners[i + corner] + shift);
        file.write({facet.data(), facet.size()});
    }
    return file.commit();
}

/// Three corners a triangle.
bool writeListCorners(const std::vector<Point3*>& vCorners, const std::string& filename, bool bAuthorized) {
    std::vector<Point3> vPoints;
    vPoints.reserve(vCorners.size());
    for (const Point3* pCorner : vCorners)
        vPoints.push_back(*pCorner);
    return writeDrawing(filename, nullptr, bAuthorized, [&](Visualizer3& visualizer) {
        visualizer.setBackfaces(true);
        visualizer.writeTriangles(vPoints, CDARKORANGE, false);
    });
}

}  // namespace

bool writeMesh_auto(const std::string& filename, MeshPtr pMesh, bool bAscii) {
    ASSEX(pMesh!=NULL);
    if (writeByType(filename, *pMesh, bAscii)) return true;
    warning(KEL_PLACE, "writing " + filename + " failed");
    return false;
}

bool writeMesh_auto(const std::string& filename, MeshPtr pMesh, bool bAscii, Precision precision) {
    ASSEX(pMesh!=NULL);
    if (precision == Precision::AUTO) {
        const int type = getFileType(filename);
        const bool bKnown = type == FT_PLY || type == FT_STL || type == FT_LIST;
        precision = bKnown ? neededPrecision(filename, pMesh, bAscii) : neededPrecision(*pMesh, SINGLE_BYTES);
    }
    if (precision == Precision::FLOAT) return writeMesh_auto(filename, pMesh, bAscii);
    if (writeDoublesByType(filename, *pMesh, bAscii)) return true;
    warning(KEL_PLACE, "writing " + filename + " failed");
    return false;
}

bool writeMesh_auto(const std::string& filename, MeshPtr pMesh, bool bAscii, Precision precision,
                    const PointAttributes& attributes) {
    ASSEX(pMesh!=NULL);
    requireRowPerVertex(attributes, *pMesh);
    const int type = getFileType(filename);
    if (attributes.empty() || type == FT_STL || type == FT_LIST) return writeMesh_auto(filename, pMesh, bAscii, precision);
    const bool bText = bAscii && type == FT_PLY;
    if (precision == Precision::AUTO) precision = neededPrecision(*pMesh, bText ? SINGLE_TEXT : SINGLE_BYTES);
    const std::string name = type == FT_PLY ? filename : nameInstead(filename);
    if (writeMeshPly(*pMesh->getRMesh(), name, bText, precision, attributes)) return true;
    warning(KEL_PLACE, "writing " + filename + " failed");
    return false;
}

Precision neededPrecision(const std::string& filename, MeshPtr pMesh, bool bAscii) {
    ASSEX(pMesh!=NULL);
    switch (getFileType(filename)) {
    case FT_PLY:
        return neededPrecision(*pMesh, bAscii ? SINGLE_TEXT : SINGLE_BYTES);
    case FT_LIST:
        return Precision::FLOAT;
    default:
        return neededPrecision(*pMesh, LONG_TEXT);
    }
}

bool writeSTL(RMesh* pRMesh, const std::string& filename) {
    ASSEX(pRMesh!=NULL);
    std::vector<Point3*> vCorners;
    pRMesh->getTriangleCorners(vCorners);
    return writeStlCorners(vCorners, filename, LONG_TEXT.numDigits, KEL_PLACE);
}

bool writeSTL(CMesh* pCMesh, std::map<CCD, Bundle*> mCCDBundle, const std::string& filename) {
    ASSEX(pCMesh!=NULL);
    std::vector<VCD> vVCD;
    pCMesh->getTriangleCorners(vVCD);
    std::vector<Point3*> vCorners;
    vCorners.reserve(vVCD.size());
    for (const VCD vcd : vVCD) {
        const auto q_it = mCCDBundle.find(vcd);
        ASSEX(q_it!=mCCDBundle.end());
        const Bundle* pBundle = q_it->second;
        ASSEX(pBundle!=NULL && pBundle->pVtx!=NULL);
        vCorners.push_back(pBundle->pVtx);
    }
    return writeStlCorners(vCorners, filename, LONG_TEXT.numDigits, KEL_PLACE);
}

void toObj(MeshPtr pMesh, const std::string& filename) {
    ASSEX(pMesh!=NULL);
    writeNumbered(*pMesh, filename, Precision::FLOAT, OBJ_FORM);
}

bool toObj(MeshPtr pMesh, const std::string& filename, Precision precision) {
    ASSEX(pMesh!=NULL);
    return writeNumbered(*pMesh, filename, precision, OBJ_FORM);
}

bool toObj(MeshPtr pMesh, const std::string& filename, Precision precision, bool bNormals) {
    return toObj(pMesh, filename, precision, bNormals, PointAttributes());
}

bool toObj(MeshPtr pMesh, const std::string& filename, Precision precision, bool bNormals,
           const PointAttributes& attributes) {
    ASSEX(pMesh!=NULL);
    requireRowPerVertex(attributes, *pMesh);
    VertexExtras extras;
    extras.vNormals = bNormals ? vertexNormals(pMesh) : normalsOf(attributes);
    extras.vColours = coloursOf(attributes);
    return writeNumbered(*pMesh, filename, precision, OBJ_FORM, extras);
}

bool toOff(MeshPtr pMesh, const std::string& filename, Precision precision) {
    ASSEX(pMesh!=NULL);
    return writeNumbered(*pMesh, filename, precision, OFF_FORM);
}

bool toOff(MeshPtr pMesh, const std::string& filename, Precision precision, const PointAttributes& attributes) {
    ASSEX(pMesh!=NULL);
    requireRowPerVertex(attributes, *pMesh);
    return writeNumbered(*pMesh, filename, precision, OFF_FORM, {normalsOf(attributes), coloursOf(attributes)});
}

bool writeSTL_BIN(MeshPtr pMesh, const std::string& filename) {
    return writeSTL_BIN(pMesh, filename, Vector3());
}

bool writeSTL_BIN(MeshPtr pMesh, const std::string& filename, const Vector3& shift) {
    ASSEX(pMesh!=NULL);
    std::vector<Point3*> vCorners;
    pMesh->getTriangles(vCorners);
    if (writeBinaryStl(vCorners, filename, shift)) return true;
    warning(KEL_PLACE, "writing " + filename + " failed");
    return false;
}

bool writeList(RMesh* pRMesh, const std::string& filename, bool bAuthorized) {
    ASSEX(pRMesh!=NULL);
    std::vector<Point3*> vCorners;
    pRMesh->getTriangleCorners(vCorners);
    return writeListCorners(vCorners, filename, bAuthorized);
}

bool writeList(CMesh* pCMesh, const std::string& filename, bool bAuthorized) {
    ASSEX(pCMesh!=NULL);
    std::vector<Point3*> vCorners;
    pCMesh->getTriangleCorners(vCorners);
    return writeListCorners(vCorners, filename, bAuthorized);
}

}  // namespace TARN_KEL
