#pragma once

namespace TARN_KEL {

class RMesh;

/// The clean-up that every fine mesh goes through once after its construction.
class RTop {
public:
    /// pRMesh: not owned.
    explicit RTop(RMesh* pRMesh);

    /// Removes duplicates, orients the triangles by patch and collapses degenerate ones. A run must be open. About O(n).
    void finalizeBase();
    /// A place for checks while debugging; does nothing.
    void initialDebug() {}

    RMesh* pRMesh;
};

}  // namespace TARN_KEL
