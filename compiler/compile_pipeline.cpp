#include "compiler/compile_pipeline.h"

#include "compiler/base_square.h"
#include "compiler/bit_words.h"
#include "compiler/build_tree.h"
#include "compiler/compile_checks.h"
#include "compiler/leaf_visibility.h"
#include "compiler/compile_driver.h"
#include "compiler/entities.h"
#include "compiler/face_list.h"
#include "compiler/light.h"
#include "compiler/light_stage.h"
#include "compiler/map_import.h"
#include "compiler/map_parser.h"
#include "compiler/map_writer.h"
#include "compiler/output_paths.h"
#include "compiler/plane_set.h"
#include "compiler/stage_clock.h"
#include "compiler/texture_export.h"
#include "compiler/tree_walk.h"
#include "compiler/visible_leaves.h"
#include "frame/error.h"
#include "platform/files.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <new>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

namespace fs = std::filesystem;

namespace {

// A failure of the input, reported as "MAP: text" with exit code 1.
struct CCompileFailure {
    std::string Text;
};

[[noreturn]] void Fail(const std::string& text) { throw CCompileFailure{text}; }

// Puts the drive root back as it was when the compile began.
class CDriveRootGuard {
public:
    CDriveRootGuard() : Saved(GetDriveRoot()) {}
    ~CDriveRootGuard() { SetDriveRoot(Saved); }
    CDriveRootGuard(const CDriveRootGuard&) = delete;
    CDriveRootGuard& operator=(const CDriveRootGuard&) = delete;

private:
    std::string Saved;
};

// Everything a compile holds, freed in a safe order whatever stage failed:
// the portals before the tree their leaves link to.
struct CCompileState {
    CMapData Map;         // the parser's map; its name and mapping tables are written out
    CFaceSet Set;         // input of the first pass with the set builder
    CFaceSet* pFlat = nullptr; // reached faces: input of the second pass with the set builder
    CMapData FlatMap;     // reached faces: input of the second pass with the list builder
    CPortal* pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode* pRoot = nullptr;
    // Runs on the first pass's tree right after its flood; a text stops the
    // compile with that reason.
    std::function<std::string(CBuildNode*)> AfterFirstFlood;

    CCompileState() = default;
    CCompileState(const CCompileState&) = delete;
    CCompileState& operator=(const CCompileState&) = delete;
    ~CCompileState()
    {
        DropTree();
        if (pFlat) {
            FreeFaceSet(pFlat);
            delete pFlat;
        }
        FreeFaceSet(&Set);
        FreeMapData(&FlatMap);
        FreeMapData(&Map);
    }

    void DropTree()
    {
        FreePortals(&pPortals, PortalCount);
        PortalCount = 0;
        FreeTree(&pRoot);
    }
};

// A plane after the map moved by -shift: every moved point keeps its
// distance, Dot(p - s, n) + d' = Dot(p, n) + d.
void MovePlane(CPlane* pPlane, const CVector& shift)
{
    pPlane->Distance =
        static_cast<float>(static_cast<double>(pPlane->Distance) + Dot(pPlane->Normal, shift));
}

// Texel shift that keeps the texture on a moved surface: u = Dot(p, UAxis) /
// UScale + UOffset is unchanged for p - s when UOffset grows by
// Dot(s, UAxis) / UScale. Offsets are whole texels, so the shift is rounded.
int32_t ShiftOffset(int32_t offset, const CVector& axis, float scale, const CVector& shift)
{
    if (scale == 0.0f)
        return offset;
    const double texels = Dot(axis, shift) / static_cast<double>(scale);
    if (!std::isfinite(texels))
        return offset;
    const double moved = static_cast<double>(offset) + std::nearbyint(texels);
    const double low = std::numeric_limits<int32_t>::min();
    const double high = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(moved, low, high));
}

void MoveMapping(CTexMapping* pMapping, const CVector& shift)
{
    pMapping->UOffset = ShiftOffset(pMapping->UOffset, pMapping->UAxis, pMapping->UScale, shift);
    pMapping->VOffset = ShiftOffset(pMapping->VOffset, pMapping->VAxis, pMapping->VScale, shift);
}

