// Scripts played into the viewer's window, in this process.

#include "apps/zelview/ScriptedRun.h"

#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "apps/zelview/PictureContent.h"
#include "apps/zelview/ViewerError.h"
#include "tests/zelview/Octants.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

using testing::HasSubstr;

/// What the log says of one refresh.
struct Refresh {
  double time = 0.0;
  std::array<float, 16> matrix{};
  double zoom = 0.0;

  /// Of a camera without roll, to the right and up; radians.
  double yaw() const { return std::atan2(matrix[8], matrix[10]); }
  double pitch() const { return std::asin(std::clamp(matrix[9], -1.0F, 1.0F)); }
};

std::vector<Refresh> readLog(const std::string& text) {
  std::vector<Refresh> refreshes;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    Refresh refresh;
    words >> refresh.time;
    for (float& element : refresh.matrix) words >> element;
    words >> refresh.zoom;
    EXPECT_TRUE(words && words.eof()) << line;
    refreshes.push_back(refresh);
  }
  return refreshes;
}

class ScriptedRunTest : public testing::Test {
 protected:
  void SetUp() override {
    UIApplicationOptions display;
    display.displayDriver = "offscreen";
    ASSERT_EQ(UIApplication::start(display), "");
    options_.mode = Mode::Script;
    options_.size = CGSizeMake(200, 120);
    options_.script.cameraLog = folder_.file("camera.log");
  }

  /// Plays the script and returns the log.
  std::string play(const std::string& script, double rate) {
    options_.script.rate = rate;
    runScript(options_, parseScript(script, "in.script"), content());
    return readText(folder_.file("camera.log"));
  }

  std::vector<Refresh> refreshesOf(const std::string& script, double rate) { return readLog(play(script, rate)); }

  /// Why a run cannot be; empty when it can.
  std::string errorOf(const std::string& frames, const std::string& cameraLog) {
    options_.script.frames = frames;
    options_.script.cameraLog = cameraLog;
    try {
      runScript(options_, parseScript("0 end", "in.script"), content());
      return {};
    } catch (const ViewerError& error) {
      return error.what();
    }
  }

  size_t filesIn(const std::string& name) const {
    const std::filesystem::directory_iterator files(folder_.file(name));
    return static_cast<size_t>(std::distance(begin(files), end(files)));
  }

  /// Painted once.
  static const std::shared_ptr<PictureContent>& content() {
    static const std::shared_ptr<PictureContent> content = PictureContent::load({}, 16384);
    return content;
  }

  ScratchFolder folder_;
  Options options_;
};

TEST_F(ScriptedRunTest, LogHasALinePerRefreshThatReadsBackExactly) {
  for (const double rate : {23.976, 60.0, 1000.0}) {
    const std::vector<Refresh> refreshes = refreshesOf("0.3 wheel 1 5 5\n0.5 end", rate);
    ASSERT_EQ(refreshes.size(), static_cast<size_t>(0.5 * rate) + 1) << rate;
    for (size_t k = 0; k < refreshes.size(); ++k) EXPECT_EQ(refreshes[k].time, static_cast<double>(k) / rate) << rate;
  }
  EXPECT_EQ(refreshesOf("0.1 key a", 10).size(), 12U) << "a second after the last command";
  EXPECT_THAT(play("0 end", 60), testing::StartsWith("0 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1 1\n"));
}

TEST_F(ScriptedRunTest, EventsMoveTheCameraOfTheNextRefresh) {
  // At the time of a refresh, and just after one.
  const std::vector<Refresh> refreshes = refreshesOf(
      "0.1 press 100 60\n"
      "0.2 move 150 60\n"
      "0.3001 move 100 60\n"
      "0.6 end",
      10);
  ASSERT_EQ(refreshes.size(), 7U);
  EXPECT_EQ(refreshes[1].yaw(), 0.0);
  EXPECT_LT(refreshes[2].yaw(), -0.1) << "a move at the time of the refresh is in it";
  EXPECT_EQ(refreshes[3].yaw(), refreshes[2].yaw()) << "a later one is not";
  EXPECT_NEAR(refreshes[4].yaw(), 0.0, 1e-6) << "but in the one after";
}

