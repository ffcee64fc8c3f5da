#include "tools/sample_maps.h"

#include "compiler/build_tree.h"
#include "compiler/compile_driver.h"
#include "compiler/entities.h"
#include "compiler/map_parser.h"
#include "compiler/portal.h"
#include "compiler/visibility.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string DataMap(const std::string& name)
{
    return std::string(VORLANE_DATA_MAPS_DIR) + "/" + name;
}

uint32_t Le32(const std::string& data, size_t at)
{
    return uint32_t(uint8_t(data[at])) | uint32_t(uint8_t(data[at + 1])) << 8 |
           uint32_t(uint8_t(data[at + 2])) << 16 | uint32_t(uint8_t(data[at + 3])) << 24;
}
uint16_t Le16(const std::string& data, size_t at)
{
    return uint16_t(uint8_t(data[at]) | uint8_t(data[at + 1]) << 8);
}

// True when the picture is a square 24-bit uncompressed BMP of 64 or 128
// pixels whose sizes agree.
bool IsPlainBmp(const std::string& data)
{
    if (data.size() < 54 || data.compare(0, 2, "BM") != 0)
        return false;
    const uint32_t width = Le32(data, 18);
    return Le32(data, 14) == 40 && Le16(data, 26) == 1 && Le16(data, 28) == 24 &&
           Le32(data, 30) == 0 && width == Le32(data, 22) && (width == 64 || width == 128) &&
           Le32(data, 10) == 54 && Le32(data, 2) == data.size() &&
           data.size() == 54 + size_t((width * 3 + 3) & ~3u) * width;
}

// The corners of a convex brush: the points where three of its planes meet
// that lie behind all of them.
std::vector<samples::Vec3> Corners(const samples::Brush& brush)
{
    using mapgen::Cross;
    using mapgen::Dot;
    std::vector<samples::Vec3> corners;
    const size_t n = brush.size();
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = i + 1; j < n; ++j) {
            for (size_t k = j + 1; k < n; ++k) {
                const samples::Vec3 a = brush[i].Outward, b = brush[j].Outward,
                                    c = brush[k].Outward;
                const double det = Dot(a, Cross(b, c));
                if (std::fabs(det) < 1e-9)
                    continue;
                const double da = Dot(a, brush[i].Point), db = Dot(b, brush[j].Point),
                             dc = Dot(c, brush[k].Point);
                const samples::Vec3 p =
                    (Cross(b, c) * da + Cross(c, a) * db + Cross(a, b) * dc) * (1.0 / det);
                bool bInside = true;
                for (const mapgen::Side& side : brush)
                    bInside = bInside && Dot(side.Outward, p - side.Point) <= 1e-6;
                if (bInside)
                    corners.push_back(p);
            }
        }
    }
    return corners;
}

struct CBounds {
    samples::Vec3 Min{1e9, 1e9, 1e9};
    samples::Vec3 Max{-1e9, -1e9, -1e9};
};

CBounds BoundsOf(const std::vector<samples::Vec3>& corners)
{
    CBounds bounds;
    for (const samples::Vec3& p : corners) {
        bounds.Min = {std::min(bounds.Min.x, p.x), std::min(bounds.Min.y, p.y),
                      std::min(bounds.Min.z, p.z)};
        bounds.Max = {std::max(bounds.Max.x, p.x), std::max(bounds.Max.y, p.y),
                      std::max(bounds.Max.z, p.z)};
    }
    return bounds;
}

// True when the two boxes share some volume, not just a face or an edge.
bool Overlap(const CBounds& a, const CBounds& b)
{
    return a.Min.x < b.Max.x && b.Min.x < a.Max.x && a.Min.y < b.Max.y && b.Min.y < a.Max.y &&
           a.Min.z < b.Max.z && b.Min.z < a.Max.z;
}

