#pragma once

#include <string>
#include <vector>

#include "Chain.h"
#include "Loop.h"

namespace TARN_KEL {

class CMesh;

/// Closes holes of a coarse mesh by ears (Loop) cut in the mesh itself, round by round. It doesn't judge whether a border
/// loop is an opening of the surface: whatever has convex corners is filled, so a concave outer border of a sheet gets ears
/// as well. Where two border loops touch in a vertex, a triangle between them first joins them into one.
///
/// No public function of the library reaches this class. An object serves one mesh, which must outlive it, and one run.
class HoleFiller {
public:
    HoleFiller(CMesh* pCMesh, Calc* pCalc);
    ~HoleFiller();
    HoleFiller(const HoleFiller&) = delete;
    HoleFiller& operator=(const HoleFiller&) = delete;

    /// Orients the triangles patch by patch, then fills all border loops. Further rounds fill what is still open, until two
    /// rounds in succession have created no triangle. Warns of a border that doesn't close. Cost: O(n log n).
    void run();

    // ---- Steps of run()

    /// Makes loops of these edges and appends them to vLoops. Throws (assertion) unless each has exactly one triangle.
    void createLoopsStrategy(const std::vector<CEdge*>& vCE);
    /// At a vertex with four border edges, two of each of two fans: creates a triangle between an edge of one fan and the
    /// nearer edge of the other one. Creates none when both edges of a fan are nearer to the same one. Warns, and creates
    /// none, when there aren't four edges, two of each fan.
    /// mmVCD2CE: edges, each under both ends. The two edges are removed; the third edge of the triangle is entered, or
    /// removed if it has two triangles now.
    void solveMultiVCD(VCD vcd, EdgesByEnd& mmVCD2CE);

    /// For debugging.
    void showLoops(const std::string& filename) const;

    CMesh* pCMesh;              ///< not owned
    Calc* pCalc;                ///< not owned
    std::vector<Loop*> vLoops;  ///< owned; none is left after run()

private:
    bool fillLoops();
    void dropLoops(std::vector<CEdge*>& vRemainingCE);
};

}  // namespace TARN_KEL
