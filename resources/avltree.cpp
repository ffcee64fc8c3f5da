#include "resources/avltree.h"

#include "frame/check.h"

#include <algorithm>

CAVLNode::CAVLNode(int32_t nKeyIn, CAVLNode* pParentIn, CAVLNode* pLeftIn, CAVLNode* pRightIn)
    : nKey(nKeyIn), pLeft(pLeftIn), pRight(pRightIn), pParent(pParentIn)
{
}

CAVLNode::CAVLNode(const CAVLNode& other)
    : nKey(other.nKey), pLeft(nullptr), pRight(nullptr), pParent(nullptr)
{
}

CAVLNode& CAVLNode::operator=(const CAVLNode& other)
{
    nKey = other.nKey;
    return *this;
}

CAVLNode::~CAVLNode() = default;

void CAVLNode::SetKey(int nKeyIn)
{
    nKey = nKeyIn;
}

int CAVLNode::GetKey() const
{
    return nKey;
}

bool CAVLNode::IsEqual(const CAVLNode* pOther) const
{
    return nKey == pOther->GetKey();
}

bool CAVLNode::IsGreater(const CAVLNode* pOther) const
{
    return nKey > pOther->GetKey();
}

CAVLTree::CAVLTree() : ppRoot(nullptr)
{
}

CAVLTree::~CAVLTree()
{
    Clear();
}

void CAVLTree::Clear()
{
    DeleteSubtree(ppRoot);
}

bool CAVLTree::Insert(CAVLNode* pItem, CAVLNode** ppNode, CAVLNode* pParent)
{
    if (!ppNode)
        return false;
    CAVLNode* pNode = *ppNode;
    if (!pNode) {
        pItem->pParent = pParent;
        *ppNode = pItem;
        return true;
    }
    CAVLNode** ppNext = pNode->IsGreater(pItem) ? &pNode->pLeft : &pNode->pRight;
    if (!Insert(pItem, ppNext, pNode))
        return false;
    // The first rotation on the way up ends the climb: nodes above it are not
    // looked at again.
    return Rebalance(*ppNode);
}

CAVLNode* CAVLTree::Find(const CAVLNode* pItem, CAVLNode* pNode) const
{
    while (pNode) {
        if (pNode->IsEqual(pItem))
            return pNode;
        pNode = pNode->IsGreater(pItem) ? pNode->pLeft : pNode->pRight;
    }
    return nullptr;
}

CAVLNode* CAVLTree::Remove(const CAVLNode* pItem, CAVLNode** ppNode)
{
    if (!ppNode || !*ppNode)
        return nullptr;
    CAVLNode* pNode = *ppNode;
    if (pNode->IsEqual(pItem))
        return Unlink(ppNode);

    CAVLNode* pFound = nullptr;
    if (pNode->IsGreater(pItem))
        pFound = Remove(pItem, &pNode->pLeft);
    // A miss on the left still goes on into the right subtree.
    if (!pFound)
        pFound = Remove(pItem, &pNode->pRight);
    if (!pFound)
        return nullptr;
    // Unlike insertion, removal rebalances every level on the way back.
    Rebalance(*ppNode);
    return pFound;
}

CAVLNode* CAVLTree::Detach(CAVLNode* pNode)
{
    if (!pNode || !ppRoot)
        return nullptr;
    const CAVLNode* pTop = pNode;
    while (pTop->pParent)
        pTop = pTop->pParent;
    if (pTop != *ppRoot)
        return nullptr;
    CAVLNode* pParent = pNode->pParent;
    CAVLNode** ppLink = ppRoot;
    if (pParent)
        ppLink = pParent->pLeft == pNode ? &pParent->pLeft : &pParent->pRight;
    Unlink(ppLink);
    for (CAVLNode* pLevel = pParent; pLevel; pLevel = pLevel->pParent)
        Rebalance(pLevel);
    return pNode;
}

