#include "compiler/compile_driver.h"

#include "compiler/build_tree.h"
#include "compiler/entities.h"
#include "compiler/map_parser.h"
#include "compiler/plane_set.h"
#include "compiler/portal.h"
#include "compiler/visibility.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

// A line matches a pattern line exactly, where "#" in the pattern stands for
// a number as the stream writes a double, and nothing else.
bool LineMatches(const std::string& line, const std::string& pattern)
{
    const size_t hole = pattern.find('#');
    if (hole == std::string::npos)
        return line == pattern;
    const std::string head = pattern.substr(0, hole);
    const std::string tail = pattern.substr(hole + 1);
    if (line.size() <= head.size() + tail.size() || line.compare(0, head.size(), head) != 0 ||
        line.compare(line.size() - tail.size(), tail.size(), tail) != 0)
        return false;
    const std::string number = line.substr(head.size(), line.size() - head.size() - tail.size());
    char* pEnd = nullptr;
    const double value = std::strtod(number.c_str(), &pEnd);
    return *pEnd == '\0' && value >= 0 && number.find_first_of(" \t") == std::string::npos;
}

void ExpectLines(const std::string& log, const std::vector<std::string>& patterns)
{
    std::vector<std::string> lines;
    std::istringstream stream(log);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    ASSERT_EQ(lines.size(), patterns.size()) << log;
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_TRUE(LineMatches(lines[i], patterns[i])) << i << ": " << lines[i];
    EXPECT_EQ(log.back(), '\n');
}

double FaceArea(const CLeafFace& face)
{
    CVector sum;
    for (int32_t i = 1; i + 1 < face.VertexCount; ++i) {
        const CVector& p0 = face.pVertices[0].Position;
        sum += Cross(face.pVertices[i].Position - p0, face.pVertices[i + 1].Position - p0);
    }
    return sum.Length() / 2;
}

// A map read and compiled with one of the drivers; owns everything.
class Compilation {
public:
    Compilation(const std::string& path, bool bListBuilder)
    {
        std::vector<CEntity> entities;
        bReady = ReadEntities(path.c_str(), &entities) && FindStartLocation(entities, &Start) &&
                 ParseMapFile(path.c_str(), &Map);
        if (bReady && !bListBuilder)
            bReady = MakeFaceSetFromMap(&Map, &Set);
        if (!bReady)
            return;
        bResult = bListBuilder
                      ? CompileMapData(&Map, &Start, &pPortals, &PortalCount, &pRoot, Log)
                      : CompileFaceSet(&Set, &Start, &pPortals, &PortalCount, &pRoot, Log);
    }
    ~Compilation()
    {
        FreePortals(&pPortals, PortalCount);
        FreeTree(&pRoot);
        FreeFaceSet(&Set);
        FreeMapData(&Map);
    }

    std::vector<const CBuildNode*> Leaves() const
    {
        std::vector<const CBuildNode*> leaves;
        std::vector<const CBuildNode*> pending{pRoot};
        while (!pending.empty()) {
            const CBuildNode* pNode = pending.back();
            pending.pop_back();
            if (!pNode)
                continue;
            if (pNode->IsLeaf())
                leaves.push_back(pNode);
            pending.push_back(pNode->pFront);
            pending.push_back(pNode->pBack);
        }
        return leaves;
    }

    // Area of the reached faces by plane: normal to hundredths, distance to
    // whole units, which the builders' splits of a face can't change.
    std::map<std::tuple<int, int, int, int>, double> ReachedAreaByPlane() const
    {
        std::map<std::tuple<int, int, int, int>, double> areas;
        for (const CBuildNode* pLeaf : Leaves()) {
            for (int32_t f = 0; pLeaf->bVisited && f < pLeaf->FaceCount; ++f) {
                const CLeafFace& face = pLeaf->pFaces[f];
                const CPlane plane(face.pVertices[0].Position, face.pVertices[1].Position,
                                   face.pVertices[2].Position);
                areas[{int(std::lround(plane.Normal.x * 100)),
                       int(std::lround(plane.Normal.y * 100)),
                       int(std::lround(plane.Normal.z * 100)), int(std::lround(plane.Distance))}] +=
                    FaceArea(face);
            }
        }
        return areas;
    }

    bool bReady = false;
    bool bResult = false;
    CVector Start;
    CMapData Map;
    CFaceSet Set;
    CPortal* pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode* pRoot = nullptr;
    std::ostringstream Log;
};

class CompileDriverTest : public ScratchDirTest {
protected:
    // The number of records in the flood's log.
    int VisRecords() const
    {
        std::ifstream file(Path("vis.txt"), std::ios::binary);
        int records = 0;
        for (std::string line; std::getline(file, line);)
            records += line == "Node:" ? 1 : 0;
        return records;
    }
};

} // namespace

