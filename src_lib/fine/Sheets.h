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

/// The sheets of a fine mesh that may be non-manifold: for each side of each triangle where its sheet goes on, if it does,
/// and which triangles are to be turned over so that all of a sheet agree.
///
/// Over an edge of two triangles each goes on in the other. Round an edge of more triangles neighbours in the order of
/// rotation go together, so that sheets don't pass through each other, and of an odd number one ends there. A sheet that
/// would come back to itself the wrong way round has one side only, and is cut along a short line where it is bent.
///
/// Nothing is changed in the mesh. Triangles may die meanwhile, once cutAll() has taken them off, but none may be turned
/// over. Sides are numbers: 3 * t + i is the side opposite corner i of the t-th triangle of the mesh.
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

    /// The side where the sheet goes on; NONE where it ends.
    Side across(Side side) const { return vAcross[side]; }
    /// The two corners at the ends of a side, as numbers 3 * t + i, and those that they meet in the triangle across, in the
    /// same order. The sheet must go on there.
    std::array<std::pair<Side, Side>, 2> cornersAcross(Side side) const;
    /// Ends the sheet on all three sides of the triangle.
    void cutAll(const RTriangle* pRT);

    /// The triangle is to be turned over.
    bool isTurned(const RTriangle* pRT) const;
    /// Turns it the other way.
    void turn(const RTriangle* pRT);

private:
    /// A triangle on an edge, seen along the edge.
    struct Spoke {
        double angle;  // radians
        Side side;
        bool operator<(const Spoke& other) const { return std::pair(angle, side) < std::pair(other.angle, other.side); }
    };
    /// What links cost: seams first, then how far the sheets bend, in radians.
    struct Cost {
        int numSeams;
        double bend;
        void add(const Cost& cost, int sign) {
            numSeams += sign * cost.numSeams;
            bend += sign * cost.bend;
        }
        bool isBelow(const Cost& other) const {
            constexpr double TIE = 1e-9;  // whatever the rounding
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
    std::vector<char> vAlike;  // by side that has one across: both run the same way along their edge, as the mesh has them
    ParityForest parities;     // of triangles; while the sheets are made
    std::vector<char> vTurn;   // by triangle
};

}  // namespace TARN_KEL
