#pragma once
// Lightmaps of the compiler. A light is a face: the light list gives some
// textures a colour and an intensity, and every face with such a texture
// emits. Each face of a reached leaf gets a grid of 16 by 16 samples, one per
// lightmap texel. Light goes from sample to sample, tested for line of sight
// through the tree: first from every sample of every emitting face, then, per
// bounce, from one sample of every other face with that face's mean colour.
// Shots follow a fixed walk of the tree (front subtree before back), and each
// leaf's light reaches only the leaves of its pVisibleLeaves list, which the
// caller fills first (with the leaf itself among them). Colours are whole
// numbers that saturate at 255 in the samples that receive them.
//
// The passes as the compile tool runs them, fast and on several threads,
// stand in light_passes.h; ShootEmitters and ShootBounce are the same passes
// on one thread.
#include "compiler/build_tree.h"
#include "compiler/face.h"
#include "compiler/light_record.h"
#include "compiler/map_tables.h"
#include "geometry/vector.h"

#include <cstdint>

constexpr int32_t LUMEL_GRID_SIZE = 16; // samples per side of a face
constexpr int32_t LUMEL_GRID_COUNT = LUMEL_GRID_SIZE * LUMEL_GRID_SIZE;
constexpr double BOUNCE_POWER = 20.0; // a bouncing face's power, in place of a sample's area
constexpr int32_t BOUNCE_LUMEL_X = 7; // the sample a bouncing face shoots from
constexpr int32_t BOUNCE_LUMEL_Y = 7;
constexpr float LIGHT_PI = 3.14159f;
constexpr double MEAN_SCALE = 0.00390625;          // 1 / 256
constexpr double MEAN_INTENSITY_SCALE = 0.013;     // bounce intensity per unit of R + G + B

// One sample: the low corner of its lightmap texel.
struct CLumel {
    float Area = 0.0f; // the texel's area; its power when it shoots
    CVector Position;
    CLightRecord Light; // what it received, or what it emits
    bool bEmitter = false;
};

// The samples of one face; sample (x, y) is pLumels[y * 16 + x] and stands
// for texel (x, y) of the face's lightmap.
struct CLumelGrid {
    CVector Normal;             // of the face's first three vertices
    CLumel* pLumels = nullptr;  // owned; LUMEL_GRID_COUNT entries or none
    int32_t LumelCount = 0;     // LUMEL_GRID_COUNT, or 0 when there is no array
    CLightRecord Mean;          // filled by AverageGrids
};

// One entry of the light tree: the light of the texture whose name has Index
// Key. A key goes left of a node whose key is greater or equal.
struct CLightNode {
    int32_t Key = 0;
    CLightRecord Record;
    CLightNode* pLeft = nullptr;
    CLightNode* pRight = nullptr;
};

// The light tree.
// Reads the light list at pszPath: entries of five tokens (texture name, red,
// green, blue, intensity as whole numbers). Each entry whose name is in
// pNames goes into that name's Light (a later entry for a name overwrites an
// earlier one); other names are dropped. An entry cut short by the end of the
// file is dropped too. Returns a new light tree of the names with a non-zero
// intensity, or null when there is none or the file can't be opened.
CLightNode* ReadLightList(CTexNameNode* pNames, const char* pszPath);
// Inserts every node of the name tree whose Light has a non-zero intensity:
// the node, then its lower subtree, then its higher subtree.
void CollectLights(CTexNameNode* pNameNode, CLightNode** ppRoot);
// A new node with the name's Index and Light; null when memory fails.
CLightNode* InsertLight(CLightNode** ppRoot, const CTexNameNode* pNameNode);
CLightNode* FindLight(CLightNode* pRoot, int32_t key);
void FreeLights(CLightNode** ppRoot);

// Grids.
// Gives every face of every reached leaf under pNode its grid, emitting where
// the face's TextureIndex has a light. Grids a leaf already had are freed
// first. Always true; a grid whose samples can't be allocated stays empty.
bool MakeGrids(CBuildNode* pNode, CLightNode* pLights);
// Dark samples at the texel corners of MapFaceLightmap, each with the
// texel's area. Writes the face's lightmap coordinates. False when memory
// fails.
bool InitGrid(CLumelGrid* pGrid, CLeafFace* pFace);
// InitGrid, then every sample emits *pRecord.
bool InitEmitterGrid(CLumelGrid* pGrid, CLeafFace* pFace, const CLightRecord* pRecord);
// Frees the samples; LumelCount becomes 0. A null grid is allowed.
void FreeGrid(CLumelGrid* pGrid);
// Sample (x, y); null when there is no array or y * 16 + x is outside it.
CLumel* GetLumel(CLumelGrid* pGrid, int32_t x, int32_t y);

// Passes. Each one walks the subtree under pNode and tests line of sight in
// the whole tree under pRoot.
//
// Shots that can't give light are not made:
// - a source and a sample on the same point (squared distance 0): no light
//   comes from a coincident point, rather than a division by zero;
// - a grid without samples neither shoots nor receives;
// - a face whose normal is zero (collinear first vertices) has no front side:
//   it neither shoots nor receives; as an emitter it keeps its colour;
// - a shot that adds nothing (every channel truncates to 0, as with a source
//   of intensity or area 0, or far away) leaves a receiving sample as it is,
//   since that never holds more than 255: it makes no line test, and a grid
//   wholly out of a source's reach is passed over.
//
// The direct pass: every sample of every emitting face of a reached leaf with
// a visible list shoots into each visible leaf. False for a null node.
bool ShootEmitters(CBuildNode* pRoot, CBuildNode* pNode);
// The mean colour of each grid of a reached leaf with a visible list: the sum
// of the samples whose three colours are not negative, divided by 256
// whatever their number, and an intensity of (R + G + B) * 0.013. False for a
// null node.
bool AverageGrids(CBuildNode* pNode);
// The bounce: each non-emitting face of a reached leaf shoots its Mean from
// sample (7, 7) with power BOUNCE_POWER into its visible leaves, its own face
// excepted. Means were taken before, so a bounce never feeds another within
// the pass. True.
bool ShootBounce(CBuildNode* pRoot, CBuildNode* pNode);
// Light from pSource, on a face of normal *pNormal, into every grid of pLeaf
// that turns its front to it, each sample lit when it lies on or in front of
// the source's plane, has a zero intensity (so neither emits nor is the
// shooter's face, which the caller marks) and is in sight.
void ShootLumel(CBuildNode* pRoot, const CVector* pNormal, const CLumel* pSource,
                CBuildNode* pLeaf);
// True when the segment from pFrom to pTo passes only through reached
// leaves. A missing child is solid; a segment lying along a splitting plane
// passes if it passes on either side.
bool LineOfSight(const CBuildNode* pNode, const CVector* pFrom, const CVector* pTo);