// Moves the parsed map by -shift, right after parsing, so that all later
// stages work in the file's coordinates. The tables' sort order no longer
// matches their keys afterwards, which is harmless: nothing looks them up
// again.
void MoveMap(CMapData* pMap, const CVector& shift)
{
    ForEachTableNode(pMap->pPlanes, [&](CPlaneNode* pNode) { MovePlane(&pNode->Plane, shift); });
    ForEachTableNode(pMap->pMappings,
                     [&](CTexMappingNode* pNode) { MoveMapping(&pNode->Mapping, shift); });
    for (CFaceEntry* pEntry = pMap->pFaces; pEntry; pEntry = pEntry->pNext) {
        CLeafFace& face = pEntry->Face;
        for (int32_t i = 0; face.pVertices && i < face.VertexCount; ++i)
            face.pVertices[i].Position = face.pVertices[i].Position - shift;
        if (face.pPlane)
            MovePlane(face.pPlane, shift);
        MoveMapping(&face.Mapping, shift);
    }
}

// Faces the builders take: a plane and three vertices or more.
int32_t CountBuildableFaces(const CMapData& map)
{
    int32_t count = 0;
    for (const CFaceEntry* pEntry = map.pFaces; pEntry; pEntry = pEntry->pNext) {
        if (pEntry->pPlaneNode && pEntry->Face.pVertices && pEntry->Face.VertexCount >= 3)
            ++count;
    }
    return count;
}

bool IsReachedLeaf(const CBuildNode* pNode) { return pNode->IsLeaf() && pNode->bVisited; }

// The list builder keeps no plane index in its leaves, so before the first
// pass every parser face gets a record of its table plane, which the
// builder's cuts copy into each piece; the second pass reads it back.
void AttachTablePlanes(CMapData* pMap)
{
    for (CFaceEntry* pEntry = pMap->pFaces; pEntry; pEntry = pEntry->pNext) {
        if (!pEntry->pPlaneNode)
            continue;
        delete pEntry->Face.pPlane;
        pEntry->Face.pPlane = new CPlane(pEntry->pPlaneNode->Plane);
    }
}

// The reached faces of a list-built tree as a new map for the list builder:
// a copy of each face with a plane table made of the planes they carry.
// The faces keep their texture and mapping indices; the new map has no name
// or mapping table of its own. The count of faces taken is the result.
int32_t CollectReachedFaces(CBuildNode* pRoot, CMapData* pOut)
{
    for (const CBuildNode* pLeaf : ReachedLeaves(pRoot)) {
        for (int32_t i = 0; i < pLeaf->FaceCount; ++i) {
            const CLeafFace& face = pLeaf->pFaces[i];
            if (!face.pVertices || face.VertexCount < 3)
                continue;
            CFaceEntry* pEntry = AddFaceEntry(&pOut->pFaces, face);
            if (!pEntry)
                throw std::bad_alloc();
            ++pOut->FaceCount;
            if (!pEntry->Face.pPlane) {
                // Not expected: every piece inherits its face's plane. The
                // plane through the first three vertices stands in.
                const CVertex* pV = face.pVertices;
                pEntry->Face.pPlane = new CPlane(pV[0].Position, pV[1].Position, pV[2].Position);
            }
            pEntry->pPlaneNode = FindOrAddPlane(&pOut->pPlanes, *pEntry->Face.pPlane);
        }
    }
    return pOut->FaceCount;
}

uint8_t ClampChannel(int32_t value)
{
    return static_cast<uint8_t>(std::clamp<int32_t>(value, 0, 255));
}

// A vertex position as a pool key: its exact bits, with -0 taken as 0 so
// that the two zeros share an entry.
std::array<uint32_t, 3> PositionKey(const CVector& p)
{
    std::array<uint32_t, 3> key{};
    const float values[3] = {p.x == 0.0f ? 0.0f : p.x, p.y == 0.0f ? 0.0f : p.y,
                             p.z == 0.0f ? 0.0f : p.z};
    std::memcpy(key.data(), values, sizeof(values));
    return key;
}

