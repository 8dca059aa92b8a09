// KEL: surface reconstruction from unordered points. The one public header.
//
// A caller hands over points and gets a triangle mesh:
//
//     std::vector<TARN_KEL::Point3> vPoints;                       // any order, no normals
//     TARN_KEL::readPoints_auto(filename, vPoints);
//     TARN_KEL::MeshPtr pMesh = TARN_KEL::reconstruct_auto(vPoints, false, 1.1, -1);
//     if (pMesh) TARN_KEL::writeMesh_auto("mesh.ply", pMesh, false);
//
// Coordinates and lengths are doubles in the caller's own unit, angles are degrees. Each call works on the caller's thread
// and uses all processors, or as many as setNumThreads() says, through one worker pool of the library; calls from several
// threads at once are independent, but one Mesh belongs to one thread at a time. There is nothing to initialise. Messages go
// to standard output, but for two that say so, or where setMessageSink() sends them.
//
// Failure: input that yields nothing gives a null MeshPtr, an empty result or -1.0 and a warning. Wrong use and violated
// internal conditions print a report and throw KelBugException; what the caller's own listener throws comes through as well.
// File functions return false and print a line. What a run holds is freed on the way out, and the next run of the thread
// starts afresh, whatever became of this one.
#pragma once

#include <cmath>
#include <cstddef>
#include <exception>
#include <functional>
#include <iosfwd>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace TARN_KEL {

class RMesh;

/// A vector in space. The default value is (0, 0, 0).
class Vector3 {
public:
    constexpr Vector3() = default;
    constexpr Vector3(double x, double y, double z) : x_(x), y_(y), z_(z) {}

    constexpr double x() const { return x_; }
    constexpr double y() const { return y_; }
    constexpr double z() const { return z_; }
    void set(double x, double y, double z) {
        x_ = x;
        y_ = y;
        z_ = z;
    }

    double length() const { return std::sqrt(sqLength()); }
    constexpr double sqLength() const { return x_ * x_ + y_ * y_ + z_ * z_; }

    /// The dot product.
    constexpr double operator*(const Vector3& v) const { return x_ * v.x_ + y_ * v.y_ + z_ * v.z_; }
    constexpr Vector3 operator*(double f) const { return {x_ * f, y_ * f, z_ * f}; }
    /// Division by 0.0 isn't guarded.
    constexpr Vector3 operator/(double f) const { return {x_ / f, y_ / f, z_ / f}; }
    constexpr Vector3 operator+(const Vector3& v) const { return {x_ + v.x_, y_ + v.y_, z_ + v.z_}; }
    constexpr Vector3 operator-(const Vector3& v) const { return {x_ - v.x_, y_ - v.y_, z_ - v.z_}; }
    constexpr Vector3 operator-() const { return {-x_, -y_, -z_}; }
    Vector3& operator+=(const Vector3& v) { return *this = *this + v; }
    Vector3& operator-=(const Vector3& v) { return *this = *this - v; }
    Vector3& operator*=(double f) { return *this = *this * f; }
    Vector3& operator/=(double f) { return *this = *this / f; }

    /// Component 0, 1 or 2. Another index prints a line and yields the largest double.
    double getCartesian(int i) const;
    /// The largest absolute value of the three components.
    double getMaxAbsComponent() const;
    /// The index of the component of largest absolute value; ties go to the lower index.
    int getMaxAbsIndex() const;
    /// True when this is a normal vector: its squared length differs from 1 by less than 0.03.
    bool isNV() const;
    /// True when all components are exactly 0.0; false with a NaN.
    constexpr bool isDegenerate() const { return x_ == 0.0 && y_ == 0.0 && z_ == 0.0; }

private:
    double x_ = 0.0, y_ = 0.0, z_ = 0.0;
};

/// The cross product a x b.
constexpr Vector3 crossProduct(const Vector3& a, const Vector3& b) {
    return {a.y() * b.z() - a.z() * b.y(), a.z() * b.x() - a.x() * b.z(), a.x() * b.y() - a.y() * b.x()};
}

/// A point in space: a plain value. Ordered by x, then y, then z; equality is exact equality of the three values.
class Point3 {
public:
    constexpr Point3() = default;
    constexpr Point3(double x, double y, double z) : x_(x), y_(y), z_(z) {}

