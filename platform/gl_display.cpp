#include "platform/gl_display.h"

#include "platform/gl_context.h"
#include "platform/gl_device.h"
#include "platform/gl_functions.h"
#include "platform/gl_surfaces.h"
#include "platform/png_file.h"
#include "platform/sdl_window.h"

#include <SDL.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

SDL_Window* g_pTargetWindow = nullptr;
std::string g_ShotPath;

class CGLDirectDraw : public IDirectDraw7 {
public:
    explicit CGLDirectDraw(SDL_Window* pWindow) : pShared(std::make_shared<CGLShared>())
    {
        pShared->pWindow = pWindow;
        // VORLANE_GL_PLAIN draws as the calls come, each texture on its own:
        // the reference that the batched pictures are held against.
        bool bPlain = std::getenv("VORLANE_GL_PLAIN") != nullptr;
        GLint nMaxSize = 0;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &nMaxSize);
        pShared->bBatch = !bPlain;
        pShared->bAtlas = !bPlain && nMaxSize >= static_cast<GLint>(GL_ATLAS_PAGE);
    }

    uint32_t AddRef() override { return ++nRefs; }
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }

    HRESULT QueryInterface(const GUID& iid, void** ppOut) override
    {
        if (!ppOut)
            return DDERR_INVALIDPARAMS;
        *ppOut = nullptr;
        if (!(iid == IID_IDirect3D7))
            return E_NOINTERFACE;
        *ppOut = static_cast<IDirect3D7*>(CreateGLDirect3D(pShared));
        return S_OK;
    }

    HRESULT SetCooperativeLevel(HWND, uint32_t) override { return S_OK; }

    // The picture keeps this size whatever the window's; presenting scales it.
    HRESULT SetDisplayMode(uint32_t nWidth, uint32_t nHeight, uint32_t, uint32_t,
                           uint32_t) override
    {
        if (nWidth == 0 || nHeight == 0)
            return DDERR_INVALIDPARAMS;
        pShared->nWidth = nWidth;
        pShared->nHeight = nHeight;
        return S_OK;
    }

    HRESULT CreateSurface(DDSURFACEDESC2* pDesc, IDirectDrawSurface7** ppOut, void*) override
    {
        if (!pDesc || !ppOut)
            return DDERR_INVALIDPARAMS;
        *ppOut = nullptr;
        if ((pDesc->ddsCaps.dwCaps & DDSCAPS_PRIMARYSURFACE) && pShared->pPrimary)
            return DDERR_PRIMARYSURFACEALREADYEXISTS;
        if (!HasGLContext())
            return DDERR_SURFACELOST;
        CGLSurfaceFactory factory(pShared);
        CMemorySurface* pSurface = nullptr;
        HRESULT hr = CreateSurfaceChain(factory, *pDesc, pShared->nWidth, pShared->nHeight,
                                        DisplayPixelFormat(), &pSurface);
        *ppOut = pSurface;
        return hr;
    }

private:
    ~CGLDirectDraw() = default;

    uint32_t nRefs = 1;
    CGLSharedPtr pShared;
};

void SetSwapInterval()
{
    const CSdlOptions& options = GetSdlOptions();
    if (options.bTimedemo || options.bScripted) {
        SDL_GL_SetSwapInterval(0);
        return;
    }
    // Adaptive sync where offered, else plain; a refusal changes nothing.
    if (SDL_GL_SetSwapInterval(-1) != 0)
        SDL_GL_SetSwapInterval(1);
}

void WriteShot(CGLBackSurface& back)
{
    std::vector<uint8_t> rgb;
    back.ReadPicture(&rgb);
    if (!WritePngRgb(g_ShotPath, static_cast<int>(back.GetWidth()),
                     static_cast<int>(back.GetHeight()), rgb.data())) {
        std::string text = "Cannot write the picture to " + g_ShotPath;
        ReportBackendWarning(text.c_str());
    }
    g_ShotPath.clear();
}

// Draws the back surface's colour texture over the window's drawable,
// scaled with its aspect kept; the bars stay black. Texture row 0 is the
// picture's top, so it goes to the top of the window.
void DrawPicture(CGLShared& shared, const CGLBackSurface& back)
{
    int nDrawW = 0;
    int nDrawH = 0;
    SDL_GL_GetDrawableSize(shared.pWindow, &nDrawW, &nDrawH);
    if (nDrawW <= 0 || nDrawH <= 0)
        return;
    const CGLFunctions& gl = GLFn();
    shared.BindFramebuffer(0);
    glViewport(0, 0, nDrawW, nDrawH);
    glDisable(GL_SCISSOR_TEST);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_ALPHA_TEST);
    glDisable(GL_CULL_FACE);
    glDisable(GL_BLEND);
    glDisable(GL_LIGHTING);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    gl.ActiveTexture(GL_TEXTURE1);
    glDisable(GL_TEXTURE_2D);
    gl.ActiveTexture(GL_TEXTURE0);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, back.GetColourTexture());
    float fW = static_cast<float>(back.GetWidth());
    float fH = static_cast<float>(back.GetHeight());
    float fScale = std::min(nDrawW / fW, nDrawH / fH);
    GLint nFilter = fScale == 1.0f ? GL_NEAREST : GL_LINEAR;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, nFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, nFilter);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    float fX = fW * fScale / nDrawW;
    float fY = fH * fScale / nDrawH;
    glBegin(GL_QUADS);
    glTexCoord2f(0.0f, 0.0f);
    glVertex2f(-fX, fY);
    glTexCoord2f(1.0f, 0.0f);
    glVertex2f(fX, fY);
    glTexCoord2f(1.0f, 1.0f);
    glVertex2f(fX, -fY);
    glTexCoord2f(0.0f, 1.0f);
    glVertex2f(-fX, -fY);
    glEnd();
}

} // namespace

void SetGLTargetWindow(SDL_Window* pWindow) { g_pTargetWindow = pWindow; }

SDL_Window* GetGLTargetWindow() { return g_pTargetWindow ? g_pTargetWindow : GetSdlWindow(); }

void RequestShot(const std::string& path) { g_ShotPath = path; }

void PresentBackSurface(CGLShared& shared)
{
    shared.FlushPending();
    CGLBackSurface& back = *shared.pBack;
    back.UploadIfCpuNewer();
    if (!g_ShotPath.empty())
        WriteShot(back);
    DrawPicture(shared, back);
    SDL_GL_SwapWindow(shared.pWindow);
    back.BindTarget();
    ++shared.nGeneration;
}

HRESULT CreateGLDirectDraw(IDirectDraw7** ppOut)
{
    if (!ppOut)
        return DDERR_INVALIDPARAMS;
    *ppOut = nullptr;
    SDL_Window* pWindow = GetGLTargetWindow();
    if (!pWindow || !HasGLContext())
        return DDERR_NODIRECTDRAWHW;
    if (!LoadGLFunctions())
        return DDERR_NODIRECTDRAWHW;
    SetSwapInterval();
    *ppOut = new CGLDirectDraw(pWindow);
    return S_OK;
}
