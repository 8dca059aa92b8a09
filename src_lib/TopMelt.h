#pragma once

#include <cstddef>
#include <set>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Top.h"

namespace TARN_KEL {

class CEdge;
class CPatch;
class CTriangle;

/// Another way to finish the mesh of a melted soup: feature lines brought into the diagonals, double sheets solved with the
/// help of a spanning tree, the sheet that faces outward grown from a triangle that surely does, spikes that fold back
/// flattened.
///
/// A set of tools beside the sequences of Top; the caller decides on their order. sBorderCCD, empty unless the caller fills
/// it, tells the walks the vertices of the surface's border. What turns round edges (all but getCC and the two that unfold)
/// needs corners one step apart at most, as extraction makes them, else it ends in an assertion; the two that unfold may
/// lead to longer edges and so come last. Triangles are killed and made, pointers stay valid.
class TopMelt : public Top {
public:
    using Top::Top;

    // ---- Doubles. The steps of finalize2() stand by themselves for a caller who goes on.

    /// takeFeatures(), solvePairs(), solveFencedPairs(); the process ends, with exit status 0. No alive triangle is an
    /// assertion.
    [[noreturn]] void finalize2(const std::vector<std::pair<VCD, VCD>>& vFeatures);
    /// Unifies the diagonals, adds the vertices of the feature edges to sFeatureCCD and flips diagonals onto the lines. Each
    /// vertex must have a bundle.
    void takeFeatures(const std::vector<std::pair<VCD, VCD>>& vFeatures);
    /// Cuts the mesh into patches and kills one of each pair on the same rim where solveOnePatchPair() does. Former patches
    /// are void.
    void solvePairs();
    /// Orients the mesh by strategyMST() and does the same with the edges that stay in disagreement as further rims. Prints
    /// the numbers of patches, and statistics before and after.
    void solveFencedPairs();

    // ---- The sheet that faces outward

    /// Keeps of the triangles in vT what the walk of findFlippedNeig() reaches from one that faces outward, kills the others
    /// and lets those kept agree with it. It starts at getFlippedMaxT_for_open_melt() when sBorderCCD has a vertex, else at
    /// getFlippedMaxT_for_closed_melt(). Sorts vT by pointer and leaves marks. No alive triangle in vT is an assertion.
    void meshGrowing(std::vector<CTriangle*>& vT);
    /// The triangle behind edge i, the first one met in a turn on the side that pCT faces, turned over to agree with pCT.
    /// Null, though turned, where both ends are in sBorderCCD; null at a border edge and where the turn has no order, after
    /// a line.
    CTriangle* findFlippedNeig(CTriangle* pCT, int i);
    /// A triangle of the outside, turned over to face outward: at the vertex of the largest code in vT, so of the highest x;
    /// of those there the one with most corners at this x, then the youngest, whose coarse normal has an x component. Left
    /// as it is when none has. No alive triangle in vT is an assertion.
    CTriangle* getFlippedMaxT_for_closed_melt(std::vector<CTriangle*>& vT);
    /// Goes on from there like findFlippedNeig(), but over all edges, to a triangle with a vertex of sBorderCCD, which must
    /// have one (assertion); back to the start when it doesn't come to one. What it passes is turned over to agree. Clears
    /// the marks in vT. O(n log n).
    CTriangle* getFlippedMaxT_for_open_melt(std::vector<CTriangle*>& vT);
    /// Appends what hangs together over edges of any degree, one vector a component, in the order of their first triangles.
    /// O(n).
    void getCC(std::vector<std::vector<CTriangle*>>& vvT);

    // ---- Spikes. Every corner must have a bundle, and neighbours should agree.

    /// flipBadAngles() from 140 degrees on.
    void flip180new();
    /// Takes the vertices out at which two or more edges are folded by more than 140 degrees, where tryRemoveCCD() can; the
    /// edges are listed once, before the first goes.
    void replaceRemaining180();
    /// Hangs the triangles at a vertex on that one of its neighbours that leaves the smallest angles to the triangles around
    /// them. vE: the suspicious edges there; two of them must be folded by more than minAngle degrees. True when it did: the
    /// largest angle is below 140 degrees then, or falls by more than 15. False, and nothing changes, otherwise, and where
    /// an edge of vE hasn't just two triangles, a triangle hasn't just one behind its side opposite the vertex, or one of
    /// these has no normal. O(d^2) for d triangles there, at worst.
    bool tryRemoveCCD(CCD killCCD, std::vector<CEdge*>& vE, double minAngle);

private:
    struct CutMesh;
    struct Side;

    CutMesh cutAt(std::set<CEdge*>* pFences);
    bool findNextInTurn(CTriangle* pCT, CEdge* pCE, CTriangle*& pNeigT);
    bool hasBorderVertex(const CTriangle& ct) const;
    int countFolds(const std::vector<CEdge*>& vE, double minAngle, double& maxAngle) const;
    bool getSides(CCD ccd, const std::vector<CTriangle*>& vIncT, std::vector<Side>& vSide) const;
    double largestAngle(CCD killCCD, CCD fromCCD, const std::vector<Side>& vSide, double enough,
                        std::size_t& iDecisive) const;
    CCD findFlattest(CCD killCCD, const std::vector<Side>& vSide, double& bestAngle) const;
};

}  // namespace TARN_KEL
