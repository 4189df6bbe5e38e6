#include "drivers/sdl/SDLKeys.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace ZELPlatform {

namespace {

constexpr std::string_view kPlain = "`1234567890-=[]\\;',./";
constexpr std::string_view kShifted = "~!@#$%^&*()_+{}|:\"<>?";
static_assert(kPlain.size() == kShifted.size());

/// A key of the keypad, what it types, and what it is while Num Lock is off; SDL leaves the choice to its users.
struct KeypadKey {
  SDL_Keycode key;
  SDL_Keycode typed;
  SDL_Keycode navigation;
};

constexpr std::array<KeypadKey, 16> kKeypad = {{
    {SDLK_KP_0, SDLK_0, SDLK_INSERT},
    {SDLK_KP_1, SDLK_1, SDLK_END},
    {SDLK_KP_2, SDLK_2, SDLK_DOWN},
    {SDLK_KP_3, SDLK_3, SDLK_PAGEDOWN},
    {SDLK_KP_4, SDLK_4, SDLK_LEFT},
    {SDLK_KP_5, SDLK_5, SDLK_5},
    {SDLK_KP_6, SDLK_6, SDLK_RIGHT},
    {SDLK_KP_7, SDLK_7, SDLK_HOME},
    {SDLK_KP_8, SDLK_8, SDLK_UP},
    {SDLK_KP_9, SDLK_9, SDLK_PAGEUP},
    {SDLK_KP_PERIOD, SDLK_PERIOD, SDLK_DELETE},
    {SDLK_KP_PLUS, SDLK_PLUS, SDLK_PLUS},
    {SDLK_KP_MINUS, SDLK_MINUS, SDLK_MINUS},
    {SDLK_KP_MULTIPLY, SDLK_ASTERISK, SDLK_ASTERISK},
    {SDLK_KP_DIVIDE, SDLK_SLASH, SDLK_SLASH},
    {SDLK_KP_ENTER, SDLK_RETURN, SDLK_RETURN},
}};

std::string keyName(SDL_Keycode code, bool shift) {
  const bool isPrintableASCII = code > SDLK_SPACE && code < SDLK_DELETE;
  if (!isPrintableASCII) {
    return SDL_GetKeyName(code);
  }
  const char character = static_cast<char>(code);
  const size_t place = shift ? kPlain.find(character) : std::string_view::npos;
  return std::string(1, place == std::string_view::npos ? character : kShifted[place]);
}

}  // namespace

UIKey keyFromSDL(const SDL_Keysym& symbol, bool repeated) {
  UIKey key;
  key.shift = (symbol.mod & KMOD_SHIFT) != 0;
  key.control = (symbol.mod & KMOD_CTRL) != 0;
  key.alt = (symbol.mod & KMOD_ALT) != 0;
  key.repeated = repeated;
  const auto keypad =
      std::find_if(kKeypad.begin(), kKeypad.end(), [&symbol](const KeypadKey& each) { return each.key == symbol.sym; });
  if (keypad != kKeypad.end()) {
    key.name = keyName((symbol.mod & KMOD_NUM) != 0 ? keypad->typed : keypad->navigation, false);
  } else {
    key.name = keyName(symbol.sym, key.shift);
  }
  return key;
}

}  // namespace ZELPlatform
