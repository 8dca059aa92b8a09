// Builders of small fine meshes, and the check that a mesh is in order.
#pragma once

#include "RMesh.h"
#include "TriangleTree.h"
#include "support/names.h"

namespace TARN_TEST {

/// Vertices, and triangles as their numbers.
struct Soup {
    std::vector<Point3> vVtx;
    std::vector<std::array<int, 3>> vT;
};

/// A mesh of the soup; its vertices and triangles are made in the order of the soup. sideLen is 1.
class FineMesh {
public:
    explicit FineMesh(const Soup& soup) : pMesh(std::make_unique<RMesh>(1.0)) {
        for (const Point3& p : soup.vVtx)
            vVtx.push_back(pMesh->createVertex(p, false));
        for (const auto& t : soup.vT)
            vT.push_back(createT(t[0], t[1], t[2]));
    }
    RTriangle* createT(int i, int j, int k) { return pMesh->createT(vtx(i), vtx(j), vtx(k)); }
    Point3* vtx(int i) const { return vVtx[static_cast<std::size_t>(i)]; }
    RTriangle* tri(int i) const { return vT[static_cast<std::size_t>(i)]; }
    REdge* edge(int i, int j) const { return pMesh->getEdge(vtx(i), vtx(j)); }
    void kill(int i) { tri(i)->kill(pMesh.get()); }
    RMesh* operator->() const { return pMesh.get(); }
    RMesh& operator*() const { return *pMesh; }
    /// Hands the mesh over; the pointers in here stay good while it lives.
    RMesh* release() { return pMesh.release(); }

