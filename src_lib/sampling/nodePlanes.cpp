// Two looks. The first sees the block of cells within two of a node, which is cheap: where neighbours stand all round on one
// flat sheet, the node needs nothing more. Whether they do is told by the discs of one cell's radius that touch the node: in
// 32 directions, then, for the few nodes where that leaves a doubt, by the Voronoi cell. The second look takes the nodes
// that are left, sparse ones as a rule, and searches farther for the flattest plane through more and more of their
// neighbours.
#include "nodePlanes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "PlaneFit.h"
#include "Progress.h"
#include "Surroundings.h"
#include "gapLimits.h"
#include "heardChunks.h"
#include "sortMT.h"
#include "voronoiCell.h"

namespace TARN_KEL {

namespace {

const double MAX_FLATNESS = 0.1;  // first over second eigenvalue; at 0.25 one stray point in a hundred grows phantom pieces
const double FLAT_ENOUGH = 0.05;  // first over second eigenvalue; more nodes won't do better
const std::array<std::size_t, 5> FIT_SIZES = {8, 12, 18, 27, 40};  // nodes, each step half as many more
const double SHEET_HEIGHT = 0.3;                                   // cells; on an even sheet noise reaches so far
const double SHEET_SLOPE = 0.7;  // height over lateral distance; 35 degrees, what a fold within the plane's reach leaves
const double SAME_PLACE = 1e-9;  // cells

double flatnessOf(const PrincipalAxes& axes) {
    return axes.least / axes.middle;
}

// ---- The look around

const std::size_t NUM_DIRECTIONS = 32;

/// Which centres of discs of one cell's radius are still free, of those that touch the node.
class FreeDirections {
public:
    FreeDirections() { vSqNearest.fill(4.0F); }
    void block(const PlanePlace& place) {
        const auto x = static_cast<float>(place.x), y = static_cast<float>(place.y);
        for (std::size_t i = 0; i < NUM_DIRECTIONS; ++i) {
            const float dx = x - COSINES[i], dy = y - SINES[i];
            vSqNearest[i] = std::min(vSqNearest[i], dx * dx + dy * dy);
        }
    }
    /// Some disc between two directions may be empty. A centre is at most half a step from the next direction, so a node
    /// that is nearer to that by half a step than the radius is in the disc.
    bool isAnyFree() const {
        const float halfStep = std::numbers::pi_v<float> / NUM_DIRECTIONS;
        const float sqBlocked = (1.0F - halfStep) * (1.0F - halfStep);
        return std::any_of(vSqNearest.begin(), vSqNearest.end(), [=](float sq) { return !(sq < sqBlocked); });
    }

private:
    using Directions = std::array<float, NUM_DIRECTIONS>;
    static Directions make(double (*function)(double)) {
        Directions values{};
        for (std::size_t i = 0; i < NUM_DIRECTIONS; ++i)
            values[i] = static_cast<float>(function(2.0 * std::numbers::pi * static_cast<double>(i) / NUM_DIRECTIONS));
        return values;
    }
    static const Directions COSINES, SINES;
    Directions vSqNearest;  // square of the distance from the centre to the nearest node, at most 4
};
const FreeDirections::Directions FreeDirections::COSINES = make(std::cos);
const FreeDirections::Directions FreeDirections::SINES = make(std::sin);

/// What a node sees within two cells; holds what one look after another needs.
class LookAround {
public:
    explicit LookAround(const SampleNodes& nodes) : around(nodes) {}

    /// No node may come before the one of the call before.
    void look(NodeId node) {
        collect(node);
        normal = normalOfSheet();
        bSurrounded = !normal.isDegenerate() && isSurrounded();
    }

    Vector3 normal;  // of the sheet; zero: there is no sheet
    bool bSurrounded = false;

private:
    struct Near {
        Vector3 offset;
        NodeId node;
    };

