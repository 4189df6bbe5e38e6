#pragma once

/// Makes the films that the tests play, with ffmpeg, when they are first wanted.

#include <ZELPlatform/CoreVideo.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ZELTest {

/// A film whose frames carry their number, or show colour bars.
struct Clip {
  int width = 320;
  int height = 180;
  int frames = 90;
  int framesPerSecond = 30;
  /// Options of ffmpeg for the picture's codec.
  std::string video = "-c:v libx264 -preset ultrafast -bf 2 -g 30 -pix_fmt yuv420p";
  /// Seconds of a tone; 0 for none.
  double sound = 0.0;
  /// The ending of the file's name.
  std::string kind = "mp4";
};

/// The path of the clip, made once; empty when ffmpeg cannot make it. Gone at the end of the process.
std::string clipFile(const Clip& clip);

/// The colours of the bars, from left to right, as bytes of red, green and blue.
constexpr std::array<std::array<int, 3>, 8> kBars = {{
    {191, 191, 191},
    {191, 191, 0},
    {0, 191, 191},
    {0, 191, 0},
    {191, 0, 191},
    {191, 0, 0},
    {0, 0, 191},
    {16, 16, 16},
}};

/// A second of colour bars, coded and tagged by those options of ffmpeg.
std::string barsFile(const std::string& options, const std::string& kind, int width = 320, int height = 180);

/// The number that the frame carries; -1 when it carries none.
int frameNumber(const CVPixelBufferRef& frame);

/// A file in the tests' folder with that content, and the path of one that is not there.
std::string fileWith(const std::string& name, const std::string& content);
std::string pathOf(const std::string& name);
std::string contentOf(const std::string& path);

/// Whether the programs and plugins that the tests need are there; else the reason.
std::string unavailableReason();

}  // namespace ZELTest
