#include "compiler/visibility.h"

#include "compiler/build_tree.h"
#include "compiler/portal.h"
#include "frame/error.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::string Record(int faces, int portals)
{
    return "Node:\n\tFaces:" + std::to_string(faces) + "\n\tPortals:" + std::to_string(portals) +
           "\n";
}

CPlane Plane(const CVector& normal, float distance)
{
    CPlane plane;
    plane.Normal = normal;
    plane.Distance = distance;
    return plane;
}

// Standalone nodes joined by hand-made portals, freed together.
class CGraph {
public:
    ~CGraph()
    {
        for (CBuildNode*& pNode : Nodes)
            FreeTree(&pNode);
    }
    // A node whose face count tells it apart in the log.
    CBuildNode* Node(int faceCount)
    {
        Nodes.push_back(new CBuildNode());
        Nodes.back()->FaceCount = faceCount;
        return Nodes.back();
    }
    // Appends a portal of the nodes a and b to the lists of the given nodes.
    CPortal* Join(CBuildNode* pA, CBuildNode* pB, std::vector<CBuildNode*> listedBy,
                  bool bBlocked = false)
    {
        Portals.push_back(std::make_unique<CPortal>());
        CPortal* pPortal = Portals.back().get();
        pPortal->pNodes[0] = pA;
        pPortal->pNodes[1] = pB;
        pPortal->NodeCount = 2;
        pPortal->bBlocked = bBlocked;
        for (CBuildNode* pNode : listedBy) {
            CPortal** pList = new CPortal*[pNode->PortalCount + 1];
            for (int32_t i = 0; i < pNode->PortalCount; ++i)
                pList[i] = pNode->pPortals[i];
            pList[pNode->PortalCount++] = pPortal;
            delete[] pNode->pPortals;
            pNode->pPortals = pList;
        }
        return pPortal;
    }

    std::vector<CBuildNode*> Nodes;
    std::vector<std::unique_ptr<CPortal>> Portals;
};

class VisibilityTest : public ScratchDirTest {
protected:
    std::string ReadLog() const { return ReadFile(Path("vis.txt")); }
};

// --- The flood on hand-made graphs ---

TEST_F(VisibilityTest, FloodRecordsNodesDepthFirstAndStopsAtBlockedPortals)
{
    CGraph graph;
    CBuildNode* pA = graph.Node(1);
    CBuildNode* pB = graph.Node(2);
    CBuildNode* pC = graph.Node(3);
    CBuildNode* pD = graph.Node(4);
    CBuildNode* pE = graph.Node(5);
    CBuildNode* pF = graph.Node(6);
    CBuildNode* pG = graph.Node(7);
    graph.Join(pA, pB, {pA, pB});
    graph.Join(pC, pA, {pA, pC}); // the other node stands first
    graph.Join(pA, pE, {pA, pE}, true);
    graph.Join(pB, pD, {pB, pD});
    graph.Join(pF, pG, {pD}); // joins neither of its lister's sides: both flood

    Write("vis.txt", "old\n");
    FloodLeaf(pA);
    // A, then through A's first portal B and on from B to D, from D to F and
    // G, and only then A's second portal to C. E lies behind a blocked portal.
    EXPECT_EQ(ReadLog(), "old\n" + Record(1, 3) + Record(2, 2) + Record(4, 2) + Record(6, 0) +
                             Record(7, 0) + Record(3, 1));
    for (CBuildNode* pNode : {pA, pB, pC, pD, pF, pG})
        EXPECT_TRUE(pNode->bVisited);
    EXPECT_FALSE(pE->bVisited);

    // Marks are never cleared: a second flood from a marked node writes
    // nothing, one from E only E, its one portal being blocked.
    FloodLeaf(pA);
    FloodLeaf(pE);
    FloodLeaf(nullptr);
    EXPECT_EQ(ReadLog(), "old\n" + Record(1, 3) + Record(2, 2) + Record(4, 2) + Record(6, 0) +
                             Record(7, 0) + Record(3, 1) + Record(5, 1));
}

