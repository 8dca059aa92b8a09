// Orients the triangles patch by patch. Extraction creates triangles cube by cube, so neighbours may disagree. Each patch
// between borders and non-manifold edges (MEs) is oriented by itself, like its first triangle. The walk is breadth first,
// but a triangle at a border or an ME waits until nothing else is left: so where a patch is ragged, its clean inside has
// been oriented before.
#include "orientPatches.h"

#include <cstdint>
#include <memory>

#include "CMesh.h"
#include "CPatch.h"
#include "OrientedFlood.h"
#include "handOver.h"
#include "lookUp.h"
#include "meshCore.h"

namespace TARN_KEL {

namespace {

/// patchOf: patchOf(flood, members) gives the patch of some triangles, by their numbers; null for none.
template <typename PatchOf>
void orientEach(const CMesh& mesh, const std::vector<CTriangle*>& vT, const PatchOf& patchOf) {
    clearVisited_MT(vT);
    OrientedFlood<CTriangle> flood(mesh.getTrianglePool());
    LookingUp looking(50000);
    for (const CTriangle* pStartT : vT) {
        if (flood.isTaken(pStartT)) continue;
        const std::vector<std::uint32_t> vMember = flood.takeAllFrom(pStartT, true, [&looking] { looking.step(); });
        flood.apply(vMember, patchOf(flood, vMember));
    }
}

}  // namespace

void orientPatches(CMesh& mesh, const std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches) {
    orientEach(mesh, vT, [&](const auto& flood, const std::vector<std::uint32_t>& vMember) {
        CPatch* pPatch = handOver(std::make_unique<CPatch>(&mesh, mesh.getCalc()), vPatches);
        pPatch->vMemberCT = flood.elements(vMember);
        return pPatch;
    });
}

void orientPatches(CMesh& mesh) {
    orientEach(mesh, mesh.getTriRef(), [](const auto&, const std::vector<std::uint32_t>&) -> CPatch* { return nullptr; });
}

}  // namespace TARN_KEL
