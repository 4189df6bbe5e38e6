#version 450
// Adds `step` to every number of the first buffer and keeps a copy in the second.
layout(local_size_x = 64) in;
layout(set = 0, binding = 16, std430) buffer Numbers { uint numbers[]; };
layout(set = 0, binding = 17, std430) buffer Copies { uint copies[]; };
layout(push_constant) uniform Inline { uint count; uint step; } u;
void main() {
  uint i = gl_GlobalInvocationID.x;
  if (i >= u.count) return;
  numbers[i] += u.step;
  copies[i] = numbers[i];
}