// A chain of 200000 nodes floods without recursion, and a flood whose log
// can't be opened still marks.
TEST_F(VisibilityTest, FloodOfALongChainKeepsOffTheCallStackAndNeedsNoLog)
{
    CGraph graph;
    const int count = 200000;
    CBuildNode* pPrevious = graph.Node(0);
    for (int i = 1; i < count; ++i) {
        CBuildNode* pNext = graph.Node(i % 3);
        graph.Join(pPrevious, pNext, {pPrevious, pNext});
        pPrevious = pNext;
    }
    SetDriveRoot(Path("missing_directory"));
    FloodLeaf(graph.Nodes.front());
    for (CBuildNode* pNode : graph.Nodes)
        ASSERT_TRUE(pNode->bVisited);
}

// --- Finding the start node ---

// root: y = 0, front leaf F, back inner node N on x = 0 with only a front
// leaf L; F and L joined by a portal.
class SmallTreeTest : public VisibilityTest {
protected:
    void SetUp() override
    {
        VisibilityTest::SetUp();
        pRoot = new CBuildNode();
        pRoot->Plane = Plane(CVector(0, 1, 0), 0);
        pF = pRoot->pFront = new CBuildNode();
        pN = pRoot->pBack = new CBuildNode();
        pN->Plane = Plane(CVector(1, 0, 0), 0);
        pL = pN->pFront = new CBuildNode();
        for (CBuildNode* pLeaf : {pF, pL}) {
            pLeaf->FaceCount = 1;
            pLeaf->pFaces = new CLeafFace[1];
            pLeaf->pPortals = new CPortal*[1]{&Portal};
            pLeaf->PortalCount = 1;
        }
        Portal.pNodes[0] = pF;
        Portal.pNodes[1] = pL;
        Portal.NodeCount = 2;
    }
    void TearDown() override
    {
        FreeTree(&pRoot);
        VisibilityTest::TearDown();
    }

    CPortal Portal;
    CBuildNode* pRoot = nullptr;
    CBuildNode* pF = nullptr;
    CBuildNode* pN = nullptr;
    CBuildNode* pL = nullptr;
};

TEST_F(SmallTreeTest, FindLeafGoesBackOnlyFromTheBandOn)
{
    const CVector onPlane(3, 0, 0);
    const CVector inBand(3, -0.19f, 0);
    const CVector atBand(3, -0.2f, 0);
    const CVector behindOnNext(-0.1f, -5, 0);
    EXPECT_EQ(FindLeaf(pRoot, &onPlane), pF);
    EXPECT_EQ(FindLeaf(pRoot, &inBand), pF);
    EXPECT_EQ(FindLeaf(pRoot, &atBand), pL);
    EXPECT_EQ(FindLeaf(pRoot, &behindOnNext), pL);
    // Into the empty back side of N: the search stops at N itself.
    const CVector empty(-5, -5, 0);
    EXPECT_EQ(FindLeaf(pRoot, &empty), pN);
    EXPECT_EQ(FindLeaf(nullptr, &empty), nullptr);
    EXPECT_EQ(FindLeaf(pRoot, nullptr), nullptr);
}

// The log starts empty on every call; a start in the empty side of N marks
// only N, and no tree at all is an error.
TEST_F(SmallTreeTest, SetVisibilityEmptiesTheLogAndFloodsFromTheStart)
{
    Write("vis.txt", "from an earlier flood\n");
    const CVector empty(-5, -5, 0);
    SetVisibility(pRoot, &empty);
    EXPECT_EQ(ReadLog(), Record(0, 0));
    EXPECT_TRUE(pN->bVisited);
    EXPECT_FALSE(pF->bVisited || pL->bVisited || pRoot->bVisited);

    pN->bVisited = false;
    const CVector start(1, 1, 1);
    SetVisibility(pRoot, &start);
    EXPECT_EQ(ReadLog(), Record(1, 1) + Record(1, 1));
    EXPECT_TRUE(pF->bVisited && pL->bVisited);
    EXPECT_FALSE(pRoot->bVisited || pN->bVisited);

    try {
        SetVisibility(nullptr, &start);
        FAIL() << "no CError";
    } catch (const CError& error) {
        EXPECT_STREQ(error.GetMessage(), "Start location is not in the tree.");
    }
    EXPECT_EQ(ReadLog(), "");
}

// --- Walks and pruning ---

struct CVisitLog {
    std::vector<int> Order;
    std::vector<bool> Answers; // what WalkPath's visits answer, in turn
};

