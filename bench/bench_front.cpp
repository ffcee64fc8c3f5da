// The compiler's front stages on generated and real maps: parsing (with the
// clipping of each brush's sides), the conversion to a flat face set, each
// tree builder alone, and the whole front with either builder. Tree depth and
// node counts are reported as counters of the builder runs.
#include "compiler/build_tree.h"
#include "compiler/face_list.h"
#include "compiler/face_set.h"
#include "compiler/map_parser.h"
#include "compiler/map_tables.h"
#include "platform/files.h"

#include "bench/bench_maps.h"
#include "bench/map_generator.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

struct CTreeCounts {
    int Depth = 0;
    int InnerNodes = 0;
    int Leaves = 0;
    int LeafFaces = 0;
};

CTreeCounts CountTree(const CBuildNode* pRoot)
{
    CTreeCounts counts;
    std::vector<std::pair<const CBuildNode*, int>> pending;
    if (pRoot)
        pending.push_back({pRoot, 1});
    while (!pending.empty()) {
        auto [pNode, depth] = pending.back();
        pending.pop_back();
        counts.Depth = std::max(counts.Depth, depth);
        if (pNode->IsLeaf()) {
            ++counts.Leaves;
            counts.LeafFaces += pNode->FaceCount;
            continue;
        }
        ++counts.InnerNodes;
        if (pNode->pFront)
            pending.push_back({pNode->pFront, depth + 1});
        if (pNode->pBack)
            pending.push_back({pNode->pBack, depth + 1});
    }
    return counts;
}

void SetTreeCounters(benchmark::State& state, const CBuildNode* pRoot)
{
    const CTreeCounts counts = CountTree(pRoot);
    state.counters["depth"] = counts.Depth;
    state.counters["inner"] = counts.InnerNodes;
    state.counters["leaves"] = counts.Leaves;
    state.counters["leaf_faces"] = counts.LeafFaces;
}

bool ParseMap(const std::string& path, CMapData* pMap)
{
    *pMap = CMapData();
    return ParseMapFile(path.c_str(), pMap);
}

void SetMapCounters(benchmark::State& state, const CMapData& map)
{
    int32_t planes = 0;
    NumberPlanes(map.pPlanes, &planes);
    state.counters["faces"] = map.FaceCount;
    state.counters["planes"] = planes;
}

void BM_Parse(benchmark::State& state, const std::string& path)
{
    CMapData map;
    for (auto _ : state) {
        if (!ParseMap(path, &map)) {
            state.SkipWithError("map can't be opened");
            return;
        }
        state.PauseTiming();
        FreeMapData(&map);
        state.ResumeTiming();
    }
    ParseMap(path, &map);
    SetMapCounters(state, map);
    FreeMapData(&map);
}

void BM_MakeFaceSet(benchmark::State& state, const std::string& path)
{
    CMapData map;
    if (!ParseMap(path, &map)) {
        state.SkipWithError("map can't be opened");
        return;
    }
    for (auto _ : state) {
        CFaceSet set;
        MakeFaceSetFromMap(&map, &set);
        state.PauseTiming();
        FreeFaceSet(&set);
        state.ResumeTiming();
    }
    FreeMapData(&map);
}

void BM_BuildList(benchmark::State& state, const std::string& path)
{
    CMapData map;
    if (!ParseMap(path, &map)) {
        state.SkipWithError("map can't be opened");
        return;
    }
    CBuildNode* pRoot = nullptr;
    for (auto _ : state) {
        pRoot = BuildTreeFromList(&map);
        state.PauseTiming();
        SetTreeCounters(state, pRoot);
        FreeTree(&pRoot);
        state.ResumeTiming();
    }
    FreeMapData(&map);
}

void BM_BuildSet(benchmark::State& state, const std::string& path)
{
    CMapData map;
    if (!ParseMap(path, &map)) {
        state.SkipWithError("map can't be opened");
        return;
    }
    for (auto _ : state) {
        // The builder uses up the plane records of the set: a fresh one each
        // time, made outside the timing.
        state.PauseTiming();
        CFaceSet set;
        MakeFaceSetFromMap(&map, &set);
        state.ResumeTiming();
        CBuildNode* pRoot = BuildTreeFromSet(&set, nullptr);
        state.PauseTiming();
        SetTreeCounters(state, pRoot);
        FreeTree(&pRoot);
        FreeFaceSet(&set);
        state.ResumeTiming();
    }
    FreeMapData(&map);
}

// Map text to tree, everything timed but the freeing.
void BM_FrontList(benchmark::State& state, const std::string& path)
{
    for (auto _ : state) {
        CMapData map;
        ParseMap(path, &map);
        CBuildNode* pRoot = BuildTreeFromList(&map);
        state.PauseTiming();
        FreeTree(&pRoot);
        FreeMapData(&map);
        state.ResumeTiming();
    }
}

void BM_FrontSet(benchmark::State& state, const std::string& path)
{
    for (auto _ : state) {
        CMapData map;
        ParseMap(path, &map);
        CFaceSet set;
        MakeFaceSetFromMap(&map, &set);
        CBuildNode* pRoot = BuildTreeFromSet(&set, nullptr);
        state.PauseTiming();
        FreeTree(&pRoot);
        FreeFaceSet(&set);
        FreeMapData(&map);
        state.ResumeTiming();
    }
}

void RegisterMap(const std::string& name, const std::string& path)
{
    const std::pair<const char*, void (*)(benchmark::State&, const std::string&)> stages[] = {
        {"Parse", BM_Parse},       {"MakeFaceSet", BM_MakeFaceSet}, {"BuildList", BM_BuildList},
        {"BuildSet", BM_BuildSet}, {"FrontList", BM_FrontList},     {"FrontSet", BM_FrontSet},
    };
    for (const auto& [stage, function] : stages) {
        benchmark::RegisterBenchmark((std::string(stage) + "/" + name).c_str(), function, path)
            ->Unit(benchmark::kMillisecond);
    }
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    const CBenchMaps inputs("bench_front");
    std::vector<CBenchMap> maps;
    if (!inputs.Collect(&maps))
        return 1;
    for (const CBenchMap& map : maps)
        RegisterMap(map.Name, map.Path);

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