struct CPositionKeyHash {
    size_t operator()(const std::array<uint32_t, 3>& key) const
    {
        const uint64_t words[2] = {(uint64_t(key[0]) << 32) | key[1], key[2]};
        const uint64_t hash = HashOfWords(words, 2);
        return static_cast<size_t>(hash ^ (hash >> 32));
    }
};

struct CWriteCounts {
    int32_t Faces = 0;
    int32_t LitFaces = 0;
};

// Numbers the tree into the nodes and leaves lumps: nodes in pre-order from
// the root (node 0), so that a child's number is always above its parent's;
// leaves in the order the same walk meets them. A child subtree without a
// reached leaf is written as solid.
void NumberTree(CBuildNode* pRoot, CCompiledMap* pOut, std::vector<CBuildNode*>* pLeaves)
{
    // Which subtrees hold a reached leaf: children are decided before their
    // parent in the reverse of a pre-order walk.
    std::vector<CBuildNode*> order;
    WalkFrontFirst(pRoot, true, [&](CBuildNode* pNode) { order.push_back(pNode); });
    std::unordered_map<const CBuildNode*, bool> holdsReached;
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        const CBuildNode* pNode = *it;
        bool bHolds = IsReachedLeaf(pNode);
        if (!pNode->IsLeaf()) {
            for (const CBuildNode* pChild : {pNode->pFront, pNode->pBack})
                bHolds = bHolds || (pChild && holdsReached[pChild]);
        }
        holdsReached[pNode] = bHolds;
    }
    auto holds = [&](const CBuildNode* pNode) { return pNode && holdsReached[pNode]; };
    if (!holds(pRoot))
        Fail("nothing of the tree was reached from the start location");

    if (pRoot->IsLeaf()) {
        // The nodes lump needs a root: one plane with the leaf on both sides.
        CMapNode node{};
        node.Normal = CVector(0.0f, 1.0f, 0.0f);
        node.Front = EncodeLeafChild(0);
        node.Back = EncodeLeafChild(0);
        pOut->Nodes.push_back(node);
        pLeaves->push_back(pRoot);
        return;
    }

    // Pending subtrees with the child slot of the written node that names them.
    struct CSlot {
        CBuildNode* pNode;
        size_t Parent;
        bool bFront;
    };
    std::vector<CSlot> pending{{pRoot, 0, true}};
    while (!pending.empty()) {
        const CSlot slot = pending.back();
        pending.pop_back();
        CBuildNode* pNode = slot.pNode;
        int32_t code = 0;
        if (pNode->IsLeaf()) {
            code = EncodeLeafChild(static_cast<int32_t>(pLeaves->size()));
            pLeaves->push_back(pNode);
        } else {
            const size_t index = pOut->Nodes.size();
            code = EncodeNodeChild(static_cast<int32_t>(index));
            CMapNode node{};
            node.Distance = pNode->Plane.Distance;
            node.Normal = pNode->Plane.Normal;
            node.Front = MAP_SOLID_CHILD;
            node.Back = MAP_SOLID_CHILD;
            pOut->Nodes.push_back(node);
            if (holds(pNode->pBack))
                pending.push_back({pNode->pBack, index, false});
            if (holds(pNode->pFront))
                pending.push_back({pNode->pFront, index, true});
        }
        if (pNode != pRoot) {
            CMapNode& parent = pOut->Nodes[slot.Parent];
            (slot.bFront ? parent.Front : parent.Back) = code;
        }
    }
}

