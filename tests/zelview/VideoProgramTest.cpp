// The program with videos, in processes of their own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <sstream>
#include <string>

#include "tests/zelview/Clips.h"
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

class VideoProgram : public testing::Test {
 protected:
  void SetUp() override {
    if (!canMakeClips()) GTEST_SKIP() << "ffmpeg is not installed";
    makeClip(folder_.file("clip.mp4"));
  }

  Outcome shell(const std::string& commands) const {
    const std::string line = "cd '" + folder_.file("") + "' && (" + commands + ") >out.txt 2>err.txt </dev/null";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(folder_.file("out.txt")),
            readText(folder_.file("err.txt"))};
  }
  Outcome run(const std::string& arguments) const {
    return shell("env -u DISPLAY -u WAYLAND_DISPLAY '" ZELVIEW_PROGRAM "' " + arguments);
  }

  /// What ffprobe says of the stream that is chosen, in the order in which it says it.
  std::string probe(const std::string& file, const std::string& stream, const std::string& entries) const {
    const Outcome outcome = shell("ffprobe -v error -count_frames -select_streams " + stream +
                                  " -show_entries stream=" + entries + " -of csv=p=0 " + file);
    return outcome.out.substr(0, outcome.out.find('\n'));
  }

  /// Pictures and what a filter makes of a video are alike by 40 dB in each plane.
  void expectLikeness(const std::string& pictures, const std::string& video, const std::string& filter,
                      const std::string& what) const {
    const Outcome compared = shell("ffmpeg -nostdin -i " + pictures + " -i " + video + " -filter_complex '[1]" +
                                   filter + ",format=yuv420p[b];[0][b]psnr' -f null -");
    for (const char* plane : {" y:", " u:", " v:"}) {
      const size_t place = compared.err.rfind(plane);
      ASSERT_NE(place, std::string::npos) << compared.err;
      EXPECT_GE(std::stod(compared.err.substr(place + 3)), 40.0) << plane << what;
    }
  }

  void expectNothingOf(const std::string& name) const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.file(""))) {
      EXPECT_THAT(entry.path().filename().string(), testing::Not(HasSubstr(name)));
    }
  }

  ScratchFolder folder_;
};

TEST_F(VideoProgram, SnapshotsShowExactlyTheirMoment) {
  struct Moment {
    const char* at;
    Pixel colour;
  };
  // The last frame of a colour begins a thirtieth before the next one's first.
  const Moment moments[] = {{"0", {255, 0, 0}},     {"0.999", {255, 0, 0}}, {"1", {0, 255, 0}},
                            {"1.999", {0, 255, 0}}, {"2", {0, 0, 255}},     {"99", {0, 0, 255}}};
  for (const Moment& moment : moments) {
    const Outcome outcome = run(std::string("clip.mp4 --snapshot shot.png --size 64x36 --at ") + moment.at);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "projection: equirectangular (no spherical metadata, and 320x160 is 2:1)\n");
    const auto shot = CGImageCreateWithContentsOfFile(folder_.file("shot.png")).image;
    ASSERT_TRUE(shot);
    const Pixel seen = pixelAt(*shot, 32, 18);
    const int apart = std::abs(seen.red - moment.colour.red) + std::abs(seen.green - moment.colour.green) +
                      std::abs(seen.blue - moment.colour.blue);
    // What the codec and an untagged colour space take away.
    EXPECT_LT(apart, 150) << moment.at;
  }
  EXPECT_EQ(run("clip.mp4 --snapshot shot.png --projection flat").out, "") << "what is asked for wins in silence";
}

TEST_F(VideoProgram, BadInputIsOneSentence) {
  std::ofstream(folder_.file("text.mp4")) << "this is no video\n";
  const std::string whole = readText(folder_.file("clip.mp4"));
  std::ofstream(folder_.file("half.mp4"), std::ios::binary) << whole.substr(0, whole.size() / 2);
  ASSERT_EQ(shell("ffmpeg -loglevel error -i clip.mp4 -vn -c copy sound.mp4").status, 0);
  for (const char* arguments : {"missing.mp4", "text.mp4", "half.mp4", "sound.mp4", "clip.mp4 --contact-sheet"}) {
    const bool isSheet = std::string(arguments).ends_with("sheet");
    const Outcome outcome = run(std::string(arguments) + (isSheet ? " shot.png" : " --snapshot shot.png"));
    EXPECT_EQ(outcome.status, 1) << arguments;
    EXPECT_THAT(outcome.err, MatchesRegex("zelview: [^\n]+\n")) << arguments;
    if (isSheet) continue;
    const Outcome rendered = run("render " + std::string(arguments) + " shot.mp4");
    EXPECT_EQ(rendered.status, 1) << arguments;
    EXPECT_THAT(rendered.err, MatchesRegex("zelview: [^\n]+\n")) << arguments;
  }
  expectNothingOf("shot");
}

