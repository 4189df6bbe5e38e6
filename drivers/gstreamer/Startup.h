#pragma once

#include <string>

namespace ZELPlatform {

/// Starts GStreamer, once. Empty when it has been started, else why not. Takes some 50 ms the first time. Any thread.
///
/// If the program has not started it before, large memory of GStreamer's begins at a page from then on: decoders that
/// ask nobody how their frames should lie have frames then that a GPU can take as they are.
std::string startGStreamer();

}  // namespace ZELPlatform