TEST_F(CompileDriverTest, NoFacesStopAfterTheFirstLine)
{
    CPortal portal;
    CBuildNode node;
    for (bool bList : {false, true}) {
        CPortal* pPortals = &portal;
        int32_t count = 5;
        CBuildNode* pRoot = &node;
        std::ostringstream log;
        CFaceSet set;
        CMapData map;
        const bool bResult = bList ? CompileMapData(&map, nullptr, &pPortals, &count, &pRoot, log)
                                   : CompileFaceSet(&set, nullptr, &pPortals, &count, &pRoot, log);
        EXPECT_FALSE(bResult);
        EXPECT_EQ(log.str(), "======= Creating tree. =======\n");
        EXPECT_EQ(pPortals, nullptr);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(pRoot, nullptr);
    }
}

TEST_F(CompileDriverTest, DriversWriteTheirStagesInOrder)
{
    {
        Compilation compilation(Fixture("room6.map"), false);
        ASSERT_TRUE(compilation.bReady);
        EXPECT_TRUE(compilation.bResult);
        int32_t planes = 0;
        NumberPlanes(compilation.Map.pPlanes, &planes);
        ExpectLines(compilation.Log.str(),
                    {
                        "======= Creating tree. =======",
                        "Tree created in # seconds.",
                        "",
                        "= Creating unique plane set. =",
                        "Set created in # seconds.",
                        "Original plane count:\t" + std::to_string(compilation.Set.Count),
                        // room6's planes lie 16 units apart or more: none merge.
                        "Unique plane count:\t" + std::to_string(planes),
                        "",
                        "===== Creating portals. ======",
                        "Portals created in # seconds.",
                        "",
                        "==== Setting visibility. =====",
                        "Visibility set in # seconds.",
                    });
    }
    {
        Compilation compilation(Fixture("room6.map"), true);
        ASSERT_TRUE(compilation.bReady);
        EXPECT_TRUE(compilation.bResult);
        ExpectLines(compilation.Log.str(), {
                                               "======= Creating tree. =======",
                                               "Tree created in # seconds.",
                                               "",
                                               "===== Creating portals. ======",
                                               "Portals created in # seconds.",
                                               "",
                                               "==== Setting visibility. =====",
                                               "Visibility set in # seconds.",
                                           });
    }
}

class BothDrivers : public CompileDriverTest, public ::testing::WithParamInterface<const char*> {};

// The builders cut the faces differently, but the flood of a sealed room
// must reach the same surfaces.
TEST_P(BothDrivers, ReachTheSameFaces)
{
    Compilation set(SharedMap(GetParam()), false);
    Compilation list(SharedMap(GetParam()), true);
    ASSERT_TRUE(set.bReady && list.bReady);
    ASSERT_TRUE(set.bResult && list.bResult);
    const auto setAreas = set.ReachedAreaByPlane();
    const auto listAreas = list.ReachedAreaByPlane();
    ASSERT_FALSE(setAreas.empty());
    ASSERT_EQ(setAreas.size(), listAreas.size());
    for (const auto& [plane, area] : setAreas) {
        const auto found = listAreas.find(plane);
        ASSERT_NE(found, listAreas.end());
        EXPECT_NEAR(found->second, area, area * 1e-4);
    }
}

INSTANTIATE_TEST_SUITE_P(SealedMaps, BothDrivers,
                         ::testing::Values("qbsp_simple_sealed.map", "qbsp_simple_sealed2.map"),
                         [](const auto& info) {
                             std::string name = info.param;
                             return name.substr(0, name.find('.'));
                         });

