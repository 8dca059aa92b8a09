// Another extraction, which no public function reaches: the same cubes into a new mesh, and flat corners cleaned afterwards.
#include <array>

#include "CMesh.h"
#include "Voro.h"
#include "cubeTriangles.h"
#include "drawings.h"
#include "looseTriangles.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Six of the eight rotations of the flat corner, base row 27.
constexpr std::array<int, 6> LATE_FLAT_CORNERS = {78, 114, 141, 177, 216, 228};

}  // namespace

void Voro::thinNewExtractTriangles() {
    out() << "This is thinNewExtractTriangles" << std::endl;
    pCMesh = nullptr;  // in case that the next one can't be made
    makeMesh();
    std::vector<CCD> vAmbiguousT;
    createTrianglesOfCubes(pCMesh, casx, vStaticVCD2CCD, vAmbiguousT);
    solveAmbiguousT(vAmbiguousT);
    pruneCase27();
}

void Voro::pruneCase27() {
    ASSEX(pCMesh!=NULL);
    drawOnTheWay([&] { pCMesh->debugShow(globalPrefix() + "beforePruneCase27.list", VT_REAL, CGREEN); });
    pCMesh->printStatistics("before pruneCase27()");
    killLooseTriangles(pCMesh, LATE_FLAT_CORNERS);
}

}  // namespace TARN_KEL
