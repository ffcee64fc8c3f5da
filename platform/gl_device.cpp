#include "platform/gl_device.h"

#include "platform/gl_fans.h"
#include "platform/gl_functions.h"
#include "platform/gl_state.h"
#include "platform/null_backend.h"
#include "platform/null_device.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <typeinfo>
#include <vector>

namespace {

constexpr uint32_t D3DCLEAR_STENCIL = 0x4;
constexpr uint32_t D3DCMP_LESS = 2;
// A unit's key when it reads no texture: any binding will do.
constexpr uintptr_t ANY_TEXTURE = ~uintptr_t{0};

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

// Points OpenGL's arrays at CGLVertex records from nBase on: an address, or
// an offset into the vertex buffer bound.
void PointArrays(uintptr_t nBase)
{
    auto at = [nBase](size_t nOffset) { return reinterpret_cast<const void*>(nBase + nOffset); };
    const GLsizei nStride = sizeof(CGLVertex);
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_FLOAT, nStride, at(offsetof(CGLVertex, x)));
    glEnableClientState(GL_COLOR_ARRAY);
    glColorPointer(4, GL_UNSIGNED_BYTE, nStride, at(offsetof(CGLVertex, rgba)));
    for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
        GLFn().ClientActiveTexture(GL_TEXTURE0 + nUnit);
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        glTexCoordPointer(2, GL_FLOAT, nStride,
                          at(offsetof(CGLVertex, uv) + nUnit * sizeof(float[2])));
    }
}

// A world fan waiting to be drawn: its index range and the group of fans
// whose units read the same textures.
struct CQueuedFan {
    uint32_t nFirst;
    uint32_t nIndices;
    uint32_t nGroup;
};

// The device gathers world fans drawn under one state and hands them to
// OpenGL when anything else comes (IGLPendingDraws): one draw call for each
// set of textures they read. Where the picture cannot depend on the order of
// drawing (opaque, depth-tested, depth-written triangles: each pixel shows
// the nearest fragment), the fans of one set are drawn together; elsewhere
// only consecutive fans are.
class CGLDevice : public IDirect3DDevice7, private IGLPendingDraws {
public:
    CGLDevice(CGLSharedPtr pShared, const D3DDEVICEDESC7& caps, CGLBackSurface* pTarget)
        : pShared(std::move(pShared)), Caps(caps), pTarget(pTarget)
    {
        State.Viewport = {0, 0, pTarget->GetWidth(), pTarget->GetHeight(), 0.0f, 1.0f};
        this->pShared->pPending = this;
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
        FlushPending();
        Fans.BeginScene();
        pTarget->BindTarget();
        return S_OK;
    }

    HRESULT EndScene() override
    {
        if (!TargetAlive())
            return DDERR_SURFACELOST;
        FlushPending();
        return S_OK;
    }

    HRESULT SetRenderState(uint32_t nState, uint32_t nValue) override
    {
        uint32_t* pField = nullptr;
        uint32_t nDirty = GL_DIRTY_RENDER;
        switch (nState) {
        case D3DRENDERSTATE_FILLMODE: pField = &State.nFillMode; break;
        case D3DRENDERSTATE_CULLMODE: pField = &State.nCullMode; break;
        case D3DRENDERSTATE_ZFUNC: pField = &State.nZFunc; break;
        case D3DRS_ZENABLE: pField = &State.nZEnable; break;
        case D3DRS_ZWRITEENABLE: pField = &State.nZWrite; break;
        case D3DRENDERSTATE_COLORKEYENABLE: pField = &State.nColorKey; break;
        case D3DRENDERSTATE_TEXTUREFACTOR:
            pField = &State.nTextureFactor;
            nDirty = GL_DIRTY_STAGES;
            break;
        default: return S_OK; // lighting stays off: vertex colours are used
        }
        SetState(pField, nValue, nDirty);
        return S_OK;
    }

