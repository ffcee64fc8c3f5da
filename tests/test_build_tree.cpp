#include "compiler/build_tree.h"
#include "compiler/face_list.h"
#include "compiler/map_parser.h"
#include "compiler/place_face.h"
#include "frame/error.h"

#include "tests/front_faces.h"
#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace {

bool SamePlane(const CPlane& a, const CPlane& b)
{
    return std::memcmp(&a, &b, sizeof(CPlane)) == 0;
}

struct CTreeGuard {
    CBuildNode* pRoot = nullptr;
    ~CTreeGuard() { FreeTree(&pRoot); }
};

// A face set with room for the faces to come, freed at the end.
struct COwnedSet {
    CFaceSet Set;
    explicit COwnedSet(int32_t room)
    {
        Set.pFaces = new CLeafFace[room];
        Set.pPlanes = new CPlane[room];
        Set.pPlaneIndices = new int32_t[room];
    }
    ~COwnedSet() { FreeFaceSet(&Set); }
    // Takes the face's arrays over; the plane is the face's own, and the face
    // gets a plane record of its own unless bFillPlane is false.
    void Add(const CLeafFace& face, bool bFillPlane = true)
    {
        const int32_t i = Set.Count++;
        Set.pFaces[i] = face;
        Set.pPlanes[i] = PlaneOf(face);
        Set.pPlaneIndices[i] = i;
        if (bFillPlane)
            Set.pFaces[i].pPlane = new CPlane(Set.pPlanes[i]);
    }
};

// n parallel squares at x = 0, 1, ..., n - 1 facing +x: candidate k puts k
// faces behind and n - k in front, so each later candidate scores better
// than the one before while k < n / 2.
void AddParallelSquares(COwnedSet& set, int32_t n)
{
    for (int32_t i = 0; i < n; ++i)
        set.Add(MakeSquare(CVector(static_cast<float>(i), 0, 0), CVector(1, 0, 0), 4));
}

void ExpectError(const std::function<void()>& action, const char* pszText)
{
    try {
        action();
        ADD_FAILURE() << "no CError thrown";
    } catch (const CError& error) {
        EXPECT_STREQ(error.GetMessage(), pszText);
    }
}

// A map filled by parsing or by hand; the parser's token log goes to the
// test's scratch directory.
class BuildTreeTest : public ScratchDirTest {
protected:
    CMapData Map;
    std::deque<CPlaneNode> Nodes; // plane nodes of hand-made lists

    void TearDown() override
    {
        FreeMapData(&Map);
        ScratchDirTest::TearDown();
    }
    // Adds a copy of face with a plane node of its own, and frees face.
    CPlaneNode* Add(CLeafFace face)
    {
        Nodes.push_back({PlaneOf(face), 0, nullptr, nullptr});
        AddFaceEntry(&Map.pFaces, face)->pPlaneNode = &Nodes.back();
        ++Map.FaceCount;
        FreeFace(&face);
        return &Nodes.back();
    }
};

} // namespace

TEST_F(BuildTreeTest, ListBuilderTurnsACubeIntoAChainOfSixFrontLeaves)
{
    EXPECT_EQ(BuildTreeFromList(&Map), nullptr);
    ASSERT_TRUE(ParseMapFile(Fixture("cube.map").c_str(), &Map));
    std::vector<const CPlaneNode*> nodes;
    for (const CFaceEntry* p = Map.pFaces; p; p = p->pNext)
        nodes.push_back(p->pPlaneNode);
    CTreeGuard tree;
    tree.pRoot = BuildTreeFromList(&Map);
    // Each level takes the head of its list, and the back list is built at
    // its head, reversed: the splitters are the entries 0, 5, 1, 4, 2, 3.
    const CBuildNode* pNode = tree.pRoot;
    for (int entry : {0, 5, 1, 4, 2, 3}) {
        ASSERT_TRUE(pNode && !pNode->IsLeaf());
        EXPECT_TRUE(SamePlane(pNode->Plane, nodes[entry]->Plane)) << entry;
        // The front leaf: the one square on the splitter, whole, plane zero.
        const CBuildNode* pLeaf = pNode->pFront;
        ASSERT_TRUE(pLeaf && pLeaf->IsLeaf() && pLeaf->FaceCount == 1);
        EXPECT_TRUE(SamePlane(pLeaf->Plane, CPlane()));
        EXPECT_NEAR(FaceArea(pLeaf->pFaces[0]), 128.0 * 128.0, 1e-2);
        EXPECT_NEAR(pNode->Plane.DistanceTo(pLeaf->pFaces[0].pVertices[2].Position), 0, 1e-3);
        pNode = pNode->pBack;
    }
    EXPECT_EQ(pNode, nullptr);
    EXPECT_EQ(Map.pFaces->pPlaneNode, nodes[0]); // the map is read, not changed
}

