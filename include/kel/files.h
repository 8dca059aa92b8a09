// Reading and writing points, triangle soups and meshes.
//
// Formats go by extension: .xyz, .txt and .asc (points as text), .bin (points as bytes), .ply, .stl, .obj and .off (meshes)
// and .list (a drawing for the Geomview viewer, only written). Points are also read from .las, .pcd, .pts, .ptx and .csv;
// writePoints_LAS() writes .las. For readPointFile(), readTriangles_auto() and readMesh_auto() the content of a .ply, .las,
// .pcd, .off or .stl counts more than its name; a message says so where the name stands for another format.
//
// Readers append to the vector that they are given. On failure they print a line and return false. Readers of .xyz, .txt,
// .asc, .bin and .stl leave in the vector what they read before the failure; all others leave the vector as it was. Writers
// write a temporary file next to the target and rename it, so a failure leaves an older file untouched.
#pragma once

#include <kel/mesh.h>
#include <kel/points.h>

#include <cstddef>
#include <string>
#include <vector>

namespace TARN_KEL {

/// The formats of files.
enum FileType : int {
    FT_STL,     ///< Triangles.
    FT_PLY,     ///< Points or triangles.
    FT_ASCII,   ///< Points.
    FT_BIN,     ///< Points.
    FT_LIST,    ///< A drawing for the Geomview viewer.
    FT_UNKNOWN  ///< Any other extension, also .las and .obj: see pointFormat() and meshFormat().
};

/// How exactly a file holds coordinates.
///
/// AUTO takes DOUBLE for a file in which FLOAT would join two different places, or move a vertex or point by more than a
/// thousandth of the mean length of the edges of the mesh; of points, by more than a thousandth of d / sqrt(n), where d is
/// the diagonal of the box between the quartiles of the coordinates of the n points. Otherwise AUTO is FLOAT.
enum class Precision {
    FLOAT,   ///< PLY: single precision, as text six digits of it; STL and OBJ: ten digits; points as text: six digits.
    DOUBLE,  ///< PLY: double precision. In every text 17 digits, so that the same doubles are read back.
    AUTO     ///< One of the two, by the rule above.
};

/// The format that the name of a file stands for.
///
/// @param filename  only its extension matters; the file needn't exist
/// @return one of FileType, 0 to 5
int getFileType(const std::string& filename);

// ---- Points -------------------------------------------------------------------------------------------------------------

/// The formats that points are read from.
enum class PointFormat {
    NONE,   ///< None of them.
    ASCII,  ///< Text without a header.
    BIN,    ///< The library's own bytes.
    PLY,    ///< PLY.
    LAS,    ///< LAS; also LAZ, its compressed form, which can't be read.
    PCD,    ///< PCD.
    PTS,    ///< Counted points as text.
    PTX,    ///< Scans on rasters as text, each with a matrix.
    CSV,    ///< A table as text, with a header.
    OBJ,    ///< The vertices of an OBJ mesh.
    OFF     ///< The vertices of an OFF mesh.
};

/// The format as which readPointFile() reads a file: by its first bytes if it is PLY, LAS, PCD, OFF or STL, else by its
/// extension.
///
/// @param filename  the name of the file; if no regular file has that name its extension decides
/// @return the format; NONE for an STL
PointFormat pointFormat(const std::string& filename);

/// Reads points from a file of any format that has some.
///
/// Coordinates may be "nan" and "inf" in all texts. Of points as text, lines behind the first point that don't begin with
/// three numbers, and aren't comments, are counted in a warning. So is what a PLY or PCD has behind the last point that its
/// header counts.
///
/// @param filename      a file whose pointFormat() isn't NONE
/// @param[out] vPoints  the points are appended
/// @return false, after a message, when the file can't be read
bool readPointFile(const std::string& filename, std::vector<Point3>& vPoints);

/// Reads points from a text, binary or PLY file. The extension alone decides.
///
/// @param filename      .xyz, .txt, .asc, .bin or .ply; not changed
/// @param[out] vPoints  the points are appended
/// @return false, after a message, when the file can't be read
bool readPoints_auto(std::string& filename, std::vector<Point3>& vPoints);

/// Writes points to a text, binary, PLY or Geomview file.
///
/// @param filename  .xyz, .txt, .asc, .bin, .ply or .list; with another extension "kel_output_bin.ply" is written instead,
///                  after a message
/// @param vPoints   not changed
/// @param bAscii    true writes a PLY as text
/// @return false, after a message, when the file can't be written
bool writePoints_auto(std::string& filename, std::vector<Point3>& vPoints, bool bAscii);

/// Whether a file is read as LAS, whatever its extension otherwise stands for.
///
/// @param filename  the name of the file
/// @return true when pointFormat() is LAS: for .las and .laz, even without such a file, and what begins with "LASF"
bool isLasFile(const std::string& filename);

/// Reads the coordinates of a LAS file, versions 1.0 to 1.4, point formats 0 to 10.
///
/// All points count, also those with flags such as "withheld". Compressed files (LAZ) are refused, and so are files that are
/// shorter than their header says. Memory is bounded by the length of the file.
///
/// @param filename      a LAS file of any extension
/// @param[out] vPoints  the points are appended, all of them finite; unchanged on failure
/// @return false, after a message, when the file can't be read
bool readPoints_LAS(const char* filename, std::vector<Point3>& vPoints);

/// The same for the points of some classes, such as 2 for ground, by the classification of the file. Flags aren't looked at.
///
/// @param filename        a LAS file of any extension
/// @param vClasses        the classes, from 0 to 255; point formats 0 to 5 have 0 to 31
/// @param[out] vPoints    their points are appended; unchanged on failure
/// @param[out] numOthers  how many points are of other classes; unchanged on failure
/// @return false, after a message, when the file can't be read
/// @throws KelBugException when a class is below 0 or above 255
bool readPoints_LAS(const char* filename, const std::vector<int>& vClasses, std::vector<Point3>& vPoints,
                    std::size_t& numOthers);

/// Writes points as LAS 1.2, point format 0: coordinates, and zeros for what isn't known.
///
/// A coordinate is a whole number of steps from an offset. The offset of each axis is a whole number amid the points, its
/// step a power of ten: the finest with which 32 bits reach all points, down to a thousandth of the coarsest one that moves
/// no coordinate by more than a thousandth of the mean distance of neighbours, by the rule of Precision. A coordinate moves
/// by at most half a step.
///
/// @param filename  the name of the file, of any extension
/// @param vPoints   fewer than 2^32, all coordinates within 1e300 of 0
/// @return false, after a message, when the file can't be written or the points are none of those
/// @cost O(n)
bool writePoints_LAS(const char* filename, const std::vector<Point3>& vPoints);

/// Reads the fields x, y and z of a PCD file: as text, as bytes or compressed.
///
/// Coordinates that aren't numbers, which stand for missing points in scans of a fixed size, are kept. The viewpoint isn't
/// applied. Memory is bounded by the length of the file.
///
/// @param filename      a PCD file of any extension
/// @param[out] vPoints  the points are appended; unchanged on failure
/// @return false, after a message, when the file can't be read
bool readPoints_PCD(const char* filename, std::vector<Point3>& vPoints);

/// Reads the points of all blocks of a PTS file: a count, then lines that begin with x, y and z.
///
/// @param filename      a PTS file of any extension
/// @param[out] vPoints  the points are appended; unchanged on failure
/// @return false, after a message, when the file can't be read
bool readPoints_PTS(const char* filename, std::vector<Point3>& vPoints);

/// Reads the points of all scans of a PTX file, each moved by the matrix of its scan. Points 0 0 0, before that, stand for
/// missing ones and are left out.
///
/// @param filename      a PTX file of any extension
/// @param[out] vPoints  the points are appended; unchanged on failure
/// @return false, after a message, when the file can't be read
bool readPoints_PTX(const char* filename, std::vector<Point3>& vPoints);

/// Reads the columns x, y and z, also as capitals or in quotes, of a table with a header and commas, semicolons or tabs.
///
/// Decimals have points. "nan" is kept as it is; a cell that is empty or else no number is a failure.
///
/// @param filename      a CSV file of any extension
/// @param[out] vPoints  the points are appended; unchanged on failure
/// @return false, after a message, when the file can't be read
bool readPoints_CSV(const char* filename, std::vector<Point3>& vPoints);

/// The same with a precision. The formats .bin, which keeps every double, and .list are as without one.
///
/// @cost O(n)
bool writePoints_auto(std::string& filename, const std::vector<Point3>& vPoints, bool bAscii, Precision precision);

/// What AUTO means for points.
///
/// @param filename  only its extension matters
/// @param vPoints   the points
/// @param bAscii    true for a PLY as text
/// @return FLOAT or DOUBLE
/// @cost O(n)
Precision neededPrecision(const std::string& filename, const std::vector<Point3>& vPoints, bool bAscii);

/// Reads a binary point file.
///
/// Coordinates missing at the end of the file are 0.0. A file that claims more than eight points per byte of its length
/// can't be read.
///
/// @param filename      the name of the file, of any extension
/// @param[out] vPoints  the points are appended, also those before a failure
/// @return false, after a message, when the file can't be read
bool readPoints_BIN(const char* filename, std::vector<Point3>& vPoints);

/// Writes a binary point file, which keeps every double exactly.
///
/// @param filename  the name of the file, of any extension
/// @param vPoints   not changed
/// @return false, after a message, when the file can't be written
bool writePoints_BIN(const char* filename, std::vector<Point3>& vPoints);

/// Reads one point from the first three columns of each line of a text.
///
/// @param filename      a text file
/// @param[out] vPoints  the points are appended; lines that don't start with three numbers are skipped
/// @return false, after a message, when the file can't be read; true without a point where no line has one
bool readPoints_ASCII(const char* filename, std::vector<Point3>& vPoints);

/// Writes one point per line, with six significant digits.
///
/// @param filename  the name of the file, of any extension
/// @param vPoints   not changed
/// @return false, after a message, when the file can't be written
bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints);

