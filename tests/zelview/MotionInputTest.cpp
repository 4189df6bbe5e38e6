#include "apps/zelview/MotionInput.h"

#include <ZELPlatform/CMMotionManager.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "apps/zelview/ViewerError.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

TEST(MotionInput, PlaysOneFileIntoAnother) {
  const ScratchFolder folder;
  std::ofstream(folder.file("in.txt")) << "0 0 0 0 1\n0.5 1 0 0 0\n";
  Options options;
  options.motion = folder.file("in.txt");
  options.recordMotion = folder.file("out.txt");
  {
    const MotionInput input(options);
    const auto source = CMMotionManager::source();
    const double first = source->sampleAtTime(100).value().timestamp;
    EXPECT_EQ(source->sampleAtTime(100.6).value().attitude.x, 1);
    EXPECT_EQ(source->sampleAtTime(100.6).value().timestamp - first, 0.5);
  }
  EXPECT_THAT(CMMotionManager::source()->description(), testing::Not(testing::HasSubstr("in.txt")));

  options.motion = folder.file("out.txt");
  options.recordMotion.clear();
  const MotionInput input(options);
  EXPECT_EQ(CMMotionManager::source()->sampleAtTime(7).value().attitude.w, 1);
  EXPECT_EQ(CMMotionManager::source()->sampleAtTime(7.6).value().attitude.x, 1);
}

TEST(MotionInput, NamesTheFileThatWillNotDo) {
  const ScratchFolder folder;
  std::ofstream(folder.file("bad.txt")) << "0 0 0 0 1\n1 2 3\n";
  const auto messageOf = [](const std::string& motion, const std::string& record) -> std::string {
    Options options;
    options.motion = motion;
    options.recordMotion = record;
    try {
      const MotionInput input(options);
    } catch (const ViewerError& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_THAT(messageOf(folder.file("bad.txt"), ""), testing::HasSubstr("bad.txt:2"));
  EXPECT_THAT(messageOf(folder.file("none.txt"), ""), testing::HasSubstr("none.txt"));
  EXPECT_THAT(messageOf("", folder.file("none/out.txt")), testing::HasSubstr("out.txt"));
}

}  // namespace
}  // namespace zelview
