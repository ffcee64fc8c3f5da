// The camera: pitch limits, movement along the look and sideways directions,
// the view matrix of both modes and when it is made.
#include "world/camera.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <numbers>

namespace {

constexpr float QUARTER = std::numbers::pi_v<float> / 2;

// p * M in the device's row-vector convention.
CVector ToView(const CMatrix& m, const CVector& p)
{
    auto column = [&](int c) {
        return p.x * m.m[c] + p.y * m.m[4 + c] + p.z * m.m[8 + c] + m.m[12 + c];
    };
    return CVector(column(0), column(1), column(2));
}

void ExpectNear(const CVector& a, const CVector& b)
{
    EXPECT_NEAR(a.x, b.x, 1e-4);
    EXPECT_NEAR(a.y, b.y, 1e-4);
    EXPECT_NEAR(a.z, b.z, 1e-4);
}

TEST(Camera, MovesAlongLookAndRightDirections)
{
    CCamera camera;
    camera.MoveForward(2.0f);
    camera.MoveSideways(3.0f);
    ExpectNear(camera.Position, CVector(2, 0, -3));
    // A quarter turn looks along +z with +x on the right; yaw is not wrapped.
    camera.Position = CVector();
    camera.fYaw = QUARTER + 6 * std::numbers::pi_v<float>;
    camera.MoveForward(-1.0f);
    camera.MoveSideways(-2.0f);
    ExpectNear(camera.Position, CVector(-2, 0, -1));
}

TEST(Camera, PitchLimitsApplyAtTheViewNotAtTheMove)
{
    CCamera camera;
    EXPECT_EQ(std::bit_cast<uint32_t>(camera.fPitchMargin), 0x3F060AA6u);
    EXPECT_FLOAT_EQ(camera.fMaxPitch, 1.0471f); // 1.5707 less the margin
    EXPECT_EQ(camera.fMinPitch, -camera.fMaxPitch);
    camera.fPitch = 2.0f;
    camera.MoveForward(1.0f);
    ExpectNear(camera.Position, CVector(std::cos(2.0f), std::sin(2.0f), 0));
    CMatrix view;
    camera.UpdateView(&view);
    EXPECT_EQ(camera.fPitch, camera.fMaxPitch);
    camera.UpdateView(&view);
    EXPECT_EQ(camera.fPitch, camera.fMaxPitch);
    // The fresh view of the update is used as it is; the next call clamps.
    camera.fPitch = -2.0f;
    camera.GetViewMatrix(&view);
    EXPECT_EQ(camera.fPitch, -2.0f);
    camera.GetViewMatrix(&view);
    EXPECT_EQ(camera.fPitch, camera.fMinPitch);
}

TEST(Camera, FirstPersonViewAndItsOneShotFreshness)
{
    CCamera camera;
    camera.Position = CVector(1, 2, 3);
    camera.fYaw = QUARTER;
    CMatrix view;
    EXPECT_EQ(camera.UpdateView(&view), &view);
    // Ahead is view +z, the right-hand side +x, up +y.
    ExpectNear(ToView(view, CVector(1, 2, 8)), CVector(0, 0, 5));
    ExpectNear(ToView(view, CVector(4, 2, 3)), CVector(3, 0, 0));
    ExpectNear(ToView(view, CVector(1, 6, 3)), CVector(0, 4, 0));
    // The update is used once; then every call computes anew.
    camera.Position = CVector(1, 2, 0);
    camera.GetViewMatrix(&view);
    ExpectNear(ToView(view, CVector(1, 2, 0)), CVector(0, 0, -3));
    camera.GetViewMatrix(&view);
    ExpectNear(ToView(view, CVector(1, 2, 0)), CVector(0, 0, 0));
    camera.Position = CVector(1, 2, 5);
    camera.GetViewMatrix(&view);
    ExpectNear(ToView(view, CVector(1, 2, 5)), CVector(0, 0, 0));
}

// Orbit: the point becomes the position, seen from fDistance behind it.
TEST(Camera, OrbitLooksAtThePointFromItsDistanceBehind)
{
    CCamera camera;
    CMatrix view;
    camera.nMode = 1;
    camera.fDistance = 10.0f;
    camera.LookAtPoint(5, 0, 0, &view);
    ExpectNear(camera.Target, CVector(-5, 0, 0));
    ExpectNear(ToView(view, CVector(5, 0, 0)), CVector(0, 0, 10));
}

} // namespace
