#include "render/colors.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>

namespace {

void ExpectColor(const CColor& c, float r, float g, float b, float a)
{
    EXPECT_EQ(c.r, r);
    EXPECT_EQ(c.g, g);
    EXPECT_EQ(c.b, b);
    EXPECT_EQ(c.a, a);
}

bool SameBytes(const CColor& c, const D3DCOLORVALUE& v)
{
    return std::memcmp(&c, &v, sizeof v) == 0;
}

} // namespace

TEST(Colors, LayoutsMatchTheDeviceRecords)
{
    static_assert(sizeof(CColor) == sizeof(D3DCOLORVALUE));
    static_assert(sizeof(CMaterial) == sizeof(D3DMATERIAL7));
    static_assert(sizeof(CLight) == sizeof(D3DLIGHT7));
    EXPECT_EQ(D3DLIGHT_RANGE_MAX, std::sqrt(FLT_MAX));
}

TEST(Colors, ConstantsAndMaterials)
{
    ExpectColor(COLOR_BROWN, 0.5f, 0.25f, 0.0f, 1.0f);
    ExpectColor(COLOR_ORANGE, 1.0f, 0.5f, 0.25f, 1.0f);
    ExpectColor(COLOR_BLACK, 0, 0, 0, 1.0f);

    ExpectColor(MATERIAL_SHINY.Specular, 1, 1, 1, 1);
    EXPECT_EQ(MATERIAL_SHINY.fPower, 5.0f);
    ExpectColor(MATERIAL_AMBIENT.Diffuse, 0, 0, 0, 1);
    ExpectColor(MATERIAL_AMBIENT.Ambient, 1, 1, 1, 1);

    D3DMATERIAL7 out{};
    EXPECT_EQ(MATERIAL_WHITE.ToD3D(&out), &out);
    EXPECT_TRUE(SameBytes(MATERIAL_WHITE.Emissive, out.dcvEmissive));
    EXPECT_EQ(out.dvPower, 5.0f);
}

TEST(Colors, DefaultLightIsAnUnweakenedWhitePoint)
{
    CLight light;
    EXPECT_EQ(light.nType, D3DLIGHT_POINT);
    ExpectColor(light.Diffuse, 1, 1, 1, 1);
    ExpectColor(light.Specular, 0, 0, 0, 1);
    EXPECT_EQ(light.fAttenuation0, 1.0f);
    EXPECT_EQ(light.fAttenuation1, 0.0f);
    EXPECT_EQ(light.fAttenuation2, 0.0f);
    EXPECT_EQ(light.fRange, D3DLIGHT_RANGE_MAX);
    EXPECT_EQ(light.fTheta, 0.0f);
}

TEST(Colors, EachConstructorSetsItsOwnKind)
{
    CLight directional(COLOR_RED, COLOR_GREEN, COLOR_BLUE, CVector(0, -1, 0));
    EXPECT_EQ(directional.nType, D3DLIGHT_DIRECTIONAL);
    EXPECT_EQ(directional.fRange, 0.0f);
    EXPECT_EQ(directional.fAttenuation0, 0.0f);
    EXPECT_EQ(directional.Position.x, 0.0f);
    EXPECT_EQ(directional.Direction.y, -1.0f);

    CLight spot(COLOR_RED, COLOR_GREEN, COLOR_BLUE, CVector(1, 2, 3), CVector(0, 0, 1), 50.0f,
                2.0f, 0.3f, 0.6f, 1.0f, 0.5f, 0.25f);
    EXPECT_EQ(spot.nType, D3DLIGHT_SPOT);
    EXPECT_EQ(spot.fFalloff, 2.0f);
    EXPECT_EQ(spot.fTheta, 0.3f);
    EXPECT_EQ(spot.fPhi, 0.6f);
    EXPECT_EQ(spot.fAttenuation2, 0.25f);

    // Re-filling an existing light changes its kind, whatever it was.
    spot.SetPoint(COLOR_WHITE, COLOR_BLACK, COLOR_BLACK, CVector(4, 5, 6), 10.0f, 1, 0, 0);
    EXPECT_EQ(spot.nType, D3DLIGHT_POINT);
    EXPECT_EQ(spot.Direction.z, 0.0f);
    EXPECT_EQ(spot.fFalloff, 0.0f);

    D3DLIGHT7 out{};
    spot.ToD3D(&out);
    EXPECT_EQ(out.dltType, D3DLIGHT_POINT);
    EXPECT_EQ(out.dvPosition.z, 6.0f);
    EXPECT_EQ(out.dvRange, 10.0f);
    EXPECT_TRUE(SameBytes(spot.Diffuse, out.dcvDiffuse));
}