/// Writes one point per line.
///
/// @param filename  the name of the file
/// @param vPoints   not changed
/// @param digits    significant digits; 17 keep every double exactly
/// @return false, after a message, when the file can't be written
bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints, int digits);

/// Writes points as PLY in single precision, as text with six digits.
///
/// @param filename  the name of the file, of any extension
/// @param vPoints   not changed
/// @param bAscii    as text, else as bytes
/// @return false, after a message, when the file can't be written
bool writePointsPly(const std::string& filename, std::vector<Point3>& vPoints, bool bAscii);

// ---- Triangle soups -----------------------------------------------------------------------------------------------------

/// The formats that triangles are read from.
enum class MeshFormat {
    NONE,  ///< None of them.
    PLY,   ///< PLY.
    STL,   ///< STL, which doesn't number vertices. The others do.
    OBJ,   ///< OBJ.
    OFF    ///< OFF.
};

/// How triangles are read from a file: by its first bytes if it is PLY, LAS, PCD, OFF or STL, else by its extension.
///
/// @param filename  the name of the file; if no regular file has that name its extension decides
/// @return the format; NONE for a LAS and a PCD
MeshFormat meshFormat(const std::string& filename);

/// Reads the triangles of a file of any format that has some.
///
/// Polygons are cut into triangles from their first corner; flat ones that this would fold over themselves are cut by ears,
/// up to 1000 corners. Faces of fewer than three corners are left out, with a warning that counts them. A text .stl may be
/// in capitals; one that was cut is refused, or, between two triangles, gives a warning. Memory is bounded by the length of
/// the file, whatever it claims.
///
/// @param filename      a file whose meshFormat() isn't NONE
/// @param[out] vPoints  three corners per triangle, appended; unchanged on failure, except by a text .stl
/// @return false, after a message, when the file can't be read
bool readTriangles_auto(const std::string& filename, std::vector<Point3>& vPoints);