    std::vector<Point3*> vVtx;
    std::vector<RTriangle*> vT;

private:
    std::unique_ptr<RMesh> pMesh;
};

/// Closed, of edge length sqrt(2), normals outwards.
inline Soup tetrahedron() {
    return {{{0, 0, 0}, {1, 1, 0}, {1, 0, 1}, {0, 1, 1}}, {{0, 1, 2}, {0, 3, 1}, {0, 2, 3}, {1, 3, 2}}};
}

/// numX x numY unit squares in the plane z = 0, two triangles each, normals up.
inline Soup sheet(int numX, int numY) {
    Soup soup;
    for (int y = 0; y <= numY; ++y)
        for (int x = 0; x <= numX; ++x)
            soup.vVtx.emplace_back(x, y, 0);
    for (int y = 0; y < numY; ++y)
        for (int x = 0; x < numX; ++x) {
            const int i = y * (numX + 1) + x;
            soup.vT.push_back({i, i + 1, i + numX + 1});
            soup.vT.push_back({i + 1, i + numX + 2, i + numX + 1});
        }
    return soup;
}

/// The soup with each vertex moved by up to noise along each axis.
inline Soup withNoise(Soup soup, double noise, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> step(-noise, noise);
    for (Point3& p : soup.vVtx)
        p = p + Vector3{step(random), step(random), step(random)};  // braces: in this order
    return soup;
}

/// The soup without the triangles at any of these vertices.
inline Soup without(Soup soup, const std::set<int>& sVtx) {
    std::erase_if(soup.vT, [&](const auto& t) { return sVtx.count(t[0]) + sVtx.count(t[1]) + sVtx.count(t[2]) != 0; });
    return soup;
}
inline void append(const Soup& other, Soup& soup) {
    const int first = static_cast<int>(soup.vVtx.size());
    soup.vVtx.insert(soup.vVtx.end(), other.vVtx.begin(), other.vVtx.end());
    for (const auto& t : other.vT)
        soup.vT.push_back({first + t[0], first + t[1], first + t[2]});
}
/// The soup with every vertex p at place(p).
template <typename Place>
Soup moved(Soup soup, const Place& place) {
    for (Point3& p : soup.vVtx)
        p = place(p);
    return soup;
}
/// Every n-th triangle turned over, beginning with that one.
inline Soup turned(Soup soup, std::size_t first = 0, std::size_t n = 1) {
    for (std::size_t i = first; i < soup.vT.size(); i += n)
        std::swap(soup.vT[i][0], soup.vT[i][1]);
    return soup;
}

/// Closed ring of numU x numV quads, radii 3 and 1.
inline Soup torus(int numU, int numV) {
    Soup soup;
    constexpr double TURN = 6.283185307179586;
    for (int u = 0; u < numU; ++u)
        for (int v = 0; v < numV; ++v) {
            const double a = TURN * u / numU, b = TURN * v / numV, r = 3.0 + std::cos(b);
            soup.vVtx.emplace_back(r * std::cos(a), r * std::sin(a), std::sin(b));
        }
    for (int u = 0; u < numU; ++u)
        for (int v = 0; v < numV; ++v) {
            const int u1 = (u + 1) % numU, v1 = (v + 1) % numV;
            soup.vT.push_back({u * numV + v, u1 * numV + v, u * numV + v1});
            soup.vT.push_back({u1 * numV + v, u1 * numV + v1, u * numV + v1});
        }
    return soup;
}

/// A ring of numU x numV quads around the z axis: flat; with a half turn, so that it has one side only; or a Klein bottle,
/// where the quads close across, too. Vertex v of row u is u * (numV + 1) + v, in the bottle u * numV + v. Radius 3,
/// width 1.
enum class Ring { FLAT, MOEBIUS, KLEIN };
inline Soup ring(Ring kind, int numU, int numV) {
    Soup soup;
    constexpr double TURN = 6.283185307179586;
    const bool bKlein = kind == Ring::KLEIN;
    const int numRows = bKlein ? numV : numV + 1;
    for (int u = 0; u < numU; ++u)
        for (int v = 0; v < numRows; ++v) {
            const double a = TURN * u / numU, half = kind == Ring::FLAT ? 0.0 : a / 2, w = static_cast<double>(v) / numV;
            const double x = bKlein ? std::sin(TURN * w) : w - 0.5, y = bKlein ? std::sin(2 * TURN * w) : 0.0;
            const double r = 3.0 + x * std::cos(half) - y * std::sin(half);
            soup.vVtx.emplace_back(r * std::cos(a), r * std::sin(a), x * std::sin(half) + y * std::cos(half));
        }
    const auto vertex = [&](int u, int v) {
        if (u == numU && kind != Ring::FLAT) return (numV - v) % numRows;
        return u % numU * numRows + v % numRows;
    };
    for (int u = 0; u < numU; ++u)
        for (int v = 0; v < numV; ++v) {
            soup.vT.push_back({vertex(u, v), vertex(u + 1, v), vertex(u, v + 1)});
            soup.vT.push_back({vertex(u + 1, v), vertex(u + 1, v + 1), vertex(u, v + 1)});
        }
    return soup;
}

/// numSpokes triangles around vertex hub, which is the first of all vertices or the last.
inline Soup fan(int numSpokes, bool bHubFirst) {
    Soup soup;
    for (int i = 0; i <= numSpokes + 1; ++i)
        soup.vVtx.emplace_back(i, (i % 1000) * (i % 1000), 0);
    const int hub = bHubFirst ? 0 : numSpokes + 1;
    const int rim = bHubFirst ? 1 : 0;
    for (int i = 0; i < numSpokes; ++i)
        soup.vT.push_back({hub, rim + i, rim + i + 1});
    return soup;
}

/// The mesh's list as a result.
inline std::vector<REdge*> edges(const RMesh& mesh, int degree) {
    std::vector<REdge*> v;
    mesh.getDegN(degree, v);
    return v;
}

/// The mesh for the functions that callers use.
inline MeshPtr meshOf(FineMesh&& mesh) {
    return std::make_shared<Mesh>(mesh.release());
}
inline MeshPtr meshOf(const Soup& soup) {
    return meshOf(FineMesh(soup));
}

/// The corners of all triangles, three a triangle.
inline std::vector<Point3> cornersOf(const Soup& soup) {
    std::vector<Point3> vCorners;
    for (const auto& t : soup.vT)
        for (const int i : t)
            vCorners.push_back(soup.vVtx[static_cast<std::size_t>(i)]);
    return vCorners;
}
/// The same in the mesh's order.
inline std::vector<Point3> cornersOf(const MeshPtr& pMesh) {
    std::vector<Point3> vCorners;
    if (pMesh) pMesh->getRMesh()->getTriangleCorners(vCorners);
    return vCorners;
}

/// The vertices that triangles use, in the mesh's order.
inline std::vector<Point3> verticesOf(const MeshPtr& pMesh) {
    std::vector<Point3*> vPointers;
    pMesh->getPoints(vPointers);
    std::vector<Point3> vVertices;
    for (const Point3* p : vPointers)
        vVertices.push_back(*p);
    return vVertices;
}

/// The numbers of the corners of all alive triangles.
inline std::vector<std::array<std::size_t, 3>> indicesOf(const RMesh& mesh) {
    std::vector<std::array<std::size_t, 3>> v;
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive())
            v.push_back({mesh.getVtxIndex(pRT->getCorner(0)), mesh.getVtxIndex(pRT->getCorner(1)),
                         mesh.getVtxIndex(pRT->getCorner(2))});
    return v;
}

