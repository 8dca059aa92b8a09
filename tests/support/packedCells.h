// Sets of cells by packed code, and the regions of free space around them. All lists come ascending, each cell once.
#pragma once

#include "support/cellSets.h"
#include "support/names.h"

namespace TARN_TEST {

inline RCD packedAt(int x, int y, int z) {
    return packRCD(static_cast<unsigned>(x), static_cast<unsigned>(y), static_cast<unsigned>(z));
}
inline RCD shifted(RCD rcd, int dx, int dy, int dz) {
    return packedAt(static_cast<int>(getX_RCD(rcd)) + dx, static_cast<int>(getY_RCD(rcd)) + dy,
                    static_cast<int>(getZ_RCD(rcd)) + dz);
}
inline VRCD toPacked(const VCCD& vCCD) {
    VRCD vRCD;
    for (const CCD ccd : vCCD)
        vRCD.push_back(unitGrid().ccd2rcd(ccd));
    std::sort(vRCD.begin(), vRCD.end());
    return vRCD;
}
/// As cellsWhere() and randomCells().
template <typename IsOccupied>
VRCD packedWhere(int num, const IsOccupied& isOccupied, int base = 510) {
    return toPacked(cellsWhere(num, isOccupied, base));
}
inline VRCD randomPacked(int num, double chance, unsigned seed) {
    return toPacked(randomCells(num, chance, seed));
}

/// A point in each cell: its midpoint, or with a seed, but for every fourth, anywhere.
inline std::vector<std::pair<RCD, Point3>> pointsIn(const VRCD& vRCD, unsigned seed = 0, const Calc& calc = unitGrid()) {
    std::mt19937 random(seed);
    const auto off = [&random] { return 0.9 * (static_cast<double>(random()) / 4294967296.0 - 0.5); };
    std::vector<std::pair<RCD, Point3>> vPoint;
    for (const RCD rcd : vRCD) {
        const Point3 mid = calc.getMidPoint_RCD(rcd);
        const Vector3 offset{off(), off(), off()};  // braces: in this order
        vPoint.emplace_back(rcd, seed == 0 || random() % 4 == 0 ? mid : mid + offset);
    }
    return vPoint;
}
inline VRCD codesOf(const auto& cellsAndPoints) {
    VRCD vRCD;
    for (const auto& [rcd, point] : cellsAndPoints)
        vRCD.push_back(rcd);
    return vRCD;
}

/// The cells of a closed layer, one to four cells thick, around a bumpy ball of about that radius.
inline VRCD randomShell(int radius, unsigned seed) {
    std::mt19937 random(seed);
    const auto chance = [&random] { return static_cast<double>(random()) / 4294967296.0; };
    const double phase = 6.3 * chance(), wave = 0.2 + 0.3 * chance(), height = 1.5 * chance(),
                 thickness = 2.0 + 2.0 * chance();
    const int num = 2 * radius + 12;
    return packedWhere(num, [&](int i, int j, int k) {
        const double x = i - 0.5 * num, y = j - 0.5 * num, z = k - 0.5 * num;
        const double r = std::sqrt(x * x + y * y + z * z) - radius - height * std::sin(wave * (x + 2.0 * y - z) + phase);
        return r >= 0.0 && (r < thickness - 0.8 || (r < thickness && chance() < 0.5));
    });
}

/// A strip of cells along a Moebius strip of that radius.
inline VRCD moebius(int radius) {
    std::set<RCD> sRCD;
    for (int i = 0; i < 40 * radius; ++i)
        for (int j = -20; j <= 20; ++j) {
            const double phi = 2.0 * 3.141592653589793 * i / (40 * radius), s = 0.25 * j;
            const double r = radius + s * std::cos(phi / 2.0);
            sRCD.insert(packedAt(500 + static_cast<int>(std::lround(r * std::cos(phi))),
                                 500 + static_cast<int>(std::lround(r * std::sin(phi))),
                                 500 + static_cast<int>(std::lround(s * std::sin(phi / 2.0)))));
        }
    return {sRCD.begin(), sRCD.end()};
}
/// How many pieces the space outside the cells falls into, where pieces hang together over faces. Slow.
inline int countFreeRegions(const VRCD& vRCD) {
    int low[3], high[3];
    const auto axes = {getX_RCD, getY_RCD, getZ_RCD};
    int axis = 0;
    for (const auto& coordinate : axes) {
        const auto isLess = [&](RCD a, RCD b) { return coordinate(a) < coordinate(b); };
        const auto [itLow, itHigh] = std::minmax_element(vRCD.begin(), vRCD.end(), isLess);
        low[axis] = static_cast<int>(coordinate(*itLow)) - 1;
        high[axis++] = static_cast<int>(coordinate(*itHigh)) + 1;
    }
    std::set<RCD> sFree;
    for (int x = low[0]; x <= high[0]; ++x)
        for (int y = low[1]; y <= high[1]; ++y)
            for (int z = low[2]; z <= high[2]; ++z)
                if (!std::binary_search(vRCD.begin(), vRCD.end(), packedAt(x, y, z))) sFree.insert(packedAt(x, y, z));
    int numRegions = 0;
    for (; !sFree.empty(); ++numRegions)
        for (VRCD vStack = {sFree.extract(sFree.begin()).value()}; !vStack.empty();) {
            const RCD rcd = vStack.back();
            vStack.pop_back();
            for (const auto step : {RCD_STEP_X, RCD_STEP_Y, RCD_STEP_Z})
                for (const RCD neig : {rcd - step, rcd + step})
                    if (sFree.erase(neig) != 0) vStack.push_back(neig);
        }
    return numRegions;
}

}  // namespace TARN_TEST
