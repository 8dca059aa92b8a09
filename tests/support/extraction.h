// A mesh as the extraction makes it from a set of cells.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <vector>

#include "Bundle.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "Random.h"
#include "Voro.h"
#include "support/cellSets.h"

namespace TARN_TEST {

/// Corners, key and configuration of a triangle.
using TriangleRecord = std::tuple<TARN_KEL::VCD, TARN_KEL::VCD, TARN_KEL::VCD, TARN_KEL::VCD, int>;

/// A Voro on cells that have their points at the midpoints, and its mesh, which stays the Voro's.
class Extraction {
public:
    explicit Extraction(const TARN_KEL::VCCD& vCells, TARN_KEL::TRIMODE mode = TARN_KEL::TM_FAT) {
        for (TARN_KEL::CCD ccd : vCells) {
            dVtx.push_back(calc.getMidPoint(ccd));
            dBundle.emplace_back();
            dBundle.back().ccd = ccd;
            dBundle.back().pVtx = &dVtx.back();
            mBundle[ccd] = &dBundle.back();
        }
        pVoro = std::make_unique<TARN_KEL::Voro>(&calc, mBundle, mode);
        pVoro->fatExtractTriangles();
    }
    /// Moves each point off the midpoint, to one of numPlaces places on each axis, in its cell.
    Extraction& withScatteredPoints(unsigned seed, int numPlaces) {
        TARN_KEL::Random random(seed);
        const auto shift = [&] { return (random.next() % numPlaces + 0.5) / numPlaces - 0.5; };
        for (TARN_KEL::Point3& p : dVtx) {
            const double dx = shift(), dy = shift(), dz = shift();
            p = p + TARN_KEL::Vector3(dx, dy, dz);
        }
        return *this;
    }

    TARN_KEL::CMesh& mesh() const { return *pVoro->pCMesh; }
    std::vector<TriangleRecord> triangles() const {
        std::vector<TriangleRecord> v;
        for (const TARN_KEL::CTriangle* pCT : mesh().vAllCT)
            if (pCT->isAlive()) v.emplace_back(pCT->c0, pCT->c1, pCT->c2, pCT->vcdCube, pCT->cfg);
        return v;
    }
    TARN_KEL::VCCD allKeys() const {
        std::set<TARN_KEL::VCD> sKey;
        for (const auto& [key, ccd] : pVoro->vStaticVCD2CCD)
            sKey.insert(key);
        return {sKey.begin(), sKey.end()};
    }

    TARN_KEL::Calc calc = unitGrid();
    std::map<TARN_KEL::CCD, TARN_KEL::Bundle*> mBundle;
    std::unique_ptr<TARN_KEL::Voro> pVoro;

private:
    std::deque<TARN_KEL::Point3> dVtx;
    std::deque<TARN_KEL::Bundle> dBundle;
};

}  // namespace TARN_TEST
