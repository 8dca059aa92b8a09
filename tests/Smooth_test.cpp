// Every step of the smoothing against a plain form of it, on scans small enough for that form.
#include "Smooth.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <set>

#include "Progress.h"
#include "RemoveDecider.h"
#include "freeFunctions.h"
#include "gapCells.h"
#include "octree/Octree.h"
#include "support/capture.h"
#include "support/points.h"

namespace {

using namespace TARN_KEL;
using namespace TARN_TEST;

/// Points on a grid of 1024^3 cells around the origin, and the smoothing over them.
struct Stage {
    Stage(std::vector<Point3> vTheirPoints, double theSide)
        : side(theSide),
          calc(-512.0 * side, -512.0 * side, -512.0 * side, 1024.0 * side, 1024.0 * side, 1024.0 * side, 10),
          vPoints(std::move(vTheirPoints)),
          smooth(vPoints, &calc) {}

    std::vector<SNode*>& nodes() { return smooth.getNodesRef(); }

    double side;
    Calc calc;
    std::vector<Point3> vPoints;
    Smooth smooth;
};

/// Scans with their cell edges: smooth, noisy, sparse, dense (far more than 64 points a cell), without any surface, on a
/// lattice of halves, where distances equal limits exactly.
std::vector<std::pair<std::string, std::shared_ptr<Stage>>> stages() {
    std::vector<Point3> vLattice;
    for (int i = 0; i < 3000; ++i)
        vLattice.emplace_back(0.5 * (i % 50), 0.5 * (i / 50), 0.0);
    std::vector<Point3> vTwin = Scan(7).plane(60);
    vTwin.insert(vTwin.end(), vTwin.begin(), vTwin.end());
    return {{"sphere", std::make_shared<Stage>(Scan(1).sphere(4000), 0.06)},
            {"noisy torus", std::make_shared<Stage>(Scan(2, 0.05).torus(6000), 0.08)},
            {"sparse plane", std::make_shared<Stage>(Scan(3).plane(500), 0.03)},
            {"dense plane", std::make_shared<Stage>(Scan(4, 0.01).plane(5000), 0.2)},
            {"dust", std::make_shared<Stage>(Scan(5).dust(12000), 0.05)},
            {"lattice", std::make_shared<Stage>(vLattice, 0.5)},
            {"every point twice", std::make_shared<Stage>(vTwin, 0.1)},
            {"one point", std::make_shared<Stage>(Scan(6).plane(1), 0.1)},
            {"nothing", std::make_shared<Stage>(std::vector<Point3>(), 0.1)}};
}

std::vector<Point3> smoothedPoints(Stage& stage) {
    std::vector<Point3> vOut;
    for (const SNode* pSN : stage.nodes())
        vOut.push_back(pSN->smoothedPoint);
    return vOut;
}

// ---- densifyLap

/// The input points that pair up, by address.
std::vector<Point3*> pairingByMap(std::vector<Point3>& vPoints, const Calc& calc) {
    std::map<RCD, std::vector<Point3*>> mCell;
    for (Point3& p : vPoints)
        mCell[calc.getRCD(&p)].push_back(&p);
    std::set<Point3*> sPairing;
    for (const auto& [rcd, v] : mCell)
        for (std::size_t i = 0; i < 64; ++i)
            sPairing.insert(v[v.size() > 64 ? i * v.size() / 64 : i % v.size()]);
    return {sPairing.begin(), sPairing.end()};
}

std::vector<Point3> addedByAllPairs(std::vector<Point3>& vPoints, const Calc& calc) {
    const std::vector<Point3*> vPairing = pairingByMap(vPoints, calc);
    TARN_OCTREE::Octree octree;
    for (Point3* p : vPairing)
        octree.addObject(p, p->x(), p->y(), p->z());
    octree.finish();
    std::vector<std::pair<RCD, Point3>> vNoted;
    for (const Point3* p : vPairing) {
        std::set<RCD> sSeen;
        std::vector<TARN_OCTREE::OctItem*> vNear;
        octree.getSphereIntersectors(p->x(), p->y(), p->z(), 2.0 * calc.getSideLen(), vNear);
        for (const TARN_OCTREE::OctItem* pItem : vNear) {
            const auto* q = static_cast<const Point3*>(pItem->pObject);
            const double d = (*q - *p).length();
            if (q <= p || d < calc.getSideLen()) continue;
            for (int i = 1; i * calc.getSideLen() < d; ++i) {
                const Point3 point = *p + ((*q - *p) / d) * (i * calc.getSideLen());
                if (sSeen.insert(calc.getRCD(&point)).second) vNoted.emplace_back(calc.getRCD(&point), point);
            }
        }
    }
    std::sort(vNoted.begin(), vNoted.end());
    std::vector<Point3> vAdded;
    for (std::size_t i = 0; i < vNoted.size(); ++i)
        if (i == 0 || vNoted[i].first != vNoted[i - 1].first) vAdded.push_back(vNoted[i].second);
    return vAdded;
}

TEST(densifyLap, addsWhatThePlainSearchAdds) {
    for (const auto& [name, pStage] : stages()) {
        std::vector<Point3> vExpected = pStage->vPoints;
        const std::vector<Point3> vAdded = addedByAllPairs(pStage->vPoints, pStage->calc);
        vExpected.insert(vExpected.end(), vAdded.begin(), vAdded.end());
        pStage->smooth.densifyLap();
        EXPECT_EQ(pStage->vPoints, vExpected) << name;
    }
}

TEST(densifyLap, bridgesGapsOfOneToTwoCellEdgesOnly) {
    const Point3 p(0.0625, 0.0625, 0.0625);
    const struct {
        double distance;
        std::size_t numPoints;
    } table[] = {{0.5, 2}, {1.0, 2}, {1.0 + 1e-12, 3}, {1.5, 3}, {2.0, 3}, {2.0 + 1e-9, 2}};
    for (const auto& [distance, numPoints] : table) {
        Stage stage({p, Point3(p.x(), p.y() + distance, p.z())}, 1.0);
        stage.smooth.densifyLap();
        ASSERT_EQ(stage.vPoints.size(), numPoints) << distance;
        if (numPoints == 2) continue;
        EXPECT_EQ(stage.vPoints[2], Point3(p.x(), p.y() + 1.0, p.z())) << distance;
    }
}

// ---- Nodes

TEST(createNodes, putsTheMeanOfEachCell) {
    for (const auto& [name, pStage] : stages()) {
        std::map<RCD, std::vector<Point3>> mCell;
        for (const Point3& p : pStage->vPoints)
            mCell[pStage->calc.getRCD(&p)].push_back(p);
        pStage->smooth.createNodes(true);
        ASSERT_EQ(pStage->nodes().size(), mCell.size()) << name;
        auto itNode = pStage->nodes().begin();
        for (const auto& [rcd, v] : mCell) {
            const SNode& node = **itNode++;
            Vector3 sum;
            for (const Point3& p : v)
                sum += p - Point3();
            EXPECT_EQ(node.rcd, rcd);
            EXPECT_EQ(static_cast<std::size_t>(node.numPoints), v.size());
            EXPECT_LT((node.smoothedPoint - (Point3() + sum / static_cast<double>(v.size()))).length(), 1e-12);
            EXPECT_EQ(node.smoothedPoint, *node.pPoint);
            EXPECT_FALSE(node.bHasPlane || node.bFeature || !node.vLinkedNodes.empty());
            const bool bInInput =
                node.pPoint >= pStage->vPoints.data() && node.pPoint < pStage->vPoints.data() + pStage->vPoints.size();
            EXPECT_FALSE(bInInput);
        }
    }
}

TEST(createNodes, withoutAverageWantsOnePointACell) {
    Stage stage({Point3(0.5, 0.5, 0.5), Point3(3.5, 0.5, 0.5)}, 1.0);
    stage.smooth.createNodes(false);
    EXPECT_EQ(stage.nodes()[1]->pPoint, &stage.vPoints[1]);
    Stage crowded({Point3(0.5, 0.5, 0.5), Point3(0.6, 0.5, 0.5)}, 1.0);
    EXPECT_NE(reportOf([&] { crowded.smooth.createNodes(false); }).find(conditionFailed("it->second==__null")),
              std::string::npos);
}

// ---- Holes

VCCD gapsBySorting(const VCCD& vCells, const Calc& calc) {
    std::set<CCD> sCells(vCells.begin(), vCells.end()), sKeys;
    for (CCD ccd : sCells) {
        CCD keys[8] = {ccd};
        calc.completeArrayPlus(keys);
        sKeys.insert(keys, keys + 8);
    }
    std::map<CCD, int> mCount;
    for (CCD key : sKeys) {
        CCD cells[8] = {0, 0, 0, 0, 0, key};
        calc.completeArraySym(cells);
        for (CCD ccd : cells)
            ++mCount[ccd];
    }
    VCCD vGaps;
    for (const auto& [ccd, count] : mCount)
        if (count >= 6 && sCells.count(ccd) == 0) vGaps.push_back(ccd);
    return vGaps;
}

TEST(getGapCells, agreesWithCountingCorners) {
    const Calc calc(0.0, 0.0, 0.0, 64.0, 64.0, 64.0, 6);
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        Scan scan(seed);
        VCCD vCells;
        const int size = 2 + static_cast<int>(seed % 12), numCells = static_cast<int>(scan.uniform(0.0, 0.7) * size * size);
        for (int i = 0; i < numCells; ++i) {
            const auto place = [&](double thickness) { return 24.0 + std::floor(scan.uniform(0.0, thickness * size)); };
            const double x = place(1.0), y = place(1.0), z = place(seed % 3 == 0 ? 1.0 : 0.2);
            const Point3 p(x + 0.5, y + 0.5, z + 0.5);
            vCells.push_back(calc.getCCD(&p));
        }
        std::sort(vCells.begin(), vCells.end());
        VCCD vGaps;
        getGapCells(vCells, calc, vGaps);
        EXPECT_EQ(vGaps, gapsBySorting(vCells, calc)) << "seed " << seed;
    }
}

