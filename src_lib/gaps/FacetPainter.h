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

/// Gives listed facets one of two colours, as far as the facets around them tell which.
///
/// Two ways alternate. By blocks: counts the colours of the facets on the same side of the 26 cells around a facet's cell.
/// By weight: the four neighbours across the edges propose a colour. A new colour counts for other facets at once. A facet
/// that was coloured is removed from the list; no colour is taken back here.
///
/// A facet of the list is an item. Its number is its position in the list, which decides every order.
class FacetPainter {
public:
    /// A proposed color and its weight; NO_PROPOSAL for none.
    using Proposal = std::pair<int, double>;
    static constexpr Proposal NO_PROPOSAL{-99, 0.0};

    /// theCells: sorted.
    /// vFacets: all facets of these cells, sorted.
    /// vList: points to some of them, to none twice.
    /// Cells, facets and links aren't copied and must not change, except for the colours that the painter sets.
    FacetPainter(const VRCD& theCells, std::vector<Facet>& vFacets, const FacetLinks& theLinks,
                 const std::vector<Facet*>& vList, int lowerColor, int upperColor);

    /// Colours by blocks in passes over the list. A pass that colours none is followed by colorizeByWeight(10.0); ends when
    /// that colours none either. A facet with only one of the colours around it takes that colour when at least minCount
    /// facets have it.
    /// bAllowTie: a facet with both colours around it takes the more frequent one, of equally frequent ones the lower, when
    /// at least minCount facets and more than one have it.
    void colorizeByBlocks(int minCount, bool bAllowTie);
    /// Colours items without a color (-1), the heaviest proposal first, of equal ones the first in the list. Proposals are
    /// weighed again when their turn comes; those of less than minWeight don't count.
    /// Returns the number of facets coloured.
    int colorizeByWeight(double minWeight);
    /// The facets that weren't coloured, in the order of the list.
    std::vector<Facet*> getRest() const;

    /// The color that the neighbours of a facet propose. A neighbour on the same side or of an inner cell weighs 10, others
    /// weigh 1; those of other colors and on the same cell don't count. With both colors around, the one that alone reaches
    /// 10 is proposed.
    static Proposal propose(const std::vector<Facet>& vFacets, const FacetLinks::Neigs& neigs, const Facet& facet, int lower,
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
        std::uint32_t pass = 0;       // the last pass by blocks that has visited it or will visit it
        std::uint32_t call = 0;       // the last call by weight that had it in its queue
    };

    Facet& facetOf(Item item) const { return vVisibleFacets[vState[item].position]; }
    bool isPainted(int color) const { return color == lower || color == upper; }
    Proposal proposalOf(Item item) const {
        return propose(vVisibleFacets, links[vState[item].position], facetOf(item), lower, upper);
    }
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
    std::vector<Item> vChanged;   // all items with bMayHaveChanged
    double lastMinWeight = -1.0;  // of the last call by weight
    std::uint32_t call = 0;

    // Items on the same side of neighbouring cells: of item i those at [vBlockBegin[i], vBlockBegin[i + 1]). Empty until
    // they are needed.
    std::vector<std::size_t> vBlockBegin;
    std::vector<Item> vBlockItem;
    std::uint32_t pass = 0;
    Item current = NONE;      // in a pass: the item that is visited; else NONE
    std::vector<Item> vNow;   // a heap: the items that this pass has yet to visit
    std::vector<Item> vNext;  // the items for the next pass
};

}  // namespace TARN_KEL
