#pragma once
// Keyboard scan codes by name and by SDL scancode. The core indexes its key
// table by DirectInput scan codes (DIK_*); scripts name keys by the DIK name
// without its prefix; the SDL backend turns SDL scancodes into DIK values.
// ScanCodeByName is declared in platform/dinput.h.

// The name of a scan code ("ESCAPE", "NUMPAD8"), as ScanCodeByName reads it
// back; null for a code without a name or outside 0..255.
const char* ScanCodeName(int nCode);

// The DIK value of an SDL scancode (SDL_SCANCODE_*), or -1 for a key the
// DirectInput keyboard does not have.
int ScanCodeFromSdl(int nSdlScancode);
