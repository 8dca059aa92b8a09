#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Chain.h"

namespace TARN_KEL {

/// Cuts an unordered set of edges, the border of a mesh for instance, into chains and closes open ones where it can.
///
/// Chains end where edges do, and at vertices of high degree: where more than two of the edges meet. A closed chain is kept
/// and its edges are taken; the rest is chained anew without them, since vertices may have lost their high degree by that,
/// until nothing closes any more. What is left stays as open chains; an edge between two vertices of high degree is then in
/// none.
///
/// vChains lists all chains in order of creation, dissolved ones too, which are empty. For the first 16 rounds all edges
/// that are left are chained in every round; afterwards only those that a closed chain has set free, because a row of holes
/// that touch each other takes half as many rounds as there are holes. The chains with members are the same; their
/// labels are lower than if all had been chained again.
///
/// The directions of the edges hold until the next ChainMgr on these edges. Only refers to the mesh and its edges, which
/// must outlive it. O(n log n) for n edges, and as much again for the edges that a round chains anew.
class ChainMgr {
public:
    /// mmVCD2CE: the edges, each under both its ends; it is copied. bTryClose: edges of the mesh that no chain has may be
    /// used to close chains.
    ChainMgr(CMesh* pCMesh, const EdgesByEnd& mmVCD2CE, bool bTryClose);
    ~ChainMgr();
    ChainMgr(const ChainMgr&) = delete;
    ChainMgr& operator=(const ChainMgr&) = delete;

    /// Dissolved chains included.
    std::size_t getSize() const { return vChains.size(); }
    /// The manager's. An index that isn't below getSize() is an assertion.
    Chain* getChain(std::size_t i) const;

    /// Finds one or two edges of the mesh that close the chain and appends them to vSolution: edges with a triangle that no
    /// chain has, off the chain's inner vertices, those of the smallest degrees (Chain::findClosingEdges). The chain doesn't
    /// get them. True when it is closed already, or when there are some.
    bool tryCloseChain(const Chain* pChain, std::vector<CEdge*>& vSolution) const;
    /// Takes the entries under every code with more than two entries out of the map. Their edges are appended to vRemovedCE,
    /// once an entry, and the codes go to vHighVCD. Entries under the other ends stay, so that chains may end there.
    void removeHighDegree(EdgesByEnd& mm, std::vector<CEdge*>& vRemovedCE);
    /// Makes the chains of mmVCD2CE, which must be the edges as they were handed in; the constructor has done it.
    void createChains();

    /// For debugging: draws the mesh into a file, white, and on it the closed chains in green, those among them with entries
    /// in vMoebiusCE in light blue, and the open ones in red. Dissolved chains don't show.
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