TEST_F(BuildTreeTest, PartitionListRetiresTheSplittersPlaneNode)
{
    CPlaneNode* pAcross = Add(MakeSquare(CVector(0, 5, 0), CVector(0, 1, 0), 4)); // cut in two
    CPlaneNode* pAhead = Add(MakeSquare(CVector(10, 0, 0), CVector(0, 1, 0), 2)); // in front
    CPlaneNode* pSplit = Add(MakeSquare(CVector(0, 0, 0), CVector(1, 0, 0), 4));  // on it
    CBuildNode node;
    CPlaneNode* pPicked = nullptr;
    PickListPlane(&Map, &node.Plane, &pPicked);
    ASSERT_EQ(pPicked, pSplit);
    CMapData front;
    CMapData back;
    ASSERT_TRUE(PartitionList(&node, pPicked, &Map, &front, &back));
    // Reversed by insertion at the head; the face on the splitter gave up its
    // plane node, the pieces of the cut face both keep theirs.
    ASSERT_EQ(front.FaceCount, 3);
    EXPECT_FALSE(front.bLeaf);
    const CFaceEntry* p = front.pFaces;
    for (const auto& [pNode, area] : {std::pair{pAcross, 32.0}, {pAhead, 16.0}, {nullptr, 64.0}}) {
        EXPECT_EQ(p->pPlaneNode, pNode);
        EXPECT_NEAR(FaceArea(p->Face), area, 1e-3);
        p = p->pNext;
    }
    ASSERT_EQ(back.FaceCount, 1);
    EXPECT_EQ(back.pFaces->pPlaneNode, pAcross);
    FreeMapData(&front);
    FreeMapData(&back);
}

class PlacingRule : public BuildTreeTest,
                    public ::testing::WithParamInterface<std::pair<float, int32_t>> {};

// A face on the splitter goes whole to the front when its own Distance lies
// within 0.2 of the splitter's, whichever way it faces: for opposite faces,
// Distances x and -x, only when the plane passes within 0.1 of the origin.
TEST_P(PlacingRule, FacesOnTheSplitterGoByDistanceAlone)
{
    const auto [x, nFront] = GetParam();
    const CVector ahead(x, 0, 0);
    const CVector turned(x, 20, 0);
    COwnedSet set(2);
    set.Add(MakeSquare(ahead, CVector(1, 0, 0), 4));
    set.Add(MakeSquare(turned, CVector(-1, 0, 0), 4));
    for (bool bCountOnly : {false, true}) {
        CFaceSet front;
        CFaceSet back;
        ASSERT_TRUE(PartitionSet(set.Set.pPlanes[0], &set.Set, &front, &back, bCountOnly));
        EXPECT_EQ(front.Count, nFront);
        EXPECT_EQ(back.Count, 2 - nFront);
        FreeFaceSet(&front);
        FreeFaceSet(&back);
    }
    // The list builder takes the face's plane from its vertices.
    CPlaneNode* pSplit = Add(MakeSquare(ahead, CVector(1, 0, 0), 4));
    Add(MakeSquare(turned, CVector(-1, 0, 0), 4));
    CBuildNode node;
    node.Plane = pSplit->Plane;
    CMapData front;
    CMapData back;
    ASSERT_TRUE(PartitionList(&node, pSplit, &Map, &front, &back));
    EXPECT_EQ(front.FaceCount, nFront);
    EXPECT_EQ(back.FaceCount, 2 - nFront);
    FreeMapData(&front);
    FreeMapData(&back);
}

