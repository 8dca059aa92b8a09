#include "CoarseSurface.h"

#include <cstddef>
#include <map>

#include "CMesh.h"
#include "HashIndex.h"
#include "TriangleEdges.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The position of a code among the codes of the bundles.
class VertexByCode {
public:
    explicit VertexByCode(const std::map<CCD, Bundle*>& mCCDBundle) {
        vCode.reserve(mCCDBundle.size());
        index.reserve(mCCDBundle.size());
        for (const auto& entry : mCCDBundle) {
            index.insert(hash(entry.first), static_cast<std::uint32_t>(vCode.size()));
            vCode.push_back(entry.first);
        }
    }
    std::uint32_t find(VCD vcd) const {
        const std::uint32_t found = index.find(hash(vcd), [&](std::uint32_t i) { return vCode[i] == vcd; });
        ASSEX_AS("false", found != HashIndex::NONE);  // a corner without a bundle
        return found;
    }
    std::size_t size() const { return vCode.size(); }

private:
    // The corners of a triangle lie in neighbouring cells, so one cache line for a block of cells serves all of them.
    static std::uint64_t hash(VCD vcd) { return localHash(vcd >> 3, vcd & 7); }

    std::vector<VCD> vCode;
    HashIndex index;
};

}  // namespace

CoarseSurface::CoarseSurface(CMesh* pCMesh) {
    ASSEX(pCMesh!=NULL);
    sideLen = pCMesh->getSideLen();
    const auto& mCCDBundle = pCMesh->getRefToBundleMap();
    vVertex.reserve(mCCDBundle.size());
    for (const auto& entry : mCCDBundle) {
        ASSEX(entry.second!=NULL && entry.second->pVtx!=NULL);
        const Point3& source = *entry.second->pVtx;
        ASSEX_AS("false", source == source);  // not a number
        vVertex.push_back(source);
    }
    std::vector<CTriangle*> vCT;
    pCMesh->getAliveTriangles(vCT);
    const VertexByCode vCCDVertex(mCCDBundle);
    const auto& vPointVertex = vVertex;
    ASSEX(vCCDVertex.size()==vPointVertex.size());
    transform_MT(vCT, vTriangle, [&vCCDVertex](const CTriangle* pCT) {
        return NumberTriple{vCCDVertex.find(pCT->getC0()), vCCDVertex.find(pCT->getC1()), vCCDVertex.find(pCT->getC2())};
    });
}

}  // namespace TARN_KEL
