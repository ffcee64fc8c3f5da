#include "resources/avltree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <set>
#include <unordered_set>
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

// The smallest concrete tree: a root link behind the base.
class CTestTree : public CAVLTree {
public:
    CTestTree() { ppRoot = &pRoot; }
    ~CTestTree() override { Clear(); }
    CAVLNode* pRoot = nullptr;
};

// What a walk of the whole tree found.
struct CTreeScan {
    std::vector<int> InOrder;
    std::unordered_set<const CAVLNode*> Nodes;
    int nHeight = 0;
    bool bBalanced = true; // every node within one level
};

// Walks the subtree, checking that each node is met once and that each
// child's parent link names its parent. Returns the subtree height.
::testing::AssertionResult ScanNode(const CAVLNode* pNode, const CAVLNode* pParent, CTreeScan& Scan,
                                    int& nHeight)
{
    nHeight = 0;
    if (!pNode)
        return ::testing::AssertionSuccess();
    if (!Scan.Nodes.insert(pNode).second)
        return ::testing::AssertionFailure() << "node with key " << pNode->nKey << " reached twice";
    if (pNode->pParent != pParent)
        return ::testing::AssertionFailure() << "node with key " << pNode->nKey << " has a wrong parent link";
    int nLeft = 0;
    int nRight = 0;
    auto Result = ScanNode(pNode->pLeft, pNode, Scan, nLeft);
    if (!Result)
        return Result;
    Scan.InOrder.push_back(pNode->nKey);
    Result = ScanNode(pNode->pRight, pNode, Scan, nRight);
    if (!Result)
        return Result;
    if (std::abs(nLeft - nRight) > 1)
        Scan.bBalanced = false;
    nHeight = 1 + std::max(nLeft, nRight);
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult ScanTree(const CTestTree& Tree, CTreeScan& Scan)
{
    Scan = CTreeScan();
    auto Result = ScanNode(Tree.pRoot, nullptr, Scan, Scan.nHeight);
    if (!Result)
        return Result;
    if (!std::is_sorted(Scan.InOrder.begin(), Scan.InOrder.end()))
        return ::testing::AssertionFailure() << "in-order walk is not sorted";
    return ::testing::AssertionSuccess();
}

CAVLNode* InsertKey(CTestTree& Tree, int nKeyIn, bool* pResult = nullptr)
{
    CAVLNode* pNode = new CCountedNode(nKeyIn);
    bool bResult = Tree.Insert(pNode, Tree.ppRoot, nullptr);
    if (pResult)
        *pResult = bResult;
    return pNode;
}

CAVLNode* RemoveKey(CTestTree& Tree, int nKeyIn)
{
    CAVLNode Probe(nKeyIn);
    return Tree.Remove(&Probe, Tree.ppRoot);
}

CAVLNode* FindKey(const CTestTree& Tree, int nKeyIn)
{
    CAVLNode Probe(nKeyIn);
    return Tree.Find(&Probe, Tree.pRoot);
}

bool LinksCleared(const CAVLNode* pNode)
{
    return !pNode->pLeft && !pNode->pRight && !pNode->pParent;
}

class AVLTreeTest : public ::testing::Test {
protected:
    void SetUp() override { CCountedNode::nLive = 0; }
    void TearDown() override { EXPECT_EQ(CCountedNode::nLive, 0) << "nodes leaked or deleted twice"; }
};

} // namespace

TEST(AVLNode, KeyOrderIsSignedAndCopiesLeaveLinksBehind)
{
    CAVLNode Low(-5);
    CAVLNode High(3);
    EXPECT_TRUE(High.IsGreater(&Low));
    EXPECT_FALSE(Low.IsGreater(&High));
    EXPECT_FALSE(High.IsGreater(&High));
    EXPECT_TRUE(High.IsEqual(&High));
    EXPECT_FALSE(High.IsEqual(&Low));
    Low.SetKey(3);
    EXPECT_EQ(Low.GetKey(), 3);
    EXPECT_TRUE(High.IsEqual(&Low));

    CAVLNode Linked(7, &Low, &High, &Low);
    CAVLNode Copy(Linked);
    EXPECT_EQ(Copy.nKey, 7);
    EXPECT_TRUE(LinksCleared(&Copy));
    CAVLNode Target(1, &High, nullptr, nullptr);
    Target = Linked;
    EXPECT_EQ(Target.nKey, 7);
    EXPECT_EQ(Target.pParent, &High);
    EXPECT_EQ(Target.pLeft, nullptr);
}