// The lumps of the compiled map from the final tree and the parser's tables.
CWriteCounts MakeCompiledMap(CCompileState& state, const CLeafVisibility& visibility, bool bLit,
                             std::ostream& err, const std::string& mapPath, CCompiledMap* pOut)
{
    CWriteCounts counts;
    std::vector<CBuildNode*> leaves;
    NumberTree(state.pRoot, pOut, &leaves);

    // Mappings and names by the numbers the parser gave them.
    pOut->Mappings.resize(static_cast<size_t>(std::max(state.Map.MappingCount, 0)));
    ForEachTableNode(state.Map.pMappings, [&](CTexMappingNode* pNode) {
        if (pNode->Index >= 0 && static_cast<size_t>(pNode->Index) < pOut->Mappings.size())
            pOut->Mappings[static_cast<size_t>(pNode->Index)] = pNode->Mapping;
    });
    const size_t nameCount = static_cast<size_t>(std::max(state.Map.NameCount, 0));
    pOut->Names.assign(nameCount * MAP_NAME_SIZE, '\0');
    std::map<int32_t, const CTexNameNode*> names;
    ForEachTableNode(state.Map.pNames, [&](CTexNameNode* pNode) { names[pNode->Index] = pNode; });
    for (const auto& [index, pNode] : names) {
        if (index < 0 || static_cast<size_t>(index) >= nameCount)
            continue;
        const std::string name = pNode->Name.GetString() ? pNode->Name.GetString() : "";
        std::string kept = name;
        if (kept.size() > MAP_NAME_SIZE - 1) {
            kept.resize(MAP_NAME_SIZE - 1);
            err << "warning: " << mapPath << ": texture name '" << name << "' is longer than "
                << MAP_NAME_SIZE - 1 << " characters; written as '" << kept << "'\n";
        }
        std::memcpy(&pOut->Names[static_cast<size_t>(index) * MAP_NAME_SIZE], kept.data(),
                    kept.size());
    }

    std::unordered_map<std::array<uint32_t, 3>, int32_t, CPositionKeyHash> pool;
    // The lightmaps and the face words take their room at once: grown a face
    // at a time, the largest arrays of the file would be copied over and over.
    size_t faceCount = 0;
    size_t vertexCount = 0;
    for (const CBuildNode* pLeaf : leaves) {
        faceCount += static_cast<size_t>(std::max(pLeaf->FaceCount, 0));
        for (int32_t f = 0; f < pLeaf->FaceCount; ++f)
            vertexCount += static_cast<size_t>(std::max(pLeaf->pFaces[f].VertexCount, 0));
    }
    pOut->Lightmaps.reserve(faceCount * LIGHTMAP_BLOCK_SIZE);
    pOut->FaceWords.reserve(3 * faceCount + vertexCount);
    pool.reserve(vertexCount);

    // Each position's number is the order in which it is first met.
    for (const CBuildNode* pLeaf : leaves) {
        CMapLeaf leaf{};
        leaf.FirstFace = counts.Faces;
        for (int32_t f = 0; f < pLeaf->FaceCount; ++f) {
            const CLeafFace& face = pLeaf->pFaces[f];
            if (!face.pVertices || face.VertexCount < 3)
                continue;
            if (face.MappingIndex < 0 || face.MappingIndex >= state.Map.MappingCount ||
                face.TextureIndex < 0 || face.TextureIndex >= state.Map.NameCount)
                Fail("a face refers to a texture or mapping that the map does not have");
            pOut->FaceWords.push_back(face.VertexCount);
            pOut->FaceWords.push_back(face.MappingIndex);
            pOut->FaceWords.push_back(face.TextureIndex);
            for (int32_t v = 0; v < face.VertexCount; ++v) {
                const CVector& position = face.pVertices[v].Position;
                const auto [it, bNew] =
                    pool.emplace(PositionKey(position), static_cast<int32_t>(pool.size()));
                if (bNew)
                    pOut->Vertices.push_back(position);
                pOut->FaceWords.push_back(it->second);
            }

            // Texel (x, y) is sample (x, y) of the face's grid. A face
            // without samples is written full-bright.
            const size_t block = pOut->Lightmaps.size();
            pOut->Lightmaps.resize(block + LIGHTMAP_BLOCK_SIZE, 255);
            CLumelGrid* pGrid = bLit && pLeaf->pGrids ? &pLeaf->pGrids[f] : nullptr;
            bool bSampled = false;
            for (int32_t y = 0; pGrid && y < LIGHTMAP_SIZE; ++y) {
                for (int32_t x = 0; x < LIGHTMAP_SIZE; ++x) {
                    const CLumel* pLumel = GetLumel(pGrid, x, y);
                    if (!pLumel)
                        continue;
                    bSampled = true;
                    uint8_t* pTexel =
                        &pOut->Lightmaps[block + static_cast<size_t>(y * LIGHTMAP_SIZE + x) * 3];
                    pTexel[0] = ClampChannel(pLumel->Light.Red);
                    pTexel[1] = ClampChannel(pLumel->Light.Green);
                    pTexel[2] = ClampChannel(pLumel->Light.Blue);
                }
            }
            counts.LitFaces += bSampled ? 1 : 0;
            ++counts.Faces;
            ++leaf.FaceCount;
        }
        pOut->Leaves.push_back(leaf);
    }

    pOut->Visibility = FileRows(visibility, leaves);
    return counts;
}

