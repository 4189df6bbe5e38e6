#include <ZELKit/ZELProjection.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "apps/zelview/ViewerError.h"
#include "apps/zelview/render/CameraPath.h"
#include "apps/zelview/render/Progress.h"
#include "apps/zelview/render/RenderCommand.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

using testing::HasSubstr;

CameraKey key(double seconds, double yaw, double pitch = 0.0, double zoom = 1.0) {
  CameraKey key;
  key.seconds = seconds;
  key.camera.yaw = yaw;
  key.camera.pitch = pitch;
  key.camera.zoom = zoom;
  return key;
}

TEST(CameraPath, MeetsItsKeysAndStandsStillOutside) {
  const std::vector<CameraKey> keys = {key(1, 350, -20), key(2, 370, 0, 4), key(5, 10, 80, 0.5)};
  for (const bool linear : {false, true}) {
    const CameraPath path(keys, linear);
    for (const CameraKey& k : keys) {
      EXPECT_NEAR(path.cameraAt(k.seconds).yaw, k.camera.yaw, 1e-9);
      EXPECT_NEAR(path.cameraAt(k.seconds).pitch, k.camera.pitch, 1e-9);
      EXPECT_NEAR(path.cameraAt(k.seconds).zoom, k.camera.zoom, 1e-9);
    }
    EXPECT_EQ(path.cameraAt(-7).yaw, 350);
    EXPECT_EQ(path.cameraAt(99).yaw, 10);
    EXPECT_NEAR(path.cameraAt(1.5).yaw, 360, 1e-9) << "the way that the numbers go";
    EXPECT_NEAR(path.cameraAt(1.5).zoom, 2, linear ? 1e-9 : 0.5);
  }
}

TEST(CameraPath, SmoothHasNoJumpsInSpeedAndNeverGoesBeyondItsKeys) {
  const CameraPath path({key(0, 0), key(1, 10), key(2, 200), key(3, 200), key(4, 190)}, false);
  constexpr double kStep = 1e-3;
  double lastSpeed = 0.0;
  for (double time = 0.0; time < 4.0; time += kStep) {
    const double yaw = path.cameraAt(time).yaw;
    EXPECT_GE(yaw, 0.0);
    EXPECT_LE(yaw, 200.0 + 1e-9);
    const double speed = (path.cameraAt(time + kStep).yaw - yaw) / kStep;
    // The largest acceleration of these keys is below 2000 degrees per second squared.
    EXPECT_LT(std::abs(speed - lastSpeed), 2000.0 * kStep) << "at " << time;
    lastSpeed = speed;
  }
}

TEST(CameraPath, SaysWhatIsWrongInWhichLine) {
  struct Case {
    const char* table;
    const char* complaint;
  };
  const std::string header = "# a comment\n\nseconds,yaw,pitch,roll,zoom\n";
  const Case cases[] = {
      {"0,1,2,3\n", ":4: there are 4 values"},
      {"0,1,2,3,1,5\n", ":4: there are more than five"},
      {"0,1,2,x,1\n", ":4: \"x\" is not a number"},
      {"0,nan,0,0,1\n", ":4: \"nan\" is not a number"},
      {"0,0,91,0,1\n", ":4: the pitch"},
      {"0,0,0,0,0\n", ":4: the zoom"},
      {"1,0,0,0,1\n1,0,0,0,1\n", ":5: the time does not rise"},
      {"0,0,0,0,1\n5e-324,1,0,0,1\n", ":5: the time does not rise"},
      {"-1e308,0,0,0,1\n", ":4: the time lies between"},
      {"", "has no keys"},
  };
  const ScratchFolder folder;
  const std::string path = folder.file("path.csv");
  const auto complaint = [&path] {
    try {
      readCameraPath(path, false);
    } catch (const ViewerError& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_THAT(complaint(), HasSubstr("cannot be read: it does not exist."));
  EXPECT_THAT([] { readCameraPath("/dev/zero", false); },
              testing::ThrowsMessage<ViewerError>(HasSubstr("larger than")));
  for (const Case& c : cases) {
    std::ofstream(path) << header << c.table;
    EXPECT_THAT(complaint(), HasSubstr(c.complaint));
  }
  std::ofstream(path) << "yaw,pitch\n";
  EXPECT_THAT(complaint(), HasSubstr(":1: the first line"));
  std::ofstream(path) << header << " 0 , 1,2,3,1 \r\n";
  EXPECT_EQ(readCameraPath(path, false).cameraAt(0).yaw, 1);
}

TEST(Progress, TellsWhatIsDoneHowFastAndHowLongItStillTakes) {
  EXPECT_EQ(Progress::text(20, 5, 150, 30), "[#######.......................]  25 %, 5.0 frames a second, 1:30 left");
  EXPECT_EQ(Progress::text(20, 25, 600, 30), "[##############################] 100 %, 20.0 frames a second");
  EXPECT_EQ(Progress::text(0, 5, 150, 30), "150 frames, 5.0 a second");
  EXPECT_THAT(Progress::text(20, 0, 0, 0), HasSubstr("0 %, 0.0 frames"));
}

class RenderUsage : public testing::TestWithParam<std::vector<const char*>> {};

RenderCommandLine parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "render");
  return parseRenderCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST_P(RenderUsage, IsOneSentenceAndStatusTwo) {
  const RenderCommandLine line = parse(GetParam());
  EXPECT_FALSE(line.options);
  EXPECT_EQ(line.status, 2);
  EXPECT_THAT(line.text, testing::MatchesRegex("zelview: [^\n]+\n"));
}

INSTANTIATE_TEST_SUITE_P(All, RenderUsage,
                         testing::ValuesIn(std::vector<std::vector<const char*>>{
                             {},
                             {"in.mp4"},
                             {"in.mp4", "out.avi"},
                             {"in.mp4", "out.mp4", "--size", "101x100"},
                             {"in.mp4", "out.mp4", "--fps", "0"},
                             {"in.mp4", "out.mp4", "--quality", "101"},
                             {"in.mp4", "out.mp4", "--path", "p", "--yaw", "5"},
                             {"in.mp4", "out.mp4", "--path-linear"},
                         }));

TEST(RenderCommand, TakesItsOptions) {
  const RenderCommandLine line = parse({"a.mkv", "b.mp4", "--size", "640x360", "--fps", "24", "--yaw", "-30",
                                        "--projection", "cubemap", "--quality", "90", "--gravity", "fill"});
  ASSERT_TRUE(line.options) << line.text;
  EXPECT_EQ(line.options->size.width, 640);
  EXPECT_EQ(line.options->framesPerSecond, 24);
  EXPECT_EQ(line.options->camera.yaw, -30);
  EXPECT_EQ(line.options->projection, ZELProjectionTypeCubemap);
  EXPECT_EQ(line.options->gravity, ZELContentGravityFill);
}

}  // namespace
}  // namespace zelview
