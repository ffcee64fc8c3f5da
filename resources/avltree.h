#pragma once
// CAVLNode and CAVLTree: the height-balanced binary search tree behind every
// named store. Nodes are intrusive: a stored object derives from CAVLNode and
// carries its own links, and the order comes from the node's virtual IsEqual
// and IsGreater. No height is cached; balance is worked out from subtree
// heights whenever it is needed.
#include <cstdint>

class CAVLNode {
public:
    explicit CAVLNode(int32_t nKeyIn = 0, CAVLNode* pParentIn = nullptr, CAVLNode* pLeftIn = nullptr,
                      CAVLNode* pRightIn = nullptr);
    // A copy takes the key only; its place in a tree belongs to the original.
    CAVLNode(const CAVLNode& other);
    // Assignment takes the key only and leaves this node's links as they are.
    CAVLNode& operator=(const CAVLNode& other);
    // Leaves the links alone and deletes no children: the tree owns them.
    virtual ~CAVLNode();

    virtual void SetKey(int nKeyIn);
    virtual int GetKey() const;
    // Called on the stored node with the probe or new item as pOther.
    virtual bool IsEqual(const CAVLNode* pOther) const;
    virtual bool IsGreater(const CAVLNode* pOther) const;

    int32_t nKey;
    CAVLNode* pLeft;   // lesser items
    CAVLNode* pRight;  // items not lesser than this one
    CAVLNode* pParent; // null at the root
};

class CAVLTree {
public:
    // ppRoot stays null here; a concrete list points it at its own root link.
    CAVLTree();
    CAVLTree(const CAVLTree&) = delete;
    CAVLTree& operator=(const CAVLTree&) = delete;
    virtual ~CAVLTree();

    // Deletes every node through its virtual destructor.
    virtual void Clear();

    // Links pItem below the link ppNode. Start with ppRoot and a null parent.
    // True while the climb back up has made no rotation; false when ppNode is
    // null or a rotation has ended the climb. Equal items go right.
    bool Insert(CAVLNode* pItem, CAVLNode** ppNode, CAVLNode* pParent);
    // The first node, going down from pNode, that equals the probe, or null.
    CAVLNode* Find(const CAVLNode* pItem, CAVLNode* pNode) const;
    // Unlinks the node that equals the probe and hands it back, with its three
    // links cleared, to the caller, who then owns it. Null when none matches.
    CAVLNode* Remove(const CAVLNode* pItem, CAVLNode** ppNode);
    // Unlinks pNode itself, whatever other nodes share its ordering data, and
    // rebalances the levels above it as Remove does. Null when pNode does not
    // hang in this tree.
    CAVLNode* Detach(CAVLNode* pNode);
    // Restores the balance of pNode by a single or double rotation. True when
    // the node was within balance; false when it rotated or pNode is null.
    bool Rebalance(CAVLNode* pNode);
    // Raises the child held in *ppChild (its parent's own link to it) over its
    // parent: bLeft true for a right child, false for a left child.
    void Rotate(CAVLNode** ppChild, bool bLeft);
    // 0 for null, else one more than the taller subtree.
    int Height(const CAVLNode* pNode) const;
    // Deletes the subtree at the link and nulls the link.
    void DeleteSubtree(CAVLNode** ppNode);

    CAVLNode** ppRoot;

private:
    // Takes the node at *ppNode out of the tree and returns it with its links
    // cleared; only the two-children case with a deep predecessor rebalances.
    CAVLNode* Unlink(CAVLNode** ppNode);
};
