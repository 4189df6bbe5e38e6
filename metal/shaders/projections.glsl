// Where a view ray lands in the frame, 0 to 1 on each axis. The ray need not be normalised: each of the coordinates is a
// ratio of its components. `t` is the place in the display rectangle, `scale` how much of a cube face is sampled.

const float kInvPi = 1.0 / 3.14159265358;
const float kInv2Pi = 0.5 / 3.14159265358;

vec2 project_equirectangular(vec3 ray, vec2 t, float unused) {
  // The arc tangent of the height over the distance from the axis is the arc sine of the normalised ray's height. It is
  // well-conditioned up to the poles, where drivers' arc sines are off by a good part of a texel.
  return vec2(fract(0.5 + atan(ray.x, ray.z) * kInv2Pi), 0.5 - atan(ray.y, length(ray.xz)) * kInvPi);
}

vec4 selectCubeFace(vec3 ray) {
  const vec3 a = abs(ray);
  const bvec3 g = greaterThan(ray, vec3(0.0));
  if (a.x >= a.y && a.x >= a.z) {
    return g.x ? vec4(2.0, 0.0, ray.zy / (ray.x * vec2(-1.0, -1.0)))
               : vec4(0.0, 0.0, ray.zy / (ray.x * vec2(-1.0, 1.0)));
  }
  if (a.y >= a.z) {
    return g.y ? vec4(2.0, 1.0, ray.xz / (ray.y * vec2(1.0, 1.0))) : vec4(1.0, 1.0, ray.xz / (ray.y * vec2(-1.0, 1.0)));
  }
  return g.z ? vec4(1.0, 0.0, ray.xy / (ray.z * vec2(1.0, -1.0))) : vec4(0.0, 1.0, ray.xy / (ray.z * vec2(1.0, 1.0)));
}

vec2 project_cubemap(vec3 ray, vec2 t, float scale) {
  const vec4 face = selectCubeFace(ray);
  return (face.xy + (face.zw * scale) * 0.5 + 0.5) * vec2(1.0 / 3.0, 1.0 / 2.0);
}

vec2 project_flat(vec3 ray, vec2 t, float unused) { return t; }

vec2 project_segmentedsphere(vec3 ray, vec2 t, float unused) { return t; }
