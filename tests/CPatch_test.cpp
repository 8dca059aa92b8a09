#include "CPatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "CMesh.h"
#include "Random.h"
#include "support/capture.h"
#include "support/coarse.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

using Triangles = std::vector<CTriangle*>;
using Edges = std::vector<CEdge*>;

std::size_t pick(Random& random, std::size_t n) {
    return static_cast<std::size_t>(random.next()) % n;
}

void expectText(const std::string& part, const std::string& text) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
}

template <typename T>
std::vector<T> sorted(std::vector<T> v) {
    std::sort(v.begin(), v.end());
    return v;
}

template <typename T>
void shuffle(std::vector<T>& v, Random& random) {
    for (std::size_t i = v.size(); i > 1; --i)
        std::swap(v[i - 1], v[pick(random, i)]);
}

/// The result of a cut, with names.
struct Cut {
    std::vector<CPatch*> vPatches;
    std::map<VCD, CPatch*> mVCD2Patch;
    Edges vMECE;

    explicit Cut(CMesh& mesh, std::set<CEdge*>* pFences = nullptr) {
        mesh.createPatches(pFences, vPatches, mVCD2Patch, vMECE);
    }
    CPatch* largest() const {
        return *std::max_element(vPatches.begin(), vPatches.end(),
                                 [](const CPatch* p, const CPatch* q) { return p->getSize() < q->getSize(); });
    }
};

/// A sheet with triangles across it and holes: borders, MEs, duplicates and dead triangles, in a random order.
struct Wreck : Sheet {
    Random random;
    explicit Wreck(unsigned seed) : Sheet(6, 6), random(seed) {
        for (int i = 0; i < 12; ++i) {
            const auto corner = [this] {
                return at(static_cast<unsigned>(pick(random, 7)), static_cast<unsigned>(pick(random, 7)));
            };
            const VCD a = corner(), b = corner(), c = corner();
            if (a != b && b != c && a != c) triangle(a, b, c);
        }
        shuffle(mesh.getTriRef(), random);
        for (int i = 0; i < 10; ++i)
            if (CTriangle* pCT = mesh.vAllCT[pick(random, mesh.vAllCT.size())]; pCT->isAlive()) pCT->kill(&mesh);
    }
    Triangles alive() const {
        Triangles vCT;
        mesh.getAliveTriangles(vCT);
        return vCT;
    }
    Edges someEdges() {
        Edges vAll, vSome;
        mesh.getCEdges(vAll);
        for (CEdge* pCE : vAll)
            if (pick(random, 4) == 0) vSome.push_back(pCE);
        return vSome;
    }
};

/// The components of a list over the edges that isCrossed selects, by spreading the lowest number until nothing changes.
std::vector<Triangles> slowComponents(const Triangles& vCT, const std::function<bool(CEdge*)>& isCrossed) {
    std::vector<std::size_t> vLabel(vCT.size());
    for (std::size_t i = 0; i < vCT.size(); ++i)
        vLabel[i] = i;
    for (bool bAny = true; bAny;) {
        bAny = false;
        for (std::size_t i = 0; i < vCT.size(); ++i)
            for (std::size_t j = 0; j < vCT.size(); ++j)
                for (int k = 0; k < 3; ++k) {
                    CEdge* pCE = vCT[i]->getCE(k);
                    const bool bShared = pCE == vCT[j]->pCE01 || pCE == vCT[j]->pCE12 || pCE == vCT[j]->pCE02;
                    if (!bShared || vLabel[j] <= vLabel[i] || !isCrossed(pCE)) continue;
                    vLabel[j] = vLabel[i];
                    bAny = true;
                }
    }
    std::map<std::size_t, Triangles> mComponent;
    for (std::size_t i = 0; i < vCT.size(); ++i)
        mComponent[vLabel[i]].push_back(vCT[i]);
    std::vector<Triangles> vOut;
    for (const auto& [label, vComponent] : mComponent)
        vOut.push_back(sorted(vComponent));
    return vOut;
}

std::vector<Triangles> membersOf(const std::vector<CPatch*>& vPatches) {
    std::vector<Triangles> vOut;
    for (CPatch* pPatch : vPatches)
        vOut.push_back(sorted(pPatch->getTriangleRef()));
    return vOut;
}

/// How many triangles of the list stand on each edge.
std::map<CEdge*, int> countEdges(const Triangles& vCT) {
    std::map<CEdge*, int> mCount;
    for (CTriangle* pCT : vCT)
        for (int i = 0; pCT->isAlive() && i < 3; ++i)
            ++mCount[pCT->getCE(i)];
    return mCount;
}

Edges edgesWhere(const std::map<CEdge*, int>& mCount, const std::function<bool(CEdge*, int)>& isWanted) {
    Edges vOut;
    for (const auto& [pCE, num] : mCount)
        if (isWanted(pCE, num)) vOut.push_back(pCE);
    return vOut;
}

