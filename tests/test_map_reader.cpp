// The compiled map file: writer and reader together, the reader's edge cases,
// damaged files, and random damage of a sound file.
#include "compiler/map_writer.h"
#include "frame/error.h"
#include "scratch_dir.h"
#include "viewer/map_info.h"
#include "viewer/map_reader.h"

#include <cstring>
#include <filesystem>
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

CTexMapping Mapping(float fScale)
{
    CTexMapping mapping = {};
    mapping.UAxis = CVector(1, 0, 0);
    mapping.VAxis = CVector(0, 0, -1);
    mapping.UOffset = -7;
    mapping.VOffset = 12;
    mapping.UScale = fScale;
    mapping.VScale = fScale * 2;
    mapping.Rotation = 30;
    return mapping;
}

CMapNode Node(float fDistance, CVector normal, int32_t nFront, int32_t nBack)
{
    CMapNode node = {};
    node.Distance = fDistance;
    node.Normal = normal;
    node.Front = nFront;
    node.Back = nBack;
    return node;
}

// A small map with every lump: faces of 3 and 4 vertices in two leaves under
// two nodes, and a third leaf holding no face.
CCompiledMap SampleMap()
{
    CCompiledMap map;
    map.Vertices = {{0, 0, 0}, {64, 0, 0}, {64, 64, 0}, {0, 64, 0}, {0, 0, 64}};
    map.Mappings = {Mapping(1), Mapping(0.5f)};
    map.Names = NameRows({"brick", "floor_2"});
    map.FaceWords = {3, 0, 1, 0, 1, 2, 4, 1, 0, 0, 1, 2, 3, 3, 1, 1, 4, 3, 2};
    map.Leaves = {{0, 2, 0, {}}, {2, 1, 0, {}}, {3, 0, 0, {}}};
    map.Nodes = {Node(-8, CVector(1, 0, 0), EncodeNodeChild(1), EncodeLeafChild(2)),
                 Node(4, CVector(0, 1, 0), EncodeLeafChild(0), EncodeLeafChild(1))};
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

std::vector<char> ReadBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(file), {});
}

class MapReaderTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        FreeMapImage(&Image);
        ScratchDirTest::TearDown();
    }

    std::string WriteMap(const CCompiledMap& map, const std::string& name = "map.vmz")
    {
        std::string path = Path(name), error;
        EXPECT_TRUE(WriteCompiledMap(path.c_str(), map, &error)) << error;
        return path;
    }

    // Reads into Image, freeing what an earlier read left there.
    EMapRead Read(const std::string& path, std::string* pProblem = nullptr)
    {
        FreeMapImage(&Image);
        return ReadMapImage(path.c_str(), &Image, pProblem);
    }

    CMapImage Image = {};
};

TEST_F(MapReaderTest, RoundTripKeepsEveryLump)
{
    CCompiledMap map = SampleMap();
    std::string path = WriteMap(map);
    ASSERT_EQ(ReadMapImage(path.c_str(), &Image), MAP_READ_OK);

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
    EXPECT_EQ(Image.nRowBytes, 1);
    EXPECT_EQ(Image.nLeaves, 3);
    EXPECT_TRUE(SameBytes(Image.pVisibility, map.Visibility));
    EXPECT_EQ(Image.nLightmapBytes, map.Lightmaps.size());
    EXPECT_TRUE(SameBytes(Image.pLightmaps, map.Lightmaps));

    // The faces come back unpacked, in walk order.
    ASSERT_EQ(Image.nFaces, 3);
    const std::vector<std::vector<int32_t>> expected = {
        {3, 0, 1, 0, 1, 2}, {4, 1, 0, 0, 1, 2, 3}, {3, 1, 1, 4, 3, 2}};
    for (int f = 0; f < 3; ++f) {
        const CMapFace& face = Image.pFaces[f];
        std::vector<int32_t> words = {face.nVertices, face.nMapping, face.nTexture};
        words.insert(words.end(), face.pIndices, face.pIndices + face.nVertices);
        EXPECT_EQ(words, expected[f]) << "face " << f;
    }

    // The reader leaves the builder's members alone; freeing twice is harmless.
    EXPECT_EQ(Image.pTextureSizes, nullptr);
    EXPECT_EQ(Image.ppLeaves, nullptr);
    FreeMapImage(&Image);
    FreeMapImage(&Image);
    EXPECT_EQ(Image.pFaces, nullptr);
}

