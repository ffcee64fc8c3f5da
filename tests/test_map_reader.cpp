// The compiled map reader: a written map read back, the format's edge cases,
// what it loads that a stricter reader would refuse, damaged files, and
// random damage of a sound file.
#include "app_fixture.h"
#include "compiler/map_writer.h"
#include "viewer/map_info.h"
#include "viewer/map_reader.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

namespace {

std::vector<char> NameRows(std::initializer_list<const char*> names)
{
    std::vector<char> rows(names.size() * MAP_NAME_SIZE, 0);
    size_t i = 0;
    for (const char* pszName : names)
        std::strncpy(&rows[MAP_NAME_SIZE * i++], pszName, MAP_NAME_SIZE - 1);
    return rows;
}

CMapNode Node(float fDistance, int32_t nFront, int32_t nBack)
{
    return CMapNode{fDistance, CVector(1, 0, 0), nFront, nBack, 0};
}

// Faces of 3 and 4 vertices in two leaves under two nodes, and a third leaf
// holding no face.
CCompiledMap SampleMap()
{
    CCompiledMap map;
    map.Vertices = {{0, 0, 0}, {64, 0, 0}, {64, 64, 0}, {0, 64, 0}, {0, 0, 64}};
    map.Mappings = {{CVector(1, 0, 0), CVector(0, 0, -1), -7, 12, 1.0f, 2.0f, 30.0f},
                    {CVector(0, 1, 0), CVector(0, 0, 1), 3, 4, 0.5f, 1.0f, 0.0f}};
    map.Names = NameRows({"brick", "floor_2"});
    map.FaceWords = {3, 0, 1, 0, 1, 2, 4, 1, 0, 0, 1, 2, 3, 3, 1, 1, 4, 3, 2};
    map.Leaves = {{0, 2, 0, {}}, {2, 1, 0, {}}, {3, 0, 0, {}}};
    map.Nodes = {Node(-8, EncodeNodeChild(1), EncodeLeafChild(2)),
                 Node(4, EncodeLeafChild(0), EncodeLeafChild(1))};
    map.Visibility = {0b011, 0b011, 0b100};
    for (int i = 0; i < 3 * LIGHTMAP_BLOCK_SIZE; ++i)
        map.Lightmaps.push_back(static_cast<uint8_t>(i * 7));
    return map;
}

template <typename T>
bool SameBytes(const T* pRead, const std::vector<T>& written)
{
    return pRead && std::memcmp(pRead, written.data(), written.size() * sizeof(T)) == 0;
}

class MapReaderTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        FreeMapImage(&Image);
        ScratchDirTest::TearDown();
    }

    EMapRead ReadWritten(const CCompiledMap& map, const std::string& name = "map.vmz")
    {
        std::string error;
        EXPECT_TRUE(WriteCompiledMap(Path(name).c_str(), map, &error)) << error;
        return Read(Path(name));
    }
    // Reads into Image, freeing what an earlier read left there.
    EMapRead Read(const std::string& path, std::string* pProblem = nullptr)
    {
        FreeMapImage(&Image);
        return ReadMapImage(path.c_str(), &Image, pProblem);
    }

    CMapImage Image = {};
};

TEST_F(MapReaderTest, RoundTripKeepsEveryLumpAndUnpacksTheFacesInWalkOrder)
{
    const CCompiledMap map = SampleMap();
    ASSERT_EQ(ReadWritten(map), MAP_READ_OK);
    EXPECT_EQ(Image.nVertices, 5);
    EXPECT_TRUE(SameBytes(Image.pVertices, map.Vertices));
    EXPECT_EQ(Image.nMappings, 2);
    EXPECT_TRUE(SameBytes(Image.pMappings, map.Mappings));
    EXPECT_EQ(Image.nNames, 2);
    EXPECT_STREQ(Image.pNames + MAP_NAME_SIZE, "floor_2");
    EXPECT_EQ(Image.nLeafRecords, 3);
    EXPECT_TRUE(SameBytes(Image.pLeaves, map.Leaves));
    EXPECT_EQ(Image.nNodes, 2);
    EXPECT_TRUE(SameBytes(Image.pNodes, map.Nodes));
    EXPECT_TRUE(SameBytes(Image.pVisibility, map.Visibility));
    EXPECT_EQ(Image.nLightmapBytes, map.Lightmaps.size());
    EXPECT_TRUE(SameBytes(Image.pLightmaps, map.Lightmaps));
    ASSERT_EQ(Image.nFaces, 3);
    const std::vector<std::vector<int32_t>> expected = {
        {3, 0, 1, 0, 1, 2}, {4, 1, 0, 0, 1, 2, 3}, {3, 1, 1, 4, 3, 2}};
    for (int f = 0; f < 3; ++f) {
        const CMapFace& face = Image.pFaces[f];
        std::vector<int32_t> words = {face.nVertices, face.nMapping, face.nTexture};
        words.insert(words.end(), face.pIndices, face.pIndices + face.nVertices);
        EXPECT_EQ(words, expected[f]) << "face " << f;
    }
    FreeMapImage(&Image);
    FreeMapImage(&Image); // freeing twice is harmless
    EXPECT_EQ(Image.pFaces, nullptr);
}

