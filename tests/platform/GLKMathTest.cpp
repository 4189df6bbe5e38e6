#include <ZELPlatform/GLKMath.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using Bits = std::array<uint32_t, 4>;

constexpr float pi = 3.14159265358979f;
/// Some ten roundings of numbers up to 1.
constexpr double tolerance = 2e-6;

class GLKMath : public testing::Test {
 protected:
  std::mt19937 random{20240917};
  std::normal_distribution<float> normal;
  std::uniform_real_distribution<float> unit{0, 1};

  GLKQuaternion rotation() {
    return GLKQuaternionNormalize(GLKQuaternionMake(normal(random), normal(random), normal(random), normal(random)));
  }
  GLKVector3 vector() { return GLKVector3Make(normal(random), normal(random), normal(random)); }
};

double dot(GLKQuaternion a, GLKQuaternion b) {
  return double(a.x) * b.x + double(a.y) * b.y + double(a.z) * b.z + double(a.w) * b.w;
}

/// Largest difference of the components, with the sign that makes it smallest: both signs are the same rotation.
double distance(GLKQuaternion a, GLKQuaternion b) {
  const double s = dot(a, b) < 0 ? -1 : 1;
  return std::max({std::abs(a.x - s * b.x), std::abs(a.y - s * b.y), std::abs(a.z - s * b.z), std::abs(a.w - s * b.w)});
}

double distance(GLKVector3 a, GLKVector3 b) {
  return std::max({std::abs(a.x - b.x), std::abs(a.y - b.y), std::abs(a.z - b.z)});
}

double distance(const GLKMatrix4& a, const GLKMatrix4& b) {
  double largest = 0;
  for (int i = 0; i < 16; ++i) largest = std::max(largest, double(std::abs(a.m[i] - b.m[i])));
  return largest;
}

/// v turned by q, as the vector part of q v q*.
GLKVector3 turned(GLKQuaternion q, GLKVector3 v) {
  const GLKQuaternion p =
      GLKQuaternionMultiply(GLKQuaternionMultiply(q, GLKQuaternionMake(v.x, v.y, v.z, 0)), GLKQuaternionConjugate(q));
  return GLKVector3Make(p.x, p.y, p.z);
}

TEST_F(GLKMath, QuarterTurnsAreRightHanded) {
  const GLKVector3 x = {1, 0, 0}, y = {0, 1, 0}, z = {0, 0, 1};
  const GLKQuaternion aboutY = GLKQuaternionMakeWithAngleAndAxis(pi / 2, 0, 1, 0);
  EXPECT_LT(distance(turned(aboutY, z), x), tolerance);
  EXPECT_LT(distance(GLKMatrix4MultiplyVector3(GLKMatrix4MakeWithQuaternion(aboutY), z), x), tolerance);
  const GLKQuaternion aboutX = GLKQuaternionMakeWithAngleAndAxis(pi / 2, 1, 0, 0);
  // The left factor turns last: y to z, then z to x.
  EXPECT_LT(distance(turned(GLKQuaternionMultiply(aboutY, aboutX), y), x), tolerance);
  // Columns are what the axes become.
  const GLKMatrix4 matrix = GLKMatrix4MakeWithQuaternion(aboutX);
  EXPECT_LT(distance({matrix.m[4], matrix.m[5], matrix.m[6]}, z), tolerance);
}

