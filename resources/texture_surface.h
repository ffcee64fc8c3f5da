#pragma once
// CTextureSurface: a picture the device samples (map textures, lightmaps,
// font glyphs). A staging surface in system memory is filled, its mip levels
// are derived, a texture format with the same channel widths is chosen and
// the final surface is made and loaded from the staging one.
// CFormatStack and CDeviceStack: the stacks of pixel formats and device
// records the enumerations fill.
#include "platform/ddraw.h"

#include <cstdint>

class CApplication;

template <typename T>
class CRecordStack {
public:
    CRecordStack() = default;
    CRecordStack(const CRecordStack&) = delete;
    CRecordStack& operator=(const CRecordStack&) = delete;
    ~CRecordStack() { Clear(); }

    void Push(const T& record)
    {
        pHead = new CNode{record, pHead};
    }
    // False on an empty stack, leaving pOut alone.
    bool Pop(T* pOut)
    {
        if (!pHead)
            return false;
        CNode* pNode = pHead;
        *pOut = pNode->Record;
        pHead = pNode->pNext;
        delete pNode;
        return true;
    }
    void Clear()
    {
        T ignored;
        while (Pop(&ignored)) {
        }
    }
    bool IsEmpty() const { return pHead == nullptr; }

private:
    struct CNode {
        T Record;
        CNode* pNext;
    };
    CNode* pHead = nullptr;
};

class CFormatStack : public CRecordStack<DDPIXELFORMAT> {};
class CDeviceStack : public CRecordStack<D3DDEVICEDESC7> {};

// Codes of LoadFromBitmap.
constexpr int TEXTURE_LOAD_OK = 0;
constexpr int TEXTURE_LOAD_BAD_ARGUMENT = 1;
constexpr int TEXTURE_LOAD_NO_PICTURE = 2;
constexpr int TEXTURE_LOAD_NO_STAGING = 3;
constexpr int TEXTURE_LOAD_NO_FORMAT = 4;
constexpr int TEXTURE_LOAD_NO_FINAL = 5;

class CTextureSurface {
public:
    CTextureSurface();
    CTextureSurface(const CTextureSurface&) = delete;
    CTextureSurface& operator=(const CTextureSurface&) = delete;
    virtual ~CTextureSurface();

    int LoadFromBitmap(CApplication* pApp, const char* pszPath, int nWidth, int nHeight,
                       int nMipCount);
    // pPixels: 3-byte pixels, red first, row after row; null leaves the
    // content to be drawn through GetDC. 0, 2 for a null app, 0x40 on failure.
    int Create(CApplication* pApp, int nWidth, int nHeight, const unsigned char* pPixels,
               int nMipCount);
    void Free();
    HDC GetDC();
    void ReleaseDC(HDC hdc);
    void SetStage(short nStageIn);
    short GetStage() const { return nStage; }
    void SetColorKey(float r, float g, float b);
    void ClearColorKey() { bColorKey = 0; }
    IDirectDrawSurface7* GetSurface() const { return pSurface; }
    int GetWidth() const { return static_cast<int>(Desc.dwWidth); }
    int GetHeight() const { return static_cast<int>(Desc.dwHeight); }

    // The steps, public for the tests.
    IDirectDrawSurface7* CreateStaging(IDirectDraw7* pDD, IDirect3DDevice7* pDevice, int nWidth,
                                       int nHeight, int nMipCount);
    int FillFromRGB(CApplication* pApp, IDirectDrawSurface7* pStaging,
                    const unsigned char* pPixels);
    int BuildMipChain(IDirectDrawSurface7* pStaging);
    int ChooseFormat(IDirect3DDevice7* pDevice, IDirectDrawSurface7* pStaging);
    int CreateFinal(IDirectDraw7* pDD, IDirect3DDevice7* pDevice, IDirectDrawSurface7* pStaging);

    IDirectDrawSurface7* pSurface;
    DDSURFACEDESC2 Desc;
    short nStage;
    uint8_t bMipmapped;
    uint8_t bColorKey;
    float fKeyRed, fKeyGreen, fKeyBlue;
};

// Set bits of a mask, counted by clearing the lowest until none is left.
int CountBits(uint32_t nMask);

// The pixel format callback of the texture and z-buffer enumerations: pushes
// the format on the CFormatStack of the context and goes on.
HRESULT FormatCallback(DDPIXELFORMAT* pFormat, void* pContext);
