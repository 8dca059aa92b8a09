// Many triangles at once.
//
// createT() looks up each corner and each edge. Here the corners are places in a sorted list of cells, which become the
// numbers of the vertices, and the edges are found all at once. What remains is to write the elements down, in places that
// are known, and to link them.
#include <algorithm>
#include <array>
#include <new>
#include <utility>
#include <vector>

#include "CMesh.h"
#include "bulkMesh.h"
#include "processMemory.h"
#include "tools.h"

namespace TARN_KEL {

class CMesh::Bulk {
public:
    Bulk(CMesh& theMesh, const VCCD& theCells, NewTriangles& theTriangles)
        : mesh(theMesh),
          vCell(theCells),
          triangles(theTriangles),
          edges(VertexShares(theCells.size(), theTriangles.vCorner), theTriangles.vCorner) {}

    void run() {
        dropRepeated();
        giveMemoryBack();  // that of the sorting, before the elements take theirs
        mesh.startPools(blockFor(vCell.size()), blockFor(edges.vEdge.size()), blockFor(triangles.vCorner.size()));
        makeVertices();
        makeEdges();
        enterEdges_MT(edges, mesh.edgeIndex, [this](std::uint32_t edge) { return pairOf(edge); });
        freeMemory(edges.vEdge);  // what isn't needed any more goes at once: memory is scarce here
        freeMemory(edges.vInOrder);
        giveMemoryBack();
        makeTriangles();
        freeMemory(triangles.vKey);
        freeMemory(edges.vOfTriangle);
        giveMemoryBack();
        linkTriangles_MT(
            vCell.size(), triangles.vCorner, LinkAccess{mesh},
            [this](std::size_t t, std::size_t k) -> auto& {
                const CTriangle& ct = *mesh.vAllCT[t];
                return (k == 0 ? ct.pCE01 : k == 1 ? ct.pCE12 : ct.pCE02)->vCT;
            },
            [this](std::size_t t) { return mesh.vAllCT[t]; });
        giveMemoryBack();
    }

private:
    void giveMemoryBack() const { returnFreedMemory(vCell.size()); }

    static int blockFor(std::size_t size) { return static_cast<int>(std::max<std::size_t>(size, FIRST_BLOCK)); }

    /// Edges keep their numbers: they were named by the first triangle of those corners.
    void dropRepeated() {
        std::size_t numKept = 0;
        for (std::size_t t = 0; t < triangles.vCorner.size(); ++t) {
            if (edges.vRepeated[t] != 0) continue;
            triangles.vCorner[numKept] = triangles.vCorner[t];
            triangles.vKey[numKept] = triangles.vKey[t];
            triangles.vConfig[numKept] = triangles.vConfig[t];
            edges.vOfTriangle[numKept++] = edges.vOfTriangle[t];
        }
        triangles.vCorner.resize(numKept);
        ASSEX(numKept<MAX_TRIANGLES);
    }

    void makeVertices() {
        mesh.poolVertex->nextElements(vCell.size());
        forChunks_MT(
            vCell.size(), [this](std::size_t begin, std::size_t end) { makeVertices(begin, end); }, WORTH_A_TASK);
        mesh.vertexIndex.reserve(vCell.size());
        for (std::uint32_t number = 0; const VCD vcd : vCell)
            mesh.vertexIndex.insert(hashOfVertex(vcd), number++);
    }
    /// Both the cells and the table are ascending. A cell that is to get its bundle yet has no entry.
    void makeVertices(std::size_t begin, std::size_t end) {
        auto itEntry = mesh.mCCDBundle.lower_bound(vCell[begin]);
        const auto itEnd = mesh.mCCDBundle.end();
        for (std::size_t i = begin; i < end; ++i) {
            const VCD vcd = vCell[i];
            while (itEntry != itEnd && itEntry->first < vcd)
                ++itEntry;
            Bundle* const* const pEntry = itEntry != itEnd && itEntry->first == vcd ? &itEntry->second : nullptr;
            const IncidenceLink emptyList = Incidence::emptyList(static_cast<std::uint32_t>(i));
            new (mesh.poolVertex->at(i)) Vertex{vcd, pEntry, emptyList, EdgeStar()};
        }
    }

    void makeEdges() {
        mesh.poolCE->nextElements(edges.vEdge.size());
        forNumbers_MT(edges.vEdge.size(), [this](std::size_t i) {
            const auto [low, high] = edges.vEdge[i];
            new (mesh.poolCE->at(i)) CEdge(vCell[low], vCell[high]);
        });
        mesh.vSortedCE.resize(edges.vInOrder.size());
        forNumbers_MT(edges.vInOrder.size(),
                      [this](std::size_t i) { mesh.vSortedCE[i] = mesh.poolCE->at(edges.vInOrder[i]); });
    }

    void makeTriangles() {
        mesh.poolCT->nextElements(triangles.vCorner.size());
        mesh.vAllCT.reserve(triangles.vCorner.size() + triangles.vCorner.size() / 64);  // growth by itself would double it
        mesh.vAllCT.resize(triangles.vCorner.size());
        forNumbers_MT(triangles.vCorner.size(), [this](std::size_t t) {
            const NumberTriple& corners = triangles.vCorner[t];
            auto* pCT = new (mesh.poolCT->at(t)) CTriangle(vCell[corners[0]], vCell[corners[1]], vCell[corners[2]]);
            pCT->vcdCube = triangles.vKey[t];
            pCT->cfg = triangles.vConfig[t];
            pCT->aVertex = corners;
            pCT->pCE01 = mesh.poolCE->at(edges.vOfTriangle[t][0]);
            pCT->pCE12 = mesh.poolCE->at(edges.vOfTriangle[t][1]);
            pCT->pCE02 = mesh.poolCE->at(edges.vOfTriangle[t][2]);
            mesh.vAllCT[t] = pCT;
        });
    }

    EdgePair pairOf(std::uint32_t edge) const {
        const auto [low, high] = edges.vEdge[edge];
        return {mesh, *mesh.poolVertex->at(low), vCell[high]};
    }

    CMesh& mesh;
    const VCCD& vCell;
    NewTriangles& triangles;
    TriangleEdges edges;
};

void CMesh::fill(const VCCD& vCell, NewTriangles triangles) {
    ASSEX(vAllCT.empty() && poolVertex->size()==0);
    ASSEX(vCell.size()<=Incidence::VERTEX);  // these two before numbers of 32 bits are made
    ASSEX(triangles.vCorner.size()<=2*MAX_TRIANGLES);
    Bulk(*this, vCell, triangles).run();
}

}  // namespace TARN_KEL
