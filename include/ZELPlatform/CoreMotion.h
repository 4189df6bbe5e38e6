#pragma once

/// The attitude of a device-motion sample.

/// A rotation as four doubles, scalar last; not necessarily of unit length.
typedef struct CMQuaternion {
  double x;
  double y;
  double z;
  double w;
} CMQuaternion;