bool allAgree(const CMesh& mesh) {
    Edges vDeg2;
    mesh.getDegN(2, vDeg2);
    return std::none_of(vDeg2.begin(), vDeg2.end(), [](const CEdge* pCE) { return pCE->vCT[0]->needFlip(pCE->vCT[1]); });
}

bool anyVisited(const CMesh& mesh) {
    return std::any_of(mesh.vAllCT.begin(), mesh.vAllCT.end(), [](const CTriangle* pCT) { return pCT->bVisited; });
}

/// The surface of a block of cells' corners, facing outward; squares of two triangles on every side.
struct Block : CoarseWorld {
    Block(unsigned x, unsigned y, unsigned z) {
        const unsigned size[3] = {x, y, z};
        for (unsigned axis = 0; axis < 3; ++axis)
            for (unsigned i = 0; i < size[(axis + 1) % 3]; ++i)
                for (unsigned j = 0; j < size[(axis + 2) % 3]; ++j)
                    for (const bool bTop : {false, true}) {
                        const auto at = [&](unsigned di, unsigned dj) {
                            unsigned p[3];
                            p[axis] = 5 + (bTop ? size[axis] : 0);
                            p[(axis + 1) % 3] = 5 + i + (bTop ? di : dj);
                            p[(axis + 2) % 3] = 5 + j + (bTop ? dj : di);
                            return put(p[0], p[1], p[2]);
                        };
                        triangle(at(0, 0), at(1, 0), at(1, 1));
                        triangle(at(0, 0), at(1, 1), at(0, 1));
                    }
    }
};

}  // namespace

TEST(createPatches, agreesWithSlowComponentsOnWrecks) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        Wreck w(seed);
        const Edges vFence = w.someEdges();
        std::set<CEdge*> sFences(vFence.begin(), vFence.end());
        for (std::set<CEdge*>* pFences : {static_cast<std::set<CEdge*>*>(nullptr), &sFences}) {
            const Cut cut(w.mesh, pFences);
            const auto isCrossed = [&](CEdge* pCE) {
                return pCE->getDegree() == 2 && (pFences == nullptr || pFences->count(pCE) == 0);
            };
            EXPECT_EQ(membersOf(cut.vPatches), slowComponents(w.alive(), isCrossed)) << "seed " << seed;
            EXPECT_EQ(cut.vPatches, w.mesh.vPatches);
            EXPECT_EQ(cut.vMECE, edgesWhere(countEdges(w.alive()), [](CEdge*, int num) { return num > 2; }));

            std::map<VCD, CPatch*> mLast;
            for (CPatch* pPatch : cut.vPatches)
                for (CTriangle* pCT : pPatch->getTriangleRef()) {
                    EXPECT_EQ(pCT->getPatch(), pPatch);
                    for (int i = 0; i < 3; ++i)
                        if (pCT->getCE(i)->getDegree() > 2) mLast[pCT->getCorner(i)] = pPatch;
                }
            EXPECT_EQ(cut.mVCD2Patch, mLast) << "seed " << seed;
            EXPECT_TRUE(std::is_sorted(cut.vPatches.begin(), cut.vPatches.end(), CPatchOrder()));
        }
        w.mesh.createCCPatches();
        EXPECT_EQ(membersOf(w.mesh.vPatches), slowComponents(w.alive(), [](CEdge*) { return true; })) << "seed " << seed;
    }
}

TEST(createPatches, endsAllPatchesBefore) {
    Sheet sheet(3, 3);
    sheet.withFin(1, 1);
    Cut(sheet.mesh, nullptr);
    const Cut cut(sheet.mesh);
    ASSERT_EQ(cut.vPatches.size(), 2U);
    EXPECT_LT(cut.vPatches[0]->getLabel(), cut.vPatches[1]->getLabel());
    CTriangle* pFin = sheet.mesh.vAllCT.back();
    {
        CPatch own(&sheet.mesh, &sheet.calc);
        own.add(pFin);
        EXPECT_EQ(pFin->getPatch(), &own);
    }
    EXPECT_EQ(pFin->getPatch(), nullptr);
    CPatch* pLargest = cut.largest();
    pLargest->killPatchAndMembers();
    EXPECT_TRUE(!pLargest->isAlive() && pLargest->getSize() == 0);
    expectText(conditionFailed("isAlive()"), reportOf([&] { pLargest->setOuterBoundary(); }));
    EXPECT_EQ(sheet.mesh.vAllCT.front()->getPatch(), nullptr);
    sheet.mesh.createCCPatches();  // address sanitizer: what the dead point to
    EXPECT_EQ(membersOf(sheet.mesh.vPatches), std::vector<Triangles>{{pFin}});
    sheet.mesh.reset();
    EXPECT_TRUE(sheet.mesh.vPatches.empty());
}

