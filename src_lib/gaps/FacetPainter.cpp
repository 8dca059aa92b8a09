// Passes over a list of facets, of which only those are visited that can give another result than last time.
//
// By blocks: what a facet takes depends on two counts alone, which only grow. They are kept up to date: a facet that is
// coloured adds one to the facets on the same side of the 26 cells around its cell, and only these must be visited again: in
// the same pass when they come later in the list, else in the next one.
//
//      list   . . a . . i . b . .      i is coloured and lies next to a and b:
//                 |     |   |          b is visited in this pass, a in the next one
//
// So a front that advances layer by layer costs as much as it colours, not a pass over the whole list for each layer.
//
// By weight: a queue holds all facets without colour, by weight and turn; when its turn comes a facet is weighed again, put
// back when it became lighter, coloured when it is heavy enough, else dropped. A facet that is too light at the start
// matters only if a neighbour is coloured before its turn. So it stays outside the queue until then, and a call looks only
// at facets with a neighbour that was coloured since they were last looked at, and at those in the queue.
#include "FacetPainter.h"

#include <algorithm>
#include <cfloat>
#include <functional>
#include <numeric>
#include <optional>

#include "NeighbourWalk.h"
#include "WeightQueue.h"
#include "lazyQueue.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double HEAVY = 10.0;  // the weight of a reliable neighbour
constexpr double LIGHT = 1.0;   // that of a neighbour around an edge of the rim

}  // namespace

FacetPainter::FacetPainter(const VRCD& theCells, std::vector<Facet>& vFacets, const FacetLinks& theLinks,
                           const std::vector<Facet*>& vList, int lowerColor, int upperColor)
    : vCells(theCells),
      vVisibleFacets(vFacets),
      links(theLinks),
      lower(lowerColor),
      upper(upperColor),
      vItemOf(vFacets.size(), NONE),
      vChanged(vList.size()) {
    vState.reserve(vList.size());
    for (const Facet* pFacet : vList) {
        const auto position = static_cast<Position>(pFacet - vFacets.data());
        vItemOf[position] = static_cast<Item>(vState.size());
        vState.push_back({position});
    }
    std::iota(vChanged.begin(), vChanged.end(), Item{0});
}

std::vector<Facet*> FacetPainter::getRest() const {
    std::vector<Facet*> vRest;
    for (Item item = 0; item < vState.size(); ++item)
        if (vState[item].bInList) vRest.push_back(&facetOf(item));
    return vRest;
}

void FacetPainter::paint(Item item, int color) {
    State& state = vState[item];
    vVisibleFacets[state.position].color = color;
    state.bInList = false;
    for (const Position position : links[state.position]) {
        const Item neig = vItemOf[position];
        if (neig == NONE || vState[neig].bMayHaveChanged) continue;
        vState[neig].bMayHaveChanged = true;
        vChanged.push_back(neig);
    }
    if (!vBlockBegin.empty()) visitBlocksAgain(item, color);
}

// ---- By blocks ----------------------------------------------------------------------------------------------------------

/// Calls visit(item, position) for the facets on the same side of the cells around that of an item; items by position, so
/// that their cells ascend.
template <typename Visit>
void FacetPainter::forSameSide(const std::vector<Item>& vByPosition, const Visit& visit) const {
    using Walk = NeighbourWalk<RCD>;
    const CellSides sides(vCells, vVisibleFacets);
    Walk walk(vCells);
    for (const Item item : vByPosition) {
        const Facet& facet = facetOf(item);
        walk.visitBlock(facet.rcd, [&](int position, std::size_t cell) {
            const Position neig = sides.find(cell, facet.idx);
            if (position != Walk::CENTRE && neig != NONE) visit(item, neig);
        });
    }
}

/// Counts what is coloured around each item, and notes which items see each other.
void FacetPainter::linkBlocks() {
    std::vector<Item> vByPosition(vState.size());
    std::iota(vByPosition.begin(), vByPosition.end(), Item{0});
    std::sort(vByPosition.begin(), vByPosition.end(),
              [this](Item a, Item b) { return vState[a].position < vState[b].position; });

    vBlockBegin.assign(vState.size() + 1, 0);
    forSameSide(vByPosition, [this](Item item, Position neig) {
        const int color = vVisibleFacets[neig].color;
        if (isPainted(color))
            ++vState[item].counts[color == upper ? 1 : 0];
        else if (vItemOf[neig] != NONE)
            ++vBlockBegin[item + 1];
    });
    std::partial_sum(vBlockBegin.begin(), vBlockBegin.end(), vBlockBegin.begin());
    vBlockItem.resize(vBlockBegin.back());
    std::vector<std::size_t> vPlace(vBlockBegin);
    forSameSide(vByPosition, [this, &vPlace](Item item, Position neig) {
        if (!isPainted(vVisibleFacets[neig].color) && vItemOf[neig] != NONE) vBlockItem[vPlace[item]++] = vItemOf[neig];
    });
}

/// A facet has got a color: counts it, and has its neighbours visited.
void FacetPainter::visitBlocksAgain(Item item, int color) {
    for (std::size_t i = vBlockBegin[item]; i < vBlockBegin[item + 1]; ++i) {
        const Item neig = vBlockItem[i];
        State& state = vState[neig];
        if (!state.bInList) continue;
        ++state.counts[color == upper ? 1 : 0];
        const bool bNow = current != NONE && neig > current;
        if (state.pass == (bNow ? pass : pass + 1)) continue;
        state.pass = bNow ? pass : pass + 1;
        (bNow ? vNow : vNext).push_back(neig);
        if (bNow) std::push_heap(vNow.begin(), vNow.end(), std::greater<>());
    }
}

