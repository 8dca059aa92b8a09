#pragma once

#include <utility>
#include <vector>

#include "Calc.h"
#include "Top.h"

namespace TARN_KEL {

class CEdge;
class CTriangle;

/// Another way to finish the mesh of a melted soup: feature lines brought into the diagonals, double sheets solved with the
/// help of a spanning tree, the sheet that faces outward grown from a triangle that surely does, spikes that fold back
/// flattened. No public function of the library reaches it.
///
/// A set of tools beside the sequences of Top; the caller decides on their order. sBorderCCD, empty unless the caller fills
/// it, tells the walks the vertices of the surface's border. The passes that turn round edges (all but getCC and the two
/// that unfold) need corners one step apart at most, as extraction makes them, else they end in an assertion; the two that
/// unfold may make longer edges and so come last. Triangles are killed and made, pointers stay valid.
class TopMelt : public Top {
public:
    using Top::Top;

    // ---- Doubles. The steps of finalize2() stand by themselves for a caller who goes on.

    /// takeFeatures(), solvePairs(), solveFencedPairs(); the process ends, with exit status 0. Throws (assertion) when no
    /// triangle is alive.
    [[noreturn]] void finalize2(const std::vector<std::pair<VCD, VCD>>& vFeatures);
    /// Unifies the diagonals, adds the vertices of the feature edges to sFeatureCCD and flips diagonals onto the lines. Each
    /// vertex must have a bundle.
    void takeFeatures(const std::vector<std::pair<VCD, VCD>>& vFeatures);
    /// Cuts the mesh into patches and kills one of each pair on the same boundary where solvePatchPair() does. Former
    /// patches are void.
    void solvePairs();
    /// Orients the mesh by strategyMST() and does the same with the edges that stay in disagreement as further rims. Prints
    /// the numbers of patches, and statistics before and after.
    void solveFencedPairs();

    // ---- The sheet that faces outward (outwardWalk.h), up to sBorderCCD

    void meshGrowing(std::vector<CTriangle*>& vT);                           ///< keepReached()
    CTriangle* findFlippedNeig(CTriangle* pCT, int i);                       ///< next()
    CTriangle* getFlippedMaxT_for_closed_melt(std::vector<CTriangle*>& vT);  ///< start()
    CTriangle* getFlippedMaxT_for_open_melt(std::vector<CTriangle*>& vT);    ///< borderStart()
    /// Appends what hangs together over edges of any degree, one vector a component, in the order of their first triangles.
    /// Cost: O(n).
    void getCC(std::vector<std::vector<CTriangle*>>& vvT);

    // ---- Spikes (spikes.h)

    void flip180new();                                                         ///< flipBadAngles() from 140 degrees on
    void replaceRemaining180();                                                ///< removeSpikes() from 140 degrees on
    bool tryRemoveCCD(CCD killCCD, std::vector<CEdge*>& vE, double minAngle);  ///< removeVertex()
};

}  // namespace TARN_KEL
