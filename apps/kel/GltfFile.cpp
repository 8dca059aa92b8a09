// Reads glTF files through TinyGLTF, which makes the text and the buffers of a file a model in memory.
//
// The package gets only what geometry needs. The document is read here first, with a limit to its depth, and everything else
// is dropped from it: images, materials and animations may name files of any size, and nothing here wants them. A buffer of
// a .glb is copied for each entry that names it, and a file beside a .gltf is read for each, so there is one entry for each.
//
// Of the model nothing is believed: each list of numbers is held against its view, each view against its buffer, each index
// against the number of vertices. The nodes must be trees, which are walked with a stack of our own.
#include "GltfFile.h"

#include <tiny_gltf.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "../../src_lib/files/InputFile.h"
#include "../../src_lib/files/attributeColumns.h"
#include "../../src_lib/files/littleEndian.h"
#include "../../src_lib/geometry/AffineMap.h"
#include "Failure.h"
#include "glbChunks.h"

using namespace TARN_KEL;
namespace fs = std::filesystem;

namespace {

using GltfJson = nlohmann::json;

[[noreturn]] void refuse(const std::string& why) {
    throw Failure(why);
}

// ---- The bytes of a file

/// Any number of bytes that a regular file has; a pipe ends somewhere, too.
std::string wholeFile(const std::string& filename) {
    InputFile file(filename);
    if (!file.isOpen()) refuse("is unreadable");
    std::string bytes{std::istreambuf_iterator<char>(file.stream()), {}};
    if (file.stream().bad()) refuse("is unreadable");
    return bytes;
}

/// The text of a file and, of a .glb, the bytes behind it.
struct Chunks {
    std::string_view text, data;
};

/// A number of a header; refuses a file that ends before it.
std::uint32_t numberAt(std::string_view bytes, std::size_t pos) {
    if (bytes.size() < pos + sizeof(std::uint32_t)) refuse("ends within a header");
    return loadInt<std::uint32_t>(bytes.data() + pos);
}

/// The chunk whose header begins there.
std::string_view chunkAt(std::string_view bytes, std::size_t pos, std::string_view kind) {
    constexpr std::size_t HEADER = 8;
    const std::size_t length = numberAt(bytes, pos);
    if (bytes.substr(pos + 4).substr(0, kind.size()) != kind)
        refuse("has no chunk " + std::string(kind.substr(0, kind.find('\0'))) + " at byte " + std::to_string(pos));
    if (length > bytes.size() - pos - HEADER)
        refuse("is too short for its chunk of " + std::to_string(length) + " bytes at byte " + std::to_string(pos));
    return bytes.substr(pos + HEADER, length);
}

Chunks chunksOf(std::string_view bytes) {
    constexpr std::size_t FIRST = 12;  // behind the signature, the version and the length
    if (!bytes.starts_with(GLB_SIGNATURE)) return {bytes, {}};
    if (const std::uint32_t version = numberAt(bytes, 4); version != 2)
        refuse("is of glTF version " + std::to_string(version) + ", expected: 2");
    if (numberAt(bytes, 8) > bytes.size())
        refuse("is too short: it has " + std::to_string(bytes.size()) + " bytes of " + std::to_string(numberAt(bytes, 8)));
    const std::string_view text = chunkAt(bytes, FIRST, GLB_TEXT);
    const std::size_t next = FIRST + 8 + text.size();
    return {text, next < bytes.size() ? chunkAt(bytes, next, GLB_DATA) : std::string_view()};
}

// ---- The document

/// The part of a document that geometry needs.
GltfJson documentOf(std::string_view text) {
    constexpr int MAX_DEPTH = 64;
    const auto requireFlat = [](int depth, GltfJson::parse_event_t, GltfJson&) {
        if (depth > MAX_DEPTH) refuse("has a text that is nested too deep");
        return true;
    };
    const GltfJson whole = GltfJson::parse(text.begin(), text.end(), requireFlat, false);
    if (!whole.is_object()) refuse("has a text that is no JSON object");
    GltfJson document = GltfJson::object();
    for (const char* key : {"asset", "scene", "scenes", "nodes", "meshes", "accessors", "bufferViews", "buffers"})
        if (whole.contains(key)) document[key] = whole[key];
    const GltfJson required = whole.value("extensionsRequired", GltfJson::array());
    for (const GltfJson& name : required)
        if (name == "KHR_draco_mesh_compression" || name == "EXT_meshopt_compression")
            refuse("has compressed geometry (" + name.get<std::string>() + "), which can't be read: write it without");
    return document;
}

/// Refuses a second entry for the same bytes.
void requireOneBufferEach(const GltfJson& document) {
    const auto it = document.find("buffers");
    if (it == document.end()) return;
    if (!it->is_array()) refuse("has buffers that are no list");
    std::set<std::string> sPlace;
    for (const GltfJson& buffer : *it) {
        const GltfJson uri = buffer.is_object() ? buffer.value("uri", GltfJson("")) : GltfJson("");
        if (!uri.is_string()) refuse("has a buffer whose uri is no text");
        if (!sPlace.insert(uri.get<std::string>()).second) refuse("has several buffers of the same bytes");
    }
}

/// The bytes of a .glb with that text.
std::string packed(std::string_view text, std::string_view data) {
    std::string bytes;
    if (!putGlb(text, data, [&bytes](std::string_view piece) { bytes += piece; })) refuse("is longer than 4 GB");
    return bytes;
}

/// For the package: a file beside a .gltf. One that isn't regular could be endless.
bool readBeside(std::vector<unsigned char>* pBytes, std::string* pError, const std::string& name, void*) {
    std::error_code noFile;
    if (!fs::is_regular_file(name, noFile)) {
        *pError += "there is no file " + name;
        return false;
    }
    const std::string bytes = wholeFile(name);
    pBytes->assign(bytes.begin(), bytes.end());
    return true;
}

tinygltf::FsCallbacks fileAccess() {
    const auto exists = [](const std::string& name, void*) { return fs::exists(name); };
    const auto plain = [](const std::string& name, void*) { return name; };
    const auto noWriting = [](std::string*, const std::string&, const std::vector<unsigned char>&, void*) { return false; };
    return {exists, plain, readBeside, noWriting, nullptr};
}

tinygltf::Model modelOf(const std::string& filename, const Chunks& chunks) {
    const GltfJson document = documentOf(chunks.text);
    requireOneBufferEach(document);
    const std::string text = document.dump(-1, ' ', false, GltfJson::error_handler_t::replace);
    const std::string folder = fs::path(filename).parent_path().string();
    tinygltf::TinyGLTF reader;
    reader.SetFsCallbacks(fileAccess());
    tinygltf::Model model;
    std::string error, warning;
    bool bRead = false;
    if (chunks.data.empty()) {
        if (text.size() > std::numeric_limits<std::uint32_t>::max()) refuse("is longer than 4 GB");
        bRead = reader.LoadASCIIFromString(&model, &error, &warning, text.c_str(), static_cast<unsigned>(text.size()),
                                           folder.empty() ? "." : folder);
    } else {
        const std::string bytes = packed(text, chunks.data);
        bRead = reader.LoadBinaryFromMemory(&model, &error, &warning, reinterpret_cast<const unsigned char*>(bytes.data()),
                                            static_cast<unsigned>(bytes.size()), folder.empty() ? "." : folder);
    }
    while (!error.empty() && (std::isspace(static_cast<unsigned char>(error.back())) != 0 || error.back() == '.'))
        error.pop_back();
    if (!bRead) refuse("is no good glTF: " + (error.empty() ? "it can't be read" : error));
    return model;
}

// ---- Lists of numbers

/// The entry of a list; refuses a number that no entry has.
template <typename T>
const T& entryOf(const std::vector<T>& v, int number, const char* what) {
    if (number < 0 || static_cast<std::size_t>(number) >= v.size())
        refuse(std::string("names ") + what + " " + std::to_string(number) + " of " + std::to_string(v.size()));
    return v[static_cast<std::size_t>(number)];
}

/// The elements of an accessor, each of one number or several. They lie within their buffer.
class Elements {
public:
    Elements(const tinygltf::Model& model, int number) {
        const tinygltf::Accessor& accessor = entryOf(model.accessors, number, "accessor");
        const std::string name = "accessor " + std::to_string(number);
        if (accessor.sparse.isSparse) refuse("has a sparse " + name + ", which can't be read");
        type = accessor.componentType;
        bNormalized = accessor.normalized;
        numCount = accessor.count;
        const int numBytes = tinygltf::GetComponentSizeInBytes(static_cast<std::uint32_t>(type));
        const int numOfType =
            accessor.type > 0 ? tinygltf::GetNumComponentsInType(static_cast<std::uint32_t>(accessor.type)) : 0;
        if (numBytes <= 0 || numOfType <= 0 || numOfType > 4 || type == TINYGLTF_COMPONENT_TYPE_DOUBLE)
            refuse("has an " + name + " of a type that isn't known");
        numNumbers = static_cast<std::size_t>(numOfType);
        numberLength = static_cast<std::size_t>(numBytes);
        if (accessor.bufferView < 0) return;  // all elements are zero
        const tinygltf::BufferView& view = entryOf(model.bufferViews, accessor.bufferView, "view");
        const std::vector<unsigned char>& data = entryOf(model.buffers, view.buffer, "buffer").data;
        const std::size_t elementLength = numNumbers * numberLength;
        stride = view.byteStride != 0 ? view.byteStride : elementLength;
        const std::size_t viewLength =
            view.byteOffset <= data.size() ? std::min(view.byteLength, data.size() - view.byteOffset) : 0;
        const std::size_t length = accessor.byteOffset <= viewLength ? viewLength - accessor.byteOffset : 0;
        const bool bFits = stride >= elementLength && numCount > 0 && length >= elementLength &&
                           (numCount - 1) <= (length - elementLength) / stride;
        if (!bFits)
            refuse("is too short for " + name + ": " + std::to_string(numCount) + " elements of " +
                   std::to_string(elementLength) + " bytes");
        pFirst = reinterpret_cast<const char*>(data.data()) + view.byteOffset + accessor.byteOffset;
    }