TEST(createCCPatches, staysLinearAtAnEdgeOfManyTriangles) {
    CoarseWorld world;
    const VCD a = cell(5, 5, 5), b = cell(5, 5, 6);
    for (unsigned i = 0; i < 300000; ++i)  // each asked for all others: 9e10 looks
        world.mesh.createT(a, b, cell(10 + i % 1000, 10 + i / 1000, 7), 0, 0);
    world.mesh.createCCPatches();
    ASSERT_EQ(world.mesh.vPatches.size(), 1U);
    EXPECT_EQ(world.mesh.vPatches[0]->getSize(), 300000U);
}

TEST(CPatch, edgeListsAgreeWithCountsOnWrecks) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        Wreck w(seed);
        const Cut cut(w.mesh);
        for (CPatch* pPatch : cut.vPatches) {
            for (std::size_t i = 0; i < pPatch->getSize(); i += 9)
                pPatch->vMemberCT[i]->kill(&w.mesh);  // dead members stay in the list and don't count
            const std::map<CEdge*, int> mCount = countEdges(pPatch->vMemberCT);
            const auto where = [&](auto&& isWanted) { return edgesWhere(mCount, isWanted); };
            const auto listOf = [](auto&& fill) {
                Edges v;
                fill(v);
                return v;
            };
            pPatch->setOuterBoundary();
            pPatch->setDegNot2CE();
            EXPECT_EQ(pPatch->vPatchBoundaryCE, where([](CEdge*, int num) { return num == 1; })) << "seed " << seed;
            EXPECT_EQ(pPatch->vDegNot2CE, where([](CEdge* pCE, int) { return pCE->getDegree() != 2; }));
            EXPECT_EQ(listOf([&](Edges& v) { pPatch->getAllCE(v); }), where([](CEdge*, int) { return true; }));
            for (const int deg : {1, 2, 3, 4}) {
                const Edges vOfDeg = where([deg](CEdge* pCE, int) { return pCE->getDegree() == deg; });
                std::list<CEdge*> lCE;
                pPatch->getDegNCE(deg, lCE);
                EXPECT_EQ(Edges(lCE.begin(), lCE.end()), vOfDeg);
                EXPECT_EQ(listOf([&](Edges& v) { pPatch->getGlobalDegNEdges(deg, v); }), vOfDeg);
                EXPECT_EQ(listOf([&](Edges& v) { pPatch->getDegNWithRespectToOwn(deg, v); }),
                          where([deg](CEdge*, int num) { return num == deg; }));
            }
            EXPECT_EQ(listOf([&](Edges& v) { pPatch->getDegNWithRespectToOwn(-99, v); }),
                      where([](CEdge*, int num) { return num > 2; }));
            const bool bOpen = std::any_of(mCount.begin(), mCount.end(), [](const auto& entry) {
                return entry.second < 2 || entry.first->getDegree() == 1;
            });
            EXPECT_EQ(pPatch->isClosed(), pPatch->getSize() > 3 && !bOpen);
        }
    }
}

TEST(CPatch, freeListsAgreeWithSlowOnes) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        Wreck w(seed);
        Triangles vSome;  // dead ones and repeats too
        for (int i = 0; i < 60; ++i)
            vSome.push_back(w.mesh.vAllCT[pick(w.random, w.mesh.vAllCT.size())]);
        const std::map<CEdge*, int> mCount = countEdges(vSome);
        const std::map<int, std::string> mSelected = {{0, ""},      {1, "1"},        {3, "3"},    {-1, "13579"},
                                                      {-2, "2468"}, {-3, "3456789"}, {-4, "468"}, {-5, ""}};
        for (const auto& [deg, numbers] : mSelected) {
            const auto isSelected = [&numbers = numbers](CEdge*, int m) {
                return numbers.find(toString(m)) != std::string::npos;
            };
            Edges vOut{nullptr};
            getEdgesWithDegree(deg, vSome, vOut);
            EXPECT_EQ(vOut, edgesWhere(mCount, isSelected)) << "deg " << deg;
        }
        Triangles vSet = sorted(vSome);
        vSet.erase(std::unique(vSet.begin(), vSet.end()), vSet.end());
        vSet.erase(std::remove_if(vSet.begin(), vSet.end(), [](const CTriangle* pCT) { return !pCT->isAlive(); }),
                   vSet.end());
        std::vector<Triangles> vvOut;
        getConnectedComponents_HE(vSome, vvOut);
        for (Triangles& vComponent : vvOut)
            vComponent = sorted(vComponent);
        EXPECT_EQ(vvOut, slowComponents(vSet, [](CEdge* pCE) { return pCE->getDegree() <= 2; })) << "seed " << seed;
    }
}

