// The removal decisions on packed codes in their plain form: a search in the sorted list for each position of the block, a
// set of what is doomed, floods that look at all positions. The yardstick for results and speed.
#pragma once

#include "Calc.h"
#include "freeFunctions.h"
#include "support/names.h"

namespace TARN_TEST {

class PlainDecider_RCD {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

    PlainDecider_RCD(const VRCD& vSorted, const Calc& theCalc) : vRCD(vSorted), calc(theCalc) {}

    int setNewRCD(RCD rcd) {
        vNeigs.clear();
        sFree = 0;
        RCD block[27];
        calc.completeArray27_RCD(rcd, block);
        for (int pos = 0; pos < 27; ++pos)
            if (sDoomed.count(block[pos]) == 0 && (pos == CENTRE || std::ranges::binary_search(vRCD, block[pos])))
                vNeigs.push_back(block[pos]);
            else
                sFree |= 1U << pos;
        return static_cast<int>(vNeigs.size());
    }
    bool isFree(int pos) const { return has(sFree, pos); }
    /// Of two positions in the block, in steps over faces.
    static int distance(int pos, int next) {
        return std::abs(pos % 3 - next % 3) + std::abs(pos / 3 % 3 - next / 3 % 3) + std::abs(pos / 9 - next / 9);
    }

    /// Two free faces hang together over the cell between them.
    bool removingCreatesGap(RCD rcd) {
        setNewRCD(rcd);
        const auto isFreeFace = [this](int pos) { return isFree(pos) && distance(pos, CENTRE) == 1; };
        const auto isStep = [&](int a, int b) { return isFreeFace(b) && a + b != 26 && isFree(a + b - CENTRE); };
        for (const int face : FACES)
            if (isFree(face))
                return std::ranges::any_of(
                    FACES, [&, seen = flooded(face, isStep)](int other) { return isFree(other) && !has(seen, other); });
        return true;
    }
    bool isBorder(RCD rcd) { return testBorder(rcd) == 1; }
    bool wouldBecomeNewBorder(RCD neig, RCD removeRCD) {
        if (testBorder(neig) != 0) return false;
        sDoomed.insert(removeRCD);
        const bool bBorder = isBorder(neig);
        sDoomed.erase(removeRCD);
        return bBorder;
    }
    /// 0 occupied, 1 separated, 2 connected.
    int getOppState(RCD rcd, int idx6) {
        constexpr int SIDES[6] = {12, 14, 10, 16, 4, 22};
        setNewRCD(rcd);
        const int opposite = 26 - SIDES[idx6];
        return !isFree(opposite) ? 0 : has(flooded(SIDES[idx6]), opposite) ? 2 : 1;
    }
    void detectAreaAndBorder(VRCD& vArea, VRCD& vBorder) {
        for (const RCD rcd : vRCD)
            if (sDoomed.count(rcd) == 0) (isBorder(rcd) ? vBorder : vArea).push_back(rcd);
    }

    VRCD vNeigs;
    std::set<RCD> sDoomed;

private:
    static constexpr int CENTRE = 13;
    static constexpr int FACES[6] = {14, 12, 16, 10, 22, 4};

    static bool has(unsigned positions, int pos) { return (positions >> pos & 1U) != 0; }
    /// The positions that steps reach.
    static unsigned flooded(int start, const auto& isStep) {
        unsigned seen = 1U << start;
        for (std::vector<int> vFront{start}; !vFront.empty();) {
            const int pos = vFront.back();
            vFront.pop_back();
            for (int next = 0; next < 27; ++next)
                if (!has(seen, next) && isStep(pos, next)) vFront.push_back(next), seen |= 1U << next;
        }
        return seen;
    }
    /// What is free and reached over faces, around the centre.
    unsigned flooded(int start) const {
        return flooded(start, [this](int a, int b) { return distance(a, b) == 1 && b != CENTRE && isFree(b); });
    }

    /// 1 border, 0 not, -1 no free face. A free corner among occupied cells counts as seen.
    int testBorder(RCD rcd) {
        int sum = setNewRCD(rcd);
        const int* const pFace = std::ranges::find_if(FACES, [this](int pos) { return isFree(pos); });
        if (pFace == std::end(FACES)) return -1;
        const unsigned seen = flooded(*pFace);
        for (int pos = 0; pos < 27; ++pos)
            sum += has(seen, pos) ? 1 : 0;
        if (sum < 19) return 0;
        for (const int corner : {0, 2, 6, 8, 18, 20, 24, 26}) {
            const auto isFreeBeside = [&](int step) { return isFree(corner + (corner / step % 3 == 0 ? step : -step)); };
            sum += isFree(corner) && !has(seen, corner) && !isFreeBeside(1) && !isFreeBeside(3) && !isFreeBeside(9) ? 1 : 0;
        }
        return sum == 27 && !removingCreatesGap(rcd) ? 1 : 0;
    }

protected:
    const VRCD& vRCD;
    const Calc& calc;

private:
    unsigned sFree = 0;  // positions of the last cell's block, bit by bit
};

}  // namespace TARN_TEST
