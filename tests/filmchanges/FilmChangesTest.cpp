#include <gtest/gtest.h>

#include "Memory.h"
#include "player/Cinema.h"
#include "player/PlayerFixture.h"

namespace ZELTest {
namespace {

class FilmChanges : public PlayerFixture {};

TEST_F(FilmChanges, LeaveNothingBehind) {
  // GLib's allocator needs some hundred changes until its tables have their size.
  constexpr int kWarmUp = kMemoryIsMeasurable ? 200 : 10;
  constexpr int kChanges = kWarmUp + (kMemoryIsMeasurable ? 500 : 50);
  // Decoded frames lie about until their memory is used again, and GLib's tables grow in steps: up to 10 MiB and 760
  // KiB were seen, and not more in five times as many changes. A film that stays is some hundred KiB of heap.
  constexpr Memory kFilmSlack = {16 * 1024, 1000, 0, 0};
  // Threads of GStreamer's pool go when they have had nothing to do for a while.
  constexpr long kThreadSlack = 4;
  Clip loud;
  loud.sound = 3.0;
  Clip pictures;
  pictures.kind = "mkv";
  pictures.video = "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p";
  const std::string films[] = {clipFile({}), clipFile(loud), clipFile(pictures), fileWith("none.mp4", "no film")};
  Cinema cinema;
  cinema.player()->play();
  Memory early;
  for (int change = 0; change < kChanges; ++change) {
    if (change == kWarmUp) {
      cinema.player()->replaceCurrentItemWithPlayerItem(nullptr);
      NSRunLoop::mainRunLoop().runFor(0.5);
      early = Memory::now();
    }
    cinema.load(films[change % 4]);
    // One in eight goes before it is open.
    if (change % 8 == 5) continue;
    if (change % 4 == 3) {
      ASSERT_TRUE(cinema.waitUntilFailed()) << change;
      continue;
    }
    ASSERT_TRUE(cinema.waitUntilReady()) << change << ": " << cinema.item()->error();
    const auto shown = cinema.nextShown();
    ASSERT_TRUE(shown) << change;
    ASSERT_GE(shown->number, 0) << change;
    if (change % 3 == 0) cinema.player()->seekToTime(CMTimeMake(2, 1));
  }
  // The last ones close in the background, and their threads end with them.
  cinema.player()->replaceCurrentItemWithPlayerItem(nullptr);
  cinema.wait([&] { return Memory::now().files <= early.files && Memory::now().threads <= early.threads; });
  EXPECT_LE(Memory::now().threads, early.threads + kThreadSlack);
  expectNoGrowth("item changes", early, kFilmSlack);
}

}  // namespace
}  // namespace ZELTest
