#pragma once

#include <cstdint>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

/// What is left of the input in one occupied cell: the cell's code and its one point.
///
/// A plain record. It owns nothing: bundle and point lie in pools of the object that created them (the cloud, or the coarse
/// mesh for the bundles that it adds) and are destroyed with it. At most one bundle of a run has a given code.
struct Bundle {
    Point3* pVtx = nullptr;                ///< the vertex: operations of the coarse mesh move this point
    CCD ccd = 0;                           ///< the cell; never changes
    float normal[3] = {0.0F, 0.0F, 0.0F};  ///< read by Hal::setForbiddenDirections only
    std::int32_t forbiddenDirection = 0;   ///< bits 4, 2, 1 for x, y, z; negative: killed by the iso slices
    Point3 deliveredPoint;                 ///< the place that the cleaning gave the point; doesn't change with *pVtx
    std::uint8_t score = 0;                ///< scratch of the iso slices
};

}  // namespace TARN_KEL
