#include "compiler/face.h"
#include "compiler/texsize.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

CTexMapping MakeMapping(CVector u, CVector v, int32_t uOffset, int32_t vOffset, float uScale,
                        float vScale)
{
    CTexMapping m;
    m.UAxis = u;
    m.VAxis = v;
    m.UOffset = uOffset;
    m.VOffset = vOffset;
    m.UScale = uScale;
    m.VScale = vScale;
    m.Rotation = 0;
    return m;
}

// A face of three vertices at the given positions.
CLeafFace MakeTriangleFace(CVector a, CVector b, CVector c)
{
    CLeafFace face;
    face.VertexCount = 3;
    face.pVertices = new CVertex[3];
    face.pVertices[0].Position = a;
    face.pVertices[1].Position = b;
    face.pVertices[2].Position = c;
    return face;
}

// Largest |component| of the corner offsets from the centre along each axis.
CVector HalfExtent(const CLeafFace& face)
{
    CVector centre = face.pVertices[0].Position + face.pVertices[2].Position;
    centre /= 2.0f;
    CVector extent(0, 0, 0);
    for (int i = 0; i < face.VertexCount; ++i) {
        CVector d = face.pVertices[i].Position - centre;
        extent.x = std::fmax(extent.x, std::fabs(d.x));
        extent.y = std::fmax(extent.y, std::fabs(d.y));
        extent.z = std::fmax(extent.z, std::fabs(d.z));
    }
    return extent;
}

} // namespace

TEST(Face, FloatNearIsStrict)
{
    EXPECT_TRUE(FloatNear(1.0, 1.1, 0.2));
    EXPECT_FALSE(FloatNear(1.0, 1.5, 0.5));
    EXPECT_FALSE(FloatNear(-1.0, 1.0, 0.2));
    EXPECT_TRUE(FloatNear(1.1025, 1.0, PLANE_EPSILON));
}

TEST(Face, BaseFaceOnAFloorPlane)
{
    CPlane plane(CVector(0, 1, 0), -64.0f);
    CLeafFace face;
    ASSERT_TRUE(MakeBaseFace(100.0f, plane, &face));
    ASSERT_EQ(face.VertexCount, 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(face.pVertices[i].Position.y, 64.0f);
        EXPECT_EQ(std::fabs(face.pVertices[i].Position.x), 100.0f);
        EXPECT_EQ(std::fabs(face.pVertices[i].Position.z), 100.0f);
        EXPECT_EQ(face.pVertices[i].Colour, 0xFFFFFFFFu);
        EXPECT_EQ(face.pVertices[i].LightU, 0.0f);
    }
    EXPECT_EQ(face.pVertices[0].TexU, 0.0f);
    EXPECT_EQ(face.pVertices[0].TexV, 1.0f);
    EXPECT_EQ(face.pVertices[2].TexU, 1.0f);
    EXPECT_EQ(face.pVertices[2].TexV, 0.0f);
    EXPECT_EQ(face.pPlane, nullptr);
    FreeFace(&face);
}

TEST(Face, BaseFaceWindsToItsOwnNormalAndLiesOnThePlane)
{
    const CVector normals[] = {CVector(0, 0, 1),   CVector(0, 0, -1), CVector(1, 0, 0),
                               CVector(0, -1, 0),  CVector(0.6f, 0.79f, 0.1f),
                               CVector(-3, 2, 5),  CVector(0.2f, -0.95f, 0.3f)};
    for (const CVector& n : normals) {
        CPlane plane(n, 123.0f);
        CLeafFace face;
        ASSERT_TRUE(MakeBaseFace(BASE_FACE_SIZE, plane, &face));
        CPlane back;
        back.Set(face.pVertices[0].Position, face.pVertices[1].Position,
                 face.pVertices[2].Position);
        EXPECT_NEAR(Dot(back.Normal, plane.Normal), 1.0, 1e-5);
        for (int i = 0; i < 4; ++i)
            EXPECT_NEAR(plane.DistanceTo(face.pVertices[i].Position), 0.0, 0.01);
        FreeFace(&face);
    }
}

TEST(Face, BaseFaceShrinksWithTheSineOfTheReferenceAngle)
{
    // Normal along z: the reference is +y, the half-side is the full size.
    CPlane wall(CVector(0, 0, 1), 0.0f);
    CLeafFace face;
    ASSERT_TRUE(MakeBaseFace(1000.0f, wall, &face));
    CVector e = HalfExtent(face);
    EXPECT_FLOAT_EQ(e.x, 1000.0f);
    EXPECT_FLOAT_EQ(e.y, 1000.0f);

    // y = 0.79 is outside the band round 1: reference +y, a = sin(angle).
    CPlane slope(CVector(std::sqrt(1.0f - 0.79f * 0.79f), 0.79f, 0), 0.0f);
    ASSERT_TRUE(MakeBaseFace(1000.0f, slope, &face));
    CVector a = face.pVertices[2].Position - face.pVertices[1].Position; // 2a*size
    EXPECT_NEAR(a.Length() / 2.0, 1000.0 * std::sqrt(1.0 - 0.79 * 0.79), 0.01);
    FreeFace(&face);
}

