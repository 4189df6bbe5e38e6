#pragma once

#include <ZELPlatform/GLKMath.h>

namespace zelview {

/// Where the middle of a view looks, in radians.
///
/// Signs are those of `Camera`: yaw turns right, pitch looks up. The kit's angle triples agree in yaw and count pitch
/// the other way, down; `panOf` and `directionOf` are the places where the two meet.
struct Direction {
  double yaw = 0.0;
  double pitch = 0.0;
};

/// The direction of a rotation whose roll is left out. Straight up and down the yaw is that of the view's own right.
Direction directionOf(const GLKMatrix4& viewMatrix);

/// The angle triple (yaw, pitch down, 0) of a direction.
GLKVector3 panOf(Direction direction);

/// The panning by which a camera on a device that is turned like `device` looks in that direction, the right way up as
/// far as the device is: yaw comes before the device's own rotation, pitch after it. A device that lies on its side
/// looks as high or low as it can.
GLKVector3 panAroundDevice(const GLKMatrix4& device, Direction direction);

}  // namespace zelview