TEST_F(AVLTreeTest, EmptyAndUnrootedTreesAnswerNullAndFalse)
{
    CTestTree Tree;
    EXPECT_EQ(FindKey(Tree, 1), nullptr);
    EXPECT_EQ(RemoveKey(Tree, 1), nullptr);
    Tree.Clear();
    EXPECT_EQ(Tree.pRoot, nullptr);

    CAVLTree Unrooted;
    EXPECT_EQ(Unrooted.ppRoot, nullptr);
    CAVLNode Item(1);
    EXPECT_FALSE(Unrooted.Insert(&Item, Unrooted.ppRoot, nullptr));
    EXPECT_EQ(Unrooted.Remove(&Item, Unrooted.ppRoot), nullptr);
    Unrooted.Clear();

    EXPECT_EQ(Tree.Height(nullptr), 0);
    EXPECT_FALSE(Tree.Rebalance(nullptr));
    Tree.Rotate(nullptr, true);
    CAVLNode* pNull = nullptr;
    Tree.Rotate(&pNull, false);
    Tree.DeleteSubtree(nullptr);
    Tree.DeleteSubtree(&pNull);
}

TEST_F(AVLTreeTest, FirstInsertBecomesRootAndRotationEndsTheClimb)
{
    CTestTree Tree;
    bool bResult = false;
    CAVLNode* p1 = InsertKey(Tree, 1, &bResult);
    EXPECT_TRUE(bResult);
    EXPECT_EQ(Tree.pRoot, p1);
    EXPECT_EQ(p1->pParent, nullptr);

    CAVLNode* p2 = InsertKey(Tree, 2, &bResult);
    EXPECT_TRUE(bResult);
    CAVLNode* p3 = InsertKey(Tree, 3, &bResult);
    EXPECT_FALSE(bResult) << "a rotation happened, so the climb reports false";
    EXPECT_EQ(Tree.pRoot, p2);
    EXPECT_EQ(p2->pParent, nullptr);
    EXPECT_EQ(p2->pLeft, p1);
    EXPECT_EQ(p2->pRight, p3);
    EXPECT_EQ(p1->pParent, p2);
    EXPECT_EQ(p3->pParent, p2);
    EXPECT_EQ(Tree.Height(Tree.pRoot), 2);
}

TEST_F(AVLTreeTest, InnerGrandchildIsRaisedByADoubleRotation)
{
    CTestTree Tree;
    CAVLNode* p3 = InsertKey(Tree, 3);
    CAVLNode* p1 = InsertKey(Tree, 1);
    bool bResult = true;
    CAVLNode* p2 = InsertKey(Tree, 2, &bResult);
    EXPECT_FALSE(bResult);
    EXPECT_EQ(Tree.pRoot, p2);
    EXPECT_EQ(p2->pParent, nullptr);
    EXPECT_EQ(p2->pLeft, p1);
    EXPECT_EQ(p2->pRight, p3);
    EXPECT_EQ(p1->pParent, p2);
    EXPECT_EQ(p3->pParent, p2);
    EXPECT_EQ(p1->pRight, nullptr);
    EXPECT_EQ(p3->pLeft, nullptr);
}

TEST_F(AVLTreeTest, EqualKeysGoRightAndFindTakesTheOneNearerTheRoot)
{
    CTestTree Tree;
    CAVLNode* pFirst = InsertKey(Tree, 5);
    CAVLNode* pSecond = InsertKey(Tree, 5);
    EXPECT_EQ(pFirst->pRight, pSecond);
    EXPECT_EQ(pFirst->pLeft, nullptr);
    EXPECT_EQ(FindKey(Tree, 5), pFirst);

    // A third equal key rotates the second to the top; it is now the nearer.
    CAVLNode* pThird = InsertKey(Tree, 5);
    EXPECT_EQ(Tree.pRoot, pSecond);
    EXPECT_EQ(pSecond->pLeft, pFirst);
    EXPECT_EQ(pSecond->pRight, pThird);
    EXPECT_EQ(FindKey(Tree, 5), pSecond);

    // Removal takes one equal node at a time.
    for (int i = 3; i > 0; --i) {
        CAVLNode* pOut = RemoveKey(Tree, 5);
        ASSERT_NE(pOut, nullptr);
        EXPECT_TRUE(LinksCleared(pOut));
        delete pOut;
        CTreeScan Scan;
        ASSERT_TRUE(ScanTree(Tree, Scan));
        EXPECT_EQ(Scan.InOrder.size(), static_cast<size_t>(i - 1));
    }
    EXPECT_EQ(RemoveKey(Tree, 5), nullptr);
}

