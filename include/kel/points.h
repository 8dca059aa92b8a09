// Points and vectors in space: plain values of three doubles.
#pragma once

#include <cmath>
#include <iosfwd>

/// Everything that the library offers, except the PLY layer in namespace PLY.
namespace TARN_KEL {

/// A vector in space.
class Vector3 {
public:
    /// @{
    /// From its values; without any, (0, 0, 0).
    constexpr Vector3() = default;
    constexpr Vector3(double x, double y, double z) : x_(x), y_(y), z_(z) {}
    /// @}

    /// @{
    /// The components, read and set.
    constexpr double x() const { return x_; }
    constexpr double y() const { return y_; }
    constexpr double z() const { return z_; }
    void set(double x, double y, double z) {
        x_ = x;
        y_ = y;
        z_ = z;
    }
    /// @}

    /// @{
    /// The length, and its square.
    double length() const { return std::sqrt(sqLength()); }
    constexpr double sqLength() const { return x_ * x_ + y_ * y_ + z_ * z_; }
    /// @}

    /// The dot product.
    constexpr double operator*(const Vector3& v) const { return x_ * v.x_ + y_ * v.y_ + z_ * v.z_; }

    /// @{
    /// Arithmetic, component by component. Division by 0.0 isn't checked.
    constexpr Vector3 operator*(double f) const { return {x_ * f, y_ * f, z_ * f}; }
    constexpr Vector3 operator/(double f) const { return {x_ / f, y_ / f, z_ / f}; }
    constexpr Vector3 operator+(const Vector3& v) const { return {x_ + v.x_, y_ + v.y_, z_ + v.z_}; }
    constexpr Vector3 operator-(const Vector3& v) const { return {x_ - v.x_, y_ - v.y_, z_ - v.z_}; }
    constexpr Vector3 operator-() const { return {-x_, -y_, -z_}; }
    Vector3& operator+=(const Vector3& v) { return *this = *this + v; }
    Vector3& operator-=(const Vector3& v) { return *this = *this - v; }
    Vector3& operator*=(double f) { return *this = *this * f; }
    Vector3& operator/=(double f) { return *this = *this / f; }
    /// @}

    /// The component with index 0, 1 or 2. Any other index prints a line and returns the largest double.
    double getCartesian(int i) const;
    /// The largest absolute value of the three components.
    double getMaxAbsComponent() const;
    /// The index of the component with the largest absolute value; of equal ones the lowest.
    int getMaxAbsIndex() const;
    /// True for a unit vector: its squared length differs from 1 by less than 0.03.
    bool isNV() const;
    /// True when all components are exactly 0.0; false when one is NaN.
    constexpr bool isDegenerate() const { return x_ == 0.0 && y_ == 0.0 && z_ == 0.0; }

private:
    double x_ = 0.0, y_ = 0.0, z_ = 0.0;
};

/// The cross product a x b.
constexpr Vector3 crossProduct(const Vector3& a, const Vector3& b) {
    return {a.y() * b.z() - a.z() * b.y(), a.z() * b.x() - a.x() * b.z(), a.x() * b.y() - a.y() * b.x()};
}

/// A point in space. Points are ordered by x, then y, then z; they are equal when all three values are exactly equal.
class Point3 {
public:
    /// @{
    /// From its values; without any, (0, 0, 0).
    constexpr Point3() = default;
    constexpr Point3(double x, double y, double z) : x_(x), y_(y), z_(z) {}
    /// @}

    /// @{
    /// The coordinates.
    constexpr double x() const { return x_; }
    constexpr double y() const { return y_; }
    constexpr double z() const { return z_; }
    /// @}

    /// @{
    /// Comparison of the exact values: by x, then y, then z.
    constexpr bool operator==(const Point3& p) const { return x_ == p.x_ && y_ == p.y_ && z_ == p.z_; }
    constexpr bool operator!=(const Point3& p) const { return !(*this == p); }
    constexpr bool operator<(const Point3& p) const {
        if (x_ != p.x_) return x_ < p.x_;
        if (y_ != p.y_) return y_ < p.y_;
        return z_ < p.z_;
    }
    /// @}

    /// @{
    /// The vector between two points, and points moved by a vector.
    constexpr Vector3 operator-(const Point3& p) const { return {x_ - p.x_, y_ - p.y_, z_ - p.z_}; }
    constexpr Point3 operator+(const Vector3& v) const { return {x_ + v.x(), y_ + v.y(), z_ + v.z()}; }
    constexpr Point3 operator-(const Vector3& v) const { return {x_ - v.x(), y_ - v.y(), z_ - v.z()}; }
    /// @}

private:
    double x_ = 0.0, y_ = 0.0, z_ = 0.0;
};

/// True when no coordinate is infinite or NaN.
inline bool isFinitePoint(const Point3& p) {
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

/// @{
/// Writes the three values separated by blanks, in the format of the stream.
std::ostream& operator<<(std::ostream& out, const Vector3& v);
std::ostream& operator<<(std::ostream& out, const Point3& p);
/// @}

}  // namespace TARN_KEL
