#include "HolePatch.h"

#include <algorithm>
#include <map>
#include <utility>

#include "Loop.h"
#include "REdge.h"
#include "RMesh.h"
#include "transformed.h"

namespace TARN_KEL {

namespace {

/// What is left of a border loop while ears are cut off.
class OpenLoop {
public:
    explicit OpenLoop(const std::vector<CEdge*>& vCE) {
        for (const CEdge* pCE : vCE) {
            mNext[pCE->getSource()] = pCE->getTarget();
            mPrevious[pCE->getTarget()] = pCE->getSource();
        }
    }
    /// Cuts off an ear. Returns its corners in the order of the loop.
    std::vector<VCD> cut(const CTriangle& ear) {
        for (const VCD tip : {ear.c0, ear.c1, ear.c2}) {
            const VCD before = mPrevious.at(tip), behind = mNext.at(tip);
            if (!ear.has(before) || !ear.has(behind)) continue;
            mNext[before] = behind;
            mPrevious[behind] = before;
            mNext.erase(tip);
            mPrevious.erase(tip);
            return {before, tip, behind};
        }
        // An ear has three corners in a row.
        ASSEX(false);
        return {};
    }
    std::vector<VCD> corners() const {
        std::vector<VCD> vCorner;
        VCD vcd = mNext.begin()->first;
        for (std::size_t i = 0; i < mNext.size(); ++i, vcd = mNext.at(vcd))
            vCorner.push_back(vcd);
        return vCorner;
    }

private:
    std::map<VCD, VCD> mNext, mPrevious;
};

std::array<const Point3*, 2> sideOf(const Point3* p, const Point3* q) {
    return {std::min(p, q), std::max(p, q)};
}

Point3 meanOf(const std::vector<const Point3*>& vPlace) {
    Vector3 sum;
    for (const Point3* p : vPlace)
        sum += *p - *vPlace.front();
    return *vPlace.front() + sum / static_cast<double>(vPlace.size());
}

}  // namespace

HolePatch::HolePatch(const RMesh& theMesh, const Loop& loop, bool bAgainst) : mesh(theMesh) {
    for (const CEdge* pCE : loop.vCE)
        vBorder.push_back(sideOf(mesh.getVtx(pCE->getSource()), mesh.getVtx(pCE->getTarget())));
    std::sort(vBorder.begin(), vBorder.end());
    for (const Face& face : facesOf(loop)) {
        const Face whole = withMiddles(face);
        if (whole.size() == 3)
            vTriangle.push_back({whole[0], whole[1], whole[2]});
        else
            addFan(whole);
    }
    if (!bAgainst)
        for (auto& triangle : vTriangle)
            std::swap(triangle[0], triangle[1]);
}

std::vector<HolePatch::Face> HolePatch::facesOf(const Loop& loop) const {
    const auto faceOn = [this](const std::vector<VCD>& vCorner) {
        return transformed(vCorner, [this](VCD vcd) -> const Point3* { return mesh.getVtx(vcd); });
    };
    OpenLoop open(loop.vCE);
    std::vector<Face> vFace;
    for (const CTriangle* pEar : loop.vFillT)
        vFace.push_back(faceOn(open.cut(*pEar)));
    if (Face rest = faceOn(open.corners()); rest.size() > 2) vFace.push_back(std::move(rest));
    return vFace;
}

HolePatch::Face HolePatch::withMiddles(const Face& face) {
    Face whole;
    for (std::size_t i = 0; i < face.size(); ++i) {
        const Point3 *p = face[i], *q = face[(i + 1) % face.size()];
        whole.push_back(p);
        const bool bBorder = std::binary_search(vBorder.begin(), vBorder.end(), sideOf(p, q));
        if (!bBorder && mesh.hasAliveEdge(p, q)) whole.push_back(middleOf(p, q));
    }
    return whole;
}

void HolePatch::addFan(const Face& face) {
    const Point3* const pMiddle = newPlace(meanOf(face));
    for (std::size_t i = 0; i < face.size(); ++i)
        vTriangle.push_back({face[i], face[(i + 1) % face.size()], pMiddle});
}

const Point3* HolePatch::middleOf(const Point3* p, const Point3* q) {
    const Side side = sideOf(p, q);
    const Point3*& pMiddle = mMiddle[side];
    if (pMiddle == nullptr) pMiddle = newPlace(meanOf({side[0], side[1]}));
    return pMiddle;
}

const Point3* HolePatch::newPlace(const Point3& place) {
    return &vNewPlace.emplace_back(place);
}

std::vector<TriangleCorners> HolePatch::triangles() const {
    return transformed(vTriangle, [](const auto& t) { return TriangleCorners{*t[0], *t[1], *t[2]}; });
}

void HolePatch::create(RMesh& target) const {
    std::map<const Point3*, Point3*> mNew;  // looked up only
    for (const Point3& place : vNewPlace)
        mNew[&place] = target.createVertexApart(place);
    const auto vertexOf = [&](const Point3* p) {
        const auto it = mNew.find(p);
        return it != mNew.end() ? it->second : target.getVtx(mesh.getVtxIndex(p));
    };
    for (const auto& [p0, p1, p2] : vTriangle)
        target.createT(vertexOf(p0), vertexOf(p1), vertexOf(p2));
}

}  // namespace TARN_KEL
