// What happens when Vulkan refuses, one call after the other, and when the device is lost: absent results, ends that
// are told, and no leak.

#include "MetalSupport.h"

#include "platform/metal/MetalDriver.h"

#include <atomic>
#include <type_traits>

namespace metaltest {
namespace {

using ZELPlatform::vulkan::DeviceFunctions;

/// Makes the call number `dueAt` fail; 0: none.
struct Faults {
  std::atomic<int> calls{0};
  std::atomic<int> dueAt{0};
  VkResult result = VK_ERROR_OUT_OF_DEVICE_MEMORY;

  bool isDue() { return ++calls == dueAt; }
};

Faults faults;

template <auto member, typename Function>
struct Failing;

/// A function that fails when its turn comes. The original is called first where the GPU must be waited for.
template <auto member, typename... Arguments>
struct Failing<member, VkResult (*DeviceFunctions::*)(Arguments...)> {
  static inline VkResult (*original)(Arguments...) = nullptr;

  static VkResult call(Arguments... arguments) {
    const bool due = faults.isDue();
    constexpr bool kWaits = std::is_same_v<decltype(original), PFN_vkWaitForFences>;
    if (due && !kWaits) return faults.result;
    const VkResult result = original(arguments...);
    return due ? faults.result : result;
  }
};

template <auto... members>
void replace(DeviceFunctions* functions) {
  const auto one = [functions]<auto member>() {
    using Replacement = Failing<member, decltype(member)>;
    Replacement::original = functions->*member;
    functions->*member = &Replacement::call;
  };
  (one.template operator()<members>(), ...);
}

void putFaultsIn(DeviceFunctions* functions) {
  using F = DeviceFunctions;
  replace<&F::vkAllocateCommandBuffers, &F::vkAllocateDescriptorSets, &F::vkAllocateMemory, &F::vkBeginCommandBuffer,
          &F::vkBindBufferMemory, &F::vkBindImageMemory, &F::vkCreateBuffer, &F::vkCreateCommandPool,
          &F::vkCreateDescriptorPool, &F::vkCreateDescriptorSetLayout, &F::vkCreateFence, &F::vkCreateFramebuffer,
          &F::vkCreateImage, &F::vkCreateImageView, &F::vkCreatePipelineCache, &F::vkCreatePipelineLayout,
          &F::vkCreateRenderPass, &F::vkCreateSampler, &F::vkCreateShaderModule, &F::vkCreateGraphicsPipelines,
          &F::vkCreateComputePipelines, &F::vkEndCommandBuffer, &F::vkMapMemory, &F::vkQueueSubmit,
          &F::vkResetCommandPool, &F::vkResetFences, &F::vkWaitForFences, &F::vkGetMemoryHostPointerPropertiesEXT>(
      functions);
}

std::shared_ptr<Device> faultyDevice(bool validated) {
  Settings settings;
  settings.changeFunctions = putFaultsIn;
  if (validated) {
    settings.onValidation = [](const std::string& message) { ADD_FAILURE() << message; };
  }
  std::string error;
  return Device::create(settings, &error);
}

/// A program that uses everything and takes every absent result as it comes. Returns what it shows in the end.
std::shared_ptr<CGImage> runProgram(const std::shared_ptr<MTLDevice>& device, int* handlers) {
  const auto library = device->newLibraryWithFile(testLibraryPath());
  const auto queue = device->newCommandQueue();
  if (!library || !queue) return nullptr;
  const auto pipeline = device->newRenderPipelineStateWithDescriptor(pipelineDescriptor(*library, "fs_planes"));
  const auto compute = device->newComputePipelineStateWithFunction(library->newFunctionWithName("cs_add"));
  const auto numbers = device->newBufferWithLength(4096, MTLResourceStorageModePrivate);
  const Quad quad(*device);
  const auto cache = CVMetalTextureCache::create(device);
  const auto layer = makeLayer(device, 32, 16);
  // One plane that can be imported and one that cannot.
  const auto pixels = CVPixelBuffer::create(32, 16, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  std::vector<uint8_t> rows(17 * 8 * 2, 128);
  const auto loose = CVPixelBuffer::createWithPlanarBytes(32, 16, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
                                                          {{pixels->plane(0), {rows.data(), 16, 8, 34}}});
  for (int frame = 0; frame < 3; ++frame) {
    const auto luma = cache->createTextureFromImage(pixels, MTLPixelFormatR8Unorm, 32, 16, 0);
    const auto chroma = loose ? cache->createTextureFromImage(loose, MTLPixelFormatRG8Unorm, 16, 8, 1) : nullptr;
    const auto drawable = layer->nextDrawable();
    const auto buffer = queue->commandBuffer();
    if (!buffer) continue;
    if (const auto encoder = buffer->computeCommandEncoder()) {
      encoder->setComputePipelineState(compute);
      encoder->setBuffer(numbers, 0, 0);
      encoder->setBuffer(numbers, 2048, 1);
      const std::array<uint32_t, 2> bytes{64, 1};
      encoder->setBytes(bytes.data(), sizeof(bytes), 0);
      encoder->dispatchThreadgroups(MTLSizeMake(1, 1, 1), MTLSizeMake(64, 1, 1));
      encoder->endEncoding();
    }
    const auto encoder = drawable ? buffer->renderCommandEncoderWithDescriptor(passOn(drawable->texture())) : nullptr;
    if (encoder) {
      encoder->setRenderPipelineState(pipeline);
      encoder->setFragmentTexture(CVMetalTextureGetTexture(luma), 0);
      encoder->setFragmentTexture(CVMetalTextureGetTexture(chroma), 1);
      quad.draw(*encoder, {});
      encoder->endEncoding();
      buffer->presentDrawable(drawable);
    }
    buffer->addCompletedHandler([handlers] { ++*handlers; });
    buffer->commit();
    buffer->waitUntilCompleted();
    EXPECT_GE(buffer->status(), MTLCommandBufferStatusCompleted);
  }
  const auto front = layer->contentsStore()->front();
  return front ? front->readBack() : nullptr;
}

/// What the program shows when all goes well: luma 0 as red, chroma 128 as green and blue.
constexpr Color kShown{0, 128, 128, 255};

class EachCall : public testing::TestWithParam<VkResult> {
 protected:
  void SetUp() override {
    std::string reason;
    if (!validatedDevice(&reason)) GTEST_SKIP() << reason;
    faults.dueAt = 0;
    faults.result = GetParam();
  }
  void TearDown() override { faults.dueAt = 0; }
};

TEST_P(EachCall, InTurnFailsQuietlyAndLeavesNothing) {
  const bool lost = GetParam() == VK_ERROR_DEVICE_LOST;
  const int64_t before = pixelCounters().gpuObjects;
  int reached = 0;
  for (int dueAt = 1;; ++dueAt) {
    faults.calls = 0;
    faults.dueAt = dueAt;
    SCOPED_TRACE("call " + std::to_string(dueAt));
    auto device = faultyDevice(!lost);
    const bool opened = device != nullptr;
    int handlers = 0;
    if (device) runProgram(device, &handlers);
    const bool fired = faults.calls >= dueAt;
    faults.dueAt = 0;
    if (device) {
      // Every commit was told of, whatever became of it.
      EXPECT_EQ(handlers, device->gpu().isLost() && handlers == 0 ? 0 : 3);
      int more = 0;
      const auto picture = runProgram(device, &more);
      if (device->gpu().isLost()) {
        EXPECT_TRUE(lost);
        EXPECT_FALSE(picture);
      } else {
        EXPECT_TRUE(isFilledWith(picture, kShown));
      }
    }
    device.reset();
    ASSERT_TRUE(gpuObjectsFallTo(before)) << pixelCounters().gpuObjects - before << " objects are left";
    if (!fired) {
      EXPECT_TRUE(opened);
      break;
    }
    reached = dueAt;
    if (testing::Test::HasFailure()) break;
  }
  // The program makes far more calls than this; fewer would mean that the faults are not in its way.
  EXPECT_GT(reached, 80);
}

INSTANTIATE_TEST_SUITE_P(All, EachCall, testing::Values(VK_ERROR_OUT_OF_DEVICE_MEMORY, VK_ERROR_DEVICE_LOST),
                         [](const auto& info) {
                           return std::string(info.param == VK_ERROR_DEVICE_LOST ? "DeviceLost" : "OutOfMemory");
                         });

TEST(VulkanDevice, IsAbsentWithAReasonWhereItCannotWork) {
  std::string error;
  Settings settings;
  settings.loader = "libvulkan-that-is-not-there.so.1";
  EXPECT_FALSE(Device::create(settings, &error));
  EXPECT_EQ(error, "Vulkan is not available: its loader libvulkan-that-is-not-there.so.1 is not installed.");
  // A library that is no loader.
  settings.loader = "libz.so.1";
  EXPECT_FALSE(Device::create(settings, &error));
  EXPECT_EQ(error, "Vulkan is not available: its loader libz.so.1 is older than version 1.1.");
}

TEST(DefaultDevice, CanBeReplacedAndIsOneForTheProcess) {
  const auto own = MTLCreateSystemDefaultDevice();
  if (!own) GTEST_SKIP() << MTLUnavailableReason();
  EXPECT_EQ(MTLCreateSystemDefaultDevice(), own);
  EXPECT_EQ(MTLUnavailableReason(), "");
  EXPECT_FALSE(own->name().empty());
  ZELPlatform::replaceMetalDevice([] { return nullptr; });
  EXPECT_FALSE(MTLCreateSystemDefaultDevice());
  EXPECT_FALSE(MTLUnavailableReason().empty());
  ZELPlatform::replaceMetalDevice(nullptr);
  EXPECT_EQ(MTLCreateSystemDefaultDevice(), own);
}

TEST(DefaultDevice, IsOpenedAnewAfterItWasLost) {
  auto own = std::dynamic_pointer_cast<Device>(MTLCreateSystemDefaultDevice());
  if (!own) GTEST_SKIP() << MTLUnavailableReason();
  own->gpu().succeeded(VK_ERROR_DEVICE_LOST);
  EXPECT_FALSE(own->newCommandQueue());
  EXPECT_FALSE(own->newBufferWithLength(4, MTLResourceStorageModePrivate));
  const auto next = MTLCreateSystemDefaultDevice();
  ASSERT_TRUE(next);
  EXPECT_NE(next, own);
  int handlers = 0;
  EXPECT_TRUE(isFilledWith(runProgram(next, &handlers), kShown));
}

}  // namespace
}  // namespace metaltest
