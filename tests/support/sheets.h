// Sheets of cells on the unit grid as components.
#pragma once

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "Component.h"
#include "RemoveDecider_RCD.h"
#include "support/capture.h"
#include "support/packedCells.h"

namespace TARN_TEST {

/// A sheet, its grid and the points of its cells.
struct SheetCase {
    /// The points are the midpoints of the cells, with a seed anywhere in them.
    explicit SheetCase(const TARN_KEL::VRCD& vCells, unsigned seed = 0) {
        std::mt19937 random(seed);
        const auto off = [&] { return seed == 0 ? 0.0 : static_cast<double>(random() % 1024) / 1024.0 - 0.5; };
        for (const TARN_KEL::RCD rcd : vCells) {
            const TARN_KEL::Point3 mid = calc.getMidPoint_RCD(rcd);
            vRCDPoint.emplace_back(rcd, TARN_KEL::Point3{mid.x() + off(), mid.y() + off(), mid.z() + off()});
        }
        vAll = vCells;
        TARN_KEL::RemoveDecider_RCD(vAll, &calc).detectAreaAndBorder(vArea, vBorder);
        const CoutSilence silence;
        pSheet = std::make_unique<TARN_KEL::Component>(vAll, vBorder, vRCDPoint, &calc);
    }

    TARN_KEL::Calc calc = unitGrid();
    TARN_KEL::VRCD vAll, vArea, vBorder;
    TARN_KEL::Component::VRCDPoint vRCDPoint;
    std::unique_ptr<TARN_KEL::Component> pSheet;
};

}  // namespace TARN_TEST
