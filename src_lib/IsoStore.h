#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Iso.h"
#include "codes.h"

namespace TARN_KEL {

struct Bundle;

/// The occupied cells of a cloud as a sparse bit volume, and two ways to thin them where they are more than one layer thick.
/// A cell is removed only where the cells that it touches remain connected to those behind it.
///
/// The caller decides on the order: simplify() removes cells that lie on another one along an axis, slide() removes cells
/// from every cube of eight cells of which more than four are occupied. A bundle whose cell was removed stays in its list,
/// marked by a forbiddenDirection of -1. The block of a code must exist (assertion). One thread at a time.
///
/// No public function of the library reaches this class; callers inside get it from Hal::getIsoStore().
class IsoStore {
public:
    /// An empty store. The grid and the list, which simplify() and slide() go through, aren't owned and must outlive it.
    IsoStore(Calc* pCalc, std::vector<Bundle*>& vBundles);
    ~IsoStore();
    IsoStore(const IsoStore&) = delete;
    IsoStore& operator=(const IsoStore&) = delete;

    /// Creates the block of that upper part, which must be new (assertion), and sets the cells of the bundles.
    /// upper: any code in the block.
    /// vBlockBundles: all in the block.
    void init(CCD upper, std::vector<Bundle*>& vBlockBundles);
    /// Sets cells, all in the block of that upper part; the block is created if it is missing.
    void add(CCD upper, std::vector<CCD>& vCCD);

    /// The coordinates inside the block.
    static void getCoords(CCD ccd, int& x, int& y, int& z);
    /// The block of a code. When there is none it warns and throws (assertion).
    Iso* getIso(CCD ccd) const;
    bool isSet(CCD ccd) const;
    void set(CCD ccd, bool bSet);
    /// Whether the cell at these coordinates of the block is set. They may lie outside the block by up to 32. False beyond
    /// the grid, and where there is no block.
    bool exists(const Iso* pIso, int x, int y, int z) const;
    /// Appends the cells that are set, block by block in order of their upper parts.
    void getCCD(std::vector<CCD>& vOut) const;
    /// How many codes were set by init() and add(), repeats included; removed cells aren't subtracted.
    std::uint64_t getSize() const { return size; }
    bool empty() const { return size == 0; }
    Calc* getCalc() const { return pCalc; }

    /// Removes a cell that lies on another one.
    /// pBundle: the bundle of the cell, which is marked; then the cell is removed only where no more than two cells lie on
    /// each other. Null for a cell without a bundle.
    /// axis: 4, 2, 1 for x, y, z (assertion).
    /// side: 1 or -1, the side on which the cell is free.
    /// Returns true when it was removed.
    bool tryKill(Bundle* pBundle, CCD ccd, int axis, int side);
    /// Removes the cell of pWeak, which lies beside that of pOther along one axis, and marks the bundle. Returns true when
    /// it was removed.
    bool tryKillWeakBundle(Bundle* pWeak, const Bundle* pOther);

    /// Removes cells of bundles, along axes that the bundles don't forbid, until a round over all of them removes none.
    /// Cost: O(n log n).
    void simplify();
    /// The same for cells without bundles, given as pairs (code, forbidden axes). When a cell is removed, its axes become
    /// -1.
    void simplifyInflates(std::vector<std::pair<CCD, int>>& vInflCCD2forbDir);
    /// Removes the cells of bundles from cubes of more than four occupied cells, first those whose point lies nearest to the
    /// midpoint of its cell. All neighbours of the cells must be on the grid.
    /// Cost: O(n log n).
    void slide();

    Calc* pCalc;                                         ///< not owned
    std::map<CCD, std::unique_ptr<Iso>> mUpperQuad2Iso;  ///< by upper part
    std::vector<Bundle*>& vBundles;                      ///< not owned
    std::uint64_t size = 0;
    int posNeg = 1;  ///< the side that the last round of simplify() tried first

private:
    Iso* findIso(CCD ccd) const;
    void setAll(CCD upper, const std::vector<CCD>& vCCD);
    void announce(const char* opening) const;
    bool isOnlyLink(const Iso* pIso, CCD ccd, Axis axis, int side) const;
    void scoreBundles();
    bool killWeakest(std::vector<Bundle*>& vCorners);
    std::size_t killWeakOnes(std::vector<Bundle*>& vCorners);
};

}  // namespace TARN_KEL
