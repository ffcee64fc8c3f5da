// The nodes of the world tree: building from the nodes lump, teardown and
// the collision test. Drawing is in world_draw.cpp.
#include "world/element_stack.h"
#include "world/world_tree.h"

#include "viewer/map_reader.h"

#include <cstddef>
#include <cstring>
#include <vector>

namespace {

// One node on the build stack: which record it copies and which of its two
// children comes next (0 back, 1 front, 2 done).
struct CBuildFrame {
    CWorldNode* pNode;
    int32_t nIndex;
    int nStep;
};

// The leaf object a child field names, or null (solid) where the image has
// none. A leaf object is freed by the one node that holds it, so a leaf
// reached a second time is refused, except as the front of a node whose back
// is that same leaf.
CWorldLeaf* TakeLeaf(const CMapImage& image, int32_t nLeaf, const CWorldNode* pParent,
                     uint8_t* pLeafReached)
{
    if (!image.ppLeaves || nLeaf >= image.nLeafRecords)
        return nullptr;
    CWorldLeaf* pLeaf = image.ppLeaves[nLeaf];
    if (!pLeaf)
        return nullptr;
    if (pLeafReached[nLeaf] && pParent->pBack != pLeaf)
        return nullptr;
    pLeafReached[nLeaf] = 1;
    return pLeaf;
}

} // namespace

CWorldNode::~CWorldNode()
{
    Clear();
}

bool CWorldNode::Build(CMapImage& image, int32_t nIndex)
{
    Clear();
    if (!image.pNodes || nIndex < 0 || nIndex >= image.nNodes)
        return false;
    std::vector<uint8_t> leafReached(image.nLeafRecords > 0 ? image.nLeafRecords : 0);
    std::vector<uint8_t> nodeReached(static_cast<size_t>(image.nNodes));
    nodeReached[static_cast<size_t>(nIndex)] = 1;
    BuildBelow(image, nIndex, nodeReached.data(), leafReached.data());
    // Only the map's root knows that the whole tree has been seen.
    if (nIndex == 0)
        AdoptDetached(image, leafReached.data());
    return true;
}

// The recursive build, run on a stack: copy the plane, then build the back
// child completely, then the front child. A node reached a second time (a
// cycle, or a node with two parents in a damaged file) is left solid, so
// that no walk meets it twice.
void CWorldNode::BuildBelow(CMapImage& image, int32_t nIndex, uint8_t* pNodeReached,
                            uint8_t* pLeafReached)
{
    CElementStack<CBuildFrame> stack;
    stack.Push({this, nIndex, 0});
    while (!stack.IsEmpty()) {
        CBuildFrame& frame = stack.Top();
        const CMapNode& record = image.pNodes[frame.nIndex];
        if (frame.nStep == 0) {
            // The record's first 16 bytes are the plane: d, then the normal.
            static_assert(sizeof(CPlane) == offsetof(CMapNode, Front));
            std::memcpy(static_cast<void*>(&frame.pNode->Plane), &record, sizeof(CPlane));
        } else if (frame.nStep == 2) {
            stack.Pop();
            continue;
        }
        const bool bBack = frame.nStep == 0;
        ++frame.nStep;
        CWorldNode* pParent = frame.pNode;
        const int32_t nValue = bBack ? record.Back : record.Front;
        CWorldElement*& pChild = bBack ? pParent->pBack : pParent->pFront;
        if (nValue > 0) {
            const int32_t nChild = nValue - 1;
            if (nChild >= image.nNodes || pNodeReached[nChild])
                continue;
            pNodeReached[nChild] = 1;
            CWorldNode* pNode = new CWorldNode;
            pChild = pNode;
            stack.Push({pNode, nChild, 0});
        } else if (nValue < 0) {
            pChild = TakeLeaf(image, -(nValue + 1), pParent, pLeafReached);
        }
    }
}

void CWorldNode::AdoptDetached(const CMapImage& image, const uint8_t* pLeafReached)
{
    if (!image.ppLeaves)
        return;
    int32_t nCount = 0;
    for (int32_t i = 0; i < image.nLeafRecords; ++i)
        nCount += image.ppLeaves[i] && !pLeafReached[i];
    if (nCount == 0)
        return;
    ppDetached = new CWorldLeaf*[nCount];
    for (int32_t i = 0; i < image.nLeafRecords; ++i) {
        if (image.ppLeaves[i] && !pLeafReached[i])
            ppDetached[nDetached++] = image.ppLeaves[i];
    }
}

void CWorldNode::FreeDetached()
{
    if (!ppDetached)
        return;
    for (int32_t i = 0; i < nDetached; ++i) {
        ppDetached[i]->Clear();
        delete ppDetached[i];
    }
    delete[] ppDetached;
    ppDetached = nullptr;
    nDetached = 0;
}

// The recursive teardown, run on a stack: for the front, then the back,
// clear the child and free it. A node on the stack is freed once both its
// children are gone.
void CWorldNode::Clear()
{
    CElementStack<CWorldNode*> stack;
    stack.Push(this);
    while (!stack.IsEmpty()) {
        CWorldNode* pNode = stack.Top();
        CWorldElement*& pChild = pNode->pFront ? pNode->pFront : pNode->pBack;
        if (!pChild) {
            pNode->FreeDetached();
            stack.Pop();
            if (pNode != this)
                delete pNode;
            continue;
        }
        CWorldElement* pElement = pChild;
        pChild = nullptr;
        if (!pElement->IsLeaf()) {
            stack.Push(static_cast<CWorldNode*>(pElement));
            continue;
        }
        // The one leaf that may stand on both sides of a node goes once.
        if (pNode->pBack == pElement)
            pNode->pBack = nullptr;
        pElement->Clear();
        delete pElement;
    }
}

bool CWorldNode::IsOpen(const CVector& point) const
{
    // The recursive test, run on a stack: a point beyond the band goes to its
    // side, one within it tries the front and then the back. The first leaf
    // reached answers.
    const double dBand = WORLD_OPEN_BAND;
    CElementStack<const CWorldElement*> stack;
    stack.Push(this);
    while (!stack.IsEmpty()) {
        const CWorldElement* pElement = stack.Top();
        stack.Pop();
        if (!pElement)
            continue;
        if (pElement->IsLeaf()) {
            if (pElement->IsOpen(point))
                return true;
            continue;
        }
        const CWorldNode* pNode = static_cast<const CWorldNode*>(pElement);
        const double d = pNode->Plane.DistanceTo(point);
        if (d > dBand) {
            stack.Push(pNode->pFront);
        } else if (d < -dBand) {
            stack.Push(pNode->pBack);
        } else {
            stack.Push(pNode->pBack);
            stack.Push(pNode->pFront);
        }
    }
    return false;
}

bool CWorldNode::IsLeaf() const
{
    return false;
}

CPlane* CWorldNode::GetPlane(CPlane* pOut) const
{
    *pOut = Plane;
    return pOut;
}
