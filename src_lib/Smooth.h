#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Plane.h"
#include "SimplePool.h"
#include "kel.h"

namespace TARN_KEL {

/// A point of the smoothed cloud: the mean of the input points of a cell, or a point that fills a hole.
///
/// It owns nothing: node, point and link array are its Smooth's. Addresses ascend with creation.
struct SNode {
    /// The largest double in place of an area says that the plane can be relied on.
    static constexpr double RELIABLE = 1.7976931348623157e308;

    SNode(RCD cell, Point3* pOfPool) : rcd(cell), pPoint(pOfPool), smoothedPoint(*pOfPool) {}
    /// The normal of the plane. Throws KelBugException without one.
    const Vector3& getNNV() const;

    RCD rcd;                               ///< the cell that it was made for; smoothedPoint may move out of it
    Point3* pPoint;                        ///< before smoothing
    Point3 smoothedPoint;                  ///< current position
    std::span<SNode* const> vLinkedNodes;  ///< the nodes that share a lattice corner, in fan order
    double area = 0.0;                     ///< of the fan of links, or RELIABLE
    Plane plane;                           ///< through smoothedPoint; valid with bHasPlane
    bool bFeature = false;                 ///< lies on a fold
    bool bHasPlane = false;
    std::int32_t numPoints = 0;  ///< input points merged here; 0 in a filled hole, -1 for a node of lapTreatment
};

/// Turns input points into nodes, at most a few per cell, each with a position on the surface and where possible a plane.
///
/// First it fills the gaps of sparse areas, with points between near points and with cells where the sheet of cells has
/// holes; then nodes that share a lattice corner are linked, and a plane is fitted to the links of each node. Planes of
/// which the neighbours differ are replaced by the mean of reliable ones, or by a fit to a wider neighbourhood. Nodes and
/// their points live as long as this object. All steps give the same result for any number of processors.
class Smooth {
public:
    /// Both are referred to and stay the caller's. densifyLap() extends vPoints, whose points must all lie on the grid, some
    /// cells off its sides. The grid must not be null.
    Smooth(std::vector<Point3>& vPoints, Calc* pCalc);

    /// The whole stage, once. O(n log n) for n points. Wants a named progress tree.
    void run(bool bLapTreatment);
    /// In creation order until setNNVs(), then sorted by cell.
    std::vector<SNode*>& getNodesRef() { return vNodes; }

    // ---- Steps of run, in its order

    /// Appends points on the segments between near points (one to two cell edges apart), at most one per cell. In a cell of
    /// more than 64 points 64 of them, evenly spread in input order, stand for all.
    void densifyLap();
    /// A node for each occupied cell, at the mean of its points. Without bAverage the points of the list themselves are
    /// the nodes' points and no cell may hold two, else KelBugException.
    void createNodes(bool bAverage);
    /// Appends a node in each free cell that six or more of the lattice corners round it show to be a hole of the sheet.
    void densifyNeigs();
    /// Links each node with the nodes in its own and the 26 cells around. The order: by the lowest lattice corner that
    /// both share, then by address. Cells are those of `rcd`.
    void relinkNodes();
    /// Moves each node to the mean of its links and adds a node where the correction against shrinkage leads to another
    /// cell.
    void lapTreatment();
    /// Planes and feature flags of all nodes, whose links must be there; sorts the nodes by cell.
    void setNNVs();

    // ---- Under setNNVs

    /// At least four links have a plane within thresh degrees of the node's, and more than twice as many as have not.
    bool isReliable(SNode* pSN, double thresh);
    /// Fits a plane to the links, through the node's position. False when they are too few or span too little; the node's
    /// plane, flag and area then stay.
    bool estimateNNVatCentroid(SNode* pSN) const;
    /// The mean normal of the links with a reliable plane, if there are four or more and they agree within 20 degrees.
    bool makeReliableAverage(SNode* pSN);
    /// The fit over the nodes within two cells along each axis. The nodes must be sorted by cell.
    bool makeReliableSearch(SNode* pSN);
    /// Flags both nodes of a link across which the normals fold by more than `angle` degrees and less than 180 - angle.
    void detectFeatures(double angle);

private:
    SNode* newNode(RCD rcd, Point3* pPoint, int numPoints);
    void averageRuns(std::vector<std::pair<RCD, Point3*>>& vCellPoint);
    std::vector<std::pair<RCD, SNode*>> getNodesByCell() const;
    void moveToMeanOfLinks(SNode* pSN, const std::vector<Point3>& vBefore) const;
    void sortNodesByCell();
    std::vector<std::pair<double, SNode*>> noteUnreliable(double thresh);
    void addCorrectedNodes(const std::vector<Vector3>& vShift);

    std::vector<SNode*> vNodes;  // in nodePool
    std::vector<Point3>& pvPoints;
    Calc* pCalc;
    double sideLen;
    double areaThresh;  // the smallest area of a fan that carries a plane
    TARN_TOOLS::SimplePool<SNode> nodePool;
    TARN_TOOLS::SimplePool<Point3> pointPool;
    std::vector<std::vector<SNode*>> vLinkArrays;  // what the nodes' links refer to, an array for each chunk of nodes
};

}  // namespace TARN_KEL
