#include "apps/zelview/Camera.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "apps/zelview/CameraController.h"

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

TEST(Camera, RaysSpanTheView) {
  const CGSize size = CGSizeMake(1600, 900);
  expectNear(rayThroughPoint(CGPointMake(800, 450), size, 1.6), {0, 0, 1.6F}, "middle");
  expectNear(rayThroughPoint(CGPointMake(0, 0), size, 1.6), {-16 / 9.0F, 1, 1.6F}, "top left");
  expectNear(rayThroughPoint(CGPointMake(1600, 900), size, 1.6), {16 / 9.0F, -1, 1.6F}, "bottom right");
}

TEST(CameraController, WhatWasTakenHoldOfStaysUnderThePointer) {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> unit(-1, 1);
  const CGSize size = CGSizeMake(1280, 720);
  for (int i = 0; i < 200; ++i) {
    CameraController controller({.yaw = 180 * unit(random),
                                 .pitch = 40 * unit(random),
                                 .roll = i % 2 == 0 ? 0 : 30 * unit(random),
                                 .mirror = i % 3 == 0});
    const CGPoint from = CGPointMake(640 + 300 * unit(random), 360 + 150 * unit(random));
    const CGPoint to = CGPointMake(from.x + 80 * unit(random), from.y + 80 * unit(random));
    const GLKVector3 held =
        GLKMatrix4MultiplyVector3(viewMatrixOf(controller.camera()), rayThroughPoint(from, size, 1.6));
    controller.beginDrag(rayThroughPoint(from, size, 1.6));
    controller.dragTo(rayThroughPoint(to, size, 1.6));
    controller.updateWithDeltaTime(0);
    const GLKVector3 now = GLKMatrix4MultiplyVector3(controller.viewMatrix(), rayThroughPoint(to, size, 1.6));
    const double cosine = (held.x * now.x + held.y * now.y + held.z * now.z) /
                          (std::hypot(held.x, held.y, held.z) * std::hypot(now.x, now.y, now.z));
    EXPECT_GT(cosine, 1 - 1e-6) << "drag " << i;
  }
}

TEST(CameraController, DraggingRightTurnsLeftAndStopsAtThePoles) {
  const CGSize size = CGSizeMake(1280, 720);
  const auto ray = [&](double x, double y) { return rayThroughPoint(CGPointMake(x, y), size, 1.6); };
  CameraController controller({});
  controller.beginDrag(ray(640, 360));
  controller.dragTo(ray(740, 360));
  EXPECT_NEAR(controller.camera().yaw, -std::atan(2 * 100 / 720.0 / 1.6) * 180 / std::numbers::pi, 1e-4);
  EXPECT_NEAR(controller.camera().pitch, 0, 1e-4);

  controller.setCamera({.yaw = 20, .pitch = 85});
  controller.dragTo(ray(0, 0));
  EXPECT_EQ(controller.camera().pitch, 85) << "setting the camera ends the drag";
  controller.beginDrag(ray(640, 360));
  controller.dragTo(ray(640, 700));
  EXPECT_EQ(controller.camera().pitch, 90);
  EXPECT_NEAR(controller.camera().yaw, 20, 1e-4) << "the camera does not tumble over the pole";
  controller.dragTo(ray(640, 600));
  EXPECT_LT(controller.camera().pitch, 89) << "the way back starts at once";
}

}  // namespace
}  // namespace zelview
