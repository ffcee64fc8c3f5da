// The application's fonts: made, shared by name and given back.
#include "frame/application.h"
#include "resources/font.h"

#include <memory>

bool CApplication::AddFont(const char* pszName, int nSize, int nWeight, bool bItalic,
                           bool bUnderline, bool bStrikeOut, bool bTrueType,
                           uint32_t nPitchAndFamily, const char* pszFaceName, COLORREF colour)
{
    if (!pszName)
        return false;
    auto pFont = std::make_unique<CFont>();
    if (!pFont->Create(pszName, nSize, nWeight, bItalic, bUnderline, bStrikeOut, bTrueType,
                       nPitchAndFamily, pszFaceName, colour))
        return false;
    FontList.Add(pFont.release());
    return true;
}

bool CApplication::LoadFont(const char* pszPath, int nCell)
{
    if (!pszPath)
        return false;
    // Held here until listed: a sheet that can not be read throws.
    auto pFont = std::make_unique<CFont>();
    if (!pFont->LoadSheet(pszPath, nCell))
        return false;
    // A sheet carries no name of its own; its path finds it again.
    pFont->SetName(pszPath);
    FontList.Add(pFont.release());
    return true;
}

CFont* CApplication::AcquireFont(const char* pszName)
{
    CFont* pFont = static_cast<CFont*>(FontList.FindByName(pszName));
    if (!pFont)
        return nullptr;
    pFont->AddRef();
    return pFont;
}

bool CApplication::ReleaseFont(const char* pszName)
{
    CFont* pFont = static_cast<CFont*>(FontList.FindByName(pszName));
    if (!pFont)
        return false;
    if (pFont->Unref()) {
        if (!FontList.DetachByName(pszName))
            return false;
        pFont->Release(this);
        delete pFont;
    }
    return true;
}
