// Drawings that algorithms on cells and on the coarse mesh make on their way, inside drawOnTheWay(). Each writes a file.
//
// The drawing module defines these functions. Triangles and edges are drawn at the points of the given mesh, or at the
// midpoints of their cells when it is null. They throw (assertion) unless drawings for debugging are enabled.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "Calc.h"
#include "Segment3.h"
#include "colours.h"
#include "drawOnTheWay.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CPatch;
class CTriangle;

void drawTriangles(const std::string& filename, const Calc* pCalc, const std::vector<CTriangle*>& vCT,
                   const std::string& color, const CMesh* pAtPointsOf);
/// Each triangle on the edge in a colour of its own, the edge between its cells' midpoints in red.
void drawStar(const std::string& filename, const Calc* pCalc, const CEdge& edge);
void drawEdges(const std::string& filename, const CMesh& mesh, const std::vector<CEdge*>& vCE, const std::string& color);
/// The mesh in green, over it these edges in orange.
void drawMesh(const std::string& filename, const CMesh& mesh, const std::vector<CEdge*>& vHighlightCE);
/// The mesh in green, over it its edges by degree.
void drawDegrees(const std::string& filename, const CMesh& mesh);
/// Two lists of cells as boxes, in red and in blue.
void drawCells(const std::string& filename, const Calc* pCalc, const VCCD& vRed, const VCCD& vBlue);
/// Each patch in a colour and a file of its own, "patch_" and its label, with its boundary in red.
void drawPatches(const std::vector<CPatch*>& vPatches);
/// Two groups of patches in two files, each patch in the next colour.
void drawPatchGroups(const Calc* pCalc, const std::vector<CPatch*>& vPatches, const std::set<CPatch*>& sStrong);
void drawSegments(const std::string& filename, const std::vector<Segment3>& vSegments, const std::string& color);

}  // namespace TARN_KEL