TEST(CPatch, sheetsCountAsDiscsAndClosedOnesAsSpheres) {
    Sheet sheet(5, 4);
    sheet.withFin(2, 2);
    Block block(3, 2, 2);
    for (const auto& [pMesh, euler, numBoundary] : {std::tuple{&sheet.mesh, 1, 18}, std::tuple{&block.mesh, 2, 0}}) {
        CPatch* pPatch = Cut(*pMesh).largest();
        Edges vCE;
        pPatch->getAllCE(vCE);
        std::vector<VCD> vVCD;
        pPatch->getAllVCD(vVCD);
        const std::set<VCD> sVCD(vVCD.begin(), vVCD.end());
        const auto numVtx = static_cast<int>(sVCD.size());
        EXPECT_EQ(numVtx - static_cast<int>(vCE.size()) + static_cast<int>(pPatch->getSize()), euler);
        pPatch->setOuterBoundary();
        pPatch->setNumInnerVtx();
        EXPECT_EQ(static_cast<int>(pPatch->getPatchBoundarySize()), numBoundary);
        EXPECT_EQ(pPatch->getNumInnerVtx(), numVtx - numBoundary);  // a rim has as many vertices as edges
        EXPECT_EQ(pPatch->isClosed(), numBoundary == 0);
        EXPECT_EQ(pPatch->countFeatureCCD({vVCD[0], vVCD[1], cell(900, 0, 0)}), 2);
    }
    CPatch tooSmall(&block.mesh, &block.calc);
    for (int i = 0; i < 3; ++i)
        tooSmall.add(block.mesh.vAllCT.front());  // listed three times: each edge has members enough
    EXPECT_FALSE(tooSmall.isClosed());
    CPatch part(&block.mesh, &block.calc);  // no edge of it is a border edge
    for (std::size_t i = 0; i < 10; ++i)
        part.add(block.mesh.vAllCT[i]);
    EXPECT_FALSE(part.isClosed());
    block.mesh.resetVisited();
    part.intraOrientation();  // runs over the whole block
    EXPECT_FALSE(anyVisited(block.mesh));
}

TEST(CPatch, assimilatesPieceByPieceToTheRimOfTheWhole) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        Sheet sheet(8, 8);
        Random random(seed);
        Edges vAll;
        sheet.mesh.getCEdges(vAll);
        std::set<CEdge*> sFences;
        for (CEdge* pCE : vAll)
            if (pick(random, 2) == 0) sFences.insert(pCE);
        Cut cut(sheet.mesh, &sFences);
        for (CPatch* pPatch : cut.vPatches)
            pPatch->setOuterBoundary();
        shuffle(cut.vPatches, random);
        CPatch* pWhole = cut.vPatches[0];
        for (std::size_t i = 1; i < cut.vPatches.size(); ++i) {
            pWhole->assimilate(cut.vPatches[i], true);
            EXPECT_FALSE(cut.vPatches[i]->isAlive());
            const Edges vJoined = pWhole->vPatchBoundaryCE;
            pWhole->setOuterBoundary();
            ASSERT_EQ(vJoined, pWhole->vPatchBoundaryCE) << "seed " << seed << ", piece " << i;
        }
        EXPECT_EQ(pWhole->getSize(), 128U);
        EXPECT_EQ(pWhole->getPatchBoundarySize(), 32U);
        for (const CTriangle* pCT : sheet.mesh.vAllCT)
            EXPECT_TRUE(pCT->isAlive() && pCT->getPatch() == pWhole);
        CPatch other(&sheet.mesh, &sheet.calc);
        pWhole->assimilate(&other, false);
        EXPECT_EQ(pWhole->getPatchBoundarySize(), 0U);
    }
}

TEST(CPatch, orientsClosedBlocksOutward) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        Block block(4, 3, 2);
        Random random(seed);
        for (CTriangle* pCT : block.mesh.vAllCT)
            if (pick(random, 2) == 0) pCT->flipNNV();
        CPatch* pPatch = Cut(block.mesh).largest();
        pPatch->intraOrientation();
        EXPECT_TRUE(allAgree(block.mesh)) << "seed " << seed;
        EXPECT_EQ(firstFault(block.mesh), "");
        EXPECT_NEAR(pPatch->computeOrientedVolume(), 24.0, 1e-9);
        EXPECT_NEAR(pPatch->getArea(), 52.0, 1e-9);
        EXPECT_FALSE(anyVisited(block.mesh));
        pPatch->flipPatch();
        EXPECT_NEAR(pPatch->computeOrientedVolume(), -24.0, 1e-9);
        EXPECT_FALSE(pPatch->splitClosedPatchKill(false));  // no ME to start from
        EXPECT_NEAR(pPatch->computeOrientedVolume(), 24.0, 1e-9);
    }
}

