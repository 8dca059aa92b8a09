#include "voronoiCell.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace TARN_KEL {

double widestRadius(const std::vector<EmptyDisc>& vDisc) {
    double widest = 0.0;
    for (const EmptyDisc& disc : vDisc)
        widest = std::max(widest, disc.radius);
    return widest;
}

void VoronoiCell::cut(std::vector<PlaneNeighbour>& vNeighbour, double half) {
    std::sort(vNeighbour.begin(), vNeighbour.end(), [](const PlaneNeighbour& a, const PlaneNeighbour& b) {
        const double sqA = a.sqDistance(), sqB = b.sqDistance();
        return sqA != sqB ? sqA < sqB : a.node < b.node;
    });
    vCorner = {{-half, -half, NO_NODE}, {half, -half, NO_NODE}, {half, half, NO_NODE}, {-half, half, NO_NODE}};
    for (const PlaneNeighbour& neighbour : vNeighbour) {
        if (neighbour.sqDistance() > 4.0 * sqFarthestCorner())
            return;  // its bisector misses the cell, as do all that follow
        cutBy(neighbour);
    }
}

void VoronoiCell::getDiscs(std::vector<EmptyDisc>& vDisc) const {
    vDisc.clear();
    NodeId before = vCorner.back().next;
    for (const Corner& corner : vCorner) {
        const bool bOpen = before == NO_NODE || corner.next == NO_NODE;
        const double radius = bOpen ? std::numeric_limits<double>::infinity() : std::sqrt(corner.sqDistance());
        vDisc.push_back({radius, before, corner.next});
        before = corner.next;
    }
}

double VoronoiCell::sqFarthestCorner() const {
    double sqFarthest = 0.0;
    for (const Corner& corner : vCorner)
        sqFarthest = std::max(sqFarthest, corner.sqDistance());
    return sqFarthest;
}

void VoronoiCell::cutBy(const PlaneNeighbour& q) {
    const auto beyond = [&](const Corner& c) { return c.x * q.x + c.y * q.y - q.sqDistance() / 2.0; };
    if (std::none_of(vCorner.begin(), vCorner.end(), [&](const Corner& corner) { return beyond(corner) > 0.0; })) return;
    vKept.clear();
    for (std::size_t i = 0; i < vCorner.size(); ++i) {
        const Corner &a = vCorner[i], &b = vCorner[i + 1 < vCorner.size() ? i + 1 : 0];
        const double beyondA = beyond(a), beyondB = beyond(b);
        if (beyondA <= 0.0) vKept.push_back(a);
        if ((beyondA <= 0.0) == (beyondB <= 0.0)) continue;
        const double t = beyondA / (beyondA - beyondB);
        vKept.push_back({a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), beyondA <= 0.0 ? q.node : a.next});
    }
    vCorner.swap(vKept);
}

}  // namespace TARN_KEL
