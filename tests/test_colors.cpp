// Colours, materials and lights: the device's record layouts, the named
// constants, and the defaults each kind of light fills in.
#include "render/colors.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

namespace {

static_assert(sizeof(CColor) == sizeof(D3DCOLORVALUE) && sizeof(CMaterial) == sizeof(D3DMATERIAL7) &&
              sizeof(CLight) == sizeof(D3DLIGHT7));

bool Is(const CColor& c, float r, float g, float b)
{
    return c.r == r && c.g == g && c.b == b && c.a == 1.0f;
}

TEST(Colors, ConstantsHaveTheirChannelsAndMaterialsTheirParts)
{
    EXPECT_TRUE(Is(COLOR_BROWN, 0.5f, 0.25f, 0) && Is(COLOR_ORANGE, 1, 0.5f, 0.25f));
    EXPECT_TRUE(Is(COLOR_PURPLE, 0.5f, 0, 0.5f) && Is(COLOR_YELLOW, 1, 1, 0));
    const CMaterial* materials[] = {&MATERIAL_DIFFUSE, &MATERIAL_SHINY, &MATERIAL_AMBIENT,
                                    &MATERIAL_WHITE};
    // Diffuse, ambient, specular, emissive as white (1) or black (0), power.
    const float parts[4][5] = {{1, 0, 0, 0, 1}, {1, 0, 1, 0, 5}, {0, 1, 0, 0, 1}, {1, 1, 1, 1, 5}};
    for (int i = 0; i < 4; ++i) {
        const CMaterial& m = *materials[i];
        const float* p = parts[i];
        EXPECT_TRUE(Is(m.Diffuse, p[0], p[0], p[0]) && Is(m.Ambient, p[1], p[1], p[1])) << i;
        EXPECT_TRUE(Is(m.Specular, p[2], p[2], p[2]) && Is(m.Emissive, p[3], p[3], p[3])) << i;
        EXPECT_EQ(m.fPower, p[4]) << i;
    }
    D3DMATERIAL7 out{};
    EXPECT_EQ(MATERIAL_SHINY.ToD3D(&out), &out);
    EXPECT_TRUE(out.dcvSpecular.g == 1.0f && out.dcvAmbient.r == 0.0f && out.dvPower == 5.0f);
}

TEST(Colors, EachLightConstructorSetsItsOwnKindAndDefaults)
{
    const CLight point;
    EXPECT_EQ(point.nType, D3DLIGHT_POINT);
    EXPECT_TRUE(Is(point.Diffuse, 1, 1, 1) && Is(point.Specular, 0, 0, 0) && Is(point.Ambient, 0, 0, 0));
    // Does not weaken with distance, and reaches as far as the device allows.
    EXPECT_TRUE(point.fAttenuation0 == 1 && point.fAttenuation1 == 0 && point.fAttenuation2 == 0);
    EXPECT_EQ(point.fRange, std::sqrt(FLT_MAX));

    CLight light(COLOR_RED, COLOR_GREEN, COLOR_BLUE, CVector(0, -1, 0));
    EXPECT_TRUE(light.nType == D3DLIGHT_DIRECTIONAL && light.fRange == 0 && light.fAttenuation0 == 0);
    EXPECT_TRUE(light.Direction.y == -1.0f && Is(light.Ambient, 0, 0, 1));
    light.SetSpot(COLOR_RED, COLOR_GREEN, COLOR_BLUE, CVector(1, 2, 3), CVector(0, 0, 1), 50.0f, 2.0f,
                  0.3f, 0.6f, 1.0f, 0.5f, 0.25f);
    EXPECT_TRUE(light.nType == D3DLIGHT_SPOT && light.fFalloff == 2.0f && light.fPhi == 0.6f);
    light.SetPoint(COLOR_WHITE, COLOR_BLACK, COLOR_BLACK, CVector(4, 5, 6), 10.0f, 1, 0, 0);
    EXPECT_TRUE(light.nType == D3DLIGHT_POINT && light.Direction.z == 0 && light.fFalloff == 0);
    D3DLIGHT7 out{};
    light.ToD3D(&out);
    EXPECT_TRUE(out.dltType == D3DLIGHT_POINT && out.dvPosition.z == 6.0f && out.dvRange == 10.0f);
}

} // namespace
