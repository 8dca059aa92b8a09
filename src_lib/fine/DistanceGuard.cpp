// The vertices of the original surface as samples, each in the list of a triangle of the present one.
#include "DistanceGuard.h"

#include <algorithm>
#include <limits>

#include "TriangleTree.h"

namespace TARN_KEL {

DistanceGuard::DistanceGuard(const FlatSurface& theSurface, const FlatSurface& theOriginal, double maxDistance)
    : surface(theSurface),
      original(theOriginal),
      sqLimit(maxDistance * maxDistance),
      vOnBorder(theSurface.numVertices(), 0),
      vFirst(theSurface.numTriangles(), FlatSurface::NONE),
      vFollowing(theSurface.numVertices(), FlatSurface::NONE) {
    for (Index v = 0; v < vFollowing.size(); ++v) {
        Index home = FlatSurface::NONE;
        original.forFan(original.vCorner[v], [&](Index c) {
            const bool bBorder = original.vOpposite[FlatSurface::next(c)] == FlatSurface::NONE ||
                                 original.vOpposite[FlatSurface::previous(c)] == FlatSurface::NONE;
            if (home == FlatSurface::NONE || (bBorder && vOnBorder[v] == 0)) home = c / 3;
            if (bBorder) vOnBorder[v] = 1;
        });
        vFollowing[v] = vFirst[home];
        vFirst[home] = v;
    }
}

bool DistanceGuard::allows(const Collapse& collapse) {
    gather(collapse);
    const Vector3 place = collapse.place;
    for (Home& home : vHome)
        if (!findHome(home, place)) return false;
    if (!isNearOriginal(place)) return false;
    return std::all_of(vNew.begin(), vNew.end(), [&](const NewTriangle& t) {
        return isNearOriginal((place + t.next) * 0.5) && (!t.bPreviousBorder || isNearOriginal((place + t.previous) * 0.5));
    });
}

void DistanceGuard::gather(const Collapse& collapse) {
    const auto isBorder = [this](Index side) { return surface.vOpposite[side] == FlatSurface::NONE; };
    vNew.clear();
    vOld.clear();
    vHome.clear();
    for (const Index c : collapse.vKept) {
        const Index next = FlatSurface::next(c), previous = FlatSurface::previous(c);
        vNew.push_back(
            {c / 3, surface.placeAt(next), surface.placeAt(previous), isBorder(c), isBorder(previous), isBorder(next)});
        vOld.push_back(c / 3);
    }
    for (const Index c : collapse.vRemoved) {
        vOld.push_back(c / 3);
        // What is beyond a removed triangle gets its border: the side there of a triangle that remains.
        for (const Index side : {FlatSurface::next(c), FlatSurface::previous(c)}) {
            const Index other = side == FlatSurface::next(c) ? FlatSurface::previous(c) : FlatSurface::next(c);
            if (!isBorder(side) || isBorder(other)) continue;
            const Index beyond = surface.vOpposite[other];
            for (NewTriangle& t : vNew)
                if (t.triangle == beyond / 3) {
                    const Vector3 apex = surface.placeAt(c);
                    ((t.next - apex).isDegenerate() ? t.bNextBorder : t.bPreviousBorder) = true;
                }
        }
    }
    for (const Index t : vOld)
        for (Index sample = vFirst[t]; sample != FlatSurface::NONE; sample = vFollowing[sample])
            vHome.push_back({sample, FlatSurface::NONE});
}

/// Finds the new triangle that is nearest to a sample, by its border if the sample is on the border. False when it is too
/// far.
bool DistanceGuard::findHome(Home& home, const Vector3& place) const {
    const Vector3 p = original.vPlace[home.sample];
    double least = std::numeric_limits<double>::max();
    for (const NewTriangle& t : vNew) {
        const auto consider = [&](double distance) {
            if (distance < least) {
                least = distance;
                home.triangle = t.triangle;
            }
        };
        if (vOnBorder[home.sample] == 0) {
            consider(sqDistance(p, {place, t.next, t.previous}));
        } else {
            if (t.bFarBorder) consider(sqDistance(p, t.next, t.previous));
            if (t.bNextBorder) consider(sqDistance(p, place, t.next));
            if (t.bPreviousBorder) consider(sqDistance(p, place, t.previous));
        }
    }
    return least <= sqLimit;
}

/// By the original triangles around the sample that is nearest to the place.
bool DistanceGuard::isNearOriginal(const Vector3& place) const {
    double least = std::numeric_limits<double>::max();
    Index nearest = FlatSurface::NONE;
    for (const Home& home : vHome) {
        const double distance = (original.vPlace[home.sample] - place).sqLength();
        if (distance < least) {
            least = distance;
            nearest = home.sample;
        }
    }
    if (nearest == FlatSurface::NONE || least <= sqLimit) return nearest != FlatSurface::NONE;
    bool bNear = false;
    original.forFan(original.vCorner[nearest], [&](Index c) {
        bNear = bNear || sqDistance(place, {original.placeAt(c), original.placeAt(FlatSurface::next(c)),
                                            original.placeAt(FlatSurface::previous(c))}) <= sqLimit;
    });
    return bNear;
}

void DistanceGuard::accept() {
    for (const Index t : vOld)
        vFirst[t] = FlatSurface::NONE;
    for (const auto& [sample, triangle] : vHome) {
        vFollowing[sample] = vFirst[triangle];
        vFirst[triangle] = sample;
    }
}

}  // namespace TARN_KEL
