// Drawings of a hole's field, made inside drawOnTheWay(). No public function reaches them: they belong to Hole.
//
// The drawing module defines these functions. They throw (assertion) unless drawings for debugging are enabled.
#pragma once

#include <string>
#include <vector>

#include "Field.h"
#include "Segment3.h"
#include "kel.h"

namespace TARN_KEL {

/// The crossed lattice edges in green, their ends by sign.
void drawCrossings(const std::string& filename, const Calc* pCalc, const std::vector<Segment3>& vEdges,
                   const std::vector<Point3>& vNegative, const std::vector<Point3>& vPositive);
/// The cells of the list, which may have repeats, in orange.
void drawNotedCells(const std::string& filename, const Calc* pCalc, VRCD vRCD);
/// The lattice points of these cells that have a value, by sign.
void drawCornerVals(const std::string& filename, const Field& field, const Calc* pCalc, const VCCD& vCells);

}  // namespace TARN_KEL
