#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Facet.h"
#include "FacetLinks.h"
#include "kel.h"

namespace TARN_KEL {

struct ConnectionStruct;
struct Corner;
class CornerStore;

/// A sheet of cells with two coloured sides; or, as a master component, all sheets that hang together across gaps, with the
/// signed field that closes the gaps.
///
/// A sheet colours the two sides of its surface when it is made: the lower one 0, the upper one 1, and a thin seam between
/// them, round its rim, -1. Where it has no two sides all facets keep -1. Which side is called upper is a guess; votes of
/// the sheets that face each other across gaps tell which sheets must be flipped. When all are oriented, a master component
/// takes over cells and colours of its sheets, gives every lattice corner near them a signed distance, grows this field
/// outward, and finds the cells of its zero crossings.
///
/// The Filler owns all components. A component isn't copied or moved, and belongs to one thread.
class Component {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

    /// A sheet, coloured. cells: sorted, unique. border: those at the rim, sorted. vRCDPoint: all cells of the run with
    /// their points, sorted; only referred to, as is the grid. O(n log n).
    Component(const VRCD& cells, const VRCD& border, const VRCDPoint& vRCDPoint, Calc* pGrid);
    /// A master component of oriented sheets. growSteps: the most steps that the field grows. O(n log n).
    Component(const std::vector<Component*>& vGroup, int growSteps, const VRCDPoint& vRCDPoint, Calc* pGrid);
    ~Component();
    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;

    /// The number of cells.
    std::size_t getSize() const { return vCells.size(); }

    // ---- Orientation

    void registerConnectionStruct(ConnectionStruct* pConnection) { vConnectionStructs.push_back(pConnection); }
    /// How far the related sheets agree with this one's colours, summed in the order of registration; 0.0 without votes.
    double getScore() const;
    /// Appends for each vote the other sheet.
    void getRelatedComponents(std::vector<Component*>& vOut) const;
    void setOriented() { bOriented = true; }
    bool isOriented() const { return bOriented; }
    /// Swaps the two sides, and with them the sign of every vote.
    void flip();
    /// Counts the facets of the 27 cells round the cell, itself included, by side: those of colour 0 in a0, those of colour
    /// 1 in a1, six counters each. O(log n).
    void getOrientationCount(RCD rcd, int* a0, int* a1) const;

    // ---- Colours of a sheet. Facets are passed as pointers to elements of vVisibleFacets.

    /// Finds the facets and their two sides. False, and no facet coloured, when there are no two sides; prints a line then.
    bool stage1_createFacetCCs();
    /// Makes vVisibleFacets anew, without colours. O(n).
    void cc_createVisibleFacets();
    /// Floods over the facets of inner cells; a flood may not reach the facets that lie across the sheet from its own.
    /// Colours from 2 on; below -1 what was forbidden to a flood. Returns the number of floods less one. O(n log n).
    int cc_createFacetComponents();
    /// Gives the facets of neither colour one of the two, as far as their surroundings tell, then thins the seam.
    void cc_postColorize(int lower, int upper);
    /// Colours facets by their 27-blocks in passes until none changes: a block of one of the two colours gives it when at
    /// least minCount of its facets on the same side have it; with bAllowTie one of both colours gives the more frequent
    /// one. vList: sorted by pointer; coloured facets leave it.
    void cc_colorize_27(std::vector<Facet*>& vList, int lower, int upper, int minCount, bool bAllowTie);
    /// Colours facets without colour by their neighbours, the heaviest first, none of less than minWeight. Coloured facets
    /// leave the list; returns their number. The list comes out sorted by pointer.
    int cc_colorize_w(std::vector<Facet*>& vList, int lower, int upper, double minWeight);
    /// The colour that the neighbours propose, and its weight; (-99, 0.0) for none.
    std::pair<int, double> cc_getWeight(Facet* pFacet, int lower, int upper) const;
    /// Takes the colour from listed facets that touch another colour, those that stand across the surface first, until none
    /// touches one any more. Facets that lie flat in the surface keep theirs.
    void cc_makeThinBorder(std::vector<Facet*>& vList);
    /// The priority of a facet to become a part of the seam; 0.0 when it touches no other colour.
    double getThinBorderWeight(Facet* pFacet) const;
    /// Colours the uncoloured facets whose coloured neighbours agree, one after the other.
    void eliminateBorderIslands();
    /// The facets of vColored within numLayers steps of the open cells, over facets of their own colour: in vStrip, which is
    /// replaced, sorted by pointer. O(n).
    void getBorderStrip(std::vector<Facet*>& vColored, std::vector<Facet*>& vStrip, int numLayers);

