#include "compiler/entities.h"

#include "platform/files.h"

#include "tests/front_faces.h"
#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

class EntitiesTest : public ScratchDirTest {
protected:
    std::vector<CEntity> Read(const std::string& text)
    {
        std::vector<CEntity> entities;
        EXPECT_TRUE(ReadEntities(Write("input.map", text).c_str(), &entities));
        return entities;
    }
};

} // namespace

TEST_F(EntitiesTest, EveryEntityWithItsKeysAndNoBrushContent)
{
    std::vector<CEntity> entities;
    ASSERT_TRUE(ReadEntities(Fixture("two_brushes.map").c_str(), &entities));
    ASSERT_EQ(entities.size(), 3u);
    EXPECT_STREQ(entities[0].Get("classname"), "worldspawn");
    EXPECT_EQ(entities[0].Keys.size(), 1u); // brush lines add no keys
    EXPECT_STREQ(entities[1].Get("classname"), "func_door");
    EXPECT_STREQ(entities[1].Get("angle"), "90");
    EXPECT_EQ(entities[1].Get("origin"), nullptr);
    EXPECT_EQ(entities[1].Get(nullptr), nullptr);
    EXPECT_EQ(entities[1].Get("Angle"), nullptr); // keys keep their case

    CVector start;
    ASSERT_TRUE(FindStartLocation(entities, &start));
    // "16 -8 40" in the file's axes.
    ExpectAt(start, 16, 40, -8);

    // Reading leaves the token log alone.
    EXPECT_FALSE(fs::exists(Dir / "tokens.txt"));
}

TEST_F(EntitiesTest, RealMapsHaveTheirStartLocations)
{
    struct CCase {
        const char* pszName;
        size_t EntityCount;
        CVector Start;
    };
    const CCase cases[] = {{"q1_cubes.map", 2, CVector(56, 136, -208)},
                           {"qbsp_angled_brush.map", 3, CVector(-88, 120, -64)},
                           {"hl_currents.map", 5, CVector(112, 52, -224)}};
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.pszName);
        std::vector<CEntity> entities;
        const std::string path = SharedMap(c.pszName);
        ASSERT_TRUE(ReadEntities(path.c_str(), &entities));
        EXPECT_EQ(entities.size(), c.EntityCount);
        EXPECT_STREQ(entities[0].Get("classname"), "worldspawn");
        CVector start;
        ASSERT_TRUE(FindStartLocation(entities, &start));
        ExpectAt(start, c.Start.x, c.Start.y, c.Start.z);
    }
}

TEST_F(EntitiesTest, CommentsQuotesAndOddPairs)
{
    const std::vector<CEntity> entities = Read(
        "// \"classname\" \"commented\"\n"
        "{\n"
        "\"classname\" \"light\" // \"light\" \"300\"\n"
        "\"message\" \"a { b } // c\"\n"
        "\"dup\" \"first\"\n"
        "\"dup\" \"second\"\n"
        "stray \"lonely\" word\n"
        "\"empty\" \"\"\n"
        "}\n"
        "junk between entities\n"
        "{ \"classname\" \"cut\" \"unfinished");
    ASSERT_EQ(entities.size(), 2u);
    const CEntity& light = entities[0];
    EXPECT_STREQ(light.Get("classname"), "light");
    EXPECT_EQ(light.Get("light"), nullptr);
    EXPECT_STREQ(light.Get("message"), "a { b } // c");
    EXPECT_STREQ(light.Get("dup"), "first");
    EXPECT_EQ(light.Get("lonely"), nullptr); // a word breaks the pair
    EXPECT_STREQ(light.Get("empty"), "");
    ASSERT_EQ(light.Keys.size(), 5u);
    EXPECT_EQ(light.Keys[3].second, "second");

    // The file ends inside the last entity: what was read stays; the key whose
    // value never came is dropped.
    EXPECT_STREQ(entities[1].Get("classname"), "cut");
    EXPECT_EQ(entities[1].Keys.size(), 1u);
}

// Editors name textures "{grate" and "e1u1/{fence": such a word stays whole,
// so that the brush ends where it does and the entities behind it are read.
TEST_F(EntitiesTest, BraceInATextureNameOpensNoBrush)
{
    const std::vector<CEntity> entities = Read(
        "{\n\"classname\" \"func_detail_fence\"\n{\n"
        "( 0 0 0 ) ( 0 1 0 ) ( 1 0 0 ) {trigger [ 0 1 0 0 ] [ 0 0 -1 0 ] 0 1 1\n"
        "( 0 0 8 ) ( 1 0 8 ) ( 0 1 8 ) e1u1/{fence 0 0 0 1 1\n}\n}\n"
        "{\"classname\" \"info_player_start\"}");
    ASSERT_EQ(entities.size(), 2u);
    EXPECT_STREQ(entities[1].Get("classname"), "info_player_start");
}

TEST_F(EntitiesTest, StartLocationNeedsThreeNumbers)
{
    CVector start(7, 7, 7);
    EXPECT_FALSE(FindStartLocation({}, &start));
    EXPECT_FALSE(FindStartLocation(Read("{ \"classname\" \"worldspawn\" }"), &start));
    EXPECT_FALSE(FindStartLocation(
        Read("{ \"classname\" \"info_player_start\" \"origin\" \"1 2\" }"), &start));
    EXPECT_FALSE(FindStartLocation(
        Read("{ \"classname\" \"info_player_start\" \"origin\" \"a b c\" }"), &start));
    EXPECT_FALSE(FindStartLocation(Read("{ \"classname\" \"info_player_start\" }"), &start));
    EXPECT_EQ(start.x, 7.0f); // untouched by every failure

    // The first start counts, not a later one.
    ASSERT_TRUE(FindStartLocation(
        Read("{ \"classname\" \"info_player_deathmatch\" \"origin\" \"9 9 9\" }\n"
             "{ \"origin\" \"1.5 -2 3\" \"classname\" \"info_player_start\" }\n"
             "{ \"classname\" \"info_player_start\" \"origin\" \"4 5 6\" }"),
        &start));
    ExpectAt(start, 1.5f, 3, -2);
}

TEST_F(EntitiesTest, MissingEmptyAndDamagedFiles)
{
    std::vector<CEntity> entities;
    EXPECT_FALSE(ReadEntities((Dir / "absent.map").string().c_str(), &entities));
    EXPECT_TRUE(ReadEntities(Fixture("empty.map").c_str(), &entities));
    EXPECT_TRUE(ReadEntities(Fixture("whitespace.map").c_str(), &entities));
    EXPECT_TRUE(entities.empty());

    EXPECT_TRUE(Read("}}}{{{").size() == 1u);
    EXPECT_EQ(Read("{ \"a\" \"b").size(), 1u);
    EXPECT_EQ(Read("\"").size(), 0u);
    ASSERT_TRUE(ReadEntities(Fixture("damaged_truncated.map").c_str(), &entities));
    ASSERT_EQ(entities.size(), 1u);
    EXPECT_STREQ(entities[0].Get("classname"), "worldspawn");

    std::string bytes(5000, '\0');
    unsigned seed = 7;
    for (char& c : bytes) {
        seed = seed * 1103515245u + 12345u;
        c = static_cast<char>(seed >> 24);
    }
    Read(bytes); // no crash, whatever comes out
}