// Compiled with either builder, the flood from the start reaches its own
// leaf and no point far outside.
void ExpectSealed(const std::string& path)
{
    for (const bool bListBuilder : {true, false}) {
        SCOPED_TRACE(bListBuilder ? "list builder" : "set builder");
        std::vector<CEntity> entities;
        CVector start;
        CMapData map;
        CFaceSet set;
        ASSERT_TRUE(ReadEntities(path.c_str(), &entities));
        ASSERT_TRUE(FindStartLocation(entities, &start));
        ASSERT_TRUE(ParseMapFile(path.c_str(), &map));
        CPortal* pPortals = nullptr;
        int32_t portalCount = 0;
        CBuildNode* pRoot = nullptr;
        std::ostringstream log;
        bool bResult = false;
        if (bListBuilder) {
            bResult = CompileMapData(&map, &start, &pPortals, &portalCount, &pRoot, log);
        } else {
            ASSERT_TRUE(MakeFaceSetFromMap(&map, &set));
            bResult = CompileFaceSet(&set, &start, &pPortals, &portalCount, &pRoot, log);
        }
        ASSERT_TRUE(bResult);
        EXPECT_TRUE(FindLeaf(pRoot, &start)->bVisited);
        for (const CVector& away : {CVector(4000, 0, 0), CVector(-4000, 0, 0), CVector(0, 4000, 0),
                                    CVector(0, -4000, 0), CVector(0, 0, 4000),
                                    CVector(0, 0, -4000)}) {
            const CVector far = start + away;
            EXPECT_FALSE(FindLeaf(pRoot, &far)->bVisited)
                << "reached " << far.x << " " << far.y << " " << far.z;
        }
        FreePortals(&pPortals, portalCount);
        FreeTree(&pRoot);
        FreeFaceSet(&set);
        FreeMapData(&map);
    }
}

// No two brushes share volume (an overlap can let the flood leak), all stay
// within 2800 units of the origin, and the start stands in no brush.
void ExpectBrushesApart(const samples::CSampleMap& map)
{
    SCOPED_TRACE(map.Title);
    std::vector<CBounds> bounds;
    for (const samples::Brush& brush : map.Brushes) {
        const std::vector<samples::Vec3> corners = Corners(brush);
        ASSERT_GE(corners.size(), 4u);
        bounds.push_back(BoundsOf(corners));
    }
    const CBounds start{map.Start, map.Start + samples::Vec3{1, 1, 1}};
    for (size_t i = 0; i < bounds.size(); ++i) {
        for (const double v : {bounds[i].Min.x, bounds[i].Min.y, bounds[i].Min.z, bounds[i].Max.x,
                               bounds[i].Max.y, bounds[i].Max.z})
            EXPECT_LE(std::fabs(v), 2800) << "brush " << i;
        EXPECT_FALSE(Overlap(bounds[i], start)) << "brush " << i;
        for (size_t j = i + 1; j < bounds.size(); ++j)
            EXPECT_FALSE(Overlap(bounds[i], bounds[j])) << "brushes " << i << " and " << j;
    }
}

struct CSampleCase {
    const char* Name; // without extension
    int MinBrushes;
    int MinTextures;
    int MinLights;
};

const CSampleCase SAMPLE_CASES[] = {{"room", 7, 4, 1}, {"level", 150, 12, 3}};

std::string CaseName(const ::testing::TestParamInfo<CSampleCase>& info)
{
    return info.param.Name;
}

class SampleMapFile : public ScratchDirTest, public ::testing::WithParamInterface<CSampleCase> {
protected:
    std::string MapPath() const { return DataMap(std::string(GetParam().Name) + ".map"); }
};

} // namespace