// The smallest face record, visibility rows either side of a whole byte, an
// absent visibility lump, and a tree of one leaf on both sides of the root.
TEST_F(MapReaderTest, FormatEdgeCases)
{
    CCompiledMap map;
    map.Vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    map.Mappings = SampleMap().Mappings;
    map.Names = NameRows({"a"});
    map.FaceWords = {3, 0, 0, 2, 1, 0};
    map.Leaves.assign(8, CMapLeaf{1, 0, 0, {}});
    map.Leaves[0] = {0, 1, 0, {}};
    map.Nodes = {Node(0, EncodeLeafChild(0), EncodeLeafChild(0))};
    map.Lightmaps.assign(LIGHTMAP_BLOCK_SIZE, 9);
    map.Visibility.assign(8, 0xFF);
    ASSERT_EQ(ReadWritten(map), MAP_READ_OK);
    EXPECT_EQ(Image.nFaces, 1);
    EXPECT_EQ(Image.nRowBytes, 1);
    EXPECT_EQ(Image.nLeaves, 8);

    map.Leaves.push_back({1, 0, 0, {}});
    map.Visibility.assign(9 * 2, 0xFF);
    ASSERT_EQ(ReadWritten(map), MAP_READ_OK);
    EXPECT_EQ(Image.nRowBytes, 2);
    EXPECT_EQ(Image.nLeaves, 9);

    map.Visibility.clear();
    ASSERT_EQ(ReadWritten(map), MAP_READ_OK);
    EXPECT_EQ(Image.pVisibility, nullptr);
    EXPECT_EQ(Image.nRowBytes, 0);
    EXPECT_EQ(Image.nLeaves, 0);
}

// The reader's only failures are the file and its damage: a face's texture
// index outside the names (drawn with the texture before), a map without
// names, and nodes that stand before their parents all load.
TEST_F(MapReaderTest, TextureIndicesNamesAndNodeOrderAreNoFailure)
{
    ASSERT_EQ(Read(Fixture("damaged_texture_index.vmz")), MAP_READ_OK);
    EXPECT_EQ(Image.pFaces[1].nTexture, -1);

    CCompiledMap map = SampleMap();
    map.Names.clear();
    ASSERT_EQ(ReadWritten(map), MAP_READ_OK);
    EXPECT_EQ(Image.nNames, 0);

    // Node 0 -> node 2 -> node 1 -> leaves 0 and 1.
    map.Nodes = {Node(-8, EncodeNodeChild(2), MAP_SOLID_CHILD),
                 Node(4, EncodeLeafChild(0), EncodeLeafChild(1)),
                 Node(2, EncodeNodeChild(1), EncodeLeafChild(2))};
    EXPECT_EQ(ReadWritten(map), MAP_READ_OK);
}

TEST_F(MapReaderTest, FindsFilesAsWindowsWould)
{
    ASSERT_EQ(ReadWritten(SampleMap(), "Room.VMZ"), MAP_READ_OK);
    EXPECT_EQ(Read("C:\\room.vmz"), MAP_READ_OK); // the scratch directory stands for C:\ .
    EXPECT_EQ(Read(Path("absent.vmz")), MAP_READ_UNABLE_TO_OPEN);
    EXPECT_EQ(Read(Dir.string()), MAP_READ_UNABLE_TO_OPEN);
    EXPECT_STREQ(MapReadMessage(MAP_READ_UNABLE_TO_OPEN), "Unable to open file.");
    EXPECT_STREQ(MapReadMessage(MAP_READ_INVALID), "Invalid file.");
}

