// The two sides of a sheet.
//
// The visible facets of a sheet form closed surfaces: in the middle of the sheet there is one above and one below, and at
// the rim the upper one folds round into the lower one. A flood over the facets of inner cells alone doesn't reach the rim,
// but holes and noise leave bridges. So each facet that a flood colours forbids the facet across the sheet to this flood,
// where the cell separates both sides:
//
//         flood -> 2  2  2  2  .  .            2: coloured, x: forbidden to this flood (but not to the next one)
//        rim  [ ][ ][ ][ ][ ][ ][ ]  rim
//                 x  x  x  x  .  .
//
// The two largest floods are the sides. All other facets, those at the rim and those of small floods, get their colour from
// the facets around them, and where the two colours meet, a thin seam loses it again. Last, the side with more facets that
// face up becomes the upper one.
#include "Sheet.h"

#include <algorithm>
#include <functional>

#include "NeighbourBlock.h"
#include "NeighbourWalk.h"
#include "RemoveDecider_RCD.h"
#include "flood.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using Position = FacetLinks::Position;
using ColorCount = std::pair<std::size_t, int>;  // number of facets, color

constexpr int FACING_UP = 5;
constexpr int MIXED = -2;

/// The colors from 0 on with their numbers of facets: the most first, of equal numbers the higher color first.
std::vector<ColorCount> countColors(const std::vector<Facet>& vFacets) {
    std::vector<ColorCount> vCountGroup;
    for (const Facet& facet : vFacets) {
        if (facet.color < 0) continue;
        const auto color = static_cast<std::size_t>(facet.color);
        if (vCountGroup.size() <= color) vCountGroup.resize(color + 1, {0, 0});
        vCountGroup[color] = {vCountGroup[color].first + 1, facet.color};
    }
    std::sort(vCountGroup.begin(), vCountGroup.end(), std::greater<>());
    const auto itEnd = std::find_if(vCountGroup.begin(), vCountGroup.end(), [](const auto& pr) { return pr.first == 0; });
    vCountGroup.erase(itEnd, vCountGroup.end());
    return vCountGroup;
}

void clearColors(std::vector<Facet>& vFacets) {
    for (Facet& facet : vFacets)
        facet.color = -1;
}

/// The larger side becomes the upper one, color 1, unless the other one has more facets that face up. All other colors are
/// removed.
void nameSides(std::vector<Facet>& vFacets, int larger, int smaller) {
    const auto countUp = [&vFacets](int color) {
        return std::count_if(vFacets.begin(), vFacets.end(),
                             [color](const Facet& facet) { return facet.color == color && facet.idx == FACING_UP; });
    };
    const int colorOfLarger = countUp(larger) >= countUp(smaller) ? 1 : 0;
    for (Facet& facet : vFacets) {
        if (facet.color == larger)
            facet.color = colorOfLarger;
        else if (facet.color == smaller)
            facet.color = 1 - colorOfLarger;
        else
            facet.color = -1;
    }
}

/// The one color from 0 on that neighbours have: -1 when none has one, MIXED for several.
int commonColor(const std::vector<Facet>& vFacets, const std::array<Position, 4>& neigs) {
    int common = -1;
    for (const Position neig : neigs) {
        const int color = vFacets[neig].color;
        if (color < 0 || color == common) continue;
        if (common >= 0) return MIXED;
        common = color;
    }
    return common;
}

/// Floods over the facets of inner cells.
class FacetFlood {
public:
    FacetFlood(std::vector<Facet>& vFacets, const FacetLinks& theLinks, RemoveDecider_RCD& theDecider)
        : vVisibleFacets(vFacets), links(theLinks), decider(theDecider) {}

    /// Colours what can be reached from the seed with id, and the facets opposite with -id. The seed itself is coloured when
    /// the flood comes back to it.
    void run(Position seed, int id) {
        vReached.assign(1, seed);
        const auto forEachNeig = [this](Position position, const auto& offer) {
            const Facet* pCurFacet = &vVisibleFacets[position];
            ASSEX(pCurFacet->state==FACET_STATE_AREA);
            for (const Position neig : links[position])
                offer(neig);
        };
        floodInOrder(vReached, forEachNeig, [this, id](Position position) { return claim(position, id); });
    }

private:
    bool claim(Position position, int id) {
        const int marker = -id;
        Facet& facet = vVisibleFacets[position];
        if (facet.state != FACET_STATE_AREA || facet.color >= 0 || facet.color == marker) return false;
        facet.color = id;
        if (decider.getOppState(facet.rcd, facet.idx) == OPP_SEPARATED) forbid(findOpposite(position), marker);
        return true;
    }
    static void forbid(Facet& facet, int marker) {
        if (facet.state == FACET_STATE_AREA && facet.color == -1) facet.color = marker;
    }
    /// The facet of the same cell on the other side; it is visible. The two are side by side in the list.
    Facet& findOpposite(Position position) {
        const Facet& facet = vVisibleFacets[position];
        const Facet q(facet.rcd, facet.idx ^ 1, -1, -1);
        const auto it = vVisibleFacets.begin() + position;
        const auto q_it = q < facet ? it - 1 : it + 1;
        ASSEX(q_it!=vVisibleFacets.end());
        ASSEX(*q_it==q);
        return *q_it;
    }

    std::vector<Facet>& vVisibleFacets;
    const FacetLinks& links;
    RemoveDecider_RCD& decider;
    std::vector<Position> vReached;  // memory for the floods
};

}  // namespace

