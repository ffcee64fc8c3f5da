#include "compiler/light_passes.h"

#include "compiler/light_shot.h"
#include "compiler/light_shot_block.h"
#include "compiler/light_sight.h"
#include "compiler/parallel_for.h"
#include "compiler/progress.h"
#include "compiler/stage_clock.h"
#include "compiler/tree_walk.h"
#include "compiler/visibility.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

// Sight blocks: a grid's samples in 4 by 4 blocks, and in quarters of 2 by 2
// blocks. A source face and a receiving face are first tested whole, then by
// quarters, then (for an emitting face) a block of its samples against a
// block of the receiver's, before single segments are walked. (Blocks
// against single samples settled more walks on the sample level, but their
// tests cost more than the walks they saved.)
constexpr int32_t BLOCK_SIDE = 4;
constexpr int32_t BLOCKS_PER_ROW = LUMEL_GRID_SIZE / BLOCK_SIDE;
constexpr int32_t BLOCK_COUNT = BLOCKS_PER_ROW * BLOCKS_PER_ROW;
constexpr int32_t QUARTER_COUNT = 4;
// The pair tests run before the exact ones: a margin keeps them from ever
// passing over a shot that the exact test takes.
constexpr double PAIR_CUTOFF = 0.99;
constexpr double SIDE_MARGIN = 1e-3;

int32_t BlockOf(int32_t index)
{
    const int32_t x = index % LUMEL_GRID_SIZE;
    const int32_t y = index / LUMEL_GRID_SIZE;
    return (y / BLOCK_SIDE) * BLOCKS_PER_ROW + x / BLOCK_SIDE;
}

int32_t QuarterOf(int32_t block)
{
    return (block / BLOCKS_PER_ROW / 2) * 2 + (block % BLOCKS_PER_ROW) / 2;
}

// The samples of a grid quarter by quarter, and within a quarter block by
// block, so that a source's shots can pass over the rest of a block or a
// quarter that its tests found out of sight. The order in which one source
// lights the samples of a face does not change any of them.
constexpr int32_t BLOCK_SAMPLES = BLOCK_SIDE * BLOCK_SIDE;
constexpr int32_t BLOCKS_PER_QUARTER = BLOCK_COUNT / QUARTER_COUNT;
static_assert(BLOCK_SAMPLES == SHOT_BLOCK_SIZE && BLOCK_COUNT == SHOT_GRID_BLOCKS);
struct CSampleOrder {
    int32_t Index[LUMEL_GRID_COUNT];
    CSampleOrder()
    {
        int32_t k = 0;
        for (int32_t quarter = 0; quarter < QUARTER_COUNT; ++quarter) {
            for (int32_t block = 0; block < BLOCK_COUNT; ++block) {
                if (QuarterOf(block) != quarter)
                    continue;
                for (int32_t i = 0; i < LUMEL_GRID_COUNT; ++i) {
                    if (BlockOf(i) == block)
                        Index[k++] = i;
                }
            }
        }
    }
};
const CSampleOrder SAMPLE_ORDER;

double DistanceToBox(const CSightBox& box, const double point[3])
{
    double sum = 0.0;
    for (int k = 0; k < 3; ++k) {
        const double below = box.Low[k] - point[k];
        const double above = point[k] - box.High[k];
        const double gap = std::max({below, above, 0.0});
        sum += gap * gap;
    }
    return std::sqrt(sum);
}

// The highest signed distance of a box's points from a plane.
double HighestDistance(const CPlane& plane, const CSightBox& box)
{
    const double normal[3] = {plane.Normal.x, plane.Normal.y, plane.Normal.z};
    double high = plane.Distance;
    for (int k = 0; k < 3; ++k)
        high += normal[k] * (normal[k] >= 0.0 ? box.High[k] : box.Low[k]);
    return high;
}

// A sphere round a box.
struct CSphere {
    double Centre[3] = {0, 0, 0};
    double Radius = 0;
};

CSphere SphereRound(const CSightBox& box)
{
    CSphere sphere;
    double sum = 0.0;
    for (int k = 0; k < 3; ++k) {
        sphere.Centre[k] = (box.Low[k] + box.High[k]) * 0.5;
        const double half = (box.High[k] - box.Low[k]) * 0.5;
        sum += half * half;
    }
    // Grown by a hair, so that rounding never puts a corner outside.
    sphere.Radius = std::sqrt(sum) * (1.0 + 1e-9) + 1e-6;
    return sphere;
}

// The number of the tree's plane that a grid's samples lie on. A face lies
// on a plane that bounds its leaf, so on the plane of one of the leaf's
// ancestors: the nearest one whose plane passes within GRID_PLANE_NEAR of the
// first sample. -1 when there is none (the list builder keeps no parents).
constexpr double GRID_PLANE_NEAR = 0.01;
int32_t GridPlaneOf(const CSightTree& sight, const CBuildNode* pLeaf, const CLumelGrid& grid)
{
    if (!grid.pLumels || grid.LumelCount <= 0)
        return -1;
    for (const CBuildNode* pNode = pLeaf->pParent; pNode; pNode = pNode->pParent) {
        const int32_t id = sight.PlaneNumber(pNode->Plane);
        if (id >= 0 && sight.DistanceFrom(id, grid.pLumels[0].Position) < GRID_PLANE_NEAR)
            return id;
    }
    return -1;
}

// Gives the box plane `id` with the largest distance of the points that the
// box was made round (each added with Widen) from it.
class CPlaneBand {
public:
    CPlaneBand(const CSightTree& sight, int32_t id) : Sight(sight), Id(id) {}
    void Widen(const CVector& point)
    {
        if (Id >= 0)
            Round = std::max(Round, Sight.DistanceFrom(Id, point));
    }
    void Give(CSightBox* pBox) const
    {
        if (Id >= 0 && std::isfinite(Round)) {
            pBox->PlaneId = Id;
            pBox->Round = Round;
        }
    }

private:
    const CSightTree& Sight;
    int32_t Id;
    double Round = 0.0;
};