    HRESULT SetTextureStageState(uint32_t nStage, uint32_t nState, uint32_t nValue) override
    {
        if (nStage >= GL_DEVICE_STAGES)
            return DDERR_INVALIDPARAMS;
        CGLStage& stage = State.Stages[nStage];
        uint32_t* pField = nullptr;
        uint32_t nDirty = GL_DIRTY_SAMPLERS;
        switch (nState) {
        case D3DTSS_COLOROP: pField = &stage.nColorOp; nDirty = GL_DIRTY_STAGES; break;
        case D3DTSS_COLORARG1: pField = &stage.nArg1; nDirty = GL_DIRTY_STAGES; break;
        case D3DTSS_COLORARG2: pField = &stage.nArg2; nDirty = GL_DIRTY_STAGES; break;
        // Chosen per draw as its vertices are converted.
        case D3DTSS_TEXCOORDINDEX: stage.nTexCoordIndex = nValue; return S_OK;
        case D3DTSS_ADDRESS: pField = &stage.nAddress; break;
        case D3DTSS_MAGFILTER: pField = &stage.nMagFilter; break;
        case D3DTSS_MINFILTER: pField = &stage.nMinFilter; break;
        case D3DTSS_MIPFILTER: pField = &stage.nMipFilter; break;
        case D3DTSS_MAXANISOTROPY: pField = &stage.nMaxAnisotropy; break;
        default: return S_OK;
        }
        SetState(pField, nValue, nDirty);
        return S_OK;
    }

    HRESULT SetTexture(uint32_t nStage, IDirectDrawSurface7* pSurface) override
    {
        if (nStage >= GL_DEVICE_STAGES)
            return DDERR_INVALIDPARAMS;
        CGLTextureSurface*& pBound = State.Stages[nStage].pTexture;
        if (pSurface == pBound)
            return S_OK;
        // Only the display's textures: an exact type test, cheaper than a
        // cast through the hierarchy for a call made per face.
        if (pSurface && typeid(*pSurface) != typeid(CGLTextureSurface))
            return DDERR_INVALIDPARAMS;
        auto* pTexture = static_cast<CGLTextureSurface*>(pSurface);
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
        D3DMATRIX* pField = nullptr;
        switch (nType) {
        case D3DTRANSFORMSTATE_WORLD: pField = &State.World; break;
        case D3DTRANSFORMSTATE_VIEW: pField = &State.View; break;
        case D3DTRANSFORMSTATE_PROJECTION: pField = &State.Projection; break;
        default: return DDERR_INVALIDPARAMS;
        }
        if (std::memcmp(pField, pMatrix, sizeof(D3DMATRIX)) != 0) {
            FlushPending();
            *pField = *pMatrix;
            Cache.MarkDirty(GL_DIRTY_MATRICES);
        }
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
        FlushPending();
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
    using CUnitKeys = std::array<uintptr_t, GL_DEVICE_UNITS>;

    ~CGLDevice() override
    {
        if (pShared->pPending == this)
            pShared->pPending = nullptr;
        for (CGLStage& stage : State.Stages)
            if (stage.pTexture)
                stage.pTexture->Release();
    }

    // The target belongs to its flip chain, which may go first.
    bool TargetAlive() const { return pShared->pBack == pTarget && HasGLContext(); }
    void ClearRect(const RECT& rect, GLbitfield nBits);
    // Changes a state value; what was gathered under the old one is drawn
    // first.
    void SetState(uint32_t* pField, uint32_t nValue, uint32_t nDirty)
    {
        if (*pField == nValue)
            return;
        FlushPending(); // drawn under the old value
        *pField = nValue;
        Cache.MarkDirty(nDirty);
    }
    void FlushPending() override;
    // True when the gathered fans may be drawn in any order.
    bool OrderFree() const;
    // The gathered fans, one call per group, or one per run of neighbours
    // of one group.
    void DrawByGroup();
    void DrawInOrder();
    // Draws nFans queued fans of one group, in the order given, as one call.
    void DrawGroup(uint32_t nGroup, const uint32_t* pOrder, size_t nFans);
    uint32_t GroupOf(const CUnitKeys& keys, const CGLUnitTexture* pUnits);
    void DrawWorldFan(const void* pVertices, uint32_t nCount);
    void DrawDirect(GLenum nMode, uint32_t nFvf, const void* pVertices, uint32_t nCount);
    // Per unit: the pair its coordinates come from and, for a fan whose
    // texture shares the atlas, the cell they address.
    CGLVertexSource SourceFor(const CGLFan* pFan, CGLUnitTexture* pUnits) const;
    // What each unit must have bound for a draw with these textures.
    CUnitKeys KeysOf(const CGLUnitTexture* pUnits) const;

    uint32_t nRefs = 1;
    CGLSharedPtr pShared;
    D3DDEVICEDESC7 Caps;
    CGLBackSurface* pTarget; // not held: see TargetAlive
    CGLDeviceState State;
    CGLStateCache Cache;
    D3DMATERIAL7 Material = {};
    std::map<uint32_t, D3DLIGHT7> Lights;
    std::vector<CGLVertex> Scratch;
    CGLFanCache Fans;
    // The gathered fans, the texture sets they read, and what a flush
    // sorts and hands to OpenGL; kept from flush to flush.
    std::vector<CQueuedFan> Queue;
    std::vector<CUnitKeys> GroupKeys;
    std::vector<std::array<CGLUnitTexture, GL_DEVICE_UNITS>> GroupUnits;
    std::vector<uint32_t> Order;
    std::vector<uint32_t> GroupStart;
    std::vector<GLsizei> Counts;
    std::vector<const void*> Offsets;
    bool bFlushing = false;
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
    FlushPending();
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
    if (nFvf == GL_WORLD_FVF && nMode == GL_TRIANGLE_FAN) {
        // A fan of fewer than three corners covers nothing.
        if (nCount >= 3)
            DrawWorldFan(pVertices, nCount);
        return S_OK;
    }
    DrawDirect(nMode, nFvf, pVertices, nCount);
    return S_OK;
}

CGLVertexSource CGLDevice::SourceFor(const CGLFan* pFan, CGLUnitTexture* pUnits) const
{
    CGLVertexSource source;
    for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
        const CGLStage& stage = State.Stages[nUnit];
        CGLUnitSource& unit = source.Units[nUnit];
        unit.nPair = stage.nTexCoordIndex & 0xFFFF;
        if (unit.nPair > 1)
            unit.nPair = 0;
        pUnits[nUnit] = {stage.pTexture, -1};
        // The atlas stands in for a clamped texture as long as the
        // coordinates stay within its block.
        int32_t nCell = stage.pTexture ? stage.pTexture->GetAtlasCell() : -1;
        if (pFan && nCell >= 0 && stage.nAddress == D3DTADDRESS_CLAMP &&
            (pFan->nPairsInBlock >> unit.nPair & 1))
            unit.nCell = pUnits[nUnit].nCell = nCell;
    }
    return source;
}

