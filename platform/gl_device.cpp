#include "platform/gl_device.h"

#include "platform/gl_functions.h"
#include "platform/gl_state.h"
#include "platform/null_backend.h"
#include "platform/null_device.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

namespace {

constexpr uint32_t D3DCLEAR_STENCIL = 0x4;
// The vertex formats the core draws (laid out in geometry/vertex.h).
constexpr uint32_t SCREEN_FVF = 0x244; // x y z rhw, diffuse, two pairs
constexpr uint32_t WORLD_FVF = 0x2E2;  // x y z, reserved, diffuse, specular, two pairs

// One vertex as OpenGL reads it: the texture pairs already chosen per unit.
struct CGLVertex {
    float x, y, z;
    uint8_t rgba[4];
    float uv[GL_DEVICE_UNITS][2];
};

GLenum PrimitiveMode(uint32_t nType)
{
    switch (nType) {
    case 1: return GL_POINTS;
    case 2: return GL_LINES;
    case 3: return GL_LINE_STRIP;
    case 4: return GL_TRIANGLES;
    case 5: return GL_TRIANGLE_STRIP;
    case D3DPT_TRIANGLEFAN: return GL_TRIANGLE_FAN;
    default: return GL_NONE;
    }
}

// Where the parts of a vertex record lie, in bytes; -1 where absent.
struct CVertexLayout {
    int nDiffuse;
    int nPairs;
};

CVertexLayout LayoutOf(uint32_t nFvf)
{
    switch (nFvf) {
    case SCREEN_FVF: return {16, 20};
    case WORLD_FVF: return {16, 24};
    default: return {-1, 24}; // normal vertex: no diffuse, lit white
    }
}

void ConvertVertices(const uint8_t* pSource, uint32_t nCount, uint32_t nFvf,
                     const CGLDeviceState& state, std::vector<CGLVertex>* pOut)
{
    uint32_t nSize = VertexSize(nFvf);
    CVertexLayout layout = LayoutOf(nFvf);
    pOut->resize(nCount);
    for (uint32_t i = 0; i < nCount; ++i, pSource += nSize) {
        CGLVertex& v = (*pOut)[i];
        std::memcpy(&v.x, pSource, 3 * sizeof(float));
        uint32_t nArgb = 0xFFFFFFFFu;
        if (layout.nDiffuse >= 0)
            std::memcpy(&nArgb, pSource + layout.nDiffuse, 4);
        v.rgba[0] = static_cast<uint8_t>(nArgb >> 16);
        v.rgba[1] = static_cast<uint8_t>(nArgb >> 8);
        v.rgba[2] = static_cast<uint8_t>(nArgb);
        v.rgba[3] = static_cast<uint8_t>(nArgb >> 24);
        for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
            uint32_t nPair = state.Stages[nUnit].nTexCoordIndex & 0xFFFF;
            if (nPair > 1)
                nPair = 0;
            std::memcpy(v.uv[nUnit], pSource + layout.nPairs + nPair * 8, 8);
        }
    }
}

class CGLDevice : public IDirect3DDevice7 {
public:
    CGLDevice(CGLSharedPtr pShared, const D3DDEVICEDESC7& caps, CGLBackSurface* pTarget)
        : pShared(std::move(pShared)), Caps(caps), pTarget(pTarget)
    {
        State.Viewport = {0, 0, pTarget->GetWidth(), pTarget->GetHeight(), 0.0f, 1.0f};
    }

