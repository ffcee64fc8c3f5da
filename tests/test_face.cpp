#include "compiler/face.h"
#include "compiler/texsize.h"

#include "tests/front_faces.h"

#include <gtest/gtest.h>

TEST(Face, FloatNearIsStrict)
{
    EXPECT_TRUE(FloatNear(1.0, 1.1, 0.2));
    EXPECT_FALSE(FloatNear(1.0, 1.5, 0.5));
}

struct CBaseCase {
    const char* pszName;
    CVector Normal;
    float Distance;
    CVector Corner0, Corner2; // at size 100
};

class BaseFace : public ::testing::TestWithParam<CBaseCase> {};

// a = Cross(r, n) and b = Cross(a, n), with r = (-1,0,0) for a normal within
// 0.2 of up or down and (0,1,0) else; corner 0 is -a*size - b*size - n*d and
// corner 2 the opposite, a*size + b*size - n*d.
TEST_P(BaseFace, CornersFollowTheReferenceDirection)
{
    const CBaseCase& c = GetParam();
    CPlane plane;
    plane.Normal = c.Normal;
    plane.Distance = c.Distance;
    COwnedFace face;
    ASSERT_TRUE(MakeBaseFace(100.0f, plane, face.get()));
    ASSERT_EQ(face->VertexCount, 4);
    ExpectAt(face[0], c.Corner0.x, c.Corner0.y, c.Corner0.z);
    ExpectAt(face[2], c.Corner2.x, c.Corner2.y, c.Corner2.z);
    // Wound so that the plane of vertices 0, 1, 2 faces the plane's way.
    EXPECT_GT(Dot(PlaneOf(face.f).Normal, c.Normal), 0.99);
    EXPECT_EQ(face->pVertices[0].TexV, 1.0f);
    EXPECT_EQ(face->pVertices[2].TexU, 1.0f);
}

INSTANTIATE_TEST_SUITE_P(
    Planes, BaseFace,
    ::testing::Values(
        // r = (-1,0,0): a = (0,0,-1), b = (1,0,0).
        CBaseCase{"floor", CVector(0, 1, 0), -64, CVector(-100, 64, 100), CVector(100, 64, -100)},
        // r = (-1,0,0): a = (0,0,1), b = (1,0,0).
        CBaseCase{"ceiling", CVector(0, -1, 0), -64, CVector(-100, -64, -100),
                  CVector(100, -64, 100)},
        // r = (0,1,0): a = (1,0,0), b = (0,-1,0).
        CBaseCase{"wall", CVector(0, 0, 1), 0, CVector(-100, 100, 0), CVector(100, -100, 0)},
        // y = 0.79 lies outside the band round 1: r = (0,1,0), a = (0,0,-0.6),
        // b = (0.474,-0.36,0); the square shrinks to 0.6 of the size.
        CBaseCase{"slope", CVector(0.6f, 0.79f, 0), 0, CVector(-47.4f, 36, 60),
                  CVector(47.4f, -36, -60)}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST(Face, BaseFaceNormalisesOnlyNormalsOutsideTheBand)
{
    // A squared length of 1.1025 lies within 0.2 of 1: kept as given.
    CPlane nearUnit;
    nearUnit.Normal = CVector(0, 0, 1.05f);
    COwnedFace face;
    ASSERT_TRUE(MakeBaseFace(10.0f, nearUnit, face.get()));
    EXPECT_EQ(nearUnit.Normal.z, 1.05f);
    CPlane doubled;
    doubled.Normal = CVector(0, 0, 2);
    doubled.Distance = 10;
    ASSERT_TRUE(MakeBaseFace(10.0f, doubled, face.get()));
    EXPECT_EQ(doubled.Normal.z, 1.0f);
    EXPECT_EQ(doubled.Distance, 10.0f);
}

struct CTexCase {
    const char* pszName;
    int32_t Width, Height; // no size node when both are -1
    CTexMapping Mapping;
    float TexU, TexV; // of the vertex (32, 16, 0)
};

class TexCoords : public ::testing::TestWithParam<CTexCase> {};

// TexU = (Dot(UAxis, p) / UScale + UOffset) / Width, and likewise for V; a
// missing size or one with a zero side divides by 256.
TEST_P(TexCoords, DivideByTheSizeAfterScaleAndOffset)
{
    const CTexCase& c = GetParam();
    CTexSizeNode size;
    size.Width = c.Width;
    size.Height = c.Height;
    COwnedFace face(MakeFace({CVector(32, 16, 0), CVector(0, 0, 0), CVector(0, 16, 0)}));
    ASSERT_TRUE(SetTexCoords(face.get(), c.Mapping, c.Width < 0 ? nullptr : &size));
    EXPECT_EQ(face->pVertices[0].TexU, c.TexU);
    EXPECT_EQ(face->pVertices[0].TexV, c.TexV);
    EXPECT_EQ(face->Mapping.UOffset, c.Mapping.UOffset);
}

const CTexMapping UNIT = {CVector(1, 0, 0), CVector(0, 1, 0), 0, 0, 1, 1, 0};
const CTexMapping SHIFTED = {CVector(1, 0, 0), CVector(0, 1, 0), 32, -16, 2, 0.5f, 0};

INSTANTIATE_TEST_SUITE_P(Sizes, TexCoords,
                         ::testing::Values(CTexCase{"sized", 64, 32, UNIT, 0.5f, 0.5f},
                                           CTexCase{"no_size", -1, -1, UNIT, 0.125f, 0.0625f},
                                           CTexCase{"zero_width", 0, 32, UNIT, 0.125f, 0.0625f},
                                           CTexCase{"zero_height", 64, 0, UNIT, 0.125f, 0.0625f},
                                           // (32 / 2 + 32) / 64 and (16 / 0.5 - 16) / 32
                                           CTexCase{"scale_then_offset", 64, 32, SHIFTED, 0.75f,
                                                    0.5f}),
                         [](const auto& info) { return std::string(info.param.pszName); });

TEST(Face, TexCoordsNeedThreeVertices)
{
    COwnedFace face(MakeFace({CVector(1, 0, 0), CVector(0, 0, 0)}));
    face->Mapping.UOffset = 99;
    EXPECT_FALSE(SetTexCoords(face.get(), UNIT, nullptr));
    EXPECT_EQ(face->pVertices[0].TexU, 1.0f);
    EXPECT_EQ(face->Mapping.UOffset, 99);
}

TEST(Face, CopyIsDeepAndAnEmptySourceKeepsTheTargetsMapping)
{
    COwnedFace source(MakeFace({CVector(1, 2, 3), CVector(4, 5, 6), CVector(7, 8, 9)}));
    source->pPlane = new CPlane(CVector(0, 0, 1), 5.0f);
    source->Mapping = SHIFTED;
    COwnedFace copy;
    ASSERT_TRUE(CopyFace(copy.get(), source.get()));
    EXPECT_NE(copy->pPlane, source->pPlane);
    ExpectAt(copy[2], 7, 8, 9);
    CLeafFace empty;
    ASSERT_TRUE(CopyFace(copy.get(), &empty));
    EXPECT_EQ(copy->pVertices, nullptr);
    EXPECT_EQ(copy->Mapping.VOffset, -16);
}
