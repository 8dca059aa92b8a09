#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "BucketQueue.h"
#include "CollapseGuard.h"
#include "FlatSurface.h"
#include "Quadric.h"

namespace TARN_KEL {

class FitSamples;

/// Collapses the edges of a manifold surface, those that change its shape least first.
///
/// What a collapse costs is the sum, over the triangles that ended up at its two vertices, of area times squared distance to
/// their planes. A collapse is done only if the surface remains manifold with the same borders, no triangle turns over,
/// none becomes a sliver and no fold becomes sharper than a limit, unless what was there is worse. Equal costs are in the
/// order of corners, so the result depends on the surface alone.
class SurfaceReducer {
public:
    using Index = FlatSurface::Index;

    struct Rules {
        std::size_t numTriangles = 0;  ///< to stop at
        bool bMoveVertices = true;     ///< else a vertex collapses onto the other, which remains where it is
        bool bKeepBorders = false;     ///< no vertex on a border is moved or removed
        double featureAngle = 180.0;   ///< degrees; folds above it are collapsed along themselves only. 180: none is
    };

    /// surface: only referred to, as are the guards. Cost: O(n). Uses the pool.
    SurfaceReducer(FlatSurface& surface, const Rules& rules, const std::vector<CollapseGuard*>& vGuard);

    /// Collapses until the number of triangles is reached or no collapse is left that may be done. Counts under the step
    /// "SR_collapse". Cost: O(n log n).
    void run();
    /// To be called after run(): moves the vertices once more to where they fit best, or, when vertices don't move,
    /// exchanges them for other vertices of the original surface. Nothing moves when run() collapsed nothing. Counts under
    /// the step "SR_fit". Cost: O(n log n) for the original.
    /// original: as the surface was before run().
    void fit(const FlatSurface& original);
    std::size_t numTriangles() const { return numLeft; }
    /// For each vertex, 1 when it isn't at its old place any more.
    const std::vector<char>& moved() const { return vMoved; }

private:
    /// How a vertex may go: freely, along the line on which it is, or not at all.
    enum Kind : char { FREE, ON_LINE, FIXED };
    struct Plan {
        Index from, to;
        Vector3 place;
        double cost;
        bool bMoves;  ///< "to" goes to a new place
    };
    struct TrianglePlane {
        Vector3 normal;  ///< of length 1; zero without area
        double area;
    };
    /// A triangle around a collapse that remains: the corner that moves, and what the move makes of it.
    struct Changed {
        Index corner;
        TrianglePlane plane;
    };
    /// Of triangles: the lowest quality, and the cosine at the sharpest fold.
    struct Fitness {
        double quality, fold;
    };

    /// normal: twice the area long
    static TrianglePlane planeOf(const Vector3& normal);
    void computePlanes();
    void markLines();
    void setKinds();
    void refreshQuadric(Index vertex);
    void refreshQuadrics();
    std::optional<Plan> freshPlanFor(Index corner);
    void fillQueue();
    bool isAlive(Index corner) const { return surface.vVertex[corner - corner % 3] != FlatSurface::NONE; }
    bool isBorder(Index corner) const { return surface.vOpposite[corner] == FlatSurface::NONE; }
    std::optional<Plan> planFor(Index corner) const;
    void enter(Index corner);
    void push(double cost, Index corner);
    void enterAround(Index vertex);
    bool collapseNext();
    bool mayCollapse(Index corner, const Plan& plan);
    bool gatherFans(Index corner);
    void gather(Index start, std::vector<Index>& vFan) const;
    bool gatherFan(Index vertex);
    bool keepsTopology(Index corner);
    bool keepsShape(const Plan& plan);
    bool takeFan(const std::vector<Index>& vFan, Index otherEnd, const Vector3& place);
    Fitness worstOfChanged(const Vector3& place) const;
    bool hasWorseBefore(const std::vector<Index>& vFan, const Fitness& after) const;
    bool pleasesGuards(const std::vector<Index>& vRemoved, const Plan& plan, const Point3* pSource);
    void fitVertex(Index v, FitSamples& samples, const FlatSurface& original);
    void collapse(Index corner, const Plan& plan);
    void removeTriangle(Index corner);

    FlatSurface& surface;
    const Rules rules;
    const std::vector<CollapseGuard*> vGuard;
    std::size_t numLeft;
    std::vector<char> vMoved;
    std::vector<TrianglePlane> vPlane;  // per triangle
    std::vector<Quadric> vQuadric;      // per vertex
    std::vector<char> vChangedAround;   // per vertex: its quadric is out of date
    std::vector<char> vBlocked;         // per vertex: a collapse at it was forbidden
    std::vector<char> vKind;            // per vertex
    std::vector<char> vLine;            // per corner: its side is a line
    std::vector<char> vQueued;          // per corner: an entry of it is in the queue
    std::vector<std::uint32_t> vMark;   // per vertex: for keepsTopology()
    std::uint32_t mark = 0;
    BucketQueue queue;  // of corners, for the edges that are their sides

    // Of the collapse that is looked at: the corners at the two vertices, in the order of turn(), behind each other such
    // that they are the fan around the vertex that remains; then those of them that remain.
    std::vector<Index> vFanU, vFanV;
    std::vector<Changed> vChanged;
    Collapse collapseAsked;  // for the guards
    std::vector<Index> vRemovedAsked;

    // Of fit(): per vertex the original vertex that it is; per original vertex whether one is it.
    std::vector<Index> vOriginal;
    std::vector<char> vInUse;
};

}  // namespace TARN_KEL
