#include "compiler/light.h"

#include "compiler/clip.h"
#include "compiler/face_lightmap.h"
#include "compiler/token.h"
#include "compiler/tree_walk.h"
#include "geometry/plane.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

int32_t TruncToInt32(double value)
{
    if (!(value == value))
        return 0;
    if (value >= 2147483647.0)
        return INT32_MAX;
    if (value <= -2147483648.0)
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

bool HasDirection(const CVector& normal)
{
    return std::isfinite(normal.x) && std::isfinite(normal.y) && std::isfinite(normal.z) &&
           (normal.x != 0.0f || normal.y != 0.0f || normal.z != 0.0f);
}

// A sphere round all samples of a grid, for the distance cull of a shot. It
// is kept in double, so that the cull never rounds a distance up.
struct CGridBounds {
    double Centre[3] = {0, 0, 0};
    double Radius = 0;
};

double DistanceTo(const CVector& p, const double centre[3])
{
    const double dx = static_cast<double>(p.x) - centre[0];
    const double dy = static_cast<double>(p.y) - centre[1];
    const double dz = static_cast<double>(p.z) - centre[2];
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

CGridBounds MeasureGrid(const CLumelGrid* pGrid)
{
    CGridBounds bounds;
    if (!pGrid->pLumels || pGrid->LumelCount <= 0)
        return bounds;
    const CVector& first = pGrid->pLumels[0].Position;
    double low[3] = {first.x, first.y, first.z};
    double high[3] = {first.x, first.y, first.z};
    for (int32_t i = 1; i < pGrid->LumelCount; ++i) {
        const CVector& p = pGrid->pLumels[i].Position;
        const double q[3] = {p.x, p.y, p.z};
        for (int k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], q[k]);
            high[k] = std::max(high[k], q[k]);
        }
    }
    for (int k = 0; k < 3; ++k)
        bounds.Centre[k] = (low[k] + high[k]) * 0.5;
    for (int32_t i = 0; i < pGrid->LumelCount; ++i)
        bounds.Radius = std::max(bounds.Radius, DistanceTo(pGrid->pLumels[i].Position, bounds.Centre));
    return bounds;
}

// The light falls off with the square of the distance and each channel of a
// shot is truncated toward zero: beyond some distance a shot adds nothing.
// True when no sample of the grid is near enough to the source to get a
// whole unit in any channel, so that the grid is passed over without
// touching its samples; the result of the pass is the same.
bool OutOfReach(const CLumel& source, double power, const CGridBounds& bounds)
{
    const double peak = std::max({std::abs(static_cast<double>(source.Light.Red)),
                                  std::abs(static_cast<double>(source.Light.Green)),
                                  std::abs(static_cast<double>(source.Light.Blue))});
    const double gap = DistanceTo(source.Position, bounds.Centre) - bounds.Radius;
    if (gap <= 0.0)
        return false;
    const double largest =
        power / (gap * gap * static_cast<double>(LIGHT_PI)) * static_cast<double>(source.Area);
    // The margin covers the rounding of the factor to float and of the
    // distances here.
    return std::abs(peak * largest) < 0.999;
}

// A grid as it receives: what its shots test, made once per pass. A grid
// without samples or without a normal (collinear first vertices) receives
// nothing.
struct CReceiver {
    CLumelGrid* pGrid = nullptr;
    bool bReceives = false;
    CPlane FacePlane; // through sample (0, 0) with the grid's normal
    CGridBounds Bounds;
};

CReceiver MakeReceiver(CLumelGrid* pGrid)
{
    CReceiver receiver;
    receiver.pGrid = pGrid;
    receiver.bReceives = pGrid->pLumels && pGrid->LumelCount > 0 && HasDirection(pGrid->Normal);
    if (receiver.bReceives) {
        receiver.FacePlane = CPlane(pGrid->pLumels[0].Position, pGrid->Normal);
        receiver.Bounds = MeasureGrid(pGrid);
    }
    return receiver;
}

