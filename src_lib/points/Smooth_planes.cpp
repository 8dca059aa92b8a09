// Planes and features of the nodes.
//
// Each node gets a plane fitted to its links. A plane is reliable when most neighbours have nearly the same. The others are
// corrected in two rounds, from the largest fan down: first by the mean of reliable neighbours, where each success counts at
// once for the nodes that come later; the rest get a fit to a wider neighbourhood. Where neighbouring planes then fold, both
// nodes lie on a feature.
//
// Normals have no orientation: those of two neighbours may be on opposite sides. Tests that use the plain angle count such a
// pair as bad, except the test for folds.
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Moments.h"
#include "Smooth.h"
#include "geometryFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Compares the angle of two unit vectors with a limit (degrees), as getAngleDegree() would. The cosine decides but for
/// angles so near the limit that rounding might; only these pay for the arc.
class AngleLimit {
public:
    explicit AngleLimit(double degrees)
        : limit(degrees), cosine(std::cos(degrees / DEGREES_PER_RADIAN)), bUsesCosine(degrees > 0.0 && degrees < 180.0) {}

    bool isBelow(const Vector3& a, const Vector3& b) const {
        const int side = getSide(a, b);
        return side != 0 ? side < 0 : getAngleDegree(a, b) < limit;
    }
    bool isAbove(const Vector3& a, const Vector3& b) const {
        const int side = getSide(a, b);
        return side != 0 ? side > 0 : getAngleDegree(a, b) > limit;
    }

private:
    static constexpr double UNSURE = 1e-9;  // far above the rounding of dot product and arc

    /// -1 below the limit, 1 above, 0 for both can't be told.
    int getSide(const Vector3& a, const Vector3& b) const {
        const double dot = a * b;
        if (!bUsesCosine || !(std::fabs(dot - cosine) > UNSURE)) return 0;
        return dot > cosine ? -1 : 1;
    }

    double limit, cosine;
    bool bUsesCosine;
};

/// The area of the fan of links: half the cross products of the first offset with each other one.
double addUpFan(const SNode* pSN, Moments& moments) {
    const std::span<SNode* const>& vLinkedNodes = pSN->vLinkedNodes;
    const Vector3 d0 = vLinkedNodes[0]->smoothedPoint - pSN->smoothedPoint;
    moments.add(d0);
    double sumArea = 0.0;
    for (std::size_t i = 1; i < vLinkedNodes.size(); ++i) {
        const Vector3 d = vLinkedNodes[i]->smoothedPoint - pSN->smoothedPoint;
        moments.add(d);
        const double area = crossProduct(d0, d).length() * 0.5;
        ASSEX(fabs(area-getArea( &pSN->smoothedPoint, &vLinkedNodes[0]->smoothedPoint, &vLinkedNodes[i]->smoothedPoint ))<1e-10);
        sumArea += area;
    }
    return sumArea;
}

/// Whether the neighbours confirm the node's plane.
bool isConfirmed(const SNode* pSN, const AngleLimit& limit) {
    if (!pSN->bHasPlane) return false;
    int good = 0, bad = 0;
    for (const SNode* pLinked : pSN->vLinkedNodes)
        if (pLinked->bHasPlane) ++(limit.isBelow(pSN->getNNV(), pLinked->getNNV()) ? good : bad);
    return good >= 4 && 2 * bad < good;
}

/// The first of a node's links with which it folds; null when there is none.
SNode* findFold(const SNode* pSN, const AngleLimit& least, const AngleLimit& most) {
    if (!pSN->bHasPlane) return nullptr;
    for (SNode* pLinked : pSN->vLinkedNodes) {
        if (!pLinked->bHasPlane) continue;
        const Vector3 &a = pSN->getNNV(), &b = pLinked->getNNV();
        if (least.isAbove(a, b) && most.isBelow(a, b)) return pLinked;
    }
    return nullptr;
}

}  // namespace

void Smooth::setNNVs() {
    sortNodesByCell();
    forEach_MT(vNodes, [this](SNode* pSN) { estimateNNVatCentroid(pSN); });
    const auto vNotes = noteUnreliable(15.0);
    for (auto it = vNotes.rbegin(); it != vNotes.rend(); ++it)
        if (it->second->area != SNode::RELIABLE) makeReliableAverage(it->second);
    for (auto it = vNotes.rbegin(); it != vNotes.rend(); ++it)
        if (it->second->area != SNode::RELIABLE) makeReliableSearch(it->second);
    detectFeatures(20.0);
}