/// Reads a mesh as the file numbers its vertices. Otherwise the same. Every corner of an .stl is a vertex.
///
/// @param filename        a file whose meshFormat() isn't NONE
/// @param[out] vVertices  all vertices of the file, used or not; must be empty
/// @param[out] vIndices   three positions in vVertices per triangle, counted from 0; appended
/// @return false as above
/// @throws KelBugException when vVertices isn't empty
bool readTriangles_auto(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices);

/// Reads the triangles of an STL file, as text or, which is an addition, binary.
///
/// A file is binary when its length fits its count of triangles, or when its first 84 bytes hold one that no text has. A
/// binary file that is too short for its count is refused. Normals, attributes and bytes after the last triangle are
/// ignored.
///
/// @param filename      a text or binary STL file
/// @param[out] vPoints  three corners per triangle, appended; in a text their number isn't checked, and may be 0
/// @return false, after a message, when the file can't be read
bool readSTL_ASCII(const char* filename, std::vector<Point3>& vPoints);

/// The same with a simpler scan of a text: every "vertex" line is a corner.
bool readSTLTriCorners(const std::string& filename, std::vector<Point3>& vPoints);

/// Reads the points or the triangles of a PLY file.
///
/// @param filename      a PLY file in any of the three encodings
/// @param bPointsOnly   true reads the vertices, false the faces
/// @param[out] vPoints  points, or three corners per triangle, appended; unchanged on failure
/// @return false, after a message, when the file can't be read
bool readPly(const char* filename, bool bPointsOnly, std::vector<Point3>& vPoints);

