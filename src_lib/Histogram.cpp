// Counts values in buckets and prints the statistics.
#include "Histogram.h"

#include <algorithm>
#include <cmath>

#include "tools.h"

namespace TARN_KEL {

Histogram::Histogram(const std::string& name_) : name(name_) {}

void Histogram::addBound(double upperBound) {
    ASSEX(std::isfinite(upperBound));
    mBoundCount[upperBound] = 0;
}

void Histogram::addVal(double value) {
    if (!std::isfinite(value)) {
        warning(KEL_PLACE, "not a finite number, left out of " + name);
        return;
    }
    vVal.push_back(value);
    sum += value;
    ++mBoundCount.lower_bound(value)->second;
    minVal = std::min(minVal, value);
    maxVal = std::max(maxVal, value);
}

double Histogram::getAvg() const {
    return vVal.empty() ? 0.0 : sum / static_cast<double>(vVal.size());
}

double Histogram::median() const {
    std::vector<double> vCopy = vVal;
    const auto itMedian = vCopy.begin() + static_cast<std::ptrdiff_t>(vCopy.size() / 2);
    std::nth_element(vCopy.begin(), itMedian, vCopy.end());
    return *itMedian;
}

void Histogram::show() const {
    if (vVal.empty()) {
        out() << "Empty histogram [ " << name << " ]" << std::endl;
        return;
    }
    out() << name << " (avg=" << getAvg() << " , min=" << minVal << ", max=" << maxVal << "):\n";
    const double medianVal = median();
    const double medianBound = mBoundCount.lower_bound(medianVal)->first;
    std::string lower = "  min";  // the lowest bucket has no lower end
    for (const auto& [bound, count] : mBoundCount) {
        out() << lower << " - " << (bound == OPEN_END ? "  max: " : toString(bound) + ": ") << count;
        if (bound == medianBound) out() << redString("   ( median is " + toString(medianVal) + " )", 0);
        out() << "\n";
        lower = toString(bound);
    }
    out() << std::flush;
}

}  // namespace TARN_KEL