TEST_F(GLKMath, RotationsAndMatricesAgree) {
  for (int i = 0; i < 1000; ++i) {
    const GLKQuaternion a = rotation(), b = rotation();
    const GLKVector3 v = vector();
    const GLKMatrix4 ma = GLKMatrix4MakeWithQuaternion(a), mb = GLKMatrix4MakeWithQuaternion(b);
    ASSERT_LT(distance(GLKMatrix4MultiplyVector3(ma, v), turned(a, v)), 4 * tolerance);
    ASSERT_LT(distance(GLKMatrix4Multiply(ma, mb), GLKMatrix4MakeWithQuaternion(GLKQuaternionMultiply(a, b))),
              tolerance);
    ASSERT_LT(
        distance(GLKMatrix4Multiply(ma, GLKMatrix4MakeWithQuaternion(GLKQuaternionConjugate(a))), GLKMatrix4Identity),
        tolerance)
        << "inverse, and so orthonormal";
    const GLKQuaternion scaled = {3 * a.x, 3 * a.y, 3 * a.z, 3 * a.w};
    ASSERT_LT(distance(GLKMatrix4MakeWithQuaternion(scaled), ma), tolerance);
    ASSERT_LT(distance(GLKQuaternionMultiply(a, GLKQuaternionIdentity), a), 1e-7);
    ASSERT_LT(distance(GLKQuaternionMakeWithMatrix4(ma), a), tolerance);
    ASSERT_NEAR(GLKQuaternionLength(GLKQuaternionMakeWithMatrix4(ma)), 1, tolerance);
  }
}

TEST_F(GLKMath, QuaternionFromMatrixStaysExactAroundHalfTurns) {
  std::vector<std::array<float, 3>> axes = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  for (int i = 0; i < 200; ++i) {
    const GLKVector3 v = vector();
    const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    axes.push_back({v.x / length, v.y / length, v.z / length});
  }
  for (const auto& axis : axes) {
    for (const float angle : {pi, -pi, pi - 1e-3f, pi + 1e-3f, 0.0f, 2 * pi}) {
      const GLKQuaternion q = GLKQuaternionMakeWithAngleAndAxis(angle, axis[0], axis[1], axis[2]);
      ASSERT_LT(distance(GLKQuaternionMakeWithMatrix4(GLKMatrix4MakeWithQuaternion(q)), q), tolerance)
          << axis[0] << " " << axis[1] << " " << axis[2] << " by " << angle;
    }
  }
}

TEST_F(GLKMath, SlerpTurnsEvenlyOnTheShorterArc) {
  for (int i = 0; i < 1000; ++i) {
    const GLKQuaternion a = rotation();
    // Every third pair is nearly the same, so that both ways of interpolating are used.
    const GLKQuaternion step =
        GLKQuaternionMakeWithAngleAndAxis(i % 3 ? pi * unit(random) : 0.1f * unit(random), 0, 0, 1);
    GLKQuaternion b = GLKQuaternionMultiply(a, step);
    if (i % 2) b = {-b.x, -b.y, -b.z, -b.w};
    const float t = unit(random);
    const GLKQuaternion q = GLKQuaternionSlerp(a, b, t);
    const GLKQuaternion start = GLKQuaternionSlerp(a, b, 0);
    ASSERT_EQ(std::bit_cast<Bits>(start), std::bit_cast<Bits>(a));
    ASSERT_LT(distance(GLKQuaternionSlerp(a, b, 1), b), tolerance);
    ASSERT_NEAR(GLKQuaternionLength(q), 1, tolerance);
    const double whole = 2 * std::atan2(step.z, step.w);
    const GLKQuaternion part = GLKQuaternionMakeWithAngleAndAxis(static_cast<float>(whole * t), 0, 0, 1);
    ASSERT_LT(distance(q, GLKQuaternionMultiply(a, part)), tolerance) << "angle " << whole << ", t " << t;
  }
}

TEST_F(GLKMath, NormalizeDividesAndLetsZeroBecomeNaN) {
  const GLKQuaternion q = GLKQuaternionNormalize(GLKQuaternionMake(2, -4, 4, 8));
  EXPECT_LT(distance(q, {0.2f, -0.4f, 0.4f, 0.8f}), 1e-7);
  EXPECT_EQ(GLKQuaternionLength(GLKQuaternionMake(2, -4, 4, 8)), 10.0f);
  EXPECT_TRUE(std::isnan(GLKQuaternionNormalize(GLKQuaternionMake(0, 0, 0, 0)).w));
}

}  // namespace