// The map parses, has its start and enough brushes, and every texture it
// names has a picture beside it; the light list names only used textures;
// it is sealed with either builder.
TEST_P(SampleMapFile, IsCompleteWithTexturesAndLights)
{
    const CSampleCase& sample = GetParam();
    std::vector<CEntity> entities;
    CVector start;
    ASSERT_TRUE(ReadEntities(MapPath().c_str(), &entities));
    EXPECT_TRUE(FindStartLocation(entities, &start));

    CMapData map;
    ASSERT_TRUE(ParseMapFile(MapPath().c_str(), &map));
    EXPECT_GE(map.FaceCount, sample.MinBrushes * 5);
    EXPECT_GE(map.NameCount, sample.MinTextures);
    std::vector<CTexNameNode*> pending{map.pNames};
    while (!pending.empty()) {
        CTexNameNode* pNode = pending.back();
        pending.pop_back();
        if (!pNode)
            continue;
        const std::string name = pNode->Name.GetString();
        EXPECT_LE(name.size(), 31u) << name;
        EXPECT_TRUE(std::none_of(name.begin(), name.end(), [](char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }))
            << name;
        EXPECT_TRUE(IsPlainBmp(ReadFile(DataMap(name + ".bmp")))) << name;
        pending.push_back(pNode->pHigher);
        pending.push_back(pNode->pLower);
    }

    std::istringstream lights(ReadFile(DataMap(std::string(sample.Name) + ".lights")));
    std::set<std::string> names;
    std::string name;
    int values[4];
    while (lights >> name >> values[0] >> values[1] >> values[2] >> values[3]) {
        EXPECT_NE(FindName(map.pNames, name.c_str()), nullptr) << name;
        EXPECT_GT(values[3], 0) << name;
        names.insert(name);
    }
    EXPECT_TRUE(lights.eof()) << "a light list entry is not five tokens";
    EXPECT_GE(int(names.size()), sample.MinLights);
    FreeMapData(&map);
    ExpectSealed(MapPath());
}

INSTANTIATE_TEST_SUITE_P(DataMaps, SampleMapFile, ::testing::ValuesIn(SAMPLE_CASES), CaseName);

// data/maps holds exactly what the generator gives: a change to the
// generator needs the folder regenerated.
TEST(SampleMapGenerator, MatchesTheDataFolder)
{
    size_t total = 0;
    for (const samples::CSampleFile& file : samples::SampleFiles()) {
        EXPECT_TRUE(ReadFile(DataMap(file.Name)) == file.Data)
            << file.Name << " differs from the generator: run vorlane-make-samples data/maps";
        total += file.Data.size();
    }
    EXPECT_LT(total, 2u << 20);
}

TEST(SampleMapGenerator, BrushesNeitherOverlapNorStrayFar)
{
    ExpectBrushesApart(samples::RoomMap());
    ExpectBrushesApart(samples::LevelMap());
    const samples::CSampleMap largest = samples::LargeMap(samples::MaxLargeBrushCount());
    EXPECT_EQ(int(largest.Brushes.size()), samples::MaxLargeBrushCount());
    ExpectBrushesApart(largest);
}

// The large map reaches the brush count asked for; its smallest grid, built
// the same way as the larger ones, is sealed.
class LargeSampleMap : public ScratchDirTest {};

TEST_F(LargeSampleMap, HasTheBrushesAskedForAndIsSealed)
{
    EXPECT_EQ(samples::LargeMap(1500).Brushes.size(), 1500u);
    const std::vector<samples::CSampleFile> files = samples::LargeFiles(1, "small.map");
    ASSERT_TRUE(samples::WriteFiles(Dir, files));
    EXPECT_EQ(files[1].Name, "small.lights");
    ExpectSealed(Path("small.map"));
}

// Rows of a picture whose width is no multiple of 4 are padded, stored from
// the bottom, blue first.
TEST(SampleMapGenerator, BmpRowsArePaddedBottomUpBgr)
{
    samples::CImage image(5, 2);
    image.Set(0, 0, 10, 20, 30);
    image.Set(4, 1, 40, 50, 60);
    const std::string data = samples::EncodeBmp(image);
    const uint32_t stride = 16; // 15 bytes of pixels, padded
    ASSERT_EQ(data.size(), 54 + 2 * stride);
    EXPECT_EQ(Le32(data, 2), data.size());
    EXPECT_EQ(Le32(data, 22), 2u);
    // The bottom row (y 1) comes first.
    EXPECT_EQ(data.substr(54 + 12, 4), std::string("\x3C\x32\x28\x00", 4));
    EXPECT_EQ(data.substr(54 + stride, 3), std::string("\x1E\x14\x0A", 3));
}
