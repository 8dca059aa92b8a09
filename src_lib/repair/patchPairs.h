// Patch pairs: two patches with the same boundary, one of which isn't needed. Patches belong to the mesh.
#pragma once

#include <set>
#include <utility>
#include <vector>

namespace TARN_KEL {

class CEdge;
class CMesh;
class CPatch;

/// Cuts the mesh into patches at borders, MEs and fences (null: none). Former patches are deleted.
/// Returns the patches in the order of their first triangles. Cost: O(n log n).
std::vector<CPatch*> cutIntoPatches(CMesh& mesh, std::set<CEdge*>* pFences);

/// Patches by what their boundaries have in common. Dead ones are in no list.
struct PatchPairs {
    std::vector<std::pair<CPatch*, CPatch*>> vPairs;  ///< neighbours in the sorted list with equal boundaries
    std::vector<CPatch*> vClosed;                     ///< without a boundary
    std::vector<CPatch*> vOpen;                       ///< the others
};
/// Sets the boundaries, sorts vPatches by them, then by age, and pairs neighbours. Of three on one boundary the pairs (1, 2)
/// and (2, 3) are made, and 3 is open as well.
PatchPairs pairPatches(std::vector<CPatch*>& vPatches);

/// Kills the patch with fewer triangles, the second when equal, if both have at most 20 triangles or the two cover at most a
/// tenth of meshArea. A dead patch has no triangles.
/// Returns true when it killed one.
bool solvePatchPair(CPatch* pPatch0, CPatch* pPatch1, double meshArea);
/// The same for each pair in turn.
/// Returns true when one was solved.
bool solvePatchPairs(const CMesh& mesh, const std::vector<std::pair<CPatch*, CPatch*>>& vPairs);

/// Splits the closed ones among the patches (CPatch::splitClosedPatchKill), small ones first, and kills tiny ones without an
/// ME. Sorts the list.
/// bCareful: don't split a patch when both its sides are connected to other patches.
/// Returns true when one was split.
bool simplifyClosedPatches(std::vector<CPatch*>& vClosedPatches, bool bCareful);

/// One pass: cuts the mesh into patches, solves the pairs, and splits or kills closed patches. Reports under the step
/// "TP_pps".
/// Returns true when it killed one of a pair or split a patch; then another pass may find more. After a finite number of
/// passes it returns false. Cost: O(n log n).
bool solvePatchPairsOnce(CMesh& mesh, bool bCareful);

}  // namespace TARN_KEL