    constexpr double x() const { return x_; }
    constexpr double y() const { return y_; }
    constexpr double z() const { return z_; }

    constexpr bool operator==(const Point3& p) const { return x_ == p.x_ && y_ == p.y_ && z_ == p.z_; }
    constexpr bool operator!=(const Point3& p) const { return !(*this == p); }
    constexpr bool operator<(const Point3& p) const {
        if (x_ != p.x_) return x_ < p.x_;
        if (y_ != p.y_) return y_ < p.y_;
        return z_ < p.z_;
    }

    constexpr Vector3 operator-(const Point3& p) const { return {x_ - p.x_, y_ - p.y_, z_ - p.z_}; }
    constexpr Point3 operator+(const Vector3& v) const { return {x_ + v.x(), y_ + v.y(), z_ + v.z()}; }
    constexpr Point3 operator-(const Vector3& v) const { return {x_ - v.x(), y_ - v.y(), z_ - v.z()}; }

private:
    double x_ = 0.0, y_ = 0.0, z_ = 0.0;
};

inline bool isFinitePoint(const Point3& p) {
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

/// Components separated by blanks, in the format of the stream.
std::ostream& operator<<(std::ostream& out, const Vector3& v);
std::ostream& operator<<(std::ostream& out, const Point3& p);

/// The one exception of the library: a violated internal condition or wrong use. Its report is on standard output already.
class KelBugException : public std::exception {
public:
    const char* what() const noexcept override;
};

/// Hears the progress of a run. Derive from it and hand it to subscribe().
class ProgressBase {
public:
    virtual ~ProgressBase() = default;
    /// Called on the thread of the run about 200 times. name: the kind of run, such as "Reconstruct"; fraction: 0.0 to 1.0.
    /// Return quickly and don't call back into the library. An exception thrown here ends the run and reaches the caller of
    /// the run with nothing leaked: this is the way to cancel.
    virtual void update(const std::string& name, double fraction) = 0;
};

/// A triangle mesh in the coordinates of the input. Made by the functions below; it needs nothing else of a run.
///
/// Point3 pointers that it hands out stay its own; they are valid until the mesh is changed or destroyed.
class Mesh {
public:
    /// Takes ownership.
    explicit Mesh(RMesh* pRMesh);
    ~Mesh();
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    RMesh* getRMesh() { return pRMesh; }
    /// Mean length of the edges; -1.0 for a mesh without edges.
    double getAverageEdgeLength() const;
    /// Appends three corners a triangle, in orientation order.
    void getTriangles(std::vector<Point3*>& vCorners) const;
    /// Every used vertex once. The vector must be empty.
    void getPoints(std::vector<Point3*>& vPoints) const;
    /// Indexed form: every used vertex once, into vVertices, which must be empty; three positions in that list a triangle,
    /// from 0, appended to vIndices. O(n).
    void getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices);

    bool writePly_BIN(const std::string& filename) const;
    bool writePly_ASCII(const std::string& filename) const;
    bool writeStl_ASCII(const std::string& filename) const;
    /// A list of the Geomview viewer: the surface in green, over it border edges in red, those of 3 triangles in purple, of
    /// 4 in light blue and of more in pink, with dots on their ends.
    bool writeGeomview_ASCII(const std::string& filename) const;
    /// Prints the number of triangles and of edges by degree under the given title.
    void printStatistics(const std::string& title) const;

    RMesh* pRMesh;  ///< owned
};

using MeshPtr = std::shared_ptr<Mesh>;

// ---- Runs ---------------------------------------------------------------------------------------------------------------

/// Points to a mesh. The edge of a grid cell is the estimated average spacing of the points times spacingFactor.
///
/// vPoints: any order, repeats allowed; copied, not changed. Points with a coordinate that isn't finite are left out, with a
/// warning that counts them.
/// bLapTreatment: smooths noisy input before the grid is filled.
/// spacingFactor: above 0. Between 1 and 2 is usual; larger gives fewer triangles and bridges sparse places.
/// numGrowSteps: steps of gap closing; not greater than 0 leaves gaps open. N steps close a gap of about N - 3 cells' radius
/// (half its width) in a surface of two sides, without normals, by a surface that spans it like a soap film. Points and
/// cells that are there stay as they are, and a closed surface stays as it is. Not for surfaces that end in the open: their
/// outer rims grow too. Returns null after a warning when nothing came of the points (none, too few, or a spacing far beyond
/// the cloud). Where a few cells stayed, which make no triangle, the mesh has none. The triangles that edges of degree 2
/// hold together are turned alike, as far as their sheet has two sides; as a rule closed ones face outward, but nothing
/// enforces that. No two triangles have the same corners. Edges of degree 1 stay where the points end or leave gaps wider
/// than a cell, a few of degree 3 and more where sheets meet, touch or cross. Throws KelBugException when there are points
/// and spacingFactor isn't above 0, when the cloud needs more than about two million cells along an axis, and when its
/// coordinates are too large to resolve the spacing. O(n log n) time.
MeshPtr reconstruct_auto(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingFactor, int numGrowSteps);

