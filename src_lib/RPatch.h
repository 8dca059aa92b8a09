#pragma once

#include <cstddef>
#include <set>
#include <vector>

#include "FlatSet.h"
#include "kel.h"

namespace TARN_KEL {

class REdge;
class RMesh;
class RTriangle;

/// A named part of a fine mesh: a set of its triangles and, on demand, the boundary of that set.
///
/// Owned by the mesh through its list of patches. A triangle knows at most one patch, the last that it was added to. Both
/// sets are in order of creation (of address). Killing a triangle leaves it in the set; what counts is alive ones.
///
/// The first reading of the triangles after add() puts the set in order. So several threads may read a patch only when one
/// of them has read it alone before.
class RPatch {
public:
    /// An empty patch of pRMesh, with the next label.
    explicit RPatch(RMesh* pRMesh);
    /// Its triangles have no patch afterwards.
    ~RPatch();
    RPatch(const RPatch&) = delete;
    RPatch& operator=(const RPatch&) = delete;

    /// Enters the triangle, which may be in already, and makes this its patch.
    void add(RTriangle* pRT);

    int getLabel() const { return label; }
    bool isAlive() const { return bAlive; }
    FlatSet<RTriangle*>& getTriangleRef() { return sRT; }
    /// Number of alive triangles. O(n).
    std::size_t getSize() const;

    /// Collects the edges on which exactly one alive triangle of the patch stands. The patch must be alive. O(n log n).
    void setBoundary();
    /// The edges that setBoundary found, as a copy.
    std::set<REdge*> getBounaryRef() const { return sBoundary; }
    /// Every edge of the alive triangles once, in order of creation. The vector must be empty. O(n log n).
    void getAllRE(std::vector<REdge*>& vRE) const;

    /// The running number of patches, over all meshes; from 0. Safe on any thread.
    static int getSeqNum();

    bool bAlive = true;
    int label;
    RMesh* pRMesh;               ///< not owned
    FlatSet<RTriangle*> sRT;     ///< not owned
    std::set<REdge*> sBoundary;  ///< not owned

private:
    std::vector<REdge*> edgesOfAlive() const;
};

}  // namespace TARN_KEL