TEST(densifyNeigs, fillsWhatTheCellTestKeepsWithTheMeanAround) {
    std::size_t numFilled = 0;
    for (const auto& [name, pStage] : stages()) {
        pStage->smooth.createNodes(true);
        std::multimap<CCD, Point3> mPoints;
        VCCD vCells;
        for (const Point3& p : smoothedPoints(*pStage))
            vCells.push_back(mPoints.emplace(pStage->calc.getCCD(&p), p)->first);
        std::sort(vCells.begin(), vCells.end());
        VCCD vCandidates = gapsBySorting(vCells, pStage->calc), vKept, vDoomed, vAll = vCells;
        vAll.insert(vAll.end(), vCandidates.begin(), vCandidates.end());
        RemoveDecider(vAll, &pStage->calc).pruneStrong(vCandidates, vKept, vDoomed);

        pStage->smooth.densifyNeigs();
        ASSERT_EQ(pStage->nodes().size(), vCells.size() + vKept.size()) << name;
        for (std::size_t i = 0; i < vKept.size(); ++i) {
            const SNode& node = *pStage->nodes()[vCells.size() + i];
            EXPECT_EQ(node.rcd, pStage->calc.ccd2rcd(vKept[i]));
            EXPECT_EQ(node.numPoints, 0);
            CCD block[27];
            pStage->calc.completeArray27(vKept[i], block);
            Vector3 sum;
            double num = 0.0;
            for (CCD ccd : block)
                for (auto [it, itEnd] = mPoints.equal_range(ccd); it != itEnd; ++it, num += 1.0)
                    sum += it->second - Point3();
            EXPECT_LT((node.smoothedPoint - (Point3() + sum / num)).length(), 1e-12);
        }
        numFilled += vKept.size();
    }
    EXPECT_GT(numFilled, 50U);
}

