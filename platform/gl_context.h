#pragma once
// Where the OpenGL display draws: the SDL window whose OpenGL 2.1 context is
// current. By default the SDL backend's window; a test that makes its own
// window and context names it here instead.
struct SDL_Window;

// Overrides the window of GetSdlWindow(); null goes back to it.
void SetGLTargetWindow(SDL_Window* pWindow);
// The window to draw into, or null when there is none.
SDL_Window* GetGLTargetWindow();
