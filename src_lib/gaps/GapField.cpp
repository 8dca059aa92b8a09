// The signed field of a master component, and the gaps that its zero crossings close.
//
// The field grows from the strips of facets near the seam. A step adds the free neighbours of all corners that are near
// zero, each one cell farther from the surface than its nearest neighbour, so the field spreads along the surface and not
// away from it. Where a new corner has neighbours of both signs the two sides have met, and it gets their mean. After each
// step the free values are smoothed; the strips are fixed, and the field between them relaxes towards the surface that would
// span the gap. In the end the four cells round every lattice edge with a change of sign are proposed, with the mean of
// their crossings as their point.
//
// Sums are in single precision.
#include "GapField.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>

#include "CornerLowPass.h"
#include "Sheet.h"
#include "geometryFunctions.h"
#include "signedField.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int MIN_STEPS = 7;              // grown whether or not the sides still meet
constexpr int LOW_PASS_ROUNDS = 20;       // after each step
constexpr float FRONT_CELLS = 4.0F;       // a corner with a greater distance doesn't grow
constexpr float ZERO_STAND_IN = 0.0001F;  // for corners of value 0 in the search for crossings: they count as upper

std::array<int, 3> coordinatesOf(RCD rcd) {
    return {static_cast<int>(getX_RCD(rcd)), static_cast<int>(getY_RCD(rcd)), static_cast<int>(getZ_RCD(rcd))};
}

/// New corners and what they see (a ring for growRing()).
class Front {
public:
    using Real = float;
    static constexpr std::size_t MIN_PARALLEL = WORTH_A_TASK;

    Front(std::vector<Corner*> vNew, const CornerStore& store)
        : vFront(std::move(vNew)), corners(store.getCornersRef()), sideLen(store.getCellEdge()) {}

    std::size_t size() const { return vFront.size(); }
    template <typename See>
    void forEachSeen(std::size_t i, const See& see) const {
        for (const std::int32_t neig : vFront[i]->neigs) {
            if (neig == Corner::NO_NEIG) return;
            const Corner& n = *corners[static_cast<std::size_t>(neig)];
            if (n.val != FLT_MAX) see(n.val, n.weight);
        }
    }
    FieldValue valueOf(std::size_t i, const SeenValues<Real>& seen) const {
        if (seen.bBothSigns) return meanOf(seen, vFront[i]->numNeigs());
        const float assignVal = seen.nearestVal, assignWeight = seen.nearestWeight;
        ASSEX(assignVal!=FLT_MAX);
        ASSEX(assignWeight!=FLT_MAX);
        ASSEX(assignVal!=0);
        return {assignVal > 0 ? assignVal + sideLen : assignVal - sideLen, assignWeight};
    }
    void store(std::size_t i, const FieldValue& value) {
        vFront[i]->state = ST_INFLATED;
        vFront[i]->val = value.val;
        vFront[i]->weight = value.weight;
    }

private:
    static FieldValue meanOf(const SeenValues<Real>& seen, int numNeigs) {
        const float sumV = seen.weighted == 0 ? FLT_MIN : seen.weighted, sumWeight = seen.weights;
        ASSEX(sumWeight>0);
        return {sumV / sumWeight, sumWeight / static_cast<float>(numNeigs)};
    }

    std::vector<Corner*> vFront;
    const std::vector<Corner*>& corners;
    float sideLen;
};

/// The edges between free corners, each twice, once from either end (a lattice for forEachCrossing()).
class SparseEdges {
public:
    using Real = float;
    struct Edge {
        RCC source, target;
        float srcVal, trgVal;
    };

