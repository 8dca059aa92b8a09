// What points carry beside their coordinates: colours, normals, intensities, classes, any number of named columns. How it is
// read, carried over to the vertices of a mesh, and written.
//
//     std::vector<TARN_KEL::Point3> vPoints;
//     TARN_KEL::PointAttributes ofPoints;
//     TARN_KEL::ReconstructReport report;
//     TARN_KEL::readPointFile(filename, vPoints, ofPoints);
//     TARN_KEL::MeshPtr pMesh = TARN_KEL::reconstruct(vPoints, {}, &report);
//     const auto ofVertices = TARN_KEL::transferAttributes(pMesh, vPoints, ofPoints, report.cellEdge);
//     TARN_KEL::writeMesh_auto("mesh.ply", pMesh, false, TARN_KEL::Precision::AUTO, ofVertices);
#pragma once

#include <kel/files.h>
#include <kel/mesh.h>
#include <kel/points.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace TARN_KEL {

/// The numbers of a column, of one of the types that files have.
using AttributeValues =
    std::variant<std::vector<std::int8_t>, std::vector<std::uint8_t>, std::vector<std::int16_t>, std::vector<std::uint16_t>,
                 std::vector<std::int32_t>, std::vector<std::uint32_t>, std::vector<std::int64_t>,
                 std::vector<std::uint64_t>, std::vector<float>, std::vector<double>>;

/// What the numbers of a column mean, and so how those of several points become one.
enum class AttributeKind {
    NUMBER,  ///< Anything else: the mean, of whole numbers the nearest whole one.
    COLOUR,  ///< A channel of a colour in sRGB: the mean of linear light.
    NORMAL,  ///< A component of a direction: the mean of the directions, of length 1.
    CLASS    ///< A name in the form of a number: the most frequent one, of equally frequent ones the lowest.
};

/// A named column: a number for each point.
struct AttributeColumn {
    std::string name;        ///< Never the same as that of another column.
    AttributeValues values;  ///< A number for each point.
    /// Of each value of whole numbers whether nobody knows it, and it is 0 for that reason; empty when all are known, else
    /// as long as the values. Of floating point numbers those that aren't known are NaN.
    std::vector<unsigned char> vMissing;

    /// How many points have a value.
    std::size_t size() const;
    /// Whether the value of a point is known.
    bool isKnown(std::size_t row) const;
    /// The value of a point, rounded where a double can't hold it.
    double number(std::size_t row) const;
    /// The type of the values: "int8", "uint8", ..., "uint64", "float" or "double".
    std::string typeName() const;
};

/// What points carry: columns with different names and a row for each point.
///
/// Some names have a meaning. "red", "green" and "blue" together are a colour, where they are of one of the types uint8,
/// uint16, float and double, from 0 to 255, 65535 or 1. "nx", "ny" and "nz" together are a normal, where they are of one of
/// the types float and double. "class", "classification" and "label", also behind "scalar_" and in capitals, are classes.
struct PointAttributes {
    std::vector<AttributeColumn> vColumns;  ///< In the order of the file.

    /// Whether there is no column.
    bool empty() const { return vColumns.empty(); }
    /// The number of rows; 0 without a column.
    std::size_t numRows() const;
    /// The column of a name; null when there is none.
    const AttributeColumn* find(const std::string& name) const;
    /// Adds a column, in place of one of that name.
    void set(AttributeColumn column);
    /// What a column means.
    ///
    /// @param column  one of vColumns
    /// @cost O(n) for a colour of floating point numbers, all of which must be from 0 to 1
    AttributeKind kindOf(const AttributeColumn& column) const;
    /// Whether there is a colour.
    bool hasColour() const;
    /// Some rows, in another order if need be.
    ///
    /// @param vRows  their numbers, from 0, also repeatedly
    PointAttributes rows(const std::vector<std::size_t>& vRows) const;
};

// ---- Reading ------------------------------------------------------------------------------------------------------------

