#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "FitState.h"

namespace TARN_KEL {

/// Brings edges that cut across a crease onto it: flips them where the other diagonal lies nearer to the surface of the
/// points, or splits them on the crease.
///
/// Where two edges from one vertex cut a crease, changing either alone may leave a fold over the other one. So a change
/// that makes one new fold is followed by the same change of the edge there, or taken back.
class EdgeFitter {
public:
    /// The state is referred to.
    explicit EdgeFitter(FitState& meshState) : state(meshState), fitMesh(meshState.mesh), guard(meshState.guard) {}

    /// Looks only at edges of triangles that changed since the last time. Returns the number of flips.
    std::size_t flipTowardsPoints();
    /// The edges farthest off first. Returns the number of splits.
    std::size_t splitAtCreases();
    /// How often two edges were changed since neither could be alone.
    std::size_t getNumPairs() const { return numPairs; }

private:
    /// The new triangle along each outer edge of a quad. A flip has two of them, each along two edges.
    struct Outer {
        TrianglePlaces overBC, overCA, overAD, overDB;
    };

    template <typename Change>
    std::size_t change(const std::optional<Change>& first,
                       std::optional<Change> (EdgeFitter::*findFor)(const FitSide& ends) const);
    std::optional<EdgeFlip> findFlip(const FitSide& ends) const;
    std::optional<EdgeSplit> findSplit(const FitSide& ends) const { return state.findSplit(ends); }
    double cosineAcross(const FitQuad& q) const;
    bool keepsShape(const EdgeFlip& flip, double across) const;
    bool keepsShape(const EdgeSplit& split, double across) const;
    Outer outerTriangles(const EdgeFlip& flip) const;
    Outer outerTriangles(const EdgeSplit& split) const;
    std::vector<FitSide> foldedSides(const FitQuad& q, const Outer& now) const;

    FitState& state;
    FitMesh& fitMesh;
    const FitGuard& guard;
    std::size_t numPairs = 0;
};

}  // namespace TARN_KEL
