// The light passes on a generated map: Light/<map>/threads:<n> runs the
// direct pass and one bounce (RunLightPasses) on n threads. The map is compiled once
// per benchmark, every reached leaf seeing every reached leaf; each iteration
// makes fresh grids outside the timing and then times the passes alone.
//
// Counters: shots/s is the rate of sample-to-sample shots that passed both
// half-space tests and would add light, and so made a line-of-sight test (lit
// or not); shots that truncate to nothing are not counted; grids is
// the number of faces that got samples; emitters the faces that emit.
#include "compiler/build_tree.h"
#include "compiler/compile_driver.h"
#include "compiler/light.h"
#include "compiler/map_parser.h"
#include "compiler/portal.h"
#include "platform/files.h"

#include "bench/map_generator.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace {

// Ramps give light; everything else only receives.
constexpr const char* LIGHT_LIST = "ramp_metal 200 220 255 600\n";

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

    bool Load(const std::string& mapPath, const CVector& start, const std::string& lightPath)
    {
        std::ostringstream log;
        CVector where = start;
        if (!ParseMapFile(mapPath.c_str(), &Map) ||
            !CompileMapData(&Map, &where, &pPortals, &PortalCount, &pRoot, log))
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
            Grids += pLeaf->FaceCount;
        }
        pLights = ReadLightList(Map.pNames, lightPath.c_str());
        for (CBuildNode* pLeaf : leaves)
            for (int32_t i = 0; i < pLeaf->FaceCount; ++i)
                Emitters += FindLight(pLights, pLeaf->pFaces[i].TextureIndex) != nullptr;
        return pLights != nullptr;
    }

    CMapData Map;
    CPortal* pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode* pRoot = nullptr;
    CLightNode* pLights = nullptr;
    int64_t Grids = 0;
    int64_t Emitters = 0;
};

struct CLightMap {
    std::string Name;
    std::string Path;
    CVector Start;
};

void BM_Light(benchmark::State& state, CLightMap map, std::string lightPath)
{
    const int32_t threads = static_cast<int32_t>(state.range(0));
    CLightScene scene;
    if (!scene.Load(map.Path, map.Start, lightPath)) {
        state.SkipWithError("map did not compile or has no light");
        return;
    }
    CLightStats stats;
    for (auto _ : state) {
        state.PauseTiming();
        MakeGrids(scene.pRoot, scene.pLights);
        state.ResumeTiming();
        RunLightPasses(scene.pRoot, 1, threads, &stats);
    }
    state.counters["shots/s"] =
        benchmark::Counter(static_cast<double>(stats.Shots), benchmark::Counter::kIsRate);
    state.counters["grids"] = static_cast<double>(scene.Grids);
    state.counters["emitters"] = static_cast<double>(scene.Emitters);
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

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    CScratch scratch;
    const std::string lightPath = (scratch.Dir / "lights.txt").string();
    std::ofstream(lightPath) << LIGHT_LIST;

    // Every emitting sample shoots at every sample in sight, so the cost
    // grows with the square of the map: a map of 12 brushes (38 reached
    // leaves, 97 faces, 10 of them emitting) already takes seconds.
    for (int brushes : {12}) {
        const std::string name = "generated_" + std::to_string(brushes);
        const std::string path = (scratch.Dir / (name + ".map")).string();
        if (!mapgen::WriteMapFile(path, brushes)) {
            std::fprintf(stderr, "can't write %s\n", path.c_str());
            return 1;
        }
        // File axes a b c are the world vector (a, c, b).
        const mapgen::Vec3 start = mapgen::StartLocation(brushes);
        const CLightMap map{name, path, CVector(float(start.x), float(start.z), float(start.y))};
        benchmark::RegisterBenchmark(("Light/" + name).c_str(), BM_Light, map, lightPath)
            ->ArgName("threads")
            ->Arg(1)
            ->Arg(2)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->MeasureProcessCPUTime();
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
