// What the handles of the C interface hold, and the checks that its functions share.
#pragma once

#include <kel_c.h>

#include <atomic>
#include <cmath>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "CallFrame.h"
#include "Progress.h"
#include "kel.h"
#include "tools.h"

struct kel_stop {
    std::atomic<bool> bStop{false};
};

struct kel_points {
    explicit kel_points(std::vector<TARN_KEL::Point3> vPoints) : vOwn(std::move(vPoints)), points(vOwn) {}
    explicit kel_points(std::span<const TARN_KEL::Point3> theirs) : points(theirs) {}
    kel_points(const kel_points&) = delete;
    kel_points& operator=(const kel_points&) = delete;

    const std::vector<TARN_KEL::Point3> vOwn;  // empty when they are borrowed
    const std::span<const TARN_KEL::Point3> points;
};

struct kel_mesh {
    TARN_KEL::MeshPtr pMesh;
};

struct kel_attributes {
    TARN_KEL::PointAttributes columns;
};

struct kel_pairs {
    std::vector<std::pair<std::size_t, std::size_t>> vPairs;
};

namespace TARN_KEL {

// The functions that end in _data show points and pairs as the plain numbers that they are.
static_assert(sizeof(Point3) == 3 * sizeof(double) && std::is_standard_layout_v<Point3>);
static_assert(sizeof(std::pair<std::size_t, std::size_t>) == 2 * sizeof(std::size_t));

// ---- Arguments ----------------------------------------------------------------------------------------------------------

/// The object of a handle or pointer; null is an ArgumentError that names it.
template <typename T>
T& given(T* pArgument, const char* name) {
    if (pArgument == nullptr) throw ArgumentError(std::string(name) + " is NULL");
    return *pArgument;
}

inline const MeshPtr& meshOf(kel_mesh* mesh) {
    return given(mesh, "mesh").pMesh;
}

/// wanted: completes "must be", such as "greater than 0".
template <typename Number>
void requireNumber(bool bHolds, const char* name, Number value, const char* wanted) {
    if (!bHolds) throw ArgumentError(std::string(name) + " is " + toString(value) + ", but must be " + wanted);
}

inline void requirePositive(const char* name, double value) {
    requireNumber(std::isfinite(value) && value > 0.0, name, value, "greater than 0");
}

inline void requireLength(const char* name, double value) {
    requireNumber(std::isfinite(value) && value >= 0.0, name, value, "0 or greater");
}

/// Infinity is no limit.
inline void requireLimit(const char* name, double value) {
    requireNumber(value >= 0.0, name, value, "0 or greater");
}

/// A number of threads, with 0 for as many as there are processors.
inline void requireThreads(const char* name, int value) {
    requireNumber(value >= 0, name, value, "0 or greater");
}

/// Points as a vector, for the functions that take no other: the own ones, or a copy of borrowed ones.
class PointVector {
public:
    explicit PointVector(const kel_points& handle)
        : pOwn(handle.vOwn.empty() ? nullptr : &handle.vOwn), vCopy(copied(handle)) {}
    const std::vector<Point3>& get() const { return pOwn != nullptr ? *pOwn : vCopy; }

private:
    static std::vector<Point3> copied(const kel_points& handle) {
        if (!handle.vOwn.empty()) return {};
        return {handle.points.begin(), handle.points.end()};
    }

    const std::vector<Point3>* const pOwn;
    const std::vector<Point3> vCopy;
};

// ---- Results ------------------------------------------------------------------------------------------------------------

template <typename Handle, typename Content>
void handOutNew(Content content, Handle** out) {
    *out = new Handle{std::move(content)};
}

// ---- Runs ---------------------------------------------------------------------------------------------------------------

/// A run of which nothing is known until its end, which is all that it reports. Returns what work() returns.
template <typename Work>
auto oneStepRun(const char* name, const Work& work) {
    constexpr StepShare STEP{"all", 1.0};
    plantProgress(name, {&STEP, 1});
    OwnRun run(true);
    auto result = work();
    run.close();
    return result;
}

}  // namespace TARN_KEL