    void collect(NodeId node) {
        vNear.clear();
        around.forEach(node, [&](const Vector3& offset, NodeId other) { vNear.push_back({offset, other}); });
    }
    Vector3 normalOfSheet() const {
        if (vNear.size() < FIT_SIZES.front()) return {};
        PlaneFit fit;
        for (const Near& near : vNear)
            fit.add(near.offset);
        const PrincipalAxes axes = fit.axes();
        return axes.isLine() || !(flatnessOf(axes) < MAX_FLATNESS) ? Vector3() : axes.normal;
    }
    /// The Voronoi cell tells exactly, but most nodes need not wait for it.
    bool isSurrounded() {
        const PlaneFrame frame(normal);
        FreeDirections directions;
        vNeighbour.clear();
        for (const Near& near : vNear) {
            const PlanePlace place = frame(near.offset);
            if (!place.isOfSheet()) continue;
            directions.block(place);
            vNeighbour.push_back({place.x, place.y, near.node});
        }
        if (!directions.isAnyFree()) return true;
        cell.cut(vNeighbour, 4.0);
        cell.getDiscs(vDisc);
        return widestRadius(vDisc) <= GAP_RADIUS;
    }

    Surroundings<2> around;
    VoronoiCell cell;
    std::vector<Near> vNear;
    std::vector<PlaneNeighbour> vNeighbour;
    std::vector<EmptyDisc> vDisc;
};

// ---- Planes of open nodes

/// The flattest plane through 8, 12, 18, ... of the nearest nodes that isn't through a line; zero when none is flat.
/// Sorts the nodes.
Vector3 flattestNormal(const SampleNodes& nodes, NodeId node, std::vector<NearNode>& vNear) {
    if (!std::is_sorted(vNear.begin(), vNear.end())) std::sort(vNear.begin(), vNear.end());  // those from afar are
    PlaneFit fit;
    double best = MAX_FLATNESS;
    Vector3 normal;
    for (const std::size_t size : FIT_SIZES) {
        if (size > vNear.size() || best < FLAT_ENOUGH) break;
        while (fit.size() < size)
            fit.add(nodes.vPlace[vNear[fit.size()].node()] - nodes.vPlace[node]);
        const PrincipalAxes axes = fit.axes();
        if (axes.isLine() || !(flatnessOf(axes) < best)) continue;
        best = flatnessOf(axes);
        normal = axes.normal;
    }
    return normal;
}

}  // namespace

bool PlanePlace::isOfSheet() const {
    const double lateral = std::sqrt(sqLateral());
    return height <= SHEET_SLOPE * lateral + SHEET_HEIGHT && lateral > SAME_PLACE;
}

PlaneFrame::PlaneFrame(const Vector3& n)
    : normal(n), u(crossProduct(n, std::fabs(n.x()) < 0.6 ? Vector3(1.0, 0.0, 0.0) : Vector3(0.0, 1.0, 0.0))) {
    u = u / u.length();
    v = crossProduct(n, u);
}

PlanePlace PlaneFrame::operator()(const Vector3& offset) const {
    return {offset * u, offset * v, std::fabs(offset * normal)};
}

NodePlanes lookAround(const SampleNodes& nodes) {
    NodePlanes planes;
    planes.vNormal.resize(nodes.size());
    std::vector<unsigned char> vSurrounded(nodes.size());
    forHeardChunks_MT(nodes.size(), ProgressStep("SC_around", nodes.size()), [&](std::size_t begin, std::size_t end) {
        LookAround around(nodes);
        for (std::size_t i = begin; i < end; ++i) {
            around.look(static_cast<NodeId>(i));
            planes.vNormal[i] = around.normal;
            vSurrounded[i] = around.bSurrounded;
        }
    });
    planes.vOpen = nodesWhere(vSurrounded, false);
    return planes;
}

NearLists fitOpenNodes(const SampleNodes& nodes, const NearestNodes& tree, NodePlanes& planes) {
    NearLists lists(planes.vOpen);
    const ProgressStep progress("SC_planes", planes.vOpen.size());
    forHeardChunks_MT(planes.vOpen.size(), progress, [&](std::size_t begin, std::size_t end) {
        NearestWalk nearest(tree, nodes);
        std::vector<NearNode> vNear;
        for (std::size_t i = begin; i < end; ++i) {
            Vector3& normal = planes.vNormal[planes.vOpen[i]];
            if (!normal.isDegenerate()) continue;
            double reach = nearest.gather(planes.vOpen[i], vNear);
            normal = flattestNormal(nodes, planes.vOpen[i], vNear);
            if (normal.isDegenerate() && vNear.size() < FIT_SIZES[3]) {
                reach = nearest.gatherFar(planes.vOpen[i], vNear);
                normal = flattestNormal(nodes, planes.vOpen[i], vNear);
            }
            if (!normal.isDegenerate()) lists.keep(i, vNear, reach);
        }
    });
    return lists;
}

}  // namespace TARN_KEL
