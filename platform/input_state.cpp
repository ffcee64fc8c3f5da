// The shared input state, and the keys of its key table by name and by SDL
// scancode. The key table is indexed by DirectInput scan codes.
#include "platform/input_state.h"

#include "platform/dinput.h"
#include "platform/scan_codes.h"

#include <SDL_scancode.h>

#include <cstring>

CInputState& GetInputState()
{
    static CInputState state;
    return state;
}

void ResetInputState()
{
    GetInputState() = CInputState();
}

namespace {

struct CKeyName {
    const char* pszName;
    uint8_t nCode;
};

// DirectInput key names without their prefix. The first name of a code is
// the one ScanCodeName gives; later ones are accepted aliases.
constexpr CKeyName KEY_NAMES[] = {
    {"ESCAPE", 0x01}, {"1", 0x02}, {"2", 0x03}, {"3", 0x04}, {"4", 0x05}, {"5", 0x06},
    {"6", 0x07}, {"7", 0x08}, {"8", 0x09}, {"9", 0x0A}, {"0", 0x0B}, {"MINUS", 0x0C},
    {"EQUALS", 0x0D}, {"BACK", 0x0E}, {"TAB", 0x0F}, {"Q", 0x10}, {"W", 0x11}, {"E", 0x12},
    {"R", 0x13}, {"T", 0x14}, {"Y", 0x15}, {"U", 0x16}, {"I", 0x17}, {"O", 0x18}, {"P", 0x19},
    {"LBRACKET", 0x1A}, {"RBRACKET", 0x1B}, {"RETURN", 0x1C}, {"LCONTROL", 0x1D},
    {"A", 0x1E}, {"S", 0x1F}, {"D", 0x20}, {"F", 0x21}, {"G", 0x22}, {"H", 0x23}, {"J", 0x24},
    {"K", 0x25}, {"L", 0x26}, {"SEMICOLON", 0x27}, {"APOSTROPHE", 0x28}, {"GRAVE", 0x29},
    {"LSHIFT", 0x2A}, {"BACKSLASH", 0x2B}, {"Z", 0x2C}, {"X", 0x2D}, {"C", 0x2E},
    {"V", 0x2F}, {"B", 0x30}, {"N", 0x31}, {"M", 0x32}, {"COMMA", 0x33}, {"PERIOD", 0x34},
    {"SLASH", 0x35}, {"RSHIFT", 0x36}, {"MULTIPLY", 0x37}, {"LMENU", 0x38}, {"SPACE", 0x39},
    {"CAPITAL", 0x3A}, {"F1", 0x3B}, {"F2", 0x3C}, {"F3", 0x3D}, {"F4", 0x3E}, {"F5", 0x3F},
    {"F6", 0x40}, {"F7", 0x41}, {"F8", 0x42}, {"F9", 0x43}, {"F10", 0x44},
    {"NUMLOCK", 0x45}, {"SCROLL", 0x46}, {"NUMPAD7", 0x47}, {"NUMPAD8", 0x48},
    {"NUMPAD9", 0x49}, {"SUBTRACT", 0x4A}, {"NUMPAD4", 0x4B}, {"NUMPAD5", 0x4C},
    {"NUMPAD6", 0x4D}, {"ADD", 0x4E}, {"NUMPAD1", 0x4F}, {"NUMPAD2", 0x50},
    {"NUMPAD3", 0x51}, {"NUMPAD0", 0x52}, {"DECIMAL", 0x53}, {"OEM_102", 0x56},
    {"F11", 0x57}, {"F12", 0x58}, {"F13", 0x64}, {"F14", 0x65}, {"F15", 0x66},
    {"KANA", 0x70}, {"ABNT_C1", 0x73}, {"CONVERT", 0x79}, {"NOCONVERT", 0x7B},
    {"YEN", 0x7D}, {"ABNT_C2", 0x7E}, {"NUMPADEQUALS", 0x8D}, {"PREVTRACK", 0x90},
    {"AT", 0x91}, {"COLON", 0x92}, {"UNDERLINE", 0x93}, {"KANJI", 0x94}, {"STOP", 0x95},
    {"AX", 0x96}, {"UNLABELED", 0x97}, {"NEXTTRACK", 0x99}, {"NUMPADENTER", 0x9C},
    {"RCONTROL", 0x9D}, {"MUTE", 0xA0}, {"CALCULATOR", 0xA1}, {"PLAYPAUSE", 0xA2},
    {"MEDIASTOP", 0xA4}, {"VOLUMEDOWN", 0xAE}, {"VOLUMEUP", 0xB0}, {"WEBHOME", 0xB2},
    {"NUMPADCOMMA", 0xB3}, {"DIVIDE", 0xB5}, {"SYSRQ", 0xB7}, {"RMENU", 0xB8},
    {"PAUSE", 0xC5}, {"HOME", 0xC7}, {"UP", 0xC8}, {"PRIOR", 0xC9}, {"LEFT", 0xCB},
    {"RIGHT", 0xCD}, {"END", 0xCF}, {"DOWN", 0xD0}, {"NEXT", 0xD1}, {"INSERT", 0xD2},
    {"DELETE", 0xD3}, {"LWIN", 0xDB}, {"RWIN", 0xDC}, {"APPS", 0xDD}, {"POWER", 0xDE},
    {"SLEEP", 0xDF}, {"WAKE", 0xE3}, {"WEBSEARCH", 0xE5}, {"WEBFAVORITES", 0xE6},
    {"WEBREFRESH", 0xE7}, {"WEBSTOP", 0xE8}, {"WEBFORWARD", 0xE9}, {"WEBBACK", 0xEA},
    {"MYCOMPUTER", 0xEB}, {"MAIL", 0xEC}, {"MEDIASELECT", 0xED},
    // Aliases.
    {"BACKSPACE", 0x0E}, {"NUMPADSTAR", 0x37}, {"LALT", 0x38}, {"CAPSLOCK", 0x3A},
    {"NUMPADMINUS", 0x4A}, {"NUMPADPLUS", 0x4E}, {"NUMPADPERIOD", 0x53},
    {"CIRCUMFLEX", 0x90}, {"NUMPADSLASH", 0xB5}, {"RALT", 0xB8}, {"UPARROW", 0xC8},
    {"PGUP", 0xC9}, {"LEFTARROW", 0xCB}, {"RIGHTARROW", 0xCD}, {"DOWNARROW", 0xD0},
    {"PGDN", 0xD1},
};

struct CSdlKey {
    int nSdl;
    uint8_t nCode;
};

// SDL scancodes of the keys whose place does not follow from a run below.
constexpr CSdlKey SDL_KEYS[] = {
    {SDL_SCANCODE_RETURN, 0x1C}, {SDL_SCANCODE_ESCAPE, 0x01}, {SDL_SCANCODE_BACKSPACE, 0x0E},
    {SDL_SCANCODE_TAB, 0x0F}, {SDL_SCANCODE_SPACE, 0x39}, {SDL_SCANCODE_MINUS, 0x0C},
    {SDL_SCANCODE_EQUALS, 0x0D}, {SDL_SCANCODE_LEFTBRACKET, 0x1A},
    {SDL_SCANCODE_RIGHTBRACKET, 0x1B}, {SDL_SCANCODE_BACKSLASH, 0x2B},
    {SDL_SCANCODE_NONUSHASH, 0x2B}, {SDL_SCANCODE_SEMICOLON, 0x27},
    {SDL_SCANCODE_APOSTROPHE, 0x28}, {SDL_SCANCODE_GRAVE, 0x29}, {SDL_SCANCODE_COMMA, 0x33},
    {SDL_SCANCODE_PERIOD, 0x34}, {SDL_SCANCODE_SLASH, 0x35}, {SDL_SCANCODE_CAPSLOCK, 0x3A},
    {SDL_SCANCODE_F11, 0x57}, {SDL_SCANCODE_F12, 0x58}, {SDL_SCANCODE_PRINTSCREEN, 0xB7},
    {SDL_SCANCODE_SCROLLLOCK, 0x46}, {SDL_SCANCODE_PAUSE, 0xC5}, {SDL_SCANCODE_INSERT, 0xD2},
    {SDL_SCANCODE_HOME, 0xC7}, {SDL_SCANCODE_PAGEUP, 0xC9}, {SDL_SCANCODE_DELETE, 0xD3},
    {SDL_SCANCODE_END, 0xCF}, {SDL_SCANCODE_PAGEDOWN, 0xD1}, {SDL_SCANCODE_RIGHT, 0xCD},
    {SDL_SCANCODE_LEFT, 0xCB}, {SDL_SCANCODE_DOWN, 0xD0}, {SDL_SCANCODE_UP, 0xC8},
    {SDL_SCANCODE_NUMLOCKCLEAR, 0x45}, {SDL_SCANCODE_KP_DIVIDE, 0xB5},
    {SDL_SCANCODE_KP_MULTIPLY, 0x37}, {SDL_SCANCODE_KP_MINUS, 0x4A},
    {SDL_SCANCODE_KP_PLUS, 0x4E}, {SDL_SCANCODE_KP_ENTER, 0x9C}, {SDL_SCANCODE_KP_1, 0x4F},
    {SDL_SCANCODE_KP_2, 0x50}, {SDL_SCANCODE_KP_3, 0x51}, {SDL_SCANCODE_KP_4, 0x4B},
    {SDL_SCANCODE_KP_5, 0x4C}, {SDL_SCANCODE_KP_6, 0x4D}, {SDL_SCANCODE_KP_7, 0x47},
    {SDL_SCANCODE_KP_8, 0x48}, {SDL_SCANCODE_KP_9, 0x49}, {SDL_SCANCODE_KP_0, 0x52},
    {SDL_SCANCODE_KP_PERIOD, 0x53}, {SDL_SCANCODE_NONUSBACKSLASH, 0x56},
    {SDL_SCANCODE_APPLICATION, 0xDD}, {SDL_SCANCODE_POWER, 0xDE},
    {SDL_SCANCODE_KP_EQUALS, 0x8D}, {SDL_SCANCODE_F13, 0x64}, {SDL_SCANCODE_F14, 0x65},
    {SDL_SCANCODE_F15, 0x66}, {SDL_SCANCODE_STOP, 0x95}, {SDL_SCANCODE_MUTE, 0xA0},
    {SDL_SCANCODE_VOLUMEUP, 0xB0}, {SDL_SCANCODE_VOLUMEDOWN, 0xAE},
    {SDL_SCANCODE_KP_COMMA, 0xB3}, {SDL_SCANCODE_INTERNATIONAL1, 0x73},
    {SDL_SCANCODE_INTERNATIONAL2, 0x70}, {SDL_SCANCODE_INTERNATIONAL3, 0x7D},
    {SDL_SCANCODE_INTERNATIONAL4, 0x79}, {SDL_SCANCODE_INTERNATIONAL5, 0x7B},
    {SDL_SCANCODE_SYSREQ, 0xB7}, {SDL_SCANCODE_LCTRL, 0x1D}, {SDL_SCANCODE_LSHIFT, 0x2A},
    {SDL_SCANCODE_LALT, 0x38}, {SDL_SCANCODE_LGUI, 0xDB}, {SDL_SCANCODE_RCTRL, 0x9D},
    {SDL_SCANCODE_RSHIFT, 0x36}, {SDL_SCANCODE_RALT, 0xB8}, {SDL_SCANCODE_RGUI, 0xDC},
    {SDL_SCANCODE_AUDIONEXT, 0x99}, {SDL_SCANCODE_AUDIOPREV, 0x90},
    {SDL_SCANCODE_AUDIOSTOP, 0xA4}, {SDL_SCANCODE_AUDIOPLAY, 0xA2},
    {SDL_SCANCODE_AUDIOMUTE, 0xA0}, {SDL_SCANCODE_MEDIASELECT, 0xED},
    {SDL_SCANCODE_WWW, 0xB2}, {SDL_SCANCODE_MAIL, 0xEC}, {SDL_SCANCODE_CALCULATOR, 0xA1},
    {SDL_SCANCODE_COMPUTER, 0xEB}, {SDL_SCANCODE_AC_SEARCH, 0xE5},
    {SDL_SCANCODE_AC_HOME, 0xB2}, {SDL_SCANCODE_AC_BACK, 0xEA},
    {SDL_SCANCODE_AC_FORWARD, 0xE9}, {SDL_SCANCODE_AC_STOP, 0xE8},
    {SDL_SCANCODE_AC_REFRESH, 0xE7}, {SDL_SCANCODE_AC_BOOKMARKS, 0xE6},
    {SDL_SCANCODE_SLEEP, 0xDF},
};

// Letters in SDL order (A..Z) and their scan codes, which follow the rows of
// the keyboard rather than the alphabet.
constexpr uint8_t LETTER_CODES[26] = {
    0x1E, 0x30, 0x2E, 0x20, 0x12, 0x21, 0x22, 0x23, 0x17, 0x24, 0x25, 0x26, 0x32,
    0x31, 0x18, 0x19, 0x10, 0x13, 0x1F, 0x14, 0x16, 0x2F, 0x11, 0x2D, 0x15, 0x2C,
};

} // namespace

