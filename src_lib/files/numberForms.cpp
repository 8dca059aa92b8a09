// A place is a triple of coordinates. Rounding joins two places when they are different before and equal after it; the
// rounded ones go into a hash table, each with the first point that was found there. Few files need the table: single
// precision holds many meshes exactly, and one that is far from the origin shows a long move before it shows a common place.
#include "numberForms.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>

#include "HashIndex.h"
#include "joinChunks.h"
#include "singlePrecision.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_POINTS = std::size_t{1} << 31;  // more aren't looked at

template <typename Float>
double throughText(Float value, int numDigits) {
    std::array<char, 32> text{};
    const auto [pEnd, none] =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, numDigits);
    Float read = 0;
    std::from_chars(text.data(), pEnd, read);
    return static_cast<double>(read);
}

/// All points must be finite.
bool joinsPlaces(const std::vector<const Point3*>& vPoints, const NumberForm& form) {
    HashIndex firstAt;  // the first point at each rounded place
    firstAt.reserve(vPoints.size());
    for (std::uint32_t i = 0; i < vPoints.size(); ++i) {
        const Point3 place = inForm(*vPoints[i], form);
        const std::uint64_t hash = placeHash(place);
        const std::uint32_t first =
            firstAt.find(hash, [&](std::uint32_t other) { return inForm(*vPoints[other], form) == place; });
        if (first == HashIndex::NONE)
            firstAt.insert(hash, i);
        else if (*vPoints[first] != *vPoints[i])
            return true;
    }
    return false;
}

std::vector<const Point3*> finiteOnes(const std::vector<const Point3*>& vPoints) {
    std::vector<const Point3*> vFinite;
    vFinite.reserve(vPoints.size());
    std::copy_if(vPoints.begin(), vPoints.end(), std::back_inserter(vFinite),
                 [](const Point3* p) { return isFinitePoint(*p); });
    return vFinite;
}

/// The longest way that the form moves one of the points.
double longestRounding(const std::vector<const Point3*>& vPoints, const NumberForm& form) {
    const auto longestOf = [&](std::size_t begin, std::size_t end) {
        double longest = 0.0;
        for (std::size_t i = begin; i < end; ++i)
            longest = std::max(longest, (inForm(*vPoints[i], form) - *vPoints[i]).length());
        return longest;
    };
    double longest = 0.0;
    joinChunks_MT(vPoints.size(), longestOf, [&](double ofChunk) { longest = std::max(longest, ofChunk); });
    return longest;
}

/// The distance between the quartiles; reorders the values.
double quartileRange(std::vector<double>& vValue) {
    const auto first = vValue.begin(), low = first + static_cast<std::ptrdiff_t>(vValue.size() / 4);
    const auto high = first + static_cast<std::ptrdiff_t>(vValue.size() - 1 - vValue.size() / 4);
    std::nth_element(first, low, vValue.end());
    std::nth_element(low, high, vValue.end());
    return *high - *low;
}

}  // namespace

double inForm(double value, const NumberForm& form) {
    if (!form.bSingle) return form.numDigits == 0 ? value : throughText(value, form.numDigits);
    const double single = inSinglePrecision(value);
    return form.numDigits == 0 ? single : throughText(static_cast<float>(single), form.numDigits);
}

Point3 inForm(const Point3& point, const NumberForm& form) {
    return {inForm(point.x(), form), inForm(point.y(), form), inForm(point.z(), form)};
}

bool losesShape(const std::vector<const Point3*>& vPoints, const NumberForm& form, double length) {
    if (vPoints.size() > MAX_POINTS) return true;
    const std::vector<const Point3*> vFinite = finiteOnes(vPoints);
    const double longest = longestRounding(vFinite, form);
    if (longest == 0.0) return false;
    return longest > MAX_ROUNDING * length || joinsPlaces(vFinite, form);
}

double surfaceSpacing(const std::vector<const Point3*>& vPoints) {
    const std::vector<const Point3*> vFinite = finiteOnes(vPoints);
    if (vFinite.empty()) return 0.0;
    std::array<double, 3> aRange{};
    std::vector<double> vValue(vFinite.size());
    for (int axis = 0; axis < 3; ++axis) {
        std::transform(vFinite.begin(), vFinite.end(), vValue.begin(), [axis](const Point3* p) {
            return axis == 0 ? p->x() : axis == 1 ? p->y() : p->z();
        });
        aRange[static_cast<std::size_t>(axis)] = quartileRange(vValue);
    }
    return std::hypot(aRange[0], aRange[1], aRange[2]) / std::sqrt(static_cast<double>(vFinite.size()));
}

}  // namespace TARN_KEL
