#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/QuartzCore.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "platform/quartzcore/LayerTree.h"

namespace {

std::shared_ptr<CALayer> makeLayer(CGRect frame) {
  auto layer = std::make_shared<CALayer>();
  layer->setFrame(frame);
  return layer;
}

TEST(Layer, VisibleLayersAreListedBottomToTopInTheRootsCoordinates) {
  const auto root = makeLayer(CGRectMake(50, 60, 400, 300));
  const auto panel = makeLayer(CGRectMake(10, 20, 100, 80));
  const auto label = makeLayer(CGRectMake(-5, 7, 30, 10));
  const auto top = makeLayer(CGRectMake(1, 2, 3, 4));
  root->addSublayer(panel);
  root->addSublayer(top);
  panel->addSublayer(label);
  label->setOpaque(true);

  auto items = ZELPlatform::visibleLayers(*root);
  ASSERT_EQ(items.size(), 4u);
  EXPECT_TRUE(CGRectEqualToRect(items[0].frame, CGRectMake(0, 0, 400, 300)));
  EXPECT_TRUE(CGRectEqualToRect(items[1].frame, CGRectMake(10, 20, 100, 80)));
  EXPECT_TRUE(CGRectEqualToRect(items[2].frame, CGRectMake(5, 27, 30, 10)));
  EXPECT_EQ(items[2].contents, label->contentsStore());
  EXPECT_TRUE(items[2].opaque);
  EXPECT_FALSE(items[1].opaque);
  EXPECT_EQ(items[3].contents, top->contentsStore());

  panel->setHidden(true);
  items = ZELPlatform::visibleLayers(*root);
  ASSERT_EQ(items.size(), 2u) << "what is hidden hides what is below it";
  EXPECT_EQ(items[1].contents, top->contentsStore());
}

TEST(Layer, HasOneSuperlayerAndNeverItself) {
  const auto first = makeLayer({});
  const auto second = makeLayer({});
  const auto child = makeLayer({});
  first->addSublayer(child);
  second->addSublayer(child);
  EXPECT_TRUE(first->sublayers().empty());
  EXPECT_EQ(child->superlayer(), second);
  child->addSublayer(second);
  child->addSublayer(child);
  child->addSublayer(nullptr);
  EXPECT_TRUE(child->sublayers().empty());
  child->removeFromSuperlayer();
  child->removeFromSuperlayer();
  EXPECT_EQ(child->superlayer(), nullptr);
  EXPECT_TRUE(second->sublayers().empty());
}

TEST(Layer, TheRootHearsOfChangesAnywhereBelowIt) {
  const auto root = makeLayer({});
  const auto child = makeLayer({});
  const auto grandchild = makeLayer({});
  root->addSublayer(child);
  int changes = 0;
  root->setTreeChangedHandler([&] {
    EXPECT_TRUE(DispatchIsMainThread());
    ++changes;
  });
  child->addSublayer(grandchild);
  EXPECT_EQ(changes, 1);
  grandchild->setFrame(CGRectMake(0, 0, 1, 1));
  grandchild->setFrame(CGRectMake(0, 0, 1, 1));
  EXPECT_EQ(changes, 2) << "only what changes counts";
  grandchild->setHidden(true);
  EXPECT_EQ(changes, 3);

  std::thread([&] { grandchild->setOpaque(true); }).join();
  EXPECT_EQ(changes, 3);
  NSRunLoop::mainRunLoop().runPending();
  EXPECT_EQ(changes, 4) << "a render queue's change arrives on the main thread";
  grandchild->removeFromSuperlayer();
  EXPECT_EQ(changes, 5);
  grandchild->setHidden(false);
  EXPECT_EQ(changes, 5);
}

}  // namespace
