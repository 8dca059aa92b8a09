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

/// One corner of a border that Loop fills, between the previous and the next corner. The hole is on the left of the way from
/// corner to corner, seen from where the normals of the triangles point.
///
/// The mesh, the vertex and the neighbours aren't owned and must outlive it. A computation takes time linear in the
/// triangles at the vertices that it looks at.
class AngleEntry {
public:
    /// pPrevAE, pNextAE: may be null, but must be set before anything is computed.
    /// bBothBorder: both edges of the corner have one triangle.
    AngleEntry(CMesh* pCMesh, VCD ownVCD, Point3* pCommonVtx, AngleEntry* pPrevAE, AngleEntry* pNextAE, bool bBothBorder);

    bool isAlive() const { return bAlive; }
    void kill() { bAlive = false; }
    AngleEntry* getPrevAE() const { return pPrevAE; }
    AngleEntry* getNextAE() const { return pNextAE; }
    VCD getOwnVCD() const { return ownVCD; }
    Point3* getCommonVtx() const { return pCommonVtx; }
    /// Throw (assertion) for null.
    void setPrevAE(AngleEntry* pAE);
    void setNextAE(AngleEntry* pAE);
    /// The caller promises that from now on no triangle at this corner is killed or turned over. Computing again then costs
    /// no more than there are new triangles.
    void expectGrowthOnly() { bGrowthOnly = true; }

    /// The interior angle in degrees, above 180 where the border turns away from the hole. Unless both edges have one
    /// triangle (bBothBorder), the border counts as turning away.
    /// bRecompute: compute it; else return the fields angle and state.
    /// state: set to what was found.
    /// Returns 720.0 for a corner without a plane, and when only two corners are left.
    double getBorderAngle(bool bRecompute, AngleEntryState& state);
    /// The unit mean of the normals of the triangles at the corner.
    /// bRecompute: compute it and store it in vertexNNV; else return vertexNNV.
    /// Returns (1, 0, 0) when the normals add up to zero; then it sets vertexNNV to zero.
    Vector3 getVertexNNV(bool bRecompute);
    /// Degrees between the normals at the two neighbours, computed again. Throws (assertion) unless the corner and both
    /// neighbours are alive.
    double getPrevNextDihedral();

    AngleEntryState state = AES_NONE;
    CMesh* pCMesh;  ///< not owned
    VCD ownVCD;
    Point3* pCommonVtx;   ///< the vertex, not owned
    AngleEntry* pPrevAE;  ///< not owned
    AngleEntry* pNextAE;  ///< not owned
    double angle = -1.0;  ///< degrees; of the last computation that had a plane
    Vector3 vertexNNV;
    Vector3 crossNV;     ///< unit normal of the corner's plane, on the side from which a convex corner turns left
    bool bAlive = true;  ///< false once cut
    bool bBothBorder;

private:
    void addNewNormals();
    AngleEntryState computeAngle(double& result);

    bool bGrowthOnly = false;
    Vector3 normalSum;                    // over the triangles up to pNewestT, in order of creation
    const CTriangle* pNewestT = nullptr;  // not owned
};

}  // namespace TARN_KEL