    std::size_t count() const { return numCount; }
    std::size_t width() const { return numNumbers; }
    bool areIndices() const {
        const bool bUnsigned = type == TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE ||
                               type == TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT ||
                               type == TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT;
        return bUnsigned && !bNormalized && numNumbers == 1;
    }
    /// A number of an element; of normalized whole numbers from 0 or -1 to 1.
    double number(std::size_t element, std::size_t i) const {
        const char* const p = pFirst + element * stride + i * numberLength;
        switch (type) {
        case TINYGLTF_COMPONENT_TYPE_BYTE:
            return scaled<std::int8_t>(p);
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
            return scaled<std::uint8_t>(p);
        case TINYGLTF_COMPONENT_TYPE_SHORT:
            return scaled<std::int16_t>(p);
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
            return scaled<std::uint16_t>(p);
        case TINYGLTF_COMPONENT_TYPE_INT:
            return scaled<std::int32_t>(p);
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
            return scaled<std::uint32_t>(p);
        default:
            return loadNumber<float>(p);
        }
    }

private:
    template <typename Int>
    double scaled(const char* p) const {
        const double value = loadNumber<Int>(p);
        return bNormalized ? std::max(value / std::numeric_limits<Int>::max(), -1.0) : value;
    }

    static constexpr std::array<char, 16> ZEROS{};  // as long as any element