INSTANTIATE_TEST_SUITE_P(Offsets, PlacingRule,
                         ::testing::Values(std::pair{0.0f, 2}, std::pair{0.09f, 2},
                                           std::pair{-0.09f, 2}, std::pair{0.11f, 1},
                                           std::pair{5.0f, 1}, std::pair{-5.0f, 1}));

// The scoring passes count pieces without cutting; they must agree with
// placing and cutting, vertices in and at the edges of the band included.
TEST(PlacingRule, CountingAgreesWithCutting)
{
    const CPlane floor(CVector(0, 0, 1), 0.0f);
    const float heights[] = {-5, -0.2f, -0.1f, 0, 0.2f, 5};
    for (float z0 : heights) {
        for (float z1 : heights) {
            for (float z2 : heights) {
                COwnedFace face(
                    MakeFace({CVector(0, 0, z0), CVector(1, 0, z1), CVector(0, 1, z2)}));
                for (const CPlane& splitter : {floor, -floor}) {
                    for (float faceDistance : {0.0f, 1.0f}) {
                        COwnedFace back, front;
                        const EFacePlacement placement =
                            PlaceFace(splitter, face.get(), faceDistance, back.get(), front.get());
                        const bool bPieces = placement == EFacePlacement::Pieces;
                        int32_t nBack = -1;
                        int32_t nFront = -1;
                        CountPlacedFace(splitter, face.get(), faceDistance, &nBack, &nFront);
                        EXPECT_EQ(nBack, placement == EFacePlacement::WholeBack ||
                                             (bPieces && back->VertexCount > 2));
                        EXPECT_EQ(nFront, placement == EFacePlacement::WholeFront ||
                                              (bPieces && front->VertexCount > 2));
                    }
                }
            }
        }
    }
}

TEST(SetBuilder, OneFaceIsALeafWithTheFacesPlane)
{
    EXPECT_EQ(BuildTreeFromSet(nullptr, nullptr), nullptr);
    COwnedSet set(1);
    EXPECT_EQ(BuildTreeFromSet(&set.Set, nullptr), nullptr);
    set.Add(MakeSquare(CVector(3, 1, 2), CVector(0, 0, -1), 5));
    CBuildNode parent;
    CTreeGuard tree;
    tree.pRoot = BuildTreeFromSet(&set.Set, &parent);
    ASSERT_TRUE(tree.pRoot && tree.pRoot->IsLeaf() && tree.pRoot->FaceCount == 1);
    EXPECT_EQ(tree.pRoot->pParent, &parent);
    EXPECT_TRUE(SamePlane(tree.pRoot->Plane, set.Set.pPlanes[0]));
    // The leaf used the plane record up, in the set and so in its copy.
    EXPECT_EQ(set.Set.pFaces[0].pPlane, nullptr);
    EXPECT_EQ(tree.pRoot->pFaces[0].pPlane, nullptr);
}

class PickPlaneTries : public ::testing::TestWithParam<std::pair<int32_t, int32_t>> {};

// Count >> 4 candidates, at least 1, at most 32: where each later candidate
// scores better, the index picked is the number tried, less one.
TEST_P(PickPlaneTries, ASixteenthOfTheFacesAtMostThirtyTwo)
{
    const auto [count, picked] = GetParam();
    COwnedSet set(count);
    AddParallelSquares(set, count);
    EXPECT_EQ(PickPlane(&set.Set), picked);
}

