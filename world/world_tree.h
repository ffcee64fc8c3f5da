#pragma once
// The run-time form of a map: a binary space partition tree of CWorldNode
// objects, each a splitting plane with two children, ending in CWorldLeaf
// objects, each a convex region with its faces, one 16 x 16 lightmap surface
// per face and the list of leaves visible from it. A missing child is solid
// space. The tree is built once from a CMapImage and torn down by Clear; its
// users are the world drawing and the collision test.
//
// No walk recurses: the depth of a tree follows the file, so Build, Clear,
// IsOpen, DrawVisible and DrawAll keep their own stacks, in the order the
// plain recursive walks would take.
#include "compiler/face.h"
#include "geometry/plane.h"
#include "geometry/vector.h"

#include <bit>
#include <cstdint>

struct CMapImage;
class CTextureSurface;
class CViewerApp;

// The collision band round a splitting plane, in world units: a point this
// close to a plane tries both sides.
constexpr float WORLD_OPEN_BAND = std::bit_cast<float>(0x3E4CCCCDu);
static_assert(WORLD_OPEN_BAND == 0.2f);

class CWorldElement {
public:
    virtual ~CWorldElement() = default;

    // Builds this element from record nIndex of the image.
    virtual bool Build(CMapImage& image, int32_t nIndex) = 0;
    // Frees all that the element owns; a cleared element clears again freely.
    virtual void Clear() = 0;
    // True when point lies in open space below this element.
    virtual bool IsOpen(const CVector& point) const = 0;
    virtual bool IsLeaf() const = 0;
    // Copies the element's plane to *pOut and gives pOut.
    virtual CPlane* GetPlane(CPlane* pOut) const = 0;
    // Draws the leaf of eye and the leaves visible from it.
    virtual bool DrawVisible(CViewerApp* pApp, const CVector& eye) = 0;
    // Draws every leaf below, front before back.
    virtual bool DrawAll(CViewerApp* pApp) = 0;
};

class CWorldLeaf : public CWorldElement {
public:
    CWorldLeaf() = default;
    CWorldLeaf(const CWorldLeaf&) = delete;
    CWorldLeaf& operator=(const CWorldLeaf&) = delete;
    // Frees what Clear would, so that a leaf that is destroyed unbuilt or
    // uncleared leaves nothing behind.
    ~CWorldLeaf() override;

    // Faces, visible list and lightmap surfaces of leaf nIndex. The image
    // must hold a leaf object for every leaf number in ppLeaves first, since
    // the visible list points at them; its pApp makes the surfaces.
    bool Build(CMapImage& image, int32_t nIndex) override;
    void Clear() override;
    bool IsOpen(const CVector& point) const override;
    bool IsLeaf() const override;
    CPlane* GetPlane(CPlane* pOut) const override;
    bool DrawVisible(CViewerApp* pApp, const CVector& eye) override;
    bool DrawAll(CViewerApp* pApp) override;

    // This leaf's faces alone: per face its texture at stage 0, its lightmap
    // at stage 1 and one triangle fan.
    bool DrawFaces(CViewerApp* pApp);

    CLeafFace* pFaces = nullptr; // owned
    int32_t nFaces = 0;
    CPlane Plane;                // never filled; GetPlane gives it as it stands
    CWorldLeaf** ppVisible = nullptr; // owned array; the leaves are not owned
    int32_t nVisible = 0;
    CTextureSurface* pLightmaps = nullptr; // owned, one per face

private:
    void BuildFace(const CMapImage& image, int32_t nFace, CLeafFace* pFace);
    void BuildVisible(const CMapImage& image, int32_t nIndex);
    void BuildLightmap(const CMapImage& image, int32_t nFace, CLeafFace* pFace,
                       CTextureSurface* pSurface);
};

class CWorldNode : public CWorldElement {
public:
    CWorldNode() = default;
    CWorldNode(const CWorldNode&) = delete;
    CWorldNode& operator=(const CWorldNode&) = delete;
    // Clears, so that a tree that is destroyed uncleared frees its parts.
    ~CWorldNode() override;

    // Copies node nIndex and builds every node below it, back before front;
    // leaves are taken from image.ppLeaves, already built. A tree that was
    // built before is cleared first. False, leaving the tree empty, when the
    // image has no node nIndex.
    bool Build(CMapImage& image, int32_t nIndex) override;
    // Clears and frees both children, front first; the plane stays.
    void Clear() override;
    bool IsOpen(const CVector& point) const override;
    bool IsLeaf() const override;
    CPlane* GetPlane(CPlane* pOut) const override;
    // Descends to the eye's leaf, a point on a plane going to the back, and
    // draws from there; false and nothing drawn when the eye is in solid.
    bool DrawVisible(CViewerApp* pApp, const CVector& eye) override;
    bool DrawAll(CViewerApp* pApp) override;

    CPlane Plane;
    CWorldElement* pFront = nullptr; // owned; null is solid
    CWorldElement* pBack = nullptr;  // owned; null is solid
    // Leaf objects of the map that no node of the tree reaches (a damaged
    // file); the root holds them so that Clear frees them with the rest.
    CWorldLeaf** ppDetached = nullptr;
    int32_t nDetached = 0;

private:
    void BuildBelow(CMapImage& image, int32_t nIndex, uint8_t* pNodeReached,
                    uint8_t* pLeafReached);
    void AdoptDetached(const CMapImage& image, const uint8_t* pLeafReached);
    void FreeDetached();
};
