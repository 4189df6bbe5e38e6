// The order of command buffers, their handlers and their ends.

#include "MetalSupport.h"

#include "drivers/vulkan/CommandSlot.h"
#include "drivers/vulkan/Memory.h"

#include <atomic>
#include <thread>

namespace metaltest {
namespace {

TEST_F(MetalTest, TheValidationLayerIsListening) {
  ZELPlatform::vulkan::BufferMemory memory;
  ASSERT_TRUE(memory.create(gpu(), 64, VK_BUFFER_USAGE_TRANSFER_DST_BIT, ZELPlatform::vulkan::BufferPlace::Gpu));
  auto slot = ZELPlatform::vulkan::CommandSlot::create(gpu());
  ASSERT_TRUE(slot && slot->begin());
  // Two writes without a barrier in between, which only the synchronisation checks see.
  gpu().functions().vkCmdFillBuffer(slot->commands(), memory.buffer(), 0, 64, 0);
  gpu().functions().vkCmdFillBuffer(slot->commands(), memory.buffer(), 0, 64, 1);
  ASSERT_TRUE(slot->submit() && slot->wait());
  const auto messages = takeValidationMessages();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_NE(messages[0].find("SYNC-HAZARD-WRITE-AFTER-WRITE"), std::string::npos);
}

TEST_F(MetalTest, BuffersRunInTheOrderOfTheirPlacesAndHandlersFollow) {
  const auto texture = target(4, 4);
  std::vector<int> order;
  std::vector<std::shared_ptr<MTLCommandBuffer>> buffers;
  const std::array<MTLClearColor, 3> colors{MTLClearColorMake(1, 0, 0, 1), MTLClearColorMake(0, 1, 0, 1),
                                            MTLClearColorMake(0, 0, 1, 1)};
  for (int i = 0; i < 3; ++i) {
    const auto buffer = queue->commandBuffer();
    EXPECT_EQ(buffer->status(), MTLCommandBufferStatusNotEnqueued);
    buffer->enqueue();
    EXPECT_EQ(buffer->status(), MTLCommandBufferStatusEnqueued);
    buffer->renderCommandEncoderWithDescriptor(passOn(texture, MTLLoadActionClear, colors[static_cast<size_t>(i)]));
    buffer->addCompletedHandler([&order, i] { order.push_back(i * 2); });
    buffer->addCompletedHandler([&order, i] { order.push_back(i * 2 + 1); });
    buffers.push_back(buffer);
  }
  // Committed the other way round; one that was given up holds nobody back.
  queue->commandBuffer()->enqueue();
  const auto last = queue->commandBuffer();
  last->addCompletedHandler([&order] { order.push_back(6); });
  last->commit();
  buffers[2]->commit();
  buffers[1]->commit();
  EXPECT_TRUE(isFilledWith(*texture, kNothing));
  EXPECT_EQ(buffers[2]->status(), MTLCommandBufferStatusCommitted);
  buffers[0]->commit();
  last->waitUntilCompleted();
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
  EXPECT_TRUE(isFilledWith(*texture, kBlue));
  EXPECT_EQ(buffers[2]->status(), MTLCommandBufferStatusCompleted);

  // Over: nothing more is taken or done twice.
  last->addCompletedHandler([&order] { order.push_back(7); });
  last->commit();
  EXPECT_FALSE(last->computeCommandEncoder());
  queue->commandBuffer()->waitUntilCompleted();
  EXPECT_EQ(order.size(), 7U);
}

TEST_F(MetalTest, AHandlerMayWaitAndMayDropTheQueue) {
  std::atomic<bool> dropped{false};
  {
    auto own = device->newCommandQueue();
    const auto buffer = own->commandBuffer();
    auto* raw = buffer.get();
    buffer->addCompletedHandler([&dropped, raw, held = own]() mutable {
      // It can never end while its own handler runs.
      raw->waitUntilCompleted();
      held->commandBuffer()->commit();
      held.reset();
      dropped = true;
    });
    own.reset();
    buffer->commit();
    buffer->waitUntilCompleted();
  }
  EXPECT_TRUE(dropped);
}

TEST_F(MetalTest, ManyThreadsAndQueuesAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kBuffers = 100;
  std::atomic<int> ended{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const auto own = t % 2 == 0 ? queue : device->newCommandQueue();
      const auto texture = target(8, 8);
      for (int i = 0; i < kBuffers; ++i) {
        const auto buffer = own->commandBuffer();
        buffer->renderCommandEncoderWithDescriptor(passOn(texture, MTLLoadActionClear, MTLClearColorMake(1, 0, 0, 1)));
        buffer->addCompletedHandler([&ended] { ++ended; });
        buffer->commit();
        if (i % 10 == 0) {
          EXPECT_TRUE(isFilledWith(*texture, kRed));
        }
      }
      const auto last = own->commandBuffer();
      last->commit();
      last->waitUntilCompleted();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ended, kThreads * kBuffers);
}

}  // namespace
}  // namespace metaltest
