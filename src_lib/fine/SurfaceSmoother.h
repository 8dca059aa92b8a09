#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "FlatSurface.h"
#include "FreePlaces.h"

namespace TARN_KEL {

/// Moves the vertices of a manifold surface so that it becomes smoother, but doesn't shrink. Its triangles remain what they
/// are.
///
/// A round computes all new places from the old ones. Then vertices wait whose move would turn a triangle by 90 degrees or
/// more, make it flat or, where asked for, make triangles cross. The result doesn't depend on the number of workers. Each
/// round counts under the step "SS_round".
class SurfaceSmoother {
public:
    /// surface: only referred to; its places are changed. Its vertices are where their sources are.
    /// bKeepBorders: border vertices don't move; otherwise by their neighbours on the border alone.
    /// bNoCrossings: no pair of triangles crosses afterwards that doesn't cross before, as the mesh will be.
    SurfaceSmoother(FlatSurface& surface, bool bKeepBorders, bool bNoCrossings);

    /// Rounds of two steps each, to the mean of the neighbours and back by a little more, so that a wave that is long
    /// compared to the edges stays as high as it was. passBand: the highest frequency that stays, above 0, at most 0.3; a
    /// wave of n edges has about (2 pi / n)^2 / 2.
    void taubin(int numRounds, double passBand);
    /// Smooths the normals of the triangles in rounds, each by those around that differ little, then moves vertices such
    /// that triangles get these normals. edgeAngle: degrees; normals that differ by this still have 0.6 of the weight of
    /// equal ones, with twice the angle 0.14.
    void bilateral(int numRounds, double edgeAngle);
    /// How often a vertex waited in a round.
    std::size_t numHeld() const { return held; }

private:
    using Index = FlatSurface::Index;

    void listNeighbours(bool bKeepBorders);
    void step(const std::vector<Vector3>& vFrom, double factor, std::vector<Vector3>& vTo) const;
    std::vector<Vector3> smoothNormals(int numRounds, double edgeAngle) const;
    Vector3 smoothNormal(Index triangle, const std::vector<Vector3>& vNormal, double sqSpread,
                         double sqDistanceSpread) const;
    double meanSqStep() const;
    void follow(const std::vector<Vector3>& vNormal, std::vector<Vector3>& vTo) const;
    void moveTo(std::vector<Vector3>& vTo);
    std::vector<Index> spoiltTriangles(const std::vector<Vector3>& vTo) const;
    void waitWhereSpoilt(std::vector<Index> vOpen, std::vector<Vector3>& vTo);
    std::vector<Index> waitWhereCrossing(std::vector<Vector3>& vTo);
    bool isMoved(Index vertex, const std::vector<Vector3>& vTo) const;
    bool spoils(Index triangle, const std::vector<Vector3>& vTo) const;

    FlatSurface& surface;
    std::vector<std::size_t> vBegin;  // of each vertex its neighbours in vNeighbour; none when it mustn't move
    std::vector<Index> vNeighbour;
    std::optional<FreePlaces> freePlaces;  // as places in the mesh; none where triangles may cross
    std::size_t held = 0;
};

}  // namespace TARN_KEL
