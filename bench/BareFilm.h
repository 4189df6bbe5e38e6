#pragma once

#include "bench/BareRenderer.h"

#include <ZELPlatform/GLKMath.h>

#include <cstdint>
#include <string>

namespace ZELBench {

/// Frames, and how long they took.
struct FilmTimes {
  uint64_t frames = 0;
  double seconds = 0.0;
  /// What the process used of the processor meanwhile.
  double processorSeconds = 0.0;
  double secondsPerFrame() const { return frames > 0 ? seconds / static_cast<double>(frames) : 0.0; }
};

/// Seconds that this process has used of the processor.
double processorSeconds();

/// Decodes a film and lets go of its frames, as fast as the decoder can. No frames when that fails. Blocks.
FilmTimes decodeBare(const std::string& path);

/// Decodes a film as fast as it can be drawn: the decoder on threads of its own, a few frames ahead, while the calling
/// thread makes two planes of each frame, uploads, draws and waits for the GPU, with the camera turning. Of OpenGL ES
/// and the kit's shaders, and nothing else of the kit. Blocks; starts no application.
FilmTimes playBare(const std::string& path, CGSize content, CGSize target);

/// The camera of a film that turns evenly, `seconds` after its beginning.
GLKMatrix4 turningCamera(double seconds);

}  // namespace ZELBench