INSTANTIATE_TEST_SUITE_P(Counts, PickPlaneTries,
                         ::testing::Values(std::pair{1, 0}, std::pair{31, 0}, std::pair{32, 1},
                                           std::pair{511, 30}, std::pair{600, 31}));

TEST(PickPlane, ScoreAddsThePiecesThatCuttingMakesAndTiesKeepTheEarlier)
{
    // 32 faces: two tries. Face 0 lies on y = 0 facing +y, face 1 on x = 0
    // facing +x, face 2 lies across x = 0 only, and small squares stand in
    // the quadrants: 7 at (+x, +y), 7 at (+x, -y), 7 at (-x, +y), 8 at
    // (-x, -y). Face 0: 17 in front, 15 behind, score 2. Face 1 cuts face 2:
    // 17 in front, 16 behind, score 1 + 1 = 2, a tie that face 0 keeps.
    COwnedSet set(32);
    set.Add(MakeSquare(CVector(5, 0, 0), CVector(0, 1, 0), 0.25f));
    set.Add(MakeSquare(CVector(0, 5, 0), CVector(1, 0, 0), 0.25f));
    set.Add(MakeSquare(CVector(0, 3, 0), CVector(0, 0, 1), 1));
    for (const auto& [x, y, n] : {std::tuple{2, 2, 7}, {2, -2, 7}, {-2, 2, 7}, {-2, -2, 8}}) {
        for (int i = 0; i < n; ++i)
            set.Add(MakeSquare(CVector(float(x), float(y), 0), CVector(0, 0, 1), 0.25f));
    }
    EXPECT_EQ(PickPlane(&set.Set), 0);
}

TEST(PickPlane, ThrowsWithoutSetOrCandidate)
{
    ExpectError([] { PickPlane(nullptr); }, "PickPlane(): Null plane set partitioning faces.");
    // Two sides of a box seen from outside, without plane records: each lies
    // behind the other's plane and there is nothing to split by.
    COwnedSet set(2);
    set.Add(MakeSquare(CVector(-4, 0, 0), CVector(-1, 0, 0), 4), false);
    set.Add(MakeSquare(CVector(0, 4, 0), CVector(0, 1, 0), 4), false);
    ExpectError([&] { PickPlane(&set.Set); }, "PickPlane(): Could not find a splitting plane.");
    // The builder lets the error through and leaves nothing behind.
    ExpectError([&] { BuildTreeFromSet(&set.Set, nullptr); },
                "PickPlane(): Could not find a splitting plane.");
}

// Squares of varied sizes, places and facings: enough faces that the
// builder scores the root's candidates side by side and sets subtrees
// aside at several depths.
void AddScatteredSquares(COwnedSet& set, int32_t n)
{
    uint32_t state = 12345u;
    auto next = [&](int32_t range) {
        state = state * 1664525u + 1013904223u;
        return static_cast<int32_t>((state >> 8) % static_cast<uint32_t>(range));
    };
    const CVector facings[] = {CVector(1, 0, 0), CVector(-1, 0, 0), CVector(0, 1, 0),
                               CVector(0, -1, 0), CVector(0, 0, 1),  CVector(0.6f, 0.8f, 0),
                               CVector(0, 0.8f, -0.6f)};
    for (int32_t i = 0; i < n; ++i) {
        const CVector centre(float(next(2000) - 1000), float(next(2000) - 1000),
                             float(next(400) - 200));
        set.Add(MakeSquare(centre, facings[next(7)], float(4 + next(60))));
    }
}

