// The compiler from map text through portals and flood, on generated and
// real maps, with either builder. Stages/<builder>/<map> runs the stages one
// by one in the order of the drivers and reports each stage's seconds as a
// counter, with the portal and plane counts and the leaves the flood
// reached; Driver/<builder>/<map> runs the driver itself after parsing. The
// iteration time covers everything from map text to flood but the freeing.
//
// peak_MB is the process's resident high-water mark (VmHWM) at the end of
// the benchmark. It is reset before each benchmark where the kernel allows
// it (clear_refs), so it is that benchmark's peak; otherwise it is the peak
// of the whole run so far, and a map alone is measured with
// --benchmark_filter.
#include "compiler/build_tree.h"
#include "compiler/compile_driver.h"
#include "compiler/entities.h"
#include "compiler/map_parser.h"
#include "compiler/map_tables.h"
#include "compiler/plane_set.h"
#include "compiler/portal.h"
#include "compiler/tree_walk.h"
#include "compiler/visibility.h"
#include "platform/files.h"

#include "bench/bench_maps.h"
#include "bench/peak_memory.h"
#include "bench/map_generator.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

double Now()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

struct CMapInput {
    std::string Path;
    CVector Start;
};

struct CStageTimes {
    double Tree = 0;
    double Unique = 0;
    double Portals = 0;
    double Flood = 0;
    int32_t PortalCount = 0;
    int32_t PlaneCount = 0;
    int32_t ReachedLeaves = 0;
    int32_t Leaves = 0;
};

void CountLeaves(CBuildNode* pRoot, CStageTimes* pTimes)
{
    WalkFrontFirst(pRoot, true, [&](const CBuildNode* pNode) {
        if (pNode->IsLeaf()) {
            ++pTimes->Leaves;
            pTimes->ReachedLeaves += pNode->bVisited ? 1 : 0;
        }
    });
}

// One compile, stage by stage as the drivers run them; the tree and portals
// are left for the caller to count and free.
CStageTimes CompileStages(const CMapInput& input, bool bListBuilder, CMapData* pMap,
                          CFaceSet* pSet, CBuildNode** ppRoot, CPortal** ppPortals)
{
    CStageTimes times;
    ParseMapFile(input.Path.c_str(), pMap);
    std::unique_ptr<CPlane[]> planes;
    double start = Now();
    if (bListBuilder) {
        *ppRoot = BuildTreeFromList(pMap);
        times.Tree = Now() - start;
        start = Now();
        int32_t count = 0;
        NumberPlanes(pMap->pPlanes, &count);
        planes.reset(new CPlane[count > 0 ? count : 1]);
        CopyPlanes(planes.get(), pMap->pPlanes);
        times.PlaneCount = count;
        // The list driver numbers its planes within the portal stage.
        times.Portals = Now() - start;
    } else {
        // Making the set belongs to the front; it is not timed here.
        MakeFaceSetFromMap(pMap, pSet);
        start = Now();
        *ppRoot = BuildTreeFromSet(pSet, nullptr);
        times.Tree = Now() - start;
        start = Now();
        CPlane* pUnique = nullptr;
        MakeUniquePlanes(pSet->pPlanes, pSet->Count, &pUnique, &times.PlaneCount);
        planes.reset(pUnique);
        times.Unique = Now() - start;
    }
    start = Now();
    times.PortalCount = BuildPortals(planes.get(), times.PlaneCount, *ppRoot, ppPortals);
    times.Portals += Now() - start;
    start = Now();
    if (*ppPortals)
        SetVisibility(*ppRoot, &input.Start);
    times.Flood = Now() - start;
    return times;
}

void FreeCompile(CMapData* pMap, CFaceSet* pSet, CBuildNode** ppRoot, CPortal** ppPortals,
                 int32_t portalCount)
{
    FreePortals(ppPortals, portalCount);
    FreeTree(ppRoot);
    FreeFaceSet(pSet);
    *pSet = CFaceSet();
    FreeMapData(pMap);
    *pMap = CMapData();
}

void BM_Stages(benchmark::State& state, const CMapInput& input, bool bListBuilder)
{
    ResetPeakMemory();
    CStageTimes sum;
    CStageTimes last;
    for (auto _ : state) {
        CMapData map;
        CFaceSet set;
        CBuildNode* pRoot = nullptr;
        CPortal* pPortals = nullptr;
        last = CompileStages(input, bListBuilder, &map, &set, &pRoot, &pPortals);
        state.PauseTiming();
        CountLeaves(pRoot, &last);
        FreeCompile(&map, &set, &pRoot, &pPortals, last.PortalCount);
        state.ResumeTiming();
        sum.Tree += last.Tree;
        sum.Unique += last.Unique;
        sum.Portals += last.Portals;
        sum.Flood += last.Flood;
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["tree_s"] = sum.Tree / n;
    if (!bListBuilder)
        state.counters["unique_s"] = sum.Unique / n;
    state.counters["portals_s"] = sum.Portals / n;
    state.counters["flood_s"] = sum.Flood / n;
    state.counters["planes"] = last.PlaneCount;
    state.counters["portals"] = last.PortalCount;
    state.counters["leaves"] = last.Leaves;
    state.counters["reached"] = last.ReachedLeaves;
    state.counters["peak_MB"] = PeakMemoryMb();
}

void BM_Driver(benchmark::State& state, const CMapInput& input, bool bListBuilder)
{
    ResetPeakMemory();
    int32_t portalCount = 0;
    for (auto _ : state) {
        CMapData map;
        CFaceSet set;
        CBuildNode* pRoot = nullptr;
        CPortal* pPortals = nullptr;
        std::ostringstream log;
        ParseMapFile(input.Path.c_str(), &map);
        if (bListBuilder) {
            CompileMapData(&map, &input.Start, &pPortals, &portalCount, &pRoot, log);
        } else {
            MakeFaceSetFromMap(&map, &set);
            CompileFaceSet(&set, &input.Start, &pPortals, &portalCount, &pRoot, log);
        }
        state.PauseTiming();
        FreeCompile(&map, &set, &pRoot, &pPortals, portalCount);
        state.ResumeTiming();
    }
    state.counters["portals"] = portalCount;
    state.counters["peak_MB"] = PeakMemoryMb();
}

void RegisterMap(const std::string& name, const CMapInput& input)
{
    for (const bool bList : {false, true}) {
        const std::string builder = bList ? "list/" : "set/";
        benchmark::RegisterBenchmark(("Stages/" + builder + name).c_str(), BM_Stages, input, bList)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Driver/" + builder + name).c_str(), BM_Driver, input, bList)
            ->Unit(benchmark::kMillisecond);
    }
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    const CBenchMaps inputs("bench_back");
    std::vector<CBenchMap> maps;
    if (!inputs.Collect(&maps))
        return 1;
    for (const CBenchMap& map : maps)
        RegisterMap(map.Name, {map.Path, map.Start});

    if (!ResetPeakMemory())
        std::fprintf(stderr, "peak_MB is the peak of the whole run: clear_refs refused\n");
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