struct CSource {
    CLumel Lumel;
    CPlane Plane; // through the source, with its face's normal
    double Power = 0;
    double Reach = 0;
    int32_t Block = 0;
};

// The sources of one face, or a single source.
struct CGroup {
    uint32_t First = 0;
    uint32_t Count = 0;
    const CLumelGrid* pOwnGrid = nullptr; // a bouncing face: gets nothing from itself
    bool bPlaneTest = true;               // false for a point light
    double Reach = 0;                     // the largest of its sources
    CSightBox Box;
    // Boxes of its sources by block and by quarter; without them (a single
    // source) Box stands for every block.
    int64_t FirstBlockBox = -1;
    // Its sources' planes share a normal: this one has the largest distance,
    // so that a point behind it lies behind every one of them.
    CPlane HighestPlane;
};

// A leaf that shoots, with its groups, into the leaves of its visible list.
struct CShooter {
    const CBuildNode* pLeaf = nullptr;
    uint32_t FirstGroup = 0;
    uint32_t GroupCount = 0;
};

struct CReceiver {
    CLumelGrid* pGrid = nullptr;
    CPlane FacePlane; // through sample (0, 0) with the grid's normal
    CSightBox Box;
    CSphere Sphere;
};

// A receiving leaf: its receivers, and a sphere round all their samples.
struct CTarget {
    uint32_t FirstReceiver = 0;
    uint32_t ReceiverCount = 0;
    CSphere Sphere;
};

// A group aimed at a receiver, as often as the receiver's leaf stands in
// the shooter's visible list.
struct CAim {
    uint32_t Group;
    int32_t Times;
};

struct CPass {
    const CBuildNode* pRoot = nullptr;
    // No shot of the pass takes light away: a sample then ends with the
    // same light whatever the order of its shots (the sum, held at 255).
    bool bOnlyAdds = false;
    const CSightTree* pSight = nullptr;
    std::vector<CSource> Sources;
    std::vector<CGroup> Groups;
    std::vector<CSightBox> BlockBoxes;
    std::vector<CShooter> Shooters;
    std::vector<CTarget> Targets;
    std::vector<CReceiver> Receivers;
    std::vector<std::vector<CAim>> Aims; // per receiver, in the order of the walk
};

void AddSource(CPass* pPass, const CLumel& lumel, const CVector& normal, int32_t block)
{
    CSource source;
    source.Lumel = lumel;
    source.Plane = CPlane(lumel.Position, normal);
    source.Power = ShotPower(lumel);
    source.Reach = ShotReach(lumel);
    source.Block = block;
    pPass->Sources.push_back(source);
}

// Makes a group of the sources added since `first`; a group without any is
// dropped.
// Sources on one face carry its plane (facePlane, -1 for none) in their
// boxes.
void CloseGroup(CPass* pPass, uint32_t first, const CLumelGrid* pOwnGrid, bool bPlaneTest,
                int32_t facePlane = -1)
{
    const uint32_t count = static_cast<uint32_t>(pPass->Sources.size()) - first;
    if (count == 0)
        return;
    CGroup group;
    group.First = first;
    group.Count = count;
    group.pOwnGrid = pOwnGrid;
    group.bPlaneTest = bPlaneTest;
    group.HighestPlane = pPass->Sources[first].Plane;
    CPlaneBand band(*pPass->pSight, facePlane);
    for (uint32_t i = first; i < first + count; ++i) {
        const CSource& source = pPass->Sources[i];
        group.Reach = std::max(group.Reach, source.Reach);
        if (!(source.Reach <= group.Reach))
            group.Reach = source.Reach; // a reach that is not a number stays so
        group.Box.Add(source.Lumel.Position);
        band.Widen(source.Lumel.Position);
        group.HighestPlane.Distance = std::max(group.HighestPlane.Distance, source.Plane.Distance);
    }
    band.Give(&group.Box);
    if (count > 1) {
        group.FirstBlockBox = static_cast<int64_t>(pPass->BlockBoxes.size());
        pPass->BlockBoxes.resize(pPass->BlockBoxes.size() + BLOCK_COUNT + QUARTER_COUNT);
        CSightBox* pBoxes = &pPass->BlockBoxes[static_cast<size_t>(group.FirstBlockBox)];
        for (uint32_t i = first; i < first + count; ++i) {
            const CSource& source = pPass->Sources[i];
            pBoxes[source.Block].Add(source.Lumel.Position);
            pBoxes[BLOCK_COUNT + QuarterOf(source.Block)].Add(source.Lumel.Position);
        }
        for (int32_t b = 0; b < BLOCK_COUNT + QUARTER_COUNT; ++b)
            band.Give(&pBoxes[b]);
    }
    pPass->Groups.push_back(group);
}

// A source whose shots add light or nothing: no channel and no intensity
// below 0 (its power counts twice, so the sign of its area does not matter).
bool OnlyAdds(const CSource& source)
{
    const CLightRecord& light = source.Lumel.Light;
    return light.Red >= 0 && light.Green >= 0 && light.Blue >= 0 && light.Intensity >= 0;
}

// A source that can light something: its face has a front, and it has a
// non-zero intensity and area.
bool CanShoot(const CLumel& lumel, const CVector& normal)
{
    return HasDirection(normal) && lumel.Light.Intensity != 0 && lumel.Area != 0.0f;
}

