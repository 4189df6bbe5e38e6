#pragma once

#include <ZELPlatform/CoreGraphics.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace zelview {

/// A folder that goes away with its owner.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "zelview-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~ScratchFolder() { std::filesystem::remove_all(path_); }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

struct Pixel {
  uint8_t red = 0;
  uint8_t green = 0;
  uint8_t blue = 0;
  bool operator==(const Pixel&) const = default;
};

inline std::shared_ptr<CGImage> makeImage(size_t width, size_t height,
                                          const std::function<Pixel(size_t x, size_t y)>& colour) {
  std::vector<uint8_t> bytes;
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      const Pixel p = colour(x, y);
      bytes.insert(bytes.end(), {p.red, p.green, p.blue, 255});
    }
  }
  return CGImage::create(width, height, width * 4, CGImageAlphaInfo::NoneSkipLast, std::move(bytes));
}

inline Pixel pixelAt(const CGImage& image, size_t x, size_t y) {
  const uint8_t* p = image.bytes() + y * image.bytesPerRow() + x * 4;
  return {p[0], p[1], p[2]};
}

inline std::string readText(const std::string& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace zelview
