// Closes holes of the fine mesh with the chains and loops of the coarse one.
//
// Loop only needs a mesh with triangles and edges between numbered vertices at points. So the triangles at all border
// vertices are copied into a coarse mesh, in which the code of a vertex is its number in the fine mesh. There chains and
// loops may turn and kill triangles. What closes a hole is then created in the fine mesh. The copy has all triangles at each
// border vertex, so an edge at such a vertex has the same degree in both meshes.
#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "CMesh.h"
#include "ChainMgr.h"
#include "CrumpledLoop.h"
#include "HolePatch.h"
#include "Loop.h"
#include "ManifoldMaker.h"
#include "PieceAreas.h"
#include "Progress.h"
#include "REdge.h"
#include "RMesh.h"
#include "RTop.h"
#include "StepWatch.h"
#include "TriangleTree.h"
#include "distanceBound.h"
#include "fillChain.h"
#include "geometryFunctions.h"
#include "pieces.h"
#include "sortMT.h"
#include "transformed.h"

namespace TARN_KEL {

namespace {

// A flat disc has the area of its border's disc, half a sphere two of them; twice that leaves room for a short tube.
constexpr double MIN_DISC_AREAS = 4.0;
// The same of a strip, and of a trough that what closes it makes a tube of.
constexpr double MIN_STRIP_AREAS = 4.0;

/// A copy of the triangles at the border vertices of a fine mesh, as a coarse mesh.
class BorderCopy {
public:
    explicit BorderCopy(const RMesh& fineMesh);

    /// The edges of the copy that are border edges of the fine mesh.
    const EdgesByEnd& border() const { return mmVCD2CE; }
    CMesh& mesh() { return coarseMesh; }

private:
    VCD codeOf(const Point3* p) const { return fine.getVtxIndex(p); }
    void copyTriangles(const std::vector<RTriangle*>& vRT);

