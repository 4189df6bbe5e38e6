#include "apps/zelview/Options.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "apps/zelview/KeyHelp.h"

namespace zelview {
namespace {

CommandLine parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "zelview");
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(Options, EveryOptionArrives) {
  const CommandLine line =
      parse({"--snapshot", "out.png", "--projection", "segmentedsphere", "--gravity", "fill",    "--padding",
             "12",         "--yaw",   "-30.5",        "--pitch",         "-90",       "--roll",  "400",
             "--zoom",     "2.5",     "--mirror",     "--size",          "640x480",   "--scale", "1.5",
             "--backend",  "gl",      "--verbose",    "in.jpg"});
  ASSERT_TRUE(line.options) << line.text;
  const Options& o = *line.options;
  EXPECT_EQ(o.mode, Mode::Snapshot);
  EXPECT_EQ(o.output, "out.png");
  EXPECT_EQ(o.picture, "in.jpg");
  EXPECT_EQ(o.projection, ZELProjectionTypeSegmentedSphere);
  EXPECT_EQ(o.gravity, ZELContentGravityFill);
  EXPECT_EQ(o.padding, 12);
  EXPECT_EQ(o.camera.yaw, -30.5);
  EXPECT_EQ(o.camera.pitch, -90.0);
  EXPECT_EQ(o.camera.roll, 400.0);
  EXPECT_EQ(o.camera.zoom, 2.5);
  EXPECT_TRUE(o.camera.mirror);
  EXPECT_EQ(o.size->width, 640.0);
  EXPECT_EQ(o.size->height, 480.0);
  EXPECT_EQ(o.scale, 1.5);
  EXPECT_EQ(o.backEnd, BackEnd::OpenGLES);
  EXPECT_TRUE(o.verbose);
  EXPECT_EQ(o.controller, ControllerChoice::Relative);
  EXPECT_EQ(parse({"--controller", "free"}).options->controller, ControllerChoice::Free);
  EXPECT_EQ(parse({"--controller", "fixed"}).options->controller, ControllerChoice::Fixed);
  EXPECT_EQ(parse({"--motion", "m"}).options->motion, "m");
  EXPECT_EQ(parse({"--record-motion", "m"}).options->recordMotion, "m");
  EXPECT_EQ(parse({"--backend", "metal"}).options->backEnd, BackEnd::Metal);
  EXPECT_EQ(parse({"--backend", "auto"}).options->backEnd, BackEnd::Automatic);
  EXPECT_EQ(parse({}).options->superResolution, SuperResolution::Off);
  EXPECT_EQ(parse({"--super-resolution"}).options->superResolution, SuperResolution::On);
  EXPECT_EQ(parse({"--super-resolution-split"}).options->superResolution, SuperResolution::Split);
  EXPECT_EQ(parse({"--super-resolution-content", "screen"}).options->contentType, 1);
  EXPECT_EQ(parse({"--super-resolution", "--contact-sheet", "a"}).status, 2);
  EXPECT_EQ(parse({"--contact-sheet", "a"}).options->mode, Mode::ContactSheet);
  EXPECT_EQ(parse({"--save-panorama", "a"}).options->mode, Mode::SavePanorama);
}

TEST(Options, ScriptedRunsArrive) {
  const CommandLine line = parse({"--script", "in", "--rate", "240", "--frames", "out", "--camera-log", "log"});
  ASSERT_TRUE(line.options) << line.text;
  EXPECT_EQ(line.options->mode, Mode::Script);
  EXPECT_EQ(line.options->script.file, "in");
  EXPECT_EQ(line.options->script.rate, 240.0);
  EXPECT_EQ(line.options->script.frames, "out");
  EXPECT_EQ(line.options->script.cameraLog, "log");
  EXPECT_EQ(parse({"--script", "in", "--frames", "out"}).options->script.rate, 60.0);
}

class UsageError : public testing::TestWithParam<std::vector<const char*>> {};

TEST_P(UsageError, IsOneSentenceAndStatusTwo) {
  const CommandLine line = parse(GetParam());
  EXPECT_FALSE(line.options);
  EXPECT_EQ(line.status, 2);
  EXPECT_TRUE(line.text.starts_with("zelview: ")) << line.text;
  EXPECT_EQ(std::count(line.text.begin(), line.text.end(), '\n'), 1) << line.text;
  EXPECT_EQ(line.text.back(), '\n');
}

INSTANTIATE_TEST_SUITE_P(All, UsageError,
                         testing::ValuesIn(std::vector<std::vector<const char*>>{
                             {"--nonsense"},
                             {"--start", "-1", "a.mp4"},
                             {"--at", "1", "a.mp4"},
                             {"a.mp4", "--loop", "--snapshot", "b.png"},
                             {"--snapshot"},
                             {"--snapshot", ""},
                             {"--snapshot", "a", "--contact-sheet", "b"},
                             {"--save-panorama", "a", "in.jpg"},
                             {"--projection", "cube"},
                             {"--gravity", "centre"},
                             {"--controller", "none"},
                             {"--motion", ""},
                             {"--snapshot", "a", "--motion", "b"},
                             {"--record-motion", "a", "--contact-sheet", "b"},
                             {"--backend", "vulkan"},
                             {"--padding", "-1"},
                             {"--padding", "1.5"},
                             {"--yaw", "left"},
                             {"--yaw", "nan"},
                             {"--roll", "inf"},
                             {"--pitch", "91"},
                             {"--zoom", "0"},
                             {"--zoom", "11"},
                             {"--scale", "0"},
                             {"--size", "0x10"},
                             {"--size", "10"},
                             {"--size", "10x10x10"},
                             {"--size", "-5x5"},
                             {"--size", "99999x10"},
                             {"--script", "in"},
                             {"--script", "", "--camera-log", "log"},
                             {"--script", "in", "--camera-log", ""},
                             {"--script", "in", "--frames", ""},
                             {"--script", "in", "--camera-log", "log", "--rate", "0.9"},
                             {"--script", "in", "--camera-log", "log", "--rate", "1001"},
                             {"--script", "in", "--camera-log", "log", "--rate", "nan"},
                             {"--script", "in", "--camera-log", "log", "--snapshot", "out.png"},
                             {"--rate", "60"},
                             {"--frames", "out"},
                             {"--camera-log", "log"},
                         }));

TEST(Options, HelpListsEveryKeyAndVersionNamesBoth) {
  const CommandLine help = parse({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const KeyHelp& key : kKeyHelp) EXPECT_NE(help.text.find(key.what), std::string::npos) << key.what;
  const CommandLine version = parse({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_NE(version.text.find("zelview 1."), std::string::npos);
  EXPECT_NE(version.text.find("ZELKit-1"), std::string::npos);
}

}  // namespace
}  // namespace zelview
