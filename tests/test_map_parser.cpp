#include "compiler/map_parser.h"

#include "compiler/face_list.h"

#include "tests/front_faces.h"
#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Each test parses with a scratch directory of its own standing for "C:\",
// so the token log never lands anywhere else.
class MapParserTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        FreeMapData(&Map);
        ScratchDirTest::TearDown();
    }
    bool Parse(const std::string& path)
    {
        FreeMapData(&Map);
        return ParseMapFile(path.c_str(), &Map);
    }
    bool ParseText(const std::string& text) { return Parse(Write("input.map", text)); }

    // The entries in list order, each pointing into the tables and carrying
    // their row numbers.
    std::vector<CFaceEntry*> LinkedEntries() const
    {
        std::vector<CFaceEntry*> entries;
        for (CFaceEntry* p = Map.pFaces; p; p = p->pNext) {
            EXPECT_TRUE(p->pPlaneNode && p->pNameNode && p->pMappingNode);
            EXPECT_EQ(p->Face.TextureIndex, p->pNameNode ? p->pNameNode->Index : -1);
            EXPECT_EQ(p->Face.MappingIndex, p->pMappingNode ? p->pMappingNode->Index : -1);
            entries.push_back(p);
        }
        EXPECT_EQ(static_cast<int32_t>(entries.size()), Map.FaceCount);
        return entries;
    }

    // A reader on a text of the scratch directory, for the parts of a face.
    CTokenReader& Reader(const std::string& text)
    {
        EXPECT_TRUE(TextReader.Open(Write("part.txt", text).c_str()));
        return TextReader;
    }

    CMapData Map;
    CTokenReader TextReader;
};

std::string World(const std::string& brushes)
{
    return "{\n\"classname\" \"worldspawn\"\n" + brushes + "}\n";
}

// A brush of one face on the plane x = -64, facing -x.
std::string WestBrush(const std::string& name)
{
    return "{ ( -64 0 0 ) ( -64 64 0 ) ( -64 0 64 ) " + name +
           " [ 1 0 0 0 ] [ 0 0 -1 0 ] 0 1 1 }\n";
}

} // namespace

TEST_F(MapParserTest, FileTriplesAreWorldVectorsWithYAndZExchanged)
{
    // Points 1 2 3, 1 3 3, 2 2 3 are the world points (1,3,2), (1,3,3),
    // (2,3,2): the plane y = 3 facing +y. Read as they stand they would give
    // z = 3 facing -z.
    CTokenReader& reader = Reader("( 1 2 3 ) ( 1 3 3 ) ( 2 2 3 ) [ 1 2 3 4 ] [ 5 6 7 8 ] 0 2 4");
    CPlane plane;
    ASSERT_TRUE(ParsePlanePoints(reader, &plane));
    ExpectAt(plane.Normal, 0, 1, 0);
    EXPECT_EQ(plane.Distance, -3.0f);
    CTexMapping m;
    ASSERT_TRUE(ParseTexMapping(reader, &m));
    ExpectAt(m.UAxis, 1, 3, 2);
    ExpectAt(m.VAxis, 5, 7, 6);
    EXPECT_EQ(m.UScale, 2.0f);
    EXPECT_EQ(m.VScale, 4.0f);
}

TEST_F(MapParserTest, OffsetsAreReadAsWholeNumbers)
{
    // atoi stops where atof reads on: at the fraction, the exponent and the
    // hex digits.
    CTokenReader& reader =
        Reader("[ 1 0 0 12.9 ] [ 0 0 1 -7.5 ] 0 1 1 [ 1 0 0 1e2 ] [ 0 0 1 0x10 ] 0 1 1");
    CTexMapping m;
    ASSERT_TRUE(ParseTexMapping(reader, &m));
    EXPECT_EQ(m.UOffset, 12);
    EXPECT_EQ(m.VOffset, -7);
    ASSERT_TRUE(ParseTexMapping(reader, &m));
    EXPECT_EQ(m.UOffset, 1);
    EXPECT_EQ(m.VOffset, 0);
}

