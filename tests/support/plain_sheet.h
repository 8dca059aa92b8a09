// The colouring of a sheet in its plain form: a search for every neighbour, whole passes over the whole list, ordered
// multimaps as queues. The yardstick for results and speed.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <queue>
#include <utility>
#include <vector>

#include "Component.h"
#include "RemoveDecider_RCD.h"
#include "freeFunctions.h"

namespace TARN_TEST {

using TARN_KEL::Facet;

class PlainSheet {
public:
    using List = std::vector<Facet*>;

    explicit PlainSheet(const TARN_KEL::Component& sheet)
        : vCells(sheet.vCells), vBorder(sheet.vBorder), vRCDPoint(*sheet.pRCDPoint), calc(*sheet.pCalc) {
        for (const TARN_KEL::RCD rcd : vCells)
            for (int idx = 0; idx < 6; ++idx) {
                const int state = isIn(vBorder, rcd) ? TARN_KEL::FACET_STATE_BORDER : TARN_KEL::FACET_STATE_AREA;
                if (!isIn(vCells, rcd + TARN_KEL::RCD_FACE_STEPS[static_cast<unsigned>(idx)]))
                    vFacets.emplace_back(rcd, idx, -1, state);
            }
    }

    bool colorize() {
        flood();
        std::map<int, int> mCount;
        for (const Facet& facet : vFacets)
            if (facet.color >= 0) ++mCount[facet.color];
        std::vector<std::pair<int, int>> vCount;
        for (const auto& [color, count] : mCount)
            vCount.emplace_back(count, color);
        std::sort(vCount.rbegin(), vCount.rend());
        if (vCount.size() < 2) {
            for (Facet& facet : vFacets)
                facet.color = -1;
            return false;
        }
        const int c1 = vCount[0].second, c2 = vCount[1].second;
        postColorize(c1, c2);
        int n1 = 0, n2 = 0;
        for (const Facet& facet : vFacets) {
            n1 += facet.color == c1 && facet.idx == 5 ? 1 : 0;
            n2 += facet.color == c2 && facet.idx == 5 ? 1 : 0;
        }
        for (Facet& facet : vFacets)
            facet.color = facet.color == c1 ? (n1 >= n2 ? 1 : 0) : facet.color == c2 ? (n1 >= n2 ? 0 : 1) : -1;
        for (Facet& facet : vFacets) {
            if (facet.color != -1) continue;
            std::vector<int> vColor;
            for (const Facet* pNeig : neigs(facet))
                if (pNeig->color >= 0) vColor.push_back(pNeig->color);
            if (!vColor.empty() && std::count(vColor.begin(), vColor.end(), vColor.front()) == std::ssize(vColor))
                facet.color = vColor.front();
        }
        return true;
    }

    void flood() {
        TARN_KEL::RemoveDecider_RCD decider(vCells, &calc);
        int n = 1;
        for (Facet& seed : vFacets) {
            if (seed.color >= 0 || seed.state == TARN_KEL::FACET_STATE_BORDER) continue;
            const int id = n + 1;
            std::queue<Facet*> queue;
            for (queue.push(&seed); !queue.empty(); queue.pop())
                for (Facet* pNeig : neigs(*queue.front())) {
                    if (pNeig->state != TARN_KEL::FACET_STATE_AREA || pNeig->color >= 0 || pNeig->color == -id) continue;
                    pNeig->color = id;
                    queue.push(pNeig);
                    if (decider.getOppState(pNeig->rcd, pNeig->idx) != TARN_KEL::OPP_SEPARATED) continue;
                    Facet& opposite = *find(Facet(pNeig->rcd, pNeig->idx ^ 1, -1, -1));
                    if (opposite.state == TARN_KEL::FACET_STATE_AREA && opposite.color == -1) opposite.color = -id;
                }
            n = id;
        }
    }

    void postColorize(int lower, int upper) {
        List vList;
        for (Facet& facet : vFacets)
            if (facet.color != lower && facet.color != upper) vList.push_back(&facet);
        List vCopy = vList;
        for (int k = 8; k >= 1; --k)
            colorize27(vList, lower, upper, k, false);
        for (int w = 10; w >= 1; --w)
            colorizeW(vList, lower, upper, w);
        for (int k = 8; k >= 1; --k)
            colorize27(vList, lower, upper, k, true);
        makeThinBorder(vCopy);
    }

    void colorize27(List& vList, int lower, int upper, int minCount, bool bAllowTie) {
        for (bool bAgain = true; bAgain;) {
            List vRest;
            bAgain = false;
            for (Facet* pFacet : vList) {
                if (pFacet->color == lower || pFacet->color == upper) continue;
                std::map<int, int> mCount;
                TARN_KEL::VRCD vAround;
                TARN_KEL::getRCDPositionsAround(pFacet->rcd, 1, vAround);
                for (const TARN_KEL::RCD rcd : vAround) {
                    const Facet* pNeig = find(Facet(rcd, pFacet->idx, -1, -1));
                    if (pNeig != nullptr && (pNeig->color == lower || pNeig->color == upper)) ++mCount[pNeig->color];
                }
                int color = -1, count = 0;
                for (const auto& [c, num] : mCount)
                    if (num > count) {
                        color = c;
                        count = num;
                    }
                const bool bTake = mCount.size() == 1 ? count >= minCount
                                                      : mCount.size() == 2 && bAllowTie && count > 1 && count >= minCount;
                if (bTake) pFacet->color = color;
                if (!bTake) vRest.push_back(pFacet);
                bAgain = bAgain || bTake;
            }
            vList = vRest;
            if (!bAgain) bAgain = colorizeW(vList, lower, upper, 10.0) > 0;
        }
    }

