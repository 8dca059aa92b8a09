// Signed distance fields on lattice points: what the sparse field that closes gaps between sheets (GapField) and the dense
// field of a hole (Field) have in common.
//
// A field knows distances to a surface on the points next to it. It grows ring by ring into free space, each ring is
// smoothed by rounds of weighted means, and where its sign changes between two points surface is missing:
//
//      +  +  +  .  .  .  +  +  +         + + + + + + + + +        signs; a point without a value is a dot
//     ------------     ------------     ------------*****-----    the surface, and the zeros in its gap
//      -  -  -  .  .  .  -  -  -         - - - - - - - - -
//
// The differences are in a policy, called the lattice: which points a ring takes and how they get their values, which points
// are free and how far they may move, which edges count, and the precision of sums (Real). Values and weights, and the
// product of both, are in single precision everywhere. All loops here keep the order of the lattice, so results are the same
// on any number of processors.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"
#include "kel.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

/// The data of a lattice point: a signed distance, the largest float for none, and its weight in means.
struct FieldValue {
    float val;
    float weight;
};

inline bool haveOppositeSigns(float a, float b) {
    return (a > 0 && b < 0) || (a < 0 && b > 0);
}

// ---- Growth

/// Collects the values beside a new point.
template <typename Real>
struct SeenValues {
    float nearestVal = FLT_MAX,
          nearestWeight = FLT_MAX;  ///< of the value nearest to 0 that isn't 0, of equally near ones the first
    bool bBothSigns = false;
    Real weighted = 0, weights = 0;  ///< sums over all
    int num = 0;

    void add(float val, float weight) {
        if (nearestVal != FLT_MAX && haveOppositeSigns(nearestVal, val)) bBothSigns = true;
        if (val != 0 && std::fabs(val) < std::fabs(nearestVal)) {
            nearestVal = val;
            nearestWeight = weight;
        }
        weighted += static_cast<Real>(val * weight);
        weights += static_cast<Real>(weight);
        ++num;
    }
};

/// Gives values to the points of one ring, computed from the values before: new points don't see each other. With at least
/// MIN_PARALLEL points it uses the pool.
/// ring: size() is the number of new points; forEachSeen(i, see) calls see(val, weight) for each value beside point i;
/// valueOf(i, seen) gives the new value; store(i, value) stores it.
/// Returns true when one of the points has seen both signs.
/// Cost: O(size()).
template <typename Ring>
bool growRing(Ring& ring) {
    struct Grown {
        FieldValue value;
        bool bBothSigns;
    };
    std::vector<Grown> vGrown(ring.size());
    forChunks_MT(
        vGrown.size(),
        [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                SeenValues<typename Ring::Real> seen;
                ring.forEachSeen(i, [&seen](float val, float weight) { seen.add(val, weight); });
                vGrown[i] = {ring.valueOf(i, seen), seen.bBothSigns};
            }
        },
        Ring::MIN_PARALLEL);
    for (std::size_t i = 0; i < vGrown.size(); ++i)
        ring.store(i, vGrown[i].value);
    return std::any_of(vGrown.begin(), vGrown.end(), [](const Grown& grown) { return grown.bBothSigns; });
}

// ---- Smoothing

/// One round: each free point becomes the mean of itself and its neighbours, all from the values before (Jacobi). A mean of
/// 0 becomes the smallest normal float, so that every free point has a sign.
///
/// With at least MIN_PARALLEL points it uses the pool.
/// lattice: size() is the number of free points; forEachTerm(i, add) calls add(val * weight, weight) for point i and its
/// neighbours; numTerms(i) is their number; settle(i, mean) stores the means of value and weight without changing a term;
/// endRound() makes them the terms of the next round.
/// Cost: O(size()).
template <typename Lattice>
void smoothRound(Lattice& lattice) {
    using Real = typename Lattice::Real;
    forChunks_MT(
        lattice.size(),
        [&lattice](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                Real sum = 0, weights = 0;
                lattice.forEachTerm(i, [&](float weighted, float weight) {
                    sum += static_cast<Real>(weighted);
                    weights += static_cast<Real>(weight);
                });
                FieldValue mean{static_cast<float>(sum / weights),
                                static_cast<float>(weights / static_cast<Real>(lattice.numTerms(i)))};
                if (mean.val == 0) mean.val = FLT_MIN;
                lattice.settle(i, mean);
            }
        },
        Lattice::MIN_PARALLEL);
    lattice.endRound();
}

// ---- Zeros

/// Whether the value is 0 somewhere between two points. Throws (assertion) when it is 0 at one of them.
inline bool changesSign(float srcVal, float trgVal) {
    ASSEX(srcVal!=0 && trgVal!=0);
    if ((srcVal > 0) == (trgVal > 0)) return false;
    ASSEX((srcVal<0 && trgVal>0) || (srcVal>0 && trgVal<0));
    return true;
}

/// Where the value is 0 between two points with distances of opposite signs, given by their magnitudes.
template <typename Real>
Point3 zeroBetween(const Point3& a, Real absA, const Point3& b, Real absB) {
    return a + ((b - a) / (absA + absB)) * absA;
}

/// Calls visit(edge, ends, zero) for each lattice edge on which the sign changes, with the places of its ends as a pair
/// and the point where the value is 0.
///
/// lattice: forEachEdge(visit) calls visit(edge) for the edges that count; srcVal and trgVal of an edge are the values at
/// its ends, placesOf(edge) gives their places.
/// Cost: linear in the number of edges.
template <typename Lattice, typename Visit>
void forEachCrossing(const Lattice& lattice, const Visit& visit) {
    using Real = typename Lattice::Real;
    lattice.forEachEdge([&](const auto& edge) {
        if (!changesSign(edge.srcVal, edge.trgVal)) return;
        const auto ends = lattice.placesOf(edge);
        visit(edge, ends, zeroBetween<Real>(ends.first, std::fabs(edge.srcVal), ends.second, std::fabs(edge.trgVal)));
    });
}

/// The mean of the points of each cell, in the order of the list, in which equal cells must follow each other. Cost: O(n).
inline std::vector<std::pair<RCD, Point3>> meansOfCells(const std::vector<std::pair<RCD, Point3>>& vNotes) {
    std::vector<std::pair<RCD, Point3>> vMeans;
    const auto cellOf = [](const auto& note) { return note.first; };
    forEachRun(vNotes.begin(), vNotes.end(), cellOf, [&vMeans](auto first, auto last) {
        Vector3 sum;
        const auto num = static_cast<double>(last - first);
        for (auto it = first; it != last; ++it)
            sum += it->second - Point3();
        vMeans.emplace_back(first->first, Point3() + sum / num);
    });
    return vMeans;
}

}  // namespace TARN_KEL