CGLDevice::CUnitKeys CGLDevice::KeysOf(const CGLUnitTexture* pUnits) const
{
    CUnitKeys keys;
    bool bOn = true;
    for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
        const CGLStage& stage = State.Stages[nUnit];
        bOn = bOn && stage.nColorOp != D3DTOP_DISABLE;
        const CGLUnitTexture& unit = pUnits[nUnit];
        if (!bOn || !StageSamplesTexture(stage))
            keys[nUnit] = ANY_TEXTURE;
        else if (unit.nCell >= 0) // pages are told apart by number; pointers are even
            keys[nUnit] = (static_cast<uintptr_t>(unit.nCell) / GL_ATLAS_PAGE_CELLS) << 1 | 1;
        else
            keys[nUnit] = reinterpret_cast<uintptr_t>(unit.pTexture);
    }
    return keys;
}

uint32_t CGLDevice::GroupOf(const CUnitKeys& keys, const CGLUnitTexture* pUnits)
{
    // Consecutive fans mostly share their set; the sets of a frame are few.
    if (!Queue.empty() && GroupKeys[Queue.back().nGroup] == keys)
        return Queue.back().nGroup;
    for (uint32_t i = 0; i < GroupKeys.size(); ++i)
        if (GroupKeys[i] == keys)
            return i;
    GroupKeys.push_back(keys);
    GroupUnits.push_back({pUnits[0], pUnits[1]});
    return static_cast<uint32_t>(GroupKeys.size() - 1);
}

void CGLDevice::DrawWorldFan(const void* pVertices, uint32_t nCount)
{
    CGLFan& fan = Fans.Find(pVertices, nCount);
    CGLUnitTexture units[GL_DEVICE_UNITS];
    Fans.Convert(fan, SourceFor(&fan, units));
    Queue.push_back({fan.nFirstIndex, fan.nIndices, GroupOf(KeysOf(units), units)});
    if (!pShared->bBatch)
        FlushPending();
}

bool CGLDevice::OrderFree() const
{
    return State.nFillMode == D3DFILL_SOLID && pTarget->HasDepth() && State.nZEnable &&
           State.nZWrite && (State.nZFunc == D3DCMP_LESS || State.nZFunc == D3DCMP_LESSEQUAL) &&
           !State.nColorKey;
}

