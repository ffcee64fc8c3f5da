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
    CShotSource(const CLumel& lumel, const CPlane& plane, double power, double reach,
                bool bPlaneTest);
    double Position[3];
    double Power;
    double Reach; // ShotReach
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

// The light of a block's samples, in columns.
struct CBlockLight {
    int32_t Channels[3][SHOT_BLOCK_SIZE];
};

// Bit j: the shot of sample j changes its light: some channel gets a
// non-zero amount, other than a positive one to a full channel (255).
uint32_t ChangedBy(const CShotBlock& shots, const CBlockLight& light);

// SaturateAdd of the shot of each sample in `bits` to its light, `times`
// times over.
void AddShots(const CShotBlock& shots, uint32_t bits, int32_t times, CBlockLight* pLight);

// Boxes round the samples of a grid's blocks, in columns: a grid has
// SHOT_GRID_BLOCKS blocks of SHOT_BLOCK_SIZE samples.
constexpr int32_t SHOT_GRID_BLOCKS = 16;
struct CBlockBoxes {
    double Low[3][SHOT_GRID_BLOCKS];
    double High[3][SHOT_GRID_BLOCKS];
};

// Bit b: block b may get light from the source. A block is passed over when
// it lies beyond the source's reach (BeyondReach of its distance from the
// source) or, when the plane is tested, wholly more than `margin` behind the
// source's plane. Each block is tested as a single box is in the passes,
// step for step.
uint32_t BlocksInReach(const CShotSource& source, const CBlockBoxes& boxes, double margin);
