// Meshes to STL, OBJ and Geomview files, and the choice of a writer by the name of the file.
//
// Text is gathered in a buffer by appendNumber, ten times as fast as a stream, and goes to an AtomicFile: a mesh file is
// there as a whole or not at all. Coordinates have ten significant digits in STL and OBJ. A Geomview list is a drawing; it
// is the visualizer's.
#include "mesh_writers.h"

#include <vector>

#include "AtomicFile.h"
#include "CMesh.h"
#include "RMesh.h"
#include "Visualizer3.h"
#include "freeFunctions.h"
#include "textNumbers.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int DIGITS = 10;

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
    /// The three components with a blank before each and the end of the line behind them.
    template <typename Triple>
    void endLine(const Triple& triple) {
        for (const double c : {triple.x(), triple.y(), triple.z()}) {
            text += ' ';
            appendNumber(text, c, DIGITS);
        }
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

void writeFacet(TextFile& out, const Point3* const* aCorners) {
    bool bOK = false;
    const Vector3 normal = getNormalVector(*aCorners[0], *aCorners[1], *aCorners[2], bOK);
    out << "facet normal";
    out.endLine(bOK ? normal : Vector3());
    out << " outer loop\n";
    for (int i = 0; i < 3; ++i) {
        out << "  vertex";
        out.endLine(*aCorners[i]);
    }
    out << " endloop\nendfacet\n";
}

/// vCorners: three a triangle.
bool writeStlCorners(const std::vector<Point3*>& vCorners, const std::string& filename, const std::string& place) {
    TextFile out(filename);
    if (!out.isOpen()) {
        warning(place, "Failed to open " + filename);
        return false;
    }
    out << "solid - KEL\n";
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3)
        writeFacet(out, &vCorners[i]);
    out << "endsolid - KEL\n";
    if (out.commit()) return true;
    warning(place, "Failed to write " + filename);
    return false;
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
        err() << "Filename [" << filename << "] is not valid, using [kel_output.ply] instead" << std::endl;
        return mesh.writePly_BIN("kel_output.ply");
    }
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

bool writeSTL(RMesh* pRMesh, const std::string& filename) {
    ASSEX(pRMesh!=NULL);
    std::vector<Point3*> vCorners;
    pRMesh->getTriangleCorners(vCorners);
    return writeStlCorners(vCorners, filename, KEL_PLACE);
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
    return writeStlCorners(vCorners, filename, KEL_PLACE);
}

void toObj(MeshPtr pMesh, const std::string& filename) {
    ASSEX(pMesh!=NULL);
    TextFile file(filename);
    if (!file.isOpen()) {
        err() << "Can't write " << filename << std::endl;
        return;
    }
    out() << "Writing " << filename << std::endl;
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vVertices, vIndices);
    for (const Point3* pVtx : vVertices) {
        file << "v";
        file.endLine(*pVtx);
    }
    // The vertices of an OBJ file are numbered from 1.
    const auto number = [&](std::size_t i) { return static_cast<std::size_t>(vIndices[i]) + 1; };
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3) {
        file << "f " << number(i) << " " << number(i + 1) << " " << number(i + 2);
        file.endLine();
    }
    if (!file.commit()) err() << "Can't write " << filename << std::endl;
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