/// The same with spacingAbs, a length above 0, as the edge of a grid cell; no estimate is made.
MeshPtr reconstruct_abs(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingAbs, int numGrowSteps);

/// A triangle soup to a clean mesh. vPoints: triangle corners, three a triangle; corners of exactly equal coordinates are
/// one vertex. Windings, holes, double walls, edges of any number of triangles don't matter: the triangles are drawn into
/// the cells of a grid, sharp edges first, and the mesh is made of the cells. So its triangles are about a cell in size, and
/// what lies within a cell or two of something else becomes one with it. Triangles parallel to the grid fill their cells
/// without a gap. Others miss some cells of which they cut off a sliver only: up to a few edges in a thousand then stay
/// borders (pinholes of a triangle), or have three and more triangles. spacingAbs: edge of a grid cell, above 0.
/// featureAngle: degrees between normals above which an edge stays sharp, its ends where they are; 20 to 40 is usual.
/// Borders stay sharp too; from 360 on only they do, from 9999 on nothing does. Triangles that are degenerate or have a
/// coordinate that isn't finite are left out, with one warning that counts them. Null after a warning when none is left.
/// Throws KelBugException when spacingAbs isn't above 0, when the points aren't three a triangle, and where reconstruct_abs
/// does. O(n log n) in the triangles and the cells that they pass through.
MeshPtr melt(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle);

/// A triangle soup to points: as melt(), but the points of the cells, one each, are appended to vOut.
void toCloud(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle, std::vector<Point3>& vOut);

/// The average spacing of the points, a length; -1.0 after a warning for no points, 1.0 where all points are at one
/// place and have none. Prepares the points as reconstruct_auto with factor 1.0 does, so it costs as much as that part of a
/// run, and may throw what it throws. O(n log n). Its progress stays open: a listener hears post-processing that follows on
/// the thread, up to the next run, under the name "Density Estimation".
double estimateAvgSpacing(std::vector<Point3>& vPoints);

// ---- Post-processing, in place ------------------------------------------------------------------------------------------
// A null MeshPtr throws KelBugException.
//
// The forms that end with bKeepManifold, true: a manifold mesh (each edge with one or two triangles, each vertex with one
// fan of them, neighbours agreeing in orientation, no triangle flat or there twice, see makeManifold()) is one afterwards,
// and faces as it did. Two vertices may be at one place. Triangles that are, or would become, degenerate are cleared away
// only by steps that leave the surface in order; thin ones without such a step stay, as long as their height is above a
// millionth of their longest side. Flatter ones go in any case, in the last resort by makeManifold(), which parts the
// surface where it was pinched. A mesh that isn't manifold before comes out as it may. Costs a few percent at most, but for
// the last resort. With false they do just what the forms without it do.