// Every sample of every emitting face of a reached leaf with a visible list,
// in the order of ShootEmitters: leaves front first, faces in order, columns
// and then rows, up to the first sample of a face that does not emit.
void CollectEmitters(CPass* pPass, CBuildNode* pNode)
{
    WalkFrontFirst(pNode, false, [&](CBuildNode* pLeaf) {
        if (!pLeaf->pFaces || !pLeaf->pVisibleLeaves || !pLeaf->bVisited || !pLeaf->pGrids)
            return;
        CShooter shooter{pLeaf, static_cast<uint32_t>(pPass->Groups.size()), 0};
        for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
            CLumelGrid* pGrid = &pLeaf->pGrids[g];
            const uint32_t first = static_cast<uint32_t>(pPass->Sources.size());
            bool bDone = false;
            for (int32_t x = 0; x < LUMEL_GRID_SIZE && !bDone; ++x) {
                for (int32_t y = 0; y < LUMEL_GRID_SIZE; ++y) {
                    const CLumel* pLumel = GetLumel(pGrid, x, y);
                    if (!pLumel || pLumel->Light.Intensity == 0) {
                        bDone = true;
                        break;
                    }
                    if (CanShoot(*pLumel, pGrid->Normal))
                        AddSource(pPass, *pLumel, pGrid->Normal, BlockOf(y * LUMEL_GRID_SIZE + x));
                }
            }
            CloseGroup(pPass, first, nullptr, true, GridPlaneOf(*pPass->pSight, pLeaf, *pGrid));
        }
        shooter.GroupCount = static_cast<uint32_t>(pPass->Groups.size()) - shooter.FirstGroup;
        pPass->Shooters.push_back(shooter);
    });
}

// Each point light shoots from the leaf that holds it, after the faces.
void CollectPoints(CPass* pPass, const std::vector<CPointLight>& points)
{
    for (const CPointLight& point : points) {
        CVector position = point.Position;
        const CBuildNode* pLeaf = FindLeaf(const_cast<CBuildNode*>(pPass->pRoot), &position);
        if (!pLeaf || !pLeaf->pFaces || !pLeaf->bVisited || !pLeaf->pVisibleLeaves)
            continue; // outside the world: it lights nothing
        CLumel lumel;
        lumel.Area = point.Area;
        lumel.Position = point.Position;
        lumel.Light = point.Light;
        CShooter shooter{pLeaf, static_cast<uint32_t>(pPass->Groups.size()), 0};
        const uint32_t first = static_cast<uint32_t>(pPass->Sources.size());
        // The source plane is not used; any direction does for its record.
        if (lumel.Light.Intensity != 0 && lumel.Area != 0.0f)
            AddSource(pPass, lumel, CVector(0.0f, 1.0f, 0.0f), 0);
        CloseGroup(pPass, first, nullptr, false);
        shooter.GroupCount = static_cast<uint32_t>(pPass->Groups.size()) - shooter.FirstGroup;
        pPass->Shooters.push_back(shooter);
    }
}

// One source per non-emitting face: its Mean from sample (7, 7) with power
// BOUNCE_POWER, in the order of ShootBounce.
void CollectBouncers(CPass* pPass, CBuildNode* pNode)
{
    WalkFrontFirst(pNode, true, [&](CBuildNode* pLeaf) {
        if (!pLeaf->pGrids || !pLeaf->bVisited || !pLeaf->pVisibleLeaves)
            return;
        CShooter shooter{pLeaf, static_cast<uint32_t>(pPass->Groups.size()), 0};
        for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
            CLumelGrid* pGrid = &pLeaf->pGrids[g];
            const CLumel* pFirst = GetLumel(pGrid, 0, 0);
            const CLumel* pCentre = GetLumel(pGrid, BOUNCE_LUMEL_X, BOUNCE_LUMEL_Y);
            if (!pFirst || !pCentre || pFirst->Light.Intensity != 0)
                continue; // an emitting face, or one without samples
            CLumel lumel;
            lumel.Area = static_cast<float>(BOUNCE_POWER);
            lumel.Position = pCentre->Position;
            lumel.Light = pGrid->Mean;
            const uint32_t first = static_cast<uint32_t>(pPass->Sources.size());
            if (CanShoot(lumel, pGrid->Normal))
                AddSource(pPass, lumel, pGrid->Normal, 0);
            // Instead of marking the face's own samples for the time of its
            // shot, it is left out of its own receivers.
            CloseGroup(pPass, first, pGrid, true);
        }
        shooter.GroupCount = static_cast<uint32_t>(pPass->Groups.size()) - shooter.FirstGroup;
        pPass->Shooters.push_back(shooter);
    });
}

// The receivers of a leaf: its grids that have samples and a normal.
CTarget MakeTarget(CPass* pPass, const CBuildNode* pLeaf)
{
    CTarget target;
    target.FirstReceiver = static_cast<uint32_t>(pPass->Receivers.size());
    CSightBox all;
    for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
        CLumelGrid* pGrid = &pLeaf->pGrids[g];
        if (!pGrid->pLumels || pGrid->LumelCount <= 0 || !HasDirection(pGrid->Normal))
            continue;
        CReceiver receiver;
        receiver.pGrid = pGrid;
        receiver.FacePlane = CPlane(pGrid->pLumels[0].Position, pGrid->Normal);
        CPlaneBand band(*pPass->pSight, GridPlaneOf(*pPass->pSight, pLeaf, *pGrid));
        for (int32_t i = 0; i < pGrid->LumelCount; ++i) {
            receiver.Box.Add(pGrid->pLumels[i].Position);
            band.Widen(pGrid->pLumels[i].Position);
        }
        band.Give(&receiver.Box);
        receiver.Sphere = SphereRound(receiver.Box);
        all.Add(receiver.Box);
        pPass->Receivers.push_back(receiver);
    }
    target.ReceiverCount = static_cast<uint32_t>(pPass->Receivers.size()) - target.FirstReceiver;
    if (target.ReceiverCount > 0)
        target.Sphere = SphereRound(all);
    return target;
}

bool GroupReaches(const CGroup& group, const CSphere& sphere)
{
    return !BeyondReach(group.Reach, DistanceToBox(group.Box, sphere.Centre) - sphere.Radius,
                        PAIR_CUTOFF);
}

