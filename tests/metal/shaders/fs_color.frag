#version 450
layout(push_constant) uniform Inline { vec4 rect; vec4 color; } u;
layout(location = 0) out vec4 result;
void main() { result = u.color; }
