// The signed field as a map from lattice points, each operation straight from its description: slow and obvious.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Calc.h"
#include "Component.h"
#include "CornerStore.h"

namespace TARN_TEST {

struct PlainField {
    struct Node {
        float val, weight;
        int state;
        std::size_t number;  // counts from 0 by creation
    };
    using Nodes = std::map<TARN_KEL::RCC, Node>;

    Node& add(TARN_KEL::RCC rcc, int state, float val, float weight) {
        return nodes.emplace(rcc, Node{val, weight, state, nodes.size()}).first->second;
    }
    /// The first values of a coloured component.
    void assignFirst(const TARN_KEL::Component& component) {
        using namespace TARN_KEL;
        using Corners = std::set<RCC>;
        const auto cornersOf = [](const std::set<Facet>& sFacets) {
            Corners sRCC;
            EdgePair ends;
            for (const Facet& facet : sFacets)
                for (int edge = 0; edge < 4; ++edge) {
                    facet.fetchEdge(edge, ends);
                    sRCC.insert(ends.first);
                }
            return sRCC;
        };
        const auto without = [](const Corners& a, const Corners& b) {
            Corners out;
            std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(out, out.end()));
            return out;
        };
        const std::set<Facet> sAll(component.vVisibleFacets.begin(), component.vVisibleFacets.end());
        const std::set<Facet> strips[2] = {stripOf(component, sAll, 0), stripOf(component, sAll, 1)};
        const Corners ofStrip[2] = {cornersOf(strips[0]), cornersOf(strips[1])};
        const Corners only[2] = {without(ofStrip[0], ofStrip[1]), without(ofStrip[1], ofStrip[0])};
        for (const RCC rcc : without(ofStrip[0], only[0]))
            add(rcc, 4, 0.0F, 0.5F);
        for (const int side : {0, 1})
            for (const RCC rcc : only[side])
                add(rcc, 5 + side, FLT_MAX, 1.0F);
        for (const RCC rcc : without(without(cornersOf(sAll), ofStrip[0]), ofStrip[1]))
            add(rcc, 7, 0.0F, 0.5F);
        for (const RCD rcd : component.vBorder)
            for (RCC corner = 0; corner < 8; ++corner) {
                const auto it = nodes.find(rcd + packRCD(corner >> 2, corner >> 1 & 1, corner & 1));
                if (it == nodes.end() || (it->second.state != 5 && it->second.state != 6)) continue;
                it->second.state -= 4;
                it->second.weight = 0.3F;
            }
        for (const int side : {0, 1})
            for (const Facet& facet : strips[side])
                for (const RCC rcc : cornersOf({facet})) {
                    Node& node = nodes.at(rcc);
                    if (node.state == 4) continue;
                    const Vector3 toCorner = component.pCalc->getRefPoint_RCC(rcc) - pointOf(component, facet.rcd);
                    float distance = std::min(static_cast<float>(toCorner.length()), std::fabs(node.val));
                    if (node.state <= 2 && distance == 0.0F) distance = FLT_MIN;
                    node.val = side == 0 ? -distance : distance;
                }
    }
    static TARN_KEL::Point3 pointOf(const TARN_KEL::Component& component, TARN_KEL::RCD rcd) {
        for (const auto& [code, point] : *component.pRCDPoint)
            if (code == rcd) return point;
        return {};
    }
    /// The facets of one colour within five steps of cells with an uncoloured facet.
    static std::set<TARN_KEL::Facet> stripOf(const TARN_KEL::Component& component, const std::set<TARN_KEL::Facet>& sAll,
                                             int color) {
        std::set<TARN_KEL::RCD> sOpen;
        for (const TARN_KEL::Facet& facet : sAll)
            if (facet.color < 0) sOpen.insert(facet.rcd);
        std::set<TARN_KEL::Facet> sStrip;
        for (const TARN_KEL::Facet& facet : sAll)
            if (facet.color == color && sOpen.count(facet.rcd) != 0) sStrip.insert(facet);
        for (int layer = 0; layer < 5; ++layer) {
            const std::set<TARN_KEL::Facet> sBefore = sStrip;
            TARN_KEL::Facet neig;
            for (const TARN_KEL::Facet& facet : sBefore)
                for (int edge = 0; edge < 4; ++edge) {
                    facet.fetchNeig(component.vCells, edge, neig);
                    if (sAll.find(neig)->color == color) sStrip.insert(neig);
                }
        }
        return sStrip;
    }
    /// The neighbours that exist in the order in which sums take them: those that were there first by axis, the rest by age.
    std::vector<TARN_KEL::RCC> neigsOf(TARN_KEL::RCC rcc) const {
        std::vector<TARN_KEL::RCC> vOlder, vYounger;
        for (const auto step : {TARN_KEL::RCD_STEP_X, TARN_KEL::RCD_STEP_Y, TARN_KEL::RCD_STEP_Z})
            for (const TARN_KEL::RCC neig : {rcc - step, rcc + step})
                if (nodes.count(neig) != 0)
                    (nodes.at(neig).number < nodes.at(rcc).number ? vOlder : vYounger).push_back(neig);
        const auto isOlder = [this](auto a, auto b) { return nodes.at(a).number < nodes.at(b).number; };
        std::sort(vYounger.begin(), vYounger.end(), isOlder);
        vOlder.insert(vOlder.end(), vYounger.begin(), vYounger.end());
        return vOlder;
    }
    /// Which corners may grow: fewer than six neighbours, near zero but not 0, in the box [low, high].
    bool emits(TARN_KEL::RCC rcc, float thresh, const int low[3], const int high[3]) const {
        const int at[3] = {static_cast<int>(TARN_KEL::getX_RCD(rcc)), static_cast<int>(TARN_KEL::getY_RCD(rcc)),
                           static_cast<int>(TARN_KEL::getZ_RCD(rcc))};
        for (int axis = 0; axis < 3; ++axis)
            if (at[axis] < low[axis] || at[axis] > high[axis]) return false;
        const float distance = std::fabs(nodes.at(rcc).val);
        return neigsOf(rcc).size() < 6 && distance != 0 && distance < thresh;
    }
    /// True when no new corner saw both signs.
    bool grow(float sideLen, const int low[3], const int high[3]) {
        std::map<TARN_KEL::RCC, bool> mFront;
        for (const auto& [rcc, node] : nodes)
            if (emits(rcc, 4.0F * sideLen, low, high))
                for (const auto step : {TARN_KEL::RCD_STEP_X, TARN_KEL::RCD_STEP_Y, TARN_KEL::RCD_STEP_Z})
                    for (const TARN_KEL::RCC neig : {rcc - step, rcc + step})
                        if (nodes.count(neig) == 0) mFront[neig] = true;
        for (const auto& entry : mFront)
            add(entry.first, TARN_KEL::ST_NONE, FLT_MAX, FLT_MAX);
        Nodes after = nodes;
        bool bNoConflict = true;
        for (const auto& entry : mFront) {
            std::vector<Node> vSeen;
            const auto vNeigs = neigsOf(entry.first);
            for (const TARN_KEL::RCC neig : vNeigs)
                if (nodes.at(neig).val != FLT_MAX) vSeen.push_back(nodes.at(neig));
            const auto has = [&vSeen](auto test) { return std::any_of(vSeen.begin(), vSeen.end(), test); };
            Node& node = after.at(entry.first);
            node.state = TARN_KEL::ST_INFLATED;
            if (has([](const Node& n) { return n.val > 0; }) && has([](const Node& n) { return n.val < 0; })) {
                bNoConflict = false;
                float sum = 0.0F, weights = 0.0F;
                for (const Node& n : vSeen) {
                    sum += n.val * n.weight;
                    weights += n.weight;
                }
                node.val = (sum == 0.0F ? FLT_MIN : sum) / weights;
                node.weight = weights / static_cast<float>(vNeigs.size());
                continue;
            }
            vSeen.erase(std::remove_if(vSeen.begin(), vSeen.end(), [](const Node& n) { return n.val == 0; }), vSeen.end());
            const Node& nearest = *std::min_element(vSeen.begin(), vSeen.end(), [](const Node& a, const Node& b) {
                return std::fabs(a.val) < std::fabs(b.val);
            });
            node.val = nearest.val + (nearest.val > 0 ? sideLen : -sideLen);
            node.weight = nearest.weight;
        }
        nodes = after;
        return bNoConflict;
    }
    void lowPass(int numIter, bool bUseWeights, float half) {
        std::map<TARN_KEL::RCC, std::vector<TARN_KEL::RCC>> mNeigs;
        for (const auto& entry : nodes)
            if (entry.second.state >= 1 && entry.second.state <= 3) mNeigs[entry.first] = neigsOf(entry.first);
        for (int i = 0; i < numIter; ++i) {
            Nodes after = nodes;
            for (const auto& [rcc, vNeigs] : mNeigs) {
                Node& node = after.at(rcc);
                float weights = bUseWeights ? node.weight : 1.0F;
                float sum = bUseWeights ? node.val * node.weight : node.val;
                for (const TARN_KEL::RCC neig : vNeigs) {
                    const Node& n = nodes.at(neig);
                    weights += bUseWeights ? n.weight : 1.0F;
                    sum += bUseWeights ? n.weight * n.val : n.val;
                }
                node.val = sum / weights == 0.0F ? FLT_MIN : sum / weights;
                node.weight = weights / static_cast<float>(vNeigs.size() + 1);
                if (node.state == TARN_KEL::ST_LOWER_BORDER) node.val = std::max(-half, node.val);
                if (node.state == TARN_KEL::ST_LOWER_BORDER && node.val >= 0.0F) node.val = -FLT_MIN;
                if (node.state == TARN_KEL::ST_UPPER_BORDER) node.val = std::min(half, node.val);
                if (node.state == TARN_KEL::ST_UPPER_BORDER && node.val <= 0.0F) node.val = FLT_MIN;
            }
            nodes = after;
        }
    }
    /// The cells round the lattice edges with a change of sign, outside the given cells, and the means of their crossings.
    std::vector<std::pair<TARN_KEL::RCD, TARN_KEL::Point3>> zeros(const TARN_KEL::Component& component) const {
        using namespace TARN_KEL;
        std::vector<RCC> vByAge(nodes.size());
        for (const auto& [rcc, node] : nodes)
            vByAge[node.number] = rcc;
        std::map<RCD, std::vector<Point3>> mCrossings;
        for (const RCC a : vByAge)
            for (const RCC b : neigsOf(a)) {
                if (nodes.at(a).state > 3 || nodes.at(b).state > 3) continue;
                const float valA = nodes.at(a).val, valB = nodes.at(b).val;
                if ((valA > 0) == (valB > 0)) continue;
                const Point3 atA = component.pCalc->getRefPoint_RCC(a), atB = component.pCalc->getRefPoint_RCC(b);
                VRCD vAround;
                component.pCalc->getCbsAroundEdge(a, b, vAround);
                for (const RCD rcd : vAround)
                    mCrossings[rcd].push_back(atA + ((atB - atA) / (std::fabs(valA) + std::fabs(valB))) * std::fabs(valA));
            }
        std::vector<std::pair<RCD, Point3>> vOut;
        for (const auto& [rcd, vPoints] : mCrossings) {
            if (std::binary_search(component.vCells.begin(), component.vCells.end(), rcd)) continue;
            double x = 0.0, y = 0.0, z = 0.0;
            for (const Point3& p : vPoints) {
                x += p.x();
                y += p.y();
                z += p.z();
            }
            const auto num = static_cast<double>(vPoints.size());
            Point3 mean(x / num, y / num, z / num);
            component.pCalc->adaptPointToRCD(rcd, mean);
            vOut.emplace_back(rcd, mean);
        }
        return vOut;
    }

    Nodes nodes;
};

/// The first corner that differs from the plain field, as text; empty when all are the same bit by bit.
inline std::string firstDifference(const PlainField& plain, const TARN_KEL::CornerStore& store) {
    std::ostringstream out;
    if (plain.nodes.size() != store.getCornersRef().size())
        out << "corners: " << plain.nodes.size() << ", " << store.getCornersRef().size();
    for (const auto& [rcc, node] : plain.nodes) {
        const TARN_KEL::Corner* pCorner = store.find(rcc);
        if (!out.str().empty()) break;
        if (pCorner == nullptr)
            out << "no corner";
        else if (pCorner->val != node.val || pCorner->weight != node.weight || pCorner->getState() != node.state ||
                 store.getCornersRef()[node.number] != pCorner)
            out << "val " << node.val << ", " << pCorner->val << "; weight " << node.weight << ", " << pCorner->weight
                << "; state " << node.state << ", " << pCorner->getState();
        if (!out.str().empty()) out << " at " << TARN_KEL::showRCD(rcc);
    }
    return out.str();
}

}  // namespace TARN_TEST
