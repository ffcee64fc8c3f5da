#include "platform/null_device.h"

#include "platform/memory_surface.h"
#include "platform/null_backend.h"

#include <string>

namespace {

class CNullDevice;
CNullDevice* g_pCurrentDevice = nullptr;

D3DMATRIX Identity()
{
    D3DMATRIX m{};
    m.m[0] = m.m[5] = m.m[10] = m.m[15] = 1.0f;
    return m;
}

// Logs the call and gives its forced result (S_OK when none).
HRESULT Enter(const std::string& line, const char* pszName)
{
    NullLog(line);
    return NullFailure(pszName);
}

class CNullDevice : public IDirect3DDevice7 {
public:
    explicit CNullDevice(const D3DDEVICEDESC7& caps) : Caps(caps)
    {
        g_pCurrentDevice = this;
        CNullDeviceState& state = GetNullDeviceState();
        state = CNullDeviceState{};
        for (D3DMATRIX& m : state.Transforms)
            m = Identity();
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
        if (HRESULT hr = Enter("GetCaps", "GetCaps"); hr != S_OK)
            return hr;
        if (!pOut)
            return DDERR_INVALIDPARAMS;
        *pOut = Caps;
        return S_OK;
    }

    HRESULT EnumTextureFormats(LPD3DENUMPIXELFORMATSCALLBACK pCallback, void* pContext) override
    {
        if (HRESULT hr = Enter("EnumTextureFormats", "EnumTextureFormats"); hr != S_OK)
            return hr;
        if (!pCallback)
            return DDERR_INVALIDPARAMS;
        for (DDPIXELFORMAT format : GetNullConfig().TextureFormats)
            if (pCallback(&format, pContext) == D3DENUMRET_CANCEL)
                break;
        return S_OK;
    }

    HRESULT BeginScene() override
    {
        if (HRESULT hr = Enter("BeginScene", "BeginScene"); hr != S_OK)
            return hr;
        if (Mirror()) {
            ++State().nScenes;
            State().bInScene = true;
        }
        return S_OK;
    }

    HRESULT EndScene() override
    {
        if (HRESULT hr = Enter("EndScene", "EndScene"); hr != S_OK)
            return hr;
        if (Mirror())
            State().bInScene = false;
        return S_OK;
    }

    HRESULT SetRenderState(uint32_t nState, uint32_t nValue) override
    {
        if (HRESULT hr = Enter(NullCallLine("SetRenderState", {nState, nValue}), "SetRenderState");
            hr != S_OK)
            return hr;
        if (Mirror())
            State().RenderStates[nState] = nValue;
        return S_OK;
    }

    HRESULT SetTextureStageState(uint32_t nStage, uint32_t nState, uint32_t nValue) override
    {
        if (HRESULT hr = Enter(NullCallLine("SetTextureStageState", {nStage, nState, nValue}),
                               "SetTextureStageState");
            hr != S_OK)
            return hr;
        if (nStage >= NULL_DEVICE_STAGES)
            return DDERR_INVALIDPARAMS;
        if (Mirror())
            State().StageStates[{nStage, nState}] = nValue;
        return S_OK;
    }

    HRESULT SetTexture(uint32_t nStage, IDirectDrawSurface7* pTexture) override
    {
        std::string line = NullCallLine("SetTexture", {nStage});
        line += pTexture ? " tex" : " null";
        if (HRESULT hr = Enter(line, "SetTexture"); hr != S_OK)
            return hr;
        if (nStage >= NULL_DEVICE_STAGES)
            return DDERR_INVALIDPARAMS;
        if (pTexture)
            pTexture->AddRef();
        if (Textures[nStage])
            Textures[nStage]->Release();
        Textures[nStage] = pTexture;
        if (Mirror())
            State().Textures[nStage] = pTexture;
        return S_OK;
    }

    HRESULT SetMaterial(D3DMATERIAL7* pMaterial) override
    {
        if (HRESULT hr = Enter("SetMaterial", "SetMaterial"); hr != S_OK)
            return hr;
        if (!pMaterial)
            return DDERR_INVALIDPARAMS;
        Material = *pMaterial;
        if (Mirror())
            State().Material = *pMaterial;
        return S_OK;
    }

    HRESULT GetMaterial(D3DMATERIAL7* pOut) override
    {
        if (HRESULT hr = Enter("GetMaterial", "GetMaterial"); hr != S_OK)
            return hr;
        if (!pOut)
            return DDERR_INVALIDPARAMS;
        *pOut = Material;
        return S_OK;
    }

    HRESULT SetLight(uint32_t nIndex, D3DLIGHT7* pLight) override
    {
        if (HRESULT hr = Enter(NullCallLine("SetLight", {nIndex}), "SetLight"); hr != S_OK)
            return hr;
        if (!pLight)
            return DDERR_INVALIDPARAMS;
        Lights[nIndex] = *pLight;
        if (Mirror())
            State().Lights[nIndex] = *pLight;
        return S_OK;
    }

    HRESULT GetLight(uint32_t nIndex, D3DLIGHT7* pOut) override
    {
        if (HRESULT hr = Enter(NullCallLine("GetLight", {nIndex}), "GetLight"); hr != S_OK)
            return hr;
        auto found = Lights.find(nIndex);
        if (!pOut || found == Lights.end())
            return DDERR_INVALIDPARAMS;
        *pOut = found->second;
        return S_OK;
    }

