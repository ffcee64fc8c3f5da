#include "compiler/map_parser.h"

#include "compiler/face_list.h"
#include "platform/files.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

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

    std::string WriteText(const std::string& text, const char* pszName = "input.map")
    {
        return Write(pszName, text);
    }

    bool Parse(const std::string& path) { return ParseMapFile(path.c_str(), &Map); }

    std::vector<CFaceEntry*> Entries() const
    {
        std::vector<CFaceEntry*> entries;
        for (CFaceEntry* p = Map.pFaces; p; p = p->pNext)
            entries.push_back(p);
        return entries;
    }

    static int CountPlanes(const CPlaneNode* pNode)
    {
        return pNode ? 1 + CountPlanes(pNode->pHigher) + CountPlanes(pNode->pLower) : 0;
    }

    // Every entry points into the tables and carries their row numbers.
    void ExpectLinkedFaces() const
    {
        int count = 0;
        for (const CFaceEntry* p = Map.pFaces; p; p = p->pNext, ++count) {
            ASSERT_NE(p->pPlaneNode, nullptr);
            ASSERT_NE(p->pNameNode, nullptr);
            ASSERT_NE(p->pMappingNode, nullptr);
            EXPECT_EQ(p->Face.TextureIndex, p->pNameNode->Index);
            EXPECT_EQ(p->Face.MappingIndex, p->pMappingNode->Index);
            EXPECT_GE(p->Face.TextureIndex, 0);
            EXPECT_LT(p->Face.TextureIndex, Map.NameCount);
            EXPECT_GE(p->Face.MappingIndex, 0);
            EXPECT_LT(p->Face.MappingIndex, Map.MappingCount);
        }
        EXPECT_EQ(count, Map.FaceCount);
    }

    CMapData Map;
};

// One brush face line in map text.
std::string FaceLine(const char* pszPoints, const char* pszName, const char* pszMapping)
{
    return std::string(pszPoints) + " " + pszName + " " + pszMapping + "\n";
}

std::string World(const std::string& brushes)
{
    return "{\n\"classname\" \"worldspawn\"\n" + brushes + "}\n";
}

const char* const WEST = "( -64 0 0 ) ( -64 64 0 ) ( -64 0 64 )";
const char* const EAST = "( 64 0 0 ) ( 64 0 64 ) ( 64 64 0 )";
const char* const PLAIN = "[ 1 0 0 0 ] [ 0 0 -1 0 ] 0 1 1";

} // namespace

TEST_F(MapParserTest, MissingFileIsTheOnlyFailure)
{
    EXPECT_FALSE(Parse((Dir / "absent.map").string()));
    EXPECT_EQ(Map.pFaces, nullptr);
}

TEST_F(MapParserTest, NoWorldEntityGivesAnEmptyMap)
{
    for (const char* pszName : {"no_world.map", "empty.map", "whitespace.map"}) {
        ASSERT_TRUE(Parse(Fixture(pszName))) << pszName;
        EXPECT_EQ(Map.pFaces, nullptr) << pszName;
        EXPECT_EQ(Map.FaceCount, 0);
        EXPECT_EQ(Map.NameCount, 0);
        EXPECT_EQ(Map.MappingCount, 0);
        EXPECT_EQ(Map.pPlanes, nullptr);
        EXPECT_FALSE(Map.bLeaf);
    }
}

TEST_F(MapParserTest, CubeGivesSixSquaresOnItsSurface)
{
    ASSERT_TRUE(Parse(Fixture("cube.map")));
    ASSERT_EQ(Map.FaceCount, 6);
    EXPECT_EQ(Map.NameCount, 2);    // stone, floor
    EXPECT_EQ(Map.MappingCount, 3); // three distinct axis pairs
    EXPECT_EQ(CountPlanes(Map.pPlanes), 6);
    ExpectLinkedFaces();

    // World box: x -64..64, y (the file's z) 0..128, z (the file's y) -64..64.
    const CVector centre(0, 64, 0);
    std::set<std::vector<float>> normals;
    for (const CFaceEntry* p : Entries()) {
        const CPlane& plane = p->pPlaneNode->Plane;
        normals.insert({plane.Normal.x, plane.Normal.y, plane.Normal.z});
        // Normals point out of the solid.
        EXPECT_LT(plane.DistanceTo(centre), 0.0);
        ASSERT_EQ(p->Face.VertexCount, 4);
        std::set<std::vector<float>> corners;
        for (int i = 0; i < 4; ++i) {
            const CVector& v = p->Face.pVertices[i].Position;
            EXPECT_NEAR(plane.DistanceTo(v), 0.0, 1e-3);
            EXPECT_NEAR(std::fabs(v.x), 64.0, 1e-3);
            EXPECT_NEAR(std::fabs(v.y - 64.0f), 64.0, 1e-3);
            EXPECT_NEAR(std::fabs(v.z), 64.0, 1e-3);
            corners.insert({std::round(v.x), std::round(v.y), std::round(v.z)});
        }
        EXPECT_EQ(corners.size(), 4u); // four different corners of the cube
    }
    EXPECT_EQ(normals.size(), 6u);

    // The face read last stands first: the top, facing up the world's y.
    EXPECT_TRUE(Map.pFaces->pNameNode->Name == "floor");
    EXPECT_NEAR(Map.pFaces->pPlaneNode->Plane.Normal.y, 1.0, 1e-6);
    EXPECT_NEAR(Map.pFaces->pPlaneNode->Plane.Distance, -128.0, 1e-4);
}

