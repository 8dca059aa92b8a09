// The functions of the C interface on columns: what points and vertices carry, and the files that hold it.
#include <kel_c.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "CallFrame.h"
#include "attributeColumns.h"
#include "cHandles.h"
#include "cOptions.h"
#include "fileFormats.h"
#include "kel.h"
#include "tools.h"

using namespace TARN_KEL;

namespace {

// A kel_type is the position of its list in AttributeValues.
template <kel_type type, typename T>
constexpr bool IS_TYPE = std::is_same_v<std::variant_alternative_t<type, AttributeValues>, std::vector<T>>;
static_assert(IS_TYPE<KEL_TYPE_INT8, std::int8_t> && IS_TYPE<KEL_TYPE_UINT8, std::uint8_t>);
static_assert(IS_TYPE<KEL_TYPE_INT16, std::int16_t> && IS_TYPE<KEL_TYPE_UINT16, std::uint16_t>);
static_assert(IS_TYPE<KEL_TYPE_INT32, std::int32_t> && IS_TYPE<KEL_TYPE_UINT32, std::uint32_t>);
static_assert(IS_TYPE<KEL_TYPE_INT64, std::int64_t> && IS_TYPE<KEL_TYPE_UINT64, std::uint64_t>);
static_assert(IS_TYPE<KEL_TYPE_FLOAT32, float> && IS_TYPE<KEL_TYPE_FLOAT64, double>);
static_assert(std::variant_size_v<AttributeValues> == KEL_TYPE_FLOAT64 + 1);
static_assert(KEL_KIND_NUMBER == static_cast<int>(AttributeKind::NUMBER));
static_assert(KEL_KIND_COLOUR == static_cast<int>(AttributeKind::COLOUR));
static_assert(KEL_KIND_NORMAL == static_cast<int>(AttributeKind::NORMAL));
static_assert(KEL_KIND_CLASS == static_cast<int>(AttributeKind::CLASS));

// ---- Columns ------------------------------------------------------------------------------------------------------------

/// A list of each type, none with values.
template <std::size_t... TYPES>
AttributeValues noValuesOf(int type, std::index_sequence<TYPES...>) {
    AttributeValues values;
    (void)((static_cast<int>(TYPES) == type && (values.emplace<TYPES>(), true)) || ...);
    return values;
}

/// Takes over which values are known. Those that aren't become what stands for such a value.
template <typename T>
void markMissing(const unsigned char* pMissing, std::vector<T>& vValue, std::vector<unsigned char>& vMissing) {
    bool bAny = false;
    for (std::size_t i = 0; i < vValue.size(); ++i) {
        if (pMissing[i] == 0) continue;
        vValue[i] = unknownValue<T>();
        bAny = true;
    }
    if (!bAny || std::is_floating_point_v<T>) return;
    vMissing.resize(vValue.size());
    for (std::size_t i = 0; i < vValue.size(); ++i)
        vMissing[i] = pMissing[i] != 0;
}

/// A copy of the values of a caller.
AttributeColumn columnOf(const kel_column& c) {
    constexpr int NUM_TYPES = std::variant_size_v<AttributeValues>;
    const std::string name = &given(c.name, "The name of the column");
    require(!name.empty(), "The name of the column is empty");
    std::underlying_type_t<kel_type> type = 0;  // which may be any number, as it comes from C
    std::memcpy(&type, &c.type, sizeof type);
    if (type >= NUM_TYPES) throw ArgumentError(name + ": " + toString(type) + " is no kel_type");
    if (c.rows > 0 && c.values == nullptr) throw ArgumentError(name + ": values is NULL");
    AttributeColumn column{name, noValuesOf(static_cast<int>(type), std::make_index_sequence<NUM_TYPES>()), {}};
    std::visit(
        [&](auto& vValue) {
            vValue.resize(c.rows);
            if (c.rows > 0) std::memcpy(vValue.data(), c.values, c.rows * sizeof vValue[0]);
            if (c.missing != nullptr) markMissing(c.missing, vValue, column.vMissing);
        },
        column.values);
    return column;
}

/// Columns have a row for each point; one that takes the place of the only one may have another number.
void requireSameRows(const PointAttributes& columns, const AttributeColumn& column) {
    for (const AttributeColumn& other : columns.vColumns)
        if (other.name != column.name && other.size() != column.size())
            throw ArgumentError(column.name + " has " + toString(column.size()) + " rows, but " + other.name + " has " +
                                toString(other.size()));
}

/// what: of the rows, such as "points".
void requireRows(const PointAttributes& columns, std::size_t numRows, const char* what) {
    if (!columns.empty() && columns.numRows() != numRows)
        throw ArgumentError("attributes have " + toString(columns.numRows()) + " rows, but there are " + toString(numRows) +
                            " " + what);
}

const PointAttributes& columnsOf(const kel_attributes* attributes) {
    static const PointAttributes none;
    return attributes != nullptr ? attributes->columns : none;
}

// ---- Reading ------------------------------------------------------------------------------------------------------------

/// The classes of points to be read; none for all.
std::vector<int> classesOf(const char* filename, const int* classes, std::size_t numClasses) {
    if (numClasses == 0) return {};
    const int* const pFirst = &given(classes, "classes");
    std::vector<int> vClasses(pFirst, pFirst + numClasses);
    for (const int number : vClasses)
        requireNumber(number >= 0 && number <= 255, "classes: a class", number, "from 0 to 255");
    if (!isLasFile(filename)) throw ArgumentError(std::string("classes: only LAS files have them, not ") + filename);
    return vClasses;
}

bool readScan(const char* filename, const std::vector<int>& vClasses, std::vector<Point3>& vPoints, std::size_t& numOthers,
              PointAttributes* pColumns) {
    if (vClasses.empty())
        return pColumns != nullptr ? readPointFile(filename, vPoints, *pColumns) : readPointFile(filename, vPoints);
    return pColumns != nullptr ? readPoints_LAS(filename, vClasses, vPoints, numOthers, *pColumns)
                               : readPoints_LAS(filename, vClasses, vPoints, numOthers);
}

// ---- Writing ------------------------------------------------------------------------------------------------------------

/// The columns that a file has room for, after a warning that names the others. holds: of the kind of a column.
template <typename Holds>
PointAttributes heldColumns(const std::string& filename, const PointAttributes& columns, const Holds& holds) {
    PointAttributes held;
    std::string others;
    for (const AttributeColumn& column : columns.vColumns) {
        if (holds(columns.kindOf(column)))
            held.vColumns.push_back(column);
        else
            others += (others.empty() ? "" : ", ") + column.name;
    }
    if (!others.empty()) warning(KEL_PLACE, filename + " can't hold " + others);
    return held;
}

bool writePoints(std::string filename, const std::vector<Point3>& vPoints, const PointAttributes& columns) {
    const FileFormat& format = formatByName(filename);
    if (format.extension == ".las") return writePoints_LAS(filename.c_str(), vPoints, columns);  // it warns itself
    const bool bKnown = format.type == FT_ASCII || format.type == FT_BIN || format.type == FT_PLY || format.type == FT_LIST;
    if (!bKnown)
        throw ArgumentError("filename: points are written to .xyz, .txt, .asc, .bin, .ply, .las or .list, not to " +
                            filename);
    const Precision precision = format.type == FT_ASCII ? Precision::DOUBLE : Precision::AUTO;
    const AttributeKind ofText = kindInText(columns);
    const PointAttributes held = heldColumns(filename, columns, [&](AttributeKind kind) {
        return format.type == FT_PLY || (format.type == FT_ASCII && kind == ofText);
    });
    return writePoints_auto(filename, vPoints, false, precision, held);
}

Precision precisionOf(int precision) {
    switch (precision) {
    case 0:
        return Precision::AUTO;
    case KEL_FLOAT32:
        return Precision::FLOAT;
    case KEL_FLOAT64:
        return Precision::DOUBLE;
    default:
        throw ArgumentError("precision is " + toString(precision) + ", but must be 0, 4 or 8");
    }
}

bool writeMesh(const std::string& filename, const MeshPtr& pMesh, const PointAttributes& columns,
               const kel_write_options& options) {
    const Precision precision = precisionOf(options.precision);
    const std::string_view extension = formatByName(filename).extension;
    if (extension != ".ply" && extension != ".stl" && extension != ".obj" && extension != ".off" && extension != ".list")
        throw ArgumentError("filename: a mesh is written to .ply, .stl, .obj, .off or .list, not to " + filename);
    if (extension == ".ply") return writeMesh_auto(filename, pMesh, options.ascii != 0, precision, columns);
    const PointAttributes held =
        heldColumns(filename, columns, [&](AttributeKind kind) { return meshFileHolds(filename, kind); });
    if (extension == ".obj") return toObj(pMesh, filename, precision, options.normals != 0, held);
    if (extension == ".off") return toOff(pMesh, filename, precision, held);
    if (extension == ".stl" && options.stl_binary != 0) return writeSTL_BIN(pMesh, filename);
    return writeMesh_auto(filename, pMesh, options.ascii != 0, precision);
}

}  // namespace

