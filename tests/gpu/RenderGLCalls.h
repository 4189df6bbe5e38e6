#pragma once

/// Counts the OpenGL ES calls of the whole program: this file's functions stand in front of the driver's.

#include <cstddef>
#include <cstdint>

namespace ZELTest {

/// Calls since the program started, on all threads.
struct GLCalls {
  /// Every call of a function that is counted: among them those that each frame makes.
  uint64_t all = 0;
  uint64_t draws = 0;
  /// Texture uploads that carry pixels.
  uint64_t uploads = 0;
  uint64_t clears = 0;
  uint64_t flushes = 0;
  uint64_t renderbuffersMade = 0;
  /// Names handed to `glDeleteRenderbuffers`, whatever they name, and to `glDeleteFramebuffers`.
  uint64_t renderbufferDeletions = 0;
  uint64_t framebufferDeletions = 0;

  GLCalls operator-(const GLCalls& earlier) const;
};

GLCalls glCalls();

/// Names that were generated and not deleted. All contexts are taken to share renderbuffers; a framebuffer that is left
/// to its context counts as living for good, since Mesa keeps it as long as the share group.
size_t livingRenderbuffers();
size_t livingFramebuffers();

}  // namespace ZELTest
