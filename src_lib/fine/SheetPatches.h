#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace TARN_KEL {

class REdge;
class RMesh;
class RTriangle;

/// The patches of a fine mesh as it is now: triangles that are connected through edges of two triangles.
class SheetPatches {
public:
    using Patch = std::uint32_t;

    /// Finds them; older ones have lower numbers. Cost: O(n).
    explicit SheetPatches(const RMesh& mesh);

    std::size_t size() const { return vEnd.size(); }
    /// In the order in which a flood from the oldest one meets them.
    std::span<RTriangle* const> trianglesOf(Patch patch) const {
        const std::size_t begin = patch == 0 ? 0 : vEnd[patch - 1];
        return {vT.data() + begin, vEnd[patch] - begin};
    }
    /// index: of a living triangle in the pool of the mesh.
    Patch operator[](std::size_t index) const { return vPatch[index]; }

private:
    std::vector<Patch> vPatch;  // by triangle
    std::vector<RTriangle*> vT;
    std::vector<std::size_t> vEnd;  // in vT, by patch
};

/// The edges of the triangles that aren't inner ones of a sheet, in order of creation, each as often as the triangles come
/// to it. Cost: O(n log n).
std::vector<const REdge*> boundaryOf(std::span<RTriangle* const> triangles);

}  // namespace TARN_KEL
