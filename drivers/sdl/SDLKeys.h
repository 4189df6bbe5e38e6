#pragma once

#include <ZELPlatform/UIWindow.h>

#include <SDL2/SDL_keyboard.h>

namespace ZELPlatform {

/// The key as the platform names it. Shifted punctuation and digits are those of the US layout, since no text is being
/// entered that could tell what another layout makes of them.
UIKey keyFromSDL(const SDL_Keysym& symbol, bool repeated);

}  // namespace ZELPlatform