    const char* pFirst = ZEROS.data();
    std::size_t stride = 0, numCount = 0, numNumbers = 0, numberLength = 0;
    int type = 0;
    bool bNormalized = false;
};

// ---- Nodes

AffineMap mapOf(const tinygltf::Node& node) {
    AffineMap map;
    const auto& m = node.matrix;
    if (m.size() == 16) {  // column by column
        for (std::size_t i = 0; i < 3; ++i)
            map.aRow[i] = {m[i], m[4 + i], m[8 + i], m[12 + i]};
        return map;
    }
    if (const auto& q = node.rotation; q.size() == 4) {
        const double x = q[0], y = q[1], z = q[2], w = q[3];
        map.aRow = {{{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w), 0},
                     {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w), 0},
                     {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y), 0}}};
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (node.scale.size() == 3)
            for (auto& aRow : map.aRow)
                aRow[i] *= node.scale[i];
        if (node.translation.size() == 3) map.aRow[i][3] = node.translation[i];
    }
    return map;
}

struct PlacedNode {
    int number;
    AffineMap map;
};

/// The nodes at the top of what the file shows.
std::vector<int> rootsOf(const tinygltf::Model& model) {
    if (!model.scenes.empty()) return entryOf(model.scenes, std::max(model.defaultScene, 0), "scene").nodes;
    std::vector<bool> vIsChild(model.nodes.size(), false);
    for (const tinygltf::Node& node : model.nodes)
        for (const int child : node.children)
            if (child >= 0 && static_cast<std::size_t>(child) < vIsChild.size())
                vIsChild[static_cast<std::size_t>(child)] = true;
    std::vector<int> vRoot;
    for (std::size_t i = 0; i < vIsChild.size(); ++i)
        if (!vIsChild[i]) vRoot.push_back(static_cast<int>(i));
    return vRoot;
}