// ---- Links

std::map<const SNode*, std::vector<SNode*>> linksBySorting(const std::vector<SNode*>& vNodes) {
    std::vector<std::pair<RCC, SNode*>> vCornerNode;
    for (SNode* pSN : vNodes) {
        VRCD vCell = {pSN->rcd};
        VRCC vCorners;
        getRCC8(vCell, false, vCorners);
        for (RCC rcc : vCorners)
            vCornerNode.emplace_back(rcc, pSN);
    }
    std::sort(vCornerNode.begin(), vCornerNode.end());
    std::map<const SNode*, std::vector<SNode*>> mLinks;
    for (std::size_t i = 0; i < vCornerNode.size(); ++i)
        for (std::size_t j = i + 1; j < vCornerNode.size() && vCornerNode[j].first == vCornerNode[i].first; ++j) {
            auto &v0 = mLinks[vCornerNode[i].second], &v1 = mLinks[vCornerNode[j].second];
            if (std::find(v0.begin(), v0.end(), vCornerNode[j].second) != v0.end()) continue;
            v0.push_back(vCornerNode[j].second);
            v1.push_back(vCornerNode[i].second);
        }
    return mLinks;
}

void expectLinksAsBySorting(Stage& stage, const std::string& name) {
    auto mLinks = linksBySorting(stage.nodes());
    std::size_t numWrong = 0;
    for (const SNode* pSN : stage.nodes())
        numWrong += std::vector<SNode*>(pSN->vLinkedNodes.begin(), pSN->vLinkedNodes.end()) != mLinks[pSN] ? 1 : 0;
    EXPECT_EQ(numWrong, 0U) << name;
}

