#pragma once
// MakeShot and the source-plane test of a shot for a block of samples at
// once, in columns that the processor takes several at a time: each lane's
// result is the one MakeShot gives for that sample, bit for bit.
#include "compiler/light.h"

#include <cstdint>

constexpr int32_t SHOT_BLOCK_SIZE = 16;

// Sample positions, widened to double, in columns.
struct CShotPoints {
    double X[SHOT_BLOCK_SIZE];
    double Y[SHOT_BLOCK_SIZE];
    double Z[SHOT_BLOCK_SIZE];
};

// What the shots read of a source.
struct CShotSource {
    CShotSource(const CLumel& lumel, const CPlane& plane, double power, bool bPlaneTest);
    double Position[3];
    double Power;
    double Area;
    int32_t Channels[3];
    double Plane[4];  // normal and distance
    bool bPlaneTest;  // samples behind the plane get nothing
};

struct CShotBlock {
    int32_t Channels[3][SHOT_BLOCK_SIZE];
    // Bit j: sample j lies on or in front of the source's plane (when that
    // is tested) and its shot lights at least one channel.
    uint32_t Lit = 0;
};

void MakeShotBlock(const CShotSource& source, const CShotPoints& points, CShotBlock* pBlock);
