#pragma once
// A viewer on the null backend for the tests of the browser, the loading and
// the walk-through: display, input and 3D device as Run makes them, with a
// 32-bit display so that texels read back exactly, a scratch directory for
// "C:\", and frames whose input goes through GetInputState and ReadInput as
// in a live run.
#include "platform/input_state.h"
#include "platform/null_backend.h"
#include "scratch_dir.h"
#include "viewer/viewer_app.h"

#include <cstring>
#include <initializer_list>

class ViewerTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        ResetNullBackend();
        ResetInputState();
        g_nFrameResult = 0;
        GetNullConfig().DisplayFormat = MakeRGBFormat(32, 8, 8, 8, 8);
        Config = MakeViewerConfig();
        App.pConfig = &Config;
        App.ScreenRect = {0, 0, 1024, 768};
        App.CreateDD(&Config);
        App.CreateDI(&Config);
        App.CreateD3D(&Config);
    }

    // Joystick 0 with its axes at rest, found by a new start of the input.
    CControllerState& AddJoystick(int nAxes, int nButtons, int nPovs)
    {
        CControllerState& stick = GetInputState().Controllers.emplace_back();
        stick.Axes.assign(nAxes, 32767);
        stick.Buttons.assign(nButtons, 0);
        stick.Povs.assign(nPovs, 0xFFFFFFFFu);
        App.ReleaseInput();
        App.CreateDI(&Config);
        return GetInputState().Controllers[0];
    }

    // One frame as the loop runs it, short of the drawing: these keys held,
    // the input read, then Update and Process.
    void Frame(std::initializer_list<uint8_t> keys, double dSeconds = 0.01)
    {
        CInputState& state = GetInputState();
        std::memset(state.Keys, 0, sizeof(state.Keys));
        for (uint8_t nKey : keys)
            state.Keys[nKey] = 0x80;
        App.FrameSeconds = dSeconds;
        App.ReadInput();
        App.Update();
        App.Process();
    }

    // A new pszPath, as the browser would leave it: to be scanned anew.
    void SetPath(const char* pszPath)
    {
        App.nFileCount = -1;
        delete[] App.pszPath;
        App.pszPath = new char[std::strlen(pszPath) + 1];
        std::strcpy(App.pszPath, pszPath);
    }

    CAppConfig Config;
    CViewerApp App;
};
