#include "controls/panel.h"

#include "frame/application.h"
#include "geometry/plane.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// Vertex i + nStep of a polygon of nCount vertices, wrapping.
const CScreenVertex& Wrapped(const CScreenVertex* pVertices, int32_t nCount, int32_t i,
                             int32_t nStep)
{
    return pVertices[(i + nStep) % nCount];
}

// Whether all vertices other than i and i + 1 lie on or in front of the
// upright plane along the edge from i to i + 1: inside a convex polygon
// that runs clockwise on a screen whose y grows downwards.
bool EdgeHoldsPolygon(const CScreenVertex* pVertices, int32_t nCount, int32_t i)
{
    const CVector& start = pVertices[i].Position;
    const CPlane plane(start, start + CVector(0.0f, 0.0f, 1.0f),
                       Wrapped(pVertices, nCount, i, 1).Position);
    for (int32_t nStep = 2; nStep < nCount; ++nStep) {
        // A NaN distance (an edge of no length) fails as well.
        if (!(plane.DistanceTo(Wrapped(pVertices, nCount, i, nStep).Position) >= 0.0))
            return false;
    }
    return true;
}

char* CopyString(const char* pszText)
{
    const size_t nLength = std::strlen(pszText);
    char* pCopy = new (std::nothrow) char[nLength + 1];
    if (pCopy)
        std::memcpy(pCopy, pszText, nLength + 1);
    return pCopy;
}

} // namespace

CPanel::CPanel()
    : pTexture(nullptr), Colour(PANEL_DEFAULT_COLOUR), bFlat(1), pVertices(nullptr),
      VertexCount(0), pTextureName(nullptr)
{
}

CPanel::~CPanel()
{
    FreeVertices();
    delete[] pTextureName;
}

void CPanel::FreeVertices()
{
    delete[] pVertices;
    pVertices = nullptr;
    VertexCount = 0;
}

void CPanel::Update(CApplication* pApp)
{
    UpdateChildren(pApp);
}

void CPanel::Draw(CApplication* pApp)
{
    if (pVertices && VertexCount >= 3) {
        if (bFlat) {
            pApp->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
            pApp->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        } else {
            pApp->SetTexture(0, pTexture);
            pApp->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
            pApp->SetTextureStageState(0, D3DTSS_COLORARG2, D3DTA_DIFFUSE);
            pApp->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
        }
        pApp->DrawPrimitive(D3DPT_TRIANGLEFAN, FVF_SCREEN_VERTEX, pVertices,
                            static_cast<uint32_t>(VertexCount), 0);
        if (!bFlat)
            pApp->SetTexture(0, nullptr);
    }
    // Children stand on top of their parent.
    DrawChildren(pApp);
}

void CPanel::Release(CApplication* pApp)
{
    if (!bFlat && pTextureName)
        pApp->ReleaseTexture(pTextureName);
    delete[] pTextureName;
    pTextureName = nullptr;
    FreeVertices();
    pTexture = nullptr;
    CControl::Release(pApp);
}

void CPanel::SetFlat(bool bValue)
{
    bFlat = bValue ? 1 : 0;
}

bool CPanel::SetTexture(CApplication* pApp, const char* pszName)
{
    if (pTextureName) {
        pApp->ReleaseTexture(pTextureName);
        delete[] pTextureName;
        pTextureName = nullptr;
    }
    pTexture = nullptr;
    if (!pszName)
        return false;
    pTextureName = CopyString(pszName);
    pTexture = pApp->AcquireTexture(pszName);
    return pTexture != nullptr;
}

void CPanel::SetColour(uint32_t nColour)
{
    Colour = nColour;
}

bool CPanel::SetVertices(const CScreenVertex* pVerticesIn, int32_t nCount)
{
    if (!pVerticesIn || nCount < 3)
        return false;
    for (int32_t i = 0; i < nCount; ++i) {
        if (!EdgeHoldsPolygon(pVerticesIn, nCount, i))
            return false;
    }
    CScreenVertex* pCopy = new (std::nothrow) CScreenVertex[nCount];
    if (!pCopy)
        return false;
    std::copy_n(pVerticesIn, nCount, pCopy);
    FreeVertices();
    pVertices = pCopy;
    VertexCount = nCount;
    return true;
}

bool CPanel::BuildQuad()
{
    FreeVertices();
    if (!pRegion)
        return false;
    pVertices = new (std::nothrow) CScreenVertex[4];
    if (!pVertices)
        return false;
    VertexCount = 4;
    RECT bounds;
    pRegion->GetBounds(&bounds);
    const float fLeft = static_cast<float>(bounds.left);
    const float fTop = static_cast<float>(bounds.top);
    const float fRight = static_cast<float>(bounds.right);
    const float fBottom = static_cast<float>(bounds.bottom);
    pVertices[0] = CScreenVertex(CVector(fLeft, fTop, 1.0f), Colour, 0.0f, 0.0f, 0.0f, 0.0f);
    pVertices[1] = CScreenVertex(CVector(fRight, fTop, 1.0f), Colour, 1.0f, 0.0f, 0.0f, 0.0f);
    pVertices[2] = CScreenVertex(CVector(fRight, fBottom, 1.0f), Colour, 1.0f, 1.0f, 0.0f, 0.0f);
    pVertices[3] = CScreenVertex(CVector(fLeft, fBottom, 1.0f), Colour, 0.0f, 1.0f, 0.0f, 0.0f);
    return true;
}