// One shot of a source into the columns x0 to x1 - 1 of a grid, the per-grid
// part of ShootLumel. The source plane is made by the caller, once per
// source. Gives the number of line tests made.
int64_t ShootIntoGrid(const CBuildNode* pRoot, const CLumel& source, const CPlane& sourcePlane,
                      const CReceiver& receiver, int32_t x0, int32_t x1)
{
    const double power = static_cast<double>(source.Light.Intensity) * source.Area;
    // A zero factor adds nothing to a receiving sample (never above 255).
    if (power == 0.0 || !receiver.bReceives)
        return 0;
    // The face turns its back to the source: none of its samples can see it.
    if (receiver.FacePlane.DistanceTo(source.Position) < 0.0)
        return 0;
    if (OutOfReach(source, power, receiver.Bounds))
        return 0;

    CLumelGrid* pGrid = receiver.pGrid;
    int64_t tests = 0;
    for (int32_t x = x0; x < x1; ++x) {
        for (int32_t y = 0; y < LUMEL_GRID_SIZE; ++y) {
            const int32_t index = y * LUMEL_GRID_SIZE + x;
            if (index >= pGrid->LumelCount)
                continue;
            CLumel& sample = pGrid->pLumels[index];
            // Emitters, and the shooter's own face while it bounces.
            if (sample.Light.Intensity != 0)
                continue;
            if (sourcePlane.DistanceTo(sample.Position) < 0.0)
                continue;
            const double dx = static_cast<double>(sample.Position.x) - source.Position.x;
            const double dy = static_cast<double>(sample.Position.y) - source.Position.y;
            const double dz = static_cast<double>(sample.Position.z) - source.Position.z;
            const double d2 = dx * dx + dy * dy + dz * dz;
            // A sample on the source's own point gets nothing from it.
            if (d2 == 0.0)
                continue;
            const float factor = static_cast<float>(
                power / (d2 * static_cast<double>(LIGHT_PI)) * static_cast<double>(source.Area));
            CLightRecord shot = source.Light;
            shot.ScaleLight(factor);
            // Adding nothing leaves a receiving sample as it is (it never
            // holds more than 255): no line test is needed.
            if (shot.Red == 0 && shot.Green == 0 && shot.Blue == 0)
                continue;
            ++tests;
            if (!LineOfSight(pRoot, &source.Position, &sample.Position))
                continue;
            sample.Light.SaturateAdd(shot);
        }
    }
    return tests;
}

// One shot source of a pass: the sample as it shoots, its plane, and for a
// bouncing face its own grid, which gets nothing from it.
struct CShotSource {
    CLumel Lumel;
    CPlane Plane;
    const CLumelGrid* pOwnGrid = nullptr;
};

// A leaf that shoots: its sources, in order, each into every leaf of its
// visible list in turn.
struct CShooter {
    const CBuildNode* pLeaf = nullptr;
    size_t First = 0;
    size_t Count = 0;
};

// Adds a source unless it can give no light at all.
void AddSource(std::vector<CShotSource>* pSources, const CLumel& lumel, const CVector& normal,
               const CLumelGrid* pOwnGrid)
{
    if (!HasDirection(normal) || lumel.Light.Intensity == 0 || lumel.Area == 0.0f)
        return;
    CShotSource source;
    source.Lumel = lumel;
    source.Plane = CPlane(lumel.Position, normal);
    source.pOwnGrid = pOwnGrid;
    pSources->push_back(source);
}