// Whether any source of the group may light any sample of the receiver:
// the tests of a shot, taken for the whole group and face at once.
bool MayLight(const CGroup& group, const CReceiver& receiver)
{
    if (group.pOwnGrid == receiver.pGrid || !GroupReaches(group, receiver.Sphere))
        return false;
    // The face turns its back to every source.
    if (HighestDistance(receiver.FacePlane, group.Box) < -SIDE_MARGIN)
        return false;
    // Every sample lies behind every source's plane.
    return !group.bPlaneTest || !(HighestDistance(group.HighestPlane, receiver.Box) < -SIDE_MARGIN);
}

// Whether a leaf's visible list is the given one, or equal to it.
bool SameList(const CBuildNode* pLeaf, const CBuildNode* const* pList, int32_t size)
{
    return pLeaf->VisibleLeafCount == size &&
           (pLeaf->pVisibleLeaves == pList ||
            std::equal(pList, pList + size, pLeaf->pVisibleLeaves));
}

// The targets of every shooter's visible list, numbered in the order in
// which the lists name them.
void MakeTargets(CPass* pPass, std::unordered_map<const CBuildNode*, int32_t>* pIndex)
{
    const CBuildNode* const* pLast = nullptr;
    int32_t lastSize = -1;
    for (const CShooter& shooter : pPass->Shooters) {
        const CBuildNode* pLeaf = shooter.pLeaf;
        if (shooter.GroupCount == 0 || SameList(pLeaf, pLast, lastSize))
            continue; // leaves often have one list, or equal ones
        pLast = pLeaf->pVisibleLeaves;
        lastSize = pLeaf->VisibleLeafCount;
        for (int32_t i = 0; i < pLeaf->VisibleLeafCount; ++i) {
            const CBuildNode* pTarget = pLeaf->pVisibleLeaves[i];
            if (pTarget && pTarget->pGrids &&
                pIndex->try_emplace(pTarget, static_cast<int32_t>(pPass->Targets.size())).second)
                pPass->Targets.push_back(MakeTarget(pPass, pTarget));
        }
    }
}

// The aims at the targets t with t % shares == share.
void AimShare(CPass* pPass, const std::unordered_map<const CBuildNode*, int32_t>& targetIndex,
              int64_t share, int32_t shares)
{
    std::vector<int32_t> times(pPass->Targets.size(), 0);
    std::vector<int32_t> distinct; // the share's targets in the list, each once
    const CBuildNode* const* pCounted = nullptr;
    int32_t countedSize = -1;
    for (const CShooter& shooter : pPass->Shooters) {
        const CBuildNode* pLeaf = shooter.pLeaf;
        if (shooter.GroupCount == 0)
            continue;
        if (!SameList(pLeaf, pCounted, countedSize)) {
            pCounted = pLeaf->pVisibleLeaves;
            countedSize = pLeaf->VisibleLeafCount;
            for (const int32_t t : distinct)
                times[static_cast<size_t>(t)] = 0;
            distinct.clear();
            for (int32_t i = 0; i < pLeaf->VisibleLeafCount; ++i) {
                const auto it = targetIndex.find(pLeaf->pVisibleLeaves[i]);
                if (it == targetIndex.end() || it->second % shares != share)
                    continue;
                const size_t t = static_cast<size_t>(it->second);
                if (times[t] == 0)
                    distinct.push_back(it->second);
                ++times[t];
            }
        }
        for (const int32_t t : distinct) {
            const CTarget& target = pPass->Targets[static_cast<size_t>(t)];
            for (uint32_t g = shooter.FirstGroup; g < shooter.FirstGroup + shooter.GroupCount; ++g) {
                const CGroup& group = pPass->Groups[g];
                if (target.ReceiverCount == 0 || !GroupReaches(group, target.Sphere))
                    continue;
                for (uint32_t r = target.FirstReceiver;
                     r < target.FirstReceiver + target.ReceiverCount; ++r) {
                    if (MayLight(group, pPass->Receivers[r]))
                        pPass->Aims[r].push_back({g, times[static_cast<size_t>(t)]});
                }
            }
        }
    }
}

// Aims each group at the receivers it may light, shooter by shooter in walk
// order, so that every receiver's list is in the order of the walk. A leaf
// that stands twice in a visible list gets each shot twice in a row. The
// targets are shared out among the threads, each aiming at its own.
void AimGroups(CPass* pPass, int32_t threads)
{
    std::unordered_map<const CBuildNode*, int32_t> targetIndex;
    MakeTargets(pPass, &targetIndex);
    pPass->Aims.resize(pPass->Receivers.size());
    const int32_t shares = std::max(threads, 1);
    ParallelFor(
        shares, shares, [] { return 0; },
        [&](int, int64_t share) { AimShare(pPass, targetIndex, share, shares); });
}

// What the tests of blocks settled for a pair of blocks: every segment sees,
// none sees, or each must be walked from the entry node.
enum class EBlockSight : uint8_t { Sees, Blocked, Walk };

// A pair's answer holds for the aim whose number it carries; the thread
// numbers its aims, so that it need not clear the answers between them.
struct CBlockState {
    uint32_t Aim;
    EBlockSight Sight;
    int32_t Entry;
};

// The shots into one receiver at a time; a thread owns one of these.
class CShooterThread {
public:
    explicit CShooterThread(const CPass& pass)
        : Pass(pass), Stack(static_cast<size_t>(pass.pSight->StackSize())),
          FanSteps(static_cast<size_t>(pass.pSight->FanStackSize()))
    {
    }

    void Shoot(uint32_t r)
    {
        const CReceiver& receiver = Pass.Receivers[r];
        MeasureBlocks(receiver);
        const std::vector<CAim>& aims = Pass.Aims[r];
        OrderAims(receiver, aims);
        for (const uint32_t a : Order) {
            if (Pass.bOnlyAdds && DropFull())
                break; // every sample is full
            const CAim& aim = aims[a];
            const CGroup& group = Pass.Groups[aim.Group];
            ++nAim;
            Pass.pSight->SetSkips(&Skips, group.Box, receiver.Box);
            for (uint32_t s = group.First; s < group.First + group.Count; ++s) {
                if (!ShootSource(group, Pass.Sources[s], receiver, aim.Times))
                    break; // the whole group is out of sight
            }
        }
        StoreLights(receiver.pGrid);
    }