TEST(CPatch, orientationLeavesUprightSheetsAndWarnsWithoutATop) {
    CoarseWorld world;
    CPatch patch(&world.mesh, &world.calc);
    patch.add(world.triangle(world.put(5, 5, 5), world.put(5, 6, 5), world.put(5, 5, 6)));
    const VCD c0 = patch.vMemberCT[0]->c0;
    EXPECT_EQ(outputOf([&] { patch.orientPatch(); }), "");
    EXPECT_EQ(patch.vMemberCT[0]->c0, c0);
    EXPECT_EQ(patch.getMaxZCCD(), cell(5, 5, 6));

    CPatch bottom(&world.mesh, &world.calc);
    bottom.add(world.triangle(world.put(1, 1, 0), world.put(1, 2, 0), world.put(2, 2, 0)));
    EXPECT_EQ(bottom.getMaxZCCD(), ~VCD{0});
    expectText("reorientation failed", outputOf([&] { bottom.orientPatch(); }));
}

// ---- Splitting

namespace {

struct PillowShape {
    unsigned numX, numY;
    unsigned splitUpper = 0, splitLower = 0;  ///< triangles cut in three: two triangles more each
    double scale = 1.0;                       ///< of the vertices, not of the cells
    bool bPinchUpper = false, bPinchLower = false;
};

/// Two sheets over the same squares that share their rim: 4 * numX * numY triangles, flat and lightly crumpled. Flanges on
/// all of the rim but one edge make MEs of it; only that edge keeps the sheets in one patch. A pinched sheet touches itself
/// in an edge, on which a fin stands.
struct Pillow : CoarseWorld {
    explicit Pillow(const PillowShape& shape_) : shape(shape_) {
        vUpper = sheet(true);
        vLower = sheet(false);
        for (unsigned x = 0; x < shape.numX; ++x)
            for (const unsigned y : {0U, shape.numY})
                if (x + y != 0) triangle(at(x, y, true), at(x + 1, y, true), put(16 + x, 16 + y, 10));
        for (unsigned y = 0; y < shape.numY; ++y)
            for (const unsigned x : {0U, shape.numX})
                triangle(at(x, y, true), at(x, y + 1, true), put(16 + x, 16 + y, 11));
        for (const bool bUpper : {false, true})
            if (isPinched(bUpper)) triangle(at(2, 1, bUpper), at(2, 2, bUpper), put(18, 17, bUpper ? 30 : 5));
    }

    bool isPinched(bool bUpper) const { return bUpper ? shape.bPinchUpper : shape.bPinchLower; }
    VCD at(unsigned x, unsigned y, bool bUpper) {
        const bool bRim = x == 0 || y == 0 || x == shape.numX || y == shape.numY;
        const bool bPinch = isPinched(bUpper) && (x == 2 || x == 5) && (y == 1 || y == 2);
        const VCD vcd = cell(16 + (bPinch ? 2 : x), 16 + y, bUpper && !bRim ? 17 : 16);
        if (mBundle.count(vcd) != 0) return vcd;
        const auto jitter = [this] { return 0.01 * static_cast<double>(random.next()) / Random::MAX; };
        const double z = bRim ? 0.0 : bUpper ? 0.15 : -0.15;
        const Point3 p(16.0 + (bPinch ? 3.5 : x) + jitter(), 16.0 + y + jitter(), 16.0 + z + jitter());
        return put(vcd, Point3(p.x() * shape.scale, p.y() * shape.scale, p.z() * shape.scale));
    }
    Triangles sheet(bool bUpper) {
        Triangles vCT;
        const auto add = [&](VCD a, VCD b, VCD c) { vCT.push_back(bUpper ? triangle(a, b, c) : triangle(b, a, c)); };
        unsigned numSplits = bUpper ? shape.splitUpper : shape.splitLower;
        for (unsigned x = 0; x < shape.numX; ++x)
            for (unsigned y = 0; y < shape.numY; ++y) {
                VCD aCorner[4] = {at(x, y, bUpper), at(x + 1, y, bUpper), at(x + 1, y + 1, bUpper), at(x, y + 1, bUpper)};
                // A diagonal from rim to rim across a corner would belong to both sheets.
                if ((2 * x < shape.numX) != (2 * y < shape.numY)) std::rotate(aCorner, aCorner + 1, aCorner + 4);
                const auto [a, b, c, d] = aCorner;
                add(a, b, c);
                if (numSplits == 0) {
                    add(a, c, d);
                    continue;
                }
                --numSplits;
                const Point3 &p = *mesh.getVtx(a), &q = *mesh.getVtx(c), &r = *mesh.getVtx(d);
                const VCD e = put(cell(16 + x, 16 + y, bUpper ? 22 : 12),
                                  Point3((p.x() + q.x() + r.x()) / 3, (p.y() + q.y() + r.y()) / 3, p.z() + 1e-3));
                for (const auto& [v, w] : {std::pair{a, c}, std::pair{c, d}, std::pair{d, a}})
                    add(v, w, e);
            }
        return vCT;
    }
    CPatch* patch() { return Cut(mesh).largest(); }