/// Decimates: lets vertices go, cheapest first (where it is flat, and there along short edges), until next to none
/// is left that may: some whose surroundings changed last aren't asked again. Those that stay don't move. A vertex goes onto
/// a neighbour at most maxEdgeLength away when that turns no normal around it by more than maxAngle degrees. Both limits
/// hold for each such step against the mesh as it is then: over many steps turns add up, and maxEdgeLength is what bounds
/// the coarsening. Of a border only what is straight within 10 degrees goes, corners stay. These steps keep a closed
/// manifold mesh so. No step makes a triangle of less than 5e-11 in area, in squared units of the caller, of one that had
/// any. Then degenerate triangles are collapsed away, whatever the limits say. Returns the number of triangles that went
/// with the first kind of steps; 0, after a warning and with nothing done, when a limit isn't a number. O(n log n) where few
/// triangles meet at each vertex; one with k triangles costs O(k^2).
int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle);
int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle, bool bKeepManifold);
/// Flips edges where that doesn't make the surface rougher, flat quads included, the largest gain first: those that
/// qualified at the start, each while it still does; then collapses degenerate triangles away. What doesn't rise is the sum
/// of (edge length * (1 - cosine of the angle of the two normals))^0.335 over the edges with two triangles, which favours a
/// few sharp creases over many slight folds. Vertices don't move and their number stays, but for degenerate triangles and
/// for vertices at one place opposite an edge. The result doesn't depend on the number of processors. O(n log n).
void edgeFlips(MeshPtr pMesh);
void edgeFlips(MeshPtr pMesh, bool bKeepManifold);
/// The same by annealing: edgeFlips, 29 rounds of flips of which by chance some lose at first, edgeFlips. Some thirty times
/// as slow, gets out of local minima; the sum that edgeFlips lowers may end
/// higher than it was. Temperatures are absolute, so the unit of lengths has a say. The same mesh gives the same result.
void edgeFlipsSimA(MeshPtr pMesh);
void edgeFlipsSimA(MeshPtr pMesh, bool bKeepManifold);
/// Laplacian smoothing: numIterations times, each vertex off the border moves to the mean of its neighbours, as they stood
/// before the round; below 1 none does. Edges that flips and collapses have left without a triangle still make neighbours of
/// their ends: write and read a mesh to be rid of them. A vertex whose mean is the place of another one waits for the next
/// round. Border vertices stay where they are. Then triangles that have become degenerate are collapsed away, which may take
/// vertices out of use. O(n log n), a round O(n). Each round is a step of the progress, of some 400 bytes.
void laplacianSmoothing(MeshPtr pMesh, int numIterations);
void laplacianSmoothing(MeshPtr pMesh, int numIterations, bool bKeepManifold);
/// What makeManifold() did.
struct ManifoldReport {
    std::size_t numFlat = 0;         ///< triangles with a height of no more than a millionth of their longest side
    std::size_t numDuplicates = 0;   ///< triangles removed because others have the same corners
    std::size_t numMembranes = 0;    ///< triangles removed as parts of inner walls and of flaps
    std::size_t numSplinters = 0;    ///< triangles removed as parts of small pieces that came off, and of strips
    std::size_t numTurned = 0;       ///< triangles turned over
    std::size_t numNewVertices = 0;  ///< vertices made at the place of another one, or in the middle of an edge
    std::size_t numCuts = 0;         ///< sides of triangles that are border now and had a neighbour before
    bool bClosed = false;            ///< no edge of the mesh is a border
};

/// Makes the mesh manifold and oriented: afterwards each edge has one or two triangles, each vertex one fan of them, the
/// triangles of a component agree in orientation, components without a border face outward, and no triangle is flat (a
/// height of no more than a millionth of its longest side) or there twice.
///
/// Where sheets cross or touch they are taken apart, neighbours in the order of rotation staying together: new vertices
/// appear at the place of old ones, so files that tell vertices apart by their places alone (STL) bring the touch back.
/// Before that, walls of at most 100 triangles inside the body go, and flaps of that size that hang on an edge; afterwards
/// pieces of at most 20 triangles that came off a larger one. A sheet with one side only is cut open; a narrow strip of it
/// that was cut goes. Surface that is closed stays closed where that can be. A mesh that is in order stays as it is.
///
/// Runs under a progress root of its own, "Manifold", when none is open; when the listener throws, the mesh is in order
/// but perhaps not done. The same mesh gives the same result. O(n log n).
ManifoldReport makeManifold(MeshPtr pMesh);
/// Closes holes: border loops of at most maxEdges edges, each filled by triangles between its own vertices, the narrowest
/// corner first. Returns the number of holes closed.
///
/// A loop of n edges gets n - 2 triangles that face as their neighbours do; no vertex is made, and no other triangle
/// changes. Left as they are and not counted: loops that touch another one or themselves in a vertex, or that have a twist;
/// loops along which triangles face both ways; loops whose corners don't let them be closed, and such where closing would
/// make an edge of three triangles. The outer border of a sheet is a loop like any other: that of a vase, which narrows
/// towards it, is closed, that of a flat sheet or a bowl isn't. Triangles may overlap in a hole that winds a lot, so keep
/// maxEdges to holes that are small for the shape around them. Below 3 nothing is done. O(n log n), and progress for a
/// listener as "FillHoles".
int fillHoles(MeshPtr pMesh, int maxEdges);
/// The same; bKeepManifold true: flat triangles, as a hole without area gets, are taken out again, so that it becomes a
/// seam.
int fillHoles(MeshPtr pMesh, int maxEdges, bool bKeepManifold);
/// Draws the mesh in white and its border edges in red into "holes.list" in the current folder, for the Geomview viewer;
/// non-manifold edges as in Mesh::writeGeomview_ASCII. Warns when the file can't be written.
void findHoles(MeshPtr pMesh);
/// The same into a file of that name, whatever its extension. False after a warning when it can't be written.
bool findHoles(MeshPtr pMesh, const std::string& filename);

