// A user of the library: only its public header, the oldest standard that it supports.
#include <kel.h>

int main() {
    std::vector<TARN_KEL::Point3> vPoints;
    for (int x = 0; x < 40; ++x)
        for (int y = 0; y < 40; ++y)
            vPoints.emplace_back(x + 0.3 * (y % 2), y + 0.2 * (x % 3), 0.01 * x * y);
    const TARN_KEL::MeshPtr pMesh = TARN_KEL::reconstruct_auto(vPoints, false, 1.0, -1);
    return pMesh && pMesh->getAverageEdgeLength() > 0.0 ? 0 : 1;
}
