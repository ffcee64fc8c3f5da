#include "compiler/map_tables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

float Up(float f)
{
    return std::nextafter(f, std::numeric_limits<float>::infinity());
}

CPlane MakePlane(float distance, float x, float y, float z)
{
    CPlane plane;
    plane.Distance = distance;
    plane.Normal = CVector(x, y, z);
    return plane;
}

const CTexMapping MAPPING = {CVector(1, 0, 0), CVector(0, 0, -1), 0, 0, 1, 1, 0};

CTexNameNode* AddName(CTexNameNode** ppRoot, const char* pszText)
{
    CToken token;
    token.Set(pszText);
    return FindOrAddName(ppRoot, token);
}

} // namespace

TEST(PlaneTable, EqualPlanesShareANodeAndOneBitInAnyFloatMakesAnother)
{
    CPlaneNode* pRoot = nullptr;
    const CPlane base = MakePlane(-64, 0, 1, 0);
    CPlaneNode* pBase = FindOrAddPlane(&pRoot, base);
    EXPECT_EQ(FindOrAddPlane(&pRoot, base), pBase);
    std::vector<CPlane> variants(4, base);
    variants[0].Distance = Up(base.Distance);
    variants[1].Normal.x = Up(base.Normal.x);
    variants[2].Normal.y = Up(base.Normal.y);
    variants[3].Normal.z = Up(base.Normal.z);
    for (const CPlane& plane : variants)
        EXPECT_NE(FindOrAddPlane(&pRoot, plane), pBase);
    // A plane without a normal has one place of its own too.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    CPlaneNode* pBroken = FindOrAddPlane(&pRoot, MakePlane(-64, nan, nan, nan));
    EXPECT_NE(pBroken, pBase);
    EXPECT_EQ(FindOrAddPlane(&pRoot, MakePlane(-64, nan, nan, nan)), pBroken);
    int32_t counter = 0;
    EXPECT_EQ(NumberPlanes(pRoot, &counter), 6);
    FreePlanes(&pRoot);
    EXPECT_EQ(pRoot, nullptr);
}

TEST(PlaneTable, FirstDifferenceDecidesDistanceThenNormalXYZ)
{
    CPlaneNode* pRoot = nullptr;
    FindOrAddPlane(&pRoot, MakePlane(0, 0, 1, 0));
    // A greater distance with a smaller normal is greater.
    CPlaneNode* pFar = FindOrAddPlane(&pRoot, MakePlane(5, -1, 0, 0));
    EXPECT_EQ(pRoot->pHigher, pFar);
    EXPECT_EQ(FindOrAddPlane(&pRoot, MakePlane(-5, 1, 0, 0)), pRoot->pLower);
    // At the same distance a greater y outweighs a smaller z behind it.
    EXPECT_EQ(FindOrAddPlane(&pRoot, MakePlane(5, -1, 1, -1)), pFar->pHigher);
    EXPECT_EQ(FindOrAddPlane(&pRoot, MakePlane(5, -1, 0, -1)), pFar->pLower);
    FreePlanes(&pRoot);
}

TEST(PlaneTable, NumberingGoesNodeHigherLowerAndCopyPlanesFollowsIt)
{
    CPlaneNode* pRoot = nullptr;
    for (float d : {10.0f, 20.0f, 5.0f, 30.0f, 15.0f, 1.0f})
        FindOrAddPlane(&pRoot, MakePlane(d, 0, 1, 0));
    // Tree: 10 (higher 20 (higher 30, lower 15), lower 5 (lower 1)). The
    // numbering goes on from the counter given.
    int32_t counter = 3;
    EXPECT_EQ(NumberPlanes(pRoot, &counter), 6);
    EXPECT_EQ(counter, 9);
    std::vector<CPlane> rows(9);
    CopyPlanes(rows.data(), pRoot);
    const float byIndex[9] = {0, 0, 0, 10, 20, 30, 15, 5, 1};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(rows[i].Distance, byIndex[i]) << "row " << i;
    FreePlanes(&pRoot);
}

TEST(MappingTable, RotationTakesNoPartAndEveryOtherFieldDoes)
{
    CTexMappingNode* pRoot = nullptr;
    CTexMapping first = MAPPING;
    first.Rotation = 90;
    CTexMappingNode* pNode = FindOrAddMapping(&pRoot, first);
    CTexMapping turned = first;
    turned.Rotation = 180;
    EXPECT_EQ(FindOrAddMapping(&pRoot, turned), pNode);
    EXPECT_EQ(pNode->Mapping.Rotation, 90.0f); // the first stays
    std::vector<CTexMapping> variants(10, first);
    variants[0].UAxis.x = Up(1);
    variants[1].UAxis.y = Up(0);
    variants[2].UAxis.z = Up(0);
    variants[3].VAxis.x = Up(0);
    variants[4].VAxis.y = Up(0);
    variants[5].VAxis.z = Up(-1);
    variants[6].UOffset = 1;
    variants[7].VOffset = -1;
    variants[8].UScale = Up(1);
    variants[9].VScale = Up(1);
    for (const CTexMapping& mapping : variants)
        EXPECT_NE(FindOrAddMapping(&pRoot, mapping), pNode);
    FreeMappings(&pRoot);
}

TEST(MappingTable, FirstDifferenceDecidesInFieldOrder)
{
    CTexMappingNode* pRoot = nullptr;
    FindOrAddMapping(&pRoot, MAPPING);
    // A greater UOffset outweighs a smaller UScale behind it, and the V axis
    // comes before the offsets.
    CTexMapping offset = MAPPING;
    offset.UOffset = 4;
    offset.UScale = 0.5f;
    EXPECT_EQ(FindOrAddMapping(&pRoot, offset), pRoot->pHigher);
    CTexMapping axis = MAPPING;
    axis.VAxis.z = -2;
    axis.UOffset = 100;
    EXPECT_EQ(FindOrAddMapping(&pRoot, axis), pRoot->pLower);
    FreeMappings(&pRoot);
}

TEST(NameTable, ByteOrderLookupAndNumbering)
{
    CTexNameNode* pRoot = nullptr;
    CTexNameNode* pStone = AddName(&pRoot, "stone");
    CTexNameNode* pUpper = AddName(&pRoot, "Stone"); // 'S' < 's'
    CTexNameNode* pLonger = AddName(&pRoot, "stone2");
    CTexNameNode* pBrick = AddName(&pRoot, "brick");
    EXPECT_EQ(AddName(&pRoot, "stone"), pStone);
    EXPECT_EQ(FindName(pRoot, "brick"), pBrick);
    EXPECT_EQ(FindName(pRoot, "ston"), nullptr);
    int32_t counter = 0;
    EXPECT_EQ(NumberNames(pRoot, &counter), 4);
    EXPECT_EQ(pStone->Index, 0);
    EXPECT_EQ(pLonger->Index, 1);
    EXPECT_EQ(pUpper->Index, 2);
    EXPECT_EQ(pBrick->Index, 3);
    FreeNames(&pRoot);
}