bool RecordVisit(CBuildNode* pNode, void* context)
{
    auto* pLog = static_cast<CVisitLog*>(context);
    pLog->Order.push_back(pNode->FaceCount);
    if (pLog->Answers.empty())
        return false;
    const bool bAnswer = pLog->Answers.front();
    pLog->Answers.erase(pLog->Answers.begin());
    return bAnswer;
}

TEST(Walks, VisitInTheirOrders)
{
    // 1 has back 2 (back 4, front 5) and front 3 (front 6 only).
    CGraph graph;
    CBuildNode* pNodes[7] = {};
    for (int i = 1; i <= 6; ++i) {
        pNodes[i] = new CBuildNode();
        pNodes[i]->FaceCount = i;
    }
    pNodes[1]->pBack = pNodes[2];
    pNodes[1]->pFront = pNodes[3];
    pNodes[2]->pBack = pNodes[4];
    pNodes[2]->pFront = pNodes[5];
    pNodes[3]->pFront = pNodes[6];
    graph.Nodes.push_back(pNodes[1]);

    CVisitLog log;
    WalkInOrder(pNodes[1], RecordVisit, &log);
    EXPECT_EQ(log.Order, (std::vector<int>{4, 2, 5, 1, 3, 6}));
    log = {};
    WalkPreOrder(pNodes[1], RecordVisit, &log);
    EXPECT_EQ(log.Order, (std::vector<int>{1, 2, 4, 5, 3, 6}));
    log = {};
    WalkPostOrder(pNodes[1], RecordVisit, &log);
    EXPECT_EQ(log.Order, (std::vector<int>{4, 5, 2, 6, 3, 1}));

    log = {{}, {false, true, true}};
    WalkPath(pNodes[1], RecordVisit, &log);
    EXPECT_EQ(log.Order, (std::vector<int>{1, 2, 5}));
    log = {{}, {true, false}};
    WalkPath(pNodes[1], RecordVisit, &log);
    EXPECT_EQ(log.Order, (std::vector<int>{1, 3}));

    log = {};
    WalkInOrder(nullptr, RecordVisit, &log);
    WalkPreOrder(pNodes[1], nullptr, &log);
    WalkPath(pNodes[1], nullptr, &log);
    EXPECT_TRUE(log.Order.empty());
}

TEST(Walks, DeepTreesKeepOffTheCallStack)
{
    const int depth = 300000;
    CBuildNode* pRoot = new CBuildNode();
    CBuildNode* pNode = pRoot;
    for (int i = 1; i < depth; ++i) {
        CBuildNode* pChild = new CBuildNode();
        if (i % 2) {
            pNode->pFront = pChild;
        } else {
            pNode->pBack = pChild;
            pNode->Plane = Plane(CVector(0, 0, -1), 0); // the point lies behind
        }
        pNode = pChild;
    }
    int visits = 0;
    auto count = [](CBuildNode*, void* context) {
        ++*static_cast<int*>(context);
        return true;
    };
    WalkInOrder(pRoot, count, &visits);
    WalkPreOrder(pRoot, count, &visits);
    WalkPostOrder(pRoot, count, &visits);
    EXPECT_EQ(visits, 3 * depth);
    const CVector point(0, 0, 1);
    EXPECT_EQ(FindLeaf(pRoot, &point), pNode);
    FreeTree(&pRoot);
}

TEST(PruneLeaves, FreesOnlyUnreachedLeafChildren)
{
    CBuildNode* pRoot = new CBuildNode();
    CBuildNode* pLeaf = pRoot->pFront = new CBuildNode();
    pLeaf->pFaces = new CLeafFace[1];
    pLeaf->FaceCount = 1;
    CBuildNode* pInner = pRoot->pBack = new CBuildNode();
    CBuildNode* pDeep = pInner->pFront = new CBuildNode();
    pDeep->pFaces = new CLeafFace[1];
    pDeep->FaceCount = 1;

    PruneLeaves(pRoot);
    EXPECT_EQ(pRoot->pFront, nullptr);
    EXPECT_EQ(pRoot->pBack, pInner) << "not a leaf";
    EXPECT_EQ(pInner->pFront, pDeep) << "one level only";

    pDeep->bVisited = true;
    PruneLeaves(pInner);
    EXPECT_EQ(pInner->pFront, pDeep) << "reached";
    PruneLeaves(nullptr);
    FreeTree(&pRoot);
}

} // namespace
