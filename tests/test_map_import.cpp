// The importer of editor map text: dialects side by side, the Quake texture
// projection, Valve 220 axes, surface numbers, merged entities, refusals and
// warnings with their lines, and the real editor maps of the shared folder.
#include "compiler/map_import.h"

#include "compiler/face_list.h"

#include "tests/front_faces.h"
#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

class MapImportTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        FreeMapData(&Map);
        ScratchDirTest::TearDown();
    }

    bool Import(const std::string& path, CImportOptions options = {})
    {
        FreeMapData(&Map);
        Map = CMapData();
        Record = CMapImport();
        Err.str("");
        Error.clear();
        return ImportMapFile(path, options, &Map, &Record, Err, &Error);
    }
    bool ImportText(const std::string& text, CImportOptions options = {})
    {
        return Import(Write("input.map", text), options);
    }

    // The face whose plane has this normal (world axes), or null.
    const CFaceEntry* Face(float x, float y, float z) const
    {
        for (const CFaceEntry* p = Map.pFaces; p; p = p->pNext) {
            const CVector& n = p->pPlaneNode->Plane.Normal;
            if (n.x == x && n.y == y && n.z == z)
                return p;
        }
        return nullptr;
    }

    std::string Summary() const
    {
        std::ostringstream text;
        PrintImportSummary(Record, text);
        return text.str();
    }

    CMapData Map;
    CMapImport Record;
    std::ostringstream Err;
    std::string Error;
};

std::string Brush(const std::string& sides) { return "{\n" + sides + "}\n"; }
std::string World(const std::string& keys, const std::string& brushes)
{
    return "{\n\"classname\" \"worldspawn\"\n" + keys + brushes + "}\n";
}

const char* const CUBE_SIDES[] = {
    "( -32 -32 0 ) ( -32 -31 0 ) ( -32 -32 1 ) stone 0 0 0 1 1\n",
    "( 32 -32 0 ) ( 32 -32 1 ) ( 32 -31 0 ) stone 0 0 0 1 1\n",
    "( -32 -32 0 ) ( -32 -32 1 ) ( -31 -32 0 ) stone 0 0 0 1 1\n",
    "( -32 32 0 ) ( -31 32 0 ) ( -32 32 1 ) stone 0 0 0 1 1\n",
    "( -32 -32 0 ) ( -31 -32 0 ) ( -32 -31 0 ) stone 0 0 0 1 1\n",
    "( -32 -32 64 ) ( -32 -31 64 ) ( -31 -32 64 ) stone 0 0 0 1 1\n"};

std::string Cube()
{
    std::string sides;
    for (const char* pszSide : CUBE_SIDES)
        sides += pszSide;
    return Brush(sides);
}

} // namespace

// The plain box: the top turns a quarter, scales by 2 and 0.5 and shifts by
// 16 and -8 texels; a wall turns by 30 degrees. Worked out by hand from the
// axes of the floor plane, u (1, 0, 0) and v (0, -1, 0), turned in x-y.
TEST_F(MapImportTest, QuakeProjectionTurnsScalesAndShiftsAsEditorsDo)
{
    ASSERT_TRUE(Import(Fixture("import_quake.map"))) << Error;
    const CFaceEntry* pTop = Face(0, 1, 0);
    ASSERT_NE(pTop, nullptr);
    const CTexMapping& top = pTop->pMappingNode->Mapping;
    ExpectAt(top.UAxis, 0, 0, 1); // map (0, 1, 0)
    ExpectAt(top.VAxis, 1, 0, 0); // map (1, 0, 0)
    EXPECT_EQ(top.UOffset, 16);
    EXPECT_EQ(top.VOffset, -8);
    EXPECT_EQ(top.UScale, 2.0f);
    EXPECT_EQ(top.VScale, 0.5f);
    EXPECT_EQ(top.Rotation, 0.0f);
    // The corner at map (32, 32, 64): u = 32 / 2 + 16, v = 32 / 0.5 - 8,
    // over the default size 256.
    bool bCorner = false;
    for (int32_t i = 0; i < pTop->Face.VertexCount; ++i) {
        const CVertex& vertex = pTop->Face.pVertices[i];
        if (vertex.Position.x == 32 && vertex.Position.z == 32) {
            bCorner = true;
            EXPECT_NEAR(vertex.TexU, 32.0 / 256, 1e-5);
            EXPECT_NEAR(vertex.TexV, 56.0 / 256, 1e-5);
        }
    }
    EXPECT_TRUE(bCorner);

    // The +x wall: u (0, 1, 0), v (0, 0, -1) turned by 30 degrees in y-z.
    const CFaceEntry* pWall = Face(1, 0, 0);
    ASSERT_NE(pWall, nullptr);
    ExpectAt(pWall->pMappingNode->Mapping.UAxis, 0, 0.5f, 0.866025388f);
    ExpectAt(pWall->pMappingNode->Mapping.VAxis, 0, -0.866025388f, 0.5f);
}

