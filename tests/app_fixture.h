#pragma once
// Test helpers for the display, device and texture code: a fixture with a
// fresh null backend, an application with the viewer's settings on it, and a
// scratch directory standing for "C:\".
#include "frame/application.h"
#include "frame/error.h"
#include "platform/null_backend.h"
#include "scratch_dir.h"
#include "tools/sample_maps.h"

#include <memory>
#include <string>
#include <vector>

// Under the sanitizers: fontconfig, which the display's first frame reaches
// through its text, keeps a few tables to the end of the process behind
// offsets a leak checker can not follow; SDL's video start-up reaches the
// session bus through libdbus, which keeps a read buffer it never frees when
// no desktop answers. This header goes into one source of each test
// program, so the hook is defined once.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\nleak:libdbus-1.so\n";
}

// The message of the CError the call throws; "no error" when none comes.
template <typename F>
std::string ThrownMessage(F&& call)
{
    try {
        call();
    } catch (const CError& error) {
        return error.GetMessage();
    }
    return "no error";
}

// Whether the lines stand in the call log in this order, others between.
inline bool LoggedInOrder(const std::vector<std::string>& lines)
{
    size_t nNext = 0;
    for (const std::string& entry : GetNullCallLog())
        nNext += nNext < lines.size() && entry == lines[nNext];
    return nNext == lines.size();
}

inline int CountLogged(const std::string& line)
{
    int nCount = 0;
    for (const std::string& entry : GetNullCallLog())
        nCount += entry == line;
    return nCount;
}

// A pixel of a surface, read through its drawing context.
inline COLORREF PixelAt(IDirectDrawSurface7* pSurface, int x, int y)
{
    HDC hdc = nullptr;
    pSurface->GetDC(&hdc);
    const COLORREF colour = GetPixel(hdc, x, y);
    pSurface->ReleaseDC(hdc);
    return colour;
}

class AppTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        ResetNullBackend();
        Config.nDevices = DEVICE_ALL;
        Config.nWidth = 1024;
        Config.nHeight = 768;
        Config.nBitDepth = 16;
        Config.bHardwareDevices = Config.bSoftwareDevices = 1;
        Config.nNear = 1;
        Config.nFar = 4028;
        Config.fFieldOfView = 1.570795f;
        UseApp(std::make_unique<CApplication>());
    }
    void TearDown() override
    {
        App.reset();
        ScratchDirTest::TearDown();
    }
    void UseApp(std::unique_ptr<CApplication> pApp)
    {
        App = std::move(pApp);
        App->pConfig = &Config;
    }
    // The display and the 3D device, as Run makes them, after any earlier.
    void StartDevices()
    {
        App->ReleaseDevices(DEVICE_ALL);
        App->CreateDD(&Config);
        App->CreateD3D(&Config);
    }
    // A 24-bit .bmp in the scratch directory; its core path is "C:\name".
    void WriteBitmap(const std::string& name, const samples::CImage& image)
    {
        std::ofstream(Path(name), std::ios::binary) << samples::EncodeBmp(image);
    }

    CAppConfig Config;
    std::unique_ptr<CApplication> App;
};