TEST_F(MapParserTest, RotationTurnsTheAxesRoundCrossOfVAndUAndNormalisesThem)
{
    // World U (2,0,0) and V (0,0,-2): the axis Cross(V, U) is (0,-4,0), and
    // 90 degrees with pi as 3.14159 is 1.570795 rad, c = cos = 1.2676e-6,
    // s = 1. The matrix's row 0 is (c, 0, 4s), row 2 (-4s, 0, c), so U goes
    // to (2c, 0, -8s) and V to (-8s, 0, -2c); normalised, U = (c/4, 0, -1)
    // and V = (-1, 0, -c/4), with c/4 = 3.169e-7 (exact pi would give a
    // c/4 of -1.09e-8).
    CTokenReader& reader = Reader("[ 2 0 0 0 ] [ 0 -2 0 0 ] 90 1 1 [ 2 0 0 0 ] [ 0 -2 0 0 ] 0 1 1");
    CTexMapping m;
    ASSERT_TRUE(ParseTexMapping(reader, &m));
    EXPECT_NEAR(m.UAxis.x, 3.169e-7, 1e-10);
    EXPECT_EQ(m.UAxis.z, -1.0f);
    EXPECT_EQ(m.VAxis.x, -1.0f);
    EXPECT_NEAR(m.VAxis.z, -3.169e-7, 1e-10);
    EXPECT_EQ(m.Rotation, 90.0f);
    // Rotation 0 leaves the axes as the file gave them, of length 2.
    ASSERT_TRUE(ParseTexMapping(reader, &m));
    ExpectAt(m.UAxis, 2, 0, 0);
    ExpectAt(m.VAxis, 0, 0, -2);
}

TEST_F(MapParserTest, CubeGivesSixSquaresOnItsSurfaceTheLastReadFirst)
{
    ASSERT_TRUE(Parse(Fixture("cube.map")));
    EXPECT_EQ(Map.NameCount, 2);    // stone, floor
    EXPECT_EQ(Map.MappingCount, 3); // three distinct axis pairs
    const std::vector<CFaceEntry*> entries = LinkedEntries();
    ASSERT_EQ(entries.size(), 6u);
    for (const CFaceEntry* p : entries) {
        ASSERT_EQ(p->Face.VertexCount, 4);
        EXPECT_NEAR(FaceArea(p->Face), 128.0 * 128.0, 0.1);
        EXPECT_NEAR(p->pPlaneNode->Plane.DistanceTo(p->Face.pVertices[2].Position), 0.0, 1e-3);
    }
    // The face read last is the top, y (the file's z) = 128 facing up.
    EXPECT_TRUE(entries[0]->pNameNode->Name == "floor");
    ExpectAt(entries[0]->pPlaneNode->Plane.Normal, 0, 1, 0);
    EXPECT_EQ(entries[0]->pPlaneNode->Plane.Distance, -128.0f);
}

TEST_F(MapParserTest, OneFaceBrushKeepsTheBaseSquareWithDefaultSizeCoordinates)
{
    // Reference (0,1,0), a = (0,0,1), b = (0,-1,0), so vertex 0 is
    // -a*5800 - b*5800 on the plane. U = (1,0,0) and V = (0,-1,0), over 256.
    ASSERT_TRUE(ParseText(World(WestBrush("a"))));
    ASSERT_EQ(Map.FaceCount, 1);
    const CVertex& v0 = Map.pFaces->Face.pVertices[0];
    ExpectAt(v0.Position, -64, 5800, -5800);
    EXPECT_EQ(v0.TexU, -0.25f);
    EXPECT_EQ(v0.TexV, -22.65625f);
}