// Runs the shots of one pass. Work is divided by receiving samples: a run of
// columns of a grid belongs to one thread, which applies to it every shot
// aimed at its leaf in the order of the single-threaded walk, so each sample
// sees the same sequence of additions whatever the thread count. A thread
// writes only the colours of its own samples; the tests read positions, the
// Intensity of the thread's own samples, the tree and the sources (copies
// made before the pass), none of which change during it.
void RunShots(const CBuildNode* pRoot, const std::vector<CShotSource>& sources,
              const std::vector<CShooter>& shooters, int32_t threads, int64_t* pShots)
{
    // For each receiving leaf, the shooters aimed at it in walk order, each
    // with how many times it appears in the shooter's visible list: a source
    // shoots into the leaf that many times before the next source shoots.
    std::unordered_map<const CBuildNode*, size_t> leafIndex;
    std::vector<const CBuildNode*> targets;
    std::vector<std::vector<std::pair<size_t, int32_t>>> aims;
    for (size_t k = 0; k < shooters.size(); ++k) {
        const CBuildNode* pLeaf = shooters[k].pLeaf;
        if (shooters[k].Count == 0)
            continue;
        for (int32_t i = 0; i < pLeaf->VisibleLeafCount; ++i) {
            const CBuildNode* pTarget = pLeaf->pVisibleLeaves[i];
            if (!pTarget || !pTarget->pGrids)
                continue;
            auto [it, bNew] = leafIndex.try_emplace(pTarget, targets.size());
            if (bNew) {
                targets.push_back(pTarget);
                aims.emplace_back();
            }
            auto& list = aims[it->second];
            if (!list.empty() && list.back().first == k)
                ++list.back().second;
            else
                list.push_back({k, 1});
        }
    }

    // A unit of work is a run of columns of one grid: a sample's shots all
    // stay in one unit, and small units let the threads end together.
    constexpr int32_t COLUMNS_PER_UNIT = 4;
    struct CWork {
        size_t Target;
        size_t Receiver;
        int32_t Column;
        int64_t Cost;
    };
    std::vector<CReceiver> receivers;
    std::vector<CWork> work;
    for (size_t t = 0; t < targets.size(); ++t) {
        int64_t cost = 0;
        for (const auto& [k, times] : aims[t])
            cost += static_cast<int64_t>(shooters[k].Count) * times;
        for (int32_t g = 0; g < targets[t]->FaceCount; ++g) {
            CReceiver receiver = MakeReceiver(&targets[t]->pGrids[g]);
            if (!receiver.bReceives)
                continue;
            receivers.push_back(receiver);
            for (int32_t x = 0; x < LUMEL_GRID_SIZE; x += COLUMNS_PER_UNIT)
                work.push_back({t, receivers.size() - 1, x, cost});
        }
    }
    // The dearest units first; the order of the units does not change any
    // result.
    std::stable_sort(work.begin(), work.end(),
                     [](const CWork& a, const CWork& b) { return a.Cost > b.Cost; });

    std::atomic<size_t> next{0};
    std::atomic<int64_t> totalShots{0};
    auto worker = [&]() {
        int64_t shots = 0;
        for (;;) {
            const size_t w = next.fetch_add(1, std::memory_order_relaxed);
            if (w >= work.size())
                break;
            const CReceiver& receiver = receivers[work[w].Receiver];
            const int32_t x0 = work[w].Column;
            const int32_t x1 = std::min(x0 + COLUMNS_PER_UNIT, LUMEL_GRID_SIZE);
            for (const auto& [k, times] : aims[work[w].Target]) {
                const CShooter& shooter = shooters[k];
                for (size_t s = shooter.First; s < shooter.First + shooter.Count; ++s) {
                    const CShotSource& source = sources[s];
                    if (source.pOwnGrid == receiver.pGrid)
                        continue;
                    for (int32_t n = 0; n < times; ++n)
                        shots += ShootIntoGrid(pRoot, source.Lumel, source.Plane, receiver, x0, x1);
                }
            }
        }
        totalShots.fetch_add(shots, std::memory_order_relaxed);
    };

    const size_t helpers =
        threads > 1 ? std::min(static_cast<size_t>(threads - 1), work.size()) : 0;
    std::vector<std::thread> pool;
    pool.reserve(helpers);
    for (size_t i = 0; i < helpers; ++i) {
        try {
            pool.emplace_back(worker);
        } catch (const std::system_error&) {
            break; // fewer threads: the ones there take the remaining grids
        }
    }
    worker();
    for (std::thread& thread : pool)
        thread.join();
    if (pShots)
        *pShots += totalShots.load();
}

void RunEmitterPass(CBuildNode* pRoot, CBuildNode* pNode, int32_t threads, int64_t* pShots)
{
    std::vector<CShotSource> sources;
    std::vector<CShooter> shooters;
    WalkFrontFirst(pNode, false, [&](CBuildNode* pLeaf) {
        if (!pLeaf->pFaces || !pLeaf->pVisibleLeaves || !pLeaf->bVisited || !pLeaf->pGrids)
            return;
        CShooter shooter{pLeaf, sources.size(), 0};
        for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
            CLumelGrid* pGrid = &pLeaf->pGrids[g];
            for (int32_t x = 0; x < LUMEL_GRID_SIZE; ++x) {
                bool bDone = false;
                for (int32_t y = 0; y < LUMEL_GRID_SIZE; ++y) {
                    const CLumel* pLumel = GetLumel(pGrid, x, y);
                    // A grid without samples shoots nothing; the first
                    // sample that does not emit ends the grid.
                    if (!pLumel || pLumel->Light.Intensity == 0) {
                        bDone = true;
                        break;
                    }
                    AddSource(&sources, *pLumel, pGrid->Normal, nullptr);
                }
                if (bDone)
                    break;
            }
        }
        shooter.Count = sources.size() - shooter.First;
        shooters.push_back(shooter);
    });
    RunShots(pRoot, sources, shooters, threads, pShots);
}