    HRESULT LightEnable(uint32_t nIndex, bool bEnable) override
    {
        if (HRESULT hr = Enter(NullCallLine("LightEnable", {nIndex, bEnable ? 1u : 0u}), "LightEnable");
            hr != S_OK)
            return hr;
        if (Mirror())
            State().LightEnabled[nIndex] = bEnable;
        return S_OK;
    }

    HRESULT SetTransform(D3DTRANSFORMSTATETYPE nType, D3DMATRIX* pMatrix) override
    {
        if (HRESULT hr = Enter(NullCallLine("SetTransform", {nType}), "SetTransform"); hr != S_OK)
            return hr;
        if (!pMatrix || nType < D3DTRANSFORMSTATE_WORLD || nType > D3DTRANSFORMSTATE_PROJECTION)
            return DDERR_INVALIDPARAMS;
        if (Mirror())
            State().Transforms[nType] = *pMatrix;
        return S_OK;
    }

    HRESULT SetViewport(D3DVIEWPORT7* pViewport) override
    {
        if (!pViewport) {
            NullLog("SetViewport");
            return DDERR_INVALIDPARAMS;
        }
        std::string line = NullCallLine("SetViewport", {pViewport->dwX, pViewport->dwY,
                                                 pViewport->dwWidth, pViewport->dwHeight});
        if (HRESULT hr = Enter(line, "SetViewport"); hr != S_OK)
            return hr;
        if (Mirror())
            State().Viewport = *pViewport;
        return S_OK;
    }

    HRESULT Clear(uint32_t, const RECT*, uint32_t nFlags, uint32_t, float fZ, uint32_t) override
    {
        if (HRESULT hr = Enter(NullCallLine("Clear", {nFlags}), "Clear"); hr != S_OK)
            return hr;
        if (Mirror() && (nFlags & D3DCLEAR_ZBUFFER))
            State().fClearZ = fZ;
        return S_OK;
    }

    HRESULT DrawPrimitive(uint32_t nType, uint32_t nFvf, void* pVertices, uint32_t nCount,
                          uint32_t nFlags) override
    {
        if (HRESULT hr = Enter(NullCallLine("DrawPrimitive", {nType, nFvf, nCount}), "DrawPrimitive");
            hr != S_OK)
            return hr;
        uint32_t nSize = VertexSize(nFvf);
        if (!pVertices || nSize == 0)
            return DDERR_INVALIDPARAMS;
        if (Mirror() && GetNullConfig().bRecord) {
            const auto* pBytes = static_cast<const uint8_t*>(pVertices);
            State().Draws.push_back(
                {nType, nFvf, nCount, nFlags,
                 std::vector<uint8_t>(pBytes, pBytes + static_cast<size_t>(nSize) * nCount)});
        }
        return S_OK;
    }

    HRESULT Load(IDirectDrawSurface7* pDest, POINT*, IDirectDrawSurface7* pSource, RECT*,
                 uint32_t) override
    {
        if (HRESULT hr = Enter("Load", "Load"); hr != S_OK)
            return hr;
        return LoadSurfaceLevels(pDest, pSource);
    }

private:
    ~CNullDevice() override
    {
        for (IDirectDrawSurface7*& pTexture : Textures)
            if (pTexture)
                pTexture->Release();
        if (Mirror()) {
            for (IDirectDrawSurface7*& pTexture : State().Textures)
                pTexture = nullptr;
            g_pCurrentDevice = nullptr;
        }
    }

    // Only the device made last writes the state tests inspect.
    bool Mirror() const { return g_pCurrentDevice == this; }
    static CNullDeviceState& State() { return GetNullDeviceState(); }

    uint32_t nRefs = 1;
    D3DDEVICEDESC7 Caps;
    IDirectDrawSurface7* Textures[NULL_DEVICE_STAGES] = {};
    D3DMATERIAL7 Material = {};
    std::map<uint32_t, D3DLIGHT7> Lights;
};

} // namespace

std::string NullCallLine(const char* pszName, std::initializer_list<int64_t> numbers)
{
    if (!GetNullConfig().bRecord)
        return std::string();
    std::string line = pszName;
    for (int64_t n : numbers) {
        line += ' ';
        line += std::to_string(n);
    }
    return line;
}

uint32_t CNullDeviceState::RenderState(uint32_t nState, uint32_t nDefault) const
{
    auto found = RenderStates.find(nState);
    return found == RenderStates.end() ? nDefault : found->second;
}

uint32_t CNullDeviceState::StageState(uint32_t nStage, uint32_t nState, uint32_t nDefault) const
{
    auto found = StageStates.find({nStage, nState});
    return found == StageStates.end() ? nDefault : found->second;
}

CNullDeviceState& GetNullDeviceState()
{
    static CNullDeviceState state;
    return state;
}

uint32_t VertexSize(uint32_t nFvf)
{
    switch (nFvf) {
    case 0x244: return 36; // screen: x, y, z, rhw, diffuse, two pairs
    case 0x2E2: return 40; // world: x, y, z, reserved, diffuse, specular, two pairs
    case 0x212: return 40; // normal: x, y, z, normal, two pairs
    default: return 0;
    }
}

IDirect3DDevice7* CreateNullDevice(const D3DDEVICEDESC7& caps)
{
    return new CNullDevice(caps);
}
