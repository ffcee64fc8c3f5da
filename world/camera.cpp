#include "world/camera.h"

#include <cmath>

namespace {

const CVector CAMERA_UP(0.0f, 1.0f, 0.0f);

} // namespace

CCamera::CCamera()
    : View(true),
      fMaxPitch(static_cast<float>(CAMERA_QUARTER_TURN - static_cast<double>(fPitchMargin))),
      fMinPitch(static_cast<float>(-CAMERA_QUARTER_TURN + static_cast<double>(fPitchMargin)))
{
}

CVector CCamera::LookDirection() const
{
    const double dCosPitch = std::cos(static_cast<double>(fPitch));
    return CVector(static_cast<float>(dCosPitch * std::cos(static_cast<double>(fYaw))),
                   static_cast<float>(std::sin(static_cast<double>(fPitch))),
                   static_cast<float>(dCosPitch * std::sin(static_cast<double>(fYaw))));
}

CVector CCamera::SideDirection() const
{
    return CVector(static_cast<float>(std::sin(static_cast<double>(fYaw))), 0.0f,
                   static_cast<float>(-std::cos(static_cast<double>(fYaw))));
}

void CCamera::MoveForward(float fAmount)
{
    Position += LookDirection() * fAmount;
}

void CCamera::MoveSideways(float fAmount)
{
    Position += SideDirection() * fAmount;
}

void CCamera::ClampPitch()
{
    if (fPitch < fMinPitch)
        fPitch = fMinPitch;
    if (fPitch > fMaxPitch)
        fPitch = fMaxPitch;
}

CMatrix* CCamera::UpdateView(CMatrix* pOut)
{
    // The clamped angle is kept, so that turning back past the limit takes
    // effect at once.
    ClampPitch();
    const CVector direction = LookDirection();
    if (nMode == 0) {
        View.ViewLookAt(Position, Position + direction, CAMERA_UP, true);
    } else if (nMode == 1) {
        Target = Position - direction * fDistance;
        UpdateOrbitView();
    }
    bViewFresh = 1;
    *pOut = View;
    return pOut;
}

CMatrix* CCamera::GetViewMatrix(CMatrix* pOut)
{
    if (!bViewFresh)
        UpdateView(pOut);
    bViewFresh = 0;
    *pOut = View;
    return pOut;
}

void CCamera::UpdateOrbitView()
{
    bViewFresh = 1;
    View.ViewLookAt(Target, Position, CAMERA_UP, true);
}

CMatrix* CCamera::LookAtPoint(float x, float y, float z, CMatrix* pOut)
{
    if (nMode == 0) {
        bViewFresh = 1;
        View.ViewLookAt(Position, CVector(x, y, z), CAMERA_UP, true);
    } else if (nMode == 1) {
        Position = CVector(x, y, z);
        UpdateView(pOut);
    }
    *pOut = View;
    return pOut;
}
