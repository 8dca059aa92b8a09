// Moves vertices apart that lie at the same point.
#include "separateVertices.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "CMesh.h"
#include "Random.h"
#include "runs.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Moves a point until its place is a new one, and enters that place. False when many steps find none.
bool moveToNewPlace(Point3& p, std::set<Point3>& sPlace, double sideLen, Random& random) {
    constexpr int MAX_STEPS = 1000;
    const auto step = [&] { return (random.next() % 1000) / 100000.0 * sideLen; };
    for (int i = 0; i < MAX_STEPS; ++i) {
        if (sPlace.insert(p).second) return true;
        const double dx = step(), dy = step(), dz = step();
        p = p + Vector3(dx, dy, dz);
    }
    return false;
}

}  // namespace

void separateVertices(CMesh& mesh, Random& random) {
    std::vector<std::pair<Point3, Bundle*>> vPlaced;
    vPlaced.reserve(mesh.mCCDBundle.size());
    for (const auto& [ccd, pBundle] : mesh.mCCDBundle) {
        const Point3& p = *mesh.getBundleVtx(ccd);
        if (isFinitePoint(p)) vPlaced.emplace_back(p, pBundle);
    }
    const auto placeOf = [](const auto& placed) { return placed.first; };
    // Stable, so vertices at one place are in ascending order of their codes.
    std::stable_sort(vPlaced.begin(), vPlaced.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    forEachRun(vPlaced.begin(), vPlaced.end(), placeOf, [&](auto first, auto end) {
        std::set<Point3> sPlace;
        for (auto it = first; it != end; ++it)
            if (!moveToNewPlace(*it->second->pVtx, sPlace, mesh.getSideLen(), random))
                warning(KEL_PLACE, "Two vertices stay at one place");
    });
}

}  // namespace TARN_KEL
