// What happens when Vulkan refuses, one call after the other, and when the device is lost: absent results, ends that
// are told, and no leak.

#include "Faults.h"
#include "MetalSupport.h"

#include "platform/metal/MetalDriver.h"

namespace metaltest {
namespace {

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
  }
  void TearDown() override {
    faults.disarm();
    for (const std::string& message : takeValidationMessages()) ADD_FAILURE() << message;
  }
};

TEST_P(EachCall, InTurnFailsQuietlyAndLeavesNothing) {
  const bool lost = GetParam() == VK_ERROR_DEVICE_LOST;
  const int64_t before = pixelCounters().gpuObjects;
  int reached = 0;
  for (int dueAt = 1;; ++dueAt) {
    faults.arm(dueAt, GetParam());
    SCOPED_TRACE("call " + std::to_string(dueAt));
    auto device = faultyDevice();
    const bool opened = device != nullptr;
    int handlers = 0;
    if (device) runProgram(device, &handlers);
    const bool fired = faults.disarm();
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

TEST(VulkanDevice, IsAbsentWithAReasonWhereNoneWillDo) {
  using ZELPlatform::vulkan::InstanceFunctions;
  static PFN_vkGetPhysicalDeviceProperties2 properties = nullptr;
  const std::string none = "Vulkan is not available: no device has what is needed.";
  std::string error;
  Settings settings;
  const auto expectAbsent = [&](const char* what, void (*take)(InstanceFunctions*)) {
    settings.changeInstanceFunctions = take;
    EXPECT_FALSE(Device::create(settings, &error)) << what;
  };
  if (!Device::create(settings, &error)) GTEST_SKIP() << error;

  expectAbsent("no device", [](InstanceFunctions* vk) {
    vk->vkEnumeratePhysicalDevices = [](VkInstance, uint32_t* count, VkPhysicalDevice*) {
      *count = 0;
      return VK_SUCCESS;
    };
  });
  EXPECT_EQ(error, none);
  expectAbsent("no queue", [](InstanceFunctions* vk) {
    vk->vkGetPhysicalDeviceQueueFamilyProperties = [](VkPhysicalDevice, uint32_t* count, VkQueueFamilyProperties*) {
      *count = 0;
    };
  });
  EXPECT_EQ(error, none);
  expectAbsent("no filtered textures", [](InstanceFunctions* vk) {
    vk->vkGetPhysicalDeviceFormatProperties = [](VkPhysicalDevice, VkFormat, VkFormatProperties* format) {
      format->optimalTilingFeatures = VK_FORMAT_FEATURE_SAMPLED_IMAGE_BIT | VK_FORMAT_FEATURE_COLOR_ATTACHMENT_BIT;
    };
  });
  EXPECT_EQ(error, none);
  expectAbsent("version 1.0", [](InstanceFunctions* vk) {
    properties = vk->vkGetPhysicalDeviceProperties2;
    vk->vkGetPhysicalDeviceProperties2 = [](VkPhysicalDevice device, VkPhysicalDeviceProperties2* answer) {
      properties(device, answer);
      answer->properties.apiVersion = VK_API_VERSION_1_0;
    };
  });
  EXPECT_EQ(error, none);
  expectAbsent("a device that does not open", [](InstanceFunctions* vk) {
    vk->vkCreateDevice = [](VkPhysicalDevice, const VkDeviceCreateInfo*, const VkAllocationCallbacks*, VkDevice*) {
      return VK_ERROR_INITIALIZATION_FAILED;
    };
  });
  EXPECT_NE(error.find("cannot be opened (error -3)."), std::string::npos) << error;
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
