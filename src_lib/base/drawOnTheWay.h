// Drawings for debugging that an operation makes on its way.
//
// Algorithms know nothing of files and viewers. What they may show is a function with values as its arguments, declared
// beside the algorithm and defined in the drawing module, which stands above all of them; drawOnTheWay() decides whether it
// is called.
#pragma once

#include <atomic>

namespace TARN_KEL {

/// Drawings for debugging are let through. Visualizer3::bDebugAuthorized by another name.
inline std::atomic<bool> bDebugDrawing = false;

/// Calls draw() when drawings for debugging are let through. Else nothing happens, no file, no line, no exception, and the
/// operation goes on.
template <typename Draw>
void drawOnTheWay(Draw&& draw) {
    if (bDebugDrawing) draw();
}

}  // namespace TARN_KEL
