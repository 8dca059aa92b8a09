#pragma once

#include <string>
#include <vector>

#include "Chain.h"
#include "Loop.h"

namespace TARN_KEL {

class CMesh;

/// Closes holes of a coarse mesh by ears (Loop) cut in the mesh itself, round by round, with no question whether a border is
/// an opening of the surface: what has convex corners is filled. So a concave outer rim of a sheet gets ears as well.
///
/// Where two borders touch in a vertex, a triangle between them makes one border of both first.
///
/// For one mesh and one run. Only refers to the mesh, which must outlive it. O(n log n).
class HoleFiller {
public:
    HoleFiller(CMesh* pCMesh, Calc* pCalc);
    ~HoleFiller();
    HoleFiller(const HoleFiller&) = delete;
    HoleFiller& operator=(const HoleFiller&) = delete;

    /// Turns the triangles of each sheet to agree, then fills all borders, and in further rounds what is open after that,
    /// until two rounds in succession have made no triangle. A border that doesn't close is a warning.
    void run();

    // ---- Steps of run()

    /// Makes loops of edges with one triangle each (assertion) and appends them to vLoops.
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
