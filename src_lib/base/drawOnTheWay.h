// Drawings for debugging that an operation makes on its way.
//
// Algorithms know nothing of files and viewers. A drawing is a function that takes values. It is declared beside the
// algorithm and defined in the drawing module, which is above all algorithms; drawOnTheWay() decides whether it is called.
#pragma once

#include <atomic>

namespace TARN_KEL {

/// Whether drawings for debugging are enabled. Visualizer3::bDebugAuthorized refers to it.
inline std::atomic<bool> bDebugDrawing = false;

/// Calls draw() when drawings for debugging are enabled. Else it does nothing: no file, no printed line, no exception.
template <typename Draw>
void drawOnTheWay(Draw&& draw) {
    if (bDebugDrawing) draw();
}

}  // namespace TARN_KEL