// ---- Columns ------------------------------------------------------------------------------------------------------------

kel_status kel_attributes_create(kel_attributes** attributes) {
    return plainCall([&] {
        given(attributes, "attributes");
        handOutNew(PointAttributes(), attributes);
    });
}

void kel_attributes_free(kel_attributes* attributes) {
    delete attributes;
}

size_t kel_attributes_count(const kel_attributes* attributes) {
    return columnsOf(attributes).vColumns.size();
}

kel_status kel_attributes_column(const kel_attributes* attributes, size_t index, kel_column* column) {
    return plainCall([&] {
        const PointAttributes& columns = given(attributes, "attributes").columns;
        given(column, "column");
        if (index >= columns.vColumns.size())
            throw ArgumentError("index is " + toString(index) + ", but there are " + toString(columns.vColumns.size()) +
                                " columns");
        const AttributeColumn& own = columns.vColumns[index];
        const void* const pValues = std::visit([](const auto& v) { return static_cast<const void*>(v.data()); }, own.values);
        *column = {own.name.c_str(),
                   static_cast<kel_type>(own.values.index()),
                   static_cast<kel_kind>(columns.kindOf(own)),
                   own.size(),
                   pValues,
                   own.vMissing.empty() ? nullptr : own.vMissing.data()};
    });
}

