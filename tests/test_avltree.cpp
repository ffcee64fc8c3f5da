// The AVL tree: insertion with its rotations and the climb that stops at the
// first one, lookups, the five cases of removal, detaching a node by
// identity, and deletion of what the tree owns.
#include "resources/avltree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

// Counts the live nodes, so that deletion by the tree can be seen.
class CCountedNode : public CAVLNode {
public:
    explicit CCountedNode(int nKeyIn) : CAVLNode(nKeyIn) { ++nLive; }
    ~CCountedNode() override { --nLive; }
    static int nLive;
};
int CCountedNode::nLive = 0;

class CTestTree : public CAVLTree {
public:
    CTestTree() { ppRoot = &pRoot; }
    ~CTestTree() override { Clear(); }
    CAVLNode* pRoot = nullptr;
};

// Appends the keys in order and gives the height; -1 when a child does not
// name its parent or, with bStrict, a node leans by more than one level.
int Walk(const CAVLNode* pNode, const CAVLNode* pParent, bool bStrict, std::vector<int>& keys)
{
    if (!pNode)
        return 0;
    const int nLeft = Walk(pNode->pLeft, pNode, bStrict, keys);
    keys.push_back(pNode->nKey);
    const int nRight = Walk(pNode->pRight, pNode, bStrict, keys);
    if (pNode->pParent != pParent || nLeft < 0 || nRight < 0 || (bStrict && std::abs(nLeft - nRight) > 1))
        return -1;
    return 1 + std::max(nLeft, nRight);
}

class AVLTreeTest : public ::testing::Test {
protected:
    void SetUp() override { CCountedNode::nLive = 0; }
    void TearDown() override
    {
        Tree.Clear();
        EXPECT_EQ(CCountedNode::nLive, 0) << "nodes leaked or deleted twice";
    }
    std::vector<CAVLNode*> Insert(std::initializer_list<int> keys, bool* pLast = nullptr)
    {
        std::vector<CAVLNode*> nodes;
        for (int nKey : keys) {
            nodes.push_back(new CCountedNode(nKey));
            const bool bResult = Tree.Insert(nodes.back(), Tree.ppRoot, nullptr);
            if (pLast)
                *pLast = bResult;
        }
        return nodes;
    }
    // Removes by key and deletes; the node removed (no longer valid), or null.
    const CAVLNode* Remove(int nKey)
    {
        const CAVLNode probe(nKey);
        CAVLNode* pOut = Tree.Remove(&probe, Tree.ppRoot);
        EXPECT_TRUE(!pOut || (!pOut->pLeft && !pOut->pRight && !pOut->pParent)) << "links kept";
        delete pOut;
        return pOut;
    }
    CAVLNode* Find(int nKey)
    {
        const CAVLNode probe(nKey);
        return Tree.Find(&probe, Tree.pRoot);
    }
    // The keys in order, empty when a link is broken or (bStrict) a node leans.
    std::vector<int> Keys(bool bStrict = false)
    {
        std::vector<int> keys;
        return Walk(Tree.pRoot, nullptr, bStrict, keys) >= 0 ? keys : std::vector<int>{};
    }
    static bool Links(const CAVLNode* pNode, const CAVLNode* pLeft, const CAVLNode* pRight)
    {
        return pNode->pLeft == pLeft && pNode->pRight == pRight &&
               (!pLeft || pLeft->pParent == pNode) && (!pRight || pRight->pParent == pNode);
    }
    bool IsRoot(const CAVLNode* pNode) const { return Tree.pRoot == pNode && !pNode->pParent; }

    CTestTree Tree;
};

TEST_F(AVLTreeTest, InsertRotatesOnceAndTheRotationEndsTheClimb)
{
    EXPECT_TRUE(Find(1) == nullptr && Remove(1) == nullptr);
    bool bResult = false;
    auto n = Insert({1}, &bResult);
    EXPECT_TRUE(bResult && IsRoot(n[0]));
    n = Insert({2}, &bResult);
    EXPECT_TRUE(bResult);
    n = Insert({3}, &bResult);
    EXPECT_FALSE(bResult) << "the item is stored, but a rotation ended the climb";
    EXPECT_TRUE(IsRoot(Find(2)) && Links(Find(2), Find(1), n[0]));
    // An inner grandchild is raised by a double rotation.
    Tree.Clear();
    n = Insert({30, 10, 20});
    EXPECT_TRUE(IsRoot(n[2]) && Links(n[2], n[1], n[0]) && Links(n[1], nullptr, nullptr));
    // Equal keys go right, and lookups take the one nearer the root.
    Tree.Clear();
    n = Insert({5, 5});
    EXPECT_TRUE(Links(n[0], nullptr, n[1]) && Find(5) == n[0]);
}