TEST(relinkNodes, givesTheOrderOfTheSortedCorners) {
    for (const auto& [name, pStage] : stages()) {
        Smooth& smooth = pStage->smooth;
        smooth.createNodes(true);
        smooth.relinkNodes();
        expectLinksAsBySorting(*pStage, name);
        smooth.densifyNeigs();  // nodes whose addresses don't ascend with their cells
        smooth.relinkNodes();
        expectLinksAsBySorting(*pStage, name);
        smooth.lapTreatment();  // cells with several nodes
        smooth.relinkNodes();
        expectLinksAsBySorting(*pStage, name);
        smooth.setNNVs();  // sorts the nodes
        smooth.relinkNodes();
        expectLinksAsBySorting(*pStage, name);
    }
}

TEST(relinkNodes, refusesANodeThatIsThereTwice) {
    Stage stage({Point3(0.5, 0.5, 0.5)}, 1.0);
    stage.smooth.createNodes(true);
    stage.nodes().push_back(stage.nodes().front());
    EXPECT_NE(reportOf([&] { stage.smooth.relinkNodes(); }).find(conditionFailed("pSN0!=pSN1")), std::string::npos);
}

// ---- lapTreatment

TEST(lapTreatment, takesMeansAndAddsNodesWhereTheCorrectionLeadsElsewhere) {
    std::size_t numAdded = 0;
    for (const auto& [name, pStage] : stages()) {
        Smooth& smooth = pStage->smooth;
        smooth.createNodes(true);
        smooth.densifyNeigs();
        smooth.relinkNodes();
        const std::vector<SNode*> vNodes = pStage->nodes();
        std::map<const SNode*, Point3> mMean;
        std::map<const SNode*, Vector3> mShift;
        for (const SNode* pSN : vNodes) {
            Vector3 sum;
            double num = 0.0;
            for (const SNode* pLinked : pSN->vLinkedNodes)
                if (pLinked->numPoints != 0) sum += pLinked->smoothedPoint - Point3(), num += 1.0;
            const Vector3 q = pSN->smoothedPoint - Point3(), o = *pSN->pPoint - Point3();
            mMean[pSN] = num > 0.0 ? Point3() + sum / num : pSN->smoothedPoint;
            mShift[pSN] = (mMean[pSN] - Point3()) - (o * 0.3 + q * 0.7);
        }
        smooth.lapTreatment();
        std::size_t iNew = vNodes.size();
        for (const SNode* pSN : vNodes) {
            EXPECT_EQ(pSN->smoothedPoint, mMean[pSN]) << name;
            if (pSN->vLinkedNodes.size() < 8) continue;
            Vector3 sum;
            for (const SNode* pLinked : pSN->vLinkedNodes)
                sum += mShift[pLinked];
            const Vector3 d = mShift[pSN] * 0.2 + sum * (0.8 / static_cast<double>(pSN->vLinkedNodes.size()));
            const Point3 p = mMean[pSN] - d;
            if (d.getMaxAbsComponent() >= pStage->side || pStage->calc.getRCD(&p) == pSN->rcd) continue;
            ASSERT_LT(iNew, pStage->nodes().size()) << name;
            const SNode& added = *pStage->nodes()[iNew++];
            EXPECT_EQ(added.numPoints, -1);
            EXPECT_EQ(added.smoothedPoint, p);
            EXPECT_EQ(added.rcd, pStage->calc.getRCD(&p));
        }
        EXPECT_EQ(pStage->nodes().size(), iNew) << name;
        numAdded += iNew - vNodes.size();
    }
    EXPECT_GT(numAdded, 100U);
}

