// vorlane-info: the point test on the nodes lump, and the program itself.
#include "compiler/map_writer.h"
#include "run_program.h"
#include "scratch_dir.h"
#include "viewer/map_info.h"

#include <functional>
#include <limits>

namespace {

const CVector X_AXIS(1, 0, 0);

CMapNode Node(int32_t nFront, int32_t nBack, CVector normal = X_AXIS, float fDistance = 0)
{
    CMapNode node = {};
    node.Distance = fDistance;
    node.Normal = normal;
    node.Front = nFront;
    node.Back = nBack;
    return node;
}

// An image of nodes only, with two leaves for the children to name.
CMapImage NodeImage(std::vector<CMapNode>& nodes)
{
    CMapImage image = {};
    image.pNodes = nodes.data();
    image.nNodes = static_cast<int32_t>(nodes.size());
    image.nLeafRecords = 2;
    return image;
}

bool OpenAtX(std::vector<CMapNode> nodes, float x)
{
    return IsPointOpen(NodeImage(nodes), CVector(x, 0, 0));
}

const int32_t LEAF = EncodeLeafChild(0);
const int32_t SOLID = MAP_SOLID_CHILD;

// The band of PLANE_EPSILON round a plane, where both sides are tried.
TEST(IsPointOpen, BandAroundAPlaneTriesBothSides)
{
    // Front solid, back a leaf.
    EXPECT_TRUE(OpenAtX({Node(SOLID, LEAF)}, 0.1f));
    EXPECT_TRUE(OpenAtX({Node(SOLID, LEAF)}, PLANE_EPSILON));
    EXPECT_FALSE(OpenAtX({Node(SOLID, LEAF)}, 0.3f));
    EXPECT_FALSE(OpenAtX({Node(SOLID, LEAF)}, 0.2001f));
    EXPECT_TRUE(OpenAtX({Node(SOLID, LEAF)}, -0.3f));
    // Front a leaf, back solid: the mirror image.
    EXPECT_TRUE(OpenAtX({Node(LEAF, SOLID)}, -PLANE_EPSILON));
    EXPECT_FALSE(OpenAtX({Node(LEAF, SOLID)}, -0.2001f));
    // Two solid children: closed even on the plane.
    EXPECT_FALSE(OpenAtX({Node(SOLID, SOLID)}, 0));
    // The plane's distance counts: this plane stands at x = 5.
    EXPECT_TRUE(OpenAtX({Node(SOLID, LEAF, X_AXIS, -5)}, 5.1f));
    EXPECT_FALSE(OpenAtX({Node(SOLID, LEAF, X_AXIS, -5)}, 5.3f));
}

TEST(IsPointOpen, BandFallsBackToTheBackAfterADeeperFailure)
{
    // Within the band of node 0 its front leads to node 1, closed on both
    // sides; the back of node 0 is still tried.
    std::vector<CMapNode> nodes = {Node(EncodeNodeChild(1), LEAF), Node(SOLID, SOLID)};
    EXPECT_TRUE(OpenAtX(nodes, 0));
    EXPECT_FALSE(OpenAtX(nodes, 1));
    // Nested bands: node 1's back is tried before node 0's back.
    nodes = {Node(EncodeNodeChild(1), SOLID), Node(SOLID, EncodeLeafChild(1))};
    EXPECT_TRUE(OpenAtX(nodes, 0));
    nodes = {Node(EncodeNodeChild(1), SOLID), Node(SOLID, SOLID)};
    EXPECT_FALSE(OpenAtX(nodes, 0));
}

TEST(IsPointOpen, EmptyDeepAndMalformedTrees)
{
    EXPECT_FALSE(OpenAtX({}, 0));

    // A chain far deeper than any real tree, every plane through the point.
    std::vector<CMapNode> chain;
    for (int i = 0; i < 20000; ++i)
        chain.push_back(Node(EncodeNodeChild(i + 1), SOLID));
    chain.back().Back = LEAF;
    EXPECT_TRUE(OpenAtX(chain, 0));
    chain.back().Back = SOLID;
    EXPECT_FALSE(OpenAtX(chain, 0));

    // A cycle, or a child past the nodes or leaves, is solid.
    EXPECT_FALSE(OpenAtX({Node(EncodeNodeChild(0), EncodeNodeChild(0))}, 0));
    EXPECT_FALSE(OpenAtX({Node(EncodeNodeChild(1), SOLID), Node(EncodeNodeChild(0), SOLID)}, 0));
    EXPECT_FALSE(OpenAtX({Node(EncodeNodeChild(5), EncodeLeafChild(2))}, 0));
}

// The program, run as scripts run it.
class MapInfoProgramTest : public ScratchDirTest {
protected:
    // Runs vorlane-info with the arguments; the exit code, with the output in
    // Out and Err.
    int RunInfo(const std::string& arguments)
    {
        const CSplitRun run = RunSplit(std::string(VORLANE_INFO_BIN) + " " + arguments, Dir);
        Out = run.Out;
        Err = run.Err;
        return run.nExitCode;
    }