struct CDialectCase {
    const char* pszFixture;
    const char* pszDialect;       // the summary's first line
    std::vector<double> TopSurface; // the numbers after the top side's scales
};

class SameBox : public MapImportTest, public ::testing::WithParamInterface<CDialectCase> {};

// The same box in each dialect gives the parser the same planes, texture
// axes, offsets and scales as the plain Quake box, and the surface numbers
// stay in the record.
TEST_P(SameBox, GivesThePlanesAndAxesOfThePlainBox)
{
    ASSERT_TRUE(Import(Fixture("import_quake.map"))) << Error;
    std::vector<std::pair<CPlane, CTexMapping>> expected;
    for (const CFaceEntry* p = Map.pFaces; p; p = p->pNext)
        expected.emplace_back(p->pPlaneNode->Plane, p->pMappingNode->Mapping);

    ASSERT_TRUE(Import(Fixture(GetParam().pszFixture))) << Error;
    EXPECT_EQ(Summary().substr(0, Summary().find('\n')), GetParam().pszDialect);
    size_t i = 0;
    for (const CFaceEntry* p = Map.pFaces; p; p = p->pNext, ++i) {
        ASSERT_LT(i, expected.size());
        const CPlane& plane = p->pPlaneNode->Plane;
        const CTexMapping& mapping = p->pMappingNode->Mapping;
        EXPECT_EQ(plane.Distance, expected[i].first.Distance);
        const CVector& normal = expected[i].first.Normal;
        ExpectAt(plane.Normal, normal.x, normal.y, normal.z);
        const CTexMapping& want = expected[i].second;
        ExpectAt(mapping.UAxis, want.UAxis.x, want.UAxis.y, want.UAxis.z);
        ExpectAt(mapping.VAxis, want.VAxis.x, want.VAxis.y, want.VAxis.z);
        EXPECT_EQ(mapping.UOffset, want.UOffset);
        EXPECT_EQ(mapping.VOffset, want.VOffset);
        EXPECT_EQ(mapping.UScale, want.UScale);
        EXPECT_EQ(mapping.VScale, want.VScale);
        EXPECT_EQ(mapping.Rotation, 0.0f);
    }
    EXPECT_EQ(i, expected.size());
    EXPECT_EQ(Record.Entities[0].Brushes[0].Sides[5].Surface, GetParam().TopSurface);
}

INSTANTIATE_TEST_SUITE_P(
    Dialects, SameBox,
    ::testing::Values(
        CDialectCase{"import_quake2.map", "Dialect:\tQuake 2 6 sides", {32, 8, 100}},
        CDialectCase{"import_hexen2.map", "Dialect:\tHexen 2 6 sides", {7}},
        CDialectCase{"import_valve220.map",
                     "Dialect:\tValve 220 6 sides; declared Valve 220 by \"mapversion\" \"220\"",
                     {}}));

struct CAxesCase {
    CMapTriple Normal;
    double Rotation;
    CMapTriple U;
    CMapTriple V;
};

class QuakeAxes : public ::testing::TestWithParam<CAxesCase> {};

TEST_P(QuakeAxes, FollowTheNearestAxisPlaneAndTurn)
{
    CMapTriple u;
    CMapTriple v;
    QuakeTextureAxes(GetParam().Normal, GetParam().Rotation, &u, &v);
    EXPECT_EQ(u, GetParam().U);
    EXPECT_EQ(v, GetParam().V);
}

INSTANTIATE_TEST_SUITE_P(
    Planes, QuakeAxes,
    ::testing::Values(CAxesCase{{0, 0, 1}, 0, {1, 0, 0}, {0, -1, 0}},
                      CAxesCase{{0, 0, -1}, 0, {1, 0, 0}, {0, -1, 0}},
                      CAxesCase{{0, 0, 1}, -270, {0, 1, 0}, {1, 0, 0}},
                      CAxesCase{{-1, 0, 0}, 90, {0, 0, 1}, {0, 1, 0}},
                      CAxesCase{{0, -1, 0}, 180, {-1, 0, 0}, {0, 0, 1}},
                      CAxesCase{{0.6, 0.8, 0}, 0, {1, 0, 0}, {0, 0, -1}},
                      // A tie between two planes goes to the first, the -x wall.
                      CAxesCase{{0.5, 0.5, 0}, 0, {0, 1, 0}, {0, 0, -1}}));

