#include "apps/zelview/Camera.h"

#include <ZELKit/ZELOrientationMath.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <string>

#include "apps/zelview/Direction.h"

namespace zelview {
namespace {

void expectNear(GLKVector3 actual, GLKVector3 expected, const char* what) {
  EXPECT_NEAR(actual.x, expected.x, 1e-5) << what;
  EXPECT_NEAR(actual.y, expected.y, 1e-5) << what;
  EXPECT_NEAR(actual.z, expected.z, 1e-5) << what;
}

const GLKVector3 kAhead = {0, 0, 1};
const GLKVector3 kUp = {0, 1, 0};
const float kHalf = std::sqrt(0.5F);

TEST(Camera, SignsOfTheAngles) {
  struct {
    const char* what;
    Camera camera;
    GLKVector3 ray;
    GLKVector3 world;
  } const cases[] = {
      {"nothing", {}, kAhead, {0, 0, 1}},
      {"yaw turns right", {.yaw = 90}, kAhead, {1, 0, 0}},
      {"pitch looks up", {.pitch = 45}, kAhead, {0, kHalf, kHalf}},
      {"roll leans the camera's top to the right", {.roll = 45}, kUp, {kHalf, kHalf, 0}},
      {"yaw comes before pitch", {.yaw = 90, .pitch = 90}, kUp, {-1, 0, 0}},
      {"pitch comes before roll", {.pitch = 90, .roll = 90}, kUp, {1, 0, 0}},
      {"mirror exchanges left and right of the world", {.yaw = 90, .mirror = true}, kAhead, {-1, 0, 0}},
  };
  for (const auto& c : cases) expectNear(GLKMatrix4MultiplyVector3(viewMatrixOf(c.camera), c.ray), c.world, c.what);
}

TEST(Direction, OfAViewOfPanningAndAroundADevice) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> unit(-1, 1);
  const auto expectSame = [](Direction actual, Direction expected, double tolerance, const std::string& what) {
    EXPECT_NEAR(std::remainder(actual.yaw - expected.yaw, 2 * std::numbers::pi), 0, tolerance) << what;
    EXPECT_NEAR(actual.pitch, expected.pitch, tolerance) << what;
  };
  for (int i = 0; i < 500; ++i) {
    const Direction wanted = {3 * unit(random),
                              i % 10 == 0 ? std::copysign(std::numbers::pi / 2, unit(random)) : 1.4 * unit(random)};
    const std::string what = std::to_string(wanted.yaw) + " " + std::to_string(wanted.pitch);
    const GLKVector3 pan = panOf(wanted);
    const GLKMatrix4 level = GLKMatrix4MakeWithQuaternion(YXZToQuaternion(pan.x, pan.y, pan.z));
    // The sine of the pitch is told in single precision, which near a pole leaves the pitch itself half the digits.
    expectSame(directionOf(level), wanted, i % 10 == 0 ? 1e-3 : 1e-5, what);
    // Less tilted than the direction is high, so that it is within reach.
    const float roll = static_cast<float>(unit(random) * (std::numbers::pi / 2 - std::abs(wanted.pitch)));
    const GLKQuaternion device =
        YXZToQuaternion(static_cast<float>(3 * unit(random)), static_cast<float>(1.5 * unit(random)), 0.9F * roll);
    const GLKVector3 around = panAroundDevice(GLKMatrix4MakeWithQuaternion(device), wanted);
    const GLKMatrix4 seen = GLKMatrix4MakeWithQuaternion(
        GLKQuaternionMultiply(GLKQuaternionMultiply(GLKQuaternionMakeWithAngleAndAxis(around.x, 0, 1, 0), device),
                              GLKQuaternionMakeWithAngleAndAxis(around.y, 1, 0, 0)));
    expectSame(directionOf(seen), wanted, i % 10 == 0 ? 1e-3 : 1e-5, "around a device: " + what);
    EXPECT_GT(seen.m[5], -1e-3) << "upside down: " << what;
  }
  // On its side a device cannot look up by a turn about what is now its vertical axis.
  const GLKVector3 aside =
      panAroundDevice(GLKMatrix4MakeWithQuaternion(YXZToQuaternion(0.5F, 0, 1.5707964F)), {2.0, 1.0});
  EXPECT_TRUE(std::isfinite(aside.x) && std::isfinite(aside.y));
}

}  // namespace
}  // namespace zelview
