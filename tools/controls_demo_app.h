#pragma once
// The screen controls example: a panel with a text box and two buttons on
// a dark screen, and a handler that counts the clicks of each button and
// shows the counts in the text box. Escape quits.
#include "frame/application.h"

#include <cstdint>
#include <filesystem>

class CButton;
class CTextBox;

// Gets the buttons' messages: counts the releases of each button and writes
// the counts into the text box.
class CClickCounter : public CResource {
public:
    bool OnMessage(uintptr_t a, uintptr_t b, uintptr_t c) override;

    CButton* pOk = nullptr;
    CButton* pCancel = nullptr;
    CTextBox* pTextBox = nullptr;
    int32_t nOk = 0;
    int32_t nCancel = 0;
};

class CControlsDemoApp : public CApplication {
public:
    // The blit of the display layer keeps its name beside the virtual Draw().
    using CApplication::Draw;

    int Init() override;
    int Update() override;
    int Draw() override;

    CClickCounter Counter;

private:
    // The cursor and button pictures, written as small bitmaps into a
    // folder of their own and loaded as textures; the folder goes again.
    void MakeTextures();
    void MakeControls();
    // The button's name in the text font, centred on the button.
    void AddLabel(CButton* pButton, const RECT& rect);
};

// The example's settings: the viewer's, under its own caption.
CAppConfig MakeControlsDemoConfig();