struct CValveCase {
    const char* pszHeader; // a comment line or a world key
    EMapDialect Format;
    bool bTurned;          // the parser turns the axes by the rotation
};

class RotatedBracketedSide : public MapImportTest,
                             public ::testing::WithParamInterface<CValveCase> {};

// A Valve 220 file's axes are final: the rotation beside them is the
// editor's note. Without the declaration the parser's own rule turns them.
TEST_P(RotatedBracketedSide, KeepsItsAxesWhenTheFileIsValve220)
{
    const std::string header = GetParam().pszHeader;
    const bool bKey = header[0] == '"';
    const std::string side =
        "( 0 0 64 ) ( 0 1 64 ) ( 1 0 64 ) stone [ 0.6 0.8 0 4.5 ] [ 0.8 -0.6 0 -4 ] 30 1 1\n";
    ASSERT_TRUE(ImportText((bKey ? "" : header) + World(bKey ? header : "", Brush(side)),
                           {GetParam().Format, false}))
        << Error;
    ASSERT_NE(Map.pFaces, nullptr);
    const CTexMapping& mapping = Map.pFaces->pMappingNode->Mapping;
    if (GetParam().bTurned) {
        EXPECT_EQ(mapping.Rotation, 30.0f);
        EXPECT_NE(mapping.UAxis.x, 0.6f);
    } else {
        EXPECT_EQ(mapping.Rotation, 0.0f);
        ExpectAt(mapping.UAxis, 0.6f, 0, 0.8f);
        ExpectAt(mapping.VAxis, 0.8f, 0, -0.6f);
    }
    // Editors' offsets round to whole texels; the parser's own drop the fraction.
    EXPECT_EQ(mapping.UOffset, GetParam().bTurned ? 4 : 5);
}

INSTANTIATE_TEST_SUITE_P(
    Declarations, RotatedBracketedSide,
    ::testing::Values(CValveCase{"\"mapversion\" \"220\"\n", EMapDialect::Auto, false},
                      CValveCase{"// Format: Valve\n", EMapDialect::Auto, false},
                      CValveCase{"  // Format: Quake2 (Valve)\n", EMapDialect::Auto, false},
                      CValveCase{"// Format: Standard\n", EMapDialect::Valve220, false},
                      CValveCase{"// Format: Standard\n", EMapDialect::Auto, true},
                      CValveCase{"\"mapversion\" \"220\"\n", EMapDialect::Vorlane, true}));

struct CRefusalCase {
    const char* pszText;
    EMapDialect Format;
    const char* pszError;
};

class Refusal : public MapImportTest, public ::testing::WithParamInterface<CRefusalCase> {};

TEST_P(Refusal, NamesTheLineAndWhatStoodThere)
{
    EXPECT_FALSE(ImportText(GetParam().pszText, {GetParam().Format, false}));
    EXPECT_EQ(Error, GetParam().pszError);
    EXPECT_EQ(Map.FaceCount, 0);
}

#define READS "; this compiler reads Quake, Quake 2, Hexen 2 and Valve 220 map text"
INSTANTIATE_TEST_SUITE_P(
    Texts, Refusal,
    ::testing::Values(
        CRefusalCase{"{\n\"classname\" \"worldspawn\"\n{\npatchDef2\n{\n", EMapDialect::Auto,
                     "line 4: a Quake 3 patch" READS},
        CRefusalCase{"{\n{\n brushDef\n", EMapDialect::Auto, "line 3: a Quake 3 brush" READS},
        CRefusalCase{"{\n{\nbrushDef3\n", EMapDialect::Auto, "line 3: a Doom 3 brush" READS},
        CRefusalCase{"Version 2\n", EMapDialect::Auto, "line 1: a Doom 3 map header" READS},
        CRefusalCase{"}\n", EMapDialect::Auto, "line 1: '}' outside every entity" READS},
        CRefusalCase{"{\n\"classname\" junk\n", EMapDialect::Auto,
                     "line 2: the key \"classname\" has no value ('junk' follows it)"},
        CRefusalCase{"{\n{\n( 0 0 0 ) ( 0 zero 0 )", EMapDialect::Auto,
                     "line 3: 'zero' where a number (a point's coordinate) belongs"},
        CRefusalCase{"{\n{\n( 0 0 0 ( 0 1 0 )", EMapDialect::Auto,
                     "line 3: '(' where the ')' of a point belongs"},
        CRefusalCase{"{\n\"classname\" \"worldspawn\"\n{\n( 0 0 0 ) ( 0 1 0 ) ( 1 0 0 ) t 0 0 0 1 "
                     "1 5 6\n}\n}\n",
                     EMapDialect::Auto,
                     "line 4: a side with 2 numbers after its scales (Quake 2 has three, "
                     "Hexen 2 one)"},
        CRefusalCase{"{\n\"classname\" \"worldspawn\"\n{\n( 0 0 0 ) ( 0 1 0 ) ( 1 0 0 ) t "
                     "[ 1 0 0 0 ] [ 0 1 0 0 ] 0 1 1\n}\n}\n",
                     EMapDialect::Quake,
                     "line 4: the side is bracketed with 0 numbers after its scales, which the "
                     "--format given does not read"},
        CRefusalCase{"{\n\"classname\" \"worldspawn\"\n{\n( 0 0 0 ) ( 0 1 0 ) ( 1 0 0 ) t "
                     "0 0 0 1 1\n",
                     EMapDialect::Auto,
                     "line 5: the map text ends inside the brush that begins on line 3"}));