    std::pair<int, double> weight(const Facet& facet, int lower, int upper) {
        std::map<int, double> mSum;
        for (const Facet* pNeig : neigs(facet)) {
            if ((pNeig->color != lower && pNeig->color != upper) || pNeig->rcd == facet.rcd) continue;
            mSum[pNeig->color] += pNeig->idx == facet.idx || !isIn(vBorder, pNeig->rcd) ? 10.0 : 1.0;
        }
        if (mSum.size() == 2) std::erase_if(mSum, [](const auto& entry) { return entry.second < 10.0; });
        return mSum.size() == 1 ? std::pair<int, double>(*mSum.begin()) : std::pair<int, double>(-99, 0.0);
    }

    int colorizeW(List& vList, int lower, int upper, double minWeight) {
        std::multimap<double, Facet*, std::greater<>> mmQueue;
        for (Facet* pFacet : vList)
            if (pFacet->color == -1) mmQueue.emplace(weight(*pFacet, lower, upper).second, pFacet);
        List vDone, vRest;
        while (!mmQueue.empty()) {
            const auto [key, pFacet] = *mmQueue.begin();
            mmQueue.erase(mmQueue.begin());
            const auto [c, w] = weight(*pFacet, lower, upper);
            if (w == 0.0) continue;
            if (key > w) {
                mmQueue.emplace(w, pFacet);
                continue;
            }
            if (minWeight > w) continue;
            pFacet->color = c;
            vDone.push_back(pFacet);
        }
        std::sort(vDone.begin(), vDone.end());
        std::sort(vList.begin(), vList.end());
        std::set_difference(vList.begin(), vList.end(), vDone.begin(), vDone.end(), std::back_inserter(vRest));
        vList = vRest;
        return static_cast<int>(vDone.size());
    }

    double seamWeight(const Facet& facet) {
        int numDiff = 0;
        for (const Facet* pNeig : neigs(facet))
            numDiff += facet.color >= 0 && pNeig->color >= 0 && pNeig->color != facet.color ? 1 : 0;
        if (numDiff == 0) return 0.0;
        TARN_KEL::VRCD vAround;
        TARN_KEL::getRCDPositionsAround(facet.rcd, 2, vAround);
        std::vector<TARN_KEL::Point3*> vPoints;
        for (const TARN_KEL::RCD rcd : vAround) {
            const auto it = std::lower_bound(vRCDPoint.begin(), vRCDPoint.end(), std::pair(rcd, TARN_KEL::Point3()),
                                             [](const auto& a, const auto& b) { return a.first < b.first; });
            if (it != vRCDPoint.end() && it->first == rcd) vPoints.push_back(&it->second);
        }
        TARN_KEL::Vector3 nv, axis(facet.idx / 2 == 0, facet.idx / 2 == 1, facet.idx / 2 == 2);
        TARN_KEL::Point3 centroid;
        if (!TARN_KEL::estimateNNV(vPoints, nv, centroid)) return numDiff * 0.5;
        const double a = TARN_KEL::getAngleDegree(facet.idx % 2 == 0 ? -axis : axis, nv);
        return (1.0 - std::fabs(a - 90.0) / 90.0) * 5.0;
    }

    void makeThinBorder(List& vList) {
        std::multimap<double, Facet*, std::greater<>> mmQueue;
        for (Facet* pFacet : vList)
            if (const double w = seamWeight(*pFacet); w > 0.0) mmQueue.emplace(w, pFacet);
        while (!mmQueue.empty()) {
            const auto [stored, pFacet] = *mmQueue.begin();
            mmQueue.erase(mmQueue.begin());
            const double fresh = seamWeight(*pFacet);
            if (stored <= fresh)
                pFacet->color = -1;
            else if (fresh > 0.0)
                mmQueue.emplace(fresh, pFacet);
        }
    }

    std::vector<Facet*> neigs(const Facet& facet) {
        std::vector<Facet*> vNeigs;
        for (int edge = 0; edge < 4; ++edge)
            vNeigs.push_back(facet.fetchNeigPtr(vCells, vFacets, edge));
        return vNeigs;
    }
    Facet* find(const Facet& facet) {
        const auto it = std::lower_bound(vFacets.begin(), vFacets.end(), facet);
        return it != vFacets.end() && *it == facet ? &*it : nullptr;
    }
    static bool isIn(const TARN_KEL::VRCD& vSorted, TARN_KEL::RCD rcd) {
        return std::binary_search(vSorted.begin(), vSorted.end(), rcd);
    }

    TARN_KEL::VRCD vCells, vBorder;
    std::vector<std::pair<TARN_KEL::RCD, TARN_KEL::Point3>> vRCDPoint;
    TARN_KEL::Calc calc;
    std::vector<Facet> vFacets;
};

}  // namespace TARN_TEST
