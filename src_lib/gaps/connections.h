// Data about sheets that face each other across gaps.
#pragma once

#include <cfloat>

#include "Calc.h"

namespace TARN_KEL {

class Component;

/// A rim cell of a sheet that looks for partners on other sheets.
struct AffiData {
    RCD rcd;
    Component* pComponent;  ///< its sheet
    float dist = FLT_MAX;   ///< to its nearest partner, in cells
};

/// Two sheets that face each other across a gap, and how far their colours agree.
struct ConnectionStruct {
    Component* pComponent0;  ///< the lower pointer of the two: the sheet that was created first
    Component* pComponent1;
    int count = 1;
    double score = 0.0;  ///< the sum of the votes; positive when equal colours are on the same side
};

}  // namespace TARN_KEL
