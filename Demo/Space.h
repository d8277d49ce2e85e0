// Points and affine maps for the demo figure, in double precision.
#pragma once

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring::Demo {

constexpr double c_Pi = 3.14159265358979323846;

struct Point {
    double x = 0, y = 0, z = 0;
};

inline Point operator+(const Point& a, const Point& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Point operator-(const Point& a, const Point& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Point operator*(const Point& a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}
inline Point operator-(const Point& a) {
    return a * -1.0;
}
inline double Dot(const Point& a, const Point& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Point Cross(const Point& a, const Point& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Length(const Point& a) {
    return std::sqrt(Dot(a, a));
}
inline Point Normalised(const Point& a) {
    const double length = Length(a);
    return length > 0 ? a * (1 / length) : Point{0, 1, 0};
}

inline double Mix(double a, double b, double share) {
    return a + (b - a) * share;
}
inline Point Mix(const Point& a, const Point& b, double share) {
    return a + (b - a) * share;
}

/// 0 up to `from`, 1 from `to` on, smooth between; `from` may be the larger.
inline double SmoothStep(double from, double to, double x) {
    const double s = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return s * s * (3 - 2 * s);
}

inline double Fraction(double x) {
    return x - std::floor(x);
}

/// Maps p to x * p.x + y * p.y + z * p.z + origin.
struct Transform {
    Point x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1}, origin{};

    Point Turn(const Point& p) const { return x * p.x + y * p.y + z * p.z; }
    Point operator()(const Point& p) const { return Turn(p) + origin; }
};

/// `b` first, then `a`.
inline Transform operator*(const Transform& a, const Transform& b) {
    return {a.Turn(b.x), a.Turn(b.y), a.Turn(b.z), a(b.origin)};
}

inline Transform Moved(const Point& by) {
    return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, by};
}
inline Transform Scaled(const Point& by) {
    return {{by.x, 0, 0}, {0, by.y, 0}, {0, 0, by.z}, {}};
}
inline Transform TurnedX(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{1, 0, 0}, {0, c, s}, {0, -s, c}, {}};
}
inline Transform TurnedY(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{c, 0, -s}, {0, 1, 0}, {s, 0, c}, {}};
}
inline Transform TurnedZ(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{c, s, 0}, {-s, c, 0}, {0, 0, 1}, {}};
}
inline Transform About(const Point& pivot, const Transform& m) {
    return Moved(pivot) * m * Moved(-pivot);
}

}  // namespace Nimb::Authoring::Demo
