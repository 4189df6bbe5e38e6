#version 450
#extension GL_GOOGLE_include_directive : require

// Frames of a luma and an interleaved chroma plane. Compiled once for each projection, with PROJECT naming its function.

#include "projections.glsl"
#include "uniforms.glsl"

layout(location = 0) in vec3 fs_RayDir;
layout(location = 1) in vec2 fs_TexCoord;

layout(set = 0, binding = 0) uniform sampler2D texture0;
layout(set = 0, binding = 1) uniform sampler2D texture1;

layout(location = 0) out vec4 color;

// Video-range BT.709, for full-range frames too: there is no switch, so they come out with raised contrast. The target
// clamps.
void main() {
  const vec2 texCoord = PROJECT(fs_RayDir, fs_TexCoord, uniforms.scale);
  const float y = textureLod(texture0, texCoord, 0.0).x - (16.0 / 255.0);
  const vec2 c = textureLod(texture1, texCoord, 0.0).xy - 0.5;
  color = vec4(1.164 * y + 1.793 * c.y, 1.164 * y - 0.213 * c.x - 0.533 * c.y, 1.164 * y + 2.112 * c.x, 1.0);
}