/// Reads points and what they carry, from a file of any format that has points.
///
/// Columns come from PLY (all properties of vertices that aren't lists), LAS (what the formats of points describe but waves,
/// flags and the scanner's channel; a message counts the bytes that they don't describe), PCD (all fields; the packed
/// colours rgb and rgba as their channels), PTS and PTX (intensity and colour), CSV (all columns with numbers), OBJ (the
/// colour), OFF (colour and normal, where the keyword has C and N) and text (six columns of which the last three can only be
/// a colour of whole numbers from 0 to 255, or a normal of length 1); from other formats there are none. A column of zeros
/// alone in a LAS file is one that isn't known and left out. Some names become those that PointAttributes knows: "normal_x"
/// is "nx", and so on; "r", "g" and "b" are channels where all three are there. Beyond 256 columns of a file the rest is
/// left out, after a message.
///
/// Points of several files are read one file after the other. A column that a file lacks has no known values for its points;
/// one that the earlier files lack none for theirs. Where the types of a column differ it becomes one of a type for both:
/// colours one of more bits, whole numbers int64, all else double. "class" and "classification", also behind "scalar_" and
/// in capitals, are one column, by the name in the first file that has it.
///
/// In a text a value that is no number isn't known; it is no reason to refuse the file.
///
/// @param filename            a file whose pointFormat() isn't NONE
/// @param[in,out] vPoints     the points are appended; unchanged on failure
/// @param[in,out] attributes  their rows are appended; has a row for each of the points, or no column; unchanged on failure
/// @return false, after a message, when the file can't be read
/// @throws KelBugException when there are columns of another length than vPoints
bool readPointFile(const std::string& filename, std::vector<Point3>& vPoints, PointAttributes& attributes);

/// The same for the points of some classes of a LAS file. Which columns there are, and their types, all points of the file
/// decide.
///
/// @param filename            a LAS file of any extension
/// @param vClasses            the classes, from 0 to 255
/// @param[in,out] vPoints     their points are appended; unchanged on failure
/// @param[out] numOthers      how many points are of other classes; unchanged on failure
/// @param[in,out] attributes  their rows are appended, as above
/// @return false, after a message, when the file can't be read
/// @throws KelBugException when a class is below 0 or above 255, or there are columns of another length than vPoints
bool readPoints_LAS(const char* filename, const std::vector<int>& vClasses, std::vector<Point3>& vPoints,
                    std::size_t& numOthers, PointAttributes& attributes);

/// Reads a mesh as the file numbers its vertices, with what they carry. Columns come from PLY and OBJ.
///
/// @param filename         a file whose meshFormat() isn't NONE
/// @param[out] vVertices   all vertices of the file, used or not; must be empty
/// @param[out] vIndices    three positions in vVertices per triangle, counted from 0; appended
/// @param[out] attributes  a row for each vertex, or no column; must be empty; unchanged on failure
/// @return false, after a message, when the file can't be read
/// @throws KelBugException when vVertices or attributes isn't empty
bool readTriangles_auto(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                        PointAttributes& attributes);

// ---- From points to vertices --------------------------------------------------------------------------------------------

/// Gives the vertices of a mesh what the points carry of which it was made.
///
/// A point belongs to the vertex that is nearest to it, if that is at most a length away; of equally near ones to the first.
/// Vertices at one place have the same points. The known values of its points make that of a vertex, by the kind of the
/// column: see AttributeKind. A vertex without points, such as one in a closed hole, has the values of the vertex with some
/// that is nearest along edges, in a component without any of the nearest one at all; one whose points have no known colour
/// has a colour in the same way. Where no vertex has points each point belongs to the nearest vertex, however far.
///
/// Any mesh and any cloud will do, so call this after all steps on the mesh. Points that aren't finite count nowhere, and
/// outliers don't either. The order of the points has no influence, but on the last digits of means.
///
/// @param pMesh       not changed
/// @param vPoints     the points
/// @param attributes  a row for each of the points
/// @param length      how far a point may be from its vertex, such as ReconstructReport::cellEdge; 0 or less: the mean
///                    length of the edges
/// @return the same columns with a row for each vertex, in the order of Mesh::getVertexIndexData()
/// @throws KelBugException when pMesh is null, there are columns of another length than vPoints, or 2^32 - 1 points or more
/// @cost O(n log n), about as much as reading the points; 8 bytes a point, some 110 a vertex, and the columns
PointAttributes transferAttributes(MeshPtr pMesh, const std::vector<Point3>& vPoints, const PointAttributes& attributes,
                                   double length = 0.0);

/// The same for points whose surface has known normals, such as the vertices of an older mesh: those whose normal is opposed
/// to that of the nearest vertex belong to none. So nothing gets through a thin wall, except into components to which no
/// point belongs.
///
/// @param pMesh       as above
/// @param vPoints     the points
/// @param vNormals    a vector for each of the points, of any length; 0 where none is known
/// @param attributes  as above
/// @param length      as above
/// @return as above
/// @throws KelBugException also when there isn't a normal for each of the points
PointAttributes transferAttributes(MeshPtr pMesh, const std::vector<Point3>& vPoints, const std::vector<Vector3>& vNormals,
                                   const PointAttributes& attributes, double length);

// ---- Writing ------------------------------------------------------------------------------------------------------------