    uint32_t AddRef() override { return ++nRefs; }
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }

    HRESULT GetCaps(D3DDEVICEDESC7* pOut) override
    {
        if (!pOut)
            return DDERR_INVALIDPARAMS;
        *pOut = Caps;
        return S_OK;
    }

    HRESULT EnumTextureFormats(LPD3DENUMPIXELFORMATSCALLBACK pCallback, void* pContext) override
    {
        if (!pCallback)
            return DDERR_INVALIDPARAMS;
        DDPIXELFORMAT formats[] = {MakeRGBFormat(16, 5, 6, 5, 0), MakeRGBFormat(16, 5, 5, 5, 1),
                                   MakeRGBFormat(16, 4, 4, 4, 4), MakeRGBFormat(32, 8, 8, 8, 8)};
        for (DDPIXELFORMAT& format : formats)
            if (pCallback(&format, pContext) == D3DENUMRET_CANCEL)
                break;
        return S_OK;
    }

    HRESULT BeginScene() override
    {
        if (!TargetAlive())
            return DDERR_SURFACELOST;
        pTarget->BindTarget();
        return S_OK;
    }

    HRESULT EndScene() override { return TargetAlive() ? S_OK : DDERR_SURFACELOST; }

    HRESULT SetRenderState(uint32_t nState, uint32_t nValue) override
    {
        switch (nState) {
        case D3DRENDERSTATE_FILLMODE: State.nFillMode = nValue; break;
        case D3DRENDERSTATE_CULLMODE: State.nCullMode = nValue; break;
        case D3DRENDERSTATE_ZFUNC: State.nZFunc = nValue; break;
        case D3DRS_ZENABLE: State.nZEnable = nValue; break;
        case D3DRS_ZWRITEENABLE: State.nZWrite = nValue; break;
        case D3DRENDERSTATE_COLORKEYENABLE: State.nColorKey = nValue; break;
        case D3DRENDERSTATE_TEXTUREFACTOR:
            State.nTextureFactor = nValue;
            Cache.MarkDirty(GL_DIRTY_STAGES);
            return S_OK;
        default: return S_OK; // lighting stays off: vertex colours are used
        }
        Cache.MarkDirty(GL_DIRTY_RENDER);
        return S_OK;
    }

    HRESULT SetTextureStageState(uint32_t nStage, uint32_t nState, uint32_t nValue) override
    {
        if (nStage >= GL_DEVICE_STAGES)
            return DDERR_INVALIDPARAMS;
        CGLStage& stage = State.Stages[nStage];
        switch (nState) {
        case D3DTSS_COLOROP: stage.nColorOp = nValue; break;
        case D3DTSS_COLORARG1: stage.nArg1 = nValue; break;
        case D3DTSS_COLORARG2: stage.nArg2 = nValue; break;
        case D3DTSS_TEXCOORDINDEX: stage.nTexCoordIndex = nValue; return S_OK;
        case D3DTSS_ADDRESS: stage.nAddress = nValue; return S_OK;
        case D3DTSS_MAGFILTER: stage.nMagFilter = nValue; return S_OK;
        case D3DTSS_MINFILTER: stage.nMinFilter = nValue; return S_OK;
        case D3DTSS_MIPFILTER: stage.nMipFilter = nValue; return S_OK;
        case D3DTSS_MAXANISOTROPY: stage.nMaxAnisotropy = nValue; return S_OK;
        default: return S_OK;
        }
        Cache.MarkDirty(GL_DIRTY_STAGES);
        return S_OK;
    }

    HRESULT SetTexture(uint32_t nStage, IDirectDrawSurface7* pSurface) override
    {
        if (nStage >= GL_DEVICE_STAGES)
            return DDERR_INVALIDPARAMS;
        auto* pTexture = dynamic_cast<CGLTextureSurface*>(pSurface);
        if (pSurface && !pTexture)
            return DDERR_INVALIDPARAMS;
        CGLTextureSurface*& pBound = State.Stages[nStage].pTexture;
        if (pTexture == pBound)
            return S_OK;
        if (pTexture)
            pTexture->AddRef();
        if (pBound)
            pBound->Release();
        pBound = pTexture;
        return S_OK;
    }

    HRESULT SetMaterial(D3DMATERIAL7* pMaterial) override
    {
        if (!pMaterial)
            return DDERR_INVALIDPARAMS;
        Material = *pMaterial;
        return S_OK;
    }

    HRESULT GetMaterial(D3DMATERIAL7* pOut) override
    {
        if (!pOut)
            return DDERR_INVALIDPARAMS;
        *pOut = Material;
        return S_OK;
    }

    HRESULT SetLight(uint32_t nIndex, D3DLIGHT7* pLight) override
    {
        if (!pLight)
            return DDERR_INVALIDPARAMS;
        Lights[nIndex] = *pLight;
        return S_OK;
    }

    HRESULT GetLight(uint32_t nIndex, D3DLIGHT7* pOut) override
    {
        auto found = Lights.find(nIndex);
        if (!pOut || found == Lights.end())
            return DDERR_INVALIDPARAMS;
        *pOut = found->second;
        return S_OK;
    }

    HRESULT LightEnable(uint32_t, bool) override { return S_OK; }

    HRESULT SetTransform(D3DTRANSFORMSTATETYPE nType, D3DMATRIX* pMatrix) override
    {
        if (!pMatrix)
            return DDERR_INVALIDPARAMS;
        switch (nType) {
        case D3DTRANSFORMSTATE_WORLD: State.World = *pMatrix; break;
        case D3DTRANSFORMSTATE_VIEW: State.View = *pMatrix; break;
        case D3DTRANSFORMSTATE_PROJECTION: State.Projection = *pMatrix; break;
        default: return DDERR_INVALIDPARAMS;
        }
        Cache.MarkDirty(GL_DIRTY_MATRICES);
        return S_OK;
    }

    HRESULT SetViewport(D3DVIEWPORT7* pViewport) override
    {
        if (!TargetAlive())
            return DDERR_SURFACELOST;
        if (!pViewport || pViewport->dwWidth == 0 || pViewport->dwHeight == 0 ||
            pViewport->dwX + pViewport->dwWidth > pTarget->GetWidth() ||
            pViewport->dwY + pViewport->dwHeight > pTarget->GetHeight())
            return DDERR_INVALIDPARAMS;
        State.Viewport = *pViewport;
        Cache.MarkDirty(GL_DIRTY_VIEWPORT | GL_DIRTY_MATRICES);
        return S_OK;
    }

    HRESULT Clear(uint32_t nRects, const RECT* pRects, uint32_t nFlags, uint32_t nColour,
                  float fZ, uint32_t nStencil) override;

    HRESULT DrawPrimitive(uint32_t nType, uint32_t nFvf, void* pVertices, uint32_t nCount,
                          uint32_t nFlags) override;

    HRESULT Load(IDirectDrawSurface7* pDest, POINT*, IDirectDrawSurface7* pSource, RECT*,
                 uint32_t) override
    {
        return LoadSurfaceLevels(pDest, pSource);
    }