namespace {

// A sealed room: its map, the builder, and its inside as a box in world axes
// (file x, z, y).
struct CRoom {
    const char* Name;
    bool bSharedMap;
    bool bListBuilder;
    CVector Min, Max;
    // Whether the flood reaches all six inner walls. Not so where a face runs
    // on under a wall standing on it: such a face lands in a leaf of its own,
    // which no portal joins to the room.
    bool bWholeInside;
};

void PrintTo(const CRoom& room, std::ostream* pOut)
{
    *pOut << room.Name << (room.bListBuilder ? " (list builder)" : " (set builder)");
}

// True when the face lies on one of the six walls of the room's inside and
// faces into the room.
bool OnInnerWall(const CLeafFace& face, const CRoom& room)
{
    const CVector normal = Cross(face.pVertices[1].Position - face.pVertices[0].Position,
                                 face.pVertices[2].Position - face.pVertices[0].Position);
    const float CVector::*axes[3] = {&CVector::x, &CVector::y, &CVector::z};
    for (const auto axis : axes) {
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
    Compilation map(room.bSharedMap ? SharedMap(room.Name) : Fixture(room.Name),
                    room.bListBuilder);
    ASSERT_TRUE(map.bReady);
    ASSERT_TRUE(map.bResult);

    double reachedArea = 0;
    int reachedLeaves = 0;
    for (const CBuildNode* pLeaf : map.Leaves()) {
        if (!pLeaf->bVisited)
            continue;
        ++reachedLeaves;
        for (int32_t f = 0; f < pLeaf->FaceCount; ++f) {
            const CLeafFace& face = pLeaf->pFaces[f];
            reachedArea += FaceArea(face);
            const CVector& p = face.pVertices[0].Position;
            EXPECT_TRUE(OnInnerWall(face, room))
                << "a reached face off the inner walls, at " << p.x << " " << p.y << " " << p.z;
        }
    }
    EXPECT_TRUE(FindLeaf(map.pRoot, &map.Start)->bVisited);
    EXPECT_EQ(VisRecords(), reachedLeaves);
    if (room.bWholeInside) {
        const CVector size = room.Max - room.Min;
        const double insideArea =
            2 * (double(size.x) * size.y + double(size.y) * size.z + double(size.z) * size.x);
        EXPECT_NEAR(reachedArea, insideArea, insideArea * 1e-4);
    }
    for (const CVector& away : {CVector(4000, 0, 0), CVector(0, -4000, 0), CVector(0, 0, 4000)}) {
        const CVector far = map.Start + away;
        EXPECT_FALSE(FindLeaf(map.pRoot, &far)->bVisited);
    }
}

namespace {

std::string RoomName(const ::testing::TestParamInfo<CRoom>& info)
{
    const std::string name = info.param.Name;
    return name.substr(0, name.find('.')) + (info.param.bListBuilder ? "_list" : "_set");
}

const CRoom ROOM6_LIST = {"room6.map", false, true, {-128, 0, -128}, {128, 128, 128}, false};
const CRoom SEALED_SET = {"qbsp_simple_sealed.map", true, false, {-128, 64, -176}, {96, 192, 16},
                          true};
const CRoom SEALED_LIST = {"qbsp_simple_sealed.map", true, true, {-128, 64, -176}, {96, 192, 16},
                           true};
const CRoom ROOM6_SET = {"room6.map", false, false, {-128, 0, -128}, {128, 128, 128}, false};

} // namespace

INSTANTIATE_TEST_SUITE_P(Maps, SealedRoomFlood,
                         ::testing::Values(ROOM6_LIST, SEALED_SET, SEALED_LIST), RoomName);

// With the set builder room6 leaks: the floor slab's side faces become
// leaves of one face, whose cells reach up to the floor's top plane, and the
// portal on that plane joins the room to them (the floor's top face keeps
// only its own leaf off the portal). Kept out of the run until the portal
// stage seals it.
INSTANTIATE_TEST_SUITE_P(DISABLED_Leaking, SealedRoomFlood, ::testing::Values(ROOM6_SET),
                         RoomName);

class OpenMapFlood : public CompileDriverTest, public ::testing::WithParamInterface<bool> {};

// Two loose cubes: everything round them is one open space, so the flood
// reaches every face of both, and points far away.
TEST_P(OpenMapFlood, ReachesTheOutside)
{
    Compilation map(SharedMap("q1_cubes.map"), GetParam());
    ASSERT_TRUE(map.bReady);
    ASSERT_TRUE(map.bResult);
    int32_t faces = 0;
    for (const CBuildNode* pLeaf : map.Leaves()) {
        EXPECT_TRUE(pLeaf->bVisited);
        faces += pLeaf->FaceCount;
    }
    EXPECT_GE(faces, 12);
    const CVector far = map.Start + CVector(4000, 0, 0);
    EXPECT_TRUE(FindLeaf(map.pRoot, &far)->bVisited);
}

INSTANTIATE_TEST_SUITE_P(Builders, OpenMapFlood, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "list" : "set"; });

// After the set driver, the flattened tree holds exactly the reached faces,
// each with the plane it lies on.
TEST_F(CompileDriverTest, FlattenedTreeHoldsTheReachedFaces)
{
    Compilation compilation(SharedMap("qbsp_simple_sealed.map"), false);
    ASSERT_TRUE(compilation.bResult);
    CFaceSet* pFlat = nullptr;
    ASSERT_TRUE(FlattenTree(compilation.pRoot, &compilation.Set, &pFlat));
    double reachedArea = 0;
    for (const auto& [plane, area] : compilation.ReachedAreaByPlane())
        reachedArea += area;
    double flatArea = 0;
    for (int32_t i = 0; i < pFlat->Count; ++i) {
        const CLeafFace& face = pFlat->pFaces[i];
        flatArea += FaceArea(face);
        for (int32_t v = 0; v < face.VertexCount; ++v)
            EXPECT_NEAR(pFlat->pPlanes[i].DistanceTo(face.pVertices[v].Position), 0.0, 0.2);
    }
    EXPECT_GT(pFlat->Count, 0);
    EXPECT_NEAR(flatArea, reachedArea, reachedArea * 1e-6);
    FreeFaceSet(pFlat);
    delete pFlat;
}