TEST_F(VideoProgram, RendersEveryFrameAndTheSound) {
  std::ofstream(folder_.file("path.csv")) << "seconds,yaw,pitch,roll,zoom\n0,0,0,0,1\n3,90,10,0,2\n";
  const Outcome outcome = run("render clip.mp4 out.mp4 --size 160x90 --path path.csv");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(probe("out.mp4", "v:0", "width,height,nb_read_frames"), "160,90,90");
  EXPECT_EQ(probe("out.mp4", "a:0", "codec_type"), "audio");
  EXPECT_EQ(probe("out.mp4", "a:0", "codec_name"), "aac");
  EXPECT_THAT(outcome.err, HasSubstr("90 frames in "));

  ASSERT_EQ(run("render clip.mp4 slow.mkv --size 160x90 --fps 10 --projection flat").status, 0);
  EXPECT_EQ(probe("slow.mkv", "v:0", "nb_read_frames"), "30");
}

/// The pictures against those of ffmpeg's filter v360, which remaps each plane on the processor. Each frame of the clip
/// is another one, so one that was left out or shown twice is far off.
TEST_F(VideoProgram, RenderedPicturesAreThoseOfAnotherProgram) {
  struct Look {
    double yaw, pitch, roll, zoom;
  };
  ASSERT_EQ(
      shell(
          "ffmpeg -loglevel error -f lavfi -i color=gray:s=960x480:r=30:d=0.2,noise=alls=90:allf=t:all_seed=1,gblur=3 "
          "-c:v libx264 -crf 8 -pix_fmt yuv420p -colorspace bt709 -color_primaries bt709 -color_trc bt709 "
          "-color_range tv ground.mp4")
          .status,
      0);
  // Ahead, across the edge where the frame's left and right meet, and towards both poles.
  for (const Look& look : {Look{0, 0, 0, 1}, {170, 20, 0, 1}, {-100, -50, 30, 1.3}, {30, 80, -70, 0.8}}) {
    std::ostringstream camera;
    std::ostringstream remap;
    camera << " --yaw " << look.yaw << " --pitch " << look.pitch << " --roll " << look.roll << " --zoom " << look.zoom;
    // At zoom 1 the picture spans 1 / 0.9 to both sides.
    const double half = 1.0 / (0.9 * look.zoom);
    constexpr double kDegree = std::numbers::pi / 180.0;
    remap << "v360=equirect:flat:w=480:h=270:interp=linear:yaw=" << look.yaw << ":pitch=" << look.pitch
          << ":roll=" << look.roll << ":h_fov=" << 2.0 * std::atan(half) / kDegree
          << ":v_fov=" << 2.0 * std::atan(half * 270.0 / 480.0) / kDegree;
    const Outcome rendered = run("render ground.mp4 pictures.y4m --size 480x270" + camera.str());
    ASSERT_EQ(rendered.status, 0) << rendered.err;
    expectLikeness("pictures.y4m", "ground.mp4", remap.str(), camera.str());
  }
}

/// The decoders' base class calls what has no tag and this height BT.2020.
TEST_F(VideoProgram, LargePicturesWithoutATagKeepTheirColours) {
  ASSERT_EQ(shell("ffmpeg -loglevel error -f lavfi -i color=red:s=4320x2160:r=30:d=0.05 -vf "
                  "scale=out_color_matrix=bt709,format=yuv420p -c:v libx264 -preset ultrafast large.mp4")
                .status,
            0);
  ASSERT_EQ(run("render large.mp4 large.y4m --size 64x36").status, 0);
  expectLikeness("large.y4m", "large.mp4", "scale=64:36", "");
}

TEST_F(VideoProgram, InterruptedRenderingLeavesNothing) {
  const Outcome outcome =
      shell("ffmpeg -loglevel error -stream_loop 40 -i clip.mp4 -c copy long.mp4; '" ZELVIEW_PROGRAM
            "' render long.mp4 out.mp4 --size 1280x720 & program=$!; "
            "for i in $(seq 300); do ls | grep -q part && break; sleep 0.1; done; sleep 1; kill -TERM $program; "
            "wait $program");
  EXPECT_EQ(outcome.status, 130) << outcome.err;
  EXPECT_THAT(outcome.err, HasSubstr("nothing is kept"));
  expectNothingOf("out.mp4");
}

TEST_F(VideoProgram, PlaysInAWindow) {
  if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr) {
    GTEST_SKIP() << "there is no display";
  }
  const Outcome outcome = shell("'" ZELVIEW_PROGRAM
                                "' clip.mp4 --verbose --mute --size 320x200 & program=$!; "
                                "for i in $(seq 300); do grep -q 'first picture' err.txt && break; sleep 0.1; done; "
                                "sleep 2; kill -TERM $program; wait $program");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.err, testing::ContainsRegex("frames: [1-9][0-9]+ shown"));
}

}  // namespace
}  // namespace zelview