// ---- Meshes -------------------------------------------------------------------------------------------------------------

/// Reads a mesh from a PLY, STL, OBJ or OFF file and cleans it up.
///
/// Corners with exactly equal coordinates become one vertex; or, with bJoin false, only those that the file, unless it is an
/// STL, gives the same number, so that sheets that makeManifold() separated stay separate. Polygons are cut as by
/// readTriangles_auto(). Triangles with a coordinate that isn't finite or with two equal corners are skipped, with one
/// warning that counts them.
///
/// The clean-up is that of every mesh: of equal triangles one remains, triangles are turned to agree with the oldest one of
/// their patch (triangles connected across edges of exactly two), and degenerate ones are collapsed. A consistently oriented
/// mesh keeps its orientation. Some vertices of the file may no longer be used.
///
/// @param filename  a file whose meshFormat() isn't NONE
/// @param sideLen   the unit of small moves, as the edge of a grid cell would be; not finite or 0 or less: the mean length
///                  of the edges
/// @param bJoin     true joins equal corners
/// @return the mesh; null, after a message, when the file can't be read, has another extension, or no triangle is left
/// @cost O(n log n); k flat triangles around one vertex cost O(k^2)
MeshPtr readMesh_auto(const std::string& filename, double sideLen = 0, bool bJoin = true);

/// Makes a mesh of triangles in memory, as readMesh_auto() does of those in a file.
///
/// @param vVertices  the vertices, used or not
/// @param vIndices   three positions in vVertices per triangle, counted from 0
/// @param sideLen    as above
/// @param bJoin      true makes vertices with exactly equal coordinates one
/// @return the mesh; null, after a message, when no triangle is left
/// @throws KelBugException when there is no vertex for an index, or their number isn't a multiple of three
/// @cost O(n log n)
MeshPtr makeMesh(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices, double sideLen = 0,
                 bool bJoin = true);

/// The same, and tells which vertex was made of which.
///
/// @param vVertices  as above
/// @param vIndices   as above
/// @param sideLen    as above
/// @param bJoin      as above
/// @param[out] vRow  for each vertex of the mesh, in the order of Mesh::getVertexIndexData(), a position in vVertices; with
///                   bJoin the first one of those at its place that a triangle uses
/// @return as above
MeshPtr makeMesh(const std::vector<Point3>& vVertices, const std::vector<int>& vIndices, double sideLen, bool bJoin,
                 std::vector<std::size_t>& vRow);

/// Writes a mesh to a PLY, STL or Geomview file.
///
/// A PLY file holds single precision, as text six digits of it; STL holds ten significant digits.
///
/// @param filename  .ply, .stl or .list; with another extension "kel_output.ply" is written instead, a binary one, after a
///                  line on standard error
/// @param pMesh     not changed
/// @param bAscii    true writes a PLY as text
/// @return false, after a message, when the file can't be written
/// @throws KelBugException when pMesh is null
bool writeMesh_auto(const std::string& filename, MeshPtr pMesh, bool bAscii);

/// The same with a precision. A drawing is as without one. Many programs read STL in single precision, whatever its text
/// says.
///
/// @cost O(n)
bool writeMesh_auto(const std::string& filename, MeshPtr pMesh, bool bAscii, Precision precision);

/// What AUTO means for a mesh.
///
/// @param filename  only its extension matters: .ply, .stl or .list, for which it is FLOAT; any other is taken for .obj and
///                  .off
/// @param pMesh     not changed
/// @param bAscii    true for a PLY as text
/// @return FLOAT or DOUBLE
/// @throws KelBugException when pMesh is null
/// @cost O(n)
Precision neededPrecision(const std::string& filename, MeshPtr pMesh, bool bAscii);

/// Writes an STL file as text.
///
/// @param pRMesh    not null
/// @param filename  the name of the file, of any extension
/// @return false, after a message, when the file can't be written
bool writeSTL(RMesh* pRMesh, const std::string& filename);

/// Writes a Wavefront OBJ file with ten significant digits. The only sign of failure is a line on standard error that begins
/// with "Can't write".
void toObj(MeshPtr pMesh, const std::string& filename);

/// The same with a precision.
///
/// @return false, after that line, when the file can't be written
/// @cost O(n)
bool toObj(MeshPtr pMesh, const std::string& filename, Precision precision);