TEST_F(AVLTreeTest, RemoveLeafOnlyChildAndMissingKey)
{
    CTestTree Tree;
    CAVLNode* pOnly = InsertKey(Tree, 1);
    CAVLNode* pOut = RemoveKey(Tree, 1);
    EXPECT_EQ(pOut, pOnly);
    EXPECT_EQ(Tree.pRoot, nullptr);
    EXPECT_TRUE(LinksCleared(pOut));
    delete pOut;

    // 20 with a left child only, and 30 with a right child only.
    CAVLNode* p20 = InsertKey(Tree, 20);
    CAVLNode* p10 = InsertKey(Tree, 10);
    CAVLNode* p30 = InsertKey(Tree, 30);
    CAVLNode* p5 = InsertKey(Tree, 5);
    CAVLNode* p40 = InsertKey(Tree, 40);
    EXPECT_EQ(RemoveKey(Tree, 11), nullptr);
    EXPECT_EQ(RemoveKey(Tree, 45), nullptr);

    pOut = RemoveKey(Tree, 10);
    EXPECT_EQ(pOut, p10);
    EXPECT_EQ(p20->pLeft, p5);
    EXPECT_EQ(p5->pParent, p20);
    delete pOut;

    pOut = RemoveKey(Tree, 30);
    EXPECT_EQ(pOut, p30);
    EXPECT_EQ(p20->pRight, p40);
    EXPECT_EQ(p40->pParent, p20);
    EXPECT_TRUE(LinksCleared(pOut));
    delete pOut;

    CTreeScan Scan;
    ASSERT_TRUE(ScanTree(Tree, Scan));
    EXPECT_EQ(Scan.InOrder, (std::vector<int>{5, 20, 40}));
}

TEST_F(AVLTreeTest, RemoveRaisesALeftChildWithoutRightAsItStands)
{
    CTestTree Tree;
    CAVLNode* p50 = InsertKey(Tree, 50);
    CAVLNode* p30 = InsertKey(Tree, 30);
    CAVLNode* p70 = InsertKey(Tree, 70);
    CAVLNode* p20 = InsertKey(Tree, 20);
    InsertKey(Tree, 60);
    InsertKey(Tree, 80);
    InsertKey(Tree, 90);
    ASSERT_EQ(Tree.pRoot, p50);
    ASSERT_EQ(p30->pRight, nullptr);

    CAVLNode* pOut = RemoveKey(Tree, 50);
    EXPECT_EQ(pOut, p50);
    EXPECT_TRUE(LinksCleared(pOut));
    delete pOut;

    // 30 takes the place with 70's subtree on its right and is left out of
    // balance by two: this level is not rebalanced.
    EXPECT_EQ(Tree.pRoot, p30);
    EXPECT_EQ(p30->pParent, nullptr);
    EXPECT_EQ(p30->pLeft, p20);
    EXPECT_EQ(p30->pRight, p70);
    EXPECT_EQ(p70->pParent, p30);
    EXPECT_EQ(Tree.Height(p30->pRight) - Tree.Height(p30->pLeft), 2);

    CTreeScan Scan;
    ASSERT_TRUE(ScanTree(Tree, Scan));
    EXPECT_EQ(Scan.InOrder, (std::vector<int>{20, 30, 60, 70, 80, 90}));
    for (int nKey : Scan.InOrder)
        EXPECT_NE(FindKey(Tree, nKey), nullptr) << nKey;
}