// Each damaged file differs from small.vmz in one place.
TEST_F(MapReaderTest, DamagedFilesAreInvalidWithTheirProblem)
{
    const std::pair<const char*, const char*> cases[] = {
        {"damaged_short.vmz", "shorter than the header"},
        {"damaged_magic.vmz", "bad magic"},
        {"damaged_lump_past_end.vmz", "lightmaps lump runs past the end"},
        {"damaged_lump_wraps.vmz", "vertices lump runs past the end"},
        {"damaged_face_past_lump.vmz", "record at word 6 runs past the lump"},
        {"damaged_face_negative_count.vmz", "record at word 0 runs past the lump"},
        {"damaged_vertex_index.vmz", "vertex index 4 at word 5"},
        {"damaged_mapping_index.vmz", "mapping index 1"},
        {"damaged_name_unterminated.vmz", "texture name 0 has no terminator"},
        {"damaged_leaf_faces.vmz", "leaf 1 has faces 1 + 2 outside the 2 faces"},
        {"damaged_node_leaf.vmz", "names a leaf past the 2 leaves"},
        {"damaged_node_missing.vmz", "names a node past the 2 nodes"},
        {"damaged_node_cycle.vmz", "node 1 child 1 names the root"},
        {"damaged_leaf_two_parents.vmz", "names a leaf that already has a parent"},
        {"damaged_no_nodes.vmz", "nodes lump missing"},
        {"damaged_visibility_short.vmz", "visibility lump: 1 bytes, short of 2 rows"},
        {"damaged_lightmaps_short.vmz", "lightmaps lump: 1535 bytes"},
    };
    ASSERT_EQ(Read(Fixture("small.vmz")), MAP_READ_OK);
    for (const auto& [pszFile, pszProblem] : cases) {
        std::string problem;
        EXPECT_EQ(Read(Fixture(pszFile), &problem), MAP_READ_INVALID) << pszFile;
        EXPECT_NE(problem.find(pszProblem), std::string::npos) << pszFile << ": " << problem;
        EXPECT_EQ(Image.pVertices, nullptr) << pszFile;
    }
    // A second parent for a node is the same damage as one for a leaf.
    CCompiledMap map = SampleMap();
    map.Nodes.push_back(Node(1, EncodeNodeChild(1), MAP_SOLID_CHILD));
    std::string error, problem;
    ASSERT_TRUE(WriteCompiledMap(Path("shared.vmz").c_str(), map, &error));
    EXPECT_EQ(Read(Path("shared.vmz"), &problem), MAP_READ_INVALID);
    EXPECT_NE(problem.find("node 2 child 2 names a node that already has a parent"),
              std::string::npos)
        << problem;
}

TEST_F(MapReaderTest, NegativeVertexIndexThrowsInvalidIndexAndLeavesNothing)
{
    EXPECT_EQ(ThrownMessage([&] { Read(Fixture("damaged_negative_index.vmz")); }), "Invalid index");
    EXPECT_EQ(Image.pFaces, nullptr);
}

// Random damage: the reader accepts, rejects or throws for a negative index,
// and nothing reads outside its buffers (the sanitizer build checks that);
// what it accepts also survives the info tool's passes.
TEST_F(MapReaderTest, RandomDamageIsAcceptedRejectedOrThrown)
{
    std::ifstream in(Fixture("small.vmz"), std::ios::binary);
    const std::vector<char> sound((std::istreambuf_iterator<char>(in)), {});
    std::mt19937 random(20240611);
    const std::string path = Path("damaged.vmz");
    int nCounts[3] = {};
    for (int nRound = 0; nRound < 600; ++nRound) {
        std::vector<char> bytes = sound;
        const int32_t nSmall = static_cast<int32_t>(random() % 20) - 4;
        switch (random() % 3) {
        case 0: // a few bytes changed anywhere
            for (int n = 1 + random() % 4; n > 0; --n)
                bytes[random() % bytes.size()] = static_cast<char>(random());
            break;
        case 1: // a word set to a small number, as counts and indices are
            std::memcpy(&bytes[random() % (bytes.size() / 4) * 4], &nSmall, 4);
            break;
        default: // cut short
            bytes.resize(random() % bytes.size());
            break;
        }
        std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), bytes.size());
        EMapRead result = MAP_READ_INVALID;
        const std::string thrown = ThrownMessage([&] { result = Read(path); });
        ASSERT_NE(result, MAP_READ_UNABLE_TO_OPEN);
        if (thrown != "no error") {
            EXPECT_EQ(thrown, "Invalid index");
        }
        ++nCounts[thrown != "no error" ? 2 : result == MAP_READ_OK ? 0 : 1];
        if (result == MAP_READ_OK) {
            FindMapWarnings(Image);
            for (float x = -2; x <= 2; x += 0.5f)
                IsPointOpen(Image, CVector(x, 0.1f, 0));
        }
        FreeMapImage(&Image);
    }
    EXPECT_GT(nCounts[0], 0);
    EXPECT_GT(nCounts[1], 0);
    EXPECT_GT(nCounts[2], 0);
}

} // namespace
