#include <gmock/gmock.h>
#include <gst/gst.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "player/Cinema.h"
#include "player/PlayerFixture.h"

// What cannot be played says why, in one sentence.

namespace ZELTest {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class Failure : public PlayerFixture {
 protected:
  static std::string errorOf(const std::string& url) {
    Cinema cinema;
    cinema.load(url);
    EXPECT_TRUE(cinema.waitUntilFailed()) << url;
    EXPECT_EQ(cinema.output()->copyPixelBufferForItemTime(kCMTimeZero, nullptr), nullptr);
    const std::string error = cinema.item()->error();
    // One sentence, however it came about.
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    EXPECT_EQ(error.substr(error.size() - 1), ".") << error;
    EXPECT_NE(error.substr(error.size() - 2), "..") << error;
    return error;
  }

  static std::string sentence(const std::string& url, const std::string& reason) {
    return "The video \"" + url + "\" cannot be played: " + reason + ".";
  }
};

TEST_F(Failure, OfAFileThatCannotBeAVideo) {
  const std::string missing = pathOf("nowhere.mp4");
  EXPECT_EQ(errorOf(missing), sentence(missing, "it does not exist"));
  EXPECT_EQ(errorOf("file://" + missing), sentence("file://" + missing, "it does not exist"));
  const std::string text = fileWith("text.mp4", "Once upon a time there was a file that was no film.\n");
  EXPECT_EQ(errorOf(text), sentence(text, "it is not a video of a known kind"));
  const std::string empty = fileWith("empty.mp4", "");
  EXPECT_EQ(errorOf(empty), sentence(empty, "it is empty"));
  EXPECT_EQ(errorOf("/tmp"), sentence("/tmp", "it is a directory"));
  EXPECT_EQ(errorOf(""), sentence("", "it has no name"));
  const std::string locked = fileWith("locked.mp4", "x");
  chmod(locked.c_str(), 0);
  if (access(locked.c_str(), R_OK) != 0) {
    EXPECT_EQ(errorOf(locked), sentence(locked, "it must not be read"));
  }
}

TEST_F(Failure, OfAUrlOfAnUnknownKind) {
  EXPECT_THAT(errorOf("nonsense://somewhere/film.mp4"), HasSubstr("is not installed"));
}

TEST_F(Failure, OfAFilmWithoutAPicture) {
  const std::string path = pathOf("tone.m4a");
  ASSERT_EQ(std::system(("ffmpeg -v error -y -f lavfi -i sine=duration=1 -c:a aac " + path).c_str()), 0);
  EXPECT_EQ(errorOf(path), sentence(path, "it has no video track"));
}

TEST_F(Failure, OfAFilmWithoutItsIndex) {
  const std::string whole = contentOf(clipFile({}));
  // The index is at the end of such a file.
  const std::string path = fileWith("cut.mp4", whole.substr(0, whole.size() / 2));
  EXPECT_THAT(errorOf(path), HasSubstr("cannot be played: it is damaged or incomplete"));
}

TEST_F(Failure, OfNoiseInTheShapeOfAFilm) {
  std::string noise = contentOf(clipFile({})).substr(0, 20000);
  for (size_t i = 40; i < noise.size(); ++i) noise[i] = static_cast<char>(i * 2654435761U >> 7);
  EXPECT_THAT(errorOf(fileWith("noise.mp4", noise)), HasSubstr("cannot be played: "));
}

TEST_F(Failure, AFilmThatBreaksOffPlaysAsFarAsItGoes) {
  Clip clip;
  clip.kind = "mkv";
  const std::string whole = contentOf(clipFile(clip));
  Cinema cinema(fileWith("broken-off.mkv", whole.substr(0, whole.size() * 6 / 10)));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  bool ended = false;
  cinema.item()->setPlayedToEndObserver([&] { ended = true; });
  cinema.player()->play();
  const auto all = cinema.watch(20, [&] { return ended || cinema.item()->status() == AVPlayerItemStatusFailed; });
  ASSERT_FALSE(all.empty());
  EXPECT_GT(all.back().number, 20);
  EXPECT_LT(all.back().number, 89);
  EXPECT_TRUE(ended || !cinema.item()->error().empty());
  EXPECT_NE(cinema.output()->copyPixelBufferForItemTime(cinema.player()->currentTime(), nullptr), nullptr)
      << "the last picture stays";
}

/// Pictures that each stand alone, in a Matroska file without an audio track.
std::string pictures() {
  Clip clip;
  clip.kind = "mkv";
  clip.video = "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p";
  return contentOf(clipFile(clip));
}

TEST_F(Failure, ATrackWithoutAFrameRatePlays) {
  std::string film = pictures();
  // The default duration of a frame, an element of four bytes.
  const size_t at = film.find("\x23\xE3\x83\x84");
  ASSERT_NE(at, std::string::npos);
  for (size_t i = 0; i < 4; ++i) film[at + 4 + i] = 0;
  Cinema cinema(fileWith("no-rate.mkv", film));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  ASSERT_TRUE(cinema.seek(60.5 / 30));
  const auto shown = cinema.look();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->number, 60);
  cinema.player()->play();
  const auto all = cinema.watch(Cinema::kLongest, [&] { return cinema.player()->rate() == 0.0F; });
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all.back().number, 89);
}