    int64_t Shots = 0;
    int64_t LineTests = 0;

private:
    // The order of the aims at a receiver: the order of the walk, or, when
    // the pass only adds light, the brightest first, so that samples fill up
    // early and the shots after that pass them over without their walks.
    // An aim's brightness is a bound on what its group may give the nearest
    // point of the receiver: a source's reach over the squared distance, times
    // the sources.
    void OrderAims(const CReceiver& receiver, const std::vector<CAim>& aims)
    {
        Order.resize(aims.size());
        for (uint32_t a = 0; a < aims.size(); ++a)
            Order[a] = a;
        if (!Pass.bOnlyAdds)
            return;
        Brightness.resize(aims.size());
        for (uint32_t a = 0; a < aims.size(); ++a) {
            const CGroup& group = Pass.Groups[aims[a].Group];
            const double gap = std::max(
                DistanceToBox(group.Box, receiver.Sphere.Centre) - receiver.Sphere.Radius, 1.0);
            const double bright = static_cast<double>(group.Count) * group.Reach / (gap * gap);
            Brightness[a] = bright == bright ? bright : HUGE_VAL;
        }
        std::stable_sort(Order.begin(), Order.end(),
                         [&](uint32_t a, uint32_t b) { return Brightness[a] > Brightness[b]; });
    }

    // Takes the samples that are full in every channel out of the targets;
    // true when none is left. Only for a pass that only adds light, where a
    // full sample stays full.
    bool DropFull()
    {
        TargetBlocks = 0;
        for (int32_t b = 0; b < BLOCK_COUNT; ++b) {
            const int32_t (&channels)[3][BLOCK_SAMPLES] = Lights[b].Channels;
            uint32_t full = 0;
            for (int32_t j = 0; j < BLOCK_SAMPLES; ++j) {
                const bool bFull =
                    channels[0][j] == 255 && channels[1][j] == 255 && channels[2][j] == 255;
                full |= static_cast<uint32_t>(bFull) << j;
            }
            Targets[b] &= ~full;
            TargetBlocks |= (Targets[b] != 0 ? 1u : 0u) << b;
        }
        return TargetBlocks == 0;
    }

    // Boxes round the receiver's samples by block, by quarter and whole.
    void MeasureBlocks(const CReceiver& receiver)
    {
        for (CSightBox& box : Blocks)
            box = CSightBox();
        const CLumelGrid* pGrid = receiver.pGrid;
        for (int32_t i = 0; i < pGrid->LumelCount && i < LUMEL_GRID_COUNT; ++i) {
            const int32_t block = BlockOf(i);
            Blocks[block].Add(pGrid->pLumels[i].Position);
            Blocks[BLOCK_COUNT + QuarterOf(block)].Add(pGrid->pLumels[i].Position);
        }
        // The blocks lie as close to the face's plane as the whole grid.
        for (CSightBox& box : Blocks) {
            box.PlaneId = receiver.Box.PlaneId;
            box.Round = receiver.Box.Round;
        }
        Blocks[BLOCK_COUNT + QUARTER_COUNT] = receiver.Box;
        // The samples in the order of the shots, as columns by block, and
        // the ones that take light: present, and not emitting.
        for (int32_t k = 0; k < LUMEL_GRID_COUNT; ++k) {
            const int32_t i = SAMPLE_ORDER.Index[k];
            const bool bPresent = i < pGrid->LumelCount;
            const CVector p = bPresent ? pGrid->pLumels[i].Position : CVector();
            CShotPoints& points = Points[k / BLOCK_SAMPLES];
            uint32_t& targets = Targets[k / BLOCK_SAMPLES];
            const int32_t j = k % BLOCK_SAMPLES;
            points.X[j] = p.x;
            points.Y[j] = p.y;
            points.Z[j] = p.z;
            const CLightRecord light = bPresent ? pGrid->pLumels[i].Light : CLightRecord();
            int32_t (&channels)[3][BLOCK_SAMPLES] = Lights[k / BLOCK_SAMPLES].Channels;
            channels[0][j] = light.Red;
            channels[1][j] = light.Green;
            channels[2][j] = light.Blue;
            if (j == 0)
                targets = 0;
            if (bPresent && pGrid->pLumels[i].Light.Intensity == 0)
                targets |= 1u << j;
        }
        // The blocks' boxes in the order of the shots, and the blocks with
        // a sample that takes light.
        TargetBlocks = 0;
        for (int32_t b = 0; b < BLOCK_COUNT; ++b) {
            const CSightBox& box = Blocks[BlockOf(SAMPLE_ORDER.Index[b * BLOCK_SAMPLES])];
            for (int32_t k = 0; k < 3; ++k) {
                BlockBoxes.Low[k][b] = box.Low[k];
                BlockBoxes.High[k][b] = box.High[k];
            }
            TargetBlocks |= (Targets[b] != 0 ? 1u : 0u) << b;
        }
    }

    // Which answer settled a line of sight.
    enum class ESettled : uint8_t { Whole, Quarter, Block, Walked };

    // The receiver's light back in its samples.
    void StoreLights(CLumelGrid* pGrid) const
    {
        for (int32_t k = 0; k < LUMEL_GRID_COUNT; ++k) {
            const int32_t i = SAMPLE_ORDER.Index[k];
            if (i >= pGrid->LumelCount)
                continue;
            const int32_t (&channels)[3][BLOCK_SAMPLES] = Lights[k / BLOCK_SAMPLES].Channels;
            const int32_t j = k % BLOCK_SAMPLES;
            CLightRecord& light = pGrid->pLumels[i].Light;
            light.Red = channels[0][j];
            light.Green = channels[1][j];
            light.Blue = channels[2][j];
        }
    }

