#pragma once

#include <utility>
#include <vector>

#include "Calc.h"
#include "Top.h"

namespace TARN_KEL {

class CEdge;
class CTriangle;

/// Another way to finish the mesh of a melted soup. It flips diagonals onto feature lines, removes doubled sheets with the
/// help of a spanning tree, keeps the sheet that faces outward, and flattens spikes. No public function of the library
/// reaches it.
///
/// A set of tools beside the sequences of Top; the caller decides on their order. sBorderCCD, empty unless the caller fills
/// it, holds the vertices of the surface's border, where the walks stop. Triangles are killed and created; pointers stay
/// valid.
///
/// finalize2(), solveFencedPairs(), meshGrowing(), findFlippedNeig() and getFlippedMaxT_for_open_melt() sort the triangles
/// around edges. They need corners at most one step apart, as extraction makes them (assertion). flip180new(),
/// replaceRemaining180() and tryRemoveCCD() may make longer edges and so come last.
class TopMelt : public Top {
public:
    using Top::Top;

    // ---- Doubles. A caller who doesn't want the process to end calls the three steps of finalize2().

    /// takeFeatures(), solvePairs(), solveFencedPairs(); the process ends, with exit status 0. Throws (assertion) when no
    /// triangle is alive.
    [[noreturn]] void finalize2(const std::vector<std::pair<VCD, VCD>>& vFeatures);
    /// Unifies the diagonals, adds the vertices of the feature edges to sFeatureCCD and flips diagonals onto the lines. Each
    /// vertex must have a bundle.
    void takeFeatures(const std::vector<std::pair<VCD, VCD>>& vFeatures);
    /// Cuts the mesh into patches and solves the pairs on the same boundary by solvePatchPair(). Former patches are void.
    void solvePairs();
    /// Orients the mesh by strategyMST(), then solves pairs as above, with the mesh cut also at the edges whose triangles
    /// still disagree. Prints the numbers of patches, and statistics before and after.
    void solveFencedPairs();

    // ---- The sheet that faces outward (outwardWalk.h), up to sBorderCCD

    void meshGrowing(std::vector<CTriangle*>& vT);                           ///< keepReached()
    CTriangle* findFlippedNeig(CTriangle* pCT, int i);                       ///< next()
    CTriangle* getFlippedMaxT_for_closed_melt(std::vector<CTriangle*>& vT);  ///< start()
    CTriangle* getFlippedMaxT_for_open_melt(std::vector<CTriangle*>& vT);    ///< borderStart()
    /// Appends the pieces of the mesh: alive triangles connected through edges of any degree. One vector for each piece, in
    /// the order of their first triangles. Leaves the alive triangles marked visited. Cost: O(n).
    void getCC(std::vector<std::vector<CTriangle*>>& vvT);

    // ---- Spikes (spikes.h)

    void flip180new();                                                         ///< flipBadAngles() from 140 degrees on
    void replaceRemaining180();                                                ///< removeSpikes() from 140 degrees on
    bool tryRemoveCCD(CCD killCCD, std::vector<CEdge*>& vE, double minAngle);  ///< removeVertex()
};

}  // namespace TARN_KEL
