#include "MetalSupport.h"

#include <dlfcn.h>

#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

namespace metaltest {
namespace {

struct Messages {
  std::mutex mutex;
  std::vector<std::string> list;

  static Messages& shared() {
    static auto* messages = new Messages;
    return *messages;
  }
};

Color toColor(const uint8_t* bytes, bool blueFirst) {
  return blueFirst ? Color{bytes[2], bytes[1], bytes[0], bytes[3]} : Color{bytes[0], bytes[1], bytes[2], bytes[3]};
}

testing::AssertionResult allAre(const uint8_t* bytes, size_t width, size_t height, bool blueFirst, const Color& color) {
  for (size_t i = 0; i < width * height; ++i) {
    const Color found = toColor(bytes + i * 4, blueFirst);
    if (found == color) continue;
    return testing::AssertionFailure() << testing::PrintToString(found) << " at " << i % width << ", " << i / width
                                       << " instead of " << testing::PrintToString(color);
  }
  return testing::AssertionSuccess();
}

}  // namespace

std::shared_ptr<Device> validatedDevice(std::string* reason) {
  static std::string why;
  static const auto device = Device::create(validatedSettings(), &why);
  *reason = why;
  return device;
}

Settings validatedSettings() {
  // They stay loaded after the last instance, so that the leak checker can tell what they keep from what we do.
  for (const char* library : {"libVkLayer_khronos_validation.so", "libvulkan_lvp.so"}) {
    dlopen(library, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  }
  Settings settings;
  settings.onValidation = [](const std::string& message) {
    Messages& messages = Messages::shared();
    const std::lock_guard lock(messages.mutex);
    messages.list.push_back(message);
  };
  return settings;
}

std::vector<std::string> takeValidationMessages() {
  Messages& messages = Messages::shared();
  const std::lock_guard lock(messages.mutex);
  return std::exchange(messages.list, {});
}

std::string testLibraryPath() {
  return NSBundle::pathForResource(reinterpret_cast<const void*>(&testLibraryPath), "test", "metallib");
}

void MetalTest::SetUp() {
  std::string reason;
  device = validatedDevice(&reason);
  if (!device) GTEST_SKIP() << reason;
  library = device->newLibraryWithFile(testLibraryPath(), &reason);
  ASSERT_TRUE(library) << reason;
  queue = device->newCommandQueue();
  ASSERT_TRUE(queue);
}

void MetalTest::TearDown() {
  queue.reset();
  for (const std::string& message : takeValidationMessages()) ADD_FAILURE() << message;
}

std::shared_ptr<MTLRenderPipelineState> MetalTest::renderPipeline(const std::string& fragment, MTLPixelFormat format) {
  std::string error;
  auto pipeline = device->newRenderPipelineStateWithDescriptor(pipelineDescriptor(*library, fragment, format), &error);
  EXPECT_TRUE(pipeline) << error;
  return pipeline;
}

std::shared_ptr<MTLComputePipelineState> MetalTest::computePipeline(const std::string& name) {
  std::string error;
  auto pipeline = device->newComputePipelineStateWithFunction(library->newFunctionWithName(name), &error);
  EXPECT_TRUE(pipeline) << error;
  return pipeline;
}

std::shared_ptr<MTLTexture> MetalTest::target(size_t width, size_t height) {
  return device->newTextureWithDescriptor(
      {MTLTextureType2D, MTLPixelFormatBGRA8Unorm, width, height, MTLStorageModePrivate, MTLTextureUsageRenderTarget});
}

MTLRenderPipelineDescriptor pipelineDescriptor(MTLLibrary& library, const std::string& fragment,
                                               MTLPixelFormat format) {
  MTLRenderPipelineDescriptor descriptor;
  descriptor.vertexFunction = library.newFunctionWithName("vs_quad");
  descriptor.fragmentFunction = library.newFunctionWithName(fragment);
  descriptor.vertexDescriptor.attributes[0] = {MTLVertexFormatFloat2, 0, 0};
  descriptor.vertexDescriptor.layouts[0] = {8, MTLVertexStepFunctionPerVertex};
  descriptor.colorAttachments[0].pixelFormat = format;
  return descriptor;
}

Quad::Quad(MTLDevice& device) {
  static constexpr std::array<float, 8> corners{0, 0, 1, 0, 0, 1, 1, 1};
  static constexpr std::array<uint16_t, 6> triangles{0, 1, 2, 1, 3, 2};
  vertices = device.newBufferWithBytes(corners.data(), sizeof(corners), MTLResourceStorageModeShared);
  indices = device.newBufferWithBytes(triangles.data(), sizeof(triangles), MTLResourceStorageModeShared);
}

void Quad::draw(MTLRenderCommandEncoder& encoder, const Record& record) const {
  encoder.setVertexBuffer(vertices, 0, 0);
  encoder.setVertexBytes(&record, sizeof(record), 1);
  encoder.setFragmentBytes(&record, sizeof(record), 0);
  encoder.drawIndexedPrimitives(MTLPrimitiveTypeTriangle, 6, MTLIndexTypeUInt16, indices, 0);
}

MTLRenderPassDescriptor passOn(const std::shared_ptr<MTLTexture>& texture, MTLLoadAction action, MTLClearColor color) {
  auto descriptor = MTLRenderPassDescriptor::renderPassDescriptor();
  descriptor.colorAttachments[0] = {texture, action, MTLStoreActionStore, color};
  return descriptor;
}

Color texelAt(MTLTexture& texture, size_t x, size_t y) {
  const std::vector<uint8_t> bytes = texture._bytes();
  if (bytes.size() != texture.width() * texture.height() * 4) return {1, 2, 3, 4};
  return toColor(bytes.data() + (y * texture.width() + x) * 4, texture.pixelFormat() == MTLPixelFormatBGRA8Unorm);
}

testing::AssertionResult isFilledWith(MTLTexture& texture, const Color& color) {
  const std::vector<uint8_t> bytes = texture._bytes();
  if (bytes.size() != texture.width() * texture.height() * 4) return testing::AssertionFailure() << "no texels";
  return allAre(bytes.data(), texture.width(), texture.height(), texture.pixelFormat() == MTLPixelFormatBGRA8Unorm,
                color);
}

testing::AssertionResult isFilledWith(const std::shared_ptr<CGImage>& image, const Color& color) {
  if (!image) return testing::AssertionFailure() << "no image";
  return allAre(image->bytes(), image->width(), image->height(), false, color);
}

std::shared_ptr<CAMetalLayer> makeLayer(const std::shared_ptr<MTLDevice>& device, double width, double height) {
  auto layer = std::make_shared<CAMetalLayer>();
  layer->setFrame(CGRectMake(0, 0, width, height));
  layer->setDevice(device);
  layer->setDrawableSize({width, height});
  return layer;
}

bool gpuObjectsFallTo(int64_t count) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (pixelCounters().gpuObjects > count && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return pixelCounters().gpuObjects <= count;
}

bool showFrame(MTLCommandQueue& queue, CAMetalLayer& layer, const Color& color, std::function<void()> completed) {
  const auto drawable = layer.nextDrawable();
  const auto buffer = drawable ? queue.commandBuffer() : nullptr;
  if (!buffer) return false;
  const auto clear = MTLClearColorMake(color[0] / 255.0, color[1] / 255.0, color[2] / 255.0, color[3] / 255.0);
  const auto encoder =
      buffer->renderCommandEncoderWithDescriptor(passOn(drawable->texture(), MTLLoadActionClear, clear));
  if (!encoder) return false;
  encoder->endEncoding();
  buffer->presentDrawable(drawable);
  buffer->addCompletedHandler(std::move(completed));
  buffer->commit();
  return true;
}

}  // namespace metaltest
