// The program itself, in processes of their own that have no display.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/zelview/Octants.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

class Program : public testing::Test {
 protected:
  Outcome run(const std::string& arguments, const std::string& environment = "") const {
    const std::string command = "cd '" + folder_.file("") + "' && env -u DISPLAY -u WAYLAND_DISPLAY " + environment +
                                " '" ZELVIEW_PROGRAM "' " + arguments + " >out.txt 2>err.txt </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(folder_.file("out.txt")),
            readText(folder_.file("err.txt"))};
  }

  /// The picture that a run with these arguments writes.
  std::shared_ptr<CGImage> snapshot(const std::string& arguments) const {
    const Outcome outcome = run("--snapshot shot.png " + arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return CGImageCreateWithContentsOfFile(folder_.file("shot.png")).image;
  }

  /// Fails with status 1 and one sentence, and leaves nothing behind.
  void expectFailure(const std::string& arguments, const std::string& environment = "") const {
    const Outcome outcome = run(arguments, environment);
    EXPECT_EQ(outcome.status, 1) << arguments << "\n" << outcome.err;
    EXPECT_THAT(outcome.err, MatchesRegex("zelview: [^\n]+\n")) << arguments;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.file(""))) {
      EXPECT_THAT(entry.path().filename().string(), testing::Not(HasSubstr("shot"))) << arguments;
    }
  }

  ScratchFolder folder_;
};

TEST_F(Program, SnapshotsLookWhereTheyAreTold) {
  const View views[] = {
      {"", 0, 0, 0, false},
      {"--yaw 180", 180, 0, 0, false},
      {"--yaw 90 --pitch 90", 90, 90, 0, false},
      {"--pitch -90", 0, -90, 0, false},
      {"--yaw -30 --pitch 20 --roll 35", -30, 20, 35, false},
      {"--yaw 60 --mirror", 60, 0, 0, true},
  };
  for (const View& view : views) {
    for (const char* projection : {"equirectangular", "cubemap", "cubemap --padding 24"}) {
      const std::string arguments = std::string(view.arguments) + " --size 200x120 --projection " + projection;
      const auto image = snapshot(arguments);
      ASSERT_TRUE(image) << arguments;
      // The rest is lines and labels.
      EXPECT_GT(shareOfRightOctants(*image, view), 0.82) << arguments;
    }
  }
  const View portrait = {"", 0, 0, 0, false};
  EXPECT_GT(shareOfRightOctants(*snapshot("--size 120x200"), portrait), 0.8) << "taller than wide";
}

