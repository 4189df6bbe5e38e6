#include <ZELKit/ZELFixedDirectionController.h>
#include <ZELKit/ZELOrientationMath.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

namespace {

constexpr float kPi = 3.14159265F;

bool sameBits(GLKQuaternion a, GLKQuaternion b) { return std::memcmp(&a, &b, sizeof a) == 0; }

void expectNear(GLKQuaternion a, GLKQuaternion b) {
  EXPECT_NEAR(a.x, b.x, 1e-6F);
  EXPECT_NEAR(a.y, b.y, 1e-6F);
  EXPECT_NEAR(a.z, b.z, 1e-6F);
  EXPECT_NEAR(a.w, b.w, 1e-6F);
}

TEST(OrientationMath, AnglesSurviveTheRoundTripAwayFromThePoles) {
  std::mt19937 random(20);
  std::uniform_real_distribution<float> turn(-3.1F, 3.1F);
  std::uniform_real_distribution<float> pitch(-1.5F, 1.5F);
  for (int round = 0; round < 1000; ++round) {
    const float angles[] = {turn(random), pitch(random), turn(random)};
    const GLKVector3 back = quaternionToYXZ(YXZToQuaternion(angles[0], angles[1], angles[2]));
    // asin loses half its digits towards a quarter turn: 2e-7 / cos(1.5) and some.
    EXPECT_NEAR(back.x, angles[0], 2e-5F);
    EXPECT_NEAR(back.y, angles[1], 2e-5F);
    EXPECT_NEAR(back.z, angles[2], 2e-5F);
  }
}

TEST(OrientationMath, YawTurnsRightAndPositivePitchLooksDown) {
  const GLKVector3 ahead = GLKVector3Make(0, 0, 1);
  const GLKVector3 right =
      GLKMatrix4MultiplyVector3(GLKMatrix4MakeWithQuaternion(YXZToQuaternion(kPi / 2, 0, 0)), ahead);
  EXPECT_NEAR(right.x, 1.0F, 1e-6F);
  const GLKVector3 down =
      GLKMatrix4MultiplyVector3(GLKMatrix4MakeWithQuaternion(YXZToQuaternion(0, kPi / 2, 0)), ahead);
  EXPECT_NEAR(down.y, -1.0F, 1e-6F);
}

TEST(OrientationMath, SineOfPitchIsNotClamped) {
  EXPECT_TRUE(std::isnan(quaternionToYXZ(GLKQuaternionMake(1, 0, 0, 1)).y));
  EXPECT_TRUE(std::isnan(YXZToQuaternion(std::nanf(""), 0, 0).x));
}

TEST(OrientationMath, AttitudeIsDividedByTheSquaredNorm) {
  EXPECT_TRUE(sameBits(attitudeToQuaternion({0, 0, 0, 2}), GLKQuaternionMake(-0.0F, -0.0F, 0.0F, 0.5F)));
  EXPECT_TRUE(sameBits(attitudeToQuaternion({1, 1, 1, 1}), GLKQuaternionMake(-0.25F, -0.25F, 0.25F, 0.25F)));
}

TEST(OrientationMath, InterfaceOrientationTurnsRightOrBackOnTheLeft) {
  const float expected[] = {0.0F, 0.0F, 3.1415927F, -1.5707964F, 1.5707964F, 0.0F};
  for (int64_t o = 0; o <= 5; ++o) EXPECT_EQ(interfaceOrientationAngle(o), expected[o]);

  const GLKQuaternion q = GLKQuaternionNormalize(GLKQuaternionMake(0.1F, -0.2F, 0.3F, 0.9F));
  for (const int64_t o : {-1, 0, 1, 5}) {
    EXPECT_TRUE(sameBits(quaternionApplyInterfaceOrientation(o, false, q), q));
    EXPECT_TRUE(sameBits(quaternionApplyInterfaceOrientation(o, true, q), q));
  }
  for (const int64_t o : {2, 3, 4}) {
    const float half = interfaceOrientationAngle(o) / 2;
    const GLKQuaternion turn = GLKQuaternionMake(0, 0, std::sin(half), std::cos(half));
    const GLKQuaternion unturn = GLKQuaternionMake(0, 0, -std::sin(half), std::cos(half));
    expectNear(quaternionApplyInterfaceOrientation(o, false, q), GLKQuaternionMultiply(q, turn));
    expectNear(quaternionApplyInterfaceOrientation(o, true, q), GLKQuaternionMultiply(unturn, q));
  }
}

TEST(OrientationMath, DistancesFoldOnOneSideOnly) {
  EXPECT_EQ(angularDistance(0, 4), -4.0F);
  EXPECT_NEAR(angularDistance(4, 0), 4 - 2 * kPi, 1e-6F);
  EXPECT_NEAR(angularDistance(7, 0), 7 - 2 * kPi, 1e-6F);
  const GLKQuaternion q = GLKQuaternionMake(0.5F, 0.5F, 0.5F, 0.5F);
  EXPECT_EQ(quaterionAngularDistance(q, GLKQuaternionMake(-0.5F, -0.5F, -0.5F, -0.5F)), 0.0F);
  EXPECT_NEAR(quaterionAngularDistance(YXZToQuaternion(0, 0, 0), GLKQuaternionMake(0, 3, 0, 3)), kPi / 2, 1e-6F);
}

TEST(OrientationMath, InertiaAddsUpToTheSameWayAtAnyStep) {
  const GLKVector3 start = GLKVector3Make(-2, 1, 0);
  const GLKVector3 whole = displacement(start, 1.0F, 0.85F, 60.0F);
  EXPECT_NEAR(whole.x, -0.2051F, 1e-4F);
  for (const int rate : {24, 60, 240}) {
    GLKVector3 velocity = start;
    GLKVector3 way = GLKVector3Make(0, 0, 0);
    const float step = 1.0F / static_cast<float>(rate);
    for (int frame = 0; frame < rate; ++frame) {
      way = GLKVector3Add(way, displacement(velocity, step, 0.85F, 60.0F));
      velocity = decelerate(velocity, step, 0.85F, 60.0F);
    }
    EXPECT_NEAR(way.x, whole.x, 1e-5F) << rate;
    EXPECT_NEAR(way.y, whole.y, 1e-5F) << rate;
    EXPECT_NEAR(velocity.x, start.x * deceleration(1.0F, 0.85F, 60.0F), 1e-7F) << rate;
  }
  EXPECT_TRUE(std::isnan(displacement(start, 1.0F, 1.0F, 60.0F).x));
}

TEST(OrientationMath, ScalarsAreNotClampedExceptByClamp) {
  EXPECT_EQ(lerpf(2, 4, 1.5F), 5.0F);
  EXPECT_EQ(stepf(2, 4, 5), 1.5F);
  EXPECT_TRUE(std::isinf(stepf(1, 1, 2)));
  EXPECT_EQ(smoothstepf(2), 32.0F);
  EXPECT_EQ(smoothstepf(0.5F), 0.5F);
  EXPECT_EQ(clampf(-1, 1, 3), 1.0F);
  EXPECT_EQ(clampf(-1, 1, -3), -1.0F);
  EXPECT_EQ(clampf(-1, 1, std::nanf("")), 1.0F);
}

TEST(FixedDirection, FollowsItsAngleAtTheNextUpdate) {
  const auto controller = ZELFixedDirectionController::create();
  for (const float element : controller->viewMatrix().m) EXPECT_EQ(element, 0.0F);

  controller->setAngle(0.5);
  controller->updateWithDeltaTime(0);
  const GLKVector3 ahead = GLKMatrix4MultiplyVector3(controller->viewMatrix(), GLKVector3Make(0, 0, 1));
  EXPECT_FLOAT_EQ(ahead.x, std::sin(0.5F));
  EXPECT_FLOAT_EQ(ahead.z, std::cos(0.5F));

  controller->setAngle(0);
  controller->setMirror(true);
  controller->setEnabled(true);
  controller->updateWithDeltaTime(1);
  const GLKMatrix4 mirrored = {{-1, 0, -0.0F, 0, -0.0F, 1, 0, 0, -0.0F, 0, 1, 0, -0.0F, 0, 0, 1}};
  const GLKMatrix4 actual = controller->viewMatrix();
  EXPECT_EQ(std::memcmp(&actual, &mirrored, sizeof actual), 0);
}

}  // namespace
