#pragma once

#include <array>

namespace zelview {

struct KeyHelp {
  const char* keys;
  const char* what;
};

/// What the mouse and the keys of the window do: the text of `--help` and of the overlay.
inline constexpr std::array<KeyHelp, 22> kKeyHelp = {{
    {"drag", "turn the camera, or fling it"},
    {"wheel, pinch, + -", "zoom"},
    {"arrow keys", "turn by 5 degrees; hold to go on turning"},
    {"controller sticks", "turn"},
    {"double click, Home, 0", "ease back to straight ahead"},
    {"c", "next controller: level horizon, or free"},
    {"p", "next projection"},
    {"1 2 3 4", "flat, equirectangular, cubemap, segmented sphere"},
    {"g", "fit or fill (flat pictures)"},
    {"m", "mirror"},
    {"u", "super-resolution on or off (flat, drawn by Metal)"},
    {"x", "compare: the left half without super-resolution"},
    {"r", "back to where the window began"},
    {"Space", "pause or go on (videos)"},
    {", .", "5 seconds back or on; with Shift, 30"},
    {"drag the bar below", "look for another place; move the mouse to see it"},
    {"a", "sound off or on"},
    {"b, n", "previous or next video"},
    {"s", "save a snapshot in the working directory"},
    {"f, F11", "full screen"},
    {"?", "show or hide this list"},
    {"Escape, q", "quit; Escape first leaves full screen or this list"},
}};

}  // namespace zelview