TEST_F(AVLTreeTest, RemoveUnlinksLeavesAndRaisesOnlyChildren)
{
    const auto n = Insert({20, 10, 30, 5, 40}); // 10 has a left child only, 30 a right one
    EXPECT_TRUE(Remove(11) == nullptr && Remove(45) == nullptr);
    EXPECT_TRUE(Remove(10) == n[1] && Remove(30) == n[2] && Links(n[0], n[3], n[4]));
    EXPECT_TRUE(Remove(5) == n[3] && Remove(40) == n[4] && Remove(20) == n[0]);
    EXPECT_EQ(Tree.pRoot, nullptr);
}

TEST_F(AVLTreeTest, RemoveRaisesALeftChildWithoutRightSubtreeAsItStands)
{
    const auto n = Insert({50, 30, 70, 20, 60, 80, 90});
    EXPECT_EQ(Remove(50), n[0]);
    // 30 takes the place with 70's subtree on its right and stays out of
    // balance by two: this level is not rebalanced.
    EXPECT_TRUE(IsRoot(n[1]) && Links(n[1], n[3], n[2]));
    EXPECT_EQ(Tree.Height(n[1]->pRight) - Tree.Height(n[1]->pLeft), 2);
    EXPECT_EQ(Keys(), (std::vector<int>{20, 30, 60, 70, 80, 90}));
    EXPECT_EQ(Find(90), n[6]);
}

TEST_F(AVLTreeTest, RemovePutsThePredecessorInPlaceAndRebalancesFromItsParentUp)
{
    auto n = Insert({50, 30, 70, 20, 40, 60, 80, 35});
    EXPECT_EQ(Remove(50), n[0]);
    // 40 takes the root with 50's links; its left child 35 moves up to 30.
    EXPECT_TRUE(IsRoot(n[4]) && Links(n[4], n[1], n[2]) && Links(n[1], n[3], n[7]));
    // Here the predecessor's old parent falls out of balance: the climb
    // rotates it.
    Tree.Clear();
    n = Insert({50, 30, 70, 20, 40, 60, 80, 10});
    EXPECT_EQ(Remove(50), n[0]);
    EXPECT_TRUE(IsRoot(n[4]) && Links(n[4], n[3], n[2]) && Links(n[3], n[7], n[1]));
    EXPECT_EQ(Keys(true).size(), 7u);
}

TEST_F(AVLTreeTest, RemoveRebalancesEveryLevelOnTheWayBackWithASingleRotationOnTies)
{
    // Removing 1 leaves 2 with a right subtree whose sides are of equal
    // height: the single rotation raises 4.
    const auto n = Insert({2, 1, 4, 3, 5});
    EXPECT_EQ(Remove(1), n[1]);
    EXPECT_TRUE(IsRoot(n[2]) && Links(n[2], n[0], n[4]) && Links(n[0], nullptr, n[3]));
    // The mirror image: removing 5 raises 2 over 4.
    Tree.Clear();
    const auto m = Insert({4, 5, 2, 3, 1});
    EXPECT_EQ(Remove(5), m[1]);
    EXPECT_TRUE(IsRoot(m[2]) && Links(m[2], m[4], m[0]) && Links(m[0], m[3], nullptr));
}

TEST_F(AVLTreeTest, DetachTakesThatNodeAmongEqualsAndRebalancesAbove)
{
    // Seven equal keys make a full tree: 3 over 1 (0, 2) and 5 (4, 6).
    const auto n = Insert({5, 5, 5, 5, 5, 5, 5});
    ASSERT_TRUE(IsRoot(n[3]) && Links(n[5], n[4], n[6]));
    for (CAVLNode* pNode : {n[6], n[4], n[5]}) {
        EXPECT_EQ(Tree.Detach(pNode), pNode);
        EXPECT_TRUE(!pNode->pLeft && !pNode->pRight && !pNode->pParent);
        delete pNode;
    }
    // Without its right side the root leant by two: 1 rose over it.
    EXPECT_TRUE(IsRoot(n[1]) && Links(n[1], n[0], n[3]) && Links(n[3], n[2], nullptr));
    // A node that hangs in no tree, or in another one, is not touched; an
    // unrooted tree holds nothing.
    CCountedNode loose(5);
    CAVLTree unrooted;
    EXPECT_FALSE(unrooted.Insert(&loose, unrooted.ppRoot, nullptr));
    EXPECT_TRUE(Tree.Detach(&loose) == nullptr && unrooted.Detach(&loose) == nullptr);
    CTestTree other;
    CAVLNode* pOther = new CCountedNode(5);
    other.Insert(pOther, other.ppRoot, nullptr);
    EXPECT_EQ(Tree.Detach(pOther), nullptr);
    EXPECT_EQ(Keys(true).size(), 4u);
}

} // namespace