void Smooth::sortNodesByCell() {
    const auto vCellNode = getNodesByCell();
    transform_MT(vCellNode, vNodes, [](const auto& entry) { return entry.second; });
}

// Marks the reliable nodes. The others come back as (area of the fan, node), sorted. The test reads planes only, so it runs
// in any order.
std::vector<std::pair<double, SNode*>> Smooth::noteUnreliable(double thresh) {
    const AngleLimit limit(thresh);
    std::vector<char> vIsReliable;
    transform_MT(vNodes, vIsReliable, [&limit](const SNode* pSN) { return static_cast<char>(isConfirmed(pSN, limit)); });
    std::vector<std::pair<double, SNode*>> vNotes;
    for (std::size_t i = 0; i < vNodes.size(); ++i) {
        if (vIsReliable[i] != 0)
            vNodes[i]->area = SNode::RELIABLE;
        else
            vNotes.emplace_back(vNodes[i]->area, vNodes[i]);
    }
    sortMT(vNotes.begin(), vNotes.end());
    return vNotes;
}

bool Smooth::isReliable(SNode* pSN, double thresh) {
    return isConfirmed(pSN, AngleLimit(thresh));
}

bool Smooth::estimateNNVatCentroid(SNode* pSN) const {
    if (pSN->vLinkedNodes.size() < 2) return false;
    Moments moments;
    const double area = addUpFan(pSN, moments);
    if (areaThresh > area) return false;
    const Plane plane(pSN->smoothedPoint, moments.getNormal());
    if (plane.getNormal().isDegenerate()) return false;
    pSN->plane = plane;
    pSN->bHasPlane = true;
    pSN->area = area;
    return true;
}

bool Smooth::makeReliableAverage(SNode* pSN) {
    if (pSN->vLinkedNodes.size() < 4) return false;
    std::vector<Vector3> vNormals;
    for (const SNode* pLinked : pSN->vLinkedNodes)
        if (pLinked->area == SNode::RELIABLE) vNormals.push_back(pLinked->getNNV());
    if (vNormals.size() < 4) return false;
    const AngleLimit rightAngle(90.0), mostDeviation(20.0);
    Vector3 v = vNormals[0];
    for (std::size_t i = 1; i < vNormals.size(); ++i) {
        if (rightAngle.isBelow(vNormals[i], vNormals[0]))
            v += vNormals[i];
        else
            v -= vNormals[i];
    }
    v = normalize(v);
    for (const Vector3& normal : vNormals)
        if (mostDeviation.isAbove(normal, v)) return false;
    pSN->plane = Plane(pSN->smoothedPoint, v);
    pSN->bHasPlane = true;
    pSN->area = SNode::RELIABLE;
    return true;
}

bool Smooth::makeReliableSearch(SNode* pSN) {
    std::vector<SNode*> vBox;
    for (RCD dx = 0; dx < 5; ++dx)
        for (RCD dy = 0; dy < 5; ++dy) {
            const RCD first = pSN->rcd + (dx - 2) * RCD_STEP_X + (dy - 2) * RCD_STEP_Y - 2 * RCD_STEP_Z;
            auto it = std::lower_bound(vNodes.begin(), vNodes.end(), first,
                                       [](const SNode* pNode, RCD rcd) { return pNode->rcd < rcd; });
            for (; it != vNodes.end() && (*it)->rcd <= first + 4 * RCD_STEP_Z; ++it)
                if (*it != pSN) vBox.push_back(*it);
        }
    const auto vLinks = std::exchange(pSN->vLinkedNodes, std::span<SNode* const>(vBox));
    const bool bFitted = estimateNNVatCentroid(pSN);
    pSN->vLinkedNodes = vLinks;
    if (bFitted) pSN->area = SNode::RELIABLE;
    return bFitted;
}

void Smooth::detectFeatures(double angle) {
    const AngleLimit least(angle), most(180.0 - angle);
    std::vector<SNode*> vFold;
    transform_MT(vNodes, vFold, [&](const SNode* pSN) { return findFold(pSN, least, most); });
    // A node that an earlier one has flagged flags no other.
    for (std::size_t i = 0; i < vNodes.size(); ++i) {
        if (vFold[i] == nullptr || vNodes[i]->bFeature) continue;
        vNodes[i]->bFeature = true;
        vFold[i]->bFeature = true;
    }
}

}  // namespace TARN_KEL
