// A coarse mesh whose vertices are the cells of given points.
#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "CMesh.h"
#include "support/coarse.h"
#include "support/fine.h"

namespace TARN_TEST {

/// The triangles of a soup on a grid of unit cells, one bundle a vertex. Points of the soup have whole numbers as
/// coordinates, not below 0 and below 2^numLevels; each lies a little inside its cell. All tables are open to tests that
/// spoil them.
class CoarseSoup {
public:
    CoarseSoup(const Soup& soup, int numLevels)
        : calc(0, 0, 0, 1 << numLevels, 1 << numLevels, 1 << numLevels, numLevels),
          vPoint(soup.vVtx),
          vBundle(soup.vVtx.size()),
          coarse(nullptr, &calc, mBundle) {
        for (std::size_t i = 0; i < vPoint.size(); ++i) {
            vPoint[i] = vPoint[i] + TARN_KEL::Vector3(0.3, 0.6, 0.1);
            vBundle[i].pVtx = &vPoint[i];
            vBundle[i].ccd = calc.getCCD(&vPoint[i]);
            mBundle[vBundle[i].ccd] = &vBundle[i];
        }
        for (const auto& t : soup.vT)
            createT(t[0], t[1], t[2]);
    }
    CoarseSoup(const CoarseSoup&) = delete;
    CoarseSoup& operator=(const CoarseSoup&) = delete;

    TARN_KEL::VCD code(int i) const { return vBundle[static_cast<std::size_t>(i)].ccd; }
    void createT(int i, int j, int k) { coarse.createT(code(i), code(j), code(k), 0, 0); }

    TARN_KEL::Calc calc;
    std::vector<Point3> vPoint;
    std::vector<TARN_KEL::Bundle> vBundle;
    std::map<TARN_KEL::CCD, TARN_KEL::Bundle*> mBundle;
    TARN_KEL::CMesh coarse;
};

/// The triangles of a soup, with vertices anywhere: vertex i is the cell (i % 1000, i / 1000, 1), where its point needn't
/// lie.
class CoarsePlaces : public CoarseWorld {
public:
    explicit CoarsePlaces(const Soup& soup) {
        for (std::size_t i = 0; i < soup.vVtx.size(); ++i)
            put(code(static_cast<int>(i)), soup.vVtx[i]);
        for (const auto& t : soup.vT)
            vT.push_back(triangle(code(t[0]), code(t[1]), code(t[2])));
    }
    static TARN_KEL::VCD code(int i) { return cell(static_cast<unsigned>(i % 1000), static_cast<unsigned>(i / 1000), 1); }
    Point3& vtx(int i) { return *mesh.getVtx(code(i)); }
    TARN_KEL::CEdge* edge(int i, int j) const { return mesh.getEdge(code(i), code(j)); }

    std::vector<TARN_KEL::CTriangle*> vT;
};

}  // namespace TARN_TEST
