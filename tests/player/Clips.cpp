#include "player/Clips.h"

#include <ZELPlatform/AVPlayer.h>
#include <gst/gst.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>

namespace ZELTest {
namespace {

/// The number stands in the picture's upper part as white (1) and black (0) blocks, the lowest bit first; behind them
/// stands one block of each, so that an empty picture is none.
constexpr int kBits = 12;
constexpr int kBlocks = kBits + 2;
constexpr uint8_t kBlack = 16;
constexpr uint8_t kWhite = 235;

/// A folder for the time of the process.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "zelkit-player-XXXXXX").string();
    if (mkdtemp(name.data())) path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

 private:
  std::string path_;
};

const Folder& folder() {
  static const Folder folder;
  return folder;
}

bool blockIsWhite(int block, int number) {
  if (block >= kBits) return block == kBits;
  return ((number >> block) & 1) != 0;
}

/// A frame as three planes: its number above, and below a wedge that moves, so that pictures differ.
std::vector<uint8_t> numberedFrame(int width, int height, int number) {
  const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
  const size_t chroma = static_cast<size_t>((width + 1) / 2) * static_cast<size_t>((height + 1) / 2);
  std::vector<uint8_t> frame(luma + 2 * chroma, 128);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool upper = y < height / 3;
      const uint8_t wedge = static_cast<uint8_t>(40 + (x + y + number * 3) % 160);
      frame[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] =
          !upper                                      ? wedge
          : blockIsWhite(x * kBlocks / width, number) ? kWhite
                                                      : kBlack;
    }
  }
  return frame;
}

/// Feeds raw frames to ffmpeg; whether it made the file.
template <class Frame>
bool encode(const std::string& command, int frames, const Frame& frame) {
  FILE* pipe = popen(command.c_str(), "w");
  if (!pipe) return false;
  for (int number = 0; number < frames; ++number) {
    const std::vector<uint8_t> bytes = frame(number);
    if (std::fwrite(bytes.data(), 1, bytes.size(), pipe) != bytes.size()) break;
  }
  return pclose(pipe) == 0;
}

std::string rawInput(const char* format, int width, int height, int framesPerSecond) {
  return "ffmpeg -v error -y -f rawvideo -pix_fmt " + std::string(format) + " -s " + std::to_string(width) + "x" +
         std::to_string(height) + " -r " + std::to_string(framesPerSecond) + " -i - ";
}

/// The file that the command makes, once. No template: there is one list, by whose length files are named.
std::string madeOnce(const std::string& command, const std::string& kind,
                     const std::function<bool(const std::string& path)>& make) {
  static std::map<std::string, std::string> made;
  const auto found = made.find(command);
  if (found != made.end()) return found->second;
  const std::string path = pathOf("clip-" + std::to_string(made.size()) + "." + kind);
  return made[command] = make(path) ? path : "";
}

}  // namespace

std::string pathOf(const std::string& name) { return folder().path() + "/" + name; }

std::string fileWith(const std::string& name, const std::string& content) {
  const std::string path = pathOf(name);
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string clipFile(const Clip& clip) {
  std::string command = rawInput("yuv420p", clip.width, clip.height, clip.framesPerSecond);
  if (clip.sound > 0.0) {
    command += "-f lavfi -i sine=frequency=440:sample_rate=48000:duration=" + std::to_string(clip.sound) + " -c:a aac ";
  }
  command += clip.video + " ";
  return madeOnce(command + std::to_string(clip.frames) + clip.kind, clip.kind, [&](const std::string& path) {
    return encode(command + path, clip.frames,
                  [&](int number) { return numberedFrame(clip.width, clip.height, number); });
  });
}

std::string barsFile(const std::string& options, const std::string& kind, int width, int height) {
  constexpr int kRate = 10;
  std::vector<uint8_t> picture(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
  for (size_t i = 0; i < picture.size(); ++i) {
    const int x = static_cast<int>(i / 3 % static_cast<size_t>(width));
    picture[i] = static_cast<uint8_t>(kBars[static_cast<size_t>(x * 8 / width)][i % 3]);
  }
  const std::string command = rawInput("rgb24", width, height, kRate) + options + " ";
  return madeOnce(command + kind, kind,
                  [&](const std::string& path) { return encode(command + path, kRate, [&](int) { return picture; }); });
}

int frameNumber(const CVPixelBufferRef& frame) {
  if (!frame || frame->planeCount() != 2) return -1;
  const CVPixelBuffer::Plane luma = frame->plane(0);
  const auto white = [&](int block) {
    const size_t x = (2 * static_cast<size_t>(block) + 1) * luma.width / (2 * kBlocks);
    const auto* bytes = static_cast<const uint8_t*>(luma.baseAddress);
    return bytes[luma.height / 6 * luma.bytesPerRow + x] > (kBlack + kWhite) / 2;
  };
  if (!white(kBits) || white(kBits + 1)) return -1;
  int number = 0;
  for (int bit = 0; bit < kBits; ++bit) number |= white(bit) ? 1 << bit : 0;
  return number;
}

std::string unavailableReason() {
  if (folder().path().empty()) return "there is no folder for temporary files";
  if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) return "ffmpeg is not installed";
  AVPlayer::prepare();
  for (const char* name : {"playbin3", "appsink", "qtdemux", "avdec_h264", "avdec_aac", "matroskademux"}) {
    GstElementFactory* factory = gst_element_factory_find(name);
    if (!factory) return "GStreamer's element " + std::string(name) + " is not installed";
    gst_object_unref(factory);
  }
  return "";
}

}  // namespace ZELTest