void RunBouncePass(CBuildNode* pRoot, CBuildNode* pNode, int32_t threads, int64_t* pShots)
{
    std::vector<CShotSource> sources;
    std::vector<CShooter> shooters;
    WalkFrontFirst(pNode, true, [&](CBuildNode* pLeaf) {
        if (!pLeaf->pGrids || !pLeaf->bVisited || !pLeaf->pVisibleLeaves)
            return;
        CShooter shooter{pLeaf, sources.size(), 0};
        for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
            CLumelGrid* pGrid = &pLeaf->pGrids[g];
            const CLumel* pFirst = GetLumel(pGrid, 0, 0);
            const CLumel* pCentre = GetLumel(pGrid, BOUNCE_LUMEL_X, BOUNCE_LUMEL_Y);
            // Emitting faces and grids without samples don't bounce.
            if (!pFirst || !pCentre || pFirst->Light.Intensity != 0)
                continue;
            CLumel lumel;
            lumel.Area = static_cast<float>(BOUNCE_POWER);
            lumel.Position = pCentre->Position;
            lumel.Light = pGrid->Mean;
            // Instead of marking the face's own samples for the time of its
            // shot, its receivers leave out this source.
            AddSource(&sources, lumel, pGrid->Normal, pGrid);
        }
        shooter.Count = sources.size() - shooter.First;
        shooters.push_back(shooter);
    });
    RunShots(pRoot, sources, shooters, threads, pShots);
}

} // namespace

CLightNode* ReadLightList(CTexNameNode* pNames, const char* pszPath)
{
    CTokenReader reader;
    if (!reader.Open(pszPath))
        return nullptr;
    while (!reader.IsEnd()) {
        CToken tokens[5];
        bool bComplete = true;
        for (CToken& token : tokens) {
            if (!reader.Next(token)) {
                bComplete = false;
                break;
            }
        }
        if (!bComplete)
            break;
        CTexNameNode* pName = FindName(pNames, tokens[0].GetString());
        if (!pName)
            continue;
        CLightRecord record;
        record.Red = tokens[1].ToInt();
        record.Green = tokens[2].ToInt();
        record.Blue = tokens[3].ToInt();
        record.Intensity = tokens[4].ToInt();
        record.Reserved = 0;
        pName->Light = record;
    }
    reader.Close();
    CLightNode* pRoot = nullptr;
    CollectLights(pNames, &pRoot);
    return pRoot;
}

void CollectLights(CTexNameNode* pNameNode, CLightNode** ppRoot)
{
    if (!ppRoot)
        return;
    // Node, lower subtree, higher subtree, on a stack of its own: a name tree
    // of sorted names is a chain.
    std::vector<CTexNameNode*> pending;
    if (pNameNode)
        pending.push_back(pNameNode);
    while (!pending.empty()) {
        CTexNameNode* pNode = pending.back();
        pending.pop_back();
        if (pNode->Light.Intensity != 0)
            InsertLight(ppRoot, pNode);
        if (pNode->pHigher)
            pending.push_back(pNode->pHigher);
        if (pNode->pLower)
            pending.push_back(pNode->pLower);
    }
}

CLightNode* InsertLight(CLightNode** ppRoot, const CTexNameNode* pNameNode)
{
    if (!ppRoot || !pNameNode)
        return nullptr;
    CLightNode* pNew = new (std::nothrow) CLightNode;
    if (!pNew)
        return nullptr;
    pNew->Key = pNameNode->Index;
    pNew->Record = pNameNode->Light;
    CLightNode** ppLink = ppRoot;
    while (*ppLink)
        ppLink = (*ppLink)->Key >= pNew->Key ? &(*ppLink)->pLeft : &(*ppLink)->pRight;
    *ppLink = pNew;
    return pNew;
}

CLightNode* FindLight(CLightNode* pRoot, int32_t key)
{
    while (pRoot && pRoot->Key != key)
        pRoot = pRoot->Key > key ? pRoot->pLeft : pRoot->pRight;
    return pRoot;
}

