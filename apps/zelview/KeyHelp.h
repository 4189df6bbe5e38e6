#pragma once

#include <array>

namespace zelview {

struct KeyHelp {
  const char* keys;
  const char* what;
};

/// What the mouse and the keys of the window do: the text of `--help` and of the overlay.
inline constexpr std::array<KeyHelp, 13> kKeyHelp = {{
    {"drag", "turn the camera"},
    {"wheel, + -", "zoom"},
    {"arrow keys", "turn by 5 degrees"},
    {"p", "next projection"},
    {"1 2 3 4", "flat, equirectangular, cubemap, segmented sphere"},
    {"g", "fit or fill (flat pictures)"},
    {"m", "mirror"},
    {"r", "reset the camera"},
    {"s", "save a snapshot in the working directory"},
    {"f, F11", "full screen"},
    {"?", "show or hide this list"},
    {"Escape", "leave full screen, hide this list, or quit"},
    {"q", "quit"},
}};

}  // namespace zelview