bool Sheet::stage1_createFacetCCs() {
    cc_createVisibleFacets();
    cc_createFacetComponents();
    const std::vector<ColorCount> vCountGroup = countColors(vVisibleFacets);
    if (vCountGroup.size() < 2) {
        out() << "vCountGroup.size()=" << vCountGroup.size() << ", numRCD=" << vCells.size() << std::endl;
        clearColors(vVisibleFacets);
        return false;
    }
    const int larger = vCountGroup[0].second, smaller = vCountGroup[1].second;
    cc_postColorize(larger, smaller);
    nameSides(vVisibleFacets, larger, smaller);
    eliminateBorderIslands();
    return true;
}

void Sheet::cc_createVisibleFacets() {
    using Walk = NeighbourWalk<RCD>;
    constexpr int FACES[6] = {Walk::positionOf(-1, 0, 0), Walk::positionOf(1, 0, 0),  Walk::positionOf(0, -1, 0),
                              Walk::positionOf(0, 1, 0),  Walk::positionOf(0, 0, -1), Walk::positionOf(0, 0, 1)};
    vVisibleFacets.clear();
    Walk walk(vCells);
    auto itBorder = vBorder.cbegin();
    for (const RCD rcd : vCells) {  // area and border at once, so that the facets come sorted
        std::uint32_t occupied = 0;
        walk.visitBlock(rcd, [&occupied](int position, std::size_t) { occupied |= 1U << position; });
        while (itBorder != vBorder.cend() && *itBorder < rcd)
            ++itBorder;
        const int state = itBorder != vBorder.cend() && *itBorder == rcd ? FACET_STATE_BORDER : FACET_STATE_AREA;
        for (int idx = 0; idx < 6; ++idx)
            if ((occupied >> FACES[idx] & 1U) == 0) vVisibleFacets.emplace_back(rcd, idx, -1, state);
    }
}

int Sheet::cc_createFacetComponents() {
    RemoveDecider_RCD decider(vCells, pCalc);
    const FacetLinks links(vCells, vVisibleFacets);
    FacetFlood facetFlood(vVisibleFacets, links, decider);
    int id = 1;
    for (std::size_t i = 0; i < vVisibleFacets.size(); ++i) {
        const Facet& f = vVisibleFacets[i];
        if (f.color >= 0 || f.state == FACET_STATE_BORDER) continue;
        ASSEX(f.state==FACET_STATE_AREA);
        facetFlood.run(static_cast<Position>(i), ++id);
    }
    return id - 2;
}

void Sheet::eliminateBorderIslands() {
    const FacetLinks links(vCells, vVisibleFacets);
    for (std::size_t i = 0; i < vVisibleFacets.size(); ++i) {
        if (vVisibleFacets[i].color != -1) continue;
        const int color = commonColor(vVisibleFacets, links[i]);
        if (color >= 0) vVisibleFacets[i].color = color;
    }
}

void Sheet::swapSides() {
    for (Facet& facet : vVisibleFacets)
        if (facet.color == 0 || facet.color == 1) facet.color = 1 - facet.color;
}

void Sheet::getOrientationCount(RCD rcd, int* a0, int* a1) const {
    std::fill_n(a0, 6, 0);
    std::fill_n(a1, 6, 0);
    RCD block[NeighbourBlock::NUM_POSITIONS];
    pCalc->completeArray27_RCD(rcd, block);
    // Three cells in a row along z have codes, and so facets, one behind the other.
    for (std::size_t column = 0; column < 9; ++column) {
        auto it = std::lower_bound(vVisibleFacets.begin(), vVisibleFacets.end(), Facet(block[column], 0, -1, -1));
        for (; it != vVisibleFacets.end() && it->rcd <= block[column + 18]; ++it) {
            if (it->color == 0)
                ++a0[it->idx];
            else if (it->color == 1)
                ++a1[it->idx];
            else if (it->color != -1)
                ASSEX(false);  // a sheet that is coloured has no other colours
        }
    }
}

void Sheet::getBorderStrip(std::vector<Facet*>& vColored, std::vector<Facet*>& vStrip, int numLayers) {
    vStrip.clear();
    const FacetLinks links(vCells, vVisibleFacets);
    std::vector<bool> vInStrip(vVisibleFacets.size(), false);
    const auto add = [&](Facet* pFacet) {
        if (vInStrip[positionOf(pFacet)]) return;
        vInStrip[positionOf(pFacet)] = true;
        vStrip.push_back(pFacet);
    };
    for (Facet* pFacet : vColored)
        if (std::binary_search(vOpenCells.begin(), vOpenCells.end(), pFacet->rcd)) add(pFacet);
    std::size_t begin = 0;
    for (int layer = 0; layer < numLayers; ++layer) {
        const std::size_t end = vStrip.size();
        for (; begin < end; ++begin)
            for (const Position neig : links[positionOf(vStrip[begin])])
                if (vVisibleFacets[neig].color == vStrip[begin]->color) add(&vVisibleFacets[neig]);
    }
    std::sort(vStrip.begin(), vStrip.end());
}

FacetLinks::Neigs Sheet::findNeigs(const Facet& facet) const {
    FacetLinks::Neigs neigs;
    for (std::size_t edge = 0; edge < neigs.size(); ++edge)
        neigs[edge] = static_cast<Position>(facet.fetchNeigPosition(vCells, vVisibleFacets, static_cast<int>(edge)));
    return neigs;
}

}  // namespace TARN_KEL
