// The uniform record of a frame, as metal/ZELMetalUniforms.h lays it out: buffer 1 of the vertex function and buffer 0 of
// the fragment functions are the same 96 bytes.
layout(push_constant, std430) uniform Uniforms {
  mat4 viewMatrix;
  vec2 displayOffset;
  vec2 displayScale;
  float aspectRatio;
  float nearPlane;
  float scale;
} uniforms;