TEST_F(AVLTreeTest, RemovePutsThePredecessorInPlace)
{
    {
        CTestTree Tree;
        CAVLNode* p50 = InsertKey(Tree, 50);
        CAVLNode* p30 = InsertKey(Tree, 30);
        CAVLNode* p70 = InsertKey(Tree, 70);
        CAVLNode* p20 = InsertKey(Tree, 20);
        CAVLNode* p40 = InsertKey(Tree, 40);
        InsertKey(Tree, 60);
        InsertKey(Tree, 80);
        CAVLNode* p35 = InsertKey(Tree, 35);

        CAVLNode* pOut = RemoveKey(Tree, 50);
        EXPECT_EQ(pOut, p50);
        EXPECT_TRUE(LinksCleared(pOut));
        delete pOut;

        // 40 takes the root with 50's links; its left child 35 moves to 30.
        EXPECT_EQ(Tree.pRoot, p40);
        EXPECT_EQ(p40->pParent, nullptr);
        EXPECT_EQ(p40->pLeft, p30);
        EXPECT_EQ(p40->pRight, p70);
        EXPECT_EQ(p30->pParent, p40);
        EXPECT_EQ(p70->pParent, p40);
        EXPECT_EQ(p30->pLeft, p20);
        EXPECT_EQ(p30->pRight, p35);
        EXPECT_EQ(p35->pParent, p30);
    }
    {
        // Here the predecessor's old parent falls out of balance and the climb
        // rotates it.
        CTestTree Tree;
        InsertKey(Tree, 50);
        CAVLNode* p30 = InsertKey(Tree, 30);
        InsertKey(Tree, 70);
        CAVLNode* p20 = InsertKey(Tree, 20);
        CAVLNode* p40 = InsertKey(Tree, 40);
        InsertKey(Tree, 60);
        InsertKey(Tree, 80);
        CAVLNode* p10 = InsertKey(Tree, 10);

        delete RemoveKey(Tree, 50);
        EXPECT_EQ(Tree.pRoot, p40);
        EXPECT_EQ(p40->pLeft, p20);
        EXPECT_EQ(p20->pParent, p40);
        EXPECT_EQ(p20->pLeft, p10);
        EXPECT_EQ(p20->pRight, p30);
        EXPECT_EQ(p30->pParent, p20);
        EXPECT_EQ(p30->pLeft, nullptr);
        EXPECT_EQ(p30->pRight, nullptr);
        CTreeScan Scan;
        ASSERT_TRUE(ScanTree(Tree, Scan));
        EXPECT_TRUE(Scan.bBalanced);
    }
}

TEST_F(AVLTreeTest, RemoveRebalancesOnTheWayBackWithSingleRotationOnTies)
{
    // Removing 1 leaves 2 with a right subtree whose two sides are equal: the
    // single rotation raises 4.
    CTestTree Tree;
    CAVLNode* p2 = InsertKey(Tree, 2);
    InsertKey(Tree, 1);
    CAVLNode* p4 = InsertKey(Tree, 4);
    CAVLNode* p3 = InsertKey(Tree, 3);
    CAVLNode* p5 = InsertKey(Tree, 5);
    delete RemoveKey(Tree, 1);
    EXPECT_EQ(Tree.pRoot, p4);
    EXPECT_EQ(p4->pParent, nullptr);
    EXPECT_EQ(p4->pLeft, p2);
    EXPECT_EQ(p4->pRight, p5);
    EXPECT_EQ(p2->pRight, p3);
    EXPECT_EQ(p3->pParent, p2);
}

TEST_F(AVLTreeTest, RemovalsOtherThanRaisingALeftChildKeepStrictBalance)
{
    // Only the removal that raises a left child without a right subtree may
    // leave a node out of balance; every other removal from a balanced tree
    // must leave it balanced, at whatever depth the node was.
    std::mt19937 Random(777);
    int nChecked = 0;
    for (int nTrial = 0; nTrial < 150; ++nTrial) {
        CTestTree Tree;
        std::vector<int> Keys;
        int nCount = 20 + static_cast<int>(Random() % 300);
        for (int i = 0; i < nCount; ++i) {
            Keys.push_back(static_cast<int>(Random() % 1000));
            InsertKey(Tree, Keys.back());
        }
        for (int nRemoval = 0; nRemoval < 40 && !Keys.empty(); ++nRemoval) {
            size_t nIndex = Random() % Keys.size();
            int nKey = Keys[nIndex];
            Keys.erase(Keys.begin() + static_cast<long>(nIndex));
            CAVLNode* pTarget = FindKey(Tree, nKey);
            ASSERT_NE(pTarget, nullptr);
            bool bRaisesLeft = pTarget->pLeft && pTarget->pRight && !pTarget->pLeft->pRight;
            CAVLNode* pOut = RemoveKey(Tree, nKey);
            ASSERT_EQ(pOut, pTarget);
            delete pOut;
            CTreeScan Scan;
            ASSERT_TRUE(ScanTree(Tree, Scan));
            if (bRaisesLeft)
                break;
            ASSERT_TRUE(Scan.bBalanced) << "trial " << nTrial << " removal " << nRemoval;
            ++nChecked;
        }
    }
    EXPECT_GT(nChecked, 500);
}

