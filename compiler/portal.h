#pragma once
// Portals: convex polygons on the planes of the map, each joining exactly two
// leaves of the built tree. Every plane, in both orientations, is laid down
// as one large polygon and pushed down the tree; the fragments that lie
// against exactly two leaves and are not covered by a wall become portals.
#include "compiler/build_tree.h"
#include "compiler/face.h"
#include "compiler/face_set.h"

#include <cstdint>
#include <ostream>

constexpr float PORTAL_BASE_SIZE = 5800.0f; // g_fBaseFaceSize at its default

struct CPortal {
    CPlane Plane;                               // in the orientation that made it
    CLeafFace Winding;                          // the polygon
    CBuildNode* pNodes[2] = {nullptr, nullptr}; // the leaves on its sides, in the order found
    int32_t NodeCount = 0;
    bool bBlocked = false; // the flood does not cross it
};

// How the portal stage runs; the portals come out the same either way.
struct CPortalRun {
    int32_t Threads = 0;              // 0: one per core
    std::ostream* pProgress = nullptr; // progress lines of a long stage; null: none
};

// Makes all portals, links them to their leaves and stores the array in
// *ppPortals; returns its length. planeCount 0 leaves *ppPortals null. Each
// portal goes into the pPortals list of its first and then of its second
// leaf, unless the list already links the same neighbour on the same plane
// in the same orientation. Each attempt sets bBlocked and a link clears it,
// so the flag tells whether the last attempt was refused.
int32_t BuildPortals(const CPlane* pPlanes, int32_t planeCount, CBuildNode* pRoot,
                     CPortal** ppPortals, const CPortalRun& run = {});
// The array without linking. Each plane is taken flipped and then as given;
// the fragments that found two leaves form a block per oriented plane, and
// the newest block stands at the head of the array. The planes are cut on
// several threads; each block is what MakePlanePortals and AssignPortals
// make of its plane, to the bit.
int32_t MakeAllPortals(const CPlane* pPlanes, int32_t planeCount, CBuildNode* pRoot,
                       CPortal** ppPortals, const CPortalRun& run = {});
// The fragments of one oriented plane, as portals.
int32_t MakePlanePortals(const CPlane* pPlane, CBuildNode* pRoot, CPortal** ppPortals);
// Cuts an array of faces by a subtree, replacing the array; the new length.
int32_t SplitThroughTree(CLeafFace** ppFaces, int32_t faceCount, CBuildNode* pNode);

// Finds the leaves that each fragment lies against: at an inner node a
// fragment behind the plane goes back, one on it back and then front, one in
// front goes front, and one spanning it finds nothing there. A leaf with a
// face that covers the fragment blocks it and is not recorded; the first two
// leaves found are kept.
void AssignPortals(CBuildNode* pRoot, CPortal* pPortals, int32_t count);
void AssignPortal(CBuildNode* pNode, CPortal* pPortal);
// True when the portal lies on the face's plane and within its edges, both
// within PLANE_EPSILON.
bool FaceCoversPortal(const CPortal* pPortal, const CLeafFace* pFace);
// Diffuse colour of every portal vertex: white at an alpha of 0.15.
uint32_t PortalColour();
// Gives every vertex the portal colour and clears the leaves and the flag.
void ResetPortal(CPortal* pPortal);
// Deep copy of the winding, plain copy of the rest. False when memory fails.
bool CopyPortal(CPortal* pTo, const CPortal* pFrom);
// Remakes each unblocked portal's winding from the base square, cut by the
// planes from each of its leaves up to the root, keeping the side of the
// leaf's centre. A blocked portal is left without a winding.
void RecutPortals(CPortal* pPortals, int32_t count);
// The mean of all face vertices of a leaf; the zero vector for a null node
// or a node without faces.
CVector LeafCentre(const CBuildNode* pNode);
// Frees the windings and the array and nulls *ppPortals; the leaves' links
// to these portals become null, their PortalCount stays.
void FreePortals(CPortal** ppPortals, int32_t count);
// The fragments of one plane cut by the tree without the on-plane rule: a
// polygon on a node's plane goes on whole to both sides, and each polygon
// that reaches a null child is a portal, front sides first.
int32_t MakePortals(const CPlane* pPlane, CBuildNode* pRoot, CPortal** ppPortals);
// The cells that a list of planes cuts out of one plane's base square.
// Throws CError when a cut loses every part, or when the stack of parts
// comes out too short or too long.
int32_t MakePortals2(const CPlane* pPlane, const CPlane* pPlanes, int32_t planeCount,
                     CPortal** ppPortals);
