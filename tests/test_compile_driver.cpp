#include "compiler/compile_driver.h"

#include "compiler/entities.h"
#include "compiler/map_parser.h"
#include "compiler/plane_set.h"
#include "compiler/visibility.h"

#include "tests/front_faces.h"
#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

// A map read and compiled with one of the drivers; owns everything.
struct CCompilation {
    CCompilation(const std::string& path, bool bListBuilder)
    {
        std::vector<CEntity> entities;
        const bool bRead = ReadEntities(path.c_str(), &entities) &&
                           FindStartLocation(entities, &Start) && ParseMapFile(path.c_str(), &Map) &&
                           (bListBuilder || MakeFaceSetFromMap(&Map, &Set));
        EXPECT_TRUE(bRead) << path;
        if (bRead)
            bResult = bListBuilder
                          ? CompileMapData(&Map, &Start, &pPortals, &PortalCount, &pRoot, Log)
                          : CompileFaceSet(&Set, &Start, &pPortals, &PortalCount, &pRoot, Log);
    }
    ~CCompilation()
    {
        FreePortals(&pPortals, PortalCount);
        FreeTree(&pRoot);
        FreeFaceSet(&Set);
        FreeMapData(&Map);
    }

    // The faces of the flooded leaves, front subtrees first.
    std::vector<const CLeafFace*> ReachedFaces() const
    {
        std::vector<const CLeafFace*> faces;
        std::vector<const CBuildNode*> pending{pRoot};
        while (!pending.empty()) {
            const CBuildNode* pNode = pending.back();
            pending.pop_back();
            for (int32_t f = 0; pNode->bVisited && f < pNode->FaceCount; ++f)
                faces.push_back(&pNode->pFaces[f]);
            for (const CBuildNode* pChild : {pNode->pBack, pNode->pFront}) { // front first
                if (pChild)
                    pending.push_back(pChild);
            }
        }
        return faces;
    }

    bool Reaches(const CVector& offset) const
    {
        const CVector point = Start + offset;
        return FindLeaf(pRoot, &point)->bVisited;
    }

    bool bResult = false;
    CVector Start;
    CMapData Map;
    CFaceSet Set;
    CPortal* pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode* pRoot = nullptr;
    std::ostringstream Log;
};

std::string WithoutTimes(const std::string& log)
{
    return std::regex_replace(log, std::regex(" in [0-9][0-9.e+-]* seconds"), " in # seconds");
}

// Points far outside every map here, each way along the axes.
const CVector FAR_AWAY[] = {CVector(4000, 0, 0), CVector(0, -4000, 0), CVector(0, 0, 4000)};

using CompileDriverTest = ScratchDirTest;

} // namespace

TEST_F(CompileDriverTest, NoFacesStopAfterTheFirstLine)
{
    for (bool bList : {false, true}) {
        CPortal* pPortals = nullptr;
        int32_t count = 5;
        CBuildNode node;
        CBuildNode* pRoot = &node;
        std::ostringstream log;
        CFaceSet set;
        CMapData map;
        EXPECT_FALSE(bList ? CompileMapData(&map, nullptr, &pPortals, &count, &pRoot, log)
                           : CompileFaceSet(&set, nullptr, &pPortals, &count, &pRoot, log));
        EXPECT_EQ(log.str(), "======= Creating tree. =======\n");
        EXPECT_EQ(count, 0);
        EXPECT_EQ(pRoot, nullptr);
    }
}

TEST_F(CompileDriverTest, DriversLogTheirStagesInOrder)
{
    // room6's 36 faces lie on 16 planes, no two alike within 0.2.
    const CCompilation set(Fixture("room6.map"), false);
    EXPECT_TRUE(set.bResult);
    EXPECT_EQ(WithoutTimes(set.Log.str()),
              "======= Creating tree. =======\nTree created in # seconds.\n\n"
              "= Creating unique plane set. =\nSet created in # seconds.\n"
              "Original plane count:\t36\nUnique plane count:\t16\n\n"
              "===== Creating portals. ======\nPortals created in # seconds.\n\n"
              "==== Setting visibility. =====\nVisibility set in # seconds.\n");
    const CCompilation list(Fixture("room6.map"), true);
    EXPECT_TRUE(list.bResult);
    EXPECT_EQ(WithoutTimes(list.Log.str()),
              "======= Creating tree. =======\nTree created in # seconds.\n\n"
              "===== Creating portals. ======\nPortals created in # seconds.\n\n"
              "==== Setting visibility. =====\nVisibility set in # seconds.\n");
}