void CGLDevice::DrawGroup(uint32_t nGroup, const uint32_t* pOrder, size_t nFans)
{
    Cache.PrepareDraw(State, GroupUnits[nGroup].data(), false, *pTarget, *pShared);
    Counts.clear();
    Offsets.clear();
    for (size_t i = 0; i < nFans; ++i) {
        const CQueuedFan& fan = Queue[pOrder[i]];
        const size_t nOffset = size_t{fan.nFirst} * sizeof(uint32_t);
        // A range that continues the last one joins it.
        if (!Counts.empty() && reinterpret_cast<size_t>(Offsets.back()) +
                                       static_cast<size_t>(Counts.back()) * sizeof(uint32_t) ==
                                   nOffset) {
            Counts.back() += static_cast<GLsizei>(fan.nIndices);
            continue;
        }
        Counts.push_back(static_cast<GLsizei>(fan.nIndices));
        Offsets.push_back(reinterpret_cast<const void*>(nOffset));
    }
    if (Counts.size() == 1)
        glDrawElements(GL_TRIANGLES, Counts[0], GL_UNSIGNED_INT, Offsets[0]);
    else
        GLFn().MultiDrawElements(GL_TRIANGLES, Counts.data(), GL_UNSIGNED_INT, Offsets.data(),
                                 static_cast<GLsizei>(Counts.size()));
    ++GetGLDeviceCounters().nDrawCalls;
}

void CGLDevice::FlushPending()
{
    if (Queue.empty() || bFlushing)
        return;
    bFlushing = true;
    if (TargetAlive()) {
        pTarget->BindTarget();
        Fans.BindAndUpload();
        PointArrays(0);
        if (OrderFree())
            DrawByGroup();
        else
            DrawInOrder();
        pTarget->MarkGpuWritten();
    }
    Queue.clear();
    GroupKeys.clear();
    GroupUnits.clear();
    bFlushing = false;
}

void CGLDevice::DrawByGroup()
{
    // A stable counting sort by group.
    const size_t nGroups = GroupKeys.size();
    GroupStart.assign(nGroups + 1, 0);
    for (const CQueuedFan& fan : Queue)
        ++GroupStart[fan.nGroup + 1];
    for (size_t g = 0; g < nGroups; ++g)
        GroupStart[g + 1] += GroupStart[g];
    Order.resize(Queue.size());
    for (uint32_t i = 0; i < Queue.size(); ++i)
        Order[GroupStart[Queue[i].nGroup]++] = i;
    size_t nFirst = 0;
    for (size_t g = 0; g < nGroups; ++g) {
        DrawGroup(static_cast<uint32_t>(g), &Order[nFirst], GroupStart[g] - nFirst);
        nFirst = GroupStart[g];
    }
}

void CGLDevice::DrawInOrder()
{
    Order.resize(Queue.size());
    for (uint32_t i = 0; i < Queue.size(); ++i)
        Order[i] = i;
    for (size_t nFirst = 0; nFirst < Queue.size();) {
        size_t nEnd = nFirst + 1;
        while (nEnd < Queue.size() && Queue[nEnd].nGroup == Queue[nFirst].nGroup)
            ++nEnd;
        DrawGroup(Queue[nFirst].nGroup, &Order[nFirst], nEnd - nFirst);
        nFirst = nEnd;
    }
}

void CGLDevice::DrawDirect(GLenum nMode, uint32_t nFvf, const void* pVertices, uint32_t nCount)
{
    FlushPending();
    CGLUnitTexture units[GL_DEVICE_UNITS];
    CGLVertexSource source = SourceFor(nullptr, units);
    Cache.PrepareDraw(State, units, nFvf == GL_SCREEN_FVF, *pTarget, *pShared);
    Scratch.resize(std::max<size_t>(Scratch.size(), nCount));
    ConvertVertices(static_cast<const uint8_t*>(pVertices), nCount, nFvf, source, Scratch.data());
    GLFn().BindBuffer(GL_ARRAY_BUFFER, 0);
    PointArrays(reinterpret_cast<uintptr_t>(Scratch.data()));
    glDrawArrays(nMode, 0, static_cast<GLsizei>(nCount));
    ++GetGLDeviceCounters().nDrawCalls;
    pTarget->MarkGpuWritten();
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