TEST_F(MapReaderTest, WriterLaysOutHeaderAndLeavesNoTemporaryFile)
{
    CCompiledMap map = SampleMap();
    map.Visibility.clear();
    std::string path = WriteMap(map);
    WriteMap(map); // replaces the file in place
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Dir),
                            std::filesystem::directory_iterator()),
              1);

    std::vector<char> bytes = ReadBytes(path);
    ASSERT_GE(bytes.size(), size_t(MAP_HEADER_SIZE));
    CMapFileHeader header;
    std::memcpy(&header, bytes.data(), sizeof(header));
    EXPECT_EQ(std::memcmp(header.Magic, "VMZF", 4), 0);
    EXPECT_EQ(header.Lumps[LUMP_VERTICES].Offset, uint32_t(MAP_HEADER_SIZE));
    EXPECT_EQ(header.Lumps[LUMP_FACES].Size, map.FaceWords.size() * 4);
    EXPECT_EQ(header.Lumps[LUMP_VISIBILITY].Offset, 0u);
    EXPECT_EQ(header.Lumps[LUMP_VISIBILITY].Size, 0u);
    const CMapLump& last = header.Lumps[LUMP_LIGHTMAPS];
    EXPECT_EQ(uint64_t(last.Offset) + last.Size, bytes.size());
}

TEST_F(MapReaderTest, WriterFailureNamesTheFileAndLeavesNothing)
{
    std::string path = Path("missing_dir/map.vmz"), error;
    EXPECT_FALSE(WriteCompiledMap(path.c_str(), SampleMap(), &error));
    EXPECT_NE(error.find(path), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(Dir / "missing_dir"));
}

// The edge cases of the format: the smallest face record, the width of a
// visibility row either side of a whole byte, and an absent visibility lump.
TEST_F(MapReaderTest, FormatEdgeCases)
{
    CCompiledMap map;
    map.Vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    map.Mappings = {Mapping(1)};
    map.Names = NameRows({"a"});
    map.FaceWords = {3, 0, 0, 2, 1, 0};
    map.Leaves.assign(8, CMapLeaf{1, 0, 0, {}});
    map.Leaves[0] = {0, 1, 0, {}};
    map.Nodes = {Node(0, CVector(1, 0, 0), EncodeLeafChild(0), MAP_SOLID_CHILD)};
    map.Lightmaps.assign(LIGHTMAP_BLOCK_SIZE, 9);
    map.Visibility.assign(8, 0xFF);
    ASSERT_EQ(Read(WriteMap(map)), MAP_READ_OK);
    EXPECT_EQ(Image.nFaces, 1);
    EXPECT_EQ(Image.Header.Lumps[LUMP_FACES].Size, 6u * 4);
    EXPECT_EQ(Image.nRowBytes, 1);
    EXPECT_EQ(Image.nLeaves, 8);

    map.Leaves.push_back({1, 0, 0, {}});
    map.Visibility.assign(9 * 2, 0xFF);
    ASSERT_EQ(Read(WriteMap(map)), MAP_READ_OK);
    EXPECT_EQ(Image.nRowBytes, 2);
    EXPECT_EQ(Image.nLeaves, 9);

    map.Visibility.clear();
    ASSERT_EQ(Read(WriteMap(map)), MAP_READ_OK);
    EXPECT_EQ(Image.pVisibility, nullptr);
    EXPECT_EQ(Image.nRowBytes, 0);
    EXPECT_EQ(Image.nLeaves, 0);
    EXPECT_EQ(Image.nLeafRecords, 9);

    // A tree of one leaf: the root plane has that leaf on both sides.
    map.Nodes[0].Back = EncodeLeafChild(0);
    EXPECT_EQ(Read(WriteMap(map)), MAP_READ_OK);
}

TEST_F(MapReaderTest, FindsFilesAsWindowsWould)
{
    WriteMap(SampleMap(), "Room.VMZ");
    // The scratch directory stands for C:\ during the test.
    EXPECT_EQ(Read("C:\\room.vmz"), MAP_READ_OK);
    EXPECT_EQ(Read(Path("ROOM.vmz")), MAP_READ_OK);
    EXPECT_EQ(Image.nFaces, 3);

    EXPECT_EQ(Read(Path("absent.vmz")), MAP_READ_UNABLE_TO_OPEN);
    EXPECT_STREQ(MapReadMessage(MAP_READ_UNABLE_TO_OPEN), "Unable to open file.");
    EXPECT_EQ(Read(Dir.string()), MAP_READ_UNABLE_TO_OPEN);
}

struct CDamagedCase {
    const char* pszFile;
    const char* pszProblem; // a part of the problem line
};

