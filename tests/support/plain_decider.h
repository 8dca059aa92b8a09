// The removal decisions on packed codes in their plain form: a search in the sorted list for each position of the block,
// ordered sets for what is doomed and what is visited, floods position by position over tables. The yardstick for results
// and speed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <queue>
#include <set>
#include <utility>
#include <vector>

#include "Calc.h"
#include "freeFunctions.h"

namespace TARN_TEST {

using TARN_KEL::Calc;
using TARN_KEL::Point3;
using TARN_KEL::RCD;
using TARN_KEL::VRCD;

class PlainDecider_RCD {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

    PlainDecider_RCD(const VRCD& vSorted, const Calc& theCalc) : vRCD(vSorted), calc(theCalc) {}

    int setNewRCD(RCD rcd) {
        vNeigs.clear();
        aliveMask = 0;
        calc.completeArray27_RCD(rcd, block);
        for (int i = 0; i < 27; ++i) {
            if (block[i] != rcd && !std::binary_search(vRCD.begin(), vRCD.end(), block[i])) continue;
            if (sDoomed.count(block[i]) != 0) continue;
            aliveMask |= std::uint64_t{1} << i;
            vNeigs.push_back(block[i]);
        }
        return static_cast<int>(vNeigs.size());
    }
    /// Of two positions in the block, in steps over faces.
    static int distance(int pos, int next) {
        return std::abs(pos % 3 - next % 3) + std::abs(pos / 3 % 3 - next / 3 % 3) + std::abs(pos / 9 - next / 9);
    }
    bool isFree(int pos) const { return (aliveMask >> pos & 1) == 0 || sDoomed.count(block[pos]) != 0; }

    bool removingCreatesGap(RCD rcd) {
        constexpr int NO = 99;
        constexpr int FACES[6] = {12, 14, 4, 22, 10, 16};
        constexpr int BETWEEN[6][6] = {{NO, NO, 3, 21, 9, 15},   {NO, NO, 5, 23, 11, 17}, {3, 5, NO, NO, 1, 7},
                                       {21, 23, NO, NO, 19, 25}, {9, 11, 1, 19, NO, NO},  {15, 17, 7, 25, NO, NO}};
        setNewRCD(rcd);
        std::set<int> sFree;
        for (int k = 0; k < 6; ++k)
            if (isFree(FACES[k])) sFree.insert(k);
        if (sFree.empty()) return true;
        std::set<int> sSeen = {*sFree.begin()};
        std::queue<int> front;
        for (front.push(*sFree.begin()); !front.empty(); front.pop())
            for (const int j : sFree) {
                const int edge = BETWEEN[front.front()][j];
                if (edge != NO && isFree(edge) && sSeen.insert(j).second) front.push(j);
            }
        return sSeen.size() != sFree.size();
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
        const int opp = SIDES[idx6 % 2 == 0 ? idx6 + 1 : idx6 - 1];
        if (!isFree(opp)) return 0;
        flood(SIDES[idx6]);
        return sVisited.count(opp) != 0 ? 2 : 1;
    }

    void detectAreaAndBorder(VRCD& vArea, VRCD& vBorder) {
        for (const RCD rcd : vRCD)
            if (sDoomed.count(rcd) == 0) (isBorder(rcd) ? vBorder : vArea).push_back(rcd);
    }

    VRCD vNeigs;
    std::set<RCD> sDoomed;

private:
    void flood(int start) {
        sVisited = {start};
        std::queue<int> front;
        for (front.push(start); !front.empty(); front.pop())
            for (int next = 0; next < 27; ++next) {
                const int pos = front.front();
                if (distance(pos, next) == 1 && next != 13 && isFree(next) && sVisited.insert(next).second) front.push(next);
            }
    }

    /// 1 border, 0 not, -1 no free face.
    int testBorder(RCD rcd) {
        constexpr int SCAN[6] = {14, 12, 16, 10, 22, 4};
        constexpr int CORNERS[8][4] = {{0, 1, 3, 9},    {2, 1, 5, 11},    {8, 5, 7, 17},    {6, 3, 7, 15},
                                       {18, 19, 21, 9}, {20, 19, 23, 11}, {26, 23, 25, 17}, {24, 25, 21, 15}};
        const int n = setNewRCD(rcd);
        const int* const pFirst = std::find_if(std::begin(SCAN), std::end(SCAN), [this](int pos) { return isFree(pos); });
        if (pFirst == std::end(SCAN)) return -1;
        flood(*pFirst);
        int sum = n + static_cast<int>(sVisited.size());
        if (sum < 19) return 0;
        if (sum != 27)
            for (const auto& [corner, a, b, c] : CORNERS)
                sum += isFree(corner) && sVisited.count(corner) == 0 && !isFree(a) && !isFree(b) && !isFree(c) ? 1 : 0;
        return sum == 27 && !removingCreatesGap(rcd) ? 1 : 0;
    }

protected:
    const VRCD& vRCD;
    const Calc& calc;

private:
    RCD block[27] = {};
    std::uint64_t aliveMask = 0;
    std::set<int> sVisited;
};

}  // namespace TARN_TEST