    // The shots of one source into the receiver; false when the tests of
    // blocks found the whole group that it belongs to out of sight.
    bool ShootSource(const CGroup& group, const CSource& source, const CReceiver& receiver,
                     int32_t times)
    {
        const CLumel& lumel = source.Lumel;
        // The face turns its back to the source.
        if (receiver.FacePlane.DistanceTo(lumel.Position) < 0.0)
            return true;
        if (BeyondReach(source.Reach, GapTo(lumel.Position, receiver.Sphere)))
            return true;
        if (group.bPlaneTest && HighestDistance(source.Plane, receiver.Box) < -SIDE_MARGIN)
            return true; // the whole face lies behind the source
        CLumelGrid* pGrid = receiver.pGrid;
        pFanGrid = pGrid;
        nFanTimes = times;
        const CShotSource shooter(lumel, source.Plane, source.Power, source.Reach,
                                  group.bPlaneTest);
        // Blocks out of the source's reach, or wholly behind its plane, get
        // nothing from it.
        uint32_t blocks = BlocksInReach(shooter, BlockBoxes, SIDE_MARGIN) & TargetBlocks;
        while (blocks != 0) {
            const int32_t b = std::countr_zero(blocks);
            blocks &= blocks - 1u;
            CShotBlock shots;
            MakeShotBlock(shooter, Points[b], &shots);
            const ESettled skip = ShootBlock(group, source, b, shots, times);
            if (skip == ESettled::Whole) {
                // What a test of blocks found out of sight is passed over.
                Flush();
                return false;
            }
            if (skip == ESettled::Quarter)
                blocks &= ~((2u << (b | (BLOCKS_PER_QUARTER - 1))) - 1u);
        }
        Flush();
        return true;
    }

    // The shots of a source into block b (in the order of the shots). When
    // the tests of blocks find a shot out of sight, the rest of its block
    // and of what they found it in is passed over: returns Block, Quarter or
    // Whole for that, else Walked. Once a shot's answer comes from the tests
    // of blocks rather than from its own walk, the rest of the block gets
    // the same answer: the block's tests are settled for the aim.
    ESettled ShootBlock(const CGroup& group, const CSource& source, int32_t b,
                        const CShotBlock& shots, int32_t times)
    {
        const uint32_t lit = shots.Lit & Targets[b];
        // Light added to a full channel changes nothing.
        const uint32_t changed = lit & ChangedBy(shots, Lights[b]);
        const bool bSettled = Whole[0].Aim == nAim;
        if (bSettled && Whole[0].Sight == EBlockSight::Sees)
            return LightAll(shots, lit, changed, b, times);
        if (bSettled && Whole[0].Sight == EBlockSight::Walk && group.FirstBlockBox < 0)
            return DeferAll(source, shots, lit, changed, b, Whole[0].Entry);
        for (uint32_t left = lit; left != 0; left &= left - 1u) {
            const int32_t j = std::countr_zero(left);
            if (((changed >> j) & 1u) == 0) {
                ++Shots;
                continue;
            }
            ESettled settled = ESettled::Walked;
            int32_t entry = 0;
            const int32_t k = b * BLOCK_SAMPLES + j; // in the order of the shots
            const int32_t i = SAMPLE_ORDER.Index[k];
            const EBlockSight sight =
                InSight(group, source, i, pFanGrid->pLumels[i].Position, &settled, &entry);
            const uint32_t here = lit & ~((1u << j) - 1u); // this shot and the rest
            if (sight == EBlockSight::Walk)
                return DeferAll(source, shots, here, changed, b, entry);
            if (sight == EBlockSight::Sees && settled != ESettled::Walked)
                return LightAll(shots, here, changed, b, times);
            ++Shots;
            if (sight == EBlockSight::Sees)
                Light(k, ShotOf(source, shots, j), times);
            else if (settled != ESettled::Walked)
                return settled;
        }
        return ESettled::Walked;
    }

    // The shots of the samples in `lit` that change them (`changed`), all in
    // sight.
    ESettled LightAll(const CShotBlock& shots, uint32_t lit, uint32_t changed, int32_t b,
                      int32_t times)
    {
        Shots += std::popcount(lit);
        AddShots(shots, lit & changed, times, &Lights[b]);
        return ESettled::Walked;
    }

    // The same, all to be walked from the node `entry`.
    ESettled DeferAll(const CSource& source, const CShotBlock& shots, uint32_t lit,
                      uint32_t changed, int32_t b, int32_t entry)
    {
        Shots += std::popcount(lit);
        for (uint32_t left = lit & changed; left != 0; left &= left - 1u) {
            const int32_t j = std::countr_zero(left);
            Defer(source.Lumel.Position, entry, b * BLOCK_SAMPLES + j, ShotOf(source, shots, j));
        }
        return ESettled::Walked;
    }

    static CLightRecord ShotOf(const CSource& source, const CShotBlock& shots, int32_t j)
    {
        CLightRecord shot = source.Lumel.Light;
        shot.Red = shots.Channels[0][j];
        shot.Green = shots.Channels[1][j];
        shot.Blue = shots.Channels[2][j];
        return shot;
    }

    // Sample k (in the order of the shots) takes the shot `times` times.
    void Light(int32_t k, const CLightRecord& shot, int32_t times)
    {
        int32_t (&channels)[3][BLOCK_SAMPLES] = Lights[k / BLOCK_SAMPLES].Channels;
        const int32_t j = k % BLOCK_SAMPLES;
        for (int32_t n = 0; n < times; ++n) {
            channels[0][j] = CLightRecord::SaturateChannel(channels[0][j], shot.Red);
            channels[1][j] = CLightRecord::SaturateChannel(channels[1][j], shot.Green);
            channels[2][j] = CLightRecord::SaturateChannel(channels[2][j], shot.Blue);
        }
    }