int ScanCodeByName(const char* pszName)
{
    if (!pszName)
        return -1;
    for (const CKeyName& key : KEY_NAMES) {
        if (std::strcmp(key.pszName, pszName) == 0)
            return key.nCode;
    }
    return -1;
}

const char* ScanCodeName(int nCode)
{
    for (const CKeyName& key : KEY_NAMES) {
        if (key.nCode == nCode)
            return key.pszName;
    }
    return nullptr;
}

int ScanCodeFromSdl(int nSdlScancode)
{
    if (nSdlScancode >= SDL_SCANCODE_A && nSdlScancode <= SDL_SCANCODE_Z)
        return LETTER_CODES[nSdlScancode - SDL_SCANCODE_A];
    // SDL's 1..9, 0 and the function keys F1..F10 run in the same order as
    // their scan codes.
    if (nSdlScancode >= SDL_SCANCODE_1 && nSdlScancode <= SDL_SCANCODE_0)
        return 0x02 + (nSdlScancode - SDL_SCANCODE_1);
    if (nSdlScancode >= SDL_SCANCODE_F1 && nSdlScancode <= SDL_SCANCODE_F10)
        return 0x3B + (nSdlScancode - SDL_SCANCODE_F1);
    for (const CSdlKey& key : SDL_KEYS) {
        if (key.nSdl == nSdlScancode)
            return key.nCode;
    }
    return -1;
}