TEST_F(AVLTreeTest, InsertsAloneKeepStrictBalance)
{
    std::mt19937 Random(12345);
    std::vector<std::vector<int>> Sequences(3);
    for (int i = 0; i < 4000; ++i) {
        Sequences[0].push_back(i);
        Sequences[1].push_back(4000 - i);
        Sequences[2].push_back(static_cast<int>(Random() % 500)); // many equal keys
    }
    for (const std::vector<int>& Keys : Sequences) {
        CTestTree Tree;
        for (int nKey : Keys)
            InsertKey(Tree, nKey);
        CTreeScan Scan;
        ASSERT_TRUE(ScanTree(Tree, Scan));
        EXPECT_EQ(Scan.Nodes.size(), Keys.size());
        EXPECT_TRUE(Scan.bBalanced);
        EXPECT_LE(Scan.nHeight, 1.45 * std::log2(Keys.size() + 2.0));
        EXPECT_EQ(Tree.Height(Tree.pRoot), Scan.nHeight);
        std::vector<int> Sorted = Keys;
        std::sort(Sorted.begin(), Sorted.end());
        EXPECT_EQ(Scan.InOrder, Sorted);
    }
}

TEST_F(AVLTreeTest, RandomInsertsAndRemovesMatchAMultiset)
{
    std::mt19937 Random(20240517);
    CTestTree Tree;
    std::multiset<int> Reference;
    const int KEY_RANGE = 300;
    int nMisses = 0;
    int nHits = 0;

    for (int nStep = 0; nStep < 6000; ++nStep) {
        int nKey = static_cast<int>(Random() % KEY_RANGE) - KEY_RANGE / 2;
        // Grow during the first half, shrink during the second.
        bool bInsert = (Random() % 100) < (nStep < 3000 ? 65u : 35u);
        if (bInsert) {
            InsertKey(Tree, nKey);
            Reference.insert(nKey);
        } else {
            CAVLNode* pOut = RemoveKey(Tree, nKey);
            auto It = Reference.find(nKey);
            if (It == Reference.end()) {
                ASSERT_EQ(pOut, nullptr) << "step " << nStep;
                ++nMisses;
            } else {
                ASSERT_NE(pOut, nullptr) << "step " << nStep;
                ASSERT_EQ(pOut->nKey, nKey);
                ASSERT_TRUE(LinksCleared(pOut)) << "step " << nStep;
                Reference.erase(It);
                ++nHits;
            }
            CTreeScan Scan;
            ASSERT_TRUE(ScanTree(Tree, Scan)) << "step " << nStep;
            if (pOut) {
                ASSERT_EQ(Scan.Nodes.count(pOut), 0u) << "removed node still reachable";
                delete pOut;
            }
            ASSERT_EQ(Scan.InOrder, std::vector<int>(Reference.begin(), Reference.end())) << "step " << nStep;
            ASSERT_EQ(static_cast<int>(Scan.Nodes.size()), CCountedNode::nLive);
            // Removal does not keep strict balance, but it must stay far from
            // a list.
            ASSERT_LE(Scan.nHeight, 2.5 * std::log2(Reference.size() + 2.0) + 2) << "step " << nStep;
        }
    }
    EXPECT_GT(nHits, 1000);
    EXPECT_GT(nMisses, 50);

    // Every remaining key is found, and an absent one is not.
    for (int nKey : Reference) {
        CAVLNode* pFound = FindKey(Tree, nKey);
        ASSERT_NE(pFound, nullptr);
        EXPECT_EQ(pFound->nKey, nKey);
    }
    EXPECT_EQ(FindKey(Tree, KEY_RANGE), nullptr);

    // Draining the tree through Remove leaves the root link null.
    while (!Reference.empty()) {
        int nKey = *std::next(Reference.begin(), static_cast<long>(Random() % Reference.size()));
        CAVLNode* pOut = RemoveKey(Tree, nKey);
        ASSERT_NE(pOut, nullptr);
        delete pOut;
        Reference.erase(Reference.find(nKey));
    }
    EXPECT_EQ(Tree.pRoot, nullptr);
}

TEST_F(AVLTreeTest, ClearAndDestructorDeleteEveryNode)
{
    {
        CTestTree Tree;
        for (int i = 0; i < 100; ++i)
            InsertKey(Tree, i % 7);
        EXPECT_EQ(CCountedNode::nLive, 100);
        Tree.Clear();
        EXPECT_EQ(CCountedNode::nLive, 0);
        EXPECT_EQ(Tree.pRoot, nullptr);
        Tree.Clear();
        for (int i = 0; i < 10; ++i)
            InsertKey(Tree, i);
    }
    EXPECT_EQ(CCountedNode::nLive, 0);

    // DeleteSubtree on an inner link takes that subtree only.
    CTestTree Tree;
    for (int i = 1; i <= 7; ++i)
        InsertKey(Tree, i);
    ASSERT_EQ(Tree.pRoot->nKey, 4);
    Tree.DeleteSubtree(&Tree.pRoot->pLeft);
    EXPECT_EQ(Tree.pRoot->pLeft, nullptr);
    EXPECT_EQ(CCountedNode::nLive, 4);
}
