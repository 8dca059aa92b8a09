#pragma once

#include <cstdint>
#include <memory>
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
/// It owns nothing: node, point and link array belong to its Smooth. Addresses ascend with creation.
struct SNode {
    /// The largest double: an area with this value means that the plane is reliable.
    static constexpr double RELIABLE = 1.7976931348623157e308;

    SNode(RCD cell, Point3* pOfPool) : rcd(cell), pPoint(pOfPool), smoothedPoint(*pOfPool) {}
    /// The normal of the plane. Throws KelBugException without one.
    const Vector3& getNNV() const;

    RCD rcd;                               ///< the cell that it was created for; smoothedPoint may move out of it
    Point3* pPoint;                        ///< before smoothing
    Point3 smoothedPoint;                  ///< current place
    std::span<SNode* const> vLinkedNodes;  ///< the nodes that share a lattice corner, in fan order
    double area = 0.0;                     ///< of the fan of links, or RELIABLE
    Plane plane;                           ///< through smoothedPoint; valid with bHasPlane
    bool bFeature = false;                 ///< lies on a fold
    bool bHasPlane = false;
    std::int32_t numPoints = 0;  ///< input points merged here; 0 in a filled hole, -1 for a node of lapTreatment
};

/// Turns input points into nodes, at most a few per cell, each with a place on the surface and where possible a plane.
///
/// First it fills the gaps of sparse areas, with points between near points and with cells where the sheet of cells has
/// holes. Then nodes that share a lattice corner are linked, and a plane is fitted to the links of each node. Planes that
/// differ from those of their neighbours are replaced by the mean of reliable ones, or by a fit to a wider neighbourhood.
/// Nodes and their points exist as long as this object. All steps give the same result for any number of processors.
class Smooth {
public:
    /// vPoints: not owned; densifyLap() extends it. All points must lie on the grid, some cells away from its sides.
    /// pCalc: not owned, not null.
    Smooth(std::vector<Point3>& vPoints, Calc* pCalc);

    /// Runs the whole stage, once. Cost: O(n log n) for n points.
    void run(bool bLapTreatment);
    /// In creation order until setNNVs(), then sorted by cell.
    std::vector<SNode*>& getNodesRef() { return vNodes; }

    // ---- Steps of run, in its order

    /// Appends points on the segments between near points (one to two cell edges apart), at most one per cell. In a cell of
    /// more than 64 points only 64 of them are used, evenly spread in input order.
    void densifyLap();
    /// Creates a node for each occupied cell.
    /// bAverage: at the mean of the cell's points; else the points of the list themselves are the nodes' points, and no cell
    /// may have two (KelBugException).
    void createNodes(bool bAverage);
    /// Appends a node in each free cell that looks like a hole of the sheet: six or more of its lattice corners touch an
    /// occupied cell.
    void densifyNeigs();
    /// Links each node with the nodes in its own cell and the 26 cells around, by their `rcd`. The links are ordered by the
    /// lowest lattice corner that both nodes share, then by address.
    void relinkNodes();
    /// Moves each node to the mean of its links. Adds a node where the correction against shrinkage leads to another cell.
    void lapTreatment();
    /// Computes planes and feature flags of all nodes, which must be linked; sorts the nodes by cell.
    void setNNVs();

    // ---- Under setNNVs

    /// Whether at least four links have a plane within thresh degrees of the node's, and more than twice as many as those
    /// that don't.
    bool isReliable(SNode* pSN, double thresh);
    /// Fits a plane to the links, through the node's place. Returns false when there are too few links or they span too
    /// little; then the node's plane, flag and area aren't changed.
    bool estimateNNVatCentroid(SNode* pSN) const;
    /// Takes the mean normal of the links with a reliable plane, if there are four or more and they agree within 20 degrees.
    bool makeReliableAverage(SNode* pSN);
    /// Fits a plane to the nodes within two cells along each axis. The nodes must be sorted by cell.
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
    std::unique_ptr<SNode*[]> linkArray;  // the nodes' links, node by node
};

}  // namespace TARN_KEL