    // A room between x = -64 and 64 by one leaf under two nodes; damage
    // changes it before it is written.
    std::string WriteRoom(const std::function<void(CCompiledMap&)>& damage = nullptr)
    {
        CCompiledMap map;
        map.Vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
        map.Mappings.resize(1);
        map.Names.assign(MAP_NAME_SIZE, 0);
        map.FaceWords = {3, 0, 0, 0, 1, 2};
        map.Leaves = {{0, 1, 0, {}}};
        map.Nodes = {Node(EncodeNodeChild(1), SOLID, X_AXIS, 64),
                     Node(SOLID, LEAF, X_AXIS, -64)};
        map.Lightmaps.assign(LIGHTMAP_BLOCK_SIZE, 0);
        if (damage)
            damage(map);
        std::string path = Path("room.vmz"), error;
        EXPECT_TRUE(WriteCompiledMap(path.c_str(), map, &error)) << error;
        return path;
    }

    std::string Out, Err;
};

TEST_F(MapInfoProgramTest, ValidFilePrintsCountsAndPointTests)
{
    std::string path = WriteRoom();
    ASSERT_EQ(RunInfo(path + " --open 0 10 0 --open 64.1 0 0 --open 70 0 0 --open -64.3 0 0"), 0)
        << Err;
    for (const char* pszLine : {"magic: VMZF", "faces: 1\n", "nodes: 2\n", "visibility: absent",
                                "problems: none", "0 10 0: open\n", "64.1 0 0: open\n",
                                "70 0 0: solid\n", "-64.3 0 0: solid\n"})
        EXPECT_NE(Out.find(pszLine), std::string::npos) << pszLine << " in\n" << Out;
    EXPECT_EQ(Err, "");
}

// Children need not come after their parents: node 0 -> node 2 -> node 1.
TEST_F(MapInfoProgramTest, NodesNumberedInAnyOrderAreAllReached)
{
    std::string path = WriteRoom([](CCompiledMap& m) {
        m.Nodes[0].Front = EncodeNodeChild(2);
        m.Nodes.push_back(Node(EncodeNodeChild(1), SOLID, X_AXIS, 100));
    });
    ASSERT_EQ(RunInfo(path + " --open 0 10 0"), 0) << Err;
    EXPECT_EQ(Out.find("not reached"), std::string::npos) << Out;
    EXPECT_NE(Out.find("0 10 0: open\n"), std::string::npos) << Out;
}

TEST_F(MapInfoProgramTest, BadFilesExitOneNamingTheFile)
{
    std::string path = Fixture("damaged_face_past_lump.vmz");
    EXPECT_EQ(RunInfo(path), 1);
    EXPECT_NE(Err.find(path + ": Invalid file.\n"), std::string::npos) << Err;
    EXPECT_NE(Err.find("runs past the lump"), std::string::npos) << Err;

    path = Fixture("damaged_negative_index.vmz");
    EXPECT_EQ(RunInfo(path), 1);
    EXPECT_NE(Err.find(path + ": Invalid file.\n"), std::string::npos) << Err;
    EXPECT_NE(Err.find("Invalid index"), std::string::npos) << Err;

    path = Path("none.vmz");
    EXPECT_EQ(RunInfo(path), 1);
    EXPECT_NE(Err.find(path + ": Unable to open file.\n"), std::string::npos) << Err;
    EXPECT_EQ(Out, "");
}

// A value that is not finite in a node's plane or a mapping is a problem:
// the reader takes the file, the program names the record and exits 1.
TEST_F(MapInfoProgramTest, NonFinitePlanesAndMappingsAreProblems)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const struct {
        std::function<void(CCompiledMap&)> Damage;
        const char* pszProblem;
    } cases[] = {
        {[&](CCompiledMap& m) { m.Nodes[1].Distance = nan; }, "node 1: the plane is not finite"},
        {[&](CCompiledMap& m) { m.Nodes[0].Normal.y = -inf; }, "node 0: the plane is not finite"},
        {[&](CCompiledMap& m) { m.Mappings[0].VAxis.z = nan; },
         "mapping 0: an axis or a scale is not finite"},
        {[&](CCompiledMap& m) { m.Mappings[0].UScale = inf; },
         "mapping 0: an axis or a scale is not finite"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RunInfo(WriteRoom(c.Damage)), 1) << c.pszProblem;
        EXPECT_NE(Out.find(std::string("problem: ") + c.pszProblem + "\n"), std::string::npos)
            << Out;
        EXPECT_EQ(Out.find("problems: none"), std::string::npos) << Out;
    }
}

TEST_F(MapInfoProgramTest, BadCommandLinesExitTwoWithUsage)
{
    std::string path = WriteRoom();
    for (const std::string& arguments :
         {std::string(), path + " --open 1 2", path + " --open 1 x 3", path + " " + path,
          path + " --bogus"}) {
        EXPECT_EQ(RunInfo(arguments), 2) << arguments;
        EXPECT_NE(Err.find("usage: vorlane-info FILE"), std::string::npos) << arguments;
    }
    EXPECT_EQ(RunInfo("--help"), 0);
    EXPECT_NE(Out.find("usage: vorlane-info FILE"), std::string::npos);
}

} // namespace
