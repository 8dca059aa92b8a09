// Writes 3MF files through lib3mf, which makes the package in memory; from there it goes to the file.
//
// The package gives parts random names, which would make each file another one. Ours come from the mesh.
#include "ThreeMfFile.h"

#include <Model/COM/NMR_DLLInterfaces.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "../../src_lib/files/AtomicFile.h"
#include "../../src_lib/files/attributeColumns.h"
#include "Failure.h"

using namespace TARN_KEL;

namespace {

/// result: of a call of the package.
void require(int result, const char* what) {
    if (result != 0) throw Failure(std::string("3MF: can't ") + what + ", error " + std::to_string(result));
}

/// Owns one of the package's objects, which are all of one type.
class Owned {
    using Object = NMR::PLib3MFBase;

public:
    Owned() = default;
    ~Owned() {
        if (p != nullptr) NMR::lib3mf_release(p);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    Object* get() const { return p; }
    Object** receive() { return &p; }

private:
    Object* p = nullptr;
};

/// A name in the form of a UUID, for a part of what has that hash.
std::string nameOf(std::uint64_t hash, unsigned part) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%08x-%04x-4%03x-8%03x-%012x", static_cast<unsigned>(hash >> 32),
                  static_cast<unsigned>(hash >> 16 & 0xffff), static_cast<unsigned>(hash >> 4 & 0xfff),
                  static_cast<unsigned>(hash & 0xfff), part);
    return text.data();
}

/// FNV-1a.
template <typename T>
void addToHash(const std::vector<T>& v, std::uint64_t& hash) {
    const auto* const p = reinterpret_cast<const unsigned char*>(v.data());
    for (std::size_t i = 0; i < v.size() * sizeof(T); ++i)
        hash = (hash ^ p[i]) * 0x100000001b3U;
}

using CornerColours = NMR::MODELMESH_TRIANGLECOLOR_SRGB;

/// The colours of the corners of each triangle; none where the vertices have none.
std::vector<CornerColours> cornerColours(const PointAttributes& attributes, const std::vector<int>& vIndices) {
    constexpr BYTE OPAQUE = 255;
    std::vector<NMR::MODELMESHCOLOR_SRGB> vOfVertex;
    for (const Vector3& colour : coloursOf(attributes)) {
        const Vector3 bytes = asBytes(colour);
        vOfVertex.push_back(
            {static_cast<BYTE>(bytes.x()), static_cast<BYTE>(bytes.y()), static_cast<BYTE>(bytes.z()), OPAQUE});
    }
    std::vector<CornerColours> vColours;
    if (vOfVertex.empty()) return vColours;
    const auto colourAt = [&](std::size_t i) { return vOfVertex[static_cast<std::size_t>(vIndices[i])]; };
    vColours.reserve(vIndices.size() / 3);
    for (std::size_t i = 0; i < vIndices.size(); i += 3)
        vColours.push_back({{colourAt(i), colourAt(i + 1), colourAt(i + 2)}});
    return vColours;
}

/// Each colour gets into the file once. An object needs one for triangles without colours, of which there are none here.
void setColours(std::vector<CornerColours>& vColours, NMR::PLib3MFBase* pObject) {
    if (vColours.empty()) return;
    Owned handler, defaultHandler;
    require(NMR::lib3mf_object_createdefaultpropertyhandler(pObject, defaultHandler.receive()), "take a colour");
    require(NMR::lib3mf_defaultpropertyhandler_setcolor(defaultHandler.get(), vColours.front().m_Colors), "take the colour");
    require(NMR::lib3mf_meshobject_createpropertyhandler(pObject, handler.receive()), "take colours");
    require(NMR::lib3mf_propertyhandler_setgradientcolorarray(handler.get(), vColours.data()), "take the colours");
}

/// The bytes of the package with one mesh.
std::string packageOf(std::vector<NMR::MODELMESHVERTEX>& vVertex, std::vector<NMR::MODELMESHTRIANGLE>& vTriangle,
                      std::vector<CornerColours>& vColours) {
    Owned model, object, item, writer;
    require(NMR::lib3mf_createmodel(model.receive()), "make a model");
    require(NMR::lib3mf_model_setunit(model.get(), NMR::MODELUNIT_MILLIMETER), "set the unit");
    require(NMR::lib3mf_model_addmeshobject(model.get(), object.receive()), "make an object");
    require(NMR::lib3mf_meshobject_setgeometry(object.get(), vVertex.data(), static_cast<DWORD>(vVertex.size()),
                                               vTriangle.data(), static_cast<DWORD>(vTriangle.size())),
            "take the triangles");
    setColours(vColours, object.get());
    require(NMR::lib3mf_model_addbuilditem(model.get(), object.get(), nullptr, item.receive()), "place the object");
    std::uint64_t hash = 0xcbf29ce484222325U;
    addToHash(vVertex, hash);
    addToHash(vTriangle, hash);
    addToHash(vColours, hash);
    require(NMR::lib3mf_object_setuuidutf8(object.get(), nameOf(hash, 1).c_str()), "name the object");
    require(NMR::lib3mf_builditem_setuuidutf8(item.get(), nameOf(hash, 2).c_str()), "name the object's place");
    require(NMR::lib3mf_model_setbuilduuidutf8(model.get(), nameOf(hash, 3).c_str()), "name the build");
    require(NMR::lib3mf_model_querywriter(model.get(), "3mf", writer.receive()), "write");
    ULONG64 length = 0;
    require(NMR::lib3mf_writer_getstreamsize(writer.get(), &length), "pack the model");
    std::string bytes(length, '\0');
    require(NMR::lib3mf_writer_writetobuffer(writer.get(), reinterpret_cast<BYTE*>(bytes.data()), length), "pack the model");
    return bytes;
}

}  // namespace

bool writeThreeMf(const std::string& filename, const MeshPtr& pMesh, const Vector3& shift,
                  const PointAttributes& attributes) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vVertices, vIndices);
    std::vector<NMR::MODELMESHVERTEX> vVertex;
    vVertex.reserve(vVertices.size());
    for (const Point3* pVtx : vVertices) {
        const Point3 p = *pVtx + shift;
        vVertex.push_back({{static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z())}});
    }
    std::vector<NMR::MODELMESHTRIANGLE> vTriangle;
    vTriangle.reserve(vIndices.size() / 3);
    for (std::size_t i = 0; i < vIndices.size(); i += 3)
        vTriangle.push_back(
            {{static_cast<DWORD>(vIndices[i]), static_cast<DWORD>(vIndices[i + 1]), static_cast<DWORD>(vIndices[i + 2])}});
    std::vector<CornerColours> vColours = cornerColours(attributes, vIndices);
    const std::string bytes = packageOf(vVertex, vTriangle, vColours);
    AtomicFile file(filename);
    file.write(bytes);
    return file.commit();
}