TEST_F(Program, SaysWhatBecomesOfSuperResolution) {
  const auto stripes = [](size_t x, size_t) { return x / 5 % 2 == 0 ? Pixel{20, 30, 40} : Pixel{230, 220, 210}; };
  ASSERT_EQ(CGImageWritePNG(*makeImage(64, 48, stripes), folder_.file("in.png")), "");
  const auto said = [&](const std::string& arguments) {
    const Outcome outcome = run("in.png --projection flat --snapshot shot.png --verbose " + arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.err;
  };
  EXPECT_THAT(said("--size 320x240 --backend gl --super-resolution"),
              HasSubstr("zelview: Super-resolution has no effect: OpenGL ES"));
#ifdef ZEL_WITH_NEURAL
  const char* enlarged = "super-resolution: on: luma enlarged from 64x48 to 128x96\n";
  EXPECT_THAT(said("--size 320x240 --backend metal --super-resolution"), HasSubstr(enlarged));
  EXPECT_THAT(said("--size 320x240 --backend metal --super-resolution-split --super-resolution-content screen"),
              HasSubstr(enlarged));
  const auto split = CGImageCreateWithContentsOfFile(folder_.file("shot.png")).image;
  ASSERT_TRUE(split);
  EXPECT_EQ(pixelAt(*split, 159, 120), (Pixel{255, 96, 0}));
  EXPECT_THAT(said("--size 64x48 --backend metal --super-resolution"),
              HasSubstr("super-resolution: off: the display does not have more than 2.25 times"));
#endif
}

TEST_F(Program, PicturesKeepTheirColoursAndShape) {
  // Left half red, right half blue; the middle column is straight ahead.
  const auto halves = [](size_t x, size_t) { return x < 32 ? Pixel{200, 30, 10} : Pixel{10, 30, 200}; };
  ASSERT_EQ(CGImageWritePNG(*makeImage(64, 32, halves), folder_.file("in.png")), "");
  const Pixel red = {200, 30, 10};
  const Pixel blue = {10, 30, 200};
  const Pixel black = {0, 0, 0};

  const auto left = snapshot("in.png --yaw -90 --size 64x64 --scale 1.5");
  EXPECT_EQ(left->width(), 96U) << "points times scale";
  EXPECT_EQ(pixelAt(*left, 48, 48), red);
  EXPECT_EQ(pixelAt(*snapshot("in.png --yaw 90 --size 64x64"), 32, 32), blue);
  EXPECT_EQ(pixelAt(*snapshot("in.png --yaw 90 --mirror --size 64x64"), 32, 32), red);

  const auto fit = snapshot("in.png --projection flat --size 64x64");
  EXPECT_EQ(pixelAt(*fit, 2, 2), black) << "letterbox";
  EXPECT_EQ(pixelAt(*fit, 2, 32), red);
  const auto fill = snapshot("in.png --projection flat --gravity fill --size 64x64");
  EXPECT_EQ(pixelAt(*fill, 2, 2), red);
  EXPECT_EQ(pixelAt(*fill, 61, 61), blue);
}

TEST_F(Program, SaysWhatItDoes) {
  const Outcome plain = run("--snapshot shot.png --size 32x32");
  EXPECT_THAT(plain.out, MatchesRegex("projection: equirectangular [^\n]+\n"));
  EXPECT_EQ(plain.err, "");
  const Outcome verbose = run("--snapshot shot.png --size 32x32 --projection segmentedsphere --verbose");
  EXPECT_EQ(verbose.out, "");
  EXPECT_THAT(verbose.err, HasSubstr("segmented spheres are drawn flat"));
}

TEST_F(Program, WritesTheContactSheetAndThePanorama) {
  EXPECT_EQ(run("--contact-sheet sheet.png --size 96x54").status, 0);
  const auto sheet = CGImageCreateWithContentsOfFile(folder_.file("sheet.png")).image;
  ASSERT_TRUE(sheet);
  EXPECT_GT(sheet->width(), 4U * 96);
  EXPECT_EQ(run("--save-panorama cube.png --projection cubemap").status, 0);
  const auto cube = CGImageCreateWithContentsOfFile(folder_.file("cube.png")).image;
  ASSERT_TRUE(cube);
  EXPECT_EQ(cube->width(), 3072U);
  // Seen again as what it is, it is the same panorama.
  const auto seen = snapshot("cube.png --projection cubemap --size 200x120 --yaw 20");
  EXPECT_GT(shareOfRightOctants(*seen, {"", 20, 0, 0, false}), 0.82);
}

TEST_F(Program, BadInputIsOneSentence) {
  const auto grey = [](size_t x, size_t y) { return Pixel{static_cast<uint8_t>(x * 7), static_cast<uint8_t>(y), 9}; };
  ASSERT_EQ(CGImageWritePNG(*makeImage(300, 200, grey), folder_.file("in.png")), "");
  const std::string whole = readText(folder_.file("in.png"));
  std::ofstream(folder_.file("half.png"), std::ios::binary) << whole.substr(0, whole.size() / 2);
  std::ofstream(folder_.file("text.png")) << "this is no picture\n";
  std::ofstream(folder_.file("empty.png")) << "";

  for (const char* picture : {"missing.png", ".", "half.png", "text.png", "empty.png", "/dev/null"}) {
    expectFailure(std::string("--snapshot shot.png ") + picture);
  }
  expectFailure("--snapshot nowhere/shot.png in.png");
  expectFailure("--snapshot /proc/shot.png in.png");
  expectFailure("--snapshot . in.png");
  expectFailure("--snapshot shot.png --size 60000x60000 in.png");
  expectFailure("--snapshot shot.png --projection cubemap --padding 100 in.png");
  expectFailure("in.png", "SDL_VIDEODRIVER=x11");
  expectFailure("--save-panorama nowhere/shot.png");

  const Outcome usage = run("--snapshot shot.png --projection sphere in.png");
  EXPECT_EQ(usage.status, 2);
  EXPECT_THAT(usage.err, MatchesRegex("zelview: [^\n]+\n"));
}

TEST_F(Program, WindowShowsItsFirstPictureAndLeavesOnTermination) {
  if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr) {
    GTEST_SKIP() << "there is no display";
  }
  const std::string command = "cd '" + folder_.file("") + "' && '" ZELVIEW_PROGRAM "' --verbose --size 320x200 " +
                              ">out.txt 2>err.txt & program=$!; for i in $(seq 600); do grep -q 'first picture' '" +
                              folder_.file("err.txt") + "' && break; sleep 0.1; done; " +
                              "kill -TERM $program; wait $program";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_THAT(readText(folder_.file("err.txt")), HasSubstr("first picture: "));
}