private:
    ~CGLDevice() override
    {
        for (CGLStage& stage : State.Stages)
            if (stage.pTexture)
                stage.pTexture->Release();
    }

    // The target belongs to its flip chain, which may go first.
    bool TargetAlive() const { return pShared->pBack == pTarget && HasGLContext(); }
    void ClearRect(const RECT& rect, GLbitfield nBits);

    uint32_t nRefs = 1;
    CGLSharedPtr pShared;
    D3DDEVICEDESC7 Caps;
    CGLBackSurface* pTarget; // not held: see TargetAlive
    CGLDeviceState State;
    CGLStateCache Cache;
    D3DMATERIAL7 Material = {};
    std::map<uint32_t, D3DLIGHT7> Lights;
    std::vector<CGLVertex> Scratch;
};

void CGLDevice::ClearRect(const RECT& rect, GLbitfield nBits)
{
    RECT r = rect;
    r.left = std::max<int32_t>(r.left, 0);
    r.top = std::max<int32_t>(r.top, 0);
    r.right = std::min<int32_t>(r.right, static_cast<int32_t>(pTarget->GetWidth()));
    r.bottom = std::min<int32_t>(r.bottom, static_cast<int32_t>(pTarget->GetHeight()));
    if (r.left >= r.right || r.top >= r.bottom)
        return;
    // Framebuffer rows run from the picture's top, as D3D's do.
    glScissor(r.left, r.top, r.right - r.left, r.bottom - r.top);
    glClear(nBits);
}

HRESULT CGLDevice::Clear(uint32_t nRects, const RECT* pRects, uint32_t nFlags, uint32_t nColour,
                         float fZ, uint32_t nStencil)
{
    if (!TargetAlive())
        return DDERR_SURFACELOST;
    pTarget->BindTarget();
    GLbitfield nBits = 0;
    if (nFlags & D3DCLEAR_TARGET) {
        nBits |= GL_COLOR_BUFFER_BIT;
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        glClearColor(((nColour >> 16) & 0xFF) / 255.0f, ((nColour >> 8) & 0xFF) / 255.0f,
                     (nColour & 0xFF) / 255.0f, (nColour >> 24) / 255.0f);
    }
    if ((nFlags & D3DCLEAR_ZBUFFER) && pTarget->HasDepth()) {
        nBits |= GL_DEPTH_BUFFER_BIT;
        glDepthMask(GL_TRUE);
        glClearDepth(fZ);
    }
    if ((nFlags & D3DCLEAR_STENCIL) && pTarget->HasStencil()) {
        nBits |= GL_STENCIL_BUFFER_BIT;
        glClearStencil(static_cast<GLint>(nStencil));
    }
    if (nBits) {
        glEnable(GL_SCISSOR_TEST);
        if (nRects && pRects) {
            for (uint32_t i = 0; i < nRects; ++i)
                ClearRect(pRects[i], nBits);
        } else {
            const D3DVIEWPORT7& v = State.Viewport;
            ClearRect({static_cast<int32_t>(v.dwX), static_cast<int32_t>(v.dwY),
                       static_cast<int32_t>(v.dwX + v.dwWidth),
                       static_cast<int32_t>(v.dwY + v.dwHeight)},
                      nBits);
        }
        glDisable(GL_SCISSOR_TEST);
    }
    if (nBits & GL_COLOR_BUFFER_BIT)
        pTarget->MarkGpuWritten();
    Cache.MarkDirty(GL_DIRTY_RENDER); // the depth mask was touched
    return S_OK;
}

