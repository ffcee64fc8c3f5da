#include "compiler/light_shot_block.h"

#include "compiler/vector_clones.h"

CShotSource::CShotSource(const CLumel& lumel, const CPlane& plane, double power, bool bTest)
    : Position{lumel.Position.x, lumel.Position.y, lumel.Position.z}, Power(power),
      Area(lumel.Area),
      Channels{lumel.Light.Red, lumel.Light.Green, lumel.Light.Blue},
      Plane{plane.Normal.x, plane.Normal.y, plane.Normal.z, plane.Distance}, bPlaneTest(bTest)
{
}

VECTOR_CLONES void MakeShotBlock(const CShotSource& source, const CShotPoints& points,
                                 CShotBlock* pBlock)
{
    constexpr double pi = static_cast<double>(LIGHT_PI);
    int32_t lit[SHOT_BLOCK_SIZE];
    for (int32_t k = 0; k < SHOT_BLOCK_SIZE; ++k) {
        const double dx = points.X[k] - source.Position[0];
        const double dy = points.Y[k] - source.Position[1];
        const double dz = points.Z[k] - source.Position[2];
        const double d2 = dx * dx + dy * dy + dz * dz;
        const double factor =
            static_cast<float>(source.Power / (d2 * pi) * source.Area);
        int32_t any = 0;
        for (int32_t c = 0; c < 3; ++c) {
            pBlock->Channels[c][k] = CLightRecord::ScaleChannel(source.Channels[c], factor);
            any |= pBlock->Channels[c][k];
        }
        const double side = points.X[k] * source.Plane[0] + points.Y[k] * source.Plane[1] +
                            points.Z[k] * source.Plane[2] + source.Plane[3];
        const bool bFront = !source.bPlaneTest || !(side < 0.0);
        lit[k] = (d2 != 0.0 && any != 0 && bFront) ? 1 : 0;
    }
    uint32_t bits = 0;
    for (int32_t k = 0; k < SHOT_BLOCK_SIZE; ++k)
        bits |= static_cast<uint32_t>(lit[k]) << k;
    pBlock->Lit = bits;
}
