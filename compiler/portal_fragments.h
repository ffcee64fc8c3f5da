#pragma once
// The working part of MakeAllPortals. Each oriented plane's base square is
// cut by the tree and each fragment's leaves are searched, exactly as
// SplitThroughTree and AssignPortal do it, but on a flat copy of the tree,
// with each thread's fragments in one vertex pool, and with a bounding box
// per fragment that settles most side tests without looking at the
// vertices. The planes are independent of each other and are shared out
// among threads; the result does not depend on how many.
#include "compiler/portal.h"

#include <cstdint>
#include <vector>

class CProgress;

// The plane of a wall face, made from its first three vertices. A face of
// fewer than three vertices, or with two of the first three equal, covers
// nothing.
struct CWallPlane {
    bool bUsable;
    CPlane Plane;
};
CWallPlane WallPlane(const CLeafFace* pFace);

// True when the polygon of count vertices lies on the face's plane and inside
// its edges, both within the band. Each edge's plane stands on the edge at
// right angles to the face, its normal pointing out of the face.
bool WallCovers(const CVertex* pVertices, int32_t count, const CLeafFace* pFace,
                const CPlane& facePlane);

// The fragments of each oriented plane that found two leaves, as portals in
// the order of SplitThroughTree: block i belongs to plane i / 2, flipped for
// an even i. threads 0 means one per core; pProgress, when given, counts one
// step per block.
std::vector<std::vector<CPortal>> MakePlaneBlocks(const CPlane* pPlanes, int32_t planeCount,
                                                  CBuildNode* pRoot, int32_t threads,
                                                  CProgress* pProgress);