kel_status kel_attributes_set(kel_attributes* attributes, const kel_column* column) {
    return plainCall([&] {
        PointAttributes& columns = given(attributes, "attributes").columns;
        AttributeColumn copied = columnOf(given(column, "column"));
        requireSameRows(columns, copied);
        columns.set(std::move(copied));
    });
}

kel_status kel_attributes_transfer(const kel_attributes* of_points, const kel_points* points, kel_mesh* mesh, double length,
                                   kel_attributes** of_vertices) {
    return libraryCall([&] {
        const PointAttributes& columns = given(of_points, "of_points").columns;
        given(of_vertices, "of_vertices");
        requireRows(columns, given(points, "points").points.size(), "points");
        requireLength("length", length);
        const MeshPtr& pMesh = meshOf(mesh);
        const PointVector vPoints(*points);
        handOutNew(oneStepRun("Attributes", [&] { return transferAttributes(pMesh, vPoints.get(), columns, length); }),
                   of_vertices);
        return KEL_OK;
    });
}

// ---- Files --------------------------------------------------------------------------------------------------------------

kel_status kel_points_read_with(const char* filename, const int* classes, size_t num_classes, kel_points** points,
                                kel_attributes** attributes, size_t* num_others) {
    return libraryCall([&] {
        given(filename, "filename");
        given(points, "points");
        const std::vector<int> vClasses = classesOf(filename, classes, num_classes);
        std::vector<Point3> vPoints;
        auto pAttributes = attributes != nullptr ? std::make_unique<kel_attributes>() : nullptr;
        PointAttributes* const pColumns = pAttributes ? &pAttributes->columns : nullptr;
        std::size_t numOthers = 0;
        if (!readScan(filename, vClasses, vPoints, numOthers, pColumns)) return KEL_BAD_FILE;
        handOutNew(std::move(vPoints), points);
        if (attributes != nullptr) *attributes = pAttributes.release();
        if (num_others != nullptr) *num_others = numOthers;
        return KEL_OK;
    });
}

kel_status kel_points_write_with(const kel_points* points, const kel_attributes* attributes, const char* filename) {
    return libraryCall([&] {
        given(filename, "filename");
        const PointAttributes& columns = columnsOf(attributes);
        requireRows(columns, given(points, "points").points.size(), "points");
        return writePoints(filename, PointVector(*points).get(), columns) ? KEL_OK : KEL_BAD_FILE;
    });
}

kel_status kel_mesh_write_with(kel_mesh* mesh, const kel_attributes* of_vertices, const char* filename,
                               const kel_write_options* options) {
    return libraryCall([&] {
        given(filename, "filename");
        const MeshPtr& pMesh = meshOf(mesh);
        const PointAttributes& columns = columnsOf(of_vertices);
        std::vector<Point3*> vVertices;
        if (!columns.empty()) pMesh->getPoints(vVertices);
        requireRows(columns, vVertices.size(), "vertices");
        return writeMesh(filename, pMesh, columns, wholeOptions(options)) ? KEL_OK : KEL_BAD_FILE;
    });
}
