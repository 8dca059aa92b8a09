// The signed field as a map from lattice points, each operation straight from its description: slow and obvious.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Calc.h"
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
        for (int i = 0; i < numIter; ++i) {
            Nodes after = nodes;
            for (auto& [rcc, node] : after) {
                if (node.state < 1 || node.state > 3) continue;
                float weights = bUseWeights ? node.weight : 1.0F;
                float sum = bUseWeights ? node.val * node.weight : node.val;
                int count = 1;
                for (const TARN_KEL::RCC neig : neigsOf(rcc)) {
                    const Node& n = nodes.at(neig);
                    weights += bUseWeights ? n.weight : 1.0F;
                    sum += bUseWeights ? n.weight * n.val : n.val;
                    ++count;
                }
                node.val = sum / weights == 0.0F ? FLT_MIN : sum / weights;
                node.weight = weights / static_cast<float>(count);
                if (node.state == TARN_KEL::ST_LOWER_BORDER) node.val = std::max(-half, node.val);
                if (node.state == TARN_KEL::ST_LOWER_BORDER && node.val >= 0.0F) node.val = -FLT_MIN;
                if (node.state == TARN_KEL::ST_UPPER_BORDER) node.val = std::min(half, node.val);
                if (node.state == TARN_KEL::ST_UPPER_BORDER && node.val <= 0.0F) node.val = FLT_MIN;
            }
            nodes = after;
        }
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
