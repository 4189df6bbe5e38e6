// The program itself, in processes of their own that have no display.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string>

#include "apps/zelview/SpherePainter.h"
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

struct View {
  const char* arguments;
  double yaw;
  double pitch;
  double roll;
  bool mirror;
};

/// The direction behind a pixel, from the angles' definition: roll leans the camera clockwise, pitch lifts it, yaw
/// turns it right.
SpherePoint directionBehind(const View& view, double width, double height, double x, double y) {
  constexpr double kDegree = std::numbers::pi / 180;
  const double aspect = width / height;
  const double right = (2 * (x + 0.5) / width - 1) * aspect;
  const double up = 1 - 2 * (y + 0.5) / height;
  const double ahead = 0.9 * std::max(aspect, 1.0);
  const double roll = view.roll * kDegree;
  const double rolledRight = right * std::cos(roll) + up * std::sin(roll);
  const double rolledUp = up * std::cos(roll) - right * std::sin(roll);
  const double pitch = view.pitch * kDegree;
  const double level = ahead * std::cos(pitch) - rolledUp * std::sin(pitch);
  const double high = ahead * std::sin(pitch) + rolledUp * std::cos(pitch);
  const double yaw = view.yaw * kDegree;
  const double east = rolledRight * std::cos(yaw) + level * std::sin(yaw);
  const double north = level * std::cos(yaw) - rolledRight * std::sin(yaw);
  return spherePointTowards(static_cast<float>(view.mirror ? -east : east), static_cast<float>(high),
                            static_cast<float>(north));
}

/// How many of the image's pixels are, within the panorama's shading, of the octant that they look at.
double shareOfRightOctants(const CGImage& image, const View& view) {
  size_t right = 0;
  for (size_t y = 0; y < image.height(); ++y) {
    for (size_t x = 0; x < image.width(); ++x) {
      const SpherePoint p =
          directionBehind(view, static_cast<double>(image.width()), static_cast<double>(image.height()),
                          static_cast<double>(x), static_cast<double>(y));
      const Colour expected = octantColour(p.x, p.y, p.z);
      const Pixel actual = pixelAt(image, x, y);
      const auto near = [](float a, uint8_t b) { return std::abs(a * 255 - b) < 42; };
      if (near(expected.red, actual.red) && near(expected.green, actual.green) && near(expected.blue, actual.blue)) {
        ++right;
      }
    }
  }
  return static_cast<double>(right) / static_cast<double>(image.width() * image.height());
}

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

TEST_F(Program, SaysWhatItDecided) {
  const auto grey = [](size_t, size_t) { return Pixel{90, 90, 90}; };
  ASSERT_EQ(CGImageWritePNG(*makeImage(30, 20, grey), folder_.file("in.png")), "");
  const Outcome plain = run("--snapshot shot.png --size 32x32 in.png");
  EXPECT_THAT(plain.out, MatchesRegex("projection: flat [^\n]+\n"));
  EXPECT_EQ(plain.err, "");
  const Outcome verbose = run("--snapshot shot.png --size 32x32 --projection segmentedsphere --verbose in.png");
  EXPECT_EQ(verbose.out, "");
  EXPECT_THAT(verbose.err, HasSubstr("draws segmented spheres flat"));
  EXPECT_THAT(verbose.err, HasSubstr("30x20 pixels"));
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
