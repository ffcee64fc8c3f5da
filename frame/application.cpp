#include "frame/application.h"

#include "frame/error.h"

#include <cstdlib>

CApplication* g_pApp = nullptr;

CApplication::CApplication()
{
    g_pApp = this;
}

CApplication::~CApplication()
{
    // The pointer is not left dangling once the object is gone.
    if (g_pApp == this)
        g_pApp = nullptr;
}

CApplication* CApplication::GetApp()
{
    return g_pApp;
}

void* CApplication::AllocMem(size_t nSize)
{
    void* pBlock = std::malloc(nSize);
    if (!pBlock)
        throw CError("AllocMem: Not enough memory.");
    return pBlock;
}

void* AllocMem(size_t nSize)
{
    CApplication* pApp = GetApp();
    return pApp ? pApp->AllocMem(nSize) : nullptr;
}
