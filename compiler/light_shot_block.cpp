#include "compiler/light_shot_block.h"

#include "compiler/light_shot.h"
#include "compiler/vector_clones.h"

#include <cmath>

CShotSource::CShotSource(const CLumel& lumel, const CPlane& plane, double power, double reach,
                         bool bTest)
    : Position{lumel.Position.x, lumel.Position.y, lumel.Position.z}, Power(power), Reach(reach),
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

VECTOR_CLONES uint32_t BlocksInReach(const CShotSource& source, const CBlockBoxes& boxes,
                                     double margin)
{
    int32_t near[SHOT_GRID_BLOCKS];
    for (int32_t b = 0; b < SHOT_GRID_BLOCKS; ++b) {
        // The distance from the source to the box, and the highest distance
        // of the box's points from the source's plane.
        double sum = 0.0;
        double high = source.Plane[3];
        for (int32_t k = 0; k < 3; ++k) {
            const double low = boxes.Low[k][b];
            const double top = boxes.High[k][b];
            double gap = low - source.Position[k];
            const double above = source.Position[k] - top;
            gap = gap < above ? above : gap;
            gap = gap < 0.0 ? 0.0 : gap;
            sum += gap * gap;
            high += source.Plane[k] * (source.Plane[k] >= 0.0 ? top : low);
        }
        const double distance = std::sqrt(sum);
        const bool bBeyond = BeyondReach(source.Reach, distance);
        const bool bBehind = source.bPlaneTest && high < -margin;
        near[b] = bBeyond || bBehind ? 0 : 1;
    }
    uint32_t bits = 0;
    for (int32_t b = 0; b < SHOT_GRID_BLOCKS; ++b)
        bits |= static_cast<uint32_t>(near[b]) << b;
    return bits;
}

VECTOR_CLONES uint32_t ChangedBy(const CShotBlock& shots, const CBlockLight& light)
{
    int32_t changed[SHOT_BLOCK_SIZE];
    for (int32_t k = 0; k < SHOT_BLOCK_SIZE; ++k) {
        int32_t any = 0;
        for (int32_t c = 0; c < 3; ++c) {
            const int32_t add = shots.Channels[c][k];
            any |= add != 0 && !(add > 0 && light.Channels[c][k] == 255) ? 1 : 0;
        }
        changed[k] = any;
    }
    uint32_t bits = 0;
    for (int32_t k = 0; k < SHOT_BLOCK_SIZE; ++k)
        bits |= static_cast<uint32_t>(changed[k]) << k;
    return bits;
}

VECTOR_CLONES void AddShots(const CShotBlock& shots, uint32_t bits, int32_t times,
                            CBlockLight* pLight)
{
    for (int32_t n = 0; n < times; ++n) {
        for (int32_t c = 0; c < 3; ++c) {
            int32_t* pChannel = pLight->Channels[c];
            for (int32_t k = 0; k < SHOT_BLOCK_SIZE; ++k) {
                const int32_t add = shots.Channels[c][k];
                const int32_t sum = CLightRecord::SaturateChannel(pChannel[k], add);
                pChannel[k] = (bits >> k) & 1u ? sum : pChannel[k];
            }
        }
    }
}
