#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Facet.h"
#include "FacetLinks.h"

namespace TARN_KEL {

class WeightQueue;

/// Gives listed facets one of two colours, as far as the facets around them tell.
///
/// Two ways take turns. By blocks: the facets on the same side of the 26 cells around a facet's cell count for the colours
/// they have. By weight: the four neighbours across the edges propose a colour. A colour counts for others at once. A facet
/// that was coloured leaves the list; colours are never taken back here.
///
/// A facet of the list is an item, and its number is its place in the list, which decides every order.
class FacetPainter {
public:
    /// A proposed color and its weight; NO_PROPOSAL for none.
    using Proposal = std::pair<int, double>;
    static constexpr Proposal NO_PROPOSAL{-99, 0.0};

    /// vFacets: all facets of the sorted cells, sorted; vList points to some of them, to none twice. All are referred to and
    /// must stay as they are but for what the painter colours.
    FacetPainter(const VRCD& theCells, std::vector<Facet>& vFacets, const FacetLinks& theLinks,
                 const std::vector<Facet*>& vList, int lowerColor, int upperColor);

    /// Passes over the list until none colours a facet, with colorizeByWeight(10.0) in between whenever one colours none. A
    /// facet of one color around takes it when at least minCount facets have it. With bAllowTie one of both colors takes the
    /// more frequent one, of equal ones the lower, when more than one facet has it and at least minCount.
    void colorizeByBlocks(int minCount, bool bAllowTie);
    /// Colours items without color, -1, the heaviest proposal first, of equal ones the first in the list, none of less than
    /// minWeight. Proposals are weighed again when their turn comes. Returns the number of facets coloured.
    int colorizeByWeight(double minWeight);
    /// What wasn't coloured, in the order of the list.
    std::vector<Facet*> getRest() const;

    /// What the neighbours of a facet propose; those of other colors and on the same cell don't count. 10 for one on the
    /// same side or of an inner cell, 1 for others. Of two colors one that reaches 10 alone.
    static Proposal propose(const std::vector<Facet>& vFacets, const FacetLinks& links, std::size_t position, int lower,
                            int upper);

private:
    using Position = FacetLinks::Position;
    using Item = std::uint32_t;
    static constexpr Item NONE = CellSides::NONE;

    struct State {
        Position position;                     // of the facet
        std::array<std::uint8_t, 2> counts{};  // facets of the lower, the upper color on this side of the block
        bool bInList = true;
        bool bMayHaveChanged = true;  // a neighbour was coloured since the last look at the weight
        std::uint32_t pass = 0;       // the last pass by blocks that has visited it or will
        std::uint32_t call = 0;       // the last call by weight that had it in its queue
    };

    Facet& facetOf(Item item) const { return vVisibleFacets[vState[item].position]; }
    bool isPainted(int color) const { return color == lower || color == upper; }
    Proposal proposalOf(Item item) const { return propose(vVisibleFacets, links, vState[item].position, lower, upper); }
    void linkBlocks();
    template <typename Visit>
    void forSameSide(const std::vector<Item>& vByPosition, const Visit& visit) const;
    bool runPass(int minCount, bool bAllowTie);
    int blockColor(const State& state, int minCount, bool bAllowTie) const;
    std::vector<std::pair<double, Item>> takeHeavy(double minWeight);
    void enterNeigs(Item item, WeightQueue& queue);
    void paint(Item item, int color);
    void visitBlocksAgain(Item item, int color);

    const VRCD& vCells;
    std::vector<Facet>& vVisibleFacets;
    const FacetLinks& links;
    int lower, upper;

    std::vector<State> vState;    // by item
    std::vector<Item> vItemOf;    // by position of the facet
    std::vector<Item> vChanged;   // all with bMayHaveChanged
    double lastMinWeight = -1.0;  // of the last call by weight
    std::uint32_t call = 0;

    // Items on the same side of neighbouring cells: of item i those at [vBlockBegin[i], vBlockBegin[i + 1]). Empty until
    // they are needed.
    std::vector<std::size_t> vBlockBegin;
    std::vector<Item> vBlockItem;
    std::uint32_t pass = 0;
    Item current = NONE;      // in a pass: the item that is visited; else NONE
    std::vector<Item> vNow;   // a heap: what this pass has yet to visit
    std::vector<Item> vNext;  // what the next one has to
};

}  // namespace TARN_KEL
