#version 450
#extension GL_GOOGLE_include_directive : require

// The quad's corner v runs from (0, 0) at the top left to (1, 1). The ray is a direction (w = 0): it spans the aspect
// ratio to both sides, 1 upwards and downwards, and the near plane ahead. Clip space has its y axis upwards.

#include "uniforms.inc"

layout(location = 0) in vec2 vs_Position;

layout(location = 0) out vec3 fs_RayDir;
layout(location = 1) out vec2 fs_TexCoord;

void main() {
  const vec2 p = vs_Position * uniforms.displayScale + uniforms.displayOffset;
  fs_RayDir = (uniforms.viewMatrix *
               vec4((2.0 * vs_Position - 1.0) * vec2(uniforms.aspectRatio, -1.0), uniforms.nearPlane, 0.0)).xyz;
  fs_TexCoord = vs_Position;
  gl_Position = vec4((2.0 * p - 1.0) * vec2(1.0, -1.0), 0.0, 1.0);
}