    const RMesh& fine;
    std::vector<Bundle> vBundle;
    CMesh coarseMesh{nullptr, nullptr, USE_LOCAL_CCD2BUNDLEMAP()};
    EdgesByEnd mmVCD2CE;
};

BorderCopy::BorderCopy(const RMesh& fineMesh) : fine(fineMesh) {
    std::vector<REdge*> vBorderRE;
    fine.getDegN(1, vBorderRE);
    std::vector<Point3*> vBorderVtx;
    for (const REdge* pRE : vBorderRE)
        vBorderVtx.insert(vBorderVtx.end(), {pRE->getVtx0(), pRE->getVtx1()});
    oneInstance(vBorderVtx);
    std::vector<RTriangle*> vRT;
    for (const Point3* p : vBorderVtx)
        fine.getIncidentT(p, vRT);
    oneInstance(vRT);  // by address, so in order of creation
    copyTriangles(vRT);

    enterBothEnds(mmVCD2CE, transformed(vBorderRE, [this](const REdge* pRE) {
                      return coarseMesh.getEdge(codeOf(pRE->getVtx0()), codeOf(pRE->getVtx1()));
                  }));
}

void BorderCopy::copyTriangles(const std::vector<RTriangle*>& vRT) {
    std::vector<VCD> vUsed;
    for (const RTriangle* pRT : vRT) {
        const VCD c0 = codeOf(pRT->getCorner(0)), c1 = codeOf(pRT->getCorner(1)), c2 = codeOf(pRT->getCorner(2));
        coarseMesh.createT(c0, c1, c2, 0, 0);
        vUsed.insert(vUsed.end(), {c0, c1, c2});
    }
    oneInstance(vUsed);
    vBundle.resize(vUsed.size());
    std::map<CCD, Bundle*>& mBundle = coarseMesh.getRefToBundleMap();
    for (std::size_t i = 0; i < vUsed.size(); ++i) {
        vBundle[i].ccd = vUsed[i];
        vBundle[i].pVtx = fine.getVtx(vUsed[i]);
        mBundle.emplace_hint(mBundle.end(), vUsed[i], &vBundle[i]);
    }
}

/// A border loop of at most that many edges that touches neither itself nor another one and has no twist.
bool isPlainRing(Chain& chain, std::size_t maxEdges, const std::vector<VCD>& vHighVCD) {
    if (chain.empty() || !chain.isClosed() || chain.getSize() > maxEdges) return false;
    const auto isHigh = [&](VCD vcd) { return std::binary_search(vHighVCD.begin(), vHighVCD.end(), vcd); };
    const bool bTouches = std::any_of(chain.lMemberCE.begin(), chain.lMemberCE.end(),
                                      [&](const CEdge* pCE) { return isHigh(pCE->v0) || isHigh(pCE->v1); });
    return !bTouches && !chain.hasMoebius();
}

/// Whether, in the fine mesh, the triangles on the border all run against the loop (true) or all along it (false); empty:
/// some of each.
std::optional<bool> runAgainst(const RMesh& fine, const Loop& loop) {
    const auto isAgainst = [&](const CEdge* pCE) {
        const Point3 *pSource = fine.getVtx(pCE->getSource()), *pTarget = fine.getVtx(pCE->getTarget());
        return fine.getEdge(pSource, pTarget)->getTriangle(true, true)->getRTriOri(pSource, pTarget) == 2;
    };
    const auto numAgainst = static_cast<std::size_t>(std::count_if(loop.vCE.begin(), loop.vCE.end(), isAgainst));
    if (numAgainst != 0 && numAgainst != loop.getSize()) return std::nullopt;
    return numAgainst != 0;
}

/// Two corners are left, and all edges of the new triangles have two triangles.
bool closesHole(const Loop& loop) {
    const auto isInside = [](const CTriangle* pCT) { return pCT->hasOnlyHalfEdges(); };
    return loop.isFilled() && std::all_of(loop.vFillT.begin(), loop.vFillT.end(), isInside);
}

/// The new triangles cross nothing, or nobody watches that.
bool isFree(const RMesh& fine, const Loop& loop) {
    if (fine.pWatch == nullptr) return true;
    Replacement step;
    for (const CTriangle* pCT : loop.vFillT)
        step.vNew.push_back({*fine.getVtx(pCT->c0), *fine.getVtx(pCT->c1), *fine.getVtx(pCT->c2)});
    return fine.pWatch->allows(step);
}

/// Closes the hole in the fine mesh and in the copy, or leaves both as they are.
bool closeHole(RMesh& fine, BorderCopy& copy, const Chain& chain) {
    std::vector<CEdge*> vCE;
    chain.getEdges(vCE);
    const std::unique_ptr<Loop> pLoop = makeLoop(&copy.mesh(), nullptr, vCE, LR_RING);
    const std::optional<bool> bAgainst = runAgainst(fine, *pLoop);
    if (!bAgainst) return false;
    if (!pLoop->fill() || !closesHole(*pLoop) || !isFree(fine, *pLoop)) {
        for (CTriangle* pCT : pLoop->vFillT)
            pCT->kill(&copy.mesh());
        return false;
    }
    for (const CTriangle* pCT : pLoop->vFillT) {
        Point3 *p0 = fine.getVtx(pCT->c0), *p1 = fine.getVtx(pCT->c1), *p2 = fine.getVtx(pCT->c2);
        *bAgainst ? fine.createT(p0, p1, p2) : fine.createT(p1, p0, p2);
    }
    return true;
}

/// Of a border loop.
double lengthOf(const Chain& chain, const RMesh& fine) {
    double length = 0.0;
    for (const CEdge* pCE : chain.lMemberCE)
        length += (*fine.getVtx(pCE->v1) - *fine.getVtx(pCE->v0)).length();
    return length;
}

/// A loop that is no outer border: its piece has a multiple of the area that such a border could have around it.
bool isSmallFor(PieceAreas& pieces, const RMesh& fine, const Chain& chain) {
    const double length = lengthOf(chain, fine);
    const double discArea = length * length / (4.0 * M_PI);
    return pieces.areaOf(pieces.pieceAt(chain.lMemberCE.front()->v0)) > MIN_DISC_AREAS * discArea;
}

/// Which border loops are holes to close.
class HoleChoice {
public:
    /// limits: referred to. The pieces are those of the mesh as it is now.
    HoleChoice(const RMesh& mesh, const HoleLimits& theLimits) : fine(mesh), limits(theLimits) {
        if (limits.maxPinholeEdges > 0 || limits.pNarrow != nullptr) pieces.emplace(mesh);
    }
    bool isHole(Chain& chain, const std::vector<VCD>& vHighVCD) const {
        return isPlainRing(chain, sizeOf(limits.maxHoleEdges), vHighVCD);
    }
    bool isPinhole(Chain& chain, const std::vector<VCD>& vHighVCD) {
        return pieces && isPlainRing(chain, sizeOf(limits.maxPinholeEdges), vHighVCD) && isSmallFor(*pieces, fine, chain);
    }
    /// False where it is plain without a look at what would close it that a border loop is no narrow hole.
    bool mayBeNarrow(Chain& chain, const std::vector<VCD>& vHighVCD) const {
        return limits.pNarrow != nullptr && isPlainRing(chain, chain.getSize(), vHighVCD) && isLongForItsArea(chain);
    }
    /// vPatch: what would close it.
    bool isNarrow(const Chain& chain, const std::vector<TriangleCorners>& vPatch) {
        const std::vector<TrianglePlaces> vPlaces = transformed(vPatch, [](const TriangleCorners& t) {
            return TrianglePlaces{t[0] - Point3(), t[1] - Point3(), t[2] - Point3()};
        });
        double area = 0.0;
        for (const TriangleCorners& t : vPatch)
            area += getArea(&t[0], &t[1], &t[2]);
        if (pieces->areaOf(pieces->pieceAt(chain.lMemberCE.front()->v0)) <= MIN_STRIP_AREAS * area) return false;
        if (!surface) surface.emplace(limits.pNarrow->makeSurface());
        return distanceBound(vPlaces, *surface, limits.pNarrow->reach).has_value();
    }

private:
    static std::size_t sizeOf(int numEdges) { return static_cast<std::size_t>(std::max(numEdges, 0)); }

