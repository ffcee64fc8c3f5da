// Drawing the world tree on the null device: which leaves, in which order,
// and what each face sends.
#include "world_map.h"

#include "resources/texture_surface.h"

#include <algorithm>
#include <cstring>

namespace {

// Root x = 0: front node x = 10 (front leaf 2, back leaf 0), back leaf 1.
// Leaf 0 has fans of 3 and 4 corners, leaf 1 of 5, leaf 2 of 6.
class WorldDrawTest : public WorldTest {
protected:
    void SetUp() override
    {
        WorldTest::SetUp();
        for (int n = 3; n <= 6; ++n)
            Map.AddFan(n, n == 4 ? 5 : 0); // texture 5 is beyond the viewer's one
        Map.Leaves = {Leaf(0, 2), Leaf(2, 1), Leaf(3, 1)};
        Map.Nodes = {NodeX(0, EncodeNodeChild(1), EncodeLeafChild(1)),
                     NodeX(10, EncodeLeafChild(2), EncodeLeafChild(0))};
        Picture.Create(&App, 16, 16, nullptr, 0);
        App.ppTextures = pTextures;
        App.nTextures = 1;
    }
    void TearDown() override { App.ppTextures = nullptr; }

    static std::vector<uint32_t> Fans()
    {
        std::vector<uint32_t> counts;
        for (const CNullDraw& draw : GetNullDeviceState().Draws)
            counts.push_back(draw.nCount);
        return counts;
    }

    CTextureSurface Picture;
    CTextureSurface* pTextures[1] = {&Picture};
};

TEST_F(WorldDrawTest, EachFaceBindsTextureAndLightmapThenDrawsOneFan)
{
    Build();
    EXPECT_TRUE(Map.LeafObjects[0]->DrawFaces(&App));
    // Face 1's texture is out of range: stage 0 keeps face 0's.
    EXPECT_EQ(DrawLog(), (std::vector<std::string>{
                             "SetTexture 0 tex", "SetTexture 1 tex", "DrawPrimitive 6 738 3",
                             "SetTexture 1 tex", "DrawPrimitive 6 738 4"}));
    const CNullDraw& draw = GetNullDeviceState().Draws.at(1);
    ASSERT_EQ(draw.Vertices.size(), 4 * sizeof(CVertex));
    EXPECT_EQ(std::memcmp(draw.Vertices.data(), Map.LeafObjects[0]->pFaces[1].pVertices, 160), 0);
}

TEST_F(WorldDrawTest, DrawVisibleTakesTheEyeLeafThenItsList)
{
    Map.SetVisibility({{2, 0, 1}, {}, {}});
    Build();
    EXPECT_TRUE(World.DrawVisible(&App, CVector(5, 0, 0)));
    EXPECT_EQ(Fans(), (std::vector<uint32_t>{3, 4, 3, 4, 5, 6}));
    // On the root plane the eye is behind it; leaf 1's list is empty.
    GetNullDeviceState().Draws.clear();
    EXPECT_TRUE(World.DrawVisible(&App, CVector(0, 0, 0)));
    EXPECT_EQ(Fans(), (std::vector<uint32_t>{5}));
}

TEST_F(WorldDrawTest, EyeInSolidDrawsNothingAndNoRowsDrawOnlyTheLeaf)
{
    Map.Nodes[1].Front = MAP_SOLID_CHILD;
    Build();
    EXPECT_FALSE(World.DrawVisible(&App, CVector(20, 0, 0)));
    EXPECT_TRUE(DrawLog().empty());
    EXPECT_TRUE(World.DrawVisible(&App, CVector(5, 0, 0)));
    EXPECT_EQ(Fans(), (std::vector<uint32_t>{3, 4}));
}

TEST_F(WorldDrawTest, DrawAllGoesFrontFirstWithoutLists)
{
    Map.SetVisibility({{1}, {0}, {0}});
    Build();
    EXPECT_TRUE(World.DrawAll(&App));
    EXPECT_EQ(Fans(), (std::vector<uint32_t>{6, 3, 4, 5}));
}

TEST_F(WorldDrawTest, MissingLightmapsAndFailedDrawsSkipNoFace)
{
    GetNullConfig().Failures = {{"CreateSurface", E_FAIL}};
    Build();
    EXPECT_FLOAT_EQ(Map.LeafObjects[0]->pFaces[0].pVertices[0].LightU, 1.0f);
    EXPECT_NEAR(Map.LeafObjects[0]->pFaces[0].pVertices[2].LightU, 0.0f, 1e-6);
    GetNullConfig().Failures = {{"DrawPrimitive", E_FAIL}};
    World.DrawAll(&App);
    const std::vector<std::string> log = DrawLog();
    EXPECT_EQ(std::count(log.begin(), log.end(), "SetTexture 1 null"), 4);
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& s) { return s.starts_with("DrawPrimitive"); }),
              4);
}

} // namespace
