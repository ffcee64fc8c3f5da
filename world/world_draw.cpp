// Drawing of the world tree: the descent to the eye's leaf and its visible
// list for the walk-through, the walk of every leaf for the overview, and a
// leaf's faces. There is no sorting and no culling beyond the visible lists:
// the z-buffer sorts.
#include "world/element_stack.h"
#include "world/world_tree.h"

#include "geometry/vertex.h"
#include "platform/ddraw.h"
#include "resources/texture_surface.h"
#include "viewer/viewer_app.h"

namespace {

// The texture stage of the lightmaps.
constexpr uint32_t LIGHTMAP_STAGE = 1;

} // namespace

bool CWorldNode::DrawVisible(CViewerApp* pApp, const CVector& eye)
{
    // The descent is one path, so a loop stands for the recursion.
    CWorldElement* pElement = this;
    while (!pElement->IsLeaf()) {
        const CWorldNode* pNode = static_cast<const CWorldNode*>(pElement);
        // A point on the plane goes to the back.
        pElement = pNode->Plane.DistanceTo(eye) > 0.0 ? pNode->pFront : pNode->pBack;
        if (!pElement)
            return false; // the eye is in solid space: nothing to draw
    }
    return pElement->DrawVisible(pApp, eye);
}

bool CWorldNode::DrawAll(CViewerApp* pApp)
{
    // Every leaf, front subtree before back subtree, as the recursion would.
    CElementStack<CWorldElement*> stack;
    stack.Push(this);
    while (!stack.IsEmpty()) {
        CWorldElement* pElement = stack.Top();
        stack.Pop();
        if (pElement->IsLeaf()) {
            pElement->DrawAll(pApp);
            continue;
        }
        const CWorldNode* pNode = static_cast<const CWorldNode*>(pElement);
        if (pNode->pBack)
            stack.Push(pNode->pBack);
        if (pNode->pFront)
            stack.Push(pNode->pFront);
    }
    return true;
}

bool CWorldLeaf::DrawVisible(CViewerApp* pApp, const CVector&)
{
    // The leaf's own faces come first, even when its row names it again.
    DrawFaces(pApp);
    if (ppVisible) {
        for (int32_t i = 0; i < nVisible; ++i)
            ppVisible[i]->DrawFaces(pApp);
    }
    return true;
}

bool CWorldLeaf::DrawAll(CViewerApp* pApp)
{
    DrawFaces(pApp);
    return true;
}

bool CWorldLeaf::DrawFaces(CViewerApp* pApp)
{
    for (int32_t i = 0; i < nFaces; ++i) {
        // The lightmap surfaces lie all over the heap: asking early for the
        // next faces' ones keeps the device from waiting on each in turn.
        if (pLightmaps && i + 1 < nFaces) {
            __builtin_prefetch(pLightmaps[i + 1].GetSurface());
            if (i + 2 < nFaces)
                __builtin_prefetch(&pLightmaps[i + 2]);
        }
        CLeafFace& face = pFaces[i];
        pApp->SetFaceTexture(face.TextureIndex);
        if (pLightmaps)
            pApp->SetTexture(LIGHTMAP_STAGE, &pLightmaps[i]);
        // Straight to the device: a failed draw is passed over.
        pApp->GetDevice()->DrawPrimitive(D3DPT_TRIANGLEFAN, FVF_WORLD_VERTEX, face.pVertices,
                                         static_cast<uint32_t>(face.VertexCount), 0);
    }
    return true;
}
