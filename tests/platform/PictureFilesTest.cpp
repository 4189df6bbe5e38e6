#include <ZELPlatform/CoreGraphics.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<uint8_t> noise(size_t count) {
  std::mt19937 random(5);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

const uint8_t* pixel(const CGImage& image, size_t x, size_t y) {
  return image.bytes() + y * image.bytesPerRow() + x * 4;
}

class PictureFiles : public testing::Test {
 protected:
  fs::path folder = fs::temp_directory_path() / ("zelkit-pictures-" + std::to_string(getpid()));

  void SetUp() override { fs::create_directories(folder); }
  void TearDown() override { fs::remove_all(folder); }

  std::string path(const std::string& name) const { return (folder / name).string(); }

  std::string put(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }

  /// The bytes of a noisy picture, or of one with red, green, blue and white quarters (from the top left, in rows).
  std::string encoded(const char* format, int width, int height, bool quarters = false) const {
    GdkPixbuf* pixbuf = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, height);
    const std::vector<uint8_t> bytes = noise(gdk_pixbuf_get_byte_length(pixbuf));
    std::copy(bytes.begin(), bytes.end(), gdk_pixbuf_get_pixels(pixbuf));
    const guint32 colours[] = {0xff0000ff, 0x00ff00ff, 0x0000ffff, 0xffffffff};
    for (int i = 0; quarters && i < 4; ++i) {
      GdkPixbuf* quarter =
          gdk_pixbuf_new_subpixbuf(pixbuf, i % 2 * width / 2, i / 2 * height / 2, width / 2, height / 2);
      gdk_pixbuf_fill(quarter, colours[i]);
      g_object_unref(quarter);
    }
    gchar* data = nullptr;
    gsize size = 0;
    EXPECT_TRUE(gdk_pixbuf_save_to_buffer(pixbuf, &data, &size, format, nullptr, nullptr));
    g_object_unref(pixbuf);
    std::string result(data, size);
    g_free(data);
    return result;
  }

  /// A JPEG file with an EXIF segment that states an orientation, and holds an end marker as a thumbnail would.
  static std::string withOrientation(const std::string& jpeg, char orientation) {
    using namespace std::string_literals;
    const std::string exif =
        "Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0"s + orientation + "\0\0\0\0\0\0\0\xFF\xD8\xFF\xD9"s;
    return jpeg.substr(0, 2) + "\xFF\xE1\0"s + static_cast<char>(exif.size() + 2) + exif + jpeg.substr(2);
  }
};

TEST_F(PictureFiles, PNGKeepsEveryPixel) {
  const size_t width = 37, height = 23, bytesPerRow = 160;
  for (const auto alphaInfo : {CGImageAlphaInfo::NoneSkipLast, CGImageAlphaInfo::PremultipliedLast}) {
    std::vector<uint8_t> bytes = noise(bytesPerRow * height);
    for (size_t i = 0; i < bytes.size() && alphaInfo == CGImageAlphaInfo::PremultipliedLast; i += 4) {
      for (size_t c = 0; c < 3; ++c) bytes[i + c] = static_cast<uint8_t>(bytes[i + c] * bytes[i + 3] / 255);
    }
    const auto image = CGImage::create(width, height, bytesPerRow, alphaInfo, bytes);
    ASSERT_EQ(CGImageWritePNG(*image, path("a.png")), "");
    const CGImageDecodeResult read = CGImageCreateWithContentsOfFile(path("a.png"));
    ASSERT_EQ(read.error, "");
    EXPECT_EQ(read.image->alphaInfo(), alphaInfo) << "a PNG has an alpha channel only where the image has one";
    ASSERT_EQ(read.image->width(), width);
    ASSERT_EQ(read.image->height(), height);
    const size_t compared = alphaInfo == CGImageAlphaInfo::NoneSkipLast ? 3 : 4;
    for (size_t y = 0; y < height; ++y) {
      for (size_t x = 0; x < width; ++x) {
        ASSERT_TRUE(std::equal(pixel(*image, x, y), pixel(*image, x, y) + compared, pixel(*read.image, x, y)))
            << x << " " << y;
      }
    }
  }
}

TEST_F(PictureFiles, CutOffFilesAreErrors) {
  for (const char* format : {"jpeg", "png", "bmp", "ico", "tiff"}) {
    const std::string whole = encoded(format, 90, 60);
    EXPECT_EQ(CGImageCreateWithContentsOfFile(put("whole", whole)).error, "") << format;
    std::vector<size_t> lengths = {whole.size() / 2, whole.size() / 8};
    if (format == std::string("jpeg") || format == std::string("png")) lengths.push_back(whole.size() - 1);
    for (const size_t length : lengths) {
      const CGImageDecodeResult result = CGImageCreateWithContentsOfFile(put("cut", whole.substr(0, length)));
      EXPECT_FALSE(result.image) << format << " of " << length << " bytes";
      EXPECT_THAT(result.error,
                  testing::AnyOf(HasSubstr("it ends before the picture is complete"), HasSubstr("it is damaged")));
    }
  }
  const std::string withThumbnail = withOrientation(encoded("jpeg", 90, 60), 1);
  EXPECT_FALSE(CGImageCreateWithContentsOfFile(put("cut", withThumbnail.substr(0, withThumbnail.size() / 2))).image);
}

