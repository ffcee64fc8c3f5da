#include "compiler/map_tables.h"

#include "compiler/face_list.h"

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

CTexMapping MakeMapping()
{
    CTexMapping mapping;
    mapping.UAxis = CVector(1, 0, 0);
    mapping.VAxis = CVector(0, 0, -1);
    mapping.UOffset = 0;
    mapping.VOffset = 0;
    mapping.UScale = 1;
    mapping.VScale = 1;
    mapping.Rotation = 0;
    return mapping;
}

CToken Name(const char* pszText)
{
    CToken token;
    token.Set(pszText);
    return token;
}

} // namespace

TEST(PlaneTable, EqualPlanesShareANodeAndOneBitMakesAnother)
{
    CPlaneNode* pRoot = nullptr;
    const CPlane base = MakePlane(-64, 0, 1, 0);
    CPlaneNode* pBase = FindOrAddPlane(&pRoot, base);
    ASSERT_NE(pBase, nullptr);
    EXPECT_EQ(FindOrAddPlane(&pRoot, base), pBase);

    // A one-bit change in any of the four floats is another plane.
    std::vector<CPlane> variants(4, base);
    variants[0].Distance = Up(base.Distance);
    variants[1].Normal.x = Up(base.Normal.x);
    variants[2].Normal.y = Up(base.Normal.y);
    variants[3].Normal.z = Up(base.Normal.z);
    std::vector<CPlaneNode*> nodes;
    for (const CPlane& plane : variants) {
        CPlaneNode* pNode = FindOrAddPlane(&pRoot, plane);
        ASSERT_NE(pNode, nullptr);
        EXPECT_NE(pNode, pBase);
        for (CPlaneNode* pOther : nodes)
            EXPECT_NE(pNode, pOther);
        nodes.push_back(pNode);
    }
    for (size_t i = 0; i < variants.size(); ++i)
        EXPECT_EQ(FindOrAddPlane(&pRoot, variants[i]), nodes[i]);

    int32_t counter = 0;
    EXPECT_EQ(NumberPlanes(pRoot, &counter), 5);
    FreePlanes(&pRoot);
    EXPECT_EQ(pRoot, nullptr);
}

TEST(PlaneTable, DistanceDecidesBeforeTheNormal)
{
    CPlaneNode* pRoot = nullptr;
    FindOrAddPlane(&pRoot, MakePlane(0, 0, 1, 0));
    // Greater distance but smaller normal: the distance decides.
    CPlaneNode* pFar = FindOrAddPlane(&pRoot, MakePlane(5, -1, 0, 0));
    CPlaneNode* pNear = FindOrAddPlane(&pRoot, MakePlane(-5, 1, 0, 0));
    EXPECT_EQ(pRoot->pHigher, pFar);
    EXPECT_EQ(pRoot->pLower, pNear);
    // Same distance: the normal's x, then y, then z.
    CPlaneNode* pX = FindOrAddPlane(&pRoot, MakePlane(5, -1, 1, 0));
    CPlaneNode* pY = FindOrAddPlane(&pRoot, MakePlane(5, -1, 0, -1));
    EXPECT_EQ(pFar->pHigher, pX);
    EXPECT_EQ(pFar->pLower, pY);
    FreePlanes(&pRoot);
}

TEST(PlaneTable, PlanesWithoutANormalHaveAPlaceOfTheirOwn)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    CPlaneNode* pRoot = nullptr;
    CPlaneNode* pReal = FindOrAddPlane(&pRoot, MakePlane(0, 1, 0, 0));
    CPlaneNode* pBroken = FindOrAddPlane(&pRoot, MakePlane(0, nan, nan, nan));
    EXPECT_NE(pBroken, pReal);
    EXPECT_EQ(FindOrAddPlane(&pRoot, MakePlane(0, nan, nan, nan)), pBroken);
    EXPECT_EQ(FindOrAddPlane(&pRoot, MakePlane(0, 1, 0, 0)), pReal);
    FreePlanes(&pRoot);
}

TEST(PlaneTable, NumberingWalksNodeHigherLowerAndCopyPlanesFollowsIt)
{
    CPlaneNode* pRoot = nullptr;
    const float distances[] = {10, 20, 5, 30, 15, 1};
    for (float d : distances)
        FindOrAddPlane(&pRoot, MakePlane(d, 0, 1, 0));

    // Tree: 10 (higher 20 (higher 30, lower 15), lower 5 (lower 1)).
    int32_t counter = 3; // numbering continues from the counter given
    EXPECT_EQ(NumberPlanes(pRoot, &counter), 6);
    EXPECT_EQ(counter, 9);
    const float byIndex[] = {10, 20, 30, 15, 5, 1};
    std::vector<CPlane> array(9);
    CopyPlanes(array.data(), pRoot);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(array[3 + i].Distance, byIndex[i]) << "row " << 3 + i;
    EXPECT_EQ(array[0].Distance, 0.0f); // rows below the start untouched

    int32_t emptyCounter = 7;
    EXPECT_EQ(NumberPlanes(nullptr, &emptyCounter), 0);
    EXPECT_EQ(emptyCounter, 7);
    FreePlanes(&pRoot);
    FreePlanes(&pRoot); // an empty table frees to nothing
}

