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
/// A cell is removed only where the cells that it touched stay linked to those behind it.
///
/// The caller decides on the order: simplify() takes cells that lie on another one along an axis, slide() takes them from
/// every cube of eight cells of which more than four are occupied. A bundle whose cell was removed stays in its list, marked
/// by a forbiddenDirection of -1. Codes must lie in a block that is there (assertion). One thread at a time.
///
/// No public function of the library reaches this class; it is there for callers inside, by Hal::getIsoStore().
class IsoStore {
public:
    /// An empty store. The grid and the list, which simplify() and slide() walk, must outlive it.
    IsoStore(Calc* pCalc, std::vector<Bundle*>& vBundles);
    ~IsoStore();
    IsoStore(const IsoStore&) = delete;
    IsoStore& operator=(const IsoStore&) = delete;

    /// Makes the block of that upper part, which must be new (assertion), and sets the cells of the bundles, all in there.
    /// Upper parts may be any code of their block.
    void init(CCD upper, std::vector<Bundle*>& vBlockBundles);
    /// Sets cells, all of the block of that upper part, which is made where it is missing.
    void add(CCD upper, std::vector<CCD>& vCCD);

    /// The coordinates inside the block.
    static void getCoords(CCD ccd, int& x, int& y, int& z);
    /// The block of a code; none is an assertion, after a warning.
    Iso* getIso(CCD ccd) const;
    bool isSet(CCD ccd) const;
    void set(CCD ccd, bool bSet);
    /// The cell at coordinates that may stick out of the block by up to 32; false beyond the grid and where no block is.
    bool exists(const Iso* pIso, int x, int y, int z) const;
    /// Appends the cells that are set, block by block in order of their upper parts.
    void getCCD(std::vector<CCD>& vOut) const;
    /// How many codes were set by init() and add(), repeated ones as often; what is taken out doesn't count.
    std::uint64_t getSize() const { return size; }
    bool empty() const { return size == 0; }
    Calc* getCalc() const { return pCalc; }

    /// Takes a cell out that lies on another one: axis is 4, 2, 1 for x, y, z (assertion), side 1 or -1 where the cell is
    /// free. With a bundle, which is marked, only where no more than two cells lie on each other; null: a cell alone.
    /// True when it was removed.
    bool tryKill(Bundle* pBundle, CCD ccd, int axis, int side);
    /// Takes the cell of pWeak out, which stands beside that of pOther along one axis, and marks the bundle. True when it
    /// went.
    bool tryKillWeakBundle(Bundle* pWeak, const Bundle* pOther);

    /// Takes cells of bundles out, along axes that the bundles don't forbid, until a round over all takes none.
    /// O(n log n).
    void simplify();
    /// The same for cells without bundles, pairs (code, forbidden axes); the axes of one that was removed become -1.
    void simplifyInflates(std::vector<std::pair<CCD, int>>& vInflCCD2forbDir);
    /// Takes bundles out of cubes of more than four occupied cells, those first whose point lies nearest to the midpoint of
    /// its cell. All neighbours of the cells must be on the grid. O(n log n).
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
