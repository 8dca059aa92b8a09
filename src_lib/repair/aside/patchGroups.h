// Another solver for doubles, beside the repair: no public function of the library reaches it. It is for sheets that MEs
// have cut into several patches, so that no two patches have the same boundary. All of these print what they do.
#pragma once

#include <vector>

namespace TARN_KEL {

class CMesh;
class CPatch;

/// Looks for two groups of patches with the same boundary among those that hang together, merges each and kills the smaller
/// one. Cost: each patch the size of the group it hangs together with, as far as that is searched, and of what it is joined
/// with in the end.
void solvePatchGroups(const CMesh& mesh, const std::vector<CPatch*>& vPatches);

/// Appends the start patch, which must be alive (assertion), and what is connected to it over MEs, but at each edge the
/// largest sheet. Sets their boundaries.
void growWholeCluster(CPatch* pStartPatch, std::vector<CPatch*>& vCluster);

/// Looks for two groups among the patches whose union is closed, merges each and solves the pair. The boundaries must be
/// set. Returns true when a patch was killed, false for more than 12 patches: the search takes 3^n steps for n.
bool solvePatchCluster(const std::vector<CPatch*>& vCluster, double meshArea);

}  // namespace TARN_KEL