// ---- Processors and messages --------------------------------------------------------------------------------------------

/// Sets how many threads of its pool the library uses, in the whole process.
///
/// No result depends on the number. It takes effect for phases that start afterwards, so a run that is going on takes it up
/// as well. May be called while other threads run, but not by a listener or a sink.
/// numThreads: at most 1024 are used; 0 or less: as many as the machine has processors, which is the default.
void setNumThreads(int numThreads);

/// The kinds of text that the library prints.
enum MessageKind : int {
    MK_TEXT,     ///< plain lines: what was found and done
    MK_INFO,     ///< a message worth a place of its own
    MK_WARNING,  ///< input that yields nothing, or was used in part
    MK_ERROR     ///< a failure, and the report of one before KelBugException is thrown
};
/// Takes a text: whole lines as a rule, with the ends of lines and the colour codes that standard output would get. The text
/// is gone when the call is over.
using MessageSink = std::function<void(MessageKind, std::string_view)>;

/// Sends what the library prints on behalf of this thread to a sink instead of standard output and standard error.
///
/// A run's texts come in their order, one at a time, some perhaps on a thread of the pool. The sink must not call the
/// library; what it throws is dropped. A sink that does nothing silences the library; other threads aren't affected.
/// sink: an empty one sends texts to standard output again, which is the default.
/// Returns: the sink that was set before; empty for none.
MessageSink setMessageSink(MessageSink sink);

// ---- Progress and version -----------------------------------------------------------------------------------------------

/// Sets the listener of the calling thread for all its later runs. Null does nothing. The listener stays the caller's and
/// must live until unsubscribe() or the end of the thread.
void subscribe(ProgressBase* pProgress);
/// Forgets the listener of the calling thread.
void unsubscribe();

void getVersion(int& major, int& minor);
/// Prints "KEL, version " and the version on standard output.
void printVersion();
bool isRelease();

// ---- Point and mesh files -----------------------------------------------------------------------------------------------
// The format follows from the extension: .xyz .txt .asc (ASCII points), .bin (binary points), .ply, .stl, .list
// (Geomview, written only). Readers append to the vector. A failure prints a line and returns false; but for PLY, what was
// read before it stays in the vector. Writers write a temporary neighbour first and rename it, so that a failure leaves an
// older file as it was.

/// The formats of files.
enum FileType : int {
    FT_STL,
    FT_PLY,
    FT_ASCII,  ///< points
    FT_BIN,    ///< points
    FT_LIST,   ///< for the Geomview viewer
    FT_UNKNOWN
};
/// The format of a file by its name: 0 to 5, one of FileType.
int getFileType(const std::string& filename);
/// Points from an ASCII, BIN or PLY file.
bool readPoints_auto(std::string& filename, std::vector<Point3>& vPoints);
/// Points to an ASCII, BIN, PLY or Geomview file; bAscii chooses the form of a PLY. Another extension writes
/// "kel_output_bin.ply", a binary one, and says so.
bool writePoints_auto(std::string& filename, std::vector<Point3>& vPoints, bool bAscii);
/// Coordinates that a file lacks, because it ends too early, are 0.0; one whose count of points is above eight times its
/// length in bytes can't be read.
bool readPoints_BIN(const char* filename, std::vector<Point3>& vPoints);
bool writePoints_BIN(const char* filename, std::vector<Point3>& vPoints);
/// One point a line: its first three columns. Lines that don't start with three numbers are skipped; false without a point.
bool readPoints_ASCII(const char* filename, std::vector<Point3>& vPoints);
/// Six significant digits.
bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints);
/// The same with the given number of significant digits; 17 keeps every double exactly.
bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints, int digits);
/// Triangle corners of an STL file, three a triangle. A binary one is read as well, which is an addition: it is told by its
/// length, which fits its count of triangles, or by bytes within its first 84 that no text has. It is refused when it is
/// too short for its count; what is behind the last triangle, the normals and the attributes aren't looked at.
bool readSTL_ASCII(const char* filename, std::vector<Point3>& vPoints);
/// The same, by a simpler scan of a text: every "vertex" line is a corner. Neither counts the corners of a text.
bool readSTLTriCorners(const std::string& filename, std::vector<Point3>& vPoints);
/// Points of a PLY file, or with bPointsOnly false its triangles, three corners each.
bool readPly(const char* filename, bool bPointsOnly, std::vector<Point3>& vPoints);
/// In single precision, as text in six digits.
bool writePointsPly(const std::string& filename, std::vector<Point3>& vPoints, bool bAscii);

