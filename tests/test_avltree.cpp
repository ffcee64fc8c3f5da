// The AVL tree: insertion with its rotations and the climb that stops at the
// first one, lookups, the five cases of removal, detaching a node by
// identity, and deletion of what the tree owns.
#include "resources/avltree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

namespace {

// A node that counts the live objects, so deletion by the tree can be seen.
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

// The keys in order, after checking that every child names its parent; the
// height of the tallest path and whether every node is within one level.
struct CScan {
    std::vector<int> Keys;
    bool bLinked = true;
    bool bBalanced = true;
};

int ScanNode(const CAVLNode* pNode, const CAVLNode* pParent, CScan& scan)
{
    if (!pNode)
        return 0;
    scan.bLinked = scan.bLinked && pNode->pParent == pParent;
    const int nLeft = ScanNode(pNode->pLeft, pNode, scan);
    scan.Keys.push_back(pNode->nKey);
    const int nRight = ScanNode(pNode->pRight, pNode, scan);
    scan.bBalanced = scan.bBalanced && std::abs(nLeft - nRight) <= 1;
    return 1 + std::max(nLeft, nRight);
}

CScan Scan(const CTestTree& tree)
{
    CScan scan;
    ScanNode(tree.pRoot, nullptr, scan);
    return scan;
}

class AVLTreeTest : public ::testing::Test {
protected:
    void SetUp() override { CCountedNode::nLive = 0; }
    void TearDown() override
    {
        Tree.Clear();
        EXPECT_EQ(CCountedNode::nLive, 0) << "nodes leaked or deleted twice";
    }
    CAVLNode* Insert(int nKey, bool* pResult = nullptr)
    {
        CAVLNode* pNode = new CCountedNode(nKey);
        const bool bResult = Tree.Insert(pNode, Tree.ppRoot, nullptr);
        if (pResult)
            *pResult = bResult;
        return pNode;
    }
    std::vector<CAVLNode*> InsertAll(std::initializer_list<int> keys)
    {
        std::vector<CAVLNode*> nodes;
        for (int nKey : keys)
            nodes.push_back(Insert(nKey));
        return nodes;
    }
    // Removes by key and deletes; the node removed, or null.
    const CAVLNode* Remove(int nKey)
    {
        const CAVLNode probe(nKey);
        CAVLNode* pOut = Tree.Remove(&probe, Tree.ppRoot);
        if (pOut) {
            EXPECT_TRUE(!pOut->pLeft && !pOut->pRight && !pOut->pParent) << "links kept";
            delete pOut;
        }
        return pOut;
    }
    CAVLNode* Find(int nKey)
    {
        const CAVLNode probe(nKey);
        return Tree.Find(&probe, Tree.pRoot);
    }
    static bool Links(const CAVLNode* pNode, const CAVLNode* pLeft, const CAVLNode* pRight)
    {
        return pNode->pLeft == pLeft && pNode->pRight == pRight &&
               (!pLeft || pLeft->pParent == pNode) && (!pRight || pRight->pParent == pNode);
    }