TEST_F(MapParserTest, TheTokenLogGoesToTheDriveRoot)
{
    ASSERT_TRUE(Parse(Fixture("cube.map")));
    std::ifstream log(Dir / "tokens.txt", std::ios::binary);
    ASSERT_TRUE(log.good());
    std::string text((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("\"classname\"\r\n\"worldspawn\"\r\n"), std::string::npos);
    EXPECT_NE(text.find("stone\r\n[\r\n0\r\n1\r\n"), std::string::npos);
}

TEST_F(MapParserTest, FilesAreFoundThroughTheDriveWhateverTheCase)
{
    fs::copy_file(Fixture("cube.map"), Dir / "Cube.MAP");
    ASSERT_TRUE(ParseMapFile("C:\\cube.map", &Map));
    EXPECT_EQ(Map.FaceCount, 6);
}

TEST_F(MapParserTest, FileTriplesAreWorldVectorsWithYAndZExchanged)
{
    // Points 1 2 3, 1 3 3, 2 2 3 are the world points (1,3,2), (1,3,3),
    // (2,3,2): the plane y = 3 facing +y. Read without the exchange they
    // would give z = 3 facing -z.
    const std::string path = WriteText("( 1 2 3 ) ( 1 3 3 ) ( 2 2 3 ) [ 1 2 3 4 ] [ 5 6 7 8 ] 0 2 4");
    CTokenReader reader;
    ASSERT_TRUE(reader.Open(path.c_str()));
    CPlane plane;
    ASSERT_TRUE(ParsePlanePoints(reader, &plane));
    EXPECT_EQ(plane.Normal.x, 0.0f);
    EXPECT_EQ(plane.Normal.y, 1.0f);
    EXPECT_EQ(plane.Normal.z, 0.0f);
    EXPECT_EQ(plane.Distance, -3.0f);

    CTexMapping mapping;
    ASSERT_TRUE(ParseTexMapping(reader, &mapping));
    EXPECT_EQ(mapping.UAxis.x, 1.0f);
    EXPECT_EQ(mapping.UAxis.y, 3.0f);
    EXPECT_EQ(mapping.UAxis.z, 2.0f);
    EXPECT_EQ(mapping.UOffset, 4);
    EXPECT_EQ(mapping.VAxis.x, 5.0f);
    EXPECT_EQ(mapping.VAxis.y, 7.0f);
    EXPECT_EQ(mapping.VAxis.z, 6.0f);
    EXPECT_EQ(mapping.VOffset, 8);
    EXPECT_EQ(mapping.Rotation, 0.0f);
    EXPECT_EQ(mapping.UScale, 2.0f);
    EXPECT_EQ(mapping.VScale, 4.0f);
}

TEST_F(MapParserTest, OffsetsAreReadAsIntegers)
{
    // atoi stops where atof would read on: at the exponent and the hex digits.
    const std::string path = WriteText("[ 1 0 0 1e2 ] [ 0 0 1 0x10 ] 0 1 1 [ 1 0 0 12.9 ] [ 0 0 1 -7.5 ] 0 1 1");
    CTokenReader reader;
    ASSERT_TRUE(reader.Open(path.c_str()));
    CTexMapping mapping;
    ASSERT_TRUE(ParseTexMapping(reader, &mapping));
    EXPECT_EQ(mapping.UOffset, 1);
    EXPECT_EQ(mapping.VOffset, 0);
    ASSERT_TRUE(ParseTexMapping(reader, &mapping));
    EXPECT_EQ(mapping.UOffset, 12);
    EXPECT_EQ(mapping.VOffset, -7);
}

TEST_F(MapParserTest, PointsAndMappingsRefuseDamage)
{
    {
        CTokenReader reader;
        ASSERT_TRUE(reader.Open(WriteText("( 0 0 0 ) ( 1 0 0 ) } ( 0 0 1 )").c_str()));
        CPlane plane;
        plane.Distance = 7;
        EXPECT_FALSE(ParsePlanePoints(reader, &plane));
        EXPECT_EQ(plane.Distance, 7.0f); // untouched
    }
    {
        CTokenReader reader; // the input ends inside the third point
        ASSERT_TRUE(reader.Open(WriteText("( 0 0 0 ) ( 1 0 0 ) ( 0 0").c_str()));
        CPlane plane;
        EXPECT_FALSE(ParsePlanePoints(reader, &plane));
    }
    {
        CTokenReader reader; // no "["
        ASSERT_TRUE(reader.Open(WriteText("1 0 0 0 ] [ 0 0 1 0 ] 0 1 1").c_str()));
        CTexMapping mapping;
        EXPECT_FALSE(ParseTexMapping(reader, &mapping));
    }
    {
        CTokenReader reader; // the input ends before the last scale
        ASSERT_TRUE(reader.Open(WriteText("[ 1 0 0 0 ] [ 0 0 1 0 ] 0 1").c_str()));
        CTexMapping mapping;
        EXPECT_FALSE(ParseTexMapping(reader, &mapping));
    }
}

TEST_F(MapParserTest, RotationTurnsTheAxesAndZeroKeepsThemAsGiven)
{
    ASSERT_TRUE(Parse(Fixture("rotated_face.map")));
    ASSERT_EQ(Map.FaceCount, 6);
    const CTexMapping* pTurned = nullptr;
    const CTexMapping* pPlain = nullptr;
    for (const CFaceEntry* p : Entries()) {
        if (p->pNameNode->Name == "ceiling")
            pTurned = &p->pMappingNode->Mapping;
        if (p->pNameNode->Name == "floor")
            pPlain = &p->pMappingNode->Mapping;
    }
    ASSERT_NE(pTurned, nullptr);
    ASSERT_NE(pPlain, nullptr);

    // Top face: U (1,0,0) and V (0,0,-1) turned by 90 degrees about their
    // cross product (0,-1,0), so they stay in the face's plane, of unit length
    // and at right angles, each now nearly along the other's old line.
    const CVector& u = pTurned->UAxis;
    const CVector& v = pTurned->VAxis;
    EXPECT_NEAR(u.LengthSquared(), 1.0, 1e-6);
    EXPECT_NEAR(v.LengthSquared(), 1.0, 1e-6);
    EXPECT_NEAR(u.y, 0.0, 1e-6);
    EXPECT_NEAR(v.y, 0.0, 1e-6);
    EXPECT_NEAR(Dot(u, v), 0.0, 1e-6);
    EXPECT_NEAR(std::fabs(u.z), 1.0, 1e-5);
    EXPECT_NEAR(std::fabs(v.x), 1.0, 1e-5);
    EXPECT_GT(std::fabs(u.x), 0.0f); // pi as 3.14159 leaves a trace
    EXPECT_EQ(pTurned->Rotation, 90.0f);

    // Bottom face: rotation 0, axes of length 2 kept, offsets cut to integers.
    EXPECT_EQ(pPlain->UAxis.x, 2.0f);
    EXPECT_EQ(pPlain->VAxis.z, -2.0f); // the file's y -2 is the world's z
    EXPECT_EQ(pPlain->UOffset, 12);   // 12.9
    EXPECT_EQ(pPlain->VOffset, -7);   // -7.5
    EXPECT_EQ(pPlain->UScale, 0.5f);
    EXPECT_EQ(pPlain->VScale, 0.25f);
}

TEST_F(MapParserTest, MappingsThatDifferOnlyInRotationShareTheFirstNode)
{
    // Parallel axes have a zero cross product: the turn leaves their
    // directions alone, so both faces' mappings come out the same.
    const std::string path = WriteText(World(
        "{\n" + FaceLine(WEST, "a", "[ 1 0 0 0 ] [ 1 0 0 0 ] 10 1 1") +
        FaceLine(EAST, "a", "[ 1 0 0 0 ] [ 1 0 0 0 ] 20 1 1") + "}\n"));
    ASSERT_TRUE(Parse(path));
    ASSERT_EQ(Map.FaceCount, 2);
    EXPECT_EQ(Map.MappingCount, 1);
    EXPECT_EQ(Map.pFaces->pMappingNode, Map.pFaces->pNext->pMappingNode);
    EXPECT_EQ(Map.pMappings->Mapping.Rotation, 10.0f);
}

TEST_F(MapParserTest, EqualPlanesShareNodesAcrossBrushesAndOneBitSplitsThem)
{
    ASSERT_TRUE(Parse(Fixture("two_brushes.map")));
    EXPECT_EQ(Map.FaceCount, 12); // the door's brush contributes nothing
    EXPECT_EQ(Map.NameCount, 3);
    EXPECT_EQ(FindName(Map.pNames, "door"), nullptr);
    ASSERT_NE(FindName(Map.pNames, "brick"), nullptr);
    // Four of the second brush's planes are the first brush's.
    EXPECT_EQ(CountPlanes(Map.pPlanes), 8);
    ExpectLinkedFaces();
    // Overlapping brushes are not cut against each other.
    for (const CFaceEntry* p : Entries())
        EXPECT_EQ(p->Face.VertexCount, 4);
    FreeMapData(&Map);

    // 64.0000077 is the float right above 64: a plane of its own.
    const std::string path = WriteText(World(
        "{\n" + FaceLine("( 0 0 64 ) ( 0 64 64 ) ( 64 0 64 )", "a", PLAIN) + "}\n{\n" +
        FaceLine("( 0 0 64.0000077 ) ( 0 64 64.0000077 ) ( 64 0 64.0000077 )", "a", PLAIN) +
        "}\n{\n" + FaceLine("( 0 0 64 ) ( 0 64 64 ) ( 64 0 64 )", "a", PLAIN) + "}\n"));
    ASSERT_TRUE(Parse(path));
    ASSERT_EQ(Map.FaceCount, 3);
    const std::vector<CFaceEntry*> entries = Entries();
    EXPECT_EQ(entries[0]->pPlaneNode, entries[2]->pPlaneNode);
    EXPECT_NE(entries[0]->pPlaneNode, entries[1]->pPlaneNode);
    EXPECT_EQ(std::nextafter(std::fabs(entries[0]->pPlaneNode->Plane.Distance), 100.0f),
              std::fabs(entries[1]->pPlaneNode->Plane.Distance));
}

TEST_F(MapParserTest, OneFaceBrushKeepsTheBaseSquare)
{
    ASSERT_TRUE(Parse(WriteText(World("{\n" + FaceLine(WEST, "a", PLAIN) + "}\n"))));
    ASSERT_EQ(Map.FaceCount, 1);
    ASSERT_EQ(Map.pFaces->Face.VertexCount, 4);
    for (int i = 0; i < 4; ++i) {
        const CVector& p = Map.pFaces->Face.pVertices[i].Position;
        EXPECT_EQ(p.x, -64.0f);
        EXPECT_NEAR(std::fabs(p.y), BASE_FACE_SIZE, 1e-2);
        EXPECT_NEAR(std::fabs(p.z), BASE_FACE_SIZE, 1e-2);
    }
    // Texture coordinates divided by the default size: U along world x.
    EXPECT_FLOAT_EQ(Map.pFaces->Face.pVertices[0].TexU, -64.0f / DEFAULT_TEXTURE_SIZE);
}

TEST_F(MapParserTest, WorldEntitiesAddUpAndOtherKeysAreIgnored)
{
    const std::string text =
        "{ \"classname\" \"info_null\" \"worldspawn\" \"x\" }\n" +
        World("\"wad\" \"a;b\"\n{\n" + FaceLine(WEST, "a", PLAIN) + "}\n") +
        World("{\n" + FaceLine(EAST, "b", PLAIN) + "}\n");
    ASSERT_TRUE(Parse(WriteText(text)));
    EXPECT_EQ(Map.FaceCount, 2);
    EXPECT_EQ(Map.NameCount, 2);
    ExpectLinkedFaces();
}

TEST_F(MapParserTest, TruncatedFaceIsDroppedAndTheRestKept)
{
    ASSERT_TRUE(Parse(Fixture("damaged_truncated.map")));
    // The full cube and the two whole faces of the cut brush.
    ASSERT_EQ(Map.FaceCount, 8);
    ExpectLinkedFaces();
    const std::vector<CFaceEntry*> entries = Entries();
    // The two faces x = 200 and x = 264 are parallel: neither cuts the other.
    EXPECT_TRUE(entries[0]->pNameNode->Name == "brick");
    EXPECT_EQ(entries[0]->Face.VertexCount, 4);
    EXPECT_EQ(entries[1]->Face.VertexCount, 4);
    for (size_t i = 2; i < entries.size(); ++i)
        EXPECT_EQ(entries[i]->Face.VertexCount, 4);
}

TEST_F(MapParserTest, MissingBracketsEndTheBrushAndItsEntity)
{
    ASSERT_TRUE(Parse(Fixture("damaged_brackets.map")));
    // One face from each world entity; the brush after the damage is lost.
    EXPECT_EQ(Map.FaceCount, 2);
    EXPECT_NE(FindName(Map.pNames, "stone"), nullptr);
    EXPECT_NE(FindName(Map.pNames, "floor"), nullptr);
    EXPECT_EQ(FindName(Map.pNames, "lost"), nullptr);
    ExpectLinkedFaces();
}

TEST_F(MapParserTest, NonNumbersAndDegenerateFacesParseWithoutHarm)
{
    ASSERT_TRUE(Parse(Fixture("damaged_numbers.map")));
    EXPECT_EQ(Map.FaceCount, 4);
    ExpectLinkedFaces();
    // "zero" read as 0 leaves the first face the plane x = -64.
    const CFaceEntry* pFirst = Entries().back();
    EXPECT_EQ(pFirst->pPlaneNode->Plane.Normal.x, -1.0f);
    EXPECT_EQ(pFirst->pPlaneNode->Plane.Distance, -64.0f);
}

TEST_F(MapParserTest, GarbageAndHugeTokensParseWithoutHarm)
{
    // A texture name far beyond a token's room is cut.
    const std::string longName(5000, 'n');
    ASSERT_TRUE(Parse(WriteText(World("{\n" + FaceLine(WEST, longName.c_str(), PLAIN) + "}\n"))));
    ASSERT_EQ(Map.FaceCount, 1);
    EXPECT_EQ(std::string(Map.pNames->Name.GetString()), std::string(TOKEN_MAX_LENGTH, 'n'));
    FreeMapData(&Map);

    // Random tokens of the map's own vocabulary inside a world entity.
    const char* vocabulary[] = {"(", ")", "[", "]", "{", "}", "0", "64", "-1", "1e30",
                                "nan", "x", "\"q\"", "90", "0.5", "\"classname\"",
                                "\"worldspawn\""};
    std::mt19937 random(99);
    for (int round = 0; round < 20; ++round) {
        std::string text = "{ \"classname\" \"worldspawn\" { ";
        for (int i = 0; i < 400; ++i) {
            text += vocabulary[random() % std::size(vocabulary)];
            text += ' ';
        }
        ASSERT_TRUE(Parse(WriteText(text)));
        ExpectLinkedFaces();
        FreeMapData(&Map);
    }

    // Raw bytes.
    std::string bytes(8000, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random() & 0xFF);
    ASSERT_TRUE(Parse(WriteText("{ \"classname\" \"worldspawn\" " + bytes)));
}

namespace {

struct CRealMap {
    const char* pszName;
    int32_t FaceCount;
    int32_t NameCount;
};

} // namespace

TEST_F(MapParserTest, RealMapsGiveEveryWorldFaceOnItsPlane)
{
    const CRealMap maps[] = {{"q1_cubes.map", 12, 1},
                             {"qbsp_simple_sealed.map", 36, 1},
                             {"qbsp_simple_sealed2.map", 84, 1},
                             {"qbsp_angled_brush.map", 42, 2},
                             {"hl_currents.map", 302, 8}};
    for (const CRealMap& real : maps) {
        SCOPED_TRACE(real.pszName);
        const std::string path = SharedMap(real.pszName);
        ASSERT_TRUE(Parse(path));
        EXPECT_EQ(Map.FaceCount, real.FaceCount);
        EXPECT_EQ(Map.NameCount, real.NameCount);
        EXPECT_GE(Map.MappingCount, 1);
        EXPECT_LE(Map.MappingCount, Map.FaceCount);
        ExpectLinkedFaces();
        for (const CFaceEntry* p : Entries()) {
            ASSERT_GE(p->Face.VertexCount, 3);
            for (int i = 0; i < p->Face.VertexCount; ++i) {
                const CVector& v = p->Face.pVertices[i].Position;
                EXPECT_NEAR(p->pPlaneNode->Plane.DistanceTo(v), 0.0, PLANE_EPSILON);
                // Real maps lie well inside the base square.
                EXPECT_LT(std::fabs(v.x) + std::fabs(v.y) + std::fabs(v.z), 4000.0f);
            }
        }
        FreeMapData(&Map);
    }
}
