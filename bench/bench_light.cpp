// The light passes (direct light from the light list and the light entities,
// and one bounce: RunLightPasses) on the sample level and on generated large
// maps of 250, 500 and 1000 brushes (vorlane-make-samples --large), each on
// 1 and 2 threads:
// Light/<map>/threads:<n>. Each map is built once per benchmark with the
// list builder and flooded, every reached leaf seeing every reached leaf;
// every iteration makes fresh grids outside the timing, then times the
// passes alone.
//
// Counters: direct_s and bounce_s split the time between the passes; shots
// is the number of shots that add light (each needs a line of sight), walks
// the shots whose line of sight took a walk of its own (the rest lay in
// blocks found in sight as a whole), pairs the source-face pairs in reach;
// peak_MB is the process' peak resident memory so far (run one benchmark per
// process, with --benchmark_filter, for the peak of one map).
#include "compiler/build_tree.h"
#include "compiler/compile_driver.h"
#include "compiler/entities.h"
#include "compiler/light.h"
#include "compiler/light_entities.h"
#include "compiler/light_passes.h"
#include "compiler/map_parser.h"
#include "compiler/portal.h"
#include "platform/files.h"
#include "tools/sample_maps.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace {

// A compiled map with visible lists, ready for MakeGrids; owns everything.
class CLightScene {
public:
    ~CLightScene()
    {
        FreeLights(&pLights);
        FreePortals(&pPortals, PortalCount);
        FreeTree(&pRoot);
        FreeMapData(&Map);
    }

    bool Load(const std::string& mapPath, const std::string& lightPath)
    {
        std::ostringstream log;
        std::vector<CEntity> entities;
        CVector start;
        if (!ReadEntities(mapPath.c_str(), &entities) || !FindStartLocation(entities, &start) ||
            !ParseMapFile(mapPath.c_str(), &Map) ||
            !CompileMapData(&Map, &start, &pPortals, &PortalCount, &pRoot, log))
            return false;
        std::vector<CBuildNode*> leaves;
        for (std::vector<CBuildNode*> pending{pRoot}; !pending.empty();) {
            CBuildNode* pNode = pending.back();
            pending.pop_back();
            if (!pNode)
                continue;
            if (pNode->IsLeaf() && pNode->bVisited)
                leaves.push_back(pNode);
            pending.push_back(pNode->pFront);
            pending.push_back(pNode->pBack);
        }
        for (CBuildNode* pLeaf : leaves) {
            pLeaf->pVisibleLeaves = new CBuildNode*[leaves.size()];
            std::copy(leaves.begin(), leaves.end(), pLeaf->pVisibleLeaves);
            pLeaf->VisibleLeafCount = static_cast<int32_t>(leaves.size());
        }
        pLights = ReadLightList(Map.pNames, lightPath.c_str());
        // The map was not moved: its light entities stand where it says.
        Entities = ReadLightEntities(entities, CVector());
        return pLights != nullptr || !Entities.Points.empty();
    }

    CMapData Map;
    CPortal* pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode* pRoot = nullptr;
    CLightNode* pLights = nullptr;
    CEntityLights Entities;
};

struct CLightMap {
    std::string MapPath;
    std::string LightPath;
};

double PeakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void BM_Light(benchmark::State& state, CLightMap map)
{
    CLightScene scene;
    if (!scene.Load(map.MapPath, map.LightPath)) {
        state.SkipWithError("map did not compile or has no light");
        return;
    }
    CLightStats stats;
    CLightRun run;
    run.Threads = static_cast<int32_t>(state.range(0));
    run.pPoints = &scene.Entities.Points;
    run.pStats = &stats;
    for (auto _ : state) {
        state.PauseTiming();
        MakeGrids(scene.pRoot, scene.pLights);
        state.ResumeTiming();
        RunLightPasses(scene.pRoot, run);
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["direct_s"] = stats.DirectSeconds / n;
    state.counters["bounce_s"] = stats.BounceSeconds / n;
    state.counters["shots"] = static_cast<double>(stats.Shots) / n;
    state.counters["walks"] = static_cast<double>(stats.LineTests) / n;
    state.counters["pairs"] = static_cast<double>(stats.Pairs) / n;
    state.counters["peak_MB"] = PeakMegabytes();
}

// A scratch directory for the generated maps, which also stands for "C:\".
class CScratch {
public:
    CScratch()
        : Dir(std::filesystem::temp_directory_path() /
              ("vorlane_light_" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(Dir);
        SetDriveRoot(Dir.string());
    }
    ~CScratch()
    {
        std::error_code error;
        std::filesystem::remove_all(Dir, error);
    }
    std::filesystem::path Dir;
};

void Register(const std::string& name, const CLightMap& map)
{
    benchmark::RegisterBenchmark(("Light/" + name).c_str(), BM_Light, map)
        ->ArgName("threads")
        ->Arg(1)
        ->Arg(2)
        ->Iterations(1)
        ->Unit(benchmark::kSecond)
        ->UseRealTime()
        ->MeasureProcessCPUTime();
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    CScratch scratch;
    // VORLANE_BENCH_LEVEL may name another level map (its light list beside
    // it), to weigh changes of the samples before they are made.
    const char* pszLevel = std::getenv("VORLANE_BENCH_LEVEL");
    const std::string level =
        pszLevel ? pszLevel : std::string(VORLANE_DATA_MAPS_DIR) + "/level.map";
    Register("level", {level, std::filesystem::path(level).replace_extension(".lights").string()});
    for (int brushes : {250, 500, 1000}) {
        const std::string name = "large_" + std::to_string(brushes);
        const samples::CSampleMap map = samples::LargeMap(brushes);
        const std::vector<samples::CSampleFile> files = {
            {name + ".map", samples::MapText(map)},
            {name + ".lights", samples::LightText(map.Lights)}};
        if (!samples::WriteFiles(scratch.Dir, files)) {
            std::fprintf(stderr, "can't write %s\n", name.c_str());
            return 1;
        }
        Register(name, {(scratch.Dir / (name + ".map")).string(),
                        (scratch.Dir / (name + ".lights")).string()});
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
