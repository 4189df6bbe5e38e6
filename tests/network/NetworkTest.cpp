#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <utility>

#include "network/FilmServer.h"
#include "player/Cinema.h"
#include "player/PlayerFixture.h"

// Films that come over a network.

namespace ZELTest {
namespace {

using testing::HasSubstr;

class Network : public PlayerFixture {
 protected:
  /// Plays to the end of the first second, and seeks from there.
  static void expectPlaysAndSeeks(const std::string& url) {
    SCOPED_TRACE(url);
    Cinema cinema(url);
    ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
    EXPECT_NEAR(CMTimeGetSeconds(cinema.item()->duration()), 3.0, 0.1);
    const auto all = cinema.playTo(1.0);
    ASSERT_FALSE(all.empty());
    for (const Shown& shown : all) EXPECT_NEAR(shown.number, shown.frameTime * 30, 0.51);
    ASSERT_TRUE(cinema.pause());
    for (const int target : {75, 40}) {
      ASSERT_TRUE(cinema.item()->canSeek());
      ASSERT_TRUE(cinema.seek((target + 0.5) / 30.0));
      const auto shown = cinema.look();
      ASSERT_TRUE(shown);
      EXPECT_EQ(shown->number, target);
    }
  }
};

TEST_F(Network, AFilmPlaysAndSeeks) {
  const FilmServer server({{"film.mp4", contentOf(clipFile({}))}});
  expectPlaysAndSeeks(server.url("film.mp4"));
}

TEST_F(Network, AFilmInSegmentsPlaysAndSeeks) {
  // Pictures in the order in which they are shown: what is numbered 0 is at time 0 in each kind of segment.
  Clip clip;
  clip.video = "-c:v libx264 -preset ultrafast -bf 0 -g 30 -pix_fmt yuv420p";
  const std::string film = clipFile(clip);
  for (const std::string kind : {"fmp4", "mpegts"}) {
    const std::filesystem::path folder = pathOf("segments-" + kind);
    std::filesystem::create_directory(folder);
    const std::string command = "cd " + folder.string() + " && ffmpeg -v error -y -i " + film +
                                " -c copy -f hls -hls_time 1 -hls_playlist_type vod -hls_segment_type " + kind +
                                " film.m3u8";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      files[entry.path().filename()] = contentOf(entry.path());
    }
    const FilmServer server(files);
    expectPlaysAndSeeks(server.url("film.m3u8"));
  }
}

TEST_F(Network, WhatIsNotThereSaysSo) {
  const FilmServer server({});
  const std::string nowhere = server.url("film.mp4");
  const std::string nobody = "http://127.0.0.1:9/film.mp4";
  for (const auto& [url, reason] :
       {std::pair(nowhere, "it does not exist"), std::pair(nobody, "it cannot be reached")}) {
    Cinema cinema(url);
    ASSERT_TRUE(cinema.waitUntilFailed());
    EXPECT_EQ(cinema.item()->error(), "The video \"" + url + "\" cannot be played: " + reason + ".");
  }
}

TEST_F(Network, AStreamThatBreaksOffKeepsItsPictureAndSaysSo) {
  Clip clip;
  clip.frames = 300;
  clip.video = "-c:v mjpeg -q:v 1 -pix_fmt yuvj420p";
  clip.kind = "mkv";
  const std::string film = contentOf(clipFile(clip));
  for (const bool hangsUp : {true, false}) {
    // What is there is less than what playing waits for, so that the player waits for the network when it ends.
    FilmServer server({{"film.mkv", film}}, film.size() / 8);
    Cinema cinema(server.url("film.mkv"));
    ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
    cinema.player()->play();
    ASSERT_TRUE(cinema.nextShown());
    if (hangsUp) server.hangUp();
    const bool over = NSRunLoop::mainRunLoop().runUntil(
        [&] {
          cinema.look();
          return cinema.item()->status() == AVPlayerItemStatusFailed;
        },
        60);
    ASSERT_TRUE(over) << (hangsUp ? "it hung up" : "it stalled");
    EXPECT_THAT(cinema.item()->error(), HasSubstr("cannot be played any further: "));
    EXPECT_EQ(cinema.item()->error().find('\n'), std::string::npos);
    std::cout << cinema.item()->error() << "\n";
    EXPECT_NE(cinema.output()->copyPixelBufferForItemTime(cinema.player()->currentTime(), nullptr), nullptr)
        << "the last picture stays";
    cinema.load(clipFile({}));
    EXPECT_TRUE(cinema.waitUntilReady()) << "and the next film plays";
  }
}

}  // namespace
}  // namespace ZELTest
