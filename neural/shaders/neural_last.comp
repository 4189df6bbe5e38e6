#version 450
#extension GL_GOOGLE_include_directive : require
// Channels to the four pixels that one becomes, 3 x 3, added to the 5 x 5 linear filter. Numbers: biases, the filter's
// taps, then tap by tap the weights of each input.
#include "neural.inc"

layout(set = 0, binding = 4) uniform sampler2D source;
layout(set = 0, binding = 5) uniform sampler2D luma;
layout(set = 0, binding = 8, r8) writeonly uniform image2D doubled;

void main() {
  ivec2 at = ivec2(gl_GlobalInvocationID.xy);
  if (isOutside(at)) return;
  vec4 sum = numbers[arguments.begin];
  uint w = arguments.begin + 1;
  for (int y = -2; y <= 2; ++y) {
    for (int x = -2; x <= 2; ++x) sum += numbers[w++] * texelFetch(luma, inside(at + ivec2(x, y)), 0).r;
  }
  for (int y = -1; y <= 1; ++y) {
    for (int x = -1; x <= 1; ++x) {
      ivec2 from = inside(at + ivec2(x, y));
      for (int i = 0; i < kGroups; ++i) {
        vec4 value = texelFetch(source, ivec2(from.x * kGroups + i, from.y), 0);
        sum += numbers[w] * value.x + numbers[w + 1] * value.y + numbers[w + 2] * value.z + numbers[w + 3] * value.w;
        w += 4;
      }
    }
  }
  ivec2 corner = at * 2;
  imageStore(doubled, corner, vec4(sum.x));
  imageStore(doubled, corner + ivec2(1, 0), vec4(sum.y));
  imageStore(doubled, corner + ivec2(0, 1), vec4(sum.z));
  imageStore(doubled, corner + ivec2(1, 1), vec4(sum.w));
}