/// Writes a mesh with what its vertices carry, where the format can hold it: a PLY file holds all columns.
///
/// Types stay what they are, except that whole numbers of 64 bits become int, uint or double. As text floating point numbers
/// have as many digits as they need. Values that aren't known are NaN or 0. White space in names becomes '_'; columns named
/// "x", "y" or "z" are left out.
///
/// @param filename    as for writeMesh_auto()
/// @param pMesh       not changed
/// @param bAscii      true writes a PLY as text
/// @param precision   of the coordinates
/// @param attributes  a row for each vertex, in the order of Mesh::getVertexIndexData(), or no column
/// @return false, after a message, when the file can't be written
/// @throws KelBugException when pMesh is null, or there are columns of another length
/// @cost O(n)
bool writeMesh_auto(const std::string& filename, MeshPtr pMesh, bool bAscii, Precision precision,
                    const PointAttributes& attributes);

/// Writes a Wavefront OBJ file with the colours of the vertices, from 0 to 1 behind their coordinates, as many programs read
/// it, and with their normals.
///
/// @param pMesh       not changed
/// @param filename    the name of the file, of any extension
/// @param precision   as for toObj()
/// @param bNormals    true writes vertexNormals() in place of the normal among the columns
/// @param attributes  a row for each vertex, in the order of Mesh::getVertexIndexData(), or no column; colour and normal
/// count
/// @return false, after a message, when the file can't be written
/// @throws KelBugException when pMesh is null, or there are columns of another length
/// @cost O(n)
bool toObj(MeshPtr pMesh, const std::string& filename, Precision precision, bool bNormals,
           const PointAttributes& attributes);

/// Writes an OFF file with the colours of the vertices, as whole numbers from 0 to 255, and with their normals: COFF, NOFF
/// or CNOFF. What isn't known is 0.
///
/// @param pMesh       not changed
/// @param filename    the name of the file, of any extension
/// @param precision   as for toOff() without columns
/// @param attributes  as above
/// @return false, after a line on standard error that begins with "Can't write", when the file can't be written
/// @throws KelBugException when pMesh is null, or there are columns of another length
/// @cost O(n)
bool toOff(MeshPtr pMesh, const std::string& filename, Precision precision, const PointAttributes& attributes);

/// Writes one point per line with its colour, as whole numbers from 0 to 255, or else its normal behind the coordinates.
/// What isn't known is 0.
///
/// @param filename    the name of the file, of any extension
/// @param vPoints     not changed
/// @param digits      significant digits of the coordinates; 17 keep every double exactly
/// @param attributes  a row for each point, or no column
/// @return false, after a message, when the file can't be written
/// @throws KelBugException when there are columns of another length than vPoints
bool writePoints_ASCII(const char* filename, const std::vector<Point3>& vPoints, int digits,
                       const PointAttributes& attributes);

/// Writes points with what they carry, where the format can hold it: a PLY file holds all columns, as one of a mesh does, a
/// text what writePoints_ASCII() takes.
///
/// @param filename    as for writePoints_auto()
/// @param vPoints     not changed
/// @param bAscii      true writes a PLY as text
/// @param precision   of the coordinates
/// @param attributes  a row for each point, or no column
/// @return false, after a message, when the file can't be written
/// @throws KelBugException when there are columns of another length than vPoints
/// @cost O(n)
bool writePoints_auto(std::string& filename, const std::vector<Point3>& vPoints, bool bAscii, Precision precision,
                      const PointAttributes& attributes);

/// Writes points as LAS with what they carry. The colour gets 16 bits a channel. "gps_time", "intensity", "user_data",
/// "point_source_id" and the classes of "classification" or else of the first column of classes are fields of the format;
/// all but the time where their known values are whole numbers that fit. All other columns are extra bytes behind each
/// point, with their types and names, of which 32 bytes fit. The version is 1.2, and the point format the smallest of 0 to 3
/// that has room for the fields; or, with a class above 31, 1.4 and format 6 or, with a colour, 7. What isn't known is 0, or
/// NaN in extra bytes with a fraction. A warning counts columns beyond 341 of the extra ones, which are left out, and one
/// names classes that don't fit their field, as choosing by classes looks at the field alone. Otherwise as without
/// attributes.
///
/// @param filename    the name of the file, of any extension
/// @param vPoints     as for writePoints_LAS()
/// @param attributes  a row for each point, or no column
/// @return false, after a message, when the file can't be written
/// @throws KelBugException when there are columns of another length than vPoints
/// @cost O(n)
bool writePoints_LAS(const char* filename, const std::vector<Point3>& vPoints, const PointAttributes& attributes);

}  // namespace TARN_KEL