    PillowShape shape;
    Random random;
    Triangles vUpper, vLower;
};

std::size_t numAlive(const Triangles& vCT) {
    return static_cast<std::size_t>(
        std::count_if(vCT.begin(), vCT.end(), [](const CTriangle* pCT) { return pCT->isAlive(); }));
}

/// Mean thickness in cells.
double thickness(CPatch& patch) {
    patch.intraOrientation();
    return patch.computeOrientedVolume() / (patch.getArea() / 2.0);
}

}  // namespace

TEST(splitClosedPatchKill, killsTheSmallerSideOfWhatIsThinForItsSize) {
    struct Case {
        PillowShape shape;
        std::size_t size;
        double r;
        bool bSplit;
    };
    for (auto [shape, size, r, bSplit] :
         {Case{{2, 2, 0, 1}, 18, 5.0, true}, Case{{2, 2, 0, 2}, 20, 1.01, false}, Case{{2, 2, 0, 2}, 20, 0.99, true},
          Case{{2, 2, 2, 0}, 20, 0.99, true}, Case{{4, 6, 0, 1}, 98, 0.99, true}, Case{{5, 5}, 100, 0.99, false},
          Case{{5, 5}, 100, 0.41, false}, Case{{5, 5}, 100, 0.39, true}, Case{{40, 30, 1, 0}, 4802, 0.2, true}}) {
        Pillow unscaled(shape);
        shape.scale = r / thickness(*unscaled.patch());
        Pillow pillow(shape);
        CPatch* pPatch = pillow.patch();
        ASSERT_EQ(pPatch->getSize(), size);
        ASSERT_TRUE(pPatch->isClosed());
        for (std::size_t i = 0; i < size; i += 3)
            pPatch->vMemberCT[i]->flipNNV();
        EXPECT_EQ(pPatch->splitClosedPatchKill(true), bSplit) << size << " triangles, thickness " << r;
        // Of equal sides the one goes whose triangle came second on the first ME.
        const bool bKillUpper = pillow.vUpper.size() < pillow.vLower.size();
        EXPECT_EQ(numAlive(pillow.vUpper), bSplit && bKillUpper ? 0 : pillow.vUpper.size()) << size << ", " << r;
        EXPECT_EQ(numAlive(pillow.vLower), bSplit && !bKillUpper ? 0 : pillow.vLower.size()) << size << ", " << r;
        EXPECT_EQ(firstFault(pillow.mesh), "");
    }
}

TEST(splitClosedPatchKill, sparesTheSideThatOthersHangOn) {
    struct Case {
        PillowShape shape;
        bool bCareful, bUpperStays, bLowerStays;
    };
    for (const auto& [shape, bCareful, bUpperStays, bLowerStays] :
         {Case{{8, 5, 0, 1, 1.0, true, false}, true, true, false}, Case{{8, 5, 0, 1, 1.0, true, false}, false, true, false},
          Case{{8, 5, 1, 0, 1.0, false, true}, true, false, true}, Case{{8, 5, 1, 0, 1.0, false, true}, false, false, true},
          Case{{8, 5, 1, 0, 1.0, true, true}, true, true, true}, Case{{8, 5, 1, 0, 1.0, true, true}, false, true, false},
          Case{{8, 5, 0, 1, 1.0, true, true}, false, false, true}, Case{{8, 5, 0, 1}, true, false, true}}) {
        Pillow pillow(shape);
        CPatch* pPatch = pillow.patch();
        ASSERT_EQ(pPatch->getSize(), 162U);
        EXPECT_EQ(pPatch->splitClosedPatchKill(bCareful), !bUpperStays || !bLowerStays);
        EXPECT_EQ(numAlive(pillow.vUpper), bUpperStays ? pillow.vUpper.size() : 0);
        EXPECT_EQ(numAlive(pillow.vLower), bLowerStays ? pillow.vLower.size() : 0);
        if (!bUpperStays || !bLowerStays) continue;
        const auto isRimME = [](const CEdge* pCE, int num) { return num == 2 && pCE->getDegree() == 3; };
        for (const CEdge* pCE : edgesWhere(countEdges(pPatch->vMemberCT), isRimME))
            EXPECT_TRUE(pCE->vCT[0]->needFlip(pCE->vCT[1]));  // both sheets face the same way
    }
}

