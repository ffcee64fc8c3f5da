#include "compiler/compile_driver.h"

#include "compiler/entities.h"
#include "compiler/map_parser.h"
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
        const bool bRead =
            ReadEntities(path.c_str(), &entities) && FindStartLocation(entities, &Start) &&
            ParseMapFile(path.c_str(), &Map) && (bListBuilder || MakeFaceSetFromMap(&Map, &Set));
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

    // The faces of the flooded leaves.
    std::vector<const CLeafFace*> ReachedFaces() const
    {
        std::vector<const CLeafFace*> faces;
        std::vector<const CBuildNode*> pending{pRoot};
        while (!pending.empty()) {
            const CBuildNode* pNode = pending.back();
            pending.pop_back();
            for (int32_t f = 0; pNode->bVisited && f < pNode->FaceCount; ++f)
                faces.push_back(&pNode->pFaces[f]);
            for (const CBuildNode* pChild : {pNode->pFront, pNode->pBack}) {
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

class SealedRoomFlood : public CompileDriverTest, public ::testing::WithParamInterface<bool> {};

// The inside of qbsp_simple_sealed is the box x -128..96, y 64..192,
// z -176..16 in world axes: the flood reaches its six walls, whole, and
// nothing else.
TEST_P(SealedRoomFlood, ReachesTheInsideWallsAlone)
{
    const CCompilation map(SharedMap("qbsp_simple_sealed.map"), GetParam());
    ASSERT_TRUE(map.bResult);
    double area = 0;
    for (const CLeafFace* pFace : map.ReachedFaces())
        area += FaceArea(*pFace);
    EXPECT_NEAR(area, 2 * (224.0 * 128 + 128.0 * 192 + 192.0 * 224), 1.0);
    EXPECT_TRUE(map.Reaches(CVector(0, 0, 0)));
    for (const CVector& away : FAR_AWAY)
        EXPECT_FALSE(map.Reaches(away));
}

INSTANTIATE_TEST_SUITE_P(Builders, SealedRoomFlood, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "list" : "set"; });

// room6 stays sealed with the list builder. With the set builder it leaks:
// the side faces of the floor slab become leaves of one face whose cells
// reach up to the floor's top plane, and the portal on that plane joins the
// room to them and so to the outside.
TEST_F(CompileDriverTest, SetBuilderFloodOfRoom6LeaksThroughTheFloorSlabsSides)
{
    for (bool bList : {true, false}) {
        const CCompilation map(Fixture("room6.map"), bList);
        ASSERT_TRUE(map.bResult);
        EXPECT_TRUE(map.Reaches(CVector(0, 0, 0)));
        for (const CVector& away : FAR_AWAY)
            EXPECT_EQ(map.Reaches(away), !bList);
    }
}
