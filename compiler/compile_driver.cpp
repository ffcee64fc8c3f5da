#include "compiler/compile_driver.h"

#include "compiler/plane_set.h"
#include "compiler/stage_clock.h"
#include "compiler/visibility.h"

#include <memory>

namespace {

// The last stage of both drivers: the flood, when there are portals to
// flood through. The result is the drivers' result.
bool FloodStage(const CVector* pStart, CPortal** ppPortals, CBuildNode** ppRoot,
                std::ostream& logStream)
{
    logStream << "\n==== Setting visibility. =====" << std::endl;
    const int64_t start = ClockMs();
    if (*ppPortals)
        SetVisibility(*ppRoot, pStart);
    logStream << "Visibility set in " << SecondsSince(start) << " seconds." << std::endl;
    return *ppPortals != nullptr;
}

} // namespace

bool CompileFaceSet(CFaceSet* pSet, const CVector* pStart, CPortal** ppPortals,
                    int32_t* pPortalCount, CBuildNode** ppRoot, std::ostream& logStream,
                    const CPortalRun& portalRun)
{
    *ppPortals = nullptr;
    *pPortalCount = 0;
    *ppRoot = nullptr;

    logStream << "======= Creating tree. =======" << std::endl;
    int64_t start = ClockMs();
    *ppRoot = BuildTreeFromSet(pSet, nullptr, portalRun.Threads);
    if (!*ppRoot)
        return false;
    logStream << "Tree created in " << SecondsSince(start) << " seconds." << std::endl;

    logStream << "\n= Creating unique plane set. =" << std::endl;
    start = ClockMs();
    CPlane* pUnique = nullptr;
    int32_t uniqueCount = 0;
    MakeUniquePlanes(pSet->pPlanes, pSet->Count, &pUnique, &uniqueCount);
    if (!pUnique) {
        FreeTree(ppRoot);
        return false;
    }
    // Owned here until the end, also when a later stage throws.
    const std::unique_ptr<CPlane[]> unique(pUnique);
    logStream << "Set created in " << SecondsSince(start) << " seconds." << std::endl;
    logStream << "Original plane count:\t" << pSet->Count << std::endl;
    logStream << "Unique plane count:\t" << uniqueCount << std::endl;

    logStream << "\n===== Creating portals. ======" << std::endl;
    start = ClockMs();
    *pPortalCount = BuildPortals(unique.get(), uniqueCount, *ppRoot, ppPortals, portalRun);
    logStream << "Portals created in " << SecondsSince(start) << " seconds." << std::endl;

    return FloodStage(pStart, ppPortals, ppRoot, logStream);
}

bool CompileMapData(CMapData* pMapData, const CVector* pStart, CPortal** ppPortals,
                    int32_t* pPortalCount, CBuildNode** ppRoot, std::ostream& logStream,
                    const CPortalRun& portalRun)
{
    *ppPortals = nullptr;
    *pPortalCount = 0;
    *ppRoot = nullptr;

    logStream << "======= Creating tree. =======" << std::endl;
    int64_t start = ClockMs();
    *ppRoot = BuildTreeFromList(pMapData);
    if (!*ppRoot)
        return false;
    logStream << "Tree created in " << SecondsSince(start) << " seconds." << std::endl;

    // The parser's plane table holds each plane once already: numbered, it
    // gives the plane array of the portal stage directly.
    logStream << "\n===== Creating portals. ======" << std::endl;
    start = ClockMs();
    {
        int32_t planeCount = 0;
        NumberPlanes(pMapData->pPlanes, &planeCount);
        const std::unique_ptr<CPlane[]> planes(new CPlane[planeCount > 0 ? planeCount : 1]);
        CopyPlanes(planes.get(), pMapData->pPlanes);
        *pPortalCount = BuildPortals(planes.get(), planeCount, *ppRoot, ppPortals, portalRun);
    }
    logStream << "Portals created in " << SecondsSince(start) << " seconds." << std::endl;

    return FloodStage(pStart, ppPortals, ppRoot, logStream);
}