TEST_F(PictureFiles, OrientationTagsSetThePictureUpright) {
  // Red, green, blue, white as quarters of the upright picture for every tag: top left, top right, bottom left.
  const char* const expected[] = {"rgb", "grw", "wbg", "bwr", "rbg", "brw", "wgb", "gwr"};
  const std::string jpeg = encoded("jpeg", 64, 32, true);
  for (char orientation = 1; orientation <= 8; ++orientation) {
    const std::string file = put("o.jpg", withOrientation(jpeg, orientation));
    const CGImageDecodeResult whole = CGImageCreateWithContentsOfFile(file);
    const CGImageDecodeResult small = CGImageCreateWithContentsOfFile(file, {.maximumSide = 16});
    for (const CGImageDecodeResult& result : {whole, small}) {
      ASSERT_EQ(result.error, "");
      EXPECT_EQ(result.originalWidth, orientation < 5 ? 64u : 32u);
      EXPECT_EQ(result.originalHeight, orientation < 5 ? 32u : 64u);
      const size_t width = result.image->width(), height = result.image->height();
      EXPECT_EQ(width * result.originalHeight, height * result.originalWidth);
      const auto letter = [&](size_t x, size_t y) {
        const uint8_t* p = pixel(*result.image, x, y);
        const bool r = p[0] > 128, g = p[1] > 128, b = p[2] > 128;
        return r && g && b ? 'w' : r ? 'r' : g ? 'g' : b ? 'b' : '?';
      };
      const std::string found = {letter(width / 4, height / 4), letter(width * 3 / 4, height / 4),
                                 letter(width / 4, height * 3 / 4)};
      EXPECT_EQ(found, expected[orientation - 1]) << "orientation " << int(orientation) << ", width " << width;
    }
    EXPECT_EQ(std::max(small.image->width(), small.image->height()), 16u);
  }
}

TEST_F(PictureFiles, TheLongerSideIsLimitedWithTheShapeKept) {
  for (const char* format : {"jpeg", "png", "bmp"}) {
    const std::string file = put("picture", encoded(format, 300, 100));
    for (const auto& [limit, width, height] :
         {std::tuple<size_t, size_t, size_t>{0, 300, 100}, {300, 300, 100}, {299, 299, 100}, {75, 75, 25}, {1, 1, 1}}) {
      const CGImageDecodeResult result = CGImageCreateWithContentsOfFile(file, {.maximumSide = limit});
      ASSERT_EQ(result.error, "") << format << " " << limit;
      EXPECT_EQ(result.image->width(), width) << format << " " << limit;
      EXPECT_EQ(result.image->height(), height) << format << " " << limit;
      EXPECT_EQ(result.originalWidth, 300u);
      EXPECT_EQ(result.originalHeight, 100u);
    }
  }
}

TEST_F(PictureFiles, ErrorsAreOneSentenceWithTheFilesName) {
  std::string damaged = encoded("png", 90, 60);
  damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
  const std::pair<std::string, std::string> cases[] = {
      {path("missing.png"), "it does not exist"},
      {folder.string(), "it is a directory"},
      {"/dev/null", "it is not a regular file"},
      {put("empty.png", ""), "it is empty"},
      {put("text.png", "text"), "it is not a picture of a known kind"},
      {put("long.png", std::string(100000, 'x')), "it is not a picture of a known kind"},
      {put("damaged.png", damaged), "it is damaged ("},
  };
  for (const auto& [file, reason] : cases) {
    const CGImageDecodeResult result = CGImageCreateWithContentsOfFile(file);
    EXPECT_FALSE(result.image);
    EXPECT_THAT(result.error,
                AllOf(StartsWith("The picture \"" + file + "\" "), HasSubstr(" cannot be read: " + reason)));
    EXPECT_EQ(result.error.find(". "), std::string::npos) << result.error;
    EXPECT_EQ(result.error.back(), '.');
  }
}

TEST_F(PictureFiles, AFailedWriteLeavesNothingAndTouchesNothing) {
  const auto image = CGImage::create(64, 64, 256, CGImageAlphaInfo::NoneSkipLast, noise(size_t{64} * 64 * 4));
  EXPECT_EQ(CGImageWritePNG(*image, path("none/a.png")),
            "The picture \"" + path("none/a.png") + "\" cannot be written: its folder does not exist.");
  EXPECT_THAT(CGImageWritePNG(*image, folder.string()), HasSubstr("cannot be written: it is a directory."));
  EXPECT_THAT(CGImageWritePNG(*image, "/dev/null"), HasSubstr("cannot be written: it is not a regular file."));

  // A file system that is full: no file may grow beyond a few bytes.
  put("old.png", "old");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit few = {100, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &few);
  const std::string error = CGImageWritePNG(*image, path("old.png"));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(error, StartsWith("The picture \"" + path("old.png") + "\" cannot be written: the system reports \""));
  std::ifstream old(path("old.png"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(old), {}), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1) << "only the old file";
}

}  // namespace