    // A shot whose segment must be walked waits in the fan of its source and
    // entry node. The fan is walked when it is full, when a shot from
    // another entry comes (the next block's, from an emitting face), and at
    // the end of the source. A source gives each sample one shot at most, so
    // the order in which they land does not matter.
    void Defer(const CVector& from, int32_t entry, int32_t k, const CLightRecord& shot)
    {
        if (nFan > 0 && (nFanEntry != entry || nFan == CSightTree::FAN_SIZE))
            Flush();
        nFanEntry = entry;
        FanFrom = from;
        // The sample's position as the block's columns hold it, widened.
        const CShotPoints& points = Points[k / BLOCK_SAMPLES];
        const int32_t j = k % BLOCK_SAMPLES;
        FanEnds[nFan] = CVector(static_cast<float>(points.X[j]), static_cast<float>(points.Y[j]),
                                static_cast<float>(points.Z[j]));
        FanShots[nFan] = {k, shot};
        ++nFan;
    }

    void Flush()
    {
        if (nFan == 0)
            return;
        LineTests += nFan;
        const uint32_t sees = Pass.pSight->SeesFan(nFanEntry, FanFrom, FanEnds, nFan,
                                                   FanSteps.data(), Stack.data(), &Skips);
        for (int32_t k = 0; k < nFan; ++k) {
            if (sees & (1u << k))
                Light(FanShots[k].Sample, FanShots[k].Shot, nFanTimes);
        }
        nFan = 0;
    }

    // How far a point stands outside a sphere.
    static double GapTo(const CVector& p, const CSphere& sphere)
    {
        const double dx = static_cast<double>(p.x) - sphere.Centre[0];
        const double dy = static_cast<double>(p.y) - sphere.Centre[1];
        const double dz = static_cast<double>(p.z) - sphere.Centre[2];
        return std::sqrt(dx * dx + dy * dy + dz * dz) - sphere.Radius;
    }

    // Line of sight from a source to sample i of the receiver: settled for
    // whole blocks of both when the tests of blocks can: the whole pair of
    // faces first; then, from an emitting face, quarters of both and its
    // block of 4 by 4 samples to the sample's block. Else Walk: its segment
    // is to be walked from *pEntry, the deepest node that the blocks share
    // (unless a test of blocks walked it already as a witness). From a single
    // source, a quarter's test costs more than the fans of walks it saves.
    EBlockSight InSight(const CGroup& group, const CSource& source, int32_t i, const CVector& at,
                        ESettled* pSettled, int32_t* pEntry)
    {
        CWitness witness{source.Lumel.Position, at, 0, -1, {}};
        const EBlockSight whole = Settle(&Whole[0], &witness, group.Box,
                                         Blocks[BLOCK_COUNT + QUARTER_COUNT], group.Count == 1);
        *pSettled = ESettled::Whole;
        if (whole != EBlockSight::Walk)
            return whole;
        if (group.FirstBlockBox >= 0) {
            const CSightBox* pSourceBoxes =
                &Pass.BlockBoxes[static_cast<size_t>(group.FirstBlockBox)];
            const int32_t block = BlockOf(i);
            const int32_t sourceQuarter = QuarterOf(source.Block);
            const int32_t quarter = QuarterOf(block);
            const EBlockSight part =
                Settle(&Quarters[sourceQuarter][quarter], &witness,
                       pSourceBoxes[BLOCK_COUNT + sourceQuarter], Blocks[BLOCK_COUNT + quarter]);
            *pSettled = ESettled::Quarter;
            if (part != EBlockSight::Walk)
                return part;
            const EBlockSight blocks = Settle(&BlockPairs[source.Block][block], &witness,
                                              pSourceBoxes[source.Block], Blocks[block]);
            *pSettled = ESettled::Block;
            if (blocks != EBlockSight::Walk)
                return blocks;
        }
        *pSettled = ESettled::Walked;
        if (witness.Sees >= 0) // walked as a witness already
            return witness.Sees == 1 ? EBlockSight::Sees : EBlockSight::Blocked;
        *pEntry = witness.Entry;
        return EBlockSight::Walk;
    }

    // The segment being asked about, walked at most once: its answer also
    // tells which test of blocks may settle a pair of blocks that hold it.
    struct CWitness {
        CVector From;
        CVector To;
        int32_t Entry = 0;  // the deepest node known that it enters whole
        int8_t Sees = -1;   // unknown until walked
        CSightTree::CBlocker Blocker; // where its walk first met solid
    };

    bool Walk(CWitness* pWitness)
    {
        if (pWitness->Sees < 0) {
            ++LineTests;
            pWitness->Sees = Pass.pSight->Sees(pWitness->Entry, pWitness->From, pWitness->To,
                                               Stack.data(), &pWitness->Blocker)
                                 ? 1
                                 : 0;
        }
        return pWitness->Sees == 1;
    }

    // The sight of a pair of blocks, worked out on first use in an aim. Every
    // segment between the blocks sees, or none does, only when the witness
    // (one of them) does or does not: the other test can't succeed and is
    // not made.
    // With bPoint, box a is the single point that every segment starts from:
    // a solid place that the witness met may then stop them all.
    EBlockSight Settle(CBlockState* pState, CWitness* pWitness, const CSightBox& a,
                       const CSightBox& b, bool bPoint = false)
    {
        if (pState->Aim != nAim) {
            pState->Aim = nAim;
            const CSightTree& sight = *Pass.pSight;
            pState->Entry = sight.Entry(a, b, &Skips);
            if (pState->Entry == CSightTree::OPEN) {
                pState->Sight = EBlockSight::Sees;
            } else if (pState->Entry == CSightTree::SOLID) {
                pState->Sight = EBlockSight::Blocked;
            } else {
                if (pWitness->Sees < 0)
                    pWitness->Entry = pState->Entry;
                const bool bSees = Walk(pWitness);
                if (bSees ? sight.BoxesSee(pState->Entry, a, b, &Skips)
                          : (bPoint && sight.Shadows(pWitness->Blocker, pWitness->From, b)) ||
                                sight.BoxesBlocked(pState->Entry, a, b, &Skips))
                    pState->Sight = bSees ? EBlockSight::Sees : EBlockSight::Blocked;
                else
                    pState->Sight = EBlockSight::Walk;
            }
        }
        if (pWitness->Sees < 0)
            pWitness->Entry = pState->Entry;
        return pState->Sight;
    }

