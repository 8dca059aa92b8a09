// An extractor together with the mesh that it fills.
#include "Voro.h"

#include <algorithm>

#include "CMesh.h"
#include "cubeTriangles.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

Voro::Voro(Calc* pCalc_, std::map<CCD, Bundle*>& mCCD2Bundle_, TRIMODE mode) : Extractor(pCalc_, mCCD2Bundle_, mode) {
    listPairs();
}

Voro::~Voro() = default;

void Voro::makeMesh() {
    vOwnedMeshes.push_back(std::make_unique<CMesh>(this, pCalc, mCCD2Bundle));
    pCMesh = vOwnedMeshes.back().get();
}

CMesh* Voro::getCMesh() const {
    if (!vOwnedMeshes.empty() && vOwnedMeshes.back().get() == pCMesh) {
        (void)vOwnedMeshes.back().release();  // the caller owns it from now on
        vOwnedMeshes.pop_back();
    }
    return pCMesh;
}

void Voro::setVCD2CCD() {
    findCubes();
    listPairs();
}

void Voro::listPairs() {
    vStaticVCD2CCD.clear();
    vStaticVCD2CCD.reserve(8 * vCCD.size());
    cubes.appendPairs(vStaticVCD2CCD);
}

void Voro::fatExtractTriangles() {
    if (pCMesh == nullptr)
        makeMesh();
    else
        pCMesh->reset();
    fill(*pCMesh);
}

int Voro::getConfig(VCD key, std::vector<CCD>& vCells) const {
    return configOfCube(key, vCells);
}

void Voro::solveAmbiguousT(std::vector<CCD>& vAmbiguousT) {
    ASSEX(pCMesh!=NULL);
    createTrianglesOfFlatCubes(pCMesh, vAmbiguousT);
}

CMesh* Voro::meshAgain(std::vector<CCD>& vKeys) {
    if (pCMesh == nullptr) makeMesh();
    extractAgain(*pCMesh, vKeys);
    listPairs();
    return pCMesh;
}

void Voro::createExtraCCDs_borderFix(std::vector<CCD>& vKeys, std::vector<CCD>& vExtra, std::vector<CCD>& vRemove) {
    const CrowdedCells crowded = findCrowded(vKeys);
    vExtra.insert(vExtra.end(), crowded.vExtra.begin(), crowded.vExtra.end());
    vRemove.insert(vRemove.end(), crowded.vRemove.begin(), crowded.vRemove.end());
    oneInstance(vExtra);
    oneInstance(vRemove);
}

void Voro::removeRemovable(std::vector<CCD>& vRemove, std::vector<CCD>& vExtra) {
    std::sort(vExtra.begin(), vExtra.end());
    removeCells({vExtra, vRemove});
}

}  // namespace TARN_KEL