// ---- Planes

TEST(setNNVs, findsThePlanesOfASphere) {
    for (const double scale : {1.0, 1e-6, 1e6}) {
        Stage stage(scaled(Scan(1).sphere(20000), scale), 0.03 * scale);
        progressForReco();
        stage.smooth.run(false);
        std::size_t numGood = 0;
        for (const SNode* pSN : stage.nodes()) {
            const Vector3 radial = normalize(pSN->smoothedPoint - Point3());
            if (pSN->bHasPlane && pSN->area == SNode::RELIABLE && std::fabs(pSN->getNNV() * radial) > 0.99) ++numGood;
            EXPECT_FALSE(pSN->bFeature);
        }
        EXPECT_GT(numGood, stage.nodes().size() * 98 / 100) << scale;
        EXPECT_TRUE(std::is_sorted(stage.nodes().begin(), stage.nodes().end(),
                                   [](const SNode* a, const SNode* b) { return a->rcd < b->rcd; }));
    }
}

TEST(setNNVs, givesAFlatSheetOneNormalAndAFoldItsFeatures) {
    Stage flat(Scan(2).plane(3000), 0.03);
    Stage folded(Scan(2).fold(6000), 0.03);
    progressForReco();
    flat.smooth.run(false);
    for (const SNode* pSN : flat.nodes())
        EXPECT_TRUE(!pSN->bHasPlane || std::fabs(pSN->getNNV().z()) > 1.0 - 1e-9);

    progressForReco();
    folded.smooth.run(false);
    std::size_t numOnFold = 0;
    for (const SNode* pSN : folded.nodes()) {
        if (!pSN->bFeature) continue;
        ++numOnFold;
        EXPECT_LT(std::max(pSN->smoothedPoint.y(), pSN->smoothedPoint.z()), 4.0 * folded.side);
    }
    EXPECT_GT(numOnFold, 33U);  // a cell edge is a 33rd of the fold
}

TEST(setNNVs, leavesPointsOnALineWithoutPlanes) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < 200; ++i)
        vPoints.emplace_back(0.01 * i, 0.02 * i, 0.03 * i);
    Stage stage(vPoints, 0.1);
    progressForReco();
    stage.smooth.run(true);
    for (const SNode* pSN : stage.nodes())
        EXPECT_FALSE(pSN->bHasPlane);
}

TEST(setNNVs, mendsUnreliablePlanesFromTheLargestFanDown) {
    const auto prepared = [] {
        auto pStage = std::make_unique<Stage>(Scan(8, 0.06).torus(6000), 0.07);
        pStage->smooth.createNodes(true);
        pStage->smooth.densifyNeigs();
        pStage->smooth.relinkNodes();
        return pStage;
    };
    const auto pStage = prepared(), pByHand = prepared();
    pStage->smooth.setNNVs();

    Smooth& smooth = pByHand->smooth;
    std::vector<SNode*>& vNodes = pByHand->nodes();
    std::stable_sort(vNodes.begin(), vNodes.end(), [](const SNode* a, const SNode* b) { return a->rcd < b->rcd; });
    for (SNode* pSN : vNodes)
        smooth.estimateNNVatCentroid(pSN);
    std::set<std::pair<double, SNode*>> sUnreliable;
    for (SNode* pSN : vNodes)
        if (!smooth.isReliable(pSN, 15.0)) sUnreliable.emplace(pSN->area, pSN);
    for (SNode* pSN : vNodes)
        if (sUnreliable.count({pSN->area, pSN}) == 0) pSN->area = SNode::RELIABLE;
    std::size_t numMeans = 0, numSearched = 0;
    for (auto it = sUnreliable.rbegin(); it != sUnreliable.rend(); ++it)
        numMeans += smooth.makeReliableAverage(it->second) ? 1 : 0;
    for (auto it = sUnreliable.rbegin(); it != sUnreliable.rend(); ++it)
        if (it->second->area != SNode::RELIABLE) numSearched += smooth.makeReliableSearch(it->second) ? 1 : 0;
    smooth.detectFeatures(20.0);
    EXPECT_GT(std::min(numMeans, numSearched), 20U);

    ASSERT_EQ(pStage->nodes().size(), vNodes.size());
    for (std::size_t i = 0; i < vNodes.size(); ++i) {
        const SNode &node = *pStage->nodes()[i], &byHand = *vNodes[i];
        EXPECT_EQ(node.smoothedPoint, byHand.smoothedPoint);
        EXPECT_TRUE((node.plane.getNormal() - byHand.plane.getNormal()).isDegenerate());
        EXPECT_EQ(node.area, byHand.area);
        EXPECT_EQ(node.bFeature, byHand.bFeature);
    }
}

