#pragma once

#include <array>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class RMesh;
class RTriangle;

/// A small border loop whose triangles are folded over the hole, so that nothing can be built on it.
///
/// The triangles at the loop are taken out. What is left has a wider loop behind the folds, which may be closed instead:
///
///      ______            the sheet runs along the line; at the loop it has turned back over itself, and a triangle between
///     (___o   o___)      both o would lie upon it. Without the turned parts the ends face each other:   ___o     o___
///
/// The mesh must be manifold, and must outlive this object.
class CrumpledLoop {
public:
    /// vLoop: the vertices of the loop.
    CrumpledLoop(RMesh& theMesh, const std::vector<Point3*>& vLoop);

    /// Takes the triangles out. False, with nothing changed, where that would leave anything but one loop that touches no
    /// other border.
    bool takeOut();
    /// The vertices of the wider loop, sorted by address.
    const std::vector<Point3*>& wideLoop() const { return vWideLoop; }
    /// Whether the wider loop has been closed.
    bool isClosed() const;
    /// Creates again what was taken out. The wider loop must be open.
    void putBack();

private:
    using Side = std::array<Point3*, 2>;  // of a triangle that stays, lower address first

    void findWideLoop(const std::vector<Point3*>& vLoop);
    bool isOneLoop() const;

    RMesh& mesh;
    std::vector<RTriangle*> vRT;
    std::vector<std::array<Point3*, 3>> vTaken;
    std::vector<Side> vWideSide;
    std::vector<Point3*> vWideLoop;
};

}  // namespace TARN_KEL
