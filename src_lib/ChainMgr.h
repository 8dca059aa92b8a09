#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Chain.h"

namespace TARN_KEL {

/// Cuts an unordered set of edges, the border of a mesh for instance, into chains and closes open ones where it can.
///
/// A chain ends where no edge continues it, and at vertices of high degree, where more than two of the edges meet. A closed
/// chain is kept, and its edges are taken out. The other chains are dissolved, and in the next round their edges are chained
/// again, since some vertices may have lost their high degree. This ends when nothing closes any more. The edges that are
/// left then make open chains; an edge between two vertices of high degree is in none.
///
/// vChains lists all chains in order of creation, the dissolved ones too, which are empty. The first 16 rounds chain all
/// edges that are left; later ones only those that a closed chain has set free, because a row of holes that touch each other
/// takes half as many rounds as there are holes. This gives the same chains with members, but lower labels.
///
/// The directions of the edges hold until the next ChainMgr on these edges. The mesh and its edges aren't owned and must
/// outlive this object. Cost: O(n log n) for n edges, and as much again for the edges that a round chains again.
class ChainMgr {
public:
    /// mmVCD2CE: the edges, each under both its ends; it is copied.
    /// bTryClose: whether other edges of the mesh, that no chain has, may be used to close chains.
    ChainMgr(CMesh* pCMesh, const EdgesByEnd& mmVCD2CE, bool bTryClose);
    ~ChainMgr();
    ChainMgr(const ChainMgr&) = delete;
    ChainMgr& operator=(const ChainMgr&) = delete;

    /// Dissolved chains included.
    std::size_t getSize() const { return vChains.size(); }
    /// The chain belongs to this object. Throws (assertion) unless i is below getSize().
    Chain* getChain(std::size_t i) const;

    /// Finds one or two edges of the mesh that would close the chain (Chain::findClosingEdges). They have a triangle, no
    /// chain has them, and a third vertex isn't one of the chain. The chain isn't changed.
    /// vSolution: the edges are appended.
    /// Returns true when the chain is closed already, or when there are such edges.
    bool tryCloseChain(const Chain* pChain, std::vector<CEdge*>& vSolution) const;
    /// Removes from the map the entries under every code with more than two entries, and adds these codes to vHighVCD.
    /// Entries of the same edges under their other ends are kept, so that chains may end there.
    /// vRemovedCE: the edges are appended, once for each removed entry.
    void removeHighDegree(EdgesByEnd& mm, std::vector<CEdge*>& vRemovedCE);
    /// Makes the chains of mmVCD2CE, which must have each edge under both its ends. The constructor calls it.
    void createChains();

    /// For debugging: draws the mesh into a file in white, and over it the closed chains in green, those with entries in
    /// vMoebiusCE in light blue, and the open ones in red. Dissolved chains don't show.
    void show(const std::string& filename) const;

    CMesh* pCMesh;                ///< not owned
    std::vector<VCD> vHighVCD;    ///< every code that had a high degree at some time; sorted, unique
    EdgesByEnd mmVCD2CE;          ///< edges to be chained, empty afterwards
    std::vector<Chain*> vChains;  ///< owned
    bool bTryClose;

private:
    ChainMgr(CMesh* pCMesh, bool bTryClose);
    void addChain();
    std::size_t settleChains(std::size_t firstNew, bool bLast);
};

}  // namespace TARN_KEL
