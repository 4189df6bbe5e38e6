#pragma once

#include "drivers/vulkan/Device.h"
#include "platform/corevideo/Counters.h"
#include "platform/quartzcore/LayerContents.h"

#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/Metal.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace metaltest {

using ZELPlatform::pixelCounters;
using ZELPlatform::vulkan::Device;
using ZELPlatform::vulkan::Gpu;
using ZELPlatform::vulkan::Settings;

/// Red, green, blue, alpha.
using Color = std::array<uint8_t, 4>;

inline constexpr Color kNothing{0, 0, 0, 0};
inline constexpr Color kBlack{0, 0, 0, 255};
inline constexpr Color kRed{255, 0, 0, 255};
inline constexpr Color kGreen{0, 255, 0, 255};
inline constexpr Color kBlue{0, 0, 255, 255};

/// The device whose every step the validation layer looks at. Opened once for the program. Null, with a reason, where
/// there is no Vulkan or no layer.
std::shared_ptr<Device> validatedDevice(std::string* reason);

/// For a device of a test's own that the layer looks at, too.
Settings validatedSettings();

/// What the validation layer said since the last call. Tests of `MetalTest` and of programs with `WatchedViews.cpp`
/// fail for it.
std::vector<std::string> takeValidationMessages();

std::string testLibraryPath();

/// A test on the validated device.
class MetalTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::shared_ptr<MTLRenderPipelineState> renderPipeline(const std::string& fragment,
                                                         MTLPixelFormat format = MTLPixelFormatBGRA8Unorm);
  std::shared_ptr<MTLComputePipelineState> computePipeline(const std::string& name);
  std::shared_ptr<MTLTexture> target(size_t width, size_t height);

  Gpu& gpu() const { return dynamic_cast<Device&>(*device).gpu(); }

  std::shared_ptr<MTLDevice> device;
  std::shared_ptr<MTLLibrary> library;
  std::shared_ptr<MTLCommandQueue> queue;
};

/// What the test's vertex and fragment functions are given.
struct Record {
  std::array<float, 4> rect{-1, -1, 2, 2};
  std::array<float, 4> color{0, 0, 0, 1};
};

MTLRenderPipelineDescriptor pipelineDescriptor(MTLLibrary& library, const std::string& fragment,
                                               MTLPixelFormat format = MTLPixelFormatBGRA8Unorm);

/// The four corners of a unit square and two triangles of them.
struct Quad {
  explicit Quad(MTLDevice& device);
  void draw(MTLRenderCommandEncoder& encoder, const Record& record) const;

  std::shared_ptr<MTLBuffer> vertices;
  std::shared_ptr<MTLBuffer> indices;
};

MTLRenderPassDescriptor passOn(const std::shared_ptr<MTLTexture>& texture, MTLLoadAction action = MTLLoadActionClear,
                               MTLClearColor color = MTLClearColorMake(0, 0, 0, 0));

/// The colour of a texel of a four-byte texture.
Color texelAt(MTLTexture& texture, size_t x, size_t y);

/// Whether all texels of a texture, or pixels of an image, have the colour.
testing::AssertionResult isFilledWith(MTLTexture& texture, const Color& color);
testing::AssertionResult isFilledWith(const std::shared_ptr<CGImage>& image, const Color& color);

std::shared_ptr<CAMetalLayer> makeLayer(const std::shared_ptr<MTLDevice>& device, double width, double height);

/// How many GPU objects may be made later than while warming up. What is under way at once is a matter of scheduling,
/// and what its peak needs is made once, when it is reached: a third and fourth image of a ring (four objects each),
/// command slots (three) and slots for copies (four). One object a frame would be hundreds.
inline constexpr int kMadeAtThePeak = 40;

/// Whether so many GPU objects are left, and no more, within a few seconds: what the GPU has done with is let go on
/// threads of the queues.
bool gpuObjectsFallTo(int64_t count);

/// One frame that fills the layer's next drawable with a colour; false without a drawable.
bool showFrame(MTLCommandQueue& queue, CAMetalLayer& layer, const Color& color, std::function<void()> completed = {});

}  // namespace metaltest