void FreeLights(CLightNode** ppRoot)
{
    if (!ppRoot)
        return;
    std::vector<CLightNode*> pending;
    if (*ppRoot)
        pending.push_back(*ppRoot);
    *ppRoot = nullptr;
    while (!pending.empty()) {
        CLightNode* pNode = pending.back();
        pending.pop_back();
        if (pNode->pLeft)
            pending.push_back(pNode->pLeft);
        if (pNode->pRight)
            pending.push_back(pNode->pRight);
        delete pNode;
    }
}

bool MakeGrids(CBuildNode* pNode, CLightNode* pLights)
{
    WalkFrontFirst(pNode, false, [&](CBuildNode* pLeaf) {
        if (!pLeaf->pFaces || !pLeaf->bVisited)
            return;
        if (pLeaf->pGrids) {
            for (int32_t i = 0; i < pLeaf->FaceCount; ++i)
                FreeGrid(&pLeaf->pGrids[i]);
            delete[] pLeaf->pGrids;
        }
        pLeaf->pGrids = new (std::nothrow) CLumelGrid[pLeaf->FaceCount > 0 ? pLeaf->FaceCount : 0];
        if (!pLeaf->pGrids)
            return;
        for (int32_t i = 0; i < pLeaf->FaceCount; ++i) {
            CLeafFace* pFace = &pLeaf->pFaces[i];
            const CLightNode* pLight = FindLight(pLights, pFace->TextureIndex);
            if (pLight)
                InitEmitterGrid(&pLeaf->pGrids[i], pFace, &pLight->Record);
            else
                InitGrid(&pLeaf->pGrids[i], pFace);
        }
    });
    return true;
}

bool InitGrid(CLumelGrid* pGrid, CLeafFace* pFace)
{
    if (!pGrid)
        return false;
    FreeGrid(pGrid);
    pGrid->Mean = CLightRecord();
    pGrid->pLumels = new (std::nothrow) CLumel[LUMEL_GRID_COUNT];
    if (!pGrid->pLumels)
        return false;
    pGrid->LumelCount = LUMEL_GRID_COUNT;

    CVector normal;
    CVector u;
    CVector v;
    CVector origin;
    MapFaceLightmap(pFace, &normal, &u, &v, &origin);
    const float area = static_cast<float>(u.Length() * v.Length());
    for (int32_t x = 0; x < LUMEL_GRID_SIZE; ++x) {
        for (int32_t y = 0; y < LUMEL_GRID_SIZE; ++y) {
            CLumel& lumel = pGrid->pLumels[y * LUMEL_GRID_SIZE + x];
            lumel.Area = area;
            // The texel's low corner; it may lie outside a face that does
            // not fill its rectangle.
            lumel.Position = origin + u * static_cast<float>(x) + v * static_cast<float>(y);
        }
    }
    pGrid->Normal = normal;
    return true;
}

bool InitEmitterGrid(CLumelGrid* pGrid, CLeafFace* pFace, const CLightRecord* pRecord)
{
    if (!InitGrid(pGrid, pFace))
        return false;
    for (int32_t i = 0; i < pGrid->LumelCount; ++i) {
        if (pRecord)
            pGrid->pLumels[i].Light = *pRecord;
        pGrid->pLumels[i].bEmitter = true;
    }
    return true;
}

void FreeGrid(CLumelGrid* pGrid)
{
    if (!pGrid)
        return;
    delete[] pGrid->pLumels;
    pGrid->pLumels = nullptr;
    pGrid->LumelCount = 0;
}

CLumel* GetLumel(CLumelGrid* pGrid, int32_t x, int32_t y)
{
    if (!pGrid || !pGrid->pLumels)
        return nullptr;
    const int64_t index = static_cast<int64_t>(y) * LUMEL_GRID_SIZE + x;
    if (index < 0 || index >= pGrid->LumelCount)
        return nullptr;
    return &pGrid->pLumels[index];
}

bool ShootEmitters(CBuildNode* pRoot, CBuildNode* pNode)
{
    if (!pNode)
        return false;
    RunEmitterPass(pRoot, pNode, 1, nullptr);
    return true;
}

