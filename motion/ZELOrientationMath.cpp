#include <ZELKit/ZELOrientationMath.h>

#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr float kTwoPi = 6.2831855F;

/// Indexed by interface orientation minus 1.
constexpr float kOrientationAngles[] = {0.0F, 3.1415927F, -1.5707964F, 1.5707964F};

GLKQuaternion rotationAboutX(float angle) { return GLKQuaternionMakeWithAngleAndAxis(angle, 1, 0, 0); }
GLKQuaternion rotationAboutY(float angle) { return GLKQuaternionMakeWithAngleAndAxis(angle, 0, 1, 0); }
GLKQuaternion rotationAboutZ(float angle) { return GLKQuaternionMakeWithAngleAndAxis(angle, 0, 0, 1); }

}  // namespace

GLKVector3 vector3FromPoint(CGPoint p) {
  return GLKVector3Make(static_cast<float>(p.x), static_cast<float>(p.y), 0.0F);
}

GLKVector3 quaternionToYXZ(GLKQuaternion q) {
  const float xx = q.x * q.x;
  const float yy = q.y * q.y;
  const float zz = q.z * q.z;
  const float ww = q.w * q.w;
  const float yaw = std::atan2(2.0F * (q.x * q.z + q.w * q.y), ww - xx - yy + zz);
  const float pitch = std::asin(-2.0F * (q.y * q.z - q.w * q.x));
  const float roll = std::atan2(2.0F * (q.x * q.y + q.w * q.z), ww - xx + yy - zz);
  return GLKVector3Make(yaw, pitch, roll);
}

GLKQuaternion YXZToQuaternion(float yaw, float pitch, float roll) {
  GLKQuaternion q = GLKQuaternionIdentity;
  q = GLKQuaternionMultiply(q, rotationAboutY(yaw));
  q = GLKQuaternionMultiply(q, rotationAboutX(pitch));
  return GLKQuaternionMultiply(q, rotationAboutZ(roll));
}

GLKQuaternion attitudeToQuaternion(CMQuaternion attitude) {
  const float x = static_cast<float>(attitude.x);
  const float y = static_cast<float>(attitude.y);
  const float z = static_cast<float>(attitude.z);
  const float w = static_cast<float>(attitude.w);
  const float n = x * x + y * y + z * z + w * w;
  return GLKQuaternionMake(-x / n, -y / n, z / n, w / n);
}

float interfaceOrientationAngle(int64_t orientation) {
  return orientation >= 1 && orientation <= 4 ? kOrientationAngles[orientation - 1] : 0.0F;
}

GLKQuaternion quaternionApplyInterfaceOrientation(int64_t orientation, bool inverse, GLKQuaternion q) {
  if (orientation < 2 || orientation > 4) return q;
  const float angle = kOrientationAngles[orientation - 1];
  return inverse ? GLKQuaternionMultiply(rotationAboutZ(-angle), q) : GLKQuaternionMultiply(q, rotationAboutZ(angle));
}

float quaterionAngularDistance(GLKQuaternion a, GLKQuaternion b) {
  a = GLKQuaternionNormalize(a);
  b = GLKQuaternionNormalize(b);
  const float d = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
  return std::acos(2.0F * (d * d) - 1.0F);
}

float angularDistance(float a, float b) {
  // fmod keeps the sign of its first operand: only differences from -pi upwards are folded into [-pi, pi).
  const float difference = a - b;
  const float shifted = static_cast<float>(static_cast<double>(difference) + kPi);
  const float folded = std::fmod(shifted, kTwoPi);
  return static_cast<float>(static_cast<double>(folded) - kPi);
}

float deceleration(float time, float base, float rate) { return std::pow(base, time * rate); }

GLKVector3 decelerate(GLKVector3 v, float time, float base, float rate) {
  return GLKVector3MultiplyScalar(v, deceleration(time, base, rate));
}

GLKVector3 displacement(GLKVector3 v, float time, float base, float rate) {
  return GLKVector3MultiplyScalar(v, (deceleration(time, base, rate) - 1.0F) / (std::log(base) * rate));
}

float lerpf(float a, float b, float t) { return (b - a) * t + a; }

float stepf(float a, float b, float x) { return (x - a) / (b - a); }

float clampf(float min, float max, float x) { return std::fmax(min, std::fmin(x, max)); }

float smoothstepf(float t) { return t * t * t * ((6.0F * t - 15.0F) * t + 10.0F); }
