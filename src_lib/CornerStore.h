#pragma once

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "HashIndex.h"
#include "SimplePool.h"

namespace TARN_KEL {

/// How a corner got its value. Those of states 1 to 3 are smoothed and may make zero crossings; the others are fixed.
enum CornerState {
    ST_NONE = 0,             ///< just created
    ST_LOWER_BORDER = 1,     ///< of a rim cell, in the lower strip only
    ST_UPPER_BORDER = 2,     ///< of a rim cell, in the upper strip only
    ST_INFLATED = 3,         ///< grown
    ST_DUAL_NO_EMITTER = 4,  ///< in both strips
    ST_LOWER_STRIP = 5,      ///< in the lower strip only
    ST_UPPER_STRIP = 6,      ///< in the upper strip only
    ST_FACET_REST = 7        ///< of a facet outside both strips
};

/// A lattice corner of the field: plain data in a pool, 48 bytes.
struct Corner {
    static constexpr std::int32_t NO_NEIG = -1;

    float val = FLT_MAX;     ///< signed distance, lower side negative; the largest float: none yet
    float weight = FLT_MAX;  ///< of the value in averages
    std::int8_t state = ST_NONE;
    std::array<std::int32_t, 6> neigs{NO_NEIG, NO_NEIG, NO_NEIG, NO_NEIG, NO_NEIG, NO_NEIG};  ///< at the front; by age
    RCC rcc = 0;

    int getState() const { return state; }
    bool hasFreeSlot() const { return neigs.back() == NO_NEIG; }
    int numNeigs() const { return static_cast<int>(std::find(neigs.begin(), neigs.end(), NO_NEIG) - neigs.begin()); }
    /// Whether its value is smoothed; otherwise it is fixed by a sheet.
    bool isFree() const { return state > ST_NONE && state <= ST_INFLATED; }
};

/// The corners of one field: a sparse part of the lattice in which each corner knows those of its six axis neighbours that
/// exist too, by index.
///
/// A corner's index is its place in getCornersRef(), in the order of creation; corners are never removed. The links are
/// complete: a free slot means that a neighbour doesn't exist. The slots first have the neighbours that existed before the
/// corner, in the order -x, +x, -y, +y, -z, +z, then later ones in the order of their creation. Sums over neighbours keep
/// this order, so results depend only on the order of the calls.
///
/// Takes no memory before the first corner, then about 75 bytes per corner. Const operations may run on several threads.
class CornerStore {
public:
    /// pGrid: not owned, outlives the store.
    explicit CornerStore(Calc* pGrid) : pCalc(pGrid) {}
    CornerStore(const CornerStore&) = delete;
    CornerStore& operator=(const CornerStore&) = delete;

    /// A new corner without a value, linked with its neighbours. There must be none at that point yet. Cost: O(1).
    Corner* createCorner(RCC rcc);
    /// The corner at that lattice point, null when there is none. O(1).
    Corner* find(RCC rcc) const;
    /// The existing neighbours of a corner of this store, in the order of its slots. vNeigs: must be empty.
    void getNeigs(Corner* pCorner, std::vector<Corner*>& vNeigs);
    /// Where a corner is, in the cloud's unit.
    Point3 getPosition(RCC rcc) const { return pCalc->getRefPoint_RCC(rcc); }
    float getCellEdge() const { return static_cast<float>(pCalc->getSideLen()); }
    /// All corners, in the order of creation.
    std::vector<Corner*>& getCornersRef() { return corners; }
    const std::vector<Corner*>& getCornersRef() const { return corners; }

    /// Replaces vOut by the corners from which the field can grow, in the order of creation: those that lack a neighbour and
    /// whose value has a magnitude below thresh and isn't 0. Uses the pool. Cost: linear in all corners.
    void getFront(double thresh, VRCC& vOut) const;
    /// Appends the codes of the axis neighbours of a corner that don't exist, in the order of getRCC6().
    void getMissingNeigs(const Corner& corner, VRCC& vOut) const;

private:
    std::uint32_t findIdx(RCC rcc) const;
    void link(Corner& corner, std::int32_t idx);

    Calc* pCalc;
    TARN_TOOLS::SimplePool<Corner> cornerPool;
    HashIndex rcc2Idx;
    std::vector<Corner*> corners;  // in the pool
};

}  // namespace TARN_KEL
