#version 450
#extension GL_GOOGLE_include_directive : require
// Channels to channels, 3 x 3. Numbers: biases, slopes, then tap by tap and input by input the four groups' weights.
#include "neural.inc"

layout(set = 0, binding = 4) uniform sampler2D source;
layout(set = 0, binding = 8, rgba16f) writeonly uniform image2D features;

void main() {
  ivec2 at = ivec2(gl_GlobalInvocationID.xy);
  if (isOutside(at)) return;
  uint n = arguments.begin;
  vec4 sums[kGroups];
  for (int g = 0; g < kGroups; ++g) sums[g] = numbers[n + g];
  uint w = n + 2 * kGroups;
  for (int y = -1; y <= 1; ++y) {
    for (int x = -1; x <= 1; ++x) {
      ivec2 from = inside(at + ivec2(x, y));
      for (int i = 0; i < kGroups; ++i) {
        vec4 value = texelFetch(source, ivec2(from.x * kGroups + i, from.y), 0);
        for (int g = 0; g < kGroups; ++g) {
          sums[g] += numbers[w + g] * value.x + numbers[w + 4 + g] * value.y + numbers[w + 8 + g] * value.z +
                     numbers[w + 12 + g] * value.w;
        }
        w += kTapNumbers;
      }
    }
  }
  for (int g = 0; g < kGroups; ++g) {
    imageStore(features, ivec2(at.x * kGroups + g, at.y), bent(sums[g], numbers[n + kGroups + g]));
  }
}
