#version 450
#extension GL_GOOGLE_include_directive : require

// Frames of one colour plane. Compiled once for each projection, with PROJECT naming its function.

#include "projections.glsl"
#include "uniforms.glsl"

layout(location = 0) in vec3 fs_RayDir;
layout(location = 1) in vec2 fs_TexCoord;

layout(set = 0, binding = 0) uniform sampler2D texture0;

layout(location = 0) out vec4 color;

void main() {
  const vec2 texCoord = PROJECT(fs_RayDir, fs_TexCoord, uniforms.scale);
  color = vec4(textureLod(texture0, texCoord, 0.0).xyz, 1.0);
}