struct CPaths {
    std::string Map;
    std::string Output;
    std::string LogDir;
    std::string Lights; // empty: none
};

CPaths ResolvePaths(const CCompileOptions& options)
{
    CPaths paths;
    paths.Map = options.MapPath;
    paths.Output = options.OutputPath;
    if (paths.Output.empty())
        paths.Output = fs::path(paths.Map).replace_extension(".vmz").string();
    fs::path logDir = options.LogDir;
    if (logDir.empty())
        logDir = fs::path(paths.Output).parent_path();
    if (logDir.empty())
        logDir = fs::path(".");
    paths.LogDir = logDir.string();
    paths.Lights = options.LightsPath;
    if (paths.Lights.empty()) {
        const fs::path beside = fs::path(paths.Map).replace_extension(".lights");
        std::error_code error;
        if (fs::is_regular_file(beside, error))
            paths.Lights = beside.string();
    }
    return paths;
}

// The hook of the state on the first pass's flooded tree.
void RunAfterFirstFlood(CCompileState& state)
{
    const std::string stop = state.AfterFirstFlood ? state.AfterFirstFlood(state.pRoot) : "";
    if (!stop.empty())
        Fail(stop);
}

// The two passes of one builder: build, portal and flood all faces, keep the
// faces of the reached leaves, then build, portal and flood those alone.
// The second tree stays in the state.
void BuildWithSets(CCompileState& state, const CVector& start, std::ostream& log,
                   const CPortalRun& run)
{
    if (!MakeFaceSetFromMap(&state.Map, &state.Set))
        throw std::bad_alloc();
    log << "\n######## First pass: " << state.Set.Count << " faces. ########" << std::endl;
    const bool bFirst = CompileFaceSet(&state.Set, &start, &state.pPortals, &state.PortalCount,
                                       &state.pRoot, log, run);
    if (!state.pRoot)
        Fail("no tree could be built from the faces");
    if (!bFirst)
        Fail("no portals could be made");
    RunAfterFirstFlood(state);
    if (!FlattenTree(state.pRoot, &state.Set, &state.pFlat) || !state.pFlat ||
        state.pFlat->Count < 1)
        Fail("the flood from the start location reached no faces (is the start location "
             "inside the world?)");
    state.DropTree();
    FreeFaceSet(&state.Set);

    // The flat set indexes the first set's planes: it becomes a source of
    // its own, each face's plane at its own place.
    for (int32_t i = 0; i < state.pFlat->Count; ++i)
        state.pFlat->pPlaneIndices[i] = i;
    FillFacePlanes(state.pFlat);
    log << "\n######## Second pass: " << state.pFlat->Count << " reached faces. ########"
        << std::endl;
    if (!CompileFaceSet(state.pFlat, &start, &state.pPortals, &state.PortalCount, &state.pRoot,
                        log, run))
        Fail("the second pass over the reached faces made no tree or no portals");
}

