#include <ZELPlatform/GLKMath.h>

#include <cmath>

const GLKQuaternion GLKQuaternionIdentity = {0, 0, 0, 1};
const GLKMatrix4 GLKMatrix4Identity = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};

GLKVector3 GLKVector3Make(float x, float y, float z) { return {x, y, z}; }

GLKVector3 GLKVector3Add(GLKVector3 a, GLKVector3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }

GLKVector3 GLKVector3Subtract(GLKVector3 a, GLKVector3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

GLKVector3 GLKVector3MultiplyScalar(GLKVector3 v, float s) { return {v.x * s, v.y * s, v.z * s}; }

GLKQuaternion GLKQuaternionMake(float x, float y, float z, float w) { return {x, y, z, w}; }

GLKQuaternion GLKQuaternionMakeWithAngleAndAxis(float radians, float x, float y, float z) {
  const float half = radians * 0.5f;
  const float s = std::sin(half);
  return {x * s, y * s, z * s, std::cos(half)};
}

GLKQuaternion GLKQuaternionMakeWithMatrix4(GLKMatrix4 matrix) {
  const float* m = matrix.m;
  const float trace = m[0] + m[5] + m[10];
  // Four times the square of the component that comes first, which is at least 1; the others are divided by it.
  GLKQuaternion q;
  if (trace >= m[0] && trace >= m[5] && trace >= m[10]) {
    q = {m[6] - m[9], m[8] - m[2], m[1] - m[4], 1 + trace};
  } else if (m[0] >= m[5] && m[0] >= m[10]) {
    q = {1 + m[0] - m[5] - m[10], m[1] + m[4], m[8] + m[2], m[6] - m[9]};
  } else if (m[5] >= m[10]) {
    q = {m[1] + m[4], 1 + m[5] - m[0] - m[10], m[6] + m[9], m[8] - m[2]};
  } else {
    q = {m[8] + m[2], m[6] + m[9], 1 + m[10] - m[0] - m[5], m[1] - m[4]};
  }
  return GLKQuaternionNormalize(q);
}

GLKQuaternion GLKQuaternionMultiply(GLKQuaternion a, GLKQuaternion b) {
  return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y + a.y * b.w + a.z * b.x - a.x * b.z,
          a.w * b.z + a.z * b.w + a.x * b.y - a.y * b.x, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}

GLKQuaternion GLKQuaternionConjugate(GLKQuaternion q) { return {-q.x, -q.y, -q.z, q.w}; }

float GLKQuaternionLength(GLKQuaternion q) { return std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w); }

GLKQuaternion GLKQuaternionNormalize(GLKQuaternion q) {
  const float length = GLKQuaternionLength(q);
  return {q.x / length, q.y / length, q.z / length, q.w / length};
}

GLKQuaternion GLKQuaternionSlerp(GLKQuaternion a, GLKQuaternion b, float t) {
  if (t == 0) return a;
  const float dot = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
  // A quaternion and its negative are the same rotation; the nearer one gives the shorter arc.
  const float sign = dot < 0 ? -1.0f : 1.0f;
  const float cosine = dot * sign;
  float weightA = 1 - t;
  float weightB = t;
  // Nearer than about 1.8 degrees the sines lose their digits, and the chord differs from the arc by less than a float.
  const bool isNearlyParallel = cosine > 0.9995f;
  if (!isNearlyParallel) {
    const float angle = std::acos(cosine);
    const float sine = std::sin(angle);
    weightA = std::sin((1 - t) * angle) / sine;
    weightB = std::sin(t * angle) / sine;
  }
  weightB *= sign;
  const GLKQuaternion q = {a.x * weightA + b.x * weightB, a.y * weightA + b.y * weightB, a.z * weightA + b.z * weightB,
                           a.w * weightA + b.w * weightB};
  return isNearlyParallel ? GLKQuaternionNormalize(q) : q;
}

GLKMatrix4 GLKMatrix4MakeWithQuaternion(GLKQuaternion q) {
  const GLKQuaternion u = GLKQuaternionNormalize(q);
  const float x2 = u.x + u.x;
  const float y2 = u.y + u.y;
  const float z2 = u.z + u.z;
  const float xx = u.x * x2;
  const float xy = u.x * y2;
  const float xz = u.x * z2;
  const float yy = u.y * y2;
  const float yz = u.y * z2;
  const float zz = u.z * z2;
  const float wx = u.w * x2;
  const float wy = u.w * y2;
  const float wz = u.w * z2;
  return {{1 - yy - zz, xy + wz, xz - wy, 0,  //
           xy - wz, 1 - xx - zz, yz + wx, 0,  //
           xz + wy, yz - wx, 1 - xx - yy, 0,  //
           0, 0, 0, 1}};
}

GLKMatrix4 GLKMatrix4Multiply(GLKMatrix4 a, GLKMatrix4 b) {
  GLKMatrix4 product;
  for (int column = 0; column < 4; ++column) {
    for (int row = 0; row < 4; ++row) {
      float sum = 0;
      for (int i = 0; i < 4; ++i) sum += a.m[i * 4 + row] * b.m[column * 4 + i];
      product.m[column * 4 + row] = sum;
    }
  }
  return product;
}

GLKVector3 GLKMatrix4MultiplyVector3(GLKMatrix4 matrix, GLKVector3 v) {
  const float* m = matrix.m;
  return {m[0] * v.x + m[4] * v.y + m[8] * v.z, m[1] * v.x + m[5] * v.y + m[9] * v.z,
          m[2] * v.x + m[6] * v.y + m[10] * v.z};
}