/// A node at the origin with links around it, all with planes of their own.
struct Star {
    explicit Star(const std::vector<double>& vAngles) : points(vAngles.size() + 1) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double phi = 2.0 * static_cast<double>(i), tilt = i == 0 ? 0.0 : vAngles[i - 1] / 57.295779513;
            if (i > 0) points[i] = Point3(std::cos(phi), std::sin(phi), 0.0);
            nodes.emplace_back(0, &points[i]);
            nodes[i].plane = Plane(points[i], Vector3(0.0, std::sin(tilt), std::cos(tilt)));
            nodes[i].bHasPlane = true;
            nodes[i].area = i == 0 ? 1.0 : SNode::RELIABLE;
        }
        for (std::size_t i = 1; i < nodes.size(); ++i)
            links.push_back(&nodes[i]);
        nodes[0].vLinkedNodes = links;
    }
    SNode* centre() { return &nodes[0]; }

    std::vector<Point3> points;
    std::vector<SNode> nodes;
    std::vector<SNode*> links;
};

TEST(isReliable, countsAnglesAsTheyAre) {
    Stage stage({Point3()}, 0.5);
    for (std::uint64_t seed = 0; seed < 500; ++seed) {
        Scan scan(seed);
        std::vector<double> vAngles;
        for (std::uint64_t i = 0; i < 3 + seed % 9; ++i)
            vAngles.push_back(15.0 + scan.uniform(-1.0, 1.2) * std::pow(10.0, std::floor(scan.uniform(-16.0, 1.0))));
        Star star(vAngles);
        if (seed % 5 == 0) star.nodes[2].bHasPlane = false;
        int good = 0, bad = 0;
        for (const SNode* pLinked : star.links)
            if (pLinked->bHasPlane) ++(getAngleDegree(star.centre()->getNNV(), pLinked->getNNV()) < 15.0 ? good : bad);
        EXPECT_EQ(stage.smooth.isReliable(star.centre(), 15.0), good >= 4 && 2 * bad < good) << "seed " << seed;
    }
    Star flipped({180.0, 180.0, 180.0, 180.0});  // opposite normals are bad
    EXPECT_FALSE(stage.smooth.isReliable(flipped.centre(), 15.0));
}

TEST(makeReliableAverage, wantsFourReliableNeighboursThatAgree) {
    Stage stage({Point3()}, 0.5);
    const struct {
        std::vector<double> vAngles;
        bool bWorks;
    } table[] = {{{10.0, 10.0, 12.0}, false},
                 {{10.0, 10.0, 12.0, 12.0}, true},
                 {{0.0, 0.0, 30.0, 30.0, 30.0}, true},  // all within 20 degrees of their mean
                 {{0.0, 0.0, 0.0, 0.0, 30.0}, false},   // 24 degrees off

                 {{0.0, 0.0, 0.0, 180.0}, false}};  // an opposite one joins the mean and then fails the test
    for (const auto& [vAngles, bWorks] : table) {
        Star star(vAngles);
        const Vector3 before = star.centre()->getNNV();
        EXPECT_EQ(stage.smooth.makeReliableAverage(star.centre()), bWorks);
        EXPECT_EQ(star.centre()->area == SNode::RELIABLE, bWorks);
        EXPECT_EQ(star.centre()->getNNV() * before == 1.0, !bWorks);
    }
    Star unsure({10.0, 10.0, 10.0, 10.0});
    unsure.nodes[4].area = 1.0;
    EXPECT_FALSE(stage.smooth.makeReliableAverage(unsure.centre()));
}

