#include "compiler/light_stage.h"

#include "compiler/light_list_check.h"
#include "compiler/light_passes.h"
#include "compiler/visibility.h"

#include <algorithm>
#include <thread>

namespace {

// One warning for each kind of light that is taken as a plain point.
void WarnOfPlainPoints(const CEntityLights& lights, const std::string& mapPath, std::ostream& err)
{
    const struct {
        int32_t Count;
        const char* pszWhat;
    } kinds[] = {{lights.Spots, "spot lights"},
                 {lights.Suns, "sun lights"},
                 {lights.Styled, "lights with a style"}};
    for (const auto& kind : kinds) {
        if (kind.Count > 0)
            err << "warning: " << mapPath << ": " << kind.Count << " of the light entities are "
                << kind.pszWhat << "; they are lit as plain points\n";
    }
}

// Point lights whose leaf is not a reached one light nothing: they stand in
// solid or outside the walls.
void WarnOfLostPoints(const CLightSources& sources, CBuildNode* pRoot, const CVector& shift,
                      const std::string& mapPath, std::ostream& err)
{
    int32_t lost = 0;
    const CPointLight* pFirst = nullptr;
    for (const CPointLight& point : sources.Entities.Points) {
        CVector position = point.Position;
        const CBuildNode* pLeaf = FindLeaf(pRoot, &position);
        if (pLeaf && pLeaf->pFaces && pLeaf->bVisited)
            continue;
        pFirst = pFirst ? pFirst : &point;
        ++lost;
    }
    if (lost == 0)
        return;
    // Shown in map text axes, where the designer placed it.
    const CVector at = pFirst->Position + shift;
    err << "warning: " << mapPath << ": " << lost
        << " light entities stand in solid or outside the world (the first at " << at.x << " "
        << at.z << " " << at.y << "); they light nothing\n";
}

} // namespace

bool GatherLights(const CCompileOptions& options, const std::string& mapPath,
                  const std::string& listPath, CTexNameNode* pNames, const CVector& shift,
                  std::ostream& log, std::ostream& err, CLightSources* pOut, std::string* pError)
{
    if (!listPath.empty()) {
        if (!CheckLightList(listPath.c_str(), pNames, err)) {
            *pError = "cannot open the light list " + listPath;
            return false;
        }
        pOut->pList = ReadLightList(pNames, listPath.c_str());
        log << "Light list:\t" << listPath << std::endl;
        if (!pOut->pList)
            err << "warning: " << listPath << ": no texture of the map emits light\n";
    }
    std::vector<CEntity> entities;
    if (ReadEntities(mapPath.c_str(), &entities))
        pOut->Entities = ReadLightEntities(entities, shift);
    if (options.bNoEntityLights) {
        log << "Light entities:\t" << pOut->Entities.Points.size() << " (left out)" << std::endl;
        const int32_t floor = pOut->Entities.MinLight;
        pOut->Entities = CEntityLights();
        pOut->Entities.MinLight = floor;
    } else {
        for (const std::string& problem : pOut->Entities.Problems)
            err << "warning: " << mapPath << ": " << problem << "\n";
        WarnOfPlainPoints(pOut->Entities, mapPath, err);
        log << "Light entities:\t" << pOut->Entities.Points.size() << std::endl;
    }
    if (!pOut->HasLight())
        err << "warning: " << mapPath
            << ": no light list (give one with --lights FILE) and no light entities: "
               "lightmaps are full-bright\n";
    return true;
}

void LightTree(const CLightSources& sources, CBuildNode* pRoot, const CVector& shift,
               const CCompileOptions& options, std::ostream* pProgress, std::ostream& log,
               std::ostream& err)
{
    WarnOfLostPoints(sources, pRoot, shift, options.MapPath, err);
    int32_t threads = options.Threads;
    if (threads < 1)
        threads = static_cast<int32_t>(std::max(1u, std::thread::hardware_concurrency()));
    MakeGrids(pRoot, sources.pList);
    CLightStats stats;
    CLightRun run;
    run.Bounces = options.Bounces;
    run.Threads = threads;
    run.pProgress = pProgress;
    run.pPoints = &sources.Entities.Points;
    run.pStats = &stats;
    RunLightPasses(pRoot, run);
    ApplyMinLight(pRoot, sources.Entities.MinLight);
    log << "Bounces:\t" << options.Bounces << "\nThreads:\t" << threads
        << "\nMinimum light:\t" << sources.Entities.MinLight << "\nDirect light:\t"
        << stats.DirectSeconds << " seconds\nBounce light:\t" << stats.BounceSeconds
        << " seconds\nShots:\t" << stats.Shots << " (" << stats.LineTests << " walked)"
        << std::endl;
}
