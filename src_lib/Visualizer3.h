// Drawings for the Geomview viewer, and the one place that decides which of them reach the disk.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Calc.h"
#include "Segment3.h"
#include "colours.h"
#include "drawOnTheWay.h"
#include "kel.h"

namespace TARN_KEL {

class AtomicFile;
class CEdge;
class CMesh;
class CTriangle;
class REdge;
class RTriangle;

/// A file of the Geomview viewer in its OOGL format: a list of coloured objects, each written by one operation.
///
/// The file appears when it is closed, as a whole or not at all, since the stream writes to an AtomicFile. When something
/// fails, or an exception ends the drawing, an older file is kept. The own file of the base class is never open. On an
/// invalid object no operation writes anything.
///
/// A drawing that the user asks for is authorised. All others, the show operations of the classes, are for debugging and
/// need bDebugAuthorized; without it the assertion of the constructor fails. A drawing that an operation makes on its way is
/// inside drawOnTheWay(), so that the operation isn't disturbed.
///
/// All writers take O(n). Pointers must not be null. Elements are written as they are, dead ones included.
class Visualizer3 : public std::ofstream {
public:
    /// Prints whether the drawing is authorised. If it is, opens the file; when that fails it warns, and the object is
    /// invalid. If not, throws (assertion); no file is touched.
    /// pCalc: the grid for cells, may be null; not owned, must outlive this object.
    Visualizer3(const std::string& filename, const Calc* pCalc, bool bAuthorized);
    /// Closes the file; drops it during stack unwinding by an exception.
    ~Visualizer3() override;
    Visualizer3(const Visualizer3&) = delete;
    Visualizer3& operator=(const Visualizer3&) = delete;

    /// Opens the file; warns and returns false when it can't be written. Only for the constructor.
    bool openFile(const std::string& filename);
    /// Ends the list and puts the file in its place. Returns true when all of it was written; false also when none is open.
    bool closeFile();
    /// Whether the file is open and the list has begun.
    bool isValid() const { return pFile != nullptr; }

    /// Sets whether startList() makes the viewer light back faces like front faces. True at the start.
    void setBackfaces(bool bBackfaces_) { bBackfaces = bBackfaces_; }
    /// From now on coarse triangles and edges are drawn at the points of this mesh; null: at the midpoints of their cells,
    /// for which there must be a grid. The mesh isn't owned and must outlive the drawing.
    void setMesh(const CMesh* pMesh) { pCMesh = pMesh; }
    const CMesh* getMesh() const { return pCMesh; }
    bool hasCalc() const { return pCalc != nullptr; }

    // ---- Surfaces

    /// Write the head and the end of an OFF object. Between them the caller writes numVertices lines of coordinates, then
    /// numFaces lines of faces.
    void startList(std::size_t numVertices, std::size_t numFaces, bool bEdges);
    void endList();
    void writeTriangle(const Point3& p0, const Point3& p1, const Point3& p2, const std::string& color);
    void writeTriangle(const RTriangle* pRT, const std::string& color);
    /// vCorners: three per triangle.
    /// bNormals: draw the normals too, of length 1 from the centroids; triangles without area have none.
    void writeTriangles(const std::vector<Point3>& vCorners, const std::string& color, bool bNormals);
    void writeTriangles(const std::vector<RTriangle*>& vRT, const std::string& color, bool bNormals);
    void writeTriangles(const std::vector<CTriangle*>& vCT, const std::string& color, bool bNormals);

    // ---- Points: dots; size: in pixels. For an empty list they print a line.

    void writePoint(const Point3& point, unsigned size, const std::string& color);
    void writePoints(const std::vector<Point3>& vPoints, unsigned size, const std::string& color);
    void writePoints(const std::vector<Point3*>& vPoints, unsigned size, const std::string& color);

    // ---- Lines; bEnds: with dots on their ends. For an empty list they write nothing.

    void writeSegments(const std::vector<Segment3>& vSegments, const std::string& color, bool bEnds);
    void writeSegments(const std::vector<REdge*>& vRE, const std::string& color, bool bEnds);
    void writeSegments(const std::vector<CEdge*>& vCE, const std::string& color, bool bEnds);
    /// REdge or CEdge by degree, lowest first, in the order of the list: 1 in red, 3 in purple, 4 in light blue, 5 and more
    /// in pink; for each degree one object and one for its ends. Degrees 0 and 2 aren't drawn.
    template <typename Edge>
    void writeDegrees(const std::vector<Edge*>& vEdges);

    // ---- Cells of the grid, which must not be null (assertion)

    /// The cells as boxes, one object for all of them.
    void writeCb(CCD ccd, const std::string& color);
    void writeCbs(const VCCD& vCCD, const std::string& color);
    void writeRCD(RCD rcd, const std::string& color);
    void writeRCD(const VRCD& vRCD, const std::string& color);
    /// Lattice points.
    void writeRCC(RCC rcc, unsigned size, const std::string& color);
    void writeRCC(const VRCC& vRCC, unsigned size, const std::string& color);
    /// The midpoints of the cells.
    void writePoints(const VCCD& vCCD, unsigned size, const std::string& color);

    // ---- Colours

    /// The colour of that index, 0 to 26, in the order of colours.h. Higher ones count modulo 26, negative ones as 0.
    static std::string getColor(int i);
    /// The next colour of the process; black, purple, light gray and white are skipped. Safe on any thread.
    static std::string getNextColor();
    /// The colour of writeDegrees(); null for a degree that isn't drawn.
    static const char* getDegreeColor(int degree);

    static std::atomic<int> nextColor;  ///< the index with which getNextColor() continues, from 0
    /// Enables drawings for debugging. It is false, and nothing in the library changes that, so that no file is written that
    /// the user didn't ask for; a developer sets it in a debugger or a test.
    static std::atomic<bool>& bDebugAuthorized;

    const Calc* pCalc;  ///< not owned, may be null
    bool bAuthorized;

private:
    Point3 getPosition(VCD vcd) const;
    void writeFaces(const std::vector<Point3>& vCorners, std::size_t faceSize, const std::string& color);

    bool bBackfaces = true;
    std::unique_ptr<AtomicFile> pFile;                           // while it is open; the buffer of the stream is its own
    const int numExceptionsBefore = std::uncaught_exceptions();  // at the start of the drawing
    const CMesh* pCMesh = nullptr;                               // not owned
};

template <typename Edge>
void Visualizer3::writeDegrees(const std::vector<Edge*>& vEdges) {
    std::map<int, std::vector<Edge*>> mDegEdges;
    for (Edge* pEdge : vEdges)
        if (getDegreeColor(pEdge->getDegree()) != nullptr) mDegEdges[pEdge->getDegree()].push_back(pEdge);
    for (const auto& [degree, vOfDegree] : mDegEdges)
        writeSegments(vOfDegree, getDegreeColor(degree), true);
}

/// Writes a whole file: draw() is called with the open list. Returns false when the file can't be opened or, after a
/// warning, when it can't be written completely.
bool writeDrawing(const std::string& filename, const Calc* pCalc, bool bAuthorized,
                  const std::function<void(Visualizer3&)>& draw);

/// The same for debugging: throws (assertion) unless Visualizer3::bDebugAuthorized is true.
void writeDebugDrawing(const std::string& filename, const Calc* pCalc, const std::function<void(Visualizer3&)>& draw);

}  // namespace TARN_KEL
