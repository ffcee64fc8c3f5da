#pragma once
// SDL events as the live backend receives them, for ApplySdlEvent.
#include <SDL2/SDL.h>

inline SDL_Event WindowEvent(uint8_t nWhat)
{
    SDL_Event event = {};
    event.type = SDL_WINDOWEVENT;
    event.window.event = nWhat;
    return event;
}

inline SDL_Event MotionEvent(int32_t nX)
{
    SDL_Event event = {};
    event.type = SDL_MOUSEMOTION;
    event.motion.xrel = nX;
    return event;
}
