// Pictures of what the decider looks at, for debugging.
#include <algorithm>

#include "RemoveDecider_RCD.h"
#include "Visualizer3.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr RCD NO_CELL = ~RCD{0};

bool isWithin(unsigned long long a, unsigned long long b, unsigned long long steps) {
    return (a > b ? a - b : b - a) <= steps;
}

bool areWithin(RCD a, RCD b, unsigned long long steps) {
    return isWithin(getX_RCD(a), getX_RCD(b), steps) && isWithin(getY_RCD(a), getY_RCD(b), steps) &&
           isWithin(getZ_RCD(a), getZ_RCD(b), steps);
}

/// The centre is drawn alone: two boxes in one place would flicker.
void drawBlock(Visualizer3& visualizer, const VRCD& vNeigs, RCD centre) {
    VRCD vOthers;
    std::copy_if(vNeigs.begin(), vNeigs.end(), std::back_inserter(vOthers), [&](RCD rcd) { return rcd != centre; });
    visualizer.writeRCD(vOthers, CLIGHTBLUE);
    if (centre != NO_CELL) visualizer.writeRCD(centre, CRED);
}

}  // namespace

void RemoveDecider_RCD::show(const std::string& filename) const {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) { drawBlock(visualizer, vNeigs, curRCD); });
}

void RemoveDecider_RCD::showBig(const std::string& filename) const {
    constexpr unsigned long long NUM_STEPS = 3;
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        ASSEX(curRCD!=NO_CELL);
        VRCD vAlive, vFar;
        getAliveRCD(vAlive);
        std::copy_if(vAlive.begin(), vAlive.end(), std::back_inserter(vFar),
                     [&](RCD rcd) { return areWithin(rcd, curRCD, NUM_STEPS) && !areWithin(rcd, curRCD, 1); });
        visualizer.writeRCD(vFar, CLIGHTGRAY);
        drawBlock(visualizer, vNeigs, curRCD);
    });
}

void RemoveDecider_RCD::showAliveAreaAndBorder(const std::string& filename) {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        VRCD vArea, vBorder;
        detectAreaAndBorder(vArea, vBorder);
        visualizer.writeRCD(vArea, CLIGHTBLUE);
        visualizer.writeRCD(vBorder, CRED);
    });
}

}  // namespace TARN_KEL