// The parser's damaged fixtures and random bytes: refused with a line, or
// read, never a crash.
TEST_F(MapImportTest, DamagedTextsAreRefusedWithTheirLine)
{
    for (const char* pszName : {"damaged_brackets.map", "damaged_numbers.map",
                                "damaged_truncated.map"}) {
        EXPECT_FALSE(Import(Fixture(pszName))) << pszName;
        EXPECT_EQ(Error.rfind("line ", 0), 0u) << Error;
    }
    const char ALPHABET[] = "{}()[] \n\"0123456789.-abc/";
    std::string bytes(5000, '\0');
    unsigned seed = 11;
    for (char& c : bytes) {
        seed = seed * 1103515245u + 12345u;
        c = ALPHABET[(seed >> 16) % (sizeof(ALPHABET) - 1)];
    }
    EXPECT_FALSE(ImportText(bytes));
    EXPECT_EQ(Error.rfind("line ", 0), 0u) << Error;
}

// A side whose points lie on one line is skipped, so that the brush keeps
// its other faces (the parser would clip them all away); texture values that
// can't be used are replaced. Each warning names file and line.
TEST_F(MapImportTest, UnusableSidesAndValuesWarnWithTheirLines)
{
    const std::string sides =
        "( -32 -32 0 ) ( -32 -31 0 ) ( -32 -32 1 ) stone 0 0 0 1 1\n"
        "( 32 -32 0 ) ( 32 -32 1 ) ( 32 -32 2 ) stone 0 0 0 1 1\n"
        "( -32 -32 0 ) ( -32 -32 1 ) ( -31 -32 0 ) stone inf 0 0 0 1\n"
        "( -32 32 0 ) ( -31 32 0 ) ( -32 32 1 ) stone 0 0 0 1 1\n"
        "( -32 -32 0 ) ( -31 -32 0 ) ( -32 -31 0 ) stone 0 0 0 1 1\n"
        "( -32 -32 64 ) ( -32 -31 64 ) ( -31 -32 64 ) stone [ nan 0 0 0 ] [ 0 -1 0 0 ] 0 1 1\n";
    const std::string path = Write("input.map", World("", Brush(sides)));
    ASSERT_TRUE(Import(path)) << Error;
    EXPECT_EQ(Err.str(), "warning: " + path + ":5: side skipped: its three points lie on one line\n"
                         "warning: " + path + ":6: texture scale 0 replaced by 1\n"
                         "warning: " + path + ":6: texture offset inf replaced by 0\n"
                         "warning: " + path + ":9: texture axes [ nan 0 0 ] [ 0 -1 0 ] "
                         "replaced by those of the nearest axis plane\n");
    EXPECT_EQ(Record.SidesSkipped, 1);
    EXPECT_EQ(Record.ValuesRepaired, 3);
    ASSERT_EQ(Map.FaceCount, 5);
    for (const CFaceEntry* p = Map.pFaces; p; p = p->pNext)
        EXPECT_EQ(p->Face.VertexCount, 4);

    const CTexMapping& wall = Face(0, 0, -1)->pMappingNode->Mapping; // map -y
    EXPECT_EQ(wall.UOffset, 0);
    EXPECT_EQ(wall.UScale, 1.0f);
    // The top takes the axes of the floor plane.
    const CTexMapping& top = Face(0, 1, 0)->pMappingNode->Mapping;
    ExpectAt(top.UAxis, 1, 0, 0);
    ExpectAt(top.VAxis, 0, 0, -1);
}