    const CPass& Pass;
    std::vector<uint32_t> Order;    // of the aims at the receiver
    std::vector<double> Brightness; // by aim
    std::vector<CSightTree::CStep> Stack;
    // By block, then by quarter, then the whole receiver.
    CSightBox Blocks[BLOCK_COUNT + QUARTER_COUNT + 1];
    // The receiver's samples in the order of the shots, a block at a time,
    // and by block the bits of those that take light.
    CShotPoints Points[BLOCK_COUNT];
    uint32_t Targets[BLOCK_COUNT] = {};
    CBlockBoxes BlockBoxes = {};
    uint32_t TargetBlocks = 0; // bit b: Targets[b] is not 0
    // The samples' light while the receiver takes its shots, a block at a
    // time in the order of the shots; back in the samples when it is done.
    CBlockLight Lights[BLOCK_COUNT];
    uint32_t nAim = 0;
    // The whole receiver, quarters of both faces, and blocks of both when
    // the source is an emitting face.
    CBlockState Whole[1] = {};
    CBlockState Quarters[QUARTER_COUNT][QUARTER_COUNT] = {};
    CBlockState BlockPairs[BLOCK_COUNT][BLOCK_COUNT] = {};
    // The fan of shots waiting for their walks, and where they land.
    struct CFanShot {
        int32_t Sample; // in the order of the shots
        CLightRecord Shot;
    };
    std::vector<CSightTree::CFanStep> FanSteps;
    CSightTree::CSkips Skips; // what the fans of an aim pass over
    CVector FanFrom;
    CVector FanEnds[CSightTree::FAN_SIZE];
    CFanShot FanShots[CSightTree::FAN_SIZE];
    int32_t nFan = 0;
    int32_t nFanEntry = 0;
    CLumelGrid* pFanGrid = nullptr;
    int32_t nFanTimes = 0;
};

// Runs the shots of a pass: receivers, dearest first, go to the threads one
// at a time; each takes every shot aimed at it, in the order of OrderAims.
void Shoot(CPass* pPass, const CLightRun& run, const char* pszStage)
{
    pPass->bOnlyAdds = std::all_of(pPass->Sources.begin(), pPass->Sources.end(), OnlyAdds);
    AimGroups(pPass, run.Threads);
    std::vector<uint32_t> order;
    std::vector<int64_t> cost(pPass->Receivers.size(), 0);
    int64_t pairs = 0;
    for (uint32_t r = 0; r < pPass->Receivers.size(); ++r) {
        for (const CAim& aim : pPass->Aims[r])
            cost[r] += pPass->Groups[aim.Group].Count;
        pairs += static_cast<int64_t>(pPass->Aims[r].size());
        if (!pPass->Aims[r].empty())
            order.push_back(r);
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return cost[a] > cost[b]; });

    CProgress progress(run.pProgress, pszStage, "faces", static_cast<int64_t>(order.size()));
    std::atomic<size_t> next{0};
    std::atomic<int64_t> shots{0};
    std::atomic<int64_t> lineTests{0};
    auto work = [&]() {
        CShooterThread thread(*pPass);
        for (size_t i = next.fetch_add(1); i < order.size(); i = next.fetch_add(1)) {
            thread.Shoot(order[i]);
            progress.Step();
        }
        shots += thread.Shots;
        lineTests += thread.LineTests;
    };
    const int32_t threads = std::max(run.Threads, 1);
    std::vector<std::thread> pool;
    for (int32_t i = 1; i < threads && static_cast<size_t>(i) < order.size(); ++i) {
        try {
            pool.emplace_back(work);
        } catch (const std::system_error&) {
            break; // fewer threads: the ones there take the remaining faces
        }
    }
    work();
    for (std::thread& thread : pool)
        thread.join();
    if (run.pStats) {
        run.pStats->Shots += shots.load();
        run.pStats->LineTests += lineTests.load();
        run.pStats->Pairs += pairs;
    }
}

} // namespace

void RunDirectPass(CBuildNode* pRoot, CBuildNode* pNode, const CLightRun& run)
{
    CPass pass;
    pass.pRoot = pRoot;
    const CSightTree sight(pRoot);
    pass.pSight = &sight;
    CollectEmitters(&pass, pNode);
    if (run.pPoints)
        CollectPoints(&pass, *run.pPoints);
    Shoot(&pass, run, "direct light");
}

void RunBouncePass(CBuildNode* pRoot, CBuildNode* pNode, const CLightRun& run, int32_t bounce)
{
    CPass pass;
    pass.pRoot = pRoot;
    const CSightTree sight(pRoot);
    pass.pSight = &sight;
    CollectBouncers(&pass, pNode);
    const std::string stage = "bounce " + std::to_string(bounce);
    Shoot(&pass, run, stage.c_str());
}

void RunLightPasses(CBuildNode* pRoot, const CLightRun& run)
{
    if (!pRoot)
        return;
    int64_t start = ClockMs();
    RunDirectPass(pRoot, pRoot, run);
    if (run.pStats)
        run.pStats->DirectSeconds += SecondsSince(start);
    start = ClockMs();
    for (int32_t i = 0; i < run.Bounces; ++i) {
        AverageGrids(pRoot);
        RunBouncePass(pRoot, pRoot, run, i + 1);
    }
    if (run.pStats)
        run.pStats->BounceSeconds += SecondsSince(start);
}

void RunLightPasses(CBuildNode* pRoot, int32_t bounces, int32_t threads)
{
    CLightRun run;
    run.Bounces = bounces;
    run.Threads = threads;
    RunLightPasses(pRoot, run);
}