/// Calls visit(mesh number, map) for each mesh that is shown, in the order of the nodes. Without nodes all are.
template <typename Visit>
void visitMeshes(const tinygltf::Model& model, const Visit& visit) {
    if (model.nodes.empty()) {
        for (std::size_t i = 0; i < model.meshes.size(); ++i)
            visit(static_cast<int>(i), AffineMap());
        return;
    }
    std::vector<PlacedNode> vWaiting;
    const auto add = [&](const std::vector<int>& vNode, const AffineMap& map) {  // the first one will be the next
        for (auto it = vNode.rbegin(); it != vNode.rend(); ++it)
            vWaiting.push_back({*it, map.after(mapOf(entryOf(model.nodes, *it, "node")))});
    };
    std::vector<bool> vDone(model.nodes.size(), false);
    add(rootsOf(model), AffineMap());
    while (!vWaiting.empty()) {
        const PlacedNode placed = vWaiting.back();
        vWaiting.pop_back();
        const auto i = static_cast<std::size_t>(placed.number);
        if (vDone[i]) refuse("has node " + std::to_string(placed.number) + " below several others, or below itself");
        vDone[i] = true;
        if (model.nodes[i].mesh >= 0) visit(model.nodes[i].mesh, placed.map);
        add(model.nodes[i].children, placed.map);
    }
}

// ---- Primitives

/// Corners of triangles, of a primitive's list of so many corners. Those of a strip that only lead on are left out.
/// corner: int(std::size_t).
template <typename Corner>
void appendTriangles(int mode, std::size_t numCorners, const Corner& corner, bool bMirror, std::vector<int>& vIndices) {
    const auto add = [&](std::size_t i, std::size_t j, std::size_t k) {
        const int a = corner(i), b = corner(bMirror ? k : j), c = corner(bMirror ? j : k);
        if (mode == TINYGLTF_MODE_TRIANGLE_STRIP && (a == b || b == c || c == a)) return;
        vIndices.insert(vIndices.end(), {a, b, c});
    };
    if (mode == TINYGLTF_MODE_TRIANGLES) {
        for (std::size_t i = 0; i + 2 < numCorners; i += 3)
            add(i, i + 1, i + 2);
        return;
    }
    for (std::size_t i = 0; i + 2 < numCorners; ++i) {
        if (mode == TINYGLTF_MODE_TRIANGLE_FAN)
            add(0, i + 1, i + 2);
        else
            i % 2 == 0 ? add(i, i + 1, i + 2) : add(i, i + 2, i + 1);
    }
}

bool isTriangleMode(int mode) {
    return mode == TINYGLTF_MODE_TRIANGLES || mode == TINYGLTF_MODE_TRIANGLE_STRIP || mode == TINYGLTF_MODE_TRIANGLE_FAN;
}

std::vector<float> channelOf(const Elements& elements, std::size_t i) {
    std::vector<float> v;
    v.reserve(elements.count());
    for (std::size_t row = 0; row < elements.count(); ++row)
        v.push_back(static_cast<float>(elements.number(row, i)));
    return v;
}

/// The columns of one primitive.
class PrimitiveColumns {
public:
    PrimitiveColumns(const tinygltf::Model& model_, std::size_t numVertices_, const AffineMap& map)
        : model(model_), numVertices(numVertices_), normalMap(map) {}

