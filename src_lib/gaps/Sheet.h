#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Facet.h"
#include "FacetLinks.h"
#include "kel.h"

namespace TARN_KEL {

/// A sheet of cells, one cell thick, and the facets of its surface in two colours: 0 on the lower side, 1 on the upper one,
/// and -1 on a thin seam between them, along its rim. When a sheet doesn't have two sides, all facets keep -1. Which side is
/// called upper is arbitrary.
///
/// Facets are passed as pointers to elements of vVisibleFacets. The grid and the points aren't owned. Failed conditions
/// throw KelBugException.
struct Sheet {
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

    /// No cells yet. vRCDPoint: all cells of the run with their points, sorted.
    Sheet(const VRCDPoint& vRCDPoint, Calc* pGrid) : pRCDPoint(&vRCDPoint), pCalc(pGrid) {}

    /// The number of cells.
    std::size_t getSize() const { return vCells.size(); }

    // ---- The two sides

    /// Finds the facets and their two sides. When there aren't two sides it prints a line, colours no facet and returns
    /// false. Cost: O(n log n).
    bool stage1_createFacetCCs();
    /// Replaces vVisibleFacets by new facets without colours.
    /// Cost: O(n).
    void cc_createVisibleFacets();
    /// Floods over the facets of inner cells; a flood can't reach the facets across the sheet from its own. Floods get
    /// colours from 2 on; facets that were forbidden to a flood get colours below -1.
    /// Returns the number of floods minus one. Cost: O(n log n).
    int cc_createFacetComponents();
    /// Colours the uncoloured facets whose coloured neighbours agree, one after the other.
    void eliminateBorderIslands();
    /// Exchanges the colours 0 and 1.
    void swapSides();
    /// Counts the facets of the cell and its 26 neighbours by side: those of colour 0 in a0, those of colour 1 in a1, six
    /// counters each. Cost: O(log n).
    void getOrientationCount(RCD rcd, int* a0, int* a1) const;

    // ---- Between the sides

    /// Gives the facets of neither colour one of the two, as far as their surroundings tell, then thins the seam.
    void cc_postColorize(int lower, int upper);
    /// Colours facets by their 27-blocks in passes until none changes (FacetPainter::colorizeByBlocks).
    /// vList: sorted by pointer; coloured facets are removed from it.
    /// minCount: so many facets on the same side in the block must have the colour.
    /// bAllowTie: a block with both colours gives the more frequent one.
    void cc_colorize_27(std::vector<Facet*>& vList, int lower, int upper, int minCount, bool bAllowTie);
    /// Colours facets without colour by their neighbours, the heaviest proposal first (FacetPainter::colorizeByWeight).
    /// vList: coloured facets are removed from it; it is sorted by pointer afterwards.
    /// minWeight: lighter proposals don't count.
    /// Returns the number of facets coloured.
    int cc_colorize_w(std::vector<Facet*>& vList, int lower, int upper, double minWeight);
    /// The colour that the neighbours propose, and its weight; (-99, 0.0) for none.
    std::pair<int, double> cc_getWeight(Facet* pFacet, int lower, int upper) const;
    /// Removes the colour of listed facets that touch another colour, first of those that lie across the surface, until none
    /// touches one any more. Facets that lie flat in the surface keep theirs.
    void cc_makeThinBorder(std::vector<Facet*>& vList);
    /// The priority of a facet to become a part of the seam; 0.0 when it touches no other colour.
    double getThinBorderWeight(Facet* pFacet) const;
    /// Finds the facets of vColored within numLayers steps from the open cells, over facets of their own colour.
    /// vStrip: replaced by these facets, sorted by pointer.
    /// Cost: O(n).
    void getBorderStrip(std::vector<Facet*>& vColored, std::vector<Facet*>& vStrip, int numLayers);

    const VRCDPoint* pRCDPoint;         ///< all cells of the run with their points, not owned
    Calc* pCalc;                        ///< the grid, not owned
    VRCD vCells;                        ///< all cells, sorted
    VRCD vBorder;                       ///< the cells at the rim, sorted
    VRCD vArea;                         ///< the others, sorted
    VRCD vOpenCells;                    ///< those that have a facet without colour, for getBorderStrip(); sorted
    std::vector<Facet> vVisibleFacets;  ///< sorted

private:
    /// The neighbours of one facet by searching; an operation on many facets makes the links of all of them first. O(log n).
    FacetLinks::Neigs findNeigs(const Facet& facet) const;
    std::size_t positionOf(const Facet* pFacet) const { return static_cast<std::size_t>(pFacet - vVisibleFacets.data()); }
    int countOtherColors(const Facet& facet, const FacetLinks::Neigs& neigs) const;
};

}  // namespace TARN_KEL