    /// What closes a border has at least the area of its projection, and if it is narrow, about the reach times its length
    /// at most.
    bool isLongForItsArea(const Chain& chain) const {
        constexpr double SLACK = 2.0;
        const Point3 origin = *fine.getVtx(chain.lMemberCE.front()->v0);
        Vector3 projections;
        for (const CEdge* pCE : chain.lMemberCE)
            projections += crossProduct(*fine.getVtx(pCE->getSource()) - origin, *fine.getVtx(pCE->getTarget()) - origin);
        return projections.length() / 2.0 <= SLACK * limits.pNarrow->reach * lengthOf(chain, fine);
    }

    const RMesh& fine;
    const HoleLimits& limits;
    std::optional<PieceAreas> pieces;
    std::optional<TriangleTree> surface;  // what holes are narrow for
};

/// Closes a hole if it is narrow, whatever is folded around it.
bool closeNarrow(RMesh& fine, BorderCopy& copy, const Chain& chain, HoleChoice& choice) {
    std::vector<CEdge*> vCE;
    chain.getEdges(vCE);
    const std::unique_ptr<Loop> pLoop = makeLoop(&copy.mesh(), nullptr, vCE, LR_RING);
    const std::optional<bool> bAgainst = runAgainst(fine, *pLoop);
    if (!bAgainst) return false;
    pLoop->fill();
    const HolePatch patch(fine, *pLoop, *bAgainst);
    for (CTriangle* pCT : pLoop->vFillT)
        pCT->kill(&copy.mesh());
    const std::vector<TriangleCorners> vPatch = patch.triangles();
    if (!choice.isNarrow(chain, vPatch)) return false;
    if (fine.pWatch != nullptr && !fine.pWatch->allows({.vOld = {}, .vNew = vPatch})) return false;
    patch.create(fine);
    return true;
}

/// The vertices of a border loop, sorted by address.
std::vector<Point3*> verticesOf(const Chain& chain, const RMesh& fine) {
    std::vector<Point3*> vVtx;
    for (const CEdge* pCE : chain.lMemberCE)
        vVtx.insert(vVtx.end(), {fine.getVtx(pCE->v0), fine.getVtx(pCE->v1)});
    oneInstance(vVtx);
    return vVtx;
}

/// Closes the holes of the choice. Returns their number, and appends the vertices of each pinhole that stayed open.
int closeChosen(RMesh& mesh, const HoleLimits& limits, std::vector<std::vector<Point3*>>& vStubborn) {
    BorderCopy copy(mesh);
    const ChainMgr chains(&copy.mesh(), copy.border(), false);
    const ProgressStep step("RT_fill", chains.getSize());
    int numClosed = 0;
    if (chains.getSize() > 0) {
        HoleChoice choice(mesh, limits);
        for (std::size_t i = 0; i < chains.getSize(); ++i) {
            Chain& chain = *chains.getChain(i);
            const bool bPinhole = choice.isPinhole(chain, chains.vHighVCD);
            const bool bWanted = bPinhole || choice.isHole(chain, chains.vHighVCD);
            const bool bNarrow = !bPinhole && choice.mayBeNarrow(chain, chains.vHighVCD);
            if ((bWanted && closeHole(mesh, copy, chain)) || (bNarrow && closeNarrow(mesh, copy, chain, choice)))
                ++numClosed;
            else if (bPinhole)
                vStubborn.push_back(verticesOf(chain, mesh));
            step.advance();
        }
    }
    step.finish();
    return numClosed;
}

/// Closes the wider loops of crumpled loops where that is possible.
void closeOpened(RMesh& mesh, const std::vector<CrumpledLoop>& vOpened) {
    std::map<Point3*, const CrumpledLoop*> mOpened;  // by the first vertex; no two share one
    for (const CrumpledLoop& opened : vOpened)
        mOpened.emplace(opened.wideLoop().front(), &opened);
    BorderCopy copy(mesh);
    const ChainMgr chains(&copy.mesh(), copy.border(), false);
    for (std::size_t i = 0; i < chains.getSize(); ++i) {
        Chain& chain = *chains.getChain(i);
        const std::vector<Point3*> vVtx = verticesOf(chain, mesh);
        const auto it = vVtx.empty() ? mOpened.end() : mOpened.find(vVtx.front());
        const bool bOpened = it != mOpened.end() && it->second->wideLoop() == vVtx;
        if (bOpened && isPlainRing(chain, chain.getSize(), chains.vHighVCD)) closeHole(mesh, copy, chain);
    }
}

/// The triangles within two rings around a hole, by address.
std::vector<const RTriangle*> trianglesAround(const RMesh& fine, const std::vector<Point3*>& vLoop) {
    std::vector<RTriangle*> vAround;
    for (const Point3* p : vLoop)
        fine.getIncidentT(p, vAround);
    std::vector<Point3*> vNear;
    for (const RTriangle* pT : vAround)
        for (int k = 0; k < 3; ++k)
            vNear.push_back(pT->getCorner(k));
    oneInstance(vNear);
    for (const Point3* p : vNear)
        fine.getIncidentT(p, vAround);
    oneInstance(vAround);
    return {vAround.begin(), vAround.end()};
}

/// Closes a hole by a fan around a new vertex in its middle, or leaves it as it is. All its inner edges are new: nothing but
/// what it would pass through is in its way, and folds around the hole may be, since later steps smooth them.
bool closeByFan(RMesh& fine, const Chain& chain) {
    std::vector<std::pair<Point3*, Point3*>> vEnds;  // of the edges, as the new triangles run along them
    Vector3 sum;
    for (const CEdge* pCE : chain.lMemberCE) {
        Point3 *p0 = fine.getVtx(pCE->v0), *p1 = fine.getVtx(pCE->v1);
        if (fine.getEdge(p0, p1)->getTriangle(true, true)->getRTriOri(p0, p1) != 2) std::swap(p0, p1);
        vEnds.emplace_back(p0, p1);
        sum += *p0 - *vEnds.front().first;
    }
    const Point3 middle = *vEnds.front().first + sum / static_cast<double>(vEnds.size());
    if (fine.pWatch != nullptr) {
        Replacement step{.vOld = trianglesAround(fine, verticesOf(chain, fine)), .vNew = {}};
        for (const auto& [p0, p1] : vEnds)
            step.vNew.push_back({*p0, *p1, middle});
        if (!fine.pWatch->allows(step)) return false;
    }
    Point3* const pMiddle = fine.createVertexApart(middle);
    for (const auto& [p0, p1] : vEnds)
        fine.createT(p0, p1, pMiddle);
    return true;
}

/// Closes the pinholes that are left that way, and returns their number.
int closeByFans(RMesh& mesh, const HoleLimits& limits) {
    BorderCopy copy(mesh);
    const ChainMgr chains(&copy.mesh(), copy.border(), false);
    HoleChoice choice(mesh, limits);
    int numClosed = 0;
    for (std::size_t i = 0; i < chains.getSize(); ++i) {
        Chain& chain = *chains.getChain(i);
        if (choice.isPinhole(chain, chains.vHighVCD) && closeByFan(mesh, chain)) ++numClosed;
    }
    return numClosed;
}

/// Closes pinholes behind the folds around them, as far as that is possible, and returns their number.
int closeCrumpled(RMesh& mesh, const std::vector<std::vector<Point3*>>& vStubborn) {
    std::vector<CrumpledLoop> vOpened;
    for (const std::vector<Point3*>& vLoop : vStubborn) {
        CrumpledLoop crumpled(mesh, vLoop);
        if (crumpled.takeOut()) vOpened.push_back(std::move(crumpled));
    }
    if (vOpened.empty()) return 0;
    closeOpened(mesh, vOpened);
    int numClosed = 0;
    for (CrumpledLoop& opened : vOpened)
        if (opened.isClosed())
            ++numClosed;
        else
            opened.putBack();
    return numClosed;
}

}  // namespace

int closeHoles(RMesh& mesh, const HoleLimits& limits, bool bKeepManifold) {
    std::vector<std::vector<Point3*>> vStubborn;
    int numClosed = closeChosen(mesh, limits, vStubborn);
    if (!bKeepManifold) return numClosed;
    const int numCrumpled = closeCrumpled(mesh, vStubborn);
    const bool bSomeLeft = static_cast<std::size_t>(numCrumpled) < vStubborn.size();
    numClosed += numCrumpled + (bSomeLeft ? closeByFans(mesh, limits) : 0);
    removeFlatFromManifold(mesh);
    return numClosed;
}

int RTop::fillHoles(int maxEdges, bool bKeepManifold) {
    return closeHoles(*pRMesh, {.maxHoleEdges = maxEdges}, bKeepManifold);
}

}  // namespace TARN_KEL
