// The render calls: the device check, the messages of failed calls, what
// the device is handed, and the projection.
#include "app_fixture.h"
#include "platform/null_device.h"

namespace {

using RenderCallsTest = AppTest;

TEST_F(RenderCallsTest, WithoutADeviceCallsThrowOrReturnTheirCodes)
{
    const std::string noDevice = "Tried to use an invalid D3D device.";
    CApplication& app = *App;
    EXPECT_EQ(ThrownMessage([&] { app.BeginScene(); }), noDevice);
    EXPECT_EQ(ThrownMessage([&] { app.SetTexture(0, nullptr); }), noDevice);
    EXPECT_EQ(ThrownMessage([&] { app.GetMaterial(); }), noDevice);
    EXPECT_EQ(app.ClearZBuffer(), 2);
    EXPECT_EQ(app.SetWorldTransform(CMatrix()), 1);
    EXPECT_EQ(app.SetViewTransform(CMatrix()), 1);
}

TEST_F(RenderCallsTest, PlatformFailuresThrowFormattedMessages)
{
    StartDevices();
    for (const char* pszCall : {"BeginScene", "EndScene", "SetRenderState", "SetTextureStageState",
                                "SetMaterial", "SetLight", "DrawPrimitive", "SetTexture"})
        GetNullConfig().Failures.push_back({pszCall, E_FAIL});
    CApplication& app = *App;
    EXPECT_EQ(ThrownMessage([&] { app.BeginScene(); }), "Could not begin the D3D scene.");
    EXPECT_EQ(ThrownMessage([&] { app.EndScene(); }), "Could not end the D3D scene.");
    EXPECT_EQ(ThrownMessage([&] { app.SetRenderState(137, 0); }),
              "Failed to set render state 137 to 0.");
    // State and value come before the stage, although the call takes the
    // stage first.
    EXPECT_EQ(ThrownMessage([&] { app.SetTextureStageState(1, 12, 3); }),
              "Failed to set texture state 12 to 3 for stage 1.");
    EXPECT_EQ(ThrownMessage([&] { app.SetMaterial(MATERIAL_WHITE); }), "Failed to set material.");
    EXPECT_EQ(ThrownMessage([&] { app.DrawPrimitive(6, 0x244, nullptr, 0, 0); }),
              "Failed to draw primitive.");
    // A refused light leaves its enabled state alone.
    EXPECT_EQ(ThrownMessage([&] { app.SetLight(3, CLight(), true); }), "Failed to set light 3.");
    EXPECT_EQ(CountLogged("LightEnable 3 1"), 0);
    EXPECT_EQ(app.SetTexture(0, nullptr), 0);
}

TEST_F(RenderCallsTest, TheDeviceIsHandedWhatTheCallsCarry)
{
    StartDevices();
    App->SetLight(2, CLight(COLOR_RED, COLOR_BLACK, COLOR_BLACK, CVector(0, -1, 0)), true);
    EXPECT_TRUE(GetNullDeviceState().LightEnabled[2]);
    EXPECT_EQ(App->GetLight(2).nType, D3DLIGHT_DIRECTIONAL);
    App->SetMaterial(MATERIAL_SHINY);
    EXPECT_EQ(App->GetMaterial().fPower, 5.0f);
    GetNullDeviceState().fClearZ = 0.5f;
    EXPECT_EQ(App->ClearZBuffer(), 0);
    EXPECT_EQ(GetNullDeviceState().fClearZ, 1.0f);
    EXPECT_TRUE(LoggedInOrder({"Clear 2"}));
    // A device that answers nothing leaves the plain diffuse material.
    GetNullConfig().Failures = {{"GetMaterial", E_FAIL}};
    const CMaterial material = App->GetMaterial();
    EXPECT_TRUE(material.Diffuse.r == 1.0f && material.Ambient.r == 0.0f && material.fPower == 1.0f);
    EXPECT_TRUE(material.Specular.g == 0.0f && material.Emissive.b == 0.0f && material.Diffuse.a == 1.0f);
}

TEST_F(RenderCallsTest, SetProjectionBuildsTheMatrixOrRefuses)
{
    StartDevices();
    const D3DMATRIX& projection = GetNullDeviceState().Transforms[D3DTRANSFORMSTATE_PROJECTION];
    // The viewer's quarter turn gives h = 1; the width scale is 768/1024.
    EXPECT_NEAR(projection.m[0], 0.75f, 1e-5);
    EXPECT_NEAR(projection.m[5], 1.0f, 1e-5);
    EXPECT_NEAR(projection.m[10], 4028.0f / 4027.0f, 1e-6);
    EXPECT_EQ(projection.m[11], 1.0f);
    EXPECT_NEAR(projection.m[14], -4028.0f / 4027.0f, 1e-6);
    EXPECT_EQ(projection.m[15], 0.0f);

    CAppConfig other = Config;
    other.nNear = other.nFar = 10;
    EXPECT_EQ(App->SetProjection(&other), 2);
    other.nFar = 110;
    other.fFieldOfView = 0.02f; // the half-angle sine is just under 0.01
    EXPECT_EQ(App->SetProjection(&other), 2);
    EXPECT_NEAR(projection.m[14], -4028.0f / 4027.0f, 1e-6);
    other.fFieldOfView = 0.03f;
    other.nFar = 11; // a depth range of exactly 1 is enough
    EXPECT_EQ(App->SetProjection(&other), 0);
    EXPECT_NEAR(projection.m[14], -110.0f, 1e-4);
    EXPECT_NEAR(projection.m[5], 1.0 / std::tan(0.015), 1e-2);
}

} // namespace