    CTestTree Tree;
};

TEST_F(AVLTreeTest, EmptyAndUnrootedTreesAnswerNullAndFalse)
{
    EXPECT_EQ(Find(1), nullptr);
    EXPECT_EQ(Remove(1), nullptr);
    CAVLTree unrooted;
    CAVLNode item(1);
    EXPECT_FALSE(unrooted.Insert(&item, unrooted.ppRoot, nullptr));
    EXPECT_EQ(unrooted.Detach(&item), nullptr);
}

TEST_F(AVLTreeTest, InsertRotatesOnceAndTheRotationEndsTheClimb)
{
    bool bResult = false;
    CAVLNode* p1 = Insert(1, &bResult);
    EXPECT_TRUE(bResult && Tree.pRoot == p1 && p1->pParent == nullptr);
    CAVLNode* p2 = Insert(2, &bResult);
    EXPECT_TRUE(bResult);
    CAVLNode* p3 = Insert(3, &bResult);
    EXPECT_FALSE(bResult) << "the item is stored, but a rotation ended the climb";
    EXPECT_TRUE(Tree.pRoot == p2 && p2->pParent == nullptr && Links(p2, p1, p3));

    // An inner grandchild is raised by a double rotation.
    Tree.Clear();
    const auto nodes = InsertAll({30, 10, 20});
    EXPECT_TRUE(Tree.pRoot == nodes[2] && Links(nodes[2], nodes[1], nodes[0]));
    EXPECT_TRUE(Links(nodes[1], nullptr, nullptr) && Links(nodes[0], nullptr, nullptr));
}

TEST_F(AVLTreeTest, EqualKeysGoRightAndLookupsTakeTheOneNearerTheRoot)
{
    const auto nodes = InsertAll({5, 5});
    EXPECT_TRUE(Links(nodes[0], nullptr, nodes[1]));
    EXPECT_EQ(Find(5), nodes[0]);
    EXPECT_EQ(Remove(5), nodes[0]);
    EXPECT_EQ(Find(5), nodes[1]);
}

TEST_F(AVLTreeTest, RemoveUnlinksLeavesAndRaisesOnlyChildren)
{
    const auto n = InsertAll({20, 10, 30, 5, 40}); // 10 has a left child only, 30 a right one
    EXPECT_EQ(Remove(11), nullptr);
    EXPECT_EQ(Remove(45), nullptr);
    EXPECT_EQ(Remove(10), n[1]);
    EXPECT_EQ(Remove(30), n[2]);
    EXPECT_TRUE(Links(n[0], n[3], n[4]));
    EXPECT_EQ(Remove(5), n[3]);
    EXPECT_EQ(Remove(40), n[4]);
    EXPECT_EQ(Remove(20), n[0]);
    EXPECT_EQ(Tree.pRoot, nullptr);
}

TEST_F(AVLTreeTest, RemoveRaisesALeftChildWithoutRightSubtreeAsItStands)
{
    const auto n = InsertAll({50, 30, 70, 20, 60, 80, 90});
    ASSERT_TRUE(Tree.pRoot == n[0] && n[1]->pRight == nullptr);
    EXPECT_EQ(Remove(50), n[0]);
    // 30 takes the place with 70's subtree on its right and stays out of
    // balance by two: this level is not rebalanced.
    EXPECT_TRUE(Tree.pRoot == n[1] && n[1]->pParent == nullptr && Links(n[1], n[3], n[2]));
    EXPECT_EQ(Tree.Height(n[1]->pRight) - Tree.Height(n[1]->pLeft), 2);
    EXPECT_EQ(Scan(Tree).Keys, (std::vector<int>{20, 30, 60, 70, 80, 90}));
    EXPECT_EQ(Find(90), n[6]);
}

TEST_F(AVLTreeTest, RemovePutsThePredecessorInPlaceAndRebalancesFromItsParent)
{
    auto n = InsertAll({50, 30, 70, 20, 40, 60, 80, 35});
    EXPECT_EQ(Remove(50), n[0]);
    // 40 takes the root with 50's links; its left child 35 moves up to 30.
    EXPECT_TRUE(Tree.pRoot == n[4] && n[4]->pParent == nullptr && Links(n[4], n[1], n[2]));
    EXPECT_TRUE(Links(n[1], n[3], n[7]));

    // Here the predecessor's old parent falls out of balance: the climb
    // rotates it.
    Tree.Clear();
    n = InsertAll({50, 30, 70, 20, 40, 60, 80, 10});
    EXPECT_EQ(Remove(50), n[0]);
    EXPECT_TRUE(Tree.pRoot == n[4] && Links(n[4], n[3], n[2]) && Links(n[3], n[7], n[1]));
    EXPECT_TRUE(Links(n[1], nullptr, nullptr) && Scan(Tree).bBalanced);
}

TEST_F(AVLTreeTest, RemoveRebalancesEveryLevelOnTheWayBackWithASingleRotationOnTies)
{
    // Removing 1 leaves 2 with a right subtree whose sides are of equal
    // height: the single rotation raises 4.
    const auto n = InsertAll({2, 1, 4, 3, 5});
    EXPECT_EQ(Remove(1), n[1]);
    EXPECT_TRUE(Tree.pRoot == n[2] && n[2]->pParent == nullptr && Links(n[2], n[0], n[4]));
    EXPECT_TRUE(Links(n[0], nullptr, n[3]));
    // The mirror image: removing 5 raises 2 over 4.
    Tree.Clear();
    const auto m = InsertAll({4, 5, 2, 3, 1});
    EXPECT_EQ(Remove(5), m[1]);
    EXPECT_TRUE(Tree.pRoot == m[2] && Links(m[2], m[4], m[0]) && Links(m[0], m[3], nullptr));
}

TEST_F(AVLTreeTest, DetachTakesThatNodeAmongEqualsAndRebalancesAbove)
{
    const auto n = InsertAll({5, 5, 5, 5, 5, 5, 5});
    CAVLNode* pDeep = n[6];
    ASSERT_NE(pDeep->pParent, nullptr);
    EXPECT_EQ(Tree.Detach(pDeep), pDeep);
    EXPECT_TRUE(!pDeep->pLeft && !pDeep->pRight && !pDeep->pParent);
    delete pDeep;
    // Detaching down one side until the tree would lean: it rebalances.
    for (CAVLNode* pNode : {n[4], n[5]}) {
        EXPECT_EQ(Tree.Detach(pNode), pNode);
        delete pNode;
    }
    const CScan scan = Scan(Tree);
    EXPECT_TRUE(scan.Keys.size() == 4 && scan.bLinked && scan.bBalanced);
    // A node that hangs in no tree, or in another one, is not touched.
    CCountedNode loose(5);
    EXPECT_EQ(Tree.Detach(&loose), nullptr);
    CTestTree other;
    CAVLNode* pOther = new CCountedNode(1);
    other.Insert(pOther, other.ppRoot, nullptr);
    EXPECT_EQ(Tree.Detach(pOther), nullptr);
    EXPECT_EQ(Scan(Tree).Keys.size(), 4u);
}

TEST_F(AVLTreeTest, RandomInsertsAndRemovesKeepOrderLinksAndMembership)
{
    std::mt19937 random(20240517);
    std::multiset<int> reference;
    for (int nStep = 0; nStep < 3000; ++nStep) {
        const int nKey = static_cast<int>(random() % 200) - 100;
        // Inserts alone first, then more inserts than removals, then fewer.
        const bool bInsert = nStep < 300 || random() % 100 < (nStep < 1500 ? 65u : 35u);
        if (bInsert) {
            Insert(nKey);
            reference.insert(nKey);
        } else {
            const auto found = reference.find(nKey);
            ASSERT_EQ(Remove(nKey) != nullptr, found != reference.end()) << nStep;
            if (found != reference.end())
                reference.erase(found);
        }
        const CScan scan = Scan(Tree);
        ASSERT_TRUE(scan.bLinked) << nStep;
        ASSERT_EQ(scan.Keys, std::vector<int>(reference.begin(), reference.end())) << nStep;
        // Inserts alone keep the tree strictly balanced.
        ASSERT_TRUE(nStep >= 300 || scan.bBalanced) << nStep;
    }
    EXPECT_EQ(static_cast<size_t>(CCountedNode::nLive), reference.size());
}

TEST_F(AVLTreeTest, ClearAndDeleteSubtreeDeleteWhatTheyReach)
{
    InsertAll({1, 2, 3, 4, 5, 6, 7});
    ASSERT_EQ(Tree.pRoot->nKey, 4);
    Tree.DeleteSubtree(&Tree.pRoot->pLeft);
    EXPECT_TRUE(Tree.pRoot->pLeft == nullptr && CCountedNode::nLive == 4);
    Tree.Clear();
    EXPECT_TRUE(Tree.pRoot == nullptr && CCountedNode::nLive == 0);
    {
        CTestTree scoped;
        scoped.Insert(new CCountedNode(1), scoped.ppRoot, nullptr);
    }
    EXPECT_EQ(CCountedNode::nLive, 0);
}

} // namespace