/// A mesh to a PLY, STL or Geomview file; bAscii chooses the form of a PLY. Another extension writes "kel_output.ply", a
/// binary one, and says so on standard error. A PLY holds single precision, as text six digits of it, STL and OBJ ten
/// significant digits. Throws KelBugException on a null mesh.
bool writeMesh_auto(const std::string& filename, MeshPtr pMesh, bool bAscii);
/// The mesh of a PLY or STL file, for the functions above; null after a line where it can't be read, has an extension
/// of another format, or nothing is left of it.
///
/// Corners of exactly equal coordinates become one vertex; with bJoin false only those that a PLY file gives one number, so
/// that sheets that makeManifold() took apart stay apart. Polygons of a PLY file are cut into triangles from their first
/// corner. Triangles with a coordinate that isn't finite, and such with two equal corners, are left out with one warning
/// that counts them. What is left goes through the clean-up of every mesh: of equal triangles one stays, triangles are
/// turned to agree with the oldest one of their piece (connected over edges of two triangles), and degenerate ones are
/// collapsed away. So a consistently oriented mesh keeps its orientation, and vertices of the file may be out of use.
/// sideLen: the unit for small moves, as the edge of a grid cell would be; not above 0 or not finite: the mean length of the
/// edges. O(n log n), but k flat triangles round one vertex cost k squared.
MeshPtr readMesh_auto(const std::string& filename, double sideLen = 0, bool bJoin = true);
/// ASCII STL.
bool writeSTL(RMesh* pRMesh, const std::string& filename);
/// Wavefront OBJ. A failure is a line on standard error, beginning with "Can't write", and nothing else.
void toObj(MeshPtr pMesh, const std::string& filename);
/// Geomview list of the triangles alone, in dark orange. bAuthorized false refuses: it throws KelBugException and writes
/// nothing.
bool writeList(RMesh* pRMesh, const std::string& filename, bool bAuthorized);

}  // namespace TARN_KEL

/// What readPly, writePointsPly and Mesh::writePly_... stand on.
namespace PLY {

/// Reads a PLY file in any of its three encodings. bPointsOnly true appends the vertices; false appends the faces as a soup
/// of three corners a triangle, polygons cut into triangles from their first corner. Coordinates may be float, double or
/// int. False for anything that doesn't fit: no such file, no such properties, a body shorter than its header says, an index
/// out of range, a face of fewer than three corners; vOut is then as it was. Memory is bound by the length of the file,
/// whatever its header claims.
bool readPly(const std::string& filename, bool bPointsOnly, std::vector<TARN_KEL::Point3>& vOut);
/// The mesh of a PLY file as the file numbers its vertices: all of them, used or not, into vVertices, which must be empty
/// (assertion); three positions in that list a triangle, from 0, appended to vIndices. Polygons, failures and memory as
/// above.
bool readPly(const std::string& filename, std::vector<TARN_KEL::Point3>& vVertices, std::vector<int>& vIndices);

// Coordinates are written in single precision. False when the file can't be written.

/// The triangles of a mesh, which isn't changed. Vertices are numbered in the order in which the corners use them first.
bool writePly(TARN_KEL::RMesh* pRMesh, const std::string& filename, bool bAscii);
/// Points, in their order.
bool writePly(std::vector<TARN_KEL::Point3*>& vPoints, const std::string& filename, bool bAscii);

}  // namespace PLY
