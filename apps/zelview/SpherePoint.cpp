#include "apps/zelview/SpherePoint.h"

#include <algorithm>
#include <cmath>

namespace zelview {

SpherePoint spherePointAt(float longitude, float latitude) {
  const float c = std::cos(latitude);
  return {std::sin(longitude) * c, std::sin(latitude), std::cos(longitude) * c, longitude, latitude};
}

SpherePoint spherePointTowards(float x, float y, float z) {
  const float inverse = 1.0F / std::sqrt(x * x + y * y + z * z);
  const float up = std::clamp(y * inverse, -1.0F, 1.0F);
  return {x * inverse, up, z * inverse, std::atan2(x, z), std::asin(up)};
}

}  // namespace zelview
