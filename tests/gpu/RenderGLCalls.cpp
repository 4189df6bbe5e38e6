#include "gpu/RenderGLCalls.h"

#include <GLES2/gl2.h>
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>

namespace ZELTest {
namespace {

std::atomic<uint64_t> gAll;
std::atomic<uint64_t> gDraws;
std::atomic<uint64_t> gUploads;
std::atomic<uint64_t> gClears;
std::atomic<uint64_t> gFlushes;
std::atomic<uint64_t> gRenderbuffersMade;
std::atomic<uint64_t> gRenderbufferDeletions;
std::atomic<uint64_t> gFramebufferDeletions;

struct Names {
  std::mutex mutex;
  std::set<GLuint> renderbuffers;
  /// Names of different contexts may be equal.
  std::multiset<GLuint> framebuffers;
};

Names& names() {
  static Names* const living = new Names;  // outlives the contexts that are destroyed while the program ends
  return *living;
}

/// The driver's function of the same name.
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

GLCalls GLCalls::operator-(const GLCalls& earlier) const {
  return {all - earlier.all,
          draws - earlier.draws,
          uploads - earlier.uploads,
          clears - earlier.clears,
          flushes - earlier.flushes,
          renderbuffersMade - earlier.renderbuffersMade,
          renderbufferDeletions - earlier.renderbufferDeletions,
          framebufferDeletions - earlier.framebufferDeletions};
}

GLCalls glCalls() {
  return {gAll, gDraws, gUploads, gClears, gFlushes, gRenderbuffersMade, gRenderbufferDeletions, gFramebufferDeletions};
}

size_t livingRenderbuffers() {
  const std::lock_guard lock(names().mutex);
  return names().renderbuffers.size();
}

size_t livingFramebuffers() {
  const std::lock_guard lock(names().mutex);
  return names().framebuffers.size();
}

}  // namespace ZELTest

using namespace ZELTest;

/// Defines a function of the driver's name that does `WORK` and then calls the driver's.
#define ZEL_COUNTED(NAME, PARAMETERS, ARGUMENTS, WORK)       \
  extern "C" void NAME PARAMETERS {                          \
    static auto* const driver = next<decltype(NAME)>(#NAME); \
    ++gAll;                                                  \
    WORK;                                                    \
    driver ARGUMENTS;                                        \
  }

ZEL_COUNTED(glDrawElements, (GLenum mode, GLsizei count, GLenum type, const void* indices),
            (mode, count, type, indices), ++gDraws)
ZEL_COUNTED(glDrawArrays, (GLenum mode, GLint first, GLsizei count), (mode, first, count), ++gDraws)
ZEL_COUNTED(glTexImage2D,
            (GLenum target, GLint level, GLint internal, GLsizei width, GLsizei height, GLint border, GLenum format,
             GLenum type, const void* pixels),
            (target, level, internal, width, height, border, format, type, pixels), gUploads += pixels ? 1 : 0)
ZEL_COUNTED(glTexSubImage2D,
            (GLenum target, GLint level, GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type,
             const void* pixels),
            (target, level, x, y, width, height, format, type, pixels), gUploads += pixels ? 1 : 0)
ZEL_COUNTED(glClear, (GLbitfield mask), (mask), ++gClears)
ZEL_COUNTED(glFlush, (), (), ++gFlushes)
ZEL_COUNTED(glFinish, (), (), (void)0)
ZEL_COUNTED(glBindRenderbuffer, (GLenum target, GLuint name), (target, name), (void)0)
ZEL_COUNTED(glBindFramebuffer, (GLenum target, GLuint name), (target, name), (void)0)
ZEL_COUNTED(glBindTexture, (GLenum target, GLuint name), (target, name), (void)0)
ZEL_COUNTED(glBindBuffer, (GLenum target, GLuint name), (target, name), (void)0)
ZEL_COUNTED(glUseProgram, (GLuint program), (program), (void)0)
ZEL_COUNTED(glViewport, (GLint x, GLint y, GLsizei width, GLsizei height), (x, y, width, height), (void)0)

#undef ZEL_COUNTED

extern "C" void glGenRenderbuffers(GLsizei count, GLuint* made) {
  static auto* const driver = next<decltype(glGenRenderbuffers)>("glGenRenderbuffers");
  driver(count, made);
  ++gAll;
  gRenderbuffersMade += static_cast<uint64_t>(count);
  const std::lock_guard lock(names().mutex);
  names().renderbuffers.insert(made, made + count);
}

extern "C" void glDeleteRenderbuffers(GLsizei count, const GLuint* dead) {
  static auto* const driver = next<decltype(glDeleteRenderbuffers)>("glDeleteRenderbuffers");
  driver(count, dead);
  ++gAll;
  gRenderbufferDeletions += static_cast<uint64_t>(count);
  const std::lock_guard lock(names().mutex);
  std::for_each(dead, dead + count, [](GLuint name) { names().renderbuffers.erase(name); });
}

extern "C" void glGenFramebuffers(GLsizei count, GLuint* made) {
  static auto* const driver = next<decltype(glGenFramebuffers)>("glGenFramebuffers");
  driver(count, made);
  ++gAll;
  const std::lock_guard lock(names().mutex);
  names().framebuffers.insert(made, made + count);
}

extern "C" void glDeleteFramebuffers(GLsizei count, const GLuint* dead) {
  static auto* const driver = next<decltype(glDeleteFramebuffers)>("glDeleteFramebuffers");
  driver(count, dead);
  ++gAll;
  gFramebufferDeletions += static_cast<uint64_t>(count);
  const std::lock_guard lock(names().mutex);
  std::for_each(dead, dead + count, [](GLuint name) {
    const auto found = names().framebuffers.find(name);
    if (found != names().framebuffers.end()) {
      names().framebuffers.erase(found);
    }
  });
}
