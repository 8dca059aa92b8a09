#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Forest.h"

namespace TARN_KEL {

class REdge;
class RMesh;
class RTriangle;

/// Finds the sheets of a fine mesh that may be non-manifold: for each side of each triangle, the triangle in which its sheet
/// continues, if any. Also tells which triangles must be turned over so that the triangles of a sheet agree.
///
/// At an edge of two triangles each continues in the other one. At an edge of more triangles, neighbours in the order of
/// rotation are paired, so that sheets don't pass through each other; of an odd number one stays alone, and its sheet ends
/// there. A sheet that comes back to itself the wrong way round has one side only. It is cut along a short line where it is
/// bent.
///
/// The mesh isn't changed. Meanwhile the caller may kill triangles after cutAll(), but must not turn any over. A side is a
/// number: 3 * t + i is the side opposite corner i of the t-th triangle of the mesh.
class Sheets {
public:
    using Side = std::uint32_t;
    static constexpr Side NONE = ~Side{0};

    /// The mesh must outlive this object. O(n log n), and O(k log k) for an edge of k triangles.
    explicit Sheets(const RMesh& mesh);

    RTriangle* triangleOf(Side side) const;
    const REdge* edgeOf(Side side) const;
    Side firstSideOf(const RTriangle* pRT) const;
    Side sideOf(const RTriangle* pRT, const REdge* pRE) const;
    template <typename Visit>
    void forEachSide(const RTriangle* pRT, Visit&& visit) const {
        const Side first = firstSideOf(pRT);
        for (Side side = first; side < first + 3; ++side)
            visit(side);
    }

    /// The side of the neighbour in which the sheet continues; NONE where it ends.
    Side across(Side side) const { return vAcross[side]; }
    /// For each end of a side, the corner of its triangle and the corner of the triangle across at the same vertex. Corners
    /// are numbers: 3 * t + i. The sheet must continue there.
    std::array<std::pair<Side, Side>, 2> cornersAcross(Side side) const;
    /// Ends the sheet on all three sides of the triangle.
    void cutAll(const RTriangle* pRT);

    /// Whether the triangle must be turned over.
    bool isTurned(const RTriangle* pRT) const;
    /// Reverses the answer of isTurned().
    void turn(const RTriangle* pRT);

private:
    /// A triangle on an edge, seen along the edge.
    struct Spoke {
        double angle;  // radians
        Side side;
        bool operator<(const Spoke& other) const { return std::pair(angle, side) < std::pair(other.angle, other.side); }
    };
    /// The cost of a choice of links: the number of seams counts first, then by how much the sheets bend, in radians.
    struct Cost {
        int numSeams;
        double bend;
        void add(const Cost& cost, int sign) {
            numSeams += sign * cost.numSeams;
            bend += sign * cost.bend;
        }
        bool isBelow(const Cost& other) const {
            constexpr double TIE = 1e-9;  // so that rounding doesn't decide
            return numSeams != other.numSeams ? numSeams < other.numSeams : bend < other.bend - TIE;
        }
    };

    bool orientPairs(const std::vector<Side>& vPairs);
    void sortFlattestFirst(std::vector<Side>& vPairs) const;
    void shortenSeams();
    void cutSeams();
    std::vector<Spoke> spokesOf(const REdge& edge) const;
    std::vector<Cost> costsOf(const std::vector<Spoke>& vSpoke);
    static std::size_t firstOfCheapest(const std::vector<Cost>& vCost);
    void linkStar(const REdge* pRE);

    void link(Side a, Side b);
    void cut(Side side);
    bool compareRun(Side a, Side b) const;
    bool isSeam(Side side) const;

    const RMesh& mesh;
    std::vector<Side> vAcross;
    std::vector<char> vAlike;  // by side, if it has one across: in the mesh both run the same way along their edge
    ParityForest parities;     // of triangles; only used while the sheets are found
    std::vector<char> vTurn;   // by triangle
};

}  // namespace TARN_KEL
