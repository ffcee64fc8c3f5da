#include "platform/ddraw.h"

#include "platform/backend.h"

// Identifiers of our own; only their distinctness matters.
const GUID IID_IDirectDraw7 = {0x56a1d001, 0x7c2e, 0x4b10, {0x9a, 0x01, 0, 0, 0, 0, 0, 0x01}};
const GUID IID_IDirect3D7 = {0x56a1d002, 0x7c2e, 0x4b10, {0x9a, 0x01, 0, 0, 0, 0, 0, 0x02}};
const GUID IID_IDirect3DRefDevice = {0x56a1d010, 0x7c2e, 0x4b10,
                                     {0x9a, 0x02, 0, 0, 0, 0, 0, 0x10}};
const GUID IID_IDirect3DRGBDevice = {0x56a1d011, 0x7c2e, 0x4b10,
                                     {0x9a, 0x02, 0, 0, 0, 0, 0, 0x11}};
const GUID IID_IDirect3DHALDevice = {0x56a1d012, 0x7c2e, 0x4b10,
                                     {0x9a, 0x02, 0, 0, 0, 0, 0, 0x12}};
const GUID IID_IDirect3DTnLHalDevice = {0x56a1d013, 0x7c2e, 0x4b10,
                                        {0x9a, 0x02, 0, 0, 0, 0, 0, 0x13}};

HRESULT DirectDrawCreateEx(GUID*, void** ppOut, const GUID& iid, void*)
{
    if (!ppOut)
        return DDERR_INVALIDPARAMS;
    *ppOut = nullptr;
    if (!(iid == IID_IDirectDraw7))
        return E_NOINTERFACE;
    IDirectDraw7* pDirectDraw = nullptr;
    HRESULT hr = GetPlatformBackend()->CreateDirectDraw(&pDirectDraw);
    if (FAILED(hr))
        return hr;
    *ppOut = pDirectDraw;
    return hr;
}