TEST(MappingTable, RotationTakesNoPartAndTheFirstStays)
{
    CTexMappingNode* pRoot = nullptr;
    CTexMapping first = MakeMapping();
    first.Rotation = 90;
    CTexMappingNode* pNode = FindOrAddMapping(&pRoot, first);
    CTexMapping second = first;
    second.Rotation = 180;
    EXPECT_EQ(FindOrAddMapping(&pRoot, second), pNode);
    EXPECT_EQ(pNode->Mapping.Rotation, 90.0f);

    // Every other field tells mappings apart.
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
    int32_t counter = 0;
    EXPECT_EQ(NumberMappings(pRoot, &counter), 11);
    FreeMappings(&pRoot);
    EXPECT_EQ(pRoot, nullptr);
}

TEST(MappingTable, FieldsCompareInTheirOrder)
{
    CTexMappingNode* pRoot = nullptr;
    CTexMapping base = MakeMapping();
    FindOrAddMapping(&pRoot, base);
    // A greater UOffset outweighs a smaller UScale behind it.
    CTexMapping offset = base;
    offset.UOffset = 4;
    offset.UScale = 0.5f;
    CTexMappingNode* pOffset = FindOrAddMapping(&pRoot, offset);
    EXPECT_EQ(pRoot->pHigher, pOffset);
    // The V axis comes before the offsets.
    CTexMapping axis = base;
    axis.VAxis.z = -2;
    axis.UOffset = 100;
    CTexMappingNode* pAxis = FindOrAddMapping(&pRoot, axis);
    EXPECT_EQ(pRoot->pLower, pAxis);
    FreeMappings(&pRoot);
}

TEST(NameTable, ByteOrderAndLookup)
{
    CTexNameNode* pRoot = nullptr;
    CTexNameNode* pStone = FindOrAddName(&pRoot, Name("stone"));
    CTexNameNode* pUpper = FindOrAddName(&pRoot, Name("Stone")); // 'S' < 's'
    CTexNameNode* pLonger = FindOrAddName(&pRoot, Name("stone2"));
    EXPECT_EQ(pRoot->pLower, pUpper);
    EXPECT_EQ(pRoot->pHigher, pLonger);
    EXPECT_EQ(FindOrAddName(&pRoot, Name("stone")), pStone);
    EXPECT_TRUE(pStone->Name == "stone");
    EXPECT_EQ(pStone->Light.Intensity, 0);

    EXPECT_EQ(FindName(pRoot, "Stone"), pUpper);
    EXPECT_EQ(FindName(pRoot, "stone2"), pLonger);
    EXPECT_EQ(FindName(pRoot, "ston"), nullptr);
    EXPECT_EQ(FindName(pRoot, nullptr), nullptr);
    EXPECT_EQ(FindName(nullptr, "stone"), nullptr);

    // A name node owns its own copy of the text.
    CToken temporary = Name("brick");
    CTexNameNode* pBrick = FindOrAddName(&pRoot, temporary);
    temporary.Set("other");
    EXPECT_TRUE(pBrick->Name == "brick");

    int32_t counter = 0;
    EXPECT_EQ(NumberNames(pRoot, &counter), 4);
    EXPECT_EQ(pStone->Index, 0);
    EXPECT_EQ(pLonger->Index, 1);
    EXPECT_EQ(pUpper->Index, 2);
    EXPECT_EQ(pBrick->Index, 3);
    FreeNames(&pRoot);
    EXPECT_EQ(pRoot, nullptr);
}

TEST(MapData, FreeMapDataEmptiesEverything)
{
    FreeMapData(nullptr);

    CMapData map;
    CLeafFace face;
    CPlane plane = MakePlane(-64, 0, 1, 0);
    ASSERT_TRUE(MakeBaseFace(BASE_FACE_SIZE, plane, &face));
    for (int i = 0; i < 3; ++i) {
        CFaceEntry* pEntry = AddFaceEntry(&map.pFaces, face);
        ASSERT_NE(pEntry, nullptr);
        pEntry->pPlaneNode = FindOrAddPlane(&map.pPlanes, plane);
        pEntry->pNameNode = FindOrAddName(&map.pNames, Name("stone"));
        pEntry->pMappingNode = FindOrAddMapping(&map.pMappings, MakeMapping());
        ++map.FaceCount;
    }
    FreeFace(&face);

    FreeMapData(&map);
    EXPECT_EQ(map.pFaces, nullptr);
    EXPECT_EQ(map.pPlanes, nullptr);
    EXPECT_EQ(map.pNames, nullptr);
    EXPECT_EQ(map.pMappings, nullptr);
    EXPECT_EQ(map.FaceCount, 0);
    FreeMapData(&map); // twice is harmless
}
