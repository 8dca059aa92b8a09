// PLY files: a small generic layer that keeps a header and moves whole properties in and out of flat buffers.
//
// A file is a header in text, then a body: for each element (such as "vertex"), for each of its items, the values of its
// properties in the order of the header. A plain property is one value, a list property a count and that many values. The
// body is text or binary of either byte order.
//
//     PLY::PlyFile file;
//     file.parse_header(in);
//     auto pXyz = file.request_properties_from_element("vertex", {"x", "y", "z"});
//     file.read(in);                    // pXyz->buffer: x y z x y z ..., of type pXyz->t, in the byte order of the machine
//
// No value in a file is trusted: inconsistent ones throw, and memory is allocated by the bytes that exist, never by a count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {
class CMesh;
struct Bundle;
}  // namespace TARN_KEL

namespace PLY {

/// Writes the alive triangles of a coarse mesh with the points of the given bundles; for debugging. Every corner must have a
/// bundle.
bool writePly(TARN_KEL::CMesh* pCMesh, std::map<TARN_KEL::CCD, TARN_KEL::Bundle*> mCCDBundle, const std::string& filename,
              bool bAscii);

enum class Type : std::uint8_t { INVALID, INT8, UINT8, INT16, UINT16, INT32, UINT32, FLOAT32, FLOAT64 };

struct PropertyInfo {
    std::size_t width;    ///< bytes of a value
    std::string name;     ///< as written
    std::string altName;  ///< accepted in a header as well
};

/// Every type, INVALID included.
inline const std::map<Type, PropertyInfo> PropertyTable{
    {Type::INT8, {1, "char", "int8"}},          {Type::UINT8, {1, "uchar", "uint8"}},
    {Type::INT16, {2, "short", "int16"}},       {Type::UINT16, {2, "ushort", "uint16"}},
    {Type::INT32, {4, "int", "int32"}},         {Type::UINT32, {4, "uint", "uint32"}},
    {Type::FLOAT32, {4, "float", "float32"}},   {Type::FLOAT64, {8, "double", "float64"}},
    {Type::INVALID, {0, "INVALID", "INVALID"}},
};

struct PlyProperty {
    std::string name;
    Type propertyType = Type::INVALID;  ///< of the value, or of the values of a list
    bool isList = false;
    Type listType = Type::INVALID;  ///< of the count of a list
    std::size_t listCount = 0;      ///< values per item, for writing
};

struct PlyElement {
    std::string name;
    std::size_t size = 0;  ///< number of items
    std::vector<PlyProperty> properties;
};

/// The values of one request.
struct PlyData {
    Type t = Type::INVALID;
    std::vector<std::uint8_t> buffer;  ///< values of type t, one after the other
    std::size_t count = 0;             ///< number of items of the element
    /// For list properties the length of each list, in the order of the file. Empty for plain ones.
    std::vector<std::uint32_t> vListLength;
    /// May be set before read(): in text a word that is no number of the type is no error then, but a 0 whose position among
    /// the values is noted here.
    bool bLenient = false;
    std::vector<std::size_t> vUnknown;
    /// May be set before read(): in text "nan" and "inf", in any case and with a sign, are floating point numbers, too.
    bool bNotFinite = false;
};

/// Vertices and faces in the form in which they are written to a file.
struct geometry {
    struct float3 {
        float x, y, z;
    };
    struct double3 {
        double x, y, z;
    };
    struct uint3 {
        std::uint32_t x, y, z;
    };
    std::vector<float3> vertices;
    std::vector<double3> exactVertices;  ///< written instead of the others, which are none then
    std::vector<uint3> faces;
};

class PlyFileImpl;

/// One PLY file, to be read or to be written. Errors are exceptions of the standard library (std::runtime_error and
/// std::invalid_argument) with a text for the user.
class PlyFile {
public:
    PlyFile();
    ~PlyFile();
    PlyFile(const PlyFile&) = delete;
    PlyFile& operator=(const PlyFile&) = delete;

    /// Reads up to "end_header" or the end of the stream and leaves the stream at the body. Returns false at a line that
    /// starts with an unknown word. Throws for a property without an element, a line with a missing word, or a count that
    /// isn't a 64-bit number.
    bool parse_header(std::istream& in);
    std::vector<PlyElement> get_elements() const;
    /// May be changed before writing; a comment is one line.
    std::vector<std::string>& get_comments();
    const std::vector<std::string>& get_info() const;

    /// Requests properties, to be filled by read(). They share one buffer, interleaved in the order of the header, whatever
    /// the order of the keys. All must have the same type, and all or none be lists.
    /// listSizeHint: the only length of a list that is accepted; 0 for any.
    /// Throws for keys that the header doesn't have and for those requested before.
    std::shared_ptr<PlyData> request_properties_from_element(const std::string& elementKey,
                                                             const std::vector<std::string>& propertyKeys,
                                                             std::uint32_t listSizeHint = 0);
    /// Reads the body in one pass; if the stream allows seeking, it is at the end of the body afterwards. Throws for a body
    /// that is shorter than the header says or doesn't fit it; counts beyond the length of the stream throw before anything
    /// is read. Cost: linear in the bytes of the body; memory for the requested properties.
    void read(std::istream& in);
    /// How many bytes there are behind the body that was read last, without white space in text. 0 where the stream doesn't
    /// tell.
    std::size_t numBytesBehind() const;

    /// Registers a flat buffer for writing: count items, each with one value, or a list of listCount values, for each key.
    /// data: not owned; must exist until write().
    /// listType: INVALID for plain properties.
    void add_properties_to_element(const std::string& elementKey, const std::vector<std::string>& propertyKeys, Type type,
                                   std::size_t count, std::uint8_t* data, Type listType, std::uint32_t listCount);
    /// The significant digits of floating point numbers, as text, in the properties that are added from now on. 0, as at
    /// first: those of the stream.
    void setTextDigits(int digits);
    /// Writes header and body. Binary is little endian, or big endian if a big endian header was parsed before. Errors of
    /// the stream show in its state. Throws for a property without data.
    void write(std::ostream& out, bool isBinary);

private:
    std::unique_ptr<PlyFileImpl> pImpl;
};

}  // namespace PLY