void FacetPainter::colorizeByBlocks(int minCount, bool bAllowTie) {
    if (vBlockBegin.empty()) linkBlocks();
    vNext.clear();
    for (Item item = 0; item < vState.size(); ++item)
        if (vState[item].bInList) vNext.push_back(item);
    for (const Item item : vNext)
        vState[item].pass = pass + 1;
    while (runPass(minCount, bAllowTie) || colorizeByWeight(HEAVY) > 0) {
    }
}

/// Visits what vNext holds. True when a facet was coloured.
bool FacetPainter::runPass(int minCount, bool bAllowTie) {
    ++pass;
    vNow.swap(vNext);
    vNext.clear();
    std::sort(vNow.begin(), vNow.end());  // a heap
    bool bChanged = false;
    while (!vNow.empty()) {
        std::pop_heap(vNow.begin(), vNow.end(), std::greater<>());
        current = vNow.back();
        vNow.pop_back();
        if (isPainted(facetOf(current).color)) vState[current].bInList = false;
        if (!vState[current].bInList) continue;
        const int color = blockColor(vState[current], minCount, bAllowTie);
        if (color < 0) continue;
        paint(current, color);
        bChanged = true;
    }
    current = NONE;
    return bChanged;
}

/// The color that the block gives, -1 for none.
int FacetPainter::blockColor(const State& state, int minCount, bool bAllowTie) const {
    const auto [numLower, numUpper] = state.counts;
    const bool bBoth = numLower > 0 && numUpper > 0;
    if (bBoth && !bAllowTie) return -1;
    const bool bUpper = numUpper > numLower || (numUpper == numLower && upper < lower);
    const int count = bUpper ? numUpper : numLower;
    if (count < std::max(minCount, bBoth ? 2 : 1)) return -1;
    return bUpper ? upper : lower;
}

// ---- By weight ----------------------------------------------------------------------------------------------------------

FacetPainter::Proposal FacetPainter::propose(const std::vector<Facet>& vFacets, const FacetLinks::Neigs& neigs,
                                             const Facet& facet, int lower, int upper) {
    double ofLower = 0.0, ofUpper = 0.0;
    for (const Position i : neigs) {
        const Facet& neig = vFacets[i];
        if ((neig.color != lower && neig.color != upper) || neig.rcd == facet.rcd) continue;
        const bool bHeavy = neig.idx == facet.idx || neig.state != FACET_STATE_BORDER;
        (neig.color == lower ? ofLower : ofUpper) += bHeavy ? HEAVY : LIGHT;
    }
    if (ofLower > 0.0 && ofUpper > 0.0 && (ofLower >= HEAVY) == (ofUpper >= HEAVY)) return NO_PROPOSAL;
    if (ofLower == 0.0 && ofUpper == 0.0) return NO_PROPOSAL;
    return ofLower > ofUpper ? Proposal(lower, ofLower) : Proposal(upper, ofUpper);
}

int FacetPainter::colorizeByWeight(double minWeight) {
    ++call;
    int numColored = 0;
    WeightQueue queue(takeHeavy(minWeight), vState.size());  // of negative weights, as it gives the smallest first
    const auto judge = [this](Item item) {
        const double weight = proposalOf(item).second;
        return weight == 0.0 ? std::nullopt : std::optional(-weight);
    };
    runLazily(queue, judge, [&](Item item, double key) {
        const double freshWeight = -key;
        if (minWeight > freshWeight) return;
        const int componentIndexToAssign = proposalOf(item).first, lowerIndex = lower, upperIndex = upper;
        ASSEX(componentIndexToAssign==lowerIndex || componentIndexToAssign==upperIndex);
        ASSEX(freshWeight>0 && freshWeight<DBL_MAX);
        enterNeigs(item, queue);
        paint(item, componentIndexToAssign);
        ++numColored;
    });
    return numColored;
}

/// The items that are heavy enough at the start of a call, by negative weight, as the queue gives the smallest first.
std::vector<std::pair<double, FacetPainter::Item>> FacetPainter::takeHeavy(double minWeight) {
    if (minWeight != lastMinWeight) {
        vChanged.resize(vState.size());
        std::iota(vChanged.begin(), vChanged.end(), Item{0});
    }
    lastMinWeight = minWeight;
    std::sort(vChanged.begin(), vChanged.end());
    std::vector<std::pair<double, Item>> vStart;
    for (const Item item : vChanged) {
        State& state = vState[item];
        state.bMayHaveChanged = false;
        if (!state.bInList || facetOf(item).color != -1) continue;
        const double weight = proposalOf(item).second;
        if (weight < minWeight) continue;
        state.call = call;
        vStart.emplace_back(-weight, item);
    }
    vChanged.clear();
    return vStart;
}

/// A facet is about to be coloured: its neighbours without color go into the queue, where their weight had put them at the
/// start.
void FacetPainter::enterNeigs(Item item, WeightQueue& queue) {
    for (const Position position : links[vState[item].position]) {
        const Item neig = vItemOf[position];
        if (neig == NONE || vState[neig].call == call || vVisibleFacets[position].color != -1) continue;
        vState[neig].call = call;
        queue.pushAsAtStart(-proposalOf(neig).second, neig);
    }
}

}  // namespace TARN_KEL