// Each damaged file differs from small.vmz in one place.
const CDamagedCase DAMAGED_CASES[] = {
    {"damaged_short.vmz", "shorter than the header"},
    {"damaged_magic.vmz", "bad magic"},
    {"damaged_lump_past_end.vmz", "lightmaps lump runs past the end"},
    {"damaged_lump_wraps.vmz", "vertices lump runs past the end"},
    {"damaged_face_past_lump.vmz", "record at word 6 runs past the lump"},
    {"damaged_face_negative_count.vmz", "record at word 0 runs past the lump"},
    {"damaged_vertex_index.vmz", "vertex index 4 at word 5"},
    {"damaged_mapping_index.vmz", "mapping index 1"},
    {"damaged_texture_index.vmz", "texture index -1"},
    {"damaged_name_unterminated.vmz", "texture name 0 has no terminator"},
    {"damaged_leaf_faces.vmz", "leaf 1 has faces 1 + 2 outside the 2 faces"},
    {"damaged_node_leaf.vmz", "names a leaf past the 2 leaves"},
    {"damaged_node_missing.vmz", "names a node past the 2 nodes"},
    {"damaged_node_cycle.vmz", "does not come after its parent"},
    {"damaged_leaf_two_parents.vmz", "names a leaf that already has a parent"},
    {"damaged_no_nodes.vmz", "nodes lump missing"},
    {"damaged_visibility_short.vmz", "visibility lump: 1 bytes, short of 2 rows"},
    {"damaged_lightmaps_short.vmz", "lightmaps lump: 1535 bytes"},
};

TEST_F(MapReaderTest, DamagedFilesAreInvalidWithTheirProblem)
{
    ASSERT_EQ(Read(Fixture("small.vmz")), MAP_READ_OK);
    for (const CDamagedCase& damaged : DAMAGED_CASES) {
        std::string problem;
        EXPECT_EQ(Read(Fixture(damaged.pszFile), &problem),
                  MAP_READ_INVALID)
            << damaged.pszFile;
        EXPECT_NE(problem.find(damaged.pszProblem), std::string::npos)
            << damaged.pszFile << ": " << problem;
        EXPECT_EQ(Image.pVertices, nullptr) << damaged.pszFile;
        EXPECT_EQ(Image.pFaces, nullptr) << damaged.pszFile;
    }
    EXPECT_STREQ(MapReadMessage(MAP_READ_INVALID), "Invalid file.");
}

TEST_F(MapReaderTest, NegativeVertexIndexThrowsInvalidIndex)
{
    try {
        ReadMapImage(Fixture("damaged_negative_index.vmz").c_str(), &Image);
        FAIL() << "no CError";
    } catch (const CError& error) {
        EXPECT_STREQ(error.GetMessage(), "Invalid index");
    }
    EXPECT_EQ(Image.pFaces, nullptr);
    EXPECT_EQ(Image.pVertices, nullptr);
}

// Random damage of a sound file: the reader may accept it, reject it, or
// throw for a negative index, and nothing may read outside its buffers (the
// sanitizer build checks that). What it accepts must also survive the info
// tool's passes over it.
TEST_F(MapReaderTest, RandomDamageIsAcceptedRejectedOrThrown)
{
    std::vector<char> sound = ReadBytes(Fixture("small.vmz"));
    ASSERT_GT(sound.size(), size_t(MAP_HEADER_SIZE));
    std::mt19937 random(20240611);
    std::string path = Path("damaged.vmz");
    int nCounts[3] = {};
    for (int nRound = 0; nRound < 600; ++nRound) {
        std::vector<char> bytes = sound;
        switch (random() % 3) {
        case 0: // a few bytes changed anywhere
            for (int n = 1 + random() % 4; n > 0; --n)
                bytes[random() % bytes.size()] = static_cast<char>(random());
            break;
        case 1: { // a word set to a small number, as counts and indices are
            size_t nWord = random() % (bytes.size() / 4);
            int32_t value = static_cast<int32_t>(random() % 20) - 4;
            std::memcpy(&bytes[nWord * 4], &value, 4);
            break;
        }
        default: // cut short
            bytes.resize(random() % bytes.size());
            break;
        }
        std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), bytes.size());

        try {
            EMapRead result = ReadMapImage(path.c_str(), &Image);
            ASSERT_NE(result, MAP_READ_UNABLE_TO_OPEN);
            ++nCounts[result == MAP_READ_OK ? 0 : 1];
            if (result == MAP_READ_OK) {
                FindMapWarnings(Image);
                for (float x = -2; x <= 2; x += 0.5f)
                    IsPointOpen(Image, CVector(x, 0.1f, 0));
            }
        } catch (const CError& error) {
            EXPECT_STREQ(error.GetMessage(), "Invalid index");
            ++nCounts[2];
        }
        FreeMapImage(&Image);
    }
    // The damage reaches every outcome.
    EXPECT_GT(nCounts[0], 0);
    EXPECT_GT(nCounts[1], 0);
    EXPECT_GT(nCounts[2], 0);
}

} // namespace
