#include "CoarseSurface.h"

#include <cstddef>

#include "CMesh.h"
#include "bulkMesh.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::uint32_t NO_POSITION = ~std::uint32_t{0};

/// By number of a vertex of the mesh: the position of its code in a sorted list. Vertices that only dead triangles have may
/// be missing there.
std::vector<std::uint32_t> positionsOfVertices(const CMesh& mesh, const std::vector<VCD>& vSorted) {
    std::vector<std::uint32_t> vPosition(mesh.getNumVertexNumbers(), NO_POSITION);
    const auto find = [&](std::size_t begin, std::size_t end) {
        auto it = vSorted.begin();  // most vertices were numbered in the order of their codes
        for (std::size_t number = begin; number < end; ++number) {
            const VCD vcd = mesh.getVertexOfNumber(static_cast<std::uint32_t>(number));
            if (it == vSorted.end() || vcd < *it) it = vSorted.begin();
            it = findFirstNear(it, vSorted.end(), vcd);
            if (it != vSorted.end() && *it == vcd) vPosition[number] = static_cast<std::uint32_t>(it - vSorted.begin());
        }
    };
    forChunks_MT(vPosition.size(), find, WORTH_A_TASK);
    return vPosition;
}

}  // namespace

CoarseSurface::CoarseSurface(CMesh* pCMesh) {
    ASSEX(pCMesh!=NULL);
    sideLen = pCMesh->getSideLen();
    const auto& mCCDBundle = pCMesh->getRefToBundleMap();
    vVertex.reserve(mCCDBundle.size());
    std::vector<VCD> vCCDVertex;
    vCCDVertex.reserve(mCCDBundle.size());
    for (const auto& [vcd, pBundle] : mCCDBundle) {
        ASSEX(pBundle!=NULL && pBundle->pVtx!=NULL);
        const Point3& source = *pBundle->pVtx;
        ASSEX_AS("false", source == source);  // not a number
        vVertex.push_back(source);
        vCCDVertex.push_back(vcd);
    }
    const auto& vPointVertex = vVertex;
    ASSEX(vCCDVertex.size()==vPointVertex.size());
    const std::vector<std::uint32_t> vPosition = positionsOfVertices(*pCMesh, vCCDVertex);
    std::vector<CTriangle*> vCT;
    pCMesh->getAliveTriangles(vCT);
    transform_MT(vCT, vTriangle, [&](const CTriangle* pCT) {
        NumberTriple corners = pCMesh->getVertexNumbers(*pCT);
        for (std::uint32_t& corner : corners) {
            corner = vPosition[corner];
            ASSEX_AS("false", corner != NO_POSITION);  // a corner without a bundle
        }
        return corners;
    });
}

}  // namespace TARN_KEL
