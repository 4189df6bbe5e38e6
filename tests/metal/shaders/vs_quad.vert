#version 450
// A quad of `rect` (left, bottom, width, height in clip space), whose position counts texture rows from the top.
layout(push_constant) uniform Inline { vec4 rect; vec4 color; } u;
layout(location = 0) in vec2 position;
layout(location = 0) out vec2 at;
void main() {
  at = vec2(position.x, 1.0 - position.y);
  gl_Position = vec4(u.rect.xy + position * u.rect.zw, 0.0, 1.0);
}