bool AverageGrids(CBuildNode* pNode)
{
    if (!pNode)
        return false;
    WalkFrontFirst(pNode, false, [](CBuildNode* pLeaf) {
        if (!pLeaf->pFaces || !pLeaf->pVisibleLeaves || !pLeaf->bVisited || !pLeaf->pGrids)
            return;
        for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
            CLumelGrid& grid = pLeaf->pGrids[g];
            CLightRecord mean;
            for (int32_t i = 0; grid.pLumels && i < grid.LumelCount; ++i) {
                const CLightRecord& light = grid.pLumels[i].Light;
                if (light.Red >= 0 && light.Green >= 0 && light.Blue >= 0)
                    mean.Add(light);
            }
            // Divided by 256 whatever the number of samples added.
            mean.ScaleLight(MEAN_SCALE);
            const int64_t sum = static_cast<int64_t>(mean.Red) + mean.Green + mean.Blue;
            mean.Intensity = TruncToInt32(static_cast<double>(sum) * MEAN_INTENSITY_SCALE);
            mean.Reserved = 0;
            grid.Mean = mean;
        }
    });
    return true;
}

bool ShootBounce(CBuildNode* pRoot, CBuildNode* pNode)
{
    if (!pRoot || !pNode)
        return true;
    RunBouncePass(pRoot, pNode, 1, nullptr);
    return true;
}

void ShootLumel(CBuildNode* pRoot, const CVector* pNormal, const CLumel* pSource,
                CBuildNode* pLeaf)
{
    if (!pSource || !pLeaf || !pLeaf->pGrids || !pNormal || !HasDirection(*pNormal))
        return;
    const CPlane sourcePlane(pSource->Position, *pNormal);
    for (int32_t g = 0; g < pLeaf->FaceCount; ++g)
        ShootIntoGrid(pRoot, *pSource, sourcePlane, MakeReceiver(&pLeaf->pGrids[g]), 0,
                      LUMEL_GRID_SIZE);
}

bool LineOfSight(const CBuildNode* pNode, const CVector* pFrom, const CVector* pTo)
{
    if (!pFrom || !pTo)
        return false;
    CVector from = *pFrom;
    CVector to = *pTo;
    // Where only one child is followed the walk goes on in this loop; only
    // the back half of a split or of a segment on the plane recurses.
    for (;;) {
        if (!pNode)
            return false; // a missing child is solid
        if (pNode->pFaces)
            return pNode->bVisited;
        const float a = static_cast<float>(pNode->Plane.DistanceTo(from));
        const float b = static_cast<float>(pNode->Plane.DistanceTo(to));
        const bool bFromOn = a > -PLANE_EPSILON && a < PLANE_EPSILON;
        const bool bToOn = b > -PLANE_EPSILON && b < PLANE_EPSILON;
        if (bFromOn && bToOn) {
            if (LineOfSight(pNode->pBack, &from, &to))
                return true;
            pNode = pNode->pFront;
        } else if (bFromOn) {
            pNode = b <= -PLANE_EPSILON ? pNode->pBack : pNode->pFront;
        } else if (bToOn) {
            pNode = a <= -PLANE_EPSILON ? pNode->pBack : pNode->pFront;
        } else if (a <= -PLANE_EPSILON) {
            if (b >= PLANE_EPSILON) {
                CVector crossing;
                IntersectEdge(pNode->Plane, &from, &to, &crossing);
                if (!LineOfSight(pNode->pBack, &from, &crossing))
                    return false;
                from = crossing;
            }
            pNode = b >= PLANE_EPSILON ? pNode->pFront : pNode->pBack;
        } else {
            if (b <= -PLANE_EPSILON) {
                CVector crossing;
                IntersectEdge(pNode->Plane, &from, &to, &crossing);
                if (!LineOfSight(pNode->pBack, &to, &crossing))
                    return false;
                // The front half runs from the crossing back to the start.
                to = from;
                from = crossing;
                pNode = pNode->pFront;
            } else {
                pNode = pNode->pFront;
            }
        }
    }
}

void RunLightPasses(CBuildNode* pRoot, int32_t bounces, int32_t threads, CLightStats* pStats)
{
    if (!pRoot)
        return;
    int64_t shots = 0;
    RunEmitterPass(pRoot, pRoot, threads, &shots);
    for (int32_t i = 0; i < bounces; ++i) {
        AverageGrids(pRoot);
        RunBouncePass(pRoot, pRoot, threads, &shots);
    }
    if (pStats)
        pStats->Shots += shots;
}

void RunLightPasses(CBuildNode* pRoot, int32_t bounces, int32_t threads)
{
    RunLightPasses(pRoot, bounces, threads, nullptr);
}