HRESULT CGLDevice::DrawPrimitive(uint32_t nType, uint32_t nFvf, void* pVertices,
                                 uint32_t nCount, uint32_t)
{
    GLenum nMode = PrimitiveMode(nType);
    if (nMode == GL_NONE || !pVertices || VertexSize(nFvf) == 0)
        return DDERR_INVALIDPARAMS;
    if (!TargetAlive())
        return DDERR_SURFACELOST;
    if (nCount == 0)
        return S_OK;
    bool bScreen = nFvf == SCREEN_FVF;
    Cache.PrepareDraw(State, bScreen, *pTarget, *pShared);
    ConvertVertices(static_cast<const uint8_t*>(pVertices), nCount, nFvf, State, &Scratch);
    const GLsizei nStride = sizeof(CGLVertex);
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_FLOAT, nStride, &Scratch[0].x);
    glEnableClientState(GL_COLOR_ARRAY);
    glColorPointer(4, GL_UNSIGNED_BYTE, nStride, Scratch[0].rgba);
    for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
        GLFn().ClientActiveTexture(GL_TEXTURE0 + nUnit);
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        glTexCoordPointer(2, GL_FLOAT, nStride, Scratch[0].uv[nUnit]);
    }
    glDrawArrays(nMode, 0, static_cast<GLsizei>(nCount));
    ++GetGLDeviceCounters().nDrawCalls;
    pTarget->MarkGpuWritten();
    return S_OK;
}

// ---- The Direct3D object --------------------------------------------------

class CGLDirect3D : public IDirect3D7 {
public:
    explicit CGLDirect3D(CGLSharedPtr pShared) : pShared(std::move(pShared))
    {
        if (IsSoftwareRenderer())
            Devices = {IID_IDirect3DRGBDevice};
        else
            Devices = {IID_IDirect3DHALDevice, IID_IDirect3DTnLHalDevice};
    }

    uint32_t AddRef() override { return ++nRefs; }
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }

    HRESULT EnumDevices(LPD3DENUMDEVICESCALLBACK7 pCallback, void* pContext) override
    {
        if (!pCallback)
            return DDERR_INVALIDPARAMS;
        for (const GUID& device : Devices) {
            D3DDEVICEDESC7 desc = Record(device);
            char szName[] = "OpenGL";
            if (pCallback(desc.szDescription, szName, &desc, pContext) == D3DENUMRET_CANCEL)
                break;
        }
        return S_OK;
    }

    HRESULT EnumZBufferFormats(const GUID&, LPD3DENUMPIXELFORMATSCALLBACK pCallback,
                               void* pContext) override
    {
        if (!pCallback)
            return DDERR_INVALIDPARAMS;
        DDPIXELFORMAT formats[] = {MakeZFormat(16, 0), MakeZFormat(24, 0), MakeZFormat(24, 8)};
        for (DDPIXELFORMAT& format : formats)
            if (pCallback(&format, pContext) == D3DENUMRET_CANCEL)
                break;
        return S_OK;
    }

    HRESULT CreateDevice(const GUID& device, IDirectDrawSurface7* pTarget,
                         IDirect3DDevice7** ppOut) override
    {
        if (!ppOut)
            return DDERR_INVALIDPARAMS;
        *ppOut = nullptr;
        auto* pBack = dynamic_cast<CGLBackSurface*>(pTarget);
        if (!pBack || pBack != pShared->pBack)
            return DDERR_INVALIDPARAMS;
        bool bOffered = false;
        for (const GUID& offered : Devices)
            bOffered = bOffered || offered == device;
        if (!bOffered)
            return E_FAIL;
        *ppOut = new CGLDevice(pShared, Record(device), pBack);
        return S_OK;
    }

private:
    ~CGLDirect3D() = default;

    D3DDEVICEDESC7 Record(const GUID& device) const
    {
        D3DDEVICEDESC7 desc{};
        desc.dpcLineCaps.dwSize = sizeof(D3DPRIMCAPS);
        desc.dpcTriCaps.dwSize = sizeof(D3DPRIMCAPS);
        desc.dpcTriCaps.dwTextureFilterCaps =
            D3DPTFILTERCAPS_MIPNEAREST | D3DPTFILTERCAPS_MIPLINEAR;
        desc.dpcLineCaps.dwTextureFilterCaps = desc.dpcTriCaps.dwTextureFilterCaps;
        GLint nMaxSize = 0;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &nMaxSize);
        desc.dwMaxTextureWidth = static_cast<uint32_t>(nMaxSize);
        desc.dwMaxTextureHeight = static_cast<uint32_t>(nMaxSize);
        desc.deviceGUID = device;
        std::snprintf(desc.szDescription, sizeof(desc.szDescription), "OpenGL %s",
                      GLFn().Renderer.c_str());
        return desc;
    }

    uint32_t nRefs = 1;
    CGLSharedPtr pShared;
    std::vector<GUID> Devices;
};

} // namespace

IDirect3D7* CreateGLDirect3D(CGLSharedPtr pShared) { return new CGLDirect3D(std::move(pShared)); }