TEST(Face, BaseFaceNormalisesOnlyNormalsOutsideTheBand)
{
    CPlane nearUnit;
    nearUnit.Normal = CVector(0, 0, 1.05f);
    nearUnit.Distance = 10.0f;
    CLeafFace face;
    ASSERT_TRUE(MakeBaseFace(10.0f, nearUnit, &face));
    EXPECT_EQ(nearUnit.Normal.z, 1.05f);

    CPlane doubled;
    doubled.Normal = CVector(0, 0, 2.0f);
    doubled.Distance = 10.0f;
    ASSERT_TRUE(MakeBaseFace(10.0f, doubled, &face));
    EXPECT_EQ(doubled.Normal.z, 1.0f);
    EXPECT_EQ(doubled.Distance, 10.0f);
    EXPECT_EQ(face.pVertices[0].Position.z, -10.0f);
    FreeFace(&face);
}

TEST(Face, TexCoordsDivideByTheTextureSizeAfterTheOffset)
{
    CLeafFace face = MakeTriangleFace(CVector(32, 0, 0), CVector(0, 0, 0), CVector(0, 16, 0));
    CTexSizeNode size;
    size.Width = 64;
    size.Height = 32;

    CTexMapping m = MakeMapping(CVector(1, 0, 0), CVector(0, 1, 0), 0, 0, 1, 1);
    ASSERT_TRUE(SetTexCoords(&face, m, &size));
    EXPECT_EQ(face.pVertices[0].TexU, 0.5f);
    EXPECT_EQ(face.pVertices[2].TexV, 0.5f);

    ASSERT_TRUE(SetTexCoords(&face, m, nullptr));
    EXPECT_EQ(face.pVertices[0].TexU, 0.125f);

    size.Width = 0; // one side unknown: both fall back to 256
    ASSERT_TRUE(SetTexCoords(&face, m, &size));
    EXPECT_EQ(face.pVertices[2].TexV, 16.0f / 256.0f);

    // Offsets are texels and scales world units per texel.
    size.Width = 64;
    m = MakeMapping(CVector(1, 0, 0), CVector(0, 1, 0), 32, -16, 2, 0.5f);
    ASSERT_TRUE(SetTexCoords(&face, m, &size));
    EXPECT_EQ(face.pVertices[1].TexU, 0.5f);                  // (0/2 + 32) / 64
    EXPECT_EQ(face.pVertices[0].TexU, (16.0f + 32.0f) / 64.0f); // 32/2 + 32
    EXPECT_EQ(face.pVertices[2].TexV, (32.0f - 16.0f) / 32.0f); // 16/0.5 - 16
    EXPECT_EQ(face.Mapping.UOffset, 32);
    EXPECT_EQ(face.Mapping.VScale, 0.5f);

    // The face's own mapping may be passed in.
    face.Mapping.UOffset = 0;
    ASSERT_TRUE(SetTexCoords(&face, face.Mapping, &size));
    EXPECT_EQ(face.pVertices[1].TexU, 0.0f);
    FreeFace(&face);
}

TEST(Face, TexCoordsNeedThreeVertices)
{
    CLeafFace face = MakeTriangleFace(CVector(1, 0, 0), CVector(0, 0, 0), CVector(0, 1, 0));
    face.pVertices[0].TexU = 7;
    face.VertexCount = 2;
    face.Mapping.UOffset = 99;
    CTexMapping m = MakeMapping(CVector(1, 0, 0), CVector(0, 1, 0), 0, 0, 1, 1);
    EXPECT_FALSE(SetTexCoords(&face, m, nullptr));
    EXPECT_EQ(face.pVertices[0].TexU, 7.0f);
    EXPECT_EQ(face.Mapping.UOffset, 99);
    FreeFace(&face);
}

TEST(Face, CopyIsDeepAndEmptySourceKeepsTheTargetMapping)
{
    CLeafFace source = MakeTriangleFace(CVector(1, 2, 3), CVector(4, 5, 6), CVector(7, 8, 9));
    source.pPlane = new CPlane(CVector(0, 0, 1), 5.0f);
    source.Mapping = MakeMapping(CVector(1, 0, 0), CVector(0, 1, 0), 3, 4, 1, 1);
    source.TextureIndex = 7;
    source.MappingIndex = 8;

    CLeafFace copy;
    ASSERT_TRUE(CopyFace(&copy, &source));
    ASSERT_EQ(copy.VertexCount, 3);
    EXPECT_NE(copy.pVertices, source.pVertices);
    EXPECT_NE(copy.pPlane, source.pPlane);
    EXPECT_EQ(copy.pVertices[2].Position.z, 9.0f);
    EXPECT_EQ(copy.pPlane->Distance, 5.0f);
    EXPECT_EQ(copy.Mapping.VOffset, 4);
    EXPECT_EQ(copy.TextureIndex, 7);
    EXPECT_EQ(copy.MappingIndex, 8);
    FreeFace(&source);
    EXPECT_EQ(source.TextureIndex, 7); // FreeFace keeps mapping and indices
    EXPECT_EQ(source.pVertices, nullptr);

    CLeafFace empty;
    empty.TextureIndex = 1;
    ASSERT_TRUE(CopyFace(&copy, &empty));
    EXPECT_EQ(copy.VertexCount, 0);
    EXPECT_EQ(copy.pVertices, nullptr);
    EXPECT_EQ(copy.pPlane, nullptr);
    EXPECT_EQ(copy.Mapping.VOffset, 4);
    EXPECT_EQ(copy.TextureIndex, 7);
}