// Whether two trees have the same nodes: planes, faces and children.
void ExpectSameTree(const CBuildNode* pA, const CBuildNode* pB)
{
    std::vector<std::pair<const CBuildNode*, const CBuildNode*>> pending{{pA, pB}};
    int64_t nodes = 0;
    while (!pending.empty()) {
        const auto [a, b] = pending.back();
        pending.pop_back();
        ASSERT_EQ(a == nullptr, b == nullptr);
        if (!a)
            continue;
        ++nodes;
        ASSERT_TRUE(SamePlane(a->Plane, b->Plane));
        ASSERT_EQ(a->FaceCount, b->FaceCount);
        for (int32_t f = 0; f < a->FaceCount; ++f) {
            ASSERT_EQ(a->pPlaneIndices[f], b->pPlaneIndices[f]);
            ASSERT_EQ(a->pFaces[f].VertexCount, b->pFaces[f].VertexCount);
            ASSERT_EQ(std::memcmp(a->pFaces[f].pVertices, b->pFaces[f].pVertices,
                                  sizeof(CVertex) * size_t(a->pFaces[f].VertexCount)),
                      0);
        }
        for (const CBuildNode* pNode : {a, b}) {
            for (const CBuildNode* pChild : {pNode->pFront, pNode->pBack})
                EXPECT_TRUE(!pChild || pChild->pParent == pNode);
        }
        pending.emplace_back(a->pFront, b->pFront);
        pending.emplace_back(a->pBack, b->pBack);
    }
    EXPECT_GT(nodes, 1000);
}

TEST(SetBuilder, AnyNumberOfThreadsBuildsTheSameTree)
{
    COwnedSet one(3000);
    AddScatteredSquares(one, 3000);
    CTreeGuard alone;
    alone.pRoot = BuildTreeFromSet(&one.Set, nullptr, 1);
    for (const int32_t threads : {2, 3}) {
        COwnedSet set(3000);
        AddScatteredSquares(set, 3000);
        CTreeGuard shared;
        shared.pRoot = BuildTreeFromSet(&set.Set, nullptr, threads);
        ExpectSameTree(alone.pRoot, shared.pRoot);
    }
}

TEST(SetBuilder, AFailureInASubtreeBuiltAsideIsThrown)
{
    // 64 parallel squares: each split takes one of the first four in the
    // set, so the sets in front go on for over a dozen levels. In front of
    // them all stands a pair without plane records that cannot be split, so
    // the last set in front fails, below the depth at which two threads set
    // subtrees aside. Nothing built may be left behind.
    for (const int32_t threads : {1, 2}) {
        COwnedSet set(66);
        AddParallelSquares(set, 64);
        set.Add(MakeSquare(CVector(96, 0, 0), CVector(-1, 0, 0), 4), false);
        set.Add(MakeSquare(CVector(100, 4, 0), CVector(0, 1, 0), 4), false);
        ExpectError([&] { BuildTreeFromSet(&set.Set, nullptr, threads); },
                    "PickPlane(): Could not find a splitting plane.");
    }
}

TEST(IsConvexSet, NoFaceBeyondTheBandBehindAnyPlaneAndEveryPlaneUsed)
{
    // A wall and a floor of a room's inside; the floor starts 0.15 behind the
    // wall's plane, inside the band.
    COwnedSet set(2);
    set.Add(MakeSquare(CVector(0, 4, 0), CVector(1, 0, 0), 4), false);
    set.Add(MakeSquare(CVector(3.85f, 0, 0), CVector(0, 1, 0), 4), false);
    EXPECT_TRUE(IsConvexSet(&set.Set, true));
    // A plane record not yet used counts only when asked to, and never for
    // a single face.
    set.Set.pFaces[1].pPlane = new CPlane(set.Set.pPlanes[1]);
    EXPECT_FALSE(IsConvexSet(&set.Set, true));
    EXPECT_TRUE(IsConvexSet(&set.Set, false));
    set.Set.Count = 1;
    EXPECT_TRUE(IsConvexSet(&set.Set, true));
    set.Set.Count = 2;
    // 0.25 behind is beyond the band.
    for (int v = 0; v < 4; ++v)
        set.Set.pFaces[1].pVertices[v].Position.x -= 0.1f;
    EXPECT_FALSE(IsConvexSet(&set.Set, false));
}
