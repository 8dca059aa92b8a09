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

/// A part of a fine mesh: a set of its triangles and, on demand, the boundary of that set.
///
/// Owned by the mesh through its list of patches. A triangle knows at most one patch, the last one that it was added to.
/// Both sets are in order of creation (of address). A killed triangle stays in the set; all operations look at alive ones
/// only. Const operations are safe on several threads while no thread changes the patch.
class RPatch {
public:
    /// An empty patch of pRMesh, with the next label.
    explicit RPatch(RMesh* pRMesh);
    /// Its triangles have no patch afterwards.
    ~RPatch();
    RPatch(const RPatch&) = delete;
    RPatch& operator=(const RPatch&) = delete;

    /// Adds the triangle, which may be in already, and makes this its patch.
    void add(RTriangle* pRT);

    int getLabel() const { return label; }
    bool isAlive() const { return bAlive; }
    FlatSet<RTriangle*>& getTriangleRef() { return sRT; }
    /// Number of alive triangles. Cost: O(n).
    std::size_t getSize() const;

    /// Collects the edges with exactly one alive triangle of the patch. The patch must be alive. Cost: O(n log n).
    void setBoundary();
    /// The edges that setBoundary found, as a copy.
    std::set<REdge*> getBounaryRef() const { return sBoundary; }
    /// All edges of the alive triangles, each once, in order of creation. The vector must be empty. Cost: O(n log n).
    void getAllRE(std::vector<REdge*>& vRE) const;

    /// The next number of a patch, over all meshes, from 0. Safe on any thread.
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
