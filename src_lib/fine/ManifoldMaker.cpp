// Makes a mesh manifold by taking sheets apart.
//
// First everything is removed that leaves no opening: duplicates, triangles without area, on request strips that stand for
// two sheets (removeOddStrips), walls inside the body and flaps (MembraneRemover). Around each remaining edge of more than
// two triangles, the sheets are told apart (Sheets). From then on only the links count, not the edges: they make the mesh a
// set of sheets, with at most two sides at an edge. What remains is to choose the outside of each sheet, and to give it
// vertices of its own (SheetParter).
//
//   - At each vertex the corners that links join are a fan. The largest fan keeps the vertex, the others get new ones at the
//     same place.
//   - Two sheets may still share both ends of an edge, where their fans are the same at both ends. Then one of them gets an
//     additional vertex in the middle of the edge:
//
//              a                a
//            / | \            / | \          c and d belong to the one sheet, the other one keeps the edge a-b
//           c  |  d    ->    c--m--d
//            \ | /            \ | /
//              b                b
//
// All decisions go by the order of creation, so the same mesh gives the same result.
#include "ManifoldMaker.h"

#include <vector>

#include "MembraneRemover.h"
#include "Progress.h"
#include "RMesh.h"
#include "SheetParter.h"
#include "flatTriangles.h"
#include "oddStrips.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_SMALL = 100;  // triangles of a membrane or a strip that is removed however wide it is

/// Calls remove() and returns how many triangles are fewer.
template <typename Remove>
std::size_t numRemovedBy(const RMesh& mesh, Remove&& remove) {
    const std::size_t numBefore = mesh.getNumT();
    remove();
    return numBefore - mesh.getNumT();
}

/// A nearly flat triangle may have been cut in the middle of a side, and parts of it may be flat now. One that can't be
/// removed otherwise leaves a hole.
void removeFlatPieces(RMesh& mesh, Facing facing, ManifoldReport& report) {
    std::vector<RTriangle*> vLeft;
    report.numFlat += removeFlatKeepingManifold(mesh, vLeft);
    if (vLeft.empty()) return;
    for (RTriangle* pRT : vLeft)
        pRT->kill(&mesh);
    SheetParter(mesh, facing).run(report);  // for fans; without edges of many triangles it cuts no side
}

}  // namespace

ManifoldReport makeManifold(RMesh& mesh, Facing facing, Strips strips) {
    ManifoldReport report;
    ProgressStep step("MF_make", 3);
    const auto removeDuplicates = [&] { report.numDuplicates += numRemovedBy(mesh, [&] { mesh.removeDups(); }); };
    removeDuplicates();
    report.numFlat = removeFlatTriangles(mesh);
    if (report.numFlat > 0) removeDuplicates();  // collapses bring triangles together
    step.advance();
    if (strips != Strips::SEPARATE)
        report.numMembranes = removeOddStrips(mesh, MAX_SMALL, strips == Strips::REMOVE_OF_CLOSED);
    MembraneRemover membranes(mesh, MAX_SMALL);
    report.numMembranes += membranes.run(false);
    report.numMembranes += membranes.run(true);
    step.advance();
    SheetParter(mesh, facing).run(report);
    if (report.numNewVertices > 0) removeFlatPieces(mesh, facing, report);
    step.advance();
    step.finish();
    return report;
}

void removeFlatFromManifold(RMesh& mesh) {
    std::vector<RTriangle*> vLeft;
    removeFlatKeepingManifold(mesh, vLeft);
    if (!vLeft.empty()) makeManifold(mesh, Facing::AS_MOST);
}

}  // namespace TARN_KEL
