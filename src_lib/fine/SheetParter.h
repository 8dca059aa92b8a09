#pragma once

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "Facing.h"
#include "Forest.h"
#include "RMesh.h"
#include "Sheets.h"
#include "kel.h"

namespace TARN_KEL {

/// Separates the sheets of a fine mesh, so that each has vertices of its own, and orients each of them. An object serves one
/// run. ManifoldMaker.cpp tells how.
class SheetParter {
public:
    /// The mesh must outlive this object.
    SheetParter(RMesh& mesh, Facing facing);
    /// Adds to the figures of the report. Cost: O(n log n), and O(k log k) for an edge of k triangles.
    void run(ManifoldReport& report);

private:
    using Side = Sheets::Side;
    using Corner = Forest::Member;
    /// An edge by the fans at its two ends, each by its root.
    using SplitEdge = std::pair<Corner, Corner>;
    /// Triangles that continue each other (Sheets::across).
    struct Sheet {
        std::vector<RTriangle*> vT;
        bool bClosed = true;
    };
    static constexpr Corner NO_CORNER = ~Corner{0};

    std::size_t numberOf(const RTriangle* pRT) const { return mesh.poolRT.indexOf(pRT); }
    Corner cornerOf(const RTriangle* pRT, const Point3* p) const {
        return sheets.firstSideOf(pRT) + static_cast<Corner>(pRT->getICI(p));
    }
    template <typename Visit>
    void forEachAlive(Visit&& visit) const {
        for (std::size_t i = 0; i < numT; ++i)
            if (mesh.vRT[i]->isAlive()) visit(mesh.vRT[i]);
    }

    // SheetParter.cpp
    void growSheets();
    std::size_t dropSplinters();
    std::size_t dropTatters();
    std::vector<RTriangle*> stripFrom(RTriangle* pRT) const;
    bool isWrongWayRound(const Sheet& sheet) const;
    bool isCut(Side side) const;
    void drop(RTriangle* pRT);
    void turnOver(const Sheet& sheet);

    // SheetParter_fans.cpp
    void joinFans();
    bool partCrowdedEdges(ManifoldReport& report);
    Point3 placeOfMiddle(const REdge& edge, Side side) const;
    const Point3* middleOf(Side side) const;
    bool isPlain(const REdge& edge) const;
    std::vector<Side> crowdedSides(const REdge& edge);
    SplitEdge splitEdgeOf(Side side);
    void countCuts(ManifoldReport& report) const;
    void rebuild(ManifoldReport& report);
    std::vector<Point3*> verticesOfFans();

    RMesh& mesh;
    const Facing facing;
    Sheets sheets;
    const std::size_t numT;  // dead ones included, before new ones are created
    std::vector<Sheet> vSheets;
    Forest fans;                     // of corners: 3 * t + i is corner i of the t-th triangle
    std::map<Side, Point3> mMiddle;  // for one of the sides of a sheet
};

}  // namespace TARN_KEL
