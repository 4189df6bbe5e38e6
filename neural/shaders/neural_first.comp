#version 450
#extension GL_GOOGLE_include_directive : require
// Luma to channels, 5 x 5. Numbers: biases, slopes, then the weights of the four groups tap by tap.
#include "neural.inc"

layout(set = 0, binding = 5) uniform sampler2D luma;
layout(set = 0, binding = 8, rgba16f) writeonly uniform image2D features;

void main() {
  ivec2 at = ivec2(gl_GlobalInvocationID.xy);
  if (isOutside(at)) return;
  uint n = arguments.begin;
  vec4 sums[kGroups];
  for (int g = 0; g < kGroups; ++g) sums[g] = numbers[n + g];
  uint w = n + 2 * kGroups;
  for (int y = -2; y <= 2; ++y) {
    for (int x = -2; x <= 2; ++x) {
      float value = texelFetch(luma, inside(at + ivec2(x, y)), 0).r;
      for (int g = 0; g < kGroups; ++g) sums[g] += numbers[w + g] * value;
      w += kGroups;
    }
  }
  for (int g = 0; g < kGroups; ++g) {
    imageStore(features, ivec2(at.x * kGroups + g, at.y), bent(sums[g], numbers[n + kGroups + g]));
  }
}
