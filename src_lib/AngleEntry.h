#pragma once

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class CTriangle;

/// What the last computation found at a corner of a border.
enum AngleEntryState {
    AES_NONE = 0,     ///< nothing was computed yet
    AES_CONVEX = 1,   ///< the interior angle is below 179.9 degrees: the corner can be cut off
    AES_REFLEX = 2,   ///< it isn't, or both neighbours lie on one line with the corner
    AES_TWO_LEFT = 3  ///< the border has two corners only
};

/// One corner of a border that Loop fills, between the previous and the next one. The hole is on the left of the way from
/// one to the next, seen from where the normals of the triangles point.
///
/// Refers to the mesh, the vertex and its neighbours, which must outlive it. A computation costs as much as there are
/// triangles at the vertices that it looks at.
class AngleEntry {
public:
    /// The neighbours may be null; they are set before anything is computed. bBothBorder: both edges of the corner have one
    /// triangle.
    AngleEntry(CMesh* pCMesh, VCD ownVCD, Point3* pCommonVtx, AngleEntry* pPrevAE, AngleEntry* pNextAE, bool bBothBorder);

    bool isAlive() const { return bAlive; }
    void kill() { bAlive = false; }
    AngleEntry* getPrevAE() const { return pPrevAE; }
    AngleEntry* getNextAE() const { return pNextAE; }
    VCD getOwnVCD() const { return ownVCD; }
    Point3* getCommonVtx() const { return pCommonVtx; }
    /// Null is an assertion.
    void setPrevAE(AngleEntry* pAE);
    void setNextAE(AngleEntry* pAE);
    /// From now on no triangle at the corner or its neighbours goes or is turned, so that computing anew costs as much as
    /// there are new ones.
    void expectGrowthOnly() { bGrowthOnly = true; }

    /// The interior angle in degrees, above 180 where the border turns away from the hole; with a thick edge (of several
    /// triangles) it always counts as such. 720.0 for a corner without a plane and for one of the last two. Without
    /// bRecompute the angle and state of the last time.
    double getBorderAngle(bool bRecompute, AngleEntryState& state);
    /// The unit mean of the normals of the triangles at the corner; (1, 0, 0), and vertexNNV is zero, where they add up to
    /// nothing. Without bRecompute vertexNNV.
    Vector3 getVertexNNV(bool bRecompute);
    /// Degrees between the normals at the two neighbours, which must be alive: computed anew.
    double getPrevNextDihedral();

    AngleEntryState state = AES_NONE;
    CMesh* pCMesh;  ///< not owned
    VCD ownVCD;
    Point3* pCommonVtx;   ///< the vertex, not owned
    AngleEntry* pPrevAE;  ///< not owned
    AngleEntry* pNextAE;  ///< not owned
    double angle = -1.0;  ///< degrees; of the last computation that had a plane
    Vector3 vertexNNV;
    Vector3 crossNV;     ///< normal of the corner's plane, so that a convex corner turns left round it
    bool bAlive = true;  ///< false once cut
    bool bBothBorder;

private:
    void addNewNormals();
    AngleEntryState computeAngle(double& result);

    bool bGrowthOnly = false;
    Vector3 normalSum;                    // over the triangles up to pNewestT, by age
    const CTriangle* pNewestT = nullptr;  // not owned
};

}  // namespace TARN_KEL
