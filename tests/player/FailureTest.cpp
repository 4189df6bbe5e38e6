#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

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

TEST_F(Failure, OfAUrlThatLeadsNowhere) {
  EXPECT_THAT(errorOf("nonsense://somewhere/film.mp4"), HasSubstr("is not installed"));
  EXPECT_THAT(errorOf("http://127.0.0.1:9/film.mp4"), HasSubstr("cannot be played: "));
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

TEST_F(Failure, AfterOneTheNextFilmPlays) {
  Cinema cinema(pathOf("nowhere.mp4"));
  ASSERT_TRUE(cinema.waitUntilFailed());
  cinema.player()->play();
  cinema.load(clipFile({}));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  EXPECT_GT(cinema.watch(0.5).size(), 2U);
}

}  // namespace
}  // namespace ZELTest
