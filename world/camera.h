#pragma once
// CCamera: a position and two angles, and the view matrix made from them.
// Mode 0 looks from Position along the angles (the walk-through's camera);
// mode 1 orbits, looking at Position from fDistance away. The walk-through
// writes Position, fYaw and fPitch directly; the pitch limit is applied when
// the matrix is made, not when the angle changes.
//
// World axes are left-handed with y up. The look direction for yaw y and
// pitch p is (cos p cos y, sin p, cos p sin y); the sideways direction, to
// the right of it, is (sin y, 0, -cos y).
#include "geometry/matrix.h"
#include "geometry/vector.h"

#include <bit>
#include <cstdint>

// How far the pitch stays from straight up and down, in radians.
constexpr float CAMERA_PITCH_MARGIN = std::bit_cast<float>(0x3F060AA6u);
// The quarter turn the pitch limits are measured from.
constexpr double CAMERA_QUARTER_TURN = 1.5707;

class CCamera {
public:
    CCamera();
    virtual ~CCamera() = default;

    // Position += look direction * fAmount, with the angles as they stand,
    // unclamped; a pitched camera climbs or sinks. View is not touched.
    void MoveForward(float fAmount);
    // Position += sideways direction * fAmount; y does not change.
    void MoveSideways(float fAmount);
    // Pulls fPitch into [fMinPitch, fMaxPitch].
    void ClampPitch();
    // Clamps the pitch (for good), makes View for the mode and marks it
    // fresh; copies View to *pOut and gives pOut.
    CMatrix* UpdateView(CMatrix* pOut);
    // View, made anew unless an UpdateView has just made it; the freshness
    // is used up by this call. Copies View to *pOut and gives pOut.
    CMatrix* GetViewMatrix(CMatrix* pOut);
    // The orbit view: from Target towards Position.
    void UpdateOrbitView();
    // Mode 0: a view from Position at the point, angles untouched (the next
    // UpdateView undoes it). Mode 1: the point becomes Position. Copies View
    // to *pOut and gives pOut.
    CMatrix* LookAtPoint(float x, float y, float z, CMatrix* pOut);

    CMatrix View;
    uint8_t bViewFresh = 0;
    CVector Position;
    CVector Target;     // mode 1: the eye
    float fYaw = 0.0f;  // radians about y; 0 looks along +x; never wrapped
    float fPitch = 0.0f; // radians above the horizontal
    float fDistance = 1.0f;
    float fPitchMargin = CAMERA_PITCH_MARGIN;
    float fMaxPitch;
    float fMinPitch;
    int32_t nMode = 0; // 0 first person, 1 orbit

private:
    CVector LookDirection() const;
    CVector SideDirection() const;
};
