#version 450
layout(local_size_x = 8, local_size_y = 4) in;
layout(set = 0, binding = 0) uniform sampler2D source;
layout(set = 0, binding = 9, r8) writeonly uniform image2D target;
layout(push_constant) uniform Inline { float scale; } u;
void main() {
  ivec2 at = ivec2(gl_GlobalInvocationID.xy);
  if (any(greaterThanEqual(at, imageSize(target)))) return;
  imageStore(target, at, vec4(u.scale * (1.0 - texelFetch(source, at, 0).r)));
}
