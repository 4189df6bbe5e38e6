#version 450
layout(set = 0, binding = 0) uniform sampler2D luma;
layout(set = 0, binding = 1) uniform sampler2D chroma;
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 result;
void main() { result = vec4(texture(luma, at).r, texture(chroma, at).rg, 1.0); }
