#pragma once
// The arithmetic of one shot, shared by ShootLumel and the light passes so
// that both give the same samples bit for bit.
#include "compiler/light.h"

#include <algorithm>
#include <cmath>

// A normal that gives a face a front side: finite and not zero.
inline bool HasDirection(const CVector& normal)
{
    return std::isfinite(normal.x) && std::isfinite(normal.y) && std::isfinite(normal.z) &&
           (normal.x != 0.0f || normal.y != 0.0f || normal.z != 0.0f);
}

// Intensity times area: the source's power, which counts twice in a shot.
inline double ShotPower(const CLumel& source)
{
    return static_cast<double>(source.Light.Intensity) * source.Area;
}

// The light a sample at `at` gets from source, in *pShot. False when the
// shot adds nothing: every channel truncates to 0, or the two points are one
// (no light comes from a coincident point, rather than a division by zero).
inline bool MakeShot(const CLumel& source, double power, const CVector& at, CLightRecord* pShot)
{
    const double dx = static_cast<double>(at.x) - source.Position.x;
    const double dy = static_cast<double>(at.y) - source.Position.y;
    const double dz = static_cast<double>(at.z) - source.Position.z;
    const double d2 = dx * dx + dy * dy + dz * dz;
    if (d2 == 0.0)
        return false;
    const float factor = static_cast<float>(power / (d2 * static_cast<double>(LIGHT_PI)) *
                                            static_cast<double>(source.Area));
    *pShot = source.Light;
    pShot->ScaleLight(factor);
    return pShot->Red != 0 || pShot->Green != 0 || pShot->Blue != 0;
}

// The largest colour channel of a source, as a size.
inline double PeakChannel(const CLightRecord& light)
{
    return std::max({std::abs(static_cast<double>(light.Red)),
                     std::abs(static_cast<double>(light.Green)),
                     std::abs(static_cast<double>(light.Blue))});
}

// The reach of a source: a shot over a distance d adds no whole unit to any
// channel when ShotReach / d^2 is below SHOT_CUTOFF. The cutoff stays under 1
// by a margin that covers the rounding of the factor to float and of the
// distances that the bounds measure.
constexpr double SHOT_CUTOFF = 0.999;
inline double ShotReach(const CLumel& source)
{
    return std::abs(PeakChannel(source.Light) * ShotPower(source) *
                    static_cast<double>(source.Area)) /
           static_cast<double>(LIGHT_PI);
}

// True when every point farther than gap from the source gets nothing from
// a source of this reach: the light falls off with the square of the
// distance and each channel is truncated toward zero.
inline bool BeyondReach(double reach, double gap, double cutoff = SHOT_CUTOFF)
{
    return gap > 0.0 && reach / (gap * gap) < cutoff;
}