TEST_F(ScriptedRunTest, AFlingEndsWhereItsClosedFormSaysAtEveryRate) {
  // Radians per point of a drag, per point a second of its end, and the decay per sixtieth of a second.
  constexpr double kPan = 0.0025;
  constexpr double kFling = 0.002;
  const double decay = -60.0 * std::log(0.85);
  const double vx = -400.0;
  const double vy = 100.0;
  const double seconds = 0.2;
  std::ostringstream script;
  script << "0.1 press 150 20\n";
  for (int step = 1; step <= 20; ++step) {
    const double t = seconds * step / 20;
    script << 0.1 + t << (step < 20 ? " move " : " release ") << 150 + vx * t << " " << 20 + vy * t << "\n";
  }
  script << "4 end\n";
  const double yaw = -vx * (kPan * seconds + kFling / decay);
  const double pitch = vy * (kPan * seconds + kFling / decay);
  for (const ControllerChoice controller : {ControllerChoice::Relative, ControllerChoice::Free}) {
    options_.controller = controller;
    for (const double rate : {24.0, 30.0, 59.94, 60.0, 90.0, 240.0, 1000.0}) {
      const Refresh last = refreshesOf(script.str(), rate).back();
      EXPECT_NEAR(last.yaw(), yaw, 1e-4) << rate;
      EXPECT_NEAR(last.pitch(), pitch, 1e-4) << rate;
    }
  }
}

TEST_F(ScriptedRunTest, TheDeviceStandsStillUntilTheScriptMovesIt) {
  options_.controller = ControllerChoice::Free;
  // A quarter turn to the left of a device that stands upright.
  const std::vector<Refresh> refreshes = refreshesOf("0 orientation 1\n0.2 motion 0.5 0.5 0.5 0.5\n0.3 end", 10);
  ASSERT_EQ(refreshes.size(), 4U);
  for (size_t element = 0; element < 16; ++element) {
    EXPECT_NEAR(refreshes[1].matrix[element], element % 5 == 0 ? 1.0 : 0.0, 1e-6) << "upright, element " << element;
  }
  EXPECT_NEAR(refreshes[2].yaw(), -std::numbers::pi / 2, 1e-6);
  EXPECT_EQ(refreshes[3].matrix, refreshes[2].matrix) << "the attitude holds";
}

TEST_F(ScriptedRunTest, TheScriptsMotionWinsOverARecordingAndIsRecorded) {
  options_.controller = ControllerChoice::Free;
  options_.motion = folder_.file("missing");
  options_.recordMotion = folder_.file("recording");
  const std::string moves = "0.2 motion 0.6 0.6 0.4 0.5\n0.33 motion 1 1 1 2\n";
  const std::string log = play("0 orientation 1\n" + moves + "0.6 end", 20);

  // Without motion in the script the recording moves the device, in the same way.
  options_.motion = folder_.file("recording");
  options_.recordMotion.clear();
  EXPECT_EQ(play("0 orientation 1\n0.6 end", 20), log);
  options_.motion = folder_.file("missing");
  EXPECT_THAT(errorOf("", folder_.file("other.log")), HasSubstr("missing\" cannot be read: "));
}

TEST_F(ScriptedRunTest, IsTheSameEveryTimeWithAndWithoutPictures) {
  const std::string script =
      "0.03 press 100 60\n0.07 move 120 70\n0.11 move 150 75\n0.11 release 150 75\n0.2 key 3\n0.3 wheel 2 10 10\n"
      "0.4 pinch 0.8 10 10\n0.4 key Right\n1 end";
  const std::string log = play(script, 30);
  options_.script.frames = folder_.file("frames");
  EXPECT_EQ(play(script, 30), log);
  EXPECT_EQ(filesIn("frames"), readLog(log).size());
}

