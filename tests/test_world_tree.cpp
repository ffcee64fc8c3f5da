// The world tree: building from a map image, teardown, damaged structure,
// deep trees and the collision test.
#include "world_map.h"

#include "compiler/texsize.h"
#include "resources/texture_surface.h"

#include <cmath>

namespace {

CWorldNode* AsNode(CWorldElement* pElement)
{
    return pElement && !pElement->IsLeaf() ? static_cast<CWorldNode*>(pElement) : nullptr;
}

TEST_F(WorldTest, ChildEncodingAndPlanes)
{
    Map.Leaves = {Leaf(0, 0), Leaf(0, 0)};
    Map.Nodes = {NodeX(1, EncodeNodeChild(1), EncodeLeafChild(0)),
                 CMapNode{3.5f, CVector(0, 1, 0), MAP_SOLID_CHILD, EncodeLeafChild(1), 0}};
    Build();
    EXPECT_EQ(World.pBack, Map.LeafObjects[0]);
    CWorldNode* pNode = AsNode(World.pFront);
    ASSERT_NE(pNode, nullptr);
    EXPECT_EQ(pNode->pFront, nullptr);
    EXPECT_EQ(pNode->pBack, Map.LeafObjects[1]);
    CPlane plane; // the record holds d ahead of the normal
    EXPECT_EQ(pNode->GetPlane(&plane)->Distance, 3.5f);
    EXPECT_EQ(plane.Normal.y, 1.0f);
}

TEST_F(WorldTest, LeafFacesCoordinatesAndLightmaps)
{
    Map.AddFan(3);
    Map.AddFace({{64, 32, 0}, {0, 32, 0}, {0, 0, 0}, {64, 0, 0}}, 0);
    Map.AddFace({{32, 16, 0}, {0, 16, 0}, {0, 0, 0}}, 1);
    Map.Leaves = {Leaf(0, 1), Leaf(1, 2), Leaf(3, 0)}; // leaf 1 holds faces 1 and 2
    int32_t nCounter = 0;
    FindOrAddTexSize(&Map.pSizes, "wall", 64, 32, &nCounter);
    Map.Nodes = {NodeX(0, EncodeLeafChild(1), EncodeLeafChild(0))};
    Build();

    const CWorldLeaf* pLeaf = Map.LeafObjects[1];
    ASSERT_EQ(pLeaf->nFaces, 2);
    const CVertex& corner = pLeaf->pFaces[0].pVertices[0];
    EXPECT_EQ(corner.Position.x, 64.0f);
    EXPECT_EQ(corner.Colour, 0xFFFFFFFFu);
    // Texture 0 is 64 x 32; texture 1 has no size and counts as 256 square.
    EXPECT_FLOAT_EQ(corner.TexU, 1.0f);
    EXPECT_FLOAT_EQ(corner.TexV, 1.0f);
    EXPECT_FLOAT_EQ(pLeaf->pFaces[1].pVertices[0].TexU, 0.125f);
    EXPECT_FLOAT_EQ(pLeaf->pFaces[1].pVertices[0].TexV, 0.0625f);
    EXPECT_FLOAT_EQ(corner.LightU, 1.0f);
    EXPECT_FLOAT_EQ(pLeaf->pFaces[0].pVertices[1].LightU, 0.0f);
    // Texel (x, y) of each surface comes from block 1 + i, red first.
    for (int i = 0; i < 2; ++i) {
        CTextureSurface& surface = pLeaf->pLightmaps[i];
        EXPECT_EQ(surface.GetStage(), 1);
        HDC hdc = surface.GetDC();
        ASSERT_NE(hdc, nullptr);
        EXPECT_EQ(GetPixel(hdc, 3, 11), RGB(uint8_t(1 + i), 3, 11));
        EXPECT_EQ(GetPixel(hdc, 15, 0), RGB(uint8_t(1 + i), 15, 0));
        surface.ReleaseDC(hdc);
    }
    EXPECT_EQ(Map.LeafObjects[2]->pFaces, nullptr);
    EXPECT_NE(Map.LeafObjects[2]->pLightmaps, nullptr);
    EXPECT_EQ(pLeaf->ppVisible, nullptr); // no visibility lump
}

TEST_F(WorldTest, VisibleListsAndDetachedLeaves)
{
    Map.Leaves.assign(9, Leaf(0, 0)); // rows of two bytes
    Map.SetVisibility({{8, 2, 0}, {}, {1}});
    Map.Visibility[1] |= 0xFE; // padding past leaf 8
    Map.Nodes = {NodeX(0, EncodeLeafChild(0), EncodeLeafChild(1))};
    Build();
    const auto& leaves = Map.LeafObjects;
    ASSERT_EQ(leaves[0]->nVisible, 3);
    EXPECT_EQ(leaves[0]->ppVisible[0], leaves[0]);
    EXPECT_EQ(leaves[0]->ppVisible[1], leaves[2]);
    EXPECT_EQ(leaves[0]->ppVisible[2], leaves[8]);
    EXPECT_NE(leaves[1]->ppVisible, nullptr);
    EXPECT_EQ(leaves[1]->nVisible, 0);
    ASSERT_EQ(leaves[2]->nVisible, 1);
    EXPECT_EQ(leaves[2]->ppVisible[0], leaves[1]);
    EXPECT_EQ(World.nDetached, 7); // leaves 2 to 8 are under no node
}

TEST_F(WorldTest, ClearFreesASharedLeafOnceAndKeepsThePlane)
{
    Map.AddFan(3);
    Map.Leaves = {Leaf(0, 1)};
    Map.Nodes = {NodeX(2, EncodeLeafChild(0), EncodeLeafChild(0))};
    Build();
    EXPECT_EQ(World.pFront, Map.LeafObjects[0]);
    EXPECT_EQ(World.pBack, Map.LeafObjects[0]);
    World.Clear();
    World.Clear();
    EXPECT_EQ(World.pFront, nullptr);
    EXPECT_EQ(World.pBack, nullptr);
    EXPECT_EQ(World.Plane.Distance, -2.0f);
}

// Nodes may stand in any order; a node reached a second time, as a child of
// two parents or on a cycle back to the root, is solid, as is a leaf reached
// a second time.
TEST_F(WorldTest, NodesBuildInAnyOrderAndWhatIsReachedTwiceIsSolid)
{
    Map.Leaves = {Leaf(0, 0), Leaf(0, 0)};
    // Node 0 -> node 2 -> node 1 -> leaf 1.
    Map.Nodes = {NodeX(0, EncodeNodeChild(2), EncodeLeafChild(0)),
                 NodeX(1, MAP_SOLID_CHILD, EncodeLeafChild(1)),
                 NodeX(2, EncodeNodeChild(1), MAP_SOLID_CHILD)};
    Build();
    CWorldNode* pNode = AsNode(AsNode(World.pFront)->pFront);
    ASSERT_NE(pNode, nullptr);
    EXPECT_EQ(pNode->pBack, Map.LeafObjects[1]);

    // Node 1 on both sides of the root: built once, behind it.
    World.Clear();
    Map.Nodes = {NodeX(0, EncodeNodeChild(1), EncodeNodeChild(1)),
                 NodeX(1, EncodeLeafChild(0), EncodeLeafChild(1))};
    Build();
    EXPECT_EQ(World.pFront, nullptr);
    ASSERT_NE(AsNode(World.pBack), nullptr);

    // Node 1 names the root again and leaf 0 a second time.
    World.Clear();
    Map.Nodes = {NodeX(0, EncodeNodeChild(1), EncodeLeafChild(0)),
                 NodeX(5, EncodeNodeChild(0), EncodeLeafChild(0))};
    Build();
    pNode = AsNode(World.pFront);
    ASSERT_NE(pNode, nullptr);
    EXPECT_EQ(pNode->pFront, nullptr);
    EXPECT_EQ(pNode->pBack, nullptr);

    CWorldNode empty;
    Map.Nodes.clear();
    EXPECT_FALSE(empty.Build(Map.Image(&App), 0));
}

TEST_F(WorldTest, DeepTreesNeedNoDeepCallStack)
{
    const int nDepth = 200000; // node i: x = i, front node i + 1, back leaf i
    for (int i = 0; i < nDepth; ++i) {
        Map.Leaves.push_back(Leaf(0, 0));
        Map.Nodes.push_back(
            NodeX(float(i), i + 1 < nDepth ? EncodeNodeChild(i + 1) : 0, EncodeLeafChild(i)));
    }
    Build();
    EXPECT_TRUE(World.IsOpen(CVector(nDepth - 1.5f, 0, 0)));
    EXPECT_FALSE(World.IsOpen(CVector(nDepth, 0, 0)));
    EXPECT_FALSE(World.DrawVisible(&App, CVector(nDepth, 0, 0)));
    EXPECT_TRUE(World.DrawAll(&App));
}

// The plane x = 0, with node 1 (no children) as a possible child.
TEST_F(WorldTest, CollisionBandTriesBothSidesFrontFirst)
{
    Map.Leaves = {Leaf(0, 0)};
    auto openAt = [&](int32_t nFront, int32_t nBack, float fX) {
        World.Clear();
        Map.Nodes = {NodeX(0, nFront, nBack), NodeX(0, 0, 0)};
        Build();
        return World.IsOpen(CVector(fX, 0, 0));
    };
    const int32_t LEAF = EncodeLeafChild(0), NODE = EncodeNodeChild(1);
    EXPECT_TRUE(openAt(0, LEAF, 0.1f));
    EXPECT_TRUE(openAt(0, LEAF, 0.2f));
    EXPECT_FALSE(openAt(0, LEAF, std::nextafter(0.2f, 1.0f)));
    EXPECT_FALSE(openAt(0, LEAF, 0.3f));
    EXPECT_TRUE(openAt(LEAF, 0, -0.2f));
    EXPECT_FALSE(openAt(LEAF, 0, std::nextafter(-0.2f, -1.0f)));
    // A solid front subtree falls back to the back.
    EXPECT_TRUE(openAt(NODE, LEAF, 0.0f));
    EXPECT_FALSE(openAt(NODE, LEAF, 1.0f));
    EXPECT_FALSE(openAt(0, 0, 0.0f));
    World.Clear();
    EXPECT_FALSE(World.IsOpen(CVector(0, 0, 0)));
}

} // namespace
