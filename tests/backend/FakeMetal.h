#pragma once

/// A GPU that draws nothing, writes down what it is told, and fails where a test wants it to.

#include <ZELPlatform/Metal.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace ZELTest {

/// What all fake objects of the process share. The shader library is loaded once for the process, so they share one
/// script for good; a test begins by resetting it.
class FakeMetal {
 public:
  static FakeMetal& shared();

  void reset();

  /// The device, or null when "device" fails. Installed as the process's default device before the tests begin.
  std::shared_ptr<MTLDevice> createDevice();

  /// Has another device take the place of the present one.
  void loseDevice();

  /// Calls that fail: "device", "library", "function NAME", "pipeline NAME", "pipeline error NAME" (a pipeline and an
  /// error), "buffer", "queue", "texture cache", "texture" or "texture PLANE", "import" (a copy instead), "ring",
  /// "drawable", "command buffer", "encoder", "work" (on the GPU).
  void fail(const std::string& call);
  void mend(const std::string& call);
  bool fails(const std::string& call);

  void log(std::string line);
  /// What was logged since the last call.
  std::vector<std::string> takeLog();

  /// While completions are held, committed work goes on until `complete` is called.
  void holdCompletions(bool held);
  void commit(std::vector<std::function<void()>> handlers);
  void complete();

  /// The bytes that the last draw's functions were given.
  std::vector<uint8_t> vertexBytes;
  std::vector<uint8_t> fragmentBytes;

 private:
  std::mutex mutex_;
  std::shared_ptr<MTLDevice> device_;
  std::set<std::string> failing_;
  std::vector<std::string> lines_;
  bool held_ = false;
  std::vector<std::function<void()>> pending_;
};

class FakeTexture final : public MTLTexture {
 public:
  FakeTexture(std::string itsName, MTLPixelFormat format, size_t width, size_t height)
      : name(std::move(itsName)), format_(format), width_(width), height_(height) {}

  MTLPixelFormat pixelFormat() const override { return format_; }
  size_t width() const override { return width_; }
  size_t height() const override { return height_; }
  MTLStorageMode storageMode() const override { return MTLStorageModeShared; }
  uint32_t usage() const override { return MTLTextureUsageShaderRead; }

  const std::string name;

 private:
  MTLPixelFormat format_;
  size_t width_;
  size_t height_;
};

/// "R8 1280x720": what a texture is.
std::string describe(const MTLTexture& texture);

}  // namespace ZELTest