TEST_F(MapParserTest, FacesShareTableNodesOfEqualValues)
{
    // Parallel axes have a zero cross product, so the turn leaves them alone:
    // mappings that differ in Rotation alone share the first one's node. One
    // bit more in a plane's distance makes a node of its own.
    const std::string top = "{ ( 0 0 64 ) ( 0 64 64 ) ( 64 0 64 ) a [ 1 0 0 0 ] [ 1 0 0 0 ] ";
    const std::string above =
        "{ ( 0 0 64.0000077 ) ( 0 64 64.0000077 ) ( 64 0 64.0000077 ) a [ 1 0 0 0 ] [ 1 0 0 0 ] ";
    ASSERT_TRUE(ParseText(World(top + "10 1 1 }\n" + above + "20 1 1 }\n" + top + "30 1 1 }\n")));
    const std::vector<CFaceEntry*> entries = LinkedEntries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0]->pPlaneNode, entries[2]->pPlaneNode);
    EXPECT_NE(entries[0]->pPlaneNode, entries[1]->pPlaneNode);
    EXPECT_EQ(Map.MappingCount, 1);
    EXPECT_EQ(Map.pMappings->Mapping.Rotation, 10.0f);
}

TEST_F(MapParserTest, OnlyWorldEntitiesGiveBrushesAndTheyAddUp)
{
    EXPECT_FALSE(Parse(Path("absent.map")));
    ASSERT_TRUE(Parse(Fixture("no_world.map")));
    EXPECT_EQ(Map.FaceCount, 0);
    // Two overlapping cubes, not cut against each other, and a door entity
    // with a brush of its own.
    ASSERT_TRUE(Parse(Fixture("two_brushes.map")));
    EXPECT_EQ(Map.FaceCount, 12);
    EXPECT_EQ(FindName(Map.pNames, "door"), nullptr);
    for (const CFaceEntry* p : LinkedEntries())
        EXPECT_NEAR(FaceArea(p->Face), 128.0 * 128.0, 0.1);
    // A second world entity adds to the first; a "worldspawn" elsewhere than
    // behind "classname" makes no world.
    ASSERT_TRUE(ParseText("{ \"classname\" \"info_null\" \"worldspawn\" \"x\" " + WestBrush("x") +
                          "}\n" + World(WestBrush("a")) + World(WestBrush("b"))));
    EXPECT_EQ(LinkedEntries().size(), 2u);
    EXPECT_EQ(Map.NameCount, 2);
}

class DamagedMap : public MapParserTest,
                   public ::testing::WithParamInterface<std::pair<const char*, int32_t>> {};

// A damaged face ends its brush; the faces read before stay, clipped and
// linked.
TEST_P(DamagedMap, KeepsTheFacesReadBeforeTheDamage)
{
    ASSERT_TRUE(Parse(Fixture(GetParam().first)));
    EXPECT_EQ(LinkedEntries().size(), static_cast<size_t>(GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(Fixtures, DamagedMap,
                         ::testing::Values(std::pair{"damaged_truncated.map", 8},
                                           std::pair{"damaged_brackets.map", 2},
                                           std::pair{"damaged_numbers.map", 4}));

TEST_F(MapParserTest, GarbageAndHugeTokensParseWithoutHarm)
{
    ASSERT_TRUE(ParseText(World(WestBrush(std::string(5000, 'n')))));
    EXPECT_EQ(std::string(Map.pNames->Name.GetString()), std::string(511, 'n'));
    // Random tokens of the map's own vocabulary inside a world entity.
    std::vector<std::string> vocabulary;
    std::istringstream words(
        "( ) [ ] { } 0 64 -1 1e30 nan x \"q\" 90 \"classname\" \"worldspawn\"");
    for (std::string word; words >> word;)
        vocabulary.push_back(word);
    std::mt19937 random(99);
    for (int round = 0; round < 10; ++round) {
        std::string text = "{ \"classname\" \"worldspawn\" { ";
        for (int i = 0; i < 400; ++i)
            text.append(vocabulary[random() % vocabulary.size()]).append(" ");
        ASSERT_TRUE(ParseText(text));
        LinkedEntries();
    }
}
