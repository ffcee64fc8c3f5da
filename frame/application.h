#pragma once
// CApplication: the one application object. It owns the window, the devices,
// the input snapshots and the resource lists, and runs the frame loop; those
// members join the class as their layers land. What stands here already is
// the registration of the one object and the allocation that throws.
#include <cstddef>

class CApplication {
public:
    CApplication();
    virtual ~CApplication();
    CApplication(const CApplication&) = delete;
    CApplication& operator=(const CApplication&) = delete;

    // The one application object, or null before one is built.
    static CApplication* GetApp();

    // Allocates nSize bytes with malloc; throws CError
    // "AllocMem: Not enough memory." when that fails.
    void* AllocMem(size_t nSize);
};

extern CApplication* g_pApp;

inline CApplication* GetApp() { return CApplication::GetApp(); }

// GetApp()->AllocMem(nSize), or null when there is no application.
void* AllocMem(size_t nSize);
