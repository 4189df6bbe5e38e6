#pragma once

#include <ZELPlatform/Foundation.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/avfoundation/ItemPlayback.h"
#include "player/Clips.h"

namespace ZELTest {

/// For tests that play films: skipped where nothing can make or play them.
class PlayerFixture : public testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = unavailableReason();
    if (!reason.empty()) GTEST_SKIP() << reason;
  }
};

}  // namespace ZELTest