TEST_F(ScriptedRunTest, PicturesShowWhatTheLogSays) {
  options_.script.frames = folder_.file("new/frames");
  const std::vector<Refresh> refreshes = refreshesOf(
      "0 press 100 60\n0.1 move 180 60\n0.2 move 180 100\n0.3 release 180 100\n0.3 key 3\n0.4 wheel 4 100 60\n0.6 end",
      10);
  ASSERT_EQ(refreshes.size(), 7U);
  for (size_t k = 0; k < refreshes.size(); ++k) {
    const auto image =
        CGImageCreateWithContentsOfFile(folder_.file("new/frames/frame-0000" + std::to_string(k) + ".png")).image;
    ASSERT_TRUE(image) << k;
    EXPECT_EQ(image->width(), 200U);
    const double degrees = 180.0 / std::numbers::pi;
    const View view = {
        .yaw = refreshes[k].yaw() * degrees, .pitch = refreshes[k].pitch() * degrees, .zoom = refreshes[k].zoom};
    // The rest is lines and labels.
    EXPECT_GT(shareOfRightOctants(*image, view), 0.8) << k;
  }
}

TEST_F(ScriptedRunTest, EverythingOnTheWindowIsInThePictures) {
  options_.script.frames = folder_.file("frames");
  play("0.1 key ?\n0.2 key ?", 10);
  const auto frame = [this](int k) { return readText(folder_.file("frames/frame-0000" + std::to_string(k) + ".png")); };
  EXPECT_NE(frame(1), frame(0)) << "the list of keys lies over the picture";
  EXPECT_EQ(frame(2), frame(0)) << "and is gone again";
}

TEST_F(ScriptedRunTest, AKeyThatQuitsEndsTheRun) { EXPECT_EQ(refreshesOf("0.2 key q\n0.5 key p", 10).size(), 3U); }

TEST_F(ScriptedRunTest, TimeAndDeviceAreGivenBack) {
  const double before = CACurrentMediaTime();
  play("0 orientation 1\n5 end", 10);
  EXPECT_NEAR(CACurrentMediaTime(), before, 4.0);
  EXPECT_FALSE(DisplayRefresh::shared().isStepped());
  EXPECT_EQ(UIApplication::sharedApplication().statusBarOrientation(), UIInterfaceOrientationLandscapeRight);
}

TEST_F(ScriptedRunTest, OutputsThatCannotBeWrittenAreOneSentenceAndLeaveNothing) {
  std::ofstream(folder_.file("file")) << "mine";
  std::filesystem::create_directory(folder_.file("folder"));
  const std::string file = folder_.file("file");
  const std::string folder = folder_.file("folder");
  const std::string log = folder_.file("camera.log");

  EXPECT_EQ(errorOf("", folder), "The camera log \"" + folder + "\" cannot be written: it is a directory.");
  EXPECT_EQ(errorOf("", folder + "/no/log"),
            "The camera log \"" + folder + "/no/log\" cannot be written: its folder does not exist.");
  EXPECT_EQ(errorOf("", "/dev/null"), "The camera log \"/dev/null\" cannot be written: it is not a regular file.");
  EXPECT_EQ(errorOf(file, ""),
            "The folder \"" + file + "\" for the pictures cannot be made: there is a file of that name.");
  EXPECT_THAT(errorOf(file + "/deeper", log), HasSubstr("cannot be made: "));

  // A picture that cannot be written ends the run, and its log is not left half written.
  std::filesystem::create_directory(folder_.file("folder/frame-00000.png"));
  EXPECT_THAT(errorOf(folder, log), HasSubstr("frame-00000.png\" cannot be written: "));
  EXPECT_EQ(filesIn(""), 2U);
  EXPECT_EQ(filesIn("folder"), 1U);
  EXPECT_EQ(readText(file), "mine");
}

}  // namespace
}  // namespace zelview
