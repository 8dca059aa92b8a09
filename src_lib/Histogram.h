#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace TARN_KEL {

/// Counts numbers in buckets between bounds, and prints the statistics as text.
///
/// A bucket counts the values above the bound before and up to its own bound. The last bucket has no upper bound and always
/// exists.
class Histogram {
public:
    explicit Histogram(const std::string& name);

    /// Adds an empty bucket up to that bound. Add all bounds before the first value: values aren't counted again. The count
    /// of a bucket that exists already is set to 0.
    void addBound(double upperBound);
    /// Counts a value; one that isn't finite is left out with a warning. Cost: O(log b) for b bounds.
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
