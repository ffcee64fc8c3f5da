#include "compiler/vis_walls.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace {

// A leaf whose faces are rectangles on the plane x = 0, each from (y0, z0)
// to (y1, z1).
struct CRect {
    float Y0, Z0, Y1, Z1;
};

CBuildNode* WallLeaf(std::initializer_list<CRect> rects)
{
    CBuildNode* pLeaf = new CBuildNode();
    pLeaf->FaceCount = static_cast<int32_t>(rects.size());
    pLeaf->pFaces = new CLeafFace[rects.size()];
    int32_t f = 0;
    for (const CRect& r : rects) {
        CLeafFace& face = pLeaf->pFaces[f++];
        face.VertexCount = 4;
        face.pVertices = new CVertex[4];
        face.pVertices[0].Position = CVector(0, r.Y0, r.Z0);
        face.pVertices[1].Position = CVector(0, r.Y0, r.Z1);
        face.pVertices[2].Position = CVector(0, r.Y1, r.Z1);
        face.pVertices[3].Position = CVector(0, r.Y1, r.Z0);
    }
    return pLeaf;
}

class WallIndexTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        for (CBuildNode*& pLeaf : Leaves)
            FreeTree(&pLeaf);
    }
    bool InWall(double y, double z) const
    {
        const CWallIndex walls(Leaves);
        return walls.InWall(CFlowPlane{CPoint{1, 0, 0}, 0}, CPoint{0, y, z});
    }
    std::vector<CBuildNode*> Leaves;
};

// A doorway 100 units wide between two stretches of wall, just past the
// side of an index cell (512 units) from the first stretch: the join in it is
// in the wall; points with wall on one side only, or none near, are not.
TEST_F(WallIndexTest, ADoorwayIsInTheWallAndOpenSpaceIsNot)
{
    Leaves.push_back(WallLeaf({{0, 0, 500, 200}}));
    Leaves.push_back(WallLeaf({{600, 0, 1100, 200}}));
    EXPECT_TRUE(InWall(550, 100));
    EXPECT_FALSE(InWall(1200, 100)) << "wall on one side only";
    EXPECT_FALSE(InWall(550, 500)) << "above the wall, more than the reach from it";
    EXPECT_FALSE(InWall(1700, 100)) << "nothing within reach";
}

// A wall far wider than the index's cells is still found.
TEST_F(WallIndexTest, AWallWiderThanTheCellsIsFound)
{
    Leaves.push_back(WallLeaf({{-20000, 0, 20000, 200}}));
    EXPECT_TRUE(InWall(10000, 100));
}

} // namespace
