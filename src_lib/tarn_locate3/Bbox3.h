#pragma once

#include <algorithm>
#include <limits>

namespace TARN_LOCATE3 {

/// An axis-aligned box, sides included. A plain value.
///
/// The default value is the empty box: it intersects no box, and after the first widening it is just what it was widened by.
struct Bbox3 {
    double minX = std::numeric_limits<double>::max();
    double minY = std::numeric_limits<double>::max();
    double minZ = std::numeric_limits<double>::max();
    double maxX = std::numeric_limits<double>::lowest();
    double maxY = std::numeric_limits<double>::lowest();
    double maxZ = std::numeric_limits<double>::lowest();

    Bbox3() = default;
    Bbox3(double xmin, double ymin, double zmin, double xmax, double ymax, double zmax)
        : minX(xmin), minY(ymin), minZ(zmin), maxX(xmax), maxY(ymax), maxZ(zmax) {}

    /// Makes the box large enough for the point.
    void widen(double x, double y, double z) { widen(Bbox3(x, y, z, x, y, z)); }
    /// Makes the box large enough for the other one.
    void widen(const Bbox3& box) {
        minX = std::min(minX, box.minX);
        minY = std::min(minY, box.minY);
        minZ = std::min(minZ, box.minZ);
        maxX = std::max(maxX, box.maxX);
        maxY = std::max(maxY, box.maxY);
        maxZ = std::max(maxZ, box.maxZ);
    }

    /// True when neither box lies strictly beyond the other on any axis: boxes that touch do intersect.
    bool intersects(const Bbox3& box) const {
        return !(minX > box.maxX || maxX < box.minX || minY > box.maxY || maxY < box.minY || minZ > box.maxZ ||
                 maxZ < box.minZ);
    }

    /// The squared distance of a place to the box, 0.0 inside. The box must not be empty.
    double sqDistance(double x, double y, double z) const {
        const double dx = std::max({minX - x, 0.0, x - maxX});
        const double dy = std::max({minY - y, 0.0, y - maxY});
        const double dz = std::max({minZ - z, 0.0, z - maxZ});
        return dx * dx + dy * dy + dz * dz;
    }
};

}  // namespace TARN_LOCATE3
