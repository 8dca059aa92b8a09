#pragma once

#include <string>
#include <vector>

#include "Chain.h"
#include "Loop.h"

namespace TARN_KEL {

class CMesh;

/// Closes holes of a coarse mesh by ears (Loop) cut in the mesh itself, round by round. It doesn't ask whether a border is
/// an opening of the surface: what has convex corners is filled, so a concave outer rim of a sheet gets ears as well. Where
/// two borders touch in a vertex, a triangle between them makes one border of both first.
///
/// No public function of the library reaches this class. It serves one mesh, which must outlive it, and one run.
class HoleFiller {
public:
    HoleFiller(CMesh* pCMesh, Calc* pCalc);
    ~HoleFiller();
    HoleFiller(const HoleFiller&) = delete;
    HoleFiller& operator=(const HoleFiller&) = delete;

    /// Turns the triangles of each sheet to agree, then fills all borders, and in further rounds what is open after that,
    /// until two rounds in succession have made no triangle. Warns of a border that doesn't close. Cost: O(n log n).
    void run();

    // ---- Steps of run()

    /// Makes loops of edges and appends them to vLoops. Throws (assertion) unless each has exactly one triangle.
    void createLoopsStrategy(const std::vector<CEdge*>& vCE);
    /// At a vertex of four border edges, two each of two fans: makes a triangle from an edge of one fan to that edge of the
    /// other one that is nearer. Takes both edges out of the map, where all stand under both ends, and enters the new one.
    /// Makes nothing where the nearer ones don't pair up, and after a warning where the edges are others.
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
