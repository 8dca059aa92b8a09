#pragma once

#include "Calc.h"

namespace TARN_KEL {

class CMesh;
class Voro;

/// Repairs a coarse mesh as the extractor made it until the fine mesh can be built from it.
///
/// The passes aren't built yet: each finaliser says so and leaves the mesh as extracted.
class Top {
public:
    /// Neither is owned; both must outlive this object.
    Top(CMesh* pCMesh, Calc* pCalc);

    /// The whole repair for a point cloud.
    void finalizeReconstructedMesh(Voro* pVoro);
    /// The same for a hole mesh.
    void finalizeHoleMesh(Voro* pVoro);
    /// The repair for melted input.
    void finalizeOneMelted(Voro* pVoro);

    CMesh* pCMesh;
    Calc* pCalc;
};

}  // namespace TARN_KEL