    explicit SparseEdges(const CornerStore& theStore) : store(theStore) {}
    template <typename Visit>
    void forEachEdge(const Visit& visit) const {
        const std::vector<Corner*>& corners = store.getCornersRef();
        for (const Corner* pSource : corners) {
            if (pSource->state > ST_INFLATED) continue;
            for (const std::int32_t neig : pSource->neigs) {
                if (neig == Corner::NO_NEIG) break;
                const Corner& target = *corners[static_cast<std::size_t>(neig)];
                if (target.state <= ST_INFLATED) visit(Edge{pSource->rcc, target.rcc, pSource->val, target.val});
            }
        }
    }
    std::pair<Point3, Point3> placesOf(const Edge& edge) const {
        return {store.getPosition(edge.source), store.getPosition(edge.target)};
    }

private:
    const CornerStore& store;
};

}  // namespace

bool GrowthBox::contains(RCC rcc) const {
    const auto [x, y, z] = coordinatesOf(rcc);
    return x >= minX && x <= maxX && y >= minY && y <= maxY && z >= minZ && z <= maxZ;
}

GrowthBox boxAround(const VRCD& vCells, int margin) {
    GrowthBox box;
    for (const RCD rcd : vCells) {
        const auto [x, y, z] = coordinatesOf(rcd);
        box.minX = std::min(box.minX, x);
        box.minY = std::min(box.minY, y);
        box.minZ = std::min(box.minZ, z);
        box.maxX = std::max(box.maxX, x);
        box.maxY = std::max(box.maxY, y);
        box.maxZ = std::max(box.maxZ, z);
    }
    for (int* pMin : {&box.minX, &box.minY, &box.minZ})
        *pMin = std::max(*pMin - margin, 0);
    for (int* pMax : {&box.maxX, &box.maxY, &box.maxZ})
        *pMax += margin;
    return box;
}

GapField::GapField(Sheet& sheet, const GrowthBox& box) : growthBox(box), pStore(std::make_unique<CornerStore>(sheet.pCalc)) {
    seedFromSheet(sheet, *pStore);
}

void GapField::grow(int numGrowSteps) {
    growField(*pStore, growthBox, numGrowSteps);
}

// As long as two sides meet somewhere there may be a gap to close.
void growField(CornerStore& store, const GrowthBox& box, int numGrowSteps) {
    bool bSidesMet = true;
    for (int step = 0; step < numGrowSteps && (step < MIN_STEPS || bSidesMet); ++step) {
        bSidesMet = !growOneStep(store, box);
        smoothField(store, LOW_PASS_ROUNDS, true);
    }
}

bool growOneStep(CornerStore& store, const GrowthBox& box) {
    Front front(createFront(store, box), store);
    return !growRing(front);
}

std::vector<Corner*> createFront(CornerStore& store, const GrowthBox& box) {
    VRCC vEmitters, vNew;
    store.getFront(FRONT_CELLS * store.getCellEdge(), vEmitters);
    for (const RCC rcc : vEmitters)
        if (box.contains(rcc)) store.getMissingNeigs(*store.find(rcc), vNew);
    oneInstanceOfNumbers(vNew);
    std::vector<Corner*> vFront;
    for (const RCC rcc : vNew)
        vFront.push_back(store.createCorner(rcc));
    return vFront;
}

void smoothField(CornerStore& store, int numIter, bool bUseWeights) {
    if (numIter < 1) return;
    CornerLowPass lowPass(store.getCornersRef(), 0.5F * store.getCellEdge(), bUseWeights);
    for (int i = 0; i < numIter; ++i)
        lowPass.runRound();
    lowPass.store();
}

std::vector<std::pair<RCD, Point3>> zerosOf(CornerStore& store, const Calc& calc) {
    for (Corner* pCorner : store.getCornersRef())
        if (pCorner->val == 0) pCorner->val = ZERO_STAND_IN;
    std::vector<std::pair<RCD, Point3>> vNotes;
    VRCD vAround;
    forEachCrossing(SparseEdges(store), [&](const auto& edge, const auto&, const Point3& zero) {
        vAround.clear();
        calc.getCbsAroundEdge(edge.source, edge.target, vAround);
        for (const RCD rcd : vAround)
            vNotes.emplace_back(rcd, zero);
    });
    sortByFirstMT(vNotes);
    return meansOfCells(vNotes);
}

}  // namespace TARN_KEL