class MergedEntities : public MapImportTest, public ::testing::WithParamInterface<bool> {};

TEST_P(MergedEntities, JoinTheWorldUnlessWorldOnly)
{
    const bool bWorldOnly = GetParam();
    auto entity = [](const char* pszClass, int brushes) {
        std::string text = "{\n\"classname\" \"" + std::string(pszClass) + "\"\n";
        for (int i = 0; i < brushes; ++i)
            text += Cube();
        return text + "}\n";
    };
    ASSERT_TRUE(ImportText(World("", Cube()) + entity("func_door", 1) + entity("func_group", 2) +
                               entity("trigger_once", 1) + entity("func_detail_wall", 1) +
                               entity("func_door", 1) + entity("light", 0),
                           {EMapDialect::Auto, bWorldOnly}))
        << Error;
    EXPECT_EQ(Map.FaceCount, bWorldOnly ? 6 : 24);
    const std::string skipped = bWorldOnly
                                    ? "func_door 2, func_group 2, trigger_once 1, func_detail_wall 1"
                                    : "func_door 2, trigger_once 1";
    EXPECT_EQ(Summary(),
              "Dialect:\tQuake " + std::to_string(Map.FaceCount) + " sides\n" +
                  "Brushes:\tworldspawn 1" + (bWorldOnly ? "" : ", func_group 2, func_detail_wall 1") +
                  "; skipped: " + skipped + "\n" + "Sides:\t42 read, " +
                  std::to_string(Map.FaceCount) + " kept, " +
                  std::to_string(42 - Map.FaceCount) + " in skipped brushes, 0 unusable\n" +
                  "Texture values replaced:\t0\n");
}

INSTANTIATE_TEST_SUITE_P(Rules, MergedEntities, ::testing::Bool());

// Names reach the name table as written, braces and folders included, in
// the table's byte order so that lookups by name find them.
TEST_F(MapImportTest, TextureNamesAreKeptAsWritten)
{
    ASSERT_TRUE(Import(Fixture("import_quake.map"))) << Error;
    ASSERT_EQ(Map.NameCount, 3);
    std::vector<bool> seen(3, false);
    for (const char* pszName : {"{grate", "e1u1/floor", "!water"}) {
        const CTexNameNode* pNode = FindName(Map.pNames, pszName);
        ASSERT_NE(pNode, nullptr) << pszName;
        seen.at(static_cast<size_t>(pNode->Index)) = true;
    }
    EXPECT_EQ(seen, std::vector<bool>(3, true));
    EXPECT_STREQ(Face(0, 1, 0)->pNameNode->Name.GetString(), "!water");
}

struct CSharedCase {
    const char* pszMap;
    int32_t Read;
    int32_t Kept;
    const char* pszDialect;
};

class SharedEditorMap : public MapImportTest, public ::testing::WithParamInterface<CSharedCase> {};

TEST_P(SharedEditorMap, KeepsEverySideOfItsWorld)
{
    ASSERT_TRUE(Import(::SharedMap(GetParam().pszMap))) << Error;
    EXPECT_EQ(Err.str(), "");
    EXPECT_EQ(Record.SidesRead, GetParam().Read);
    EXPECT_EQ(Record.SidesKept, GetParam().Kept);
    EXPECT_EQ(Record.SidesRead - Record.SidesKept, Record.SidesInSkippedBrushes);
    EXPECT_EQ(Map.FaceCount, GetParam().Kept);
    EXPECT_EQ(Summary().substr(0, Summary().find('\n')),
              std::string("Dialect:\t") + GetParam().pszDialect);
}

INSTANTIATE_TEST_SUITE_P(
    Editors, SharedEditorMap,
    ::testing::Values(
        CSharedCase{"glasstest.map", 108, 48, "Quake 48 sides"},
        CSharedCase{"q2_liquids.map", 168, 168,
                    "Valve 220 30 sides, Quake 2 with Valve 220 axes 138 sides; declared Valve "
                    "220 by \"mapversion\" \"220\""},
        CSharedCase{"q2_detail_non_sealing.map", 36, 36, "Quake 2 36 sides"},
        CSharedCase{"q1_csg_detail_fence_detail_wall.map", 12, 12,
                    "Valve 220 12 sides; declared Valve 220 by \"mapversion\" \"220\""},
        CSharedCase{"hl_currents.map", 302, 302,
                    "Valve 220 302 sides; declared Valve 220 by \"mapversion\" \"220\""}),
    [](const auto& info) {
        std::string name = info.param.pszMap;
        return name.substr(0, name.find('.'));
    });