TEST(estimateNNVatCentroid, fitsAPlaneThroughTheNodeOrLeavesItAlone) {
    Stage stage({Point3()}, 0.5);
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        Scan scan(seed);
        Star star({0.0, 0.0, 0.0, 0.0, 0.0});
        const Vector3 normal = normalize(Vector3(scan.uniform(-1, 1), scan.uniform(-1, 1), scan.uniform(-1, 1)));
        for (SNode* pLinked : star.links) {
            const Vector3 v(scan.uniform(-1, 1), scan.uniform(-1, 1), scan.uniform(-1, 1));
            pLinked->smoothedPoint = Point3() + (v - normal * (v * normal));
        }
        ASSERT_TRUE(stage.smooth.estimateNNVatCentroid(star.centre()));
        EXPECT_NEAR(std::fabs(star.centre()->getNNV() * normal), 1.0, 1e-9) << "seed " << seed;
        EXPECT_NEAR(star.centre()->plane.signedDistance(Point3()), 0.0, 1e-12);
    }
    Star small({0.0, 0.0, 0.0});
    for (SNode* pLinked : small.links)  // a fan of less than a fifth of a cell edge squared
        pLinked->smoothedPoint = Point3() + (pLinked->smoothedPoint - Point3()) * 0.05;
    EXPECT_FALSE(stage.smooth.estimateNNVatCentroid(small.centre()));
    EXPECT_EQ(small.centre()->area, 1.0);
    Star single({0.0});
    EXPECT_FALSE(stage.smooth.estimateNNVatCentroid(single.centre()));
}

TEST(makeReliableSearch, looksTwoCellsFar) {
    for (const int pitch : {2, 3}) {  // no node has a link
        std::vector<Point3> vPoints;
        for (int i = 0; i < 100; ++i)
            vPoints.emplace_back(0.125 * (i % 10), pitch * (i % 10) + 0.5, pitch * (i / 10) + 0.5);
        Stage stage(vPoints, 1.0);
        stage.smooth.createNodes(true);
        stage.smooth.relinkNodes();
        stage.smooth.setNNVs();
        for (const SNode* pSN : stage.nodes()) {
            EXPECT_EQ(pSN->bHasPlane, pitch == 2);
            EXPECT_EQ(pSN->area == SNode::RELIABLE, pitch == 2);
            EXPECT_TRUE(pSN->vLinkedNodes.empty());
            const Vector3 slope = normalize(Vector3(1.0, -0.0625, 0.0));
            EXPECT_TRUE(pitch != 2 || std::fabs(pSN->getNNV() * slope) > 1.0 - 1e-9);
        }
    }
}

TEST(detectFeatures, marksFoldsButNoOppositeNormals) {
    const struct {
        std::vector<double> vAngles;
        std::vector<bool> vFeatures;  // the centre first
    } table[] = {{{19.9, 0.0, 160.1, 180.0}, {false, false, false, false, false}},
                 {{0.0, 20.1, 90.0}, {true, false, true, false}},  // the first fold ends the search
                 {{159.9}, {true, true}}};
    for (const auto& [vAngles, vFeatures] : table) {
        Star star(vAngles);
        Stage stage({}, 0.5);
        stage.nodes().push_back(star.centre());
        stage.smooth.detectFeatures(20.0);
        for (std::size_t i = 0; i < star.nodes.size(); ++i)
            EXPECT_EQ(star.nodes[i].bFeature, vFeatures[i]) << i;
    }
}

TEST(SNode, hasNoNormalWithoutPlane) {
    Point3 p;
    const SNode node(0, &p);
    EXPECT_NE(reportOf([&] { node.getNNV(); }).find(conditionFailed("bHasPlane")), std::string::npos);
}

TEST(Smooth, givesTheSameNodesInEveryRun) {
    std::vector<Point3> vFirst;
    for (int i = 0; i < 2; ++i) {
        Stage stage(Scan(11, 0.02).torus(30000), 0.04);
        progressForReco();
        stage.smooth.run(true);
        if (i == 0) vFirst = smoothedPoints(stage);
        EXPECT_EQ(smoothedPoints(stage), vFirst);
    }
    EXPECT_GT(vFirst.size(), 5000U);
}

}  // namespace