/// The first thing that is wrong with the mesh, as text; empty when all is well. It goes from the alive triangles alone, on
/// plain containers, and asks the mesh for the rest.
inline std::string firstFault(const RMesh& mesh) {
    std::map<std::pair<Point3*, Point3*>, std::set<RTriangle*>> mEdgeT;
    std::map<Point3*, std::set<RTriangle*>> mVtxT;
    for (RTriangle* pRT : mesh.vRT) {
        if (!pRT->bAlive) continue;
        for (std::size_t i = 0; i < 3; ++i) {
            Point3* p = pRT->aCorners[i];
            Point3* q = pRT->aCorners[(i + 1) % 3];
            if (p == q) return "an alive triangle has two equal corners";
            if (pRT->getRE(static_cast<int>(i + 2) % 3) != mesh.getEdge(p, q)) return "a triangle has a wrong edge";
            mEdgeT[std::minmax(p, q)].insert(pRT);
            mVtxT[p].insert(pRT);
        }
    }
    std::vector<REdge*> vAlive;
    mesh.getDegN(-99, vAlive);
    if (vAlive.size() != mEdgeT.size()) return "the number of alive edges is wrong";
    for (const auto& [key, sT] : mEdgeT) {
        const REdge* pRE = mesh.getEdge(key.first, key.second);
        if (pRE == nullptr || std::pair(pRE->pVtx0, pRE->pVtx1) != key) return "an edge isn't found by its ends";
        const std::set<RTriangle*> sOnEdge(pRE->vRT.begin(), pRE->vRT.end());
        if (sOnEdge != sT || sT.size() != pRE->vRT.size()) return "the triangles on an edge are wrong";
    }
    for (std::size_t i = 0; i < mesh.getNumVtx_all(); ++i) {
        Point3* pVtx = mesh.poolVtx.at(i);
        std::vector<RTriangle*> vIncT;
        mesh.getIncidentT(pVtx, vIncT);
        if (std::set<RTriangle*>(vIncT.begin(), vIncT.end()) != mVtxT[pVtx] || vIncT.size() != mVtxT[pVtx].size())
            return "the triangles at a vertex are wrong";
        if (!mesh.hasVertex(*pVtx)) return "a vertex isn't found by its coordinates";
    }
    return "";
}

/// The triangles in random order, each with a random first corner and winding; the first stays as it is.
inline Soup scrambled(Soup soup, unsigned seed) {
    std::mt19937 random(seed);
    std::shuffle(soup.vT.begin() + 1, soup.vT.end(), random);
    for (auto t = soup.vT.begin() + 1; t != soup.vT.end(); ++t) {
        std::rotate(t->begin(), t->begin() + random() % 3, t->end());
        if (random() % 2 == 0) std::swap((*t)[0], (*t)[1]);
    }
    return soup;
}

/// As the library searches them.
inline std::vector<TrianglePlaces> trianglesOf(const std::vector<Point3>& vCorners) {
    std::vector<TrianglePlaces> v;
    for (std::size_t i = 0; i < vCorners.size(); i += 3)
        v.push_back({vCorners[i] - Point3(), vCorners[i + 1] - Point3(), vCorners[i + 2] - Point3()});
    return v;
}

}  // namespace TARN_TEST
