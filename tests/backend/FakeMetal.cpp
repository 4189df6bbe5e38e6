#include "backend/FakeMetal.h"

#include <ZELPlatform/CVMetalTextureCache.h>

#include <cstring>
#include <utility>

#include "platform/metal/MetalDriver.h"

namespace ZELTest {
namespace {

FakeMetal& fake() { return FakeMetal::shared(); }

const char* formatName(MTLPixelFormat format) {
  switch (format) {
    case MTLPixelFormatR8Unorm:
      return "R8";
    case MTLPixelFormatRG8Unorm:
      return "RG8";
    case MTLPixelFormatRGBA8Unorm:
      return "RGBA8";
    case MTLPixelFormatBGRA8Unorm:
      return "BGRA8";
    default:
      return "other";
  }
}

std::string number(double value) {
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

std::string nameOf(const std::shared_ptr<MTLTexture>& texture) {
  const auto known = std::dynamic_pointer_cast<FakeTexture>(texture);
  return known ? known->name : "none";
}

class FakeBuffer final : public MTLBuffer {
 public:
  explicit FakeBuffer(size_t length) : bytes_(length) {}
  size_t length() const override { return bytes_.size(); }
  void* contents() override { return bytes_.data(); }

 private:
  std::vector<uint8_t> bytes_;
};

class FakeFunction final : public MTLFunction {
 public:
  explicit FakeFunction(std::string name) : name_(std::move(name)) {}
  std::string name() const override { return name_; }

 private:
  std::string name_;
};

class FakeLibrary final : public MTLLibrary {
 public:
  std::shared_ptr<MTLFunction> newFunctionWithName(const std::string& name) override {
    return fake().fails("function " + name) ? nullptr : std::make_shared<FakeFunction>(name);
  }
};

class FakePipeline final : public MTLRenderPipelineState {
 public:
  explicit FakePipeline(std::string itsName) : name(std::move(itsName)) {}
  const std::string name;
};

class FakeRenderEncoder final : public MTLRenderCommandEncoder {
 public:
  void setRenderPipelineState(const std::shared_ptr<MTLRenderPipelineState>& state) override {
    fake().log("pipeline " + std::dynamic_pointer_cast<FakePipeline>(state)->name);
  }
  void setCullMode(MTLCullMode mode) override { fake().log("cull " + std::to_string(mode)); }
  void setVertexBuffer(const std::shared_ptr<MTLBuffer>& buffer, size_t offset, size_t index) override {
    fake().log("vertex buffer " + std::to_string(index) + ": " + std::to_string(buffer->length()) + "+" +
               std::to_string(offset));
  }
  void setVertexBytes(const void* bytes, size_t length, size_t index) override {
    const auto* first = static_cast<const uint8_t*>(bytes);
    fake().vertexBytes.assign(first, first + length);
    fake().log("vertex bytes " + std::to_string(index) + ": " + std::to_string(length));
  }
  void setFragmentBytes(const void* bytes, size_t length, size_t index) override {
    const auto* first = static_cast<const uint8_t*>(bytes);
    fake().fragmentBytes.assign(first, first + length);
    fake().log("fragment bytes " + std::to_string(index) + ": " + std::to_string(length));
  }
  void setFragmentTexture(const std::shared_ptr<MTLTexture>& texture, size_t index) override {
    fake().log("texture " + std::to_string(index) + ": " + nameOf(texture));
  }
  void drawIndexedPrimitives(MTLPrimitiveType type, size_t count, MTLIndexType indexType,
                             const std::shared_ptr<MTLBuffer>& buffer, size_t offset) override {
    fake().log("draw " + std::to_string(type) + " " + std::to_string(count) + " " + std::to_string(indexType) + " " +
               std::to_string(buffer->length()) + "+" + std::to_string(offset));
  }
  void endEncoding() override { fake().log("end"); }
};

class FakeCommandBuffer final : public MTLCommandBuffer {
 public:
  std::shared_ptr<MTLRenderCommandEncoder> renderCommandEncoderWithDescriptor(
      const MTLRenderPassDescriptor& descriptor) override {
    if (fake().fails("encoder")) return nullptr;
    const MTLRenderPassColorAttachmentDescriptor& target = descriptor.colorAttachments[0];
    fake().log("pass into " + nameOf(target.texture) + " load " + std::to_string(target.loadAction) + " store " +
               std::to_string(target.storeAction) + " clear " + number(target.clearColor.red) + " " +
               number(target.clearColor.green) + " " + number(target.clearColor.blue) + " " +
               number(target.clearColor.alpha));
    return std::make_shared<FakeRenderEncoder>();
  }
  std::shared_ptr<MTLComputeCommandEncoder> computeCommandEncoder() override { return nullptr; }
  void enqueue() override { fake().log("enqueue"); }
  void presentDrawable(const std::shared_ptr<CAMetalDrawable>& drawable) override {
    fake().log("present " + nameOf(drawable->texture()));
  }
  void addCompletedHandler(std::function<void()> handler) override { handlers_.push_back(std::move(handler)); }
  void commit() override {
    fake().log("commit");
    fake().commit(std::move(handlers_));
  }
  void waitUntilCompleted() override {
    fake().log("wait");
    fake().complete();
  }
  MTLCommandBufferStatus status() const override {
    return fake().fails("work") ? MTLCommandBufferStatusError : MTLCommandBufferStatusCompleted;
  }

 private:
  std::vector<std::function<void()>> handlers_;
};

class FakeQueue final : public MTLCommandQueue {
 public:
  std::shared_ptr<MTLCommandBuffer> commandBuffer() override {
    return fake().fails("command buffer") ? nullptr : std::make_shared<FakeCommandBuffer>();
  }
};

class FakePlane final : public CVMetalTexture {
 public:
  explicit FakePlane(CVPixelBufferRef buffer, std::shared_ptr<MTLTexture> texture)
      : buffer_(std::move(buffer)), texture_(std::move(texture)) {}
  std::shared_ptr<MTLTexture> texture() const override { return texture_; }
  bool isCopy() const override { return fake().fails("import"); }

 private:
  CVPixelBufferRef buffer_;
  std::shared_ptr<MTLTexture> texture_;
};

class FakeTextureCache final : public CVMetalTextureCache {
 public:
  CVMetalTextureRef createTextureFromImage(const CVPixelBufferRef& image, MTLPixelFormat format, size_t width,
                                           size_t height, size_t plane) override {
    if (fake().fails("texture") || fake().fails("texture " + std::to_string(plane))) return nullptr;
    return std::make_shared<FakePlane>(
        image, std::make_shared<FakeTexture>("plane " + std::to_string(plane), format, width, height));
  }
  void flush() override {}
};

class FakeDrawable final : public CAMetalDrawable {
 public:
  explicit FakeDrawable(std::shared_ptr<MTLTexture> texture) : texture_(std::move(texture)) {}
  std::shared_ptr<MTLTexture> texture() const override { return texture_; }
  void present() override { fake().log("presented at once"); }

 private:
  std::shared_ptr<MTLTexture> texture_;
};

class FakeRing final : public ZELPlatform::DrawableRing {
 public:
  FakeRing(MTLPixelFormat format, size_t width, size_t height) : format_(format), width_(width), height_(height) {}
  std::shared_ptr<CAMetalDrawable> next() override {
    if (fake().fails("drawable")) return nullptr;
    const std::string name = std::to_string(width_) + "x" + std::to_string(height_);
    return std::make_shared<FakeDrawable>(std::make_shared<FakeTexture>(name, format_, width_, height_));
  }

 private:
  MTLPixelFormat format_;
  size_t width_;
  size_t height_;
};

class FakeDevice final : public MTLDevice {
 public:
  std::string name() const override { return "a device of the tests"; }
  bool supportsFeatureSet(MTLFeatureSet) const override { return false; }

  std::shared_ptr<MTLLibrary> newLibraryWithFile(const std::string&, std::string* error) override {
    if (fake().fails("library error")) *error = "The file is damaged.";
    return fake().fails("library") ? nullptr : std::make_shared<FakeLibrary>();
  }

  std::shared_ptr<MTLRenderPipelineState> newRenderPipelineStateWithDescriptor(
      const MTLRenderPipelineDescriptor& descriptor, std::string* error) override {
    if (!descriptor.vertexFunction || !descriptor.fragmentFunction) return nullptr;
    const std::string name = descriptor.fragmentFunction->name();
    const MTLVertexAttributeDescriptor& corner = descriptor.vertexDescriptor.attributes[0];
    fake().log("compile " + descriptor.vertexFunction->name() + " " + name + " for " +
               formatName(descriptor.colorAttachments[0].pixelFormat) + ", corner " + std::to_string(corner.format) +
               " " + std::to_string(corner.bufferIndex) + "+" + std::to_string(corner.offset) + " every " +
               std::to_string(descriptor.vertexDescriptor.layouts[0].stride));
    if (fake().fails("pipeline error " + name)) *error = "It will not do.";
    return fake().fails("pipeline " + name) ? nullptr : std::make_shared<FakePipeline>(name);
  }
  std::shared_ptr<MTLComputePipelineState> newComputePipelineStateWithFunction(const std::shared_ptr<MTLFunction>&,
                                                                               std::string*) override {
    return nullptr;
  }

  std::shared_ptr<MTLBuffer> newBufferWithBytes(const void* bytes, size_t length, uint32_t) override {
    if (fake().fails("buffer " + std::to_string(length))) return nullptr;
    auto buffer = std::make_shared<FakeBuffer>(length);
    std::memcpy(buffer->contents(), bytes, length);
    return buffer;
  }
  std::shared_ptr<MTLBuffer> newBufferWithLength(size_t, uint32_t) override { return nullptr; }
  std::shared_ptr<MTLTexture> newTextureWithDescriptor(const MTLTextureDescriptor&) override { return nullptr; }
  std::shared_ptr<MTLCommandQueue> newCommandQueue() override {
    return fake().fails("queue") ? nullptr : std::make_shared<FakeQueue>();
  }
  size_t maximumTextureSize() const override { return 4096; }
  std::shared_ptr<CVMetalTextureCache> _newTextureCache() override {
    return fake().fails("texture cache") ? nullptr : std::make_shared<FakeTextureCache>();
  }
  std::shared_ptr<ZELPlatform::DrawableRing> _newDrawableRing(const std::shared_ptr<ZELPlatform::LayerContents>&,
                                                              MTLPixelFormat format, size_t width,
                                                              size_t height) override {
    return fake().fails("ring") ? nullptr : std::make_shared<FakeRing>(format, width, height);
  }
};

/// In place of the machine's own device before anything asks for one.
const bool kInstalled = [] {
  ZELPlatform::replaceMetalDevice([] { return fake().createDevice(); });
  return true;
}();

}  // namespace

FakeMetal& FakeMetal::shared() {
  static auto* const instance = new FakeMetal;
  return *instance;
}

void FakeMetal::reset() {
  complete();
  const std::lock_guard lock(mutex_);
  failing_.clear();
  lines_.clear();
  held_ = false;
}

std::shared_ptr<MTLDevice> FakeMetal::createDevice() {
  if (fails("device")) return nullptr;
  const std::lock_guard lock(mutex_);
  if (!device_) device_ = std::make_shared<FakeDevice>();
  return device_;
}

void FakeMetal::loseDevice() {
  const std::lock_guard lock(mutex_);
  device_ = nullptr;
}

void FakeMetal::fail(const std::string& call) {
  const std::lock_guard lock(mutex_);
  failing_.insert(call);
}

void FakeMetal::mend(const std::string& call) {
  const std::lock_guard lock(mutex_);
  failing_.erase(call);
}

bool FakeMetal::fails(const std::string& call) {
  const std::lock_guard lock(mutex_);
  return failing_.contains(call);
}

void FakeMetal::log(std::string line) {
  const std::lock_guard lock(mutex_);
  lines_.push_back(std::move(line));
}

std::vector<std::string> FakeMetal::takeLog() {
  const std::lock_guard lock(mutex_);
  return std::exchange(lines_, {});
}

void FakeMetal::holdCompletions(bool held) {
  const std::lock_guard lock(mutex_);
  held_ = held;
}

void FakeMetal::commit(std::vector<std::function<void()>> handlers) {
  {
    const std::lock_guard lock(mutex_);
    pending_.insert(pending_.end(), handlers.begin(), handlers.end());
    if (held_) return;
  }
  complete();
}

void FakeMetal::complete() {
  std::vector<std::function<void()>> ended;
  {
    const std::lock_guard lock(mutex_);
    ended = std::exchange(pending_, {});
  }
  for (const std::function<void()>& handler : ended) handler();
}

std::string describe(const MTLTexture& texture) {
  return std::string(formatName(texture.pixelFormat())) + " " + std::to_string(texture.width()) + "x" +
         std::to_string(texture.height());
}

}  // namespace ZELTest