void BuildWithLists(CCompileState& state, const CVector& start, std::ostream& log,
                    const CPortalRun& run)
{
    AttachTablePlanes(&state.Map);
    log << "\n######## First pass: " << state.Map.FaceCount << " faces. ########" << std::endl;
    const bool bFirst = CompileMapData(&state.Map, &start, &state.pPortals, &state.PortalCount,
                                       &state.pRoot, log, run);
    if (!state.pRoot)
        Fail("no tree could be built from the faces");
    if (!bFirst)
        Fail("no portals could be made");
    RunAfterFirstFlood(state);
    if (CollectReachedFaces(state.pRoot, &state.FlatMap) < 1)
        Fail("the flood from the start location reached no faces (is the start location "
             "inside the world?)");
    state.DropTree();

    log << "\n######## Second pass: " << state.FlatMap.FaceCount << " reached faces. ########"
        << std::endl;
    if (!CompileMapData(&state.FlatMap, &start, &state.pPortals, &state.PortalCount,
                        &state.pRoot, log, run))
        Fail("the second pass over the reached faces made no tree or no portals");
}

// The compile proper; throws CCompileFailure, CError or std::bad_alloc.
void Compile(const CCompileOptions& options, const CPaths& paths, std::ostream& log,
             std::ostream& err)
{
    const int64_t compileStart = ClockMs();
    const CBaseSizeScope baseSize(static_cast<float>(options.BaseSize));
    CCompileState state;

    log << "Compiling " << paths.Map << " to " << paths.Output << std::endl;
    log << "\n######## Reading map text. ########" << std::endl;
    int64_t start = ClockMs();
    CMapImport import;
    std::string importError;
    if (!ImportMapFile(paths.Map, {options.Format, options.bWorldOnly}, &state.Map, &import, err,
                       &importError))
        Fail(importError);
    PrintImportSummary(import, log);
    const int32_t faceCount = CountBuildableFaces(state.Map);
    if (faceCount < 1)
        Fail("the map has no brush faces");

    CVector startLocation;
    CVector shift; // how far the map was moved to put the start at the origin
    if (options.bStartGiven) {
        // Map text axes a b c are the world vector (a, c, b).
        startLocation = CVector(static_cast<float>(options.Start[0]),
                                static_cast<float>(options.Start[2]),
                                static_cast<float>(options.Start[1]));
    } else {
        std::vector<CEntity> entities;
        if (!ReadEntities(paths.Map.c_str(), &entities))
            Fail("cannot open the map file");
        if (!FindStartLocation(entities, &startLocation))
            Fail("no start location: no info_player_start entity with an origin "
                 "(give one with --start X Y Z)");
    }

    // The checks that need whole brushes, before the map moves.
    const CCheckSetting checks{paths.Map, PointFilePath(paths.Output), options.bLeakFail};
    const std::vector<CMapBrush> brushes = BrushesFromImport(import);
    bool bStartOutside = false;
    const std::string stop = SettleStart(brushes, checks, &startLocation, &bStartOutside, err);
    if (!stop.empty())
        Fail(stop);
    const int32_t beyondSquare = WarnOfBaseSquare(
        brushes, options.bKeepOrigin ? CVector() : startLocation, checks, err);
    log << "Map text read in " << SecondsSince(start) << " seconds." << std::endl;
    log << "Faces:\t" << faceCount << "\nTextures:\t" << state.Map.NameCount << "\nMappings:\t"
        << state.Map.MappingCount << std::endl;
    // Shown in map text axes, as the user gives it.
    log << "Start location:\t" << MapTextPoint(startLocation)
        << (options.bKeepOrigin ? " (kept)" : " (moved to the origin)")
        << std::endl;
    if (!options.bKeepOrigin) {
        MoveMap(&state.Map, startLocation);
        shift = startLocation;
        startLocation = CVector();
    }
    if (!bStartOutside) {
        state.AfterFirstFlood = [&](CBuildNode* pRoot) {
            return ReportLeak(pRoot, startLocation, shift, brushes, checks, err);
        };
    }

    // Progress lines stay out of the quiet log: it is shown only on failure.
    const CPortalRun portalRun{options.Threads, options.bQuiet ? nullptr : &log};
    if (options.Builder == ETreeBuilder::Set)
        BuildWithSets(state, startLocation, log, portalRun);
    else
        BuildWithLists(state, startLocation, log, portalRun);
    const std::vector<CBuildNode*> reached = ReachedLeaves(state.pRoot);
    if (reached.empty())
        Fail("the flood of the second pass reached no leaf");

    log << "\n######## Leaf visibility. ########" << std::endl;
    start = ClockMs();
    const CLeafVisibility visibility =
        options.bNoVis
            ? CLeafVisibility::AllVisible(reached)
            : FlowVisibility(state.pRoot, state.pPortals, state.PortalCount, portalRun);
    log << "Leaf visibility made in " << SecondsSince(start) << " seconds: "
        << visibility.PairCount() << " of " << reached.size() * reached.size()
        << " leaf pairs see each other" << (options.bNoVis ? " (--no-vis)." : ".") << std::endl;

    log << "\n######## Light. ########" << std::endl;
    start = ClockMs();
    bool bLit = false;
    CLightSources lights;
    if (options.bNoLight) {
        err << "warning: " << paths.Map << ": --no-light: lightmaps are full-bright\n";
    } else {
        std::string lightError;
        if (!GatherLights(options, paths.Map, paths.Lights, state.Map.pNames, shift, log, err,
                          &lights, &lightError))
            Fail(lightError);
        if (lights.HasLight()) {
            FillVisibleLeaves(state.pRoot, visibility);
            LightTree(lights, state.pRoot, shift, options, options.bQuiet ? nullptr : &log, log,
                      err);
            bLit = true;
        }
    }
    log << "Light done in " << SecondsSince(start) << " seconds." << std::endl;

    log << "\n######## Writing the file. ########" << std::endl;
    start = ClockMs();
    CCompiledMap compiled;
    const CWriteCounts counts = MakeCompiledMap(state, visibility, bLit, err, paths.Map, &compiled);
    std::string error;
    if (!WriteCompiledMap(paths.Output.c_str(), compiled, &error))
        Fail(error.empty() ? "cannot write " + paths.Output : error);
    log << "File written in " << SecondsSince(start) << " seconds." << std::endl;
    CTextureExport textures;
    if (!ExportTextures(options, paths.Output, compiled.Names, log, err, &textures, &error))
        Fail(error);

    log << "\nCompiled in " << SecondsSince(compileStart) << " seconds: faces " << counts.Faces
        << ", leaves " << compiled.Leaves.size() << ", nodes " << compiled.Nodes.size()
        << ", vertices " << compiled.Vertices.size() << ", textures " << state.Map.NameCount
        << ", portals " << state.PortalCount << ", reached leaves " << reached.size()
        << ", lit faces " << counts.LitFaces;
    if (beyondSquare > 0)
        log << ", brushes beyond the base square " << beyondSquare;
    log << "." << std::endl;
}

} // namespace

int RunCompile(const CCompileOptions& options, std::ostream& out, std::ostream& err)
{
    const CDriveRootGuard driveRoot;
    const CPaths paths = ResolvePaths(options);

    // With -q the stage lines wait here and are shown only on failure.
    std::ostringstream quietLog;
    std::ostream& log = options.bQuiet ? static_cast<std::ostream&>(quietLog) : out;
    auto failed = [&](const std::string& text) {
        if (options.bQuiet)
            out << quietLog.str() << std::flush;
        err << COMPILE_TOOL_NAME << ": " << paths.Map << ": " << text << "\n";
        return COMPILE_EXIT_FAILED;
    };

    const std::string refused = CheckCompilePaths(paths.Map, paths.Output, paths.LogDir);
    if (!refused.empty())
        return failed(refused);
    SetDriveRoot(paths.LogDir);

    try {
        Compile(options, paths, log, err);
    } catch (const CCompileFailure& failure) {
        return failed(failure.Text);
    } catch (const CError& e) {
        return failed(e.GetMessage() ? e.GetMessage() : "compile error");
    } catch (const std::bad_alloc&) {
        return failed("out of memory");
    } catch (const std::exception& e) {
        return failed(e.what());
    }
    return COMPILE_EXIT_OK;
}