TEST_F(Failure, TimesThatGoBackAndForthDoNotStopIt) {
  std::string film = pictures();
  // A picture begins with FF D8 FF; before it stand its track, its time in two bytes, and its flags.
  std::vector<size_t> blocks;
  for (size_t at = film.find("\xFF\xD8\xFF"); at != std::string::npos; at = film.find("\xFF\xD8\xFF", at + 1)) {
    if (film[at - 4] == '\x81') blocks.push_back(at - 3);
  }
  ASSERT_EQ(blocks.size(), 90U);
  const auto setTime = [&](size_t block, int milliseconds) {
    film[blocks[block]] = static_cast<char>(milliseconds >> 8);
    film[blocks[block] + 1] = static_cast<char>(milliseconds);
  };
  // Counted from the beginning of a block's cluster: twice back, and once ahead by more than a second.
  setTime(20, 0);
  setTime(21, 100);
  setTime(40, 1200);
  Cinema cinema(fileWith("times.mkv", film));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  cinema.player()->play();
  const auto all = cinema.watch(Cinema::kLongest, [&] { return cinema.player()->rate() == 0.0F; });
  ASSERT_FALSE(all.empty());
  for (size_t i = 1; i < all.size(); ++i) EXPECT_GT(all[i].number, all[i - 1].number);
  EXPECT_EQ(all.back().number, 89);
}

/// While it lives, no decoder is found for streams of that kind.
class WithoutDecoders {
 public:
  explicit WithoutDecoders(const char* caps) {
    GstCaps* kind = gst_caps_from_string(caps);
    GList* all = gst_element_factory_list_get_elements(GST_ELEMENT_FACTORY_TYPE_DECODER, GST_RANK_MARGINAL);
    decoders_ = gst_element_factory_list_filter(all, kind, GST_PAD_SINK, FALSE);
    gst_plugin_feature_list_free(all);
    gst_caps_unref(kind);
    for (GList* at = decoders_; at; at = at->next) {
      GstPluginFeature* feature = GST_PLUGIN_FEATURE(at->data);
      ranks_.push_back(gst_plugin_feature_get_rank(feature));
      gst_plugin_feature_set_rank(feature, GST_RANK_NONE);
    }
  }
  ~WithoutDecoders() {
    size_t index = 0;
    for (GList* at = decoders_; at; at = at->next) {
      gst_plugin_feature_set_rank(GST_PLUGIN_FEATURE(at->data), ranks_[index++]);
    }
    gst_plugin_feature_list_free(decoders_);
  }
  WithoutDecoders(const WithoutDecoders&) = delete;
  WithoutDecoders& operator=(const WithoutDecoders&) = delete;

 private:
  GList* decoders_ = nullptr;
  std::vector<guint> ranks_;
};

TEST_F(Failure, OfAMissingDecoderNamesItAndItsPackage) {
  Clip silent;
  Clip loud;
  loud.sound = 3.0;
  for (const std::string& path : {clipFile(silent), clipFile(loud)}) {
    const WithoutDecoders without("video/x-h264");
    const std::string error = errorOf(path);
    EXPECT_THAT(error, HasSubstr("H.264"));
    EXPECT_THAT(error, EndsWith("decoder is not installed (on Debian, the package gstreamer1.0-libav has it)."));
  }
  Cinema cinema(clipFile(silent));
  EXPECT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
}

TEST_F(Failure, AfterOneTheNextFilmPlays) {
  Cinema cinema(pathOf("nowhere.mp4"));
  ASSERT_TRUE(cinema.waitUntilFailed());
  cinema.player()->play();
  cinema.load(clipFile({}));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  EXPECT_FALSE(cinema.watch(Cinema::kLongest, [&] { return cinema.time() > 0.3; }).empty());
}

}  // namespace
}  // namespace ZELTest