TEST(ConEdge, ranksByTheTurnOfTheSurface) {
    for (const double turn : {0.0, 30.0, 90.0, 170.0})
        for (const bool bFlip : {false, true}) {
            CoarseWorld world;
            const double rad = turn * std::acos(-1.0) / 180.0;
            const VCD a = world.put(5, 5, 5), b = world.put(5, 6, 5), c = world.put(cell(4, 5, 5), Point3(4.5, 5.5, 5.5)),
                      d = world.put(cell(6, 5, 5), Point3(5.5 + std::cos(rad), 5.5, 5.5 + std::sin(rad)));
            CTriangle* p0 = world.triangle(a, b, c);
            CTriangle* p1 = bFlip ? world.triangle(a, b, d) : world.triangle(b, a, d);
            FlatSet<CTriangle*> sPatchT;
            const ConEdge manifold(&world.mesh, p0->pCE01, sPatchT);
            EXPECT_TRUE(manifold.bSameSide && manifold.degree == 2 && manifold.vMemT == (Triangles{p0, p1}));
            EXPECT_NEAR(manifold.priority, turn, 1e-5);

            CTriangle* pFin = world.triangle(a, b, world.put(5, 5, 9));
            sPatchT.insert(p0);
            expectText("vMemT.size()>=2", reportOf([&] { ConEdge(&world.mesh, p0->pCE01, sPatchT); }));
            expectText("degree>=2", reportOf([&] { ConEdge(&world.mesh, p0->pCE12, sPatchT); }));
            sPatchT.insert(p1);
            const ConEdge touching(&world.mesh, p0->pCE01, sPatchT);
            EXPECT_TRUE(!touching.bSameSide && touching.degree == 3 && touching.vMemT == (Triangles{p0, p1}));
            EXPECT_NEAR(touching.priority, 180.0 - turn, 1e-5);
            sPatchT.insert(pFin);
            const ConEdge crowded(&world.mesh, p0->pCE01, sPatchT);
            EXPECT_TRUE(crowded.bSameSide && crowded.priority == 181.0 && crowded.vMemT.size() == 3);
            EXPECT_TRUE(touching < crowded && !(crowded < touching));
            *world.mesh.getVtx(d) = *world.mesh.getVtx(a);
            pFin->kill(&world.mesh);
            EXPECT_EQ(ConEdge(&world.mesh, p0->pCE01, sPatchT).priority, 90.0);
        }
}

// ---- Paths

namespace {

/// A crumpled sheet, so that edges have all three lengths, with walls on it.
struct Crumpled : Sheet {
    explicit Crumpled(unsigned seed) : Sheet(12, 9) {
        Random random(seed);
        for (const auto& [vcd, pBundle] : mBundle)
            mPoints[vcd] = Point3(pBundle->pVtx->x(), pBundle->pVtx->y(), 2.5 * random.next() / Random::MAX);
    }
    void wall(unsigned x0, unsigned x1, unsigned y) {
        for (unsigned x = x0; x < x1; ++x)
            withFin(x, y);
    }
    /// Distances by relaxing all edges until nothing changes.
    std::map<VCD, double> slowDistances(VCD start, const Edges& vInnerCE) const {
        std::map<VCD, double> mDist{{start, 0.0}};
        for (bool bAny = true; bAny;) {
            bAny = false;
            for (const CEdge* pCE : vInnerCE) {
                const double angle = pCE->getDihedralAngle(mPoints);
                const double weight = angle < 50.0 ? 0.3 : angle > 95.0 ? 1.5 : 1.0;
                for (const VCD from : {pCE->v0, pCE->v1}) {
                    if (mDist.count(from) == 0) continue;
                    const double dist = mDist[from] + weight;
                    const VCD to = pCE->getOtherVCD(from);
                    if (mDist.count(to) != 0 && mDist[to] <= dist) continue;
                    mDist[to] = dist;
                    bAny = true;
                }
            }
        }
        return mDist;
    }
    std::map<VCD, Point3> mPoints;
};

}  // namespace

TEST(Dijkstra, findsTheDistancesOfAnExhaustiveSearch) {
    for (unsigned seed = 0; seed < 10; ++seed) {
        Crumpled sheet(seed);
        CPatch* pPatch = Cut(sheet.mesh).largest();
        Edges vInnerCE;
        pPatch->getGlobalDegNEdges(2, vInnerCE);
        InnerEdgeMap mInner;
        for (CEdge* pCE : vInnerCE) {
            mInner[pCE->v0].push_back(pCE);
            mInner[pCE->v1].push_back(pCE);
        }
        const VCD start = sheet.at(3, 3);
        DijkstraMap mNodes;
        mNodes.try_emplace(start, start, &mNodes, &mInner).first->second.update(nullptr, 0.0, sheet.mPoints);
        const std::map<VCD, double> mDist = sheet.slowDistances(start, vInnerCE);
        EXPECT_EQ(mNodes.size(), mDist.size());
        for (const auto& [vcd, dist] : mDist) {
            ASSERT_EQ(mNodes.at(vcd).dist, dist) << "seed " << seed;
            Edges vPath;
            mNodes.at(vcd).getBackPath(vPath);
            VCD place = vcd;
            for (const CEdge* pCE : vPath)
                place = pCE->getOtherVCD(place);
            EXPECT_EQ(place, start);
        }
        Dijkstra& node = mNodes.at(sheet.at(6, 6));
        node.pIncomingCE = nullptr;
        Edges vPath;
        expectText(conditionFailed("pIncomingCE!=__null"), reportOf([&] { node.getBackPath(vPath); }));
        node.pIncomingCE = sheet.mesh.getEdge(sheet.at(6, 6), sheet.at(7, 6));
        mNodes.erase(sheet.at(7, 6));
        expectText(conditionFailed("q_it2!=mVCD2Dijkstra.end()"), reportOf([&] { node.getBackPath(vPath); }));
    }
}

