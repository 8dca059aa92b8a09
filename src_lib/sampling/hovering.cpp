// The first look sees two cells around each node, and nearly all lie in the plane of those. What is off it is looked at
// again with four cells around, where the sheet has some fifty nodes. A plane is fitted to all of them, and a second one
// without those that are far off the first: other strays, which tilt it. A node over that plane is a stray unless it may be
// a part of something:
//
//     a tip or a pin    has no node of the sheet below, or others off the plane beside it
//     a wire            goes on straight, upwards or along the sheet
//     a thin wall       has others at its height
#include "hovering.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "PlaneFit.h"
#include "Progress.h"
#include "Surroundings.h"
#include "heardChunks.h"

namespace TARN_KEL {

namespace {

// In cells.
constexpr double DOUBTFUL_HEIGHT = 0.5;  // over the plane of what is within two cells, whatever that is
constexpr double LEAST_HEIGHT = 0.8;     // over the sheet; less is what noise does
constexpr double MAX_SPREAD = 0.25;      // root mean square of the distances of a sheet's nodes: more is bent, or two sheets
constexpr double OF_SPREAD = 4.5;        // a height over the spread that noise hardly reaches
constexpr double OFF_SHEET = 0.75;       // over the first plane: another stray
constexpr double OFF_PLANE = 0.5;        // over the second one: no node of the sheet, whatever it is
constexpr double BELOW = 0.8;            // beside the foot of the node: a cone has no other one there
constexpr double COMPANION = 1.5;        // to a node next to it
constexpr double STRAIGHT = 0.8;         // of a companion, from where the next node of a wire should be
constexpr double STRAIGHT_AFAR = 0.3;    // the same of nodes farther away, of which there are more by chance
constexpr double BESIDE = 3.0;           // to others of its wall
constexpr double SAME_HEIGHT = 0.5;      // of these

constexpr std::size_t MIN_SHEET = 10;      // nodes
constexpr std::size_t MAX_COMPANIONS = 1;  // another stray
constexpr std::size_t MAX_BESIDE = 2;      // other strays

/// The plane through places, of which there is at least one.
struct SheetPlane {
    explicit SheetPlane(const std::vector<Vector3>& vPlace) {
        PlaneFit fit;
        for (auto it = vPlace.begin() + 1; it != vPlace.end(); ++it)
            fit.add(*it - vPlace.front());
        axes = fit.axes();
        for (const Vector3& place : vPlace)
            centre += place;
        centre = centre / static_cast<double>(vPlace.size());
        spread = std::sqrt(std::max(0.0, axes.least) / static_cast<double>(vPlace.size()));
    }
    bool isSheet() const { return !axes.normal.isDegenerate() && !axes.isLine(); }
    double heightOf(const Vector3& place) const { return std::fabs((place - centre) * axes.normal); }

    PrincipalAxes axes;
    Vector3 centre;
    double spread;
};

/// The offsets of the others from a node.
template <int RADIUS>
void gather(Surroundings<RADIUS>& around, NodeId node, std::vector<Vector3>& vOffset) {
    vOffset.clear();
    around.forEach(node, [&](const Vector3& offset, NodeId) { vOffset.push_back(offset); });
}

bool isDoubtful(const std::vector<Vector3>& vAround) {
    if (vAround.size() < MIN_SHEET) return true;
    const SheetPlane plane(vAround);
    return plane.isSheet() && plane.heightOf(Vector3()) > DOUBTFUL_HEIGHT;
}

bool hasBelow(const std::vector<Vector3>& vSheet, const Vector3& normal) {
    return std::any_of(vSheet.begin(), vSheet.end(),
                       [&](const Vector3& place) { return (place - normal * (place * normal)).sqLength() < BELOW * BELOW; });
}

/// Those off the plane.
std::vector<Vector3> offPlane(const std::vector<Vector3>& vAround, const SheetPlane& plane) {
    std::vector<Vector3> vOff;
    std::copy_if(vAround.begin(), vAround.end(), std::back_inserter(vOff),
                 [&](const Vector3& place) { return plane.heightOf(place) > OFF_PLANE; });
    return vOff;
}

bool hasCompanions(const std::vector<Vector3>& vOff) {
    const auto isCompanion = [](const Vector3& place) { return place.sqLength() < COMPANION * COMPANION; };
    return static_cast<std::size_t>(std::count_if(vOff.begin(), vOff.end(), isCompanion)) > MAX_COMPANIONS;
}

/// Whether it is the middle or an end of three in a row.
bool isInRow(const std::vector<Vector3>& vOff) {
    return std::any_of(vOff.begin(), vOff.end(), [&](const Vector3& place) {
        if (place.sqLength() > BESIDE * BESIDE) return false;
        const double slack = place.sqLength() < COMPANION * COMPANION ? STRAIGHT : STRAIGHT_AFAR;
        return std::any_of(vOff.begin(), vOff.end(), [&](const Vector3& other) {
            if (&other == &place) return false;
            return (other - place * 2.0).sqLength() < slack * slack || (other + place).sqLength() < slack * slack;
        });
    });
}

bool hasOthersBeside(const std::vector<Vector3>& vAround, const Vector3& normal) {
    const auto isBeside = [&](const Vector3& place) {
        return std::fabs(place * normal) < SAME_HEIGHT && place.sqLength() < BESIDE * BESIDE;
    };
    return static_cast<std::size_t>(std::count_if(vAround.begin(), vAround.end(), isBeside)) > MAX_BESIDE;
}

/// vAround: the offsets of the nodes around; reordered.
bool hoversOver(std::vector<Vector3>& vAround) {
    if (vAround.size() < MIN_SHEET) return false;
    const SheetPlane first(vAround);
    if (!first.isSheet()) return false;
    const auto itEnd = std::stable_partition(vAround.begin(), vAround.end(),
                                             [&](const Vector3& place) { return first.heightOf(place) < OFF_SHEET; });
    const std::vector<Vector3> vSheet(vAround.begin(), itEnd);
    if (vSheet.size() < MIN_SHEET) return false;
    const SheetPlane plane(vSheet);
    if (!plane.isSheet() || plane.spread > MAX_SPREAD) return false;
    const Vector3& normal = plane.axes.normal;
    if (plane.heightOf(Vector3()) < std::max(LEAST_HEIGHT, OF_SPREAD * plane.spread)) return false;
    const std::vector<Vector3> vOff = offPlane(vAround, plane);
    return hasBelow(vSheet, normal) && !hasCompanions(vOff) && !isInRow(vOff) && !hasOthersBeside(vAround, normal);
}

}  // namespace

std::vector<NodeId> hoveringNodes(const SampleNodes& nodes) {
    std::vector<char> vHovers(nodes.size());
    forHeardChunks_MT(nodes.size(), ProgressStep("SC_hover", nodes.size()), [&](std::size_t begin, std::size_t end) {
        Surroundings<2> near(nodes);
        Surroundings<4> around(nodes);
        std::vector<Vector3> vOffset;
        for (std::size_t i = begin; i < end; ++i) {
            gather(near, static_cast<NodeId>(i), vOffset);
            if (!isDoubtful(vOffset)) continue;
            gather(around, static_cast<NodeId>(i), vOffset);
            vHovers[i] = hoversOver(vOffset) ? 1 : 0;
        }
    });
    return nodesWhere(vHovers);
}

}  // namespace TARN_KEL
