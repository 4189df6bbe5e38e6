#pragma once

/// What a frame must look like on the screen, from the mathematics alone, in double precision. Shares no code with the
/// library: only the pixel buffer's memory is read.

#include <ZELPlatform/CoreVideo.h>

#include <array>
#include <optional>

namespace ZELTest {

enum class Layout { FlatFit, FlatFill, Equirectangular, Cubemap, SegmentedSphere };

/// Rows of a rotation that turns a ray of the view (x right, y up, z ahead) into one of the world.
using Rotation = std::array<std::array<double, 3>, 3>;

/// Yaw to the right, then pitch up, then roll clockwise, in degrees; mirrored left to right in the world.
Rotation rotation(double yaw, double pitch, double roll, bool mirror);

/// Everything that decides a picture, but the frame's own pixels.
struct Shot {
  Layout layout = Layout::FlatFit;
  /// Pixels at each border of each cube face that are cut off.
  double padding = 0.0;
  Rotation camera{};
  double zoom = 1.0;
  /// The view's size in points, and whether the display is held sideways.
  double pointsWide = 0.0;
  double pointsHigh = 0.0;
  bool landscape = true;
  /// The drawable's size.
  int pixelsWide = 0;
  int pixelsHigh = 0;
  /// The frame's size.
  double frameWide = 0.0;
  double frameHigh = 0.0;
  /// Of the black around a flat picture.
  int borderAlpha = 0;
};

/// The place in the frame, 0 to 1 on each axis, that a pixel of the drawable shows.
struct Sample {
  double u = 0.0;
  double v = 0.0;
  /// The arithmetic of single precision may land on the other side of a discontinuity here: the wrap at the back of an
  /// equirectangular frame, the border of two cube faces, the rim of a flat picture.
  bool ambiguous = false;
};

/// How far a normalised ray of single precision may be off, per component: some ten roundings of the interpolated ray,
/// its length and its division. It is less than a hundredth of a pixel of the views tested, so that the pixels which it
/// excludes at discontinuities are few.
constexpr double kRayError = 4e-6;

/// Nothing for a pixel outside the picture, which is to be black.
std::optional<Sample> sampleAt(const Shot& shot, int column, int row);

/// Pixels per point of the drawable: a spherical frame is drawn at the screen's, a flat one at up to twice its own.
double drawableScale(const Shot& shot, double nativeScale);

/// Red, green and blue, 0 to 1, at a place in a frame: bilinear between texel centres, clamped to the edge, and for
/// two-plane frames converted by the video-range BT.709 matrix, whichever range they declare.
std::array<double, 3> colourAt(const CVPixelBuffer& frame, double u, double v);

}  // namespace ZELTest