TEST(findPartitioningPath, joinsEachOpenEndWithItsNearest) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        Crumpled sheet(seed);
        sheet.wall(2, 5, 3);
        sheet.wall(8, 11, 6);
        CPatch* pPatch = Cut(sheet.mesh).largest();
        std::vector<CEdge*> vPath;
        pPatch->findPartitioningPath(vPath, sheet.mPoints);

        Edges vInnerCE;
        pPatch->getGlobalDegNEdges(2, vInnerCE);
        std::set<VCD> sEnd{sheet.at(2, 3), sheet.at(5, 3), sheet.at(8, 6), sheet.at(11, 6)};
        std::size_t pos = 0;
        while (!sEnd.empty()) {
            const VCD start = *sEnd.begin();
            sEnd.erase(start);
            const std::map<VCD, double> mDist = sheet.slowDistances(start, vInnerCE);
            const VCD nearest =
                *std::min_element(sEnd.begin(), sEnd.end(), [&](VCD a, VCD b) { return mDist.at(a) < mDist.at(b); });
            sEnd.erase(nearest);
            for (VCD place = nearest; place != start; ++pos) {
                ASSERT_TRUE(pos < vPath.size() && vPath[pos]->has(place)) << "seed " << seed;
                const VCD next = vPath[pos]->getOtherVCD(place);
                EXPECT_LT(mDist.at(next), mDist.at(place));
                place = next;
            }
        }
        EXPECT_EQ(pos, vPath.size());
    }
    CoarseWorld world;
    const VCD a = world.put(5, 5, 5), b = world.put(5, 6, 5);
    CPatch patch(&world.mesh, &world.calc);
    patch.add(world.triangle(a, b, world.put(6, 5, 5)));
    world.triangle(a, b, world.put(5, 5, 6));
    std::vector<CEdge*> vPath;  // the two ends of the one foreign edge are ends of no inner edge but that one
    world.triangle(a, b, world.put(5, 5, 7));
    expectText("sEndVtx.empty()", outputOf([&] { patch.findPartitioningPath(vPath, {}); }));
    EXPECT_TRUE(vPath.empty());
}

TEST(setPartnerCertainty, countsPartnersOneCellAway) {
    for (const unsigned length : {100U, 501U, 600U}) {
        CoarseWorld world;
        const auto addSheet = [&](unsigned z, unsigned x) {  // from the rim at x = 16
            for (unsigned y = 0; y < length; ++y) {
                const VCD a = world.put(16, y, 16), d = world.put(16, y + 1, 16);
                const VCD b = world.put(x, y, z), c = world.put(x, y + 1, z);
                world.triangle(a, b, c);
                world.triangle(a, c, d);
            }
        };
        addSheet(17, 17);
        addSheet(16, 17);
        addSheet(19, 13);
        const Cut cut(world.mesh);
        ASSERT_EQ(cut.vPatches.size(), 3U);
        CPatch* pUpper = cut.vPatches[0];
        pUpper->setDegNot2CE();
        pUpper->setPartnerCertainty(cut.mVCD2Patch);
        EXPECT_EQ(pUpper->getPartnerCertainty(), length == 100 ? 1.0 : 500.0 / 501.0);
        EXPECT_EQ((std::vector<CPatch*>(pUpper->sPartnerPatches.begin(), pUpper->sPartnerPatches.end())),
                  (std::vector<CPatch*>{cut.vPatches[1], cut.vPatches[2]}));
        for (const double before : {0.0, 0.1, 0.2}) {  // a low result on a long list stands
            pUpper->partnerCertainty = before;
            pUpper->setPartnerCertainty(cut.mVCD2Patch);
            EXPECT_EQ(pUpper->partnerCertainty == before, length > 100 && before == 0.1);
        }
        cut.vPatches[2]->setPartnerCertainty(cut.mVCD2Patch);  // no list yet
        EXPECT_EQ(cut.vPatches[2]->getPartnerCertainty(), 0.0);
    }
}
