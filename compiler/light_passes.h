#pragma once
// The light passes as the compile tool runs them after MakeGrids: the direct
// pass (every emitting sample, then every point light), then per bounce
// AverageGrids and the bounce shots. The samples come out as the
// single-threaded walk of ShootEmitters and ShootBounce leaves them, bit for
// bit, whatever the number of threads.
//
// How the work is cut down without changing a sample:
// - each shot source is paired only with the receiving faces that it may
//   raise by a whole unit (the light falls off with the square of the
//   distance), that turn their front to it and that lie on or in front of
//   its plane; the pairs are tested per face before any sample is;
// - a pair's segments are first tested in blocks (BoxesInSight): a block of
//   sources and a block of samples that are surely in sight of each other
//   need no segment walk of their own;
// - from a single source, a face behind the solid place that one segment's
//   walk met is settled without a walk of boxes when that place shadows the
//   whole face (CSightTree::Shadows);
// - the segments from one source to a block of samples that must be walked
//   go down the tree together, as a fan (CSightTree::SeesFan), which passes
//   over the nodes that every segment between the pair of faces goes by
//   whole (CSightTree::CSkips);
// - a receiver's light is held in columns while it takes its shots, so that
//   the shots of a block are made, tested and added several at a time, and
//   a block whose tests are settled takes them all at once;
// - threads divide the receiving faces among them: a face takes its shots
//   from one thread only, in the order of the walk; or, in a pass where no
//   shot takes light away, brightest first, passing over the samples that
//   are full in every channel (the sum held at 255 does not depend on the
//   order then).
// Memory grows with the number of samples and of source-face pairs in
// reach, not with the square of the leaf count.
#include "compiler/build_tree.h"
#include "compiler/light.h"

#include <cstdint>
#include <ostream>
#include <vector>

// A point light: one source sample that shoots into every leaf that the
// leaf holding it may light, without the half-space test of a source plane.
struct CPointLight {
    CVector Position;
    float Area = 0.0f;  // its power, as a sample's area
    CLightRecord Light; // colour and a non-zero intensity
};

// Counts and times of one run of the passes (added to, so a run may sum).
struct CLightStats {
    // Shots that passed both half-space tests and add light: each needed a
    // line of sight, by a walk of its own or by a block found in sight.
    int64_t Shots = 0;
    // Shots that walked the tree for their line of sight.
    int64_t LineTests = 0;
    // Source-face pairs in reach, over all passes.
    int64_t Pairs = 0;
    double DirectSeconds = 0.0;
    double BounceSeconds = 0.0; // the bounces, with their averages
};

struct CLightRun {
    int32_t Bounces = 1;
    int32_t Threads = 1; // 1 for anything below 1
    std::ostream* pProgress = nullptr; // progress lines of long passes; null: none
    const std::vector<CPointLight>* pPoints = nullptr; // shot after the emitting faces
    CLightStats* pStats = nullptr;
};

void RunLightPasses(CBuildNode* pRoot, const CLightRun& run);
void RunLightPasses(CBuildNode* pRoot, int32_t bounces, int32_t threads);

// The two kinds of pass on the subtree under pNode, line of sight through
// the whole tree under pRoot (ShootEmitters and ShootBounce are these on one
// thread).
void RunDirectPass(CBuildNode* pRoot, CBuildNode* pNode, const CLightRun& run);
void RunBouncePass(CBuildNode* pRoot, CBuildNode* pNode, const CLightRun& run, int32_t bounce);
