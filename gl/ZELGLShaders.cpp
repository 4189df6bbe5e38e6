#include "gl/ZELGLShaders.h"

#include <string_view>

namespace {

// The quad's corner v runs from (0, 0) at the top left to (1, 1). The ray is a direction (w = 0): it spans the aspect
// ratio to both sides, 1 upwards and downwards, and the near plane ahead.
constexpr const char* kVertexText = R"(
attribute vec2 vs_Position;
uniform mat4 viewMatrix;
uniform float nearPlane;
uniform float aspectRatio;
uniform vec2 displayOffset;
uniform vec2 displayScale;
varying vec3 fs_RayDir;
varying vec2 fs_TexCoord;

void main() {
  highp vec2 p = vs_Position * displayScale + displayOffset;
  fs_RayDir = (viewMatrix * vec4((2.0 * vs_Position - 1.0) * vec2(aspectRatio, -1.0), nearPlane, 0.0)).xyz;
  fs_TexCoord = vs_Position;
  gl_Position = vec4((2.0 * p - 1.0) * vec2(1.0, -1.0), 0.0, 1.0);
}
)";

// There is no default precision: every declaration carries its own. `time` is declared and never used, so that hosts'
// tools that list a program's uniforms see the same set for all of them.
constexpr std::string_view kFragmentPrefix = R"(
varying highp vec3 fs_RayDir;
varying mediump vec2 fs_TexCoord;
uniform sampler2D texture0;
uniform highp float time;
uniform highp float scale;
const highp float kInvPi = (1.0 / 3.14159265358);
const highp float kInv2Pi = (0.5 / 3.14159265358);

highp vec2 project_equirectangular(highp vec3 n, highp vec2 t, highp float unused) {
  return vec2(fract(0.5 + atan(n.x, n.z) * kInv2Pi), 0.5 - asin(n.y) * kInvPi);
}

highp vec4 selectCubeFace(highp vec3 n) {
  highp vec3 a = abs(n);
  bvec3 g = greaterThan(n, vec3(0.0));
  if (a.x >= a.y && a.x >= a.z) {
    return g.x ? vec4(2.0, 0.0, n.zy / (n.x * vec2(-1.0, -1.0))) : vec4(0.0, 0.0, n.zy / (n.x * vec2(-1.0, 1.0)));
  }
  if (a.y >= a.z) {
    return g.y ? vec4(2.0, 1.0, n.xz / (n.y * vec2(1.0, 1.0))) : vec4(1.0, 1.0, n.xz / (n.y * vec2(-1.0, 1.0)));
  }
  return g.z ? vec4(1.0, 0.0, n.xy / (n.z * vec2(1.0, -1.0))) : vec4(0.0, 1.0, n.xy / (n.z * vec2(1.0, 1.0)));
}

highp vec2 project_cubemap(highp vec3 n, highp vec2 t, highp float scale) {
  highp vec4 face = selectCubeFace(n);
  return (face.xy + (face.zw * scale) * 0.5 + 0.5) * vec2(1.0 / 3.0, 1.0 / 2.0);
}

highp vec2 project_flat(highp vec3 n, highp vec2 t, highp float unused) {
  return t;
}

highp vec2 project_segmentedsphere(highp vec3 n, highp vec2 t, highp float unused) {
  return t;
}
)";

constexpr std::string_view kPlaceholder = "project_%@";

constexpr std::string_view kMainRGB = R"(
void main() {
  highp vec2 texCoord = project_%@(normalize(fs_RayDir), fs_TexCoord, scale);
  lowp vec3 color = texture2D(texture0, texCoord).xyz;
  gl_FragColor = vec4(color, 1.0);
}
)";

// Video-range BT.709, for full-range frames too: there is no switch, so they come out with raised contrast. The
// framebuffer clamps.
constexpr std::string_view kMainYUV = R"(uniform sampler2D texture1;

void main() {
  highp vec2 texCoord = project_%@(normalize(fs_RayDir), fs_TexCoord, scale);
  mediump float y = texture2D(texture0, texCoord).x - (16.0 / 255.0);
  mediump vec2 c = texture2D(texture1, texCoord).xy - 0.5;
  gl_FragColor = vec4(1.164 * y + 1.793 * c.y, 1.164 * y - 0.213 * c.x - 0.533 * c.y, 1.164 * y + 2.112 * c.x, 1.0);
}
)";

}  // namespace

const char* ZELGLVertexShaderText() { return kVertexText; }

std::string ZELGLFragmentShaderText(ZELTextureFormat format, ZELProjectionType projection) {
  if (format != ZELTextureFormatRGB && format != ZELTextureFormatYUV) return {};
  std::string main(format == ZELTextureFormatRGB ? kMainRGB : kMainYUV);
  main.replace(main.find(kPlaceholder), kPlaceholder.size(),
               std::string("project_") + ZELProjectionTypeName(projection));
  return std::string(kFragmentPrefix) + main;
}