    void add(const std::string& name, int accessor) {
        const bool bColour = name == "COLOR_0", bNormal = name == "NORMAL";
        if (!bColour && !bNormal && !name.starts_with("_")) return;
        const Elements elements(model, accessor);
        if (elements.count() != numVertices)
            refuse("has " + std::to_string(elements.count()) + " values of " + name + " for " + std::to_string(numVertices) +
                   " vertices");
        if ((bColour || bNormal) && elements.width() < 3) refuse("has a " + name + " of fewer than three numbers");
        if (bColour)
            addColour(elements);
        else if (bNormal)
            addNormals(elements);
        else
            addOwn(name, elements);
    }
    std::vector<AttributeColumn> take() { return std::move(columns.columns()); }

private:
    void addColour(const Elements& elements) {
        std::size_t channel = 0;
        for (const char* name : {"red", "green", "blue"}) {
            std::vector<float> v = channelOf(elements, channel++);
            for (float& value : v)
                value =
                    std::isfinite(value) ? static_cast<float>(colourOfLight(std::clamp(double{value}, 0.0, 1.0))) : value;
            columns.add(name, std::move(v));
        }
    }
    void addNormals(const Elements& elements) {
        std::array<std::vector<float>, 3> aAxis;
        for (std::size_t row = 0; row < elements.count(); ++row) {
            const Vector3 n = normalMap({elements.number(row, 0), elements.number(row, 1), elements.number(row, 2)});
            for (std::size_t axis = 0; axis < aAxis.size(); ++axis)
                aAxis[axis].push_back(static_cast<float>(n.getCartesian(static_cast<int>(axis))));
        }
        for (std::size_t axis = 0; axis < aAxis.size(); ++axis)
            columns.add(std::string("n") + "xyz"[axis], std::move(aAxis[axis]));
    }
    void addOwn(const std::string& name, const Elements& elements) {
        std::string plain = name.substr(1);
        std::transform(plain.begin(), plain.end(), plain.begin(),
                       [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
        for (std::size_t i = 0; i < elements.width(); ++i)
            columns.add(i == 0 ? plain : plain + "_" + std::to_string(i), channelOf(elements, i));
    }

    const tinygltf::Model& model;
    std::size_t numVertices;
    NormalMap normalMap;
    AttributeColumns columns;
};

/// Makes the content of a file of its model, primitive by primitive.
class ContentMaker {
public:
    /// fileLength: bytes of the file and those beside it.
    ContentMaker(const tinygltf::Model& model_, std::size_t fileLength) : model(model_), mostWork(64 * fileLength) {}

    GltfContent make() {
        visitMeshes(model, [this](int mesh, const AffineMap& map) {
            for (const tinygltf::Primitive& primitive : entryOf(model.meshes, mesh, "mesh").primitives)
                add(primitive, map);
        });
        if (numLines > 0) content.vWarnings.push_back(std::to_string(numLines) + " primitive(s) of lines are left out");
        return std::move(content);
    }

private:
    void add(const tinygltf::Primitive& primitive, const AffineMap& map) {
        const bool bTriangles = isTriangleMode(primitive.mode);
        if (!bTriangles && primitive.mode != TINYGLTF_MODE_POINTS) {
            ++numLines;
            return;
        }
        const auto position = primitive.attributes.find("POSITION");
        if (position == primitive.attributes.end()) refuse("has a primitive without places");
        const Elements places(model, position->second);
        if (places.width() != 3) refuse("has places of " + std::to_string(places.width()) + " coordinates");
        const std::size_t numBefore = content.vVertices.size();
        spend(PRIMITIVE + places.count());
        for (std::size_t i = 0; i < places.count(); ++i)
            content.vVertices.push_back(map({places.number(i, 0), places.number(i, 1), places.number(i, 2)}));
        PrimitiveColumns columns(model, places.count(), map);
        for (const auto& [name, accessor] : primitive.attributes)
            columns.add(name, accessor);
        appendRows(columns.take(), numBefore, places.count(), content.attributes);
        if (bTriangles) addTriangles(primitive, numBefore, places.count(), map.isMirror());
    }

    void addTriangles(const tinygltf::Primitive& primitive, std::size_t first, std::size_t numVertices, bool bMirror) {
        std::optional<Elements> indices;
        if (primitive.indices >= 0) indices.emplace(model, primitive.indices);
        if (indices && !indices->areIndices()) refuse("has indices that are no whole numbers from 0 on");
        const std::size_t numCorners = indices ? indices->count() : numVertices;
        spend(3 * numCorners);
        const auto corner = [&](std::size_t i) {
            const std::size_t index = indices ? static_cast<std::size_t>(indices->number(i, 0)) : i;
            if (index >= numVertices) refuse("names vertex " + std::to_string(index) + " of " + std::to_string(numVertices));
            return static_cast<int>(first + index);
        };
        appendTriangles(primitive.mode, numCorners, corner, bMirror, content.vIndices);
    }

    /// A small file may show a mesh again and again. work: in vertices and corners that are made.
    void spend(std::size_t work) {
        numWork += work;
        if (numWork > mostWork || numWork > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            refuse("shows its meshes too often: more than 64 corners a byte would come of it");
    }

    static constexpr std::size_t PRIMITIVE = 512;  // takes about as long as so many corners
    const tinygltf::Model& model;
    const std::size_t mostWork;
    std::size_t numWork = 0, numLines = 0;
    GltfContent content;
};

std::size_t numBytesOf(const tinygltf::Model& model, std::size_t fileLength) {
    for (const tinygltf::Buffer& buffer : model.buffers)
        fileLength += buffer.data.size();
    return fileLength;
}

}  // namespace

GltfContent readGltf(const std::string& filename) {
    try {
        const std::string bytes = wholeFile(filename);
        const tinygltf::Model model = modelOf(filename, chunksOf(bytes));
        return ContentMaker(model, numBytesOf(model, bytes.size())).make();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& why) {  // also what the package throws for a bad text
        throw Failure("Can't read " + filename + ": it " + why.what());
    }
}