namespace {

// A sealed room, the builder, and the room's inside as a box in world axes
// (file x, z, y).
struct CRoom {
    const char* pszName;
    bool bListBuilder;
    CVector Min, Max;
    // Whether the flood reaches all six inner walls whole. Not so where a
    // face runs on under a wall standing on it: such a face lands in a leaf
    // of its own, which no portal joins to the room.
    bool bWholeInside;
};

// True when the face lies on one of the six walls of the room's inside and
// faces into the room.
bool OnInnerWall(const CLeafFace& face, const CRoom& room)
{
    const CVector normal = PlaneOf(face).Normal;
    for (const auto axis : {&CVector::x, &CVector::y, &CVector::z}) {
        for (const bool bMin : {true, false}) {
            const float wall = bMin ? room.Min.*axis : room.Max.*axis;
            bool bOn = bMin ? normal.*axis > 0 : normal.*axis < 0;
            for (int32_t v = 0; bOn && v < face.VertexCount; ++v)
                bOn = std::fabs(face.pVertices[v].Position.*axis - wall) <= 0.2f;
            if (bOn)
                return true;
        }
    }
    return false;
}

} // namespace

class SealedRoomFlood : public CompileDriverTest, public ::testing::WithParamInterface<CRoom> {};

TEST_P(SealedRoomFlood, ReachesOnlyTheInside)
{
    const CRoom& room = GetParam();
    const bool bFixture = std::string(room.pszName) == "room6.map";
    const CCompilation map(bFixture ? Fixture(room.pszName) : SharedMap(room.pszName),
                           room.bListBuilder);
    ASSERT_TRUE(map.bResult);
    double reachedArea = 0;
    for (const CLeafFace* pFace : map.ReachedFaces()) {
        reachedArea += FaceArea(*pFace);
        EXPECT_TRUE(OnInnerWall(*pFace, room));
    }
    const CVector size = room.Max - room.Min;
    if (room.bWholeInside) {
        EXPECT_NEAR(reachedArea, 2 * (size.x * size.y + size.y * size.z + size.z * size.x), 1.0);
    }
    EXPECT_TRUE(map.Reaches(CVector(0, 0, 0)));
    for (const CVector& away : FAR_AWAY)
        EXPECT_FALSE(map.Reaches(away));
}

INSTANTIATE_TEST_SUITE_P(
    Maps, SealedRoomFlood,
    ::testing::Values(CRoom{"room6.map", true, {-128, 0, -128}, {128, 128, 128}, false},
                      CRoom{"qbsp_simple_sealed.map", false, {-128, 64, -176}, {96, 192, 16}, true},
                      CRoom{"qbsp_simple_sealed.map", true, {-128, 64, -176}, {96, 192, 16}, true}),
    [](const auto& info) {
        std::string name = info.param.pszName;
        return name.substr(0, name.find('.')).append(info.param.bListBuilder ? "_list" : "_set");
    });

// With the set builder room6 leaks: the side faces of the floor slab become
// leaves of one face whose cells reach up to the floor's top plane, and the
// portal on that plane joins the room to them and so to the outside.
TEST_F(CompileDriverTest, SetBuilderFloodOfRoom6LeaksThroughTheFloorSlabsSides)
{
    const CCompilation map(Fixture("room6.map"), false);
    ASSERT_TRUE(map.bResult);
    for (const CVector& away : FAR_AWAY)
        EXPECT_TRUE(map.Reaches(away));
}

// After the set driver, the flattened tree holds exactly the reached faces,
// each with the plane it lies on.
TEST_F(CompileDriverTest, FlattenedTreeHoldsTheReachedFaces)
{
    const CCompilation map(SharedMap("qbsp_simple_sealed.map"), false);
    ASSERT_TRUE(map.bResult);
    CFaceSet* pFlat = nullptr;
    ASSERT_TRUE(FlattenTree(map.pRoot, &map.Set, &pFlat));
    const std::vector<const CLeafFace*> reached = map.ReachedFaces();
    ASSERT_EQ(pFlat->Count, static_cast<int32_t>(reached.size()));
    for (int32_t i = 0; i < pFlat->Count; ++i) {
        const CLeafFace& face = pFlat->pFaces[i];
        EXPECT_EQ(FaceArea(face), FaceArea(*reached[i]));
        for (int32_t v = 0; v < face.VertexCount; ++v)
            EXPECT_NEAR(pFlat->pPlanes[i].DistanceTo(face.pVertices[v].Position), 0.0, 0.2);
    }
    FreeFaceSet(pFlat);
    delete pFlat;
}
