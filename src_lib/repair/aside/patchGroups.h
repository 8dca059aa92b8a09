// Another solver for doubles, beside the repair: no public function of the library reaches it. It is for sheets that MEs
// have cut into several patches, so that no two patches have the same boundary. All of these print what they do.
#pragma once

#include <vector>

namespace TARN_KEL {

class CMesh;
class CPatch;

/// Looks among connected patches for two groups with the same boundary, merges each group and kills the smaller one.
/// Cost: for each patch, the size of the cluster that it is connected with, as far as that is searched, and of the patches
/// that it is joined with in the end.
void solvePatchGroups(const CMesh& mesh, const std::vector<CPatch*>& vPatches);

/// Appends the start patch and the patches that MEs connect with it, except for the largest patch at each edge. Sets their
/// boundaries. Throws (assertion) unless the start patch is alive.
void growWholeCluster(CPatch* pStartPatch, std::vector<CPatch*>& vCluster);

/// Looks among the patches for two groups whose union is closed, merges each and solves the pair. The boundaries must be
/// set. Returns true when a patch was killed; false for more than 12 patches, as the search takes 3^n steps for n patches.
bool solvePatchCluster(const std::vector<CPatch*>& vCluster, double meshArea);

}  // namespace TARN_KEL