TEST_F(Program, PlaysScripts) {
  std::ofstream(folder_.file("in.script")) << "0.1 wheel 3 60 30\n0.2 end\n";
  std::ofstream(folder_.file("bad.script")) << "# a comment\n0.1 whirl 3 60 30\n";
  const std::string size = " --size 120x60 ";
  const Outcome outcome = run("--script in.script --rate 30 --frames shots --camera-log camera.log" + size);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  const std::string log = readText(folder_.file("camera.log"));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 7);
  EXPECT_EQ(CGImageCreateWithContentsOfFile(folder_.file("shots/frame-00006.png")).image->width(), 120U);

  std::filesystem::remove_all(folder_.file("shots"));
  for (const char* script : {"bad.script", "missing.script", "."}) {
    expectFailure(std::string("--camera-log shot.log --frames shots --script ") + script);
  }
  EXPECT_EQ(run("--camera-log shot.log --script bad.script").err,
            "zelview: bad.script:2: there is no command \"whirl\".\n");
  expectFailure("--script in.script --camera-log nowhere/shot.log");
  expectFailure("--script in.script --frames /proc/shots");
  expectFailure("--script in.script --camera-log shot.log --size 60000x60000");
}

TEST_F(Program, AnInterruptedScriptLeavesNoLog) {
  std::ofstream(folder_.file("in.script")) << "86400 end\n";
  const std::string command = "cd '" + folder_.file("") +
                              "' || exit 9; '" ZELVIEW_PROGRAM
                              "' --script in.script --rate 1000 --camera-log shot.log >out.txt 2>err.txt & "
                              "program=$!; for i in $(seq 600); do ls -A | grep -q part && break; sleep 0.05; done; "
                              "kill -TERM $program; wait $program";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(readText(folder_.file("err.txt")), "zelview: The script was interrupted.\n");
  for (const auto& entry : std::filesystem::directory_iterator(folder_.file(""))) {
    EXPECT_THAT(entry.path().filename(), testing::AnyOf("in.script", "out.txt", "err.txt"));
  }
}

TEST_F(Program, WideBeyondTheTextureLimitIsScaledDown) {
  const auto grey = [](size_t, size_t) { return Pixel{90, 120, 150}; };
  ASSERT_EQ(CGImageWritePNG(*makeImage(30000, 20, grey), folder_.file("wide.png")), "");
  const Outcome outcome = run("--snapshot shot.png --size 64x64 --gravity fill wide.png");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.err, MatchesRegex("zelview: The picture is scaled down from 30000x20 to [^\n]+\n"));
  EXPECT_EQ(pixelAt(*CGImageCreateWithContentsOfFile(folder_.file("shot.png")).image, 32, 32), (Pixel{90, 120, 150}));
}

}  // namespace
}  // namespace zelview
