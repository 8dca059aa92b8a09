// Draws a progress bar on standard error.
#include "ProgressBar.h"

#include <algorithm>
#include <iostream>

ProgressBar::~ProgressBar() {
    TARN_KEL::unsubscribe();
    if (bDrawn) std::cerr << "\n";
}

void ProgressBar::update(const std::string& name, double fraction) {
    constexpr int WIDTH = 40;
    const double part = std::clamp(fraction, 0.0, 1.0);
    const auto numFull = static_cast<std::size_t>(part * WIDTH);
    std::cerr << "\r" << name << " [" << std::string(numFull, '#') << std::string(WIDTH - numFull, ' ') << "] "
              << static_cast<int>(part * 100.0) << "%  " << std::flush;
    bDrawn = true;
}
