#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace zelview {

/// Whether the tests can make clips; else they are skipped.
inline bool canMakeClips() { return std::system("ffmpeg -version >/dev/null 2>&1") == 0; }

/// A clip of 320x160 pixels at 30 frames a second: a second of red, then one of green and one of blue, with a tone.
inline void makeClip(const std::string& path) {
  const std::string command =
      "ffmpeg -loglevel error -y -f lavfi -i color=red:s=320x160:r=30:d=1 -f lavfi -i color=lime:s=320x160:r=30:d=1 "
      "-f lavfi -i color=blue:s=320x160:r=30:d=1 -f lavfi -i sine=440:d=3 "
      "-filter_complex '[0][1][2]concat=n=3[v]' -map '[v]' -map 3 -c:v libx264 -preset ultrafast -pix_fmt yuv420p "
      "-c:a aac '" +
      path + "' </dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
}

/// A clip of one second that is not 2:1, without sound, as ffmpeg's options say.
inline void makeSquareClip(const std::string& path, const std::string& options = "") {
  const std::string command =
      "ffmpeg -loglevel error -y -f lavfi -i testsrc=s=160x160:r=30:d=1 -c:v libx264 -preset ultrafast -pix_fmt "
      "yuv420p " +
      options + " '" + path + "' </dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
}

}  // namespace zelview
