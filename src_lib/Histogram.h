#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace TARN_KEL {

/// A small statistic of numbers, counted in buckets between bounds and printed as text.
///
/// A bucket holds the values up to its upper bound that are above the bound before. The last one has no upper end and is
/// always there.
class Histogram {
public:
    explicit Histogram(const std::string& name);

    /// Adds a bucket up to that bound, with no value in it yet: give all bounds first. The count of a bucket that is there
    /// already starts again from 0.
    void addBound(double upperBound);
    /// Counts a value; one that isn't finite is left out with a warning. O(log b) for b bounds.
    void addVal(double value);
    std::size_t size() const { return vVal.size(); }
    /// The mean of the values; 0.0 when there are none.
    double getAvg() const;
    /// Prints mean, extremes, the count of each bucket and the median, or that there are no values. O(n).
    void show() const;

private:
    double median() const;

    static constexpr double OPEN_END = std::numeric_limits<double>::max();
    std::string name;
    std::map<double, std::size_t> mBoundCount{{OPEN_END, 0}};
    std::vector<double> vVal;
    double sum = 0.0;
    double minVal = std::numeric_limits<double>::max();
    double maxVal = std::numeric_limits<double>::lowest();
};

}  // namespace TARN_KEL
