// Whole operations on whatever bytes say, each with the promises that must hold then: the body of a fuzzer and of a test.
//
// Bytes become vertices of few different coordinates, so that chance makes what is hard: equal places, flat triangles, fans,
// edges of many triangles, bodies glued at a vertex. What is left of the bytes are numbers of vertices, three a triangle.
#pragma once

#include <string_view>

#include "RMesh.h"
#include "kel.h"
#include "support/fine.h"
#include "support/manifold.h"
#include "support/names.h"

namespace TARN_TEST {

/// Hands out bytes; zeros behind the end.
class Bytes {
public:
    explicit Bytes(std::string_view bytes) : left(bytes) {}
    bool empty() const { return left.empty(); }
    unsigned next() {
        if (left.empty()) return 0;
        const auto byte = static_cast<unsigned char>(left.front());
        left.remove_prefix(1);
        return byte;
    }
    /// A small lattice for most bytes; the others are hard to compute with, those from 0xfc on no number.
    double coordinate(bool bFinite) {
        constexpr std::array<double, 16> HARD = {0.5,  1.0 / 3.0, 1e-7, 1.0 + 1e-7, -0.0, 1e-100, 1e7,          -1e7,
                                                 1e15, 1e100,     4.0,  1e-3,       INF,  -INF,   NOT_A_NUMBER, 1e300};
        const unsigned byte = next();
        if (byte < 0xf0) return static_cast<double>(byte % 16) - 8.0;
        return HARD[(byte - 0xf0) % (bFinite ? 12 : 16)];
    }

private:
    std::string_view left;
};

inline std::vector<Point3> pointsOf(Bytes& bytes, std::size_t maxPoints, bool bFinite) {
    std::vector<Point3> vPoints;
    while (!bytes.empty() && vPoints.size() < maxPoints) {
        const double x = bytes.coordinate(bFinite), y = bytes.coordinate(bFinite);
        vPoints.emplace_back(x, y, bytes.coordinate(bFinite));
    }
    return vPoints;
}

/// The first byte counts the vertices.
inline Soup soupOf(Bytes& bytes) {
    Soup soup;
    soup.vVtx = pointsOf(bytes, 3 + bytes.next() % 61, true);
    const auto numVtx = static_cast<unsigned>(soup.vVtx.size());
    while (numVtx >= 3 && !bytes.empty()) {
        const std::array<unsigned, 3> t = {bytes.next() % numVtx, bytes.next() % numVtx, bytes.next() % numVtx};
        const Point3 &p = soup.vVtx[t[0]], &q = soup.vVtx[t[1]], &r = soup.vVtx[t[2]];
        if (p != q && q != r && r != p)  // those at one place become one vertex
            soup.vT.push_back({static_cast<int>(t[0]), static_cast<int>(t[1]), static_cast<int>(t[2])});
    }
    return soup;
}

/// The first promise of a mesh that a caller gets which doesn't hold, as text.
inline std::string brokenPromise(const MeshPtr& pMesh) {
    for (const Point3& p : cornersOf(pMesh))
        if (!isFinitePoint(p)) return "a vertex isn't finite";
    return firstFault(*pMesh->getRMesh());
}

inline std::string manifoldBody(std::string_view input) {
    Bytes bytes(input);
    const MeshPtr pMesh = meshOf(soupOf(bytes));
    makeManifold(pMesh);
    std::string broken = brokenPromise(pMesh);
    if (broken.empty()) broken = firstFlaw(*pMesh->getRMesh());
    if (!broken.empty()) return broken;
    const std::vector<Point3> vBefore = cornersOf(pMesh);
    makeManifold(pMesh);
    return cornersOf(pMesh) == vBefore ? "" : "a mesh in order doesn't stay as it is";
}

/// An operation on the mesh as it is, and with care on a manifold one. operate(pMesh, bKeepManifold).
template <typename Operate>
std::string operationBody(Bytes& bytes, Operate&& operate) {
    const Soup soup = soupOf(bytes);
    const MeshPtr pRaw = meshOf(soup), pManifold = meshOf(soup);
    operate(pRaw, false);
    std::string broken = brokenPromise(pRaw);
    if (!broken.empty()) return broken;
    makeManifold(pManifold);
    operate(pManifold, true);
    broken = brokenPromise(pManifold);
    return broken.empty() ? firstFlawButFacing(*pManifold->getRMesh()) : broken;
}

inline std::string holesBody(std::string_view input) {
    Bytes bytes(input);
    const int maxEdges = static_cast<int>(bytes.next() % 32);
    return operationBody(
        bytes, [maxEdges](const MeshPtr& pMesh, bool bKeepManifold) { fillHoles(pMesh, maxEdges, bKeepManifold); });
}

inline std::string reduceBody(std::string_view input) {
    Bytes bytes(input);
    const double maxLength = std::fabs(bytes.coordinate(false)), maxAngle = bytes.next();
    return operationBody(
        bytes, [=](const MeshPtr& pMesh, bool bKeepManifold) { reduce(pMesh, maxLength, maxAngle, bKeepManifold); });
}

/// Reduction and smoothing with options: whatever the mesh was, it is manifold afterwards.
inline std::string simplifyBody(std::string_view input) {
    Bytes bytes(input);
    const unsigned flags = bytes.next();
    ReduceOptions reduction;
    reduction.numTriangles = 1 + flags % 4 * 5;
    reduction.maxDistance = flags / 4 % 2 == 0 ? 0.0 : std::fabs(bytes.coordinate(true));
    reduction.bMoveVertices = flags / 8 % 2 == 0;
    reduction.bKeepBorders = flags / 16 % 2 == 0;
    reduction.bKeepFeatures = flags / 32 % 2 == 0;
    SmoothOptions smoothing;
    smoothing.method = flags / 64 % 2 == 0 ? SmoothMethod::TAUBIN : SmoothMethod::BILATERAL;
    smoothing.bKeepBorders = flags / 128 == 0;
    smoothing.numRounds = 3;
    reduction.bFit = flags % 3 == 0;
    reduction.bNoCrossings = flags % 5 == 0;
    const Soup soup = soupOf(bytes);
    const MeshPtr pReduced = meshOf(soup), pSmooth = meshOf(soup);
    const std::size_t numBefore = pReduced->getRMesh()->getNumT();
    reduce(pReduced, reduction);
    smooth(pSmooth, smoothing);
    for (const MeshPtr& pMesh : {pReduced, pSmooth}) {
        std::string broken = brokenPromise(pMesh);
        if (broken.empty() && (pMesh == pSmooth || numBefore > reduction.numTriangles))
            broken = firstFlawButFacing(*pMesh->getRMesh());
        if (!broken.empty()) return broken;
    }
    return "";
}

/// The largest extent of the finite ones among the points.
inline double extentOf(const std::vector<Point3>& vPoints) {
    double lo = 0.0, hi = 0.0;
    for (const Point3& p : vPoints)
        for (const double c : {p.x(), p.y(), p.z()}) {
            if (!isFinitePoint(p)) continue;
            lo = std::min(lo, c);
            hi = std::max(hi, c);
        }
    return hi - lo;
}

/// What is made of points is null or in order, and is manifold or can be made so; input that doesn't fit the grid may end in
/// the library's exception.
template <typename Make>
std::string roadBody(bool bManifold, Make&& make) {
    MeshPtr pMesh;
    try {
        pMesh = make();
    } catch (const KelBugException&) {
        return "";
    }
    if (!pMesh) return "";
    const std::string broken = brokenPromise(pMesh);
    if (!broken.empty()) return broken;
    if (!bManifold) makeManifold(pMesh);
    return firstFlaw(*pMesh->getRMesh());
}

inline std::string meltBody(std::string_view input) {
    Bytes bytes(input);
    const double numCells = 2.0 + bytes.next() % 30, featureAngle = bytes.next() * 2.0;
    std::vector<Point3> vCorners = pointsOf(bytes, 90, false);
    vCorners.resize(vCorners.size() / 3 * 3);
    const double spacing = extentOf(vCorners) / numCells;
    return roadBody(false, [&] { return melt(vCorners, spacing, featureAngle); });
}

inline std::string reconstructBody(std::string_view input) {
    Bytes bytes(input);
    const unsigned flags = bytes.next();
    std::vector<Point3> vPoints = pointsOf(bytes, 2000, false);
    return roadBody(
        false, [&] { return reconstruct_auto(vPoints, flags % 2 == 1, 0.5 + flags / 2 % 8 * 0.5, flags / 16 % 4 * 4 - 1); });
}

/// The run with options; its mesh is manifold as it comes.
inline std::string scanBody(std::string_view input) {
    Bytes bytes(input);
    const unsigned flags = bytes.next(), sizes = bytes.next();
    ReconstructOptions options;
    options.bOutliers = flags % 2 == 0;
    options.bEven = flags / 2 % 2 == 0;
    options.bLaplacian = flags / 4 % 2 == 1;
    options.bCarefulGrowth = flags / 8 % 2 == 0;
    options.numGrowSteps = static_cast<int>(flags / 16 % 4 * 4);
    if (flags >= 128) options.origin = Point3(bytes.coordinate(false), bytes.coordinate(true), 0.0);
    options.factor = 0.5 + sizes % 8 * 0.5;
    options.minPieceArea = sizes / 8 % 4 * 10.0;
    options.maxPinholeEdges = static_cast<int>(sizes / 32 % 2 * 8);
    options.maxHoleEdges = static_cast<int>(sizes / 64 * 10);
    const std::vector<Point3> vPoints = pointsOf(bytes, 2000, false);
    return roadBody(true, [&] { return reconstruct(vPoints, options); });
}

struct Body {
    std::string_view name;
    std::string (*check)(std::string_view input);  ///< the first broken promise; empty when all hold
};
inline constexpr std::array<Body, 7> BODIES{{{"manifold", manifoldBody},
                                             {"holes", holesBody},
                                             {"reduce", reduceBody},
                                             {"simplify", simplifyBody},
                                             {"melt", meltBody},
                                             {"reconstruct", reconstructBody},
                                             {"scan", scanBody}}};

}  // namespace TARN_TEST
