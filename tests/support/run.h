// A run of the library, and what a caller hears of one.
#pragma once

#include "Progress.h"
#include "kel.h"
#include "support/names.h"

namespace TARN_TEST {

/// A run as the reconstruction opens it, while it lives.
struct OpenRun {
    OpenRun() { progressForReco(); }
    ~OpenRun() { closeProgress(); }
    OpenRun(const OpenRun&) = delete;
    OpenRun& operator=(const OpenRun&) = delete;
};

/// Keeps what it hears, and throws its limit when a fraction lies above that: a caller who cancels.
struct Hearer : ProgressBase {
    explicit Hearer(double theLimit = 2.0) : limit(theLimit) {}
    void update(const std::string& name, double fraction) override {
        vName.push_back(name);
        vFraction.push_back(fraction);
        if (fraction > limit) throw limit;
    }
    double limit;
    std::vector<std::string> vName;
    std::vector<double> vFraction;
};

}  // namespace TARN_TEST
