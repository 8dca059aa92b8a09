// A mesh as the extraction makes it from a set of cells.
#pragma once

#include <deque>

#include "Bundle.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "Random.h"
#include "Voro.h"
#include "support/cellSets.h"
#include "support/names.h"

namespace TARN_TEST {

/// Corners, key and configuration of a triangle.
using TriangleRecord = std::tuple<VCD, VCD, VCD, VCD, int>;

/// A Voro on cells that have their points at the midpoints, and its mesh, which stays the Voro's.
class Extraction {
public:
    explicit Extraction(const VCCD& vCells, TRIMODE mode = TM_FAT) {
        for (CCD ccd : vCells) {
            dVtx.push_back(calc.getMidPoint(ccd));
            dBundle.emplace_back();
            dBundle.back().ccd = ccd;
            dBundle.back().pVtx = &dVtx.back();
            mBundle[ccd] = &dBundle.back();
        }
        pVoro = std::make_unique<Voro>(&calc, mBundle, mode);
        pVoro->fatExtractTriangles();
    }
    /// Moves each point off the midpoint, to one of numPlaces places on each axis, in its cell.
    Extraction& withScatteredPoints(unsigned seed, int numPlaces) {
        Random random(seed);
        const auto shift = [&] { return (random.next() % numPlaces + 0.5) / numPlaces - 0.5; };
        for (Point3& p : dVtx) {
            const double dx = shift(), dy = shift(), dz = shift();
            p = p + Vector3(dx, dy, dz);
        }
        return *this;
    }

    CMesh& mesh() const { return *pVoro->pCMesh; }
    std::vector<TriangleRecord> triangles() const {
        std::vector<TriangleRecord> v;
        for (const CTriangle* pCT : mesh().vAllCT)
            if (pCT->isAlive()) v.emplace_back(pCT->c0, pCT->c1, pCT->c2, pCT->vcdCube, pCT->cfg);
        return v;
    }
    VCCD allKeys() const {
        std::set<VCD> sKey;
        for (const auto& [key, ccd] : pVoro->vStaticVCD2CCD)
            sKey.insert(key);
        return {sKey.begin(), sKey.end()};
    }

    Calc calc = unitGrid();
    std::map<CCD, Bundle*> mBundle;
    std::unique_ptr<Voro> pVoro;

private:
    std::deque<Point3> dVtx;
    std::deque<Bundle> dBundle;
};

}  // namespace TARN_TEST