    // ---- The field of a master component. Values are signed distances in the cloud's unit, the lower side negative.

    /// The whole of it, once: the steps below in their order. Appends what getZeroRCD() finds; always true. numGrowSteps
    /// must be above 0 (assertion). O(n log n) for n cells, and for c corners O(c) each step of growth.
    bool run(VRCDPoint& vOut);
    /// Sets the box in which the field may grow: that of the cells, and margin cells more on each side, but not below 0.
    void defineBounds(int margin);
    /// Makes the corners of all facets and gives them their first values: signed distances in the strips, which are the
    /// facets near the seam, 0 where the strips meet and off them. Corners of rim cells in one strip only are free. Sets
    /// vOpenCells. O(n log n).
    void assignFirstDistances();
    /// Gives each corner of the strip's facets the distance to the nearest point of the facets' cells at it, times sign
    /// (-1.0 for the lower strip, 1.0 for the upper one). The corners must be there (assertion). Sorts, so O(n log n).
    void assignDistancesToSideStrip(std::vector<Facet*>& vStrip, double sign);
    /// Grows the field and smooths it after each step: seven steps, and more as long as the two sides meet somewhere, but no
    /// more than numGrowSteps.
    void inflateCtrl2();
    /// Grows the field by one layer of corners. A new corner is a cell farther off than its nearest neighbour, but where its
    /// neighbours have both signs it takes their mean. True when no new corner saw both signs: the sides met nowhere.
    bool inflateOneStep2();
    /// Makes the missing neighbours, inside the box or one step off it, of all corners nearer than four cells and not 0, and
    /// appends them by ascending code, without values. O(all corners) and O(m log m) for m new ones.
    void infl_createFront(std::vector<Corner*>& vOut);
    /// Smooths the free corners in numIter rounds (CornerLowPass), by the corners' weights or without. Nothing for 0 rounds
    /// or fewer.
    void lowPass2(int numIter, bool bUseWeights);
    /// Appends the cells round all edges between free corners of opposite signs, but for the component's own, by ascending
    /// code, each once, with the mean of the zeros on its edges, moved into the cell. Corners of value 0 count as upper and
    /// lose that value. O(c log c) for c corners.
    void getZeroRCD(VRCDPoint& vOut);

    int numGrowSteps;                          ///< 0 for a sheet
    int minX, minY, minZ;                      ///< the box in which the field grows, in cells; the largest int until
    int maxX, maxY, maxZ;                      ///< defineBounds(), these 0
    int label;                                 ///< counts sheets and master components, each for itself
    std::string name;                          ///< for names of debug files; only written
    const VRCDPoint* pRCDPoint;                ///< all cells of the run with their points, not owned
    Calc* pCalc;                               ///< the grid, not owned
    std::unique_ptr<CornerStore> cornerStore;  ///< the field; null for a sheet
    float sideLen = 0.0F;                      ///< the edge of a cell; 0 for a sheet
    float halfSideLen = 0.0F;
    bool bOriented;
    VRCD vCells;                        ///< all cells, sorted
    VRCD vBorder;                       ///< the cells at the rim, sorted
    VRCD vArea;                         ///< the others, sorted
    VRCD vOpenCells;                    ///< the cells that have a facet without colour; set by assignFirstDistances()
    std::vector<Facet> vVisibleFacets;  ///< sorted; never changed in number after construction
    std::vector<ConnectionStruct*> vConnectionStructs;  ///< the votes in which this sheet takes part, not owned

    // They name components in debug output and decide nothing.
    static std::atomic<int> seqNum;
    static std::atomic<int> seqNumMaster;

private:
    Component(const char* kind, int number, int growSteps, const VRCDPoint& vRCDPoint, Calc* pGrid);
    const FacetLinks& getLinks() const;
    std::size_t positionOf(const Facet* pFacet) const;
    int countOtherColors(std::size_t position) const;

    mutable FacetLinks links;  // of vVisibleFacets; made when they are first needed
};

}  // namespace TARN_KEL