CAVLNode* CAVLTree::Unlink(CAVLNode** ppNode)
{
    CAVLNode* pNode = *ppNode;
    CAVLNode* pLeftChild = pNode->pLeft;
    CAVLNode* pRightChild = pNode->pRight;

    if (!pLeftChild && !pRightChild) {
        *ppNode = nullptr;
    } else if (!pRightChild) {
        pLeftChild->pParent = pNode->pParent;
        *ppNode = pLeftChild;
    } else if (!pLeftChild) {
        pRightChild->pParent = pNode->pParent;
        *ppNode = pRightChild;
    } else if (!pLeftChild->pRight) {
        // The left child moves up as it stands, taking over the right subtree;
        // only the ancestors get rebalanced, on the way back.
        pLeftChild->pParent = pNode->pParent;
        pLeftChild->pRight = pRightChild;
        pRightChild->pParent = pLeftChild;
        *ppNode = pLeftChild;
    } else {
        // The in-order predecessor takes the removed node's place.
        CAVLNode* pPred = pLeftChild->pRight;
        while (pPred->pRight)
            pPred = pPred->pRight;
        CAVLNode* pBalance = pPred->pParent;
        pBalance->pRight = pPred->pLeft;
        if (pPred->pLeft)
            pPred->pLeft->pParent = pBalance;

        *ppNode = pPred;
        pPred->pLeft = pNode->pLeft;
        pPred->pRight = pNode->pRight;
        pPred->pParent = pNode->pParent;
        pPred->pLeft->pParent = pPred;
        pPred->pRight->pParent = pPred;

        while (pBalance) {
            Rebalance(pBalance);
            if (pBalance->pParent) {
                VORLANE_CHECK(pBalance == pBalance->pParent->pLeft || pBalance == pBalance->pParent->pRight,
                              "avltree");
            }
            pBalance = pBalance->pParent;
        }
    }

    pNode->pLeft = nullptr;
    pNode->pRight = nullptr;
    pNode->pParent = nullptr;
    return pNode;
}

bool CAVLTree::Rebalance(CAVLNode* pNode)
{
    if (!pNode)
        return false;
    int nLeftHeight = Height(pNode->pLeft);
    int nRightHeight = Height(pNode->pRight);
    if (nLeftHeight - nRightHeight > 1) {
        CAVLNode* pChild = pNode->pLeft;
        // An inner grandchild strictly taller than the outer one needs a
        // double rotation; a tie takes the single rotation.
        if (Height(pChild->pRight) > Height(pChild->pLeft))
            Rotate(&pChild->pRight, true);
        Rotate(&pNode->pLeft, false);
        return false;
    }
    if (nRightHeight - nLeftHeight > 1) {
        CAVLNode* pChild = pNode->pRight;
        if (Height(pChild->pLeft) > Height(pChild->pRight))
            Rotate(&pChild->pLeft, false);
        Rotate(&pNode->pRight, true);
        return false;
    }
    return true;
}

void CAVLTree::Rotate(CAVLNode** ppChild, bool bLeft)
{
    if (!ppChild || !*ppChild || !(*ppChild)->pParent)
        return;
    CAVLNode* pChild = *ppChild;
    CAVLNode* pUpper = pChild->pParent;

    CAVLNode** ppUpperLink = ppRoot;
    if (CAVLNode* pGrand = pUpper->pParent)
        ppUpperLink = (pGrand->pLeft == pUpper) ? &pGrand->pLeft : &pGrand->pRight;
    if (!ppUpperLink)
        return; // a root with no link to write through: nothing can move

    // The child's subtree on the side facing its old parent changes hands.
    CAVLNode** ppInner = bLeft ? &pChild->pLeft : &pChild->pRight;

    pChild->pParent = pUpper->pParent;
    pUpper->pParent = pChild;
    if (*ppInner)
        (*ppInner)->pParent = pUpper;

    *ppUpperLink = pChild;
    *ppChild = *ppInner;
    *ppInner = pUpper;
}

int CAVLTree::Height(const CAVLNode* pNode) const
{
    if (!pNode)
        return 0;
    return 1 + std::max(Height(pNode->pLeft), Height(pNode->pRight));
}

void CAVLTree::DeleteSubtree(CAVLNode** ppNode)
{
    if (!ppNode || !*ppNode)
        return;
    CAVLNode* pNode = *ppNode;
    DeleteSubtree(&pNode->pLeft);
    DeleteSubtree(&pNode->pRight);
    delete pNode;
    *ppNode = nullptr;
}