/// The same with the normals of the vertices, by which viewers shade the surface smoothly.
///
/// @param pMesh      not changed
/// @param filename   the name of the file, of any extension
/// @param precision  AUTO: what neededPrecision() says of ".obj"
/// @param bNormals   true adds vertexNormals() with six significant digits, and their numbers to the corners
/// @return false, after that line, when the file can't be written
/// @throws KelBugException when pMesh is null
/// @cost O(n)
bool toObj(MeshPtr pMesh, const std::string& filename, Precision precision, bool bNormals);

/// Writes an OFF file, with the digits of an OBJ file.
///
/// @param pMesh      not changed
/// @param filename   the name of the file, of any extension
/// @param precision  AUTO: what neededPrecision() says of ".off"
/// @return false, after a line on standard error that begins with "Can't write", when the file can't be written
/// @throws KelBugException when pMesh is null
/// @cost O(n)
bool toOff(MeshPtr pMesh, const std::string& filename, Precision precision);

/// Writes a binary STL file, of about a fifth of the size of a text. It holds single precision.
///
/// @param pMesh     not changed
/// @param filename  the name of the file, of any extension
/// @return false, after a warning, when the file can't be written or the mesh has 2^32 triangles or more
/// @throws KelBugException when pMesh is null
/// @cost O(n)
bool writeSTL_BIN(MeshPtr pMesh, const std::string& filename);

/// The same, moved by a vector: a mesh in map coordinates loses its shape in single precision where it is.
bool writeSTL_BIN(MeshPtr pMesh, const std::string& filename, const Vector3& shift);

/// Writes a Geomview drawing of the triangles alone, in dark orange.
///
/// @param pRMesh       not changed
/// @param filename     the name of the file
/// @param bAuthorized  false refuses to write
/// @return false, after a message, when the file can't be written
/// @throws KelBugException when bAuthorized is false
bool writeList(RMesh* pRMesh, const std::string& filename, bool bAuthorized);

/// Draws the mesh in white and its border edges in red into "holes.list" in the current folder, for the Geomview viewer.
/// Edges of three and more triangles are drawn as in Mesh::writeGeomview_ASCII(). Warns when the file can't be written.
void findHoles(MeshPtr pMesh);

/// The same into a file of any name and extension.
///
/// @param pMesh     not changed
/// @param filename  the name of the file
/// @return false, after a warning, when the file can't be written
/// @throws KelBugException when pMesh is null
bool findHoles(MeshPtr pMesh, const std::string& filename);

}  // namespace TARN_KEL

/// The PLY layer beneath readPly(), writePointsPly() and the PLY writers of Mesh.
namespace PLY {

/// Reads the points or the triangles of a PLY file in any of its three encodings.
///
/// Coordinates may be float, double or int. Polygons are cut into triangles from their first corner. Memory is bounded by
/// the length of the file, whatever its header claims.
///
/// @param filename     the name of the file
/// @param bPointsOnly  true reads the vertices, false the faces
/// @param[out] vOut    points, or three corners per triangle, appended; unchanged on failure
/// @return false when anything is wrong: the file or a property is missing, the body is shorter than the header says, an
///         index is out of range, a face has fewer than three corners
bool readPly(const std::string& filename, bool bPointsOnly, std::vector<TARN_KEL::Point3>& vOut);

/// Reads the mesh of a PLY file as the file numbers its vertices. Otherwise the same, with what readTriangles_auto() takes
/// beyond it: coordinates of any type, polygons cut by ears, and faces of fewer than three corners left out.
///
/// @param filename        the name of the file
/// @param[out] vVertices  all vertices of the file, used or not; must be empty
/// @param[out] vIndices   three positions in vVertices per triangle, counted from 0; appended
/// @return false as above
/// @throws KelBugException when vVertices isn't empty
bool readPly(const std::string& filename, std::vector<TARN_KEL::Point3>& vVertices, std::vector<int>& vIndices);

/// Writes the triangles of a mesh in single precision. Vertices are numbered in the order in which the corners use them.
///
/// @param pRMesh    not changed
/// @param filename  the name of the file
/// @param bAscii    true writes text
/// @return false when the file can't be written
bool writePly(TARN_KEL::RMesh* pRMesh, const std::string& filename, bool bAscii);

/// Writes points, in their order, in single precision.
///
/// @param vPoints   not changed
/// @param filename  the name of the file
/// @param bAscii    true writes text
/// @return false when the file can't be written
bool writePly(std::vector<TARN_KEL::Point3*>& vPoints, const std::string& filename, bool bAscii);

}  // namespace PLY
