#include "compiler/build_tree.h"
#include "compiler/face_list.h"
#include "compiler/map_parser.h"
#include "compiler/place_face.h"
#include "frame/error.h"
#include "platform/files.h"

#include "bench/map_generator.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

// A square of half-side h round centre, facing an axis normal: CPlane of its
// first three vertices faces normal.
CLeafFace MakeSquare(const CVector& centre, const CVector& normal, float h)
{
    CVector u = std::fabs(normal.x) > 0.5f ? CVector(0, 1, 0) : CVector(1, 0, 0);
    const CVector v = Cross(normal, u);
    u = Cross(v, normal);
    CLeafFace face;
    face.VertexCount = 4;
    face.pVertices = new CVertex[4];
    const float corners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    for (int i = 0; i < 4; ++i)
        face.pVertices[i].Position = centre + u * (corners[i][0] * h) + v * (corners[i][1] * h);
    return face;
}

CPlane PlaneOf(const CLeafFace& face)
{
    return CPlane(face.pVertices[0].Position, face.pVertices[1].Position,
                  face.pVertices[2].Position);
}

bool SamePlane(const CPlane& a, const CPlane& b)
{
    return std::memcmp(&a, &b, sizeof(CPlane)) == 0;
}

// A CFaceSet that owns what is added to it; each face gets a plane record of
// its own unless bFillPlane is false.
struct OwnedSet {
    CFaceSet Set;
    explicit OwnedSet(int32_t room)
    {
        Set.pFaces = new CLeafFace[room];
        Set.pPlanes = new CPlane[room];
        Set.pPlaneIndices = new int32_t[room];
    }
    ~OwnedSet() { FreeFaceSet(&Set); }
    // Takes the face's arrays over.
    void Add(const CLeafFace& face, int32_t index, bool bFillPlane = true)
    {
        const int32_t i = Set.Count++;
        Set.pFaces[i] = face;
        Set.pPlanes[i] = PlaneOf(face);
        Set.pPlaneIndices[i] = index;
        if (bFillPlane)
            Set.pFaces[i].pPlane = new CPlane(Set.pPlanes[i]);
    }
};

// n parallel squares at x = 0, 1, ..., n - 1 facing +x: candidate k puts k
// faces behind and n - k in front, so each later candidate scores better
// than the one before while k < n / 2.
void AddParallelSquares(OwnedSet& set, int32_t n)
{
    for (int32_t i = 0; i < n; ++i)
        set.Add(MakeSquare(CVector(static_cast<float>(i), 0, 0), CVector(1, 0, 0), 4), i);
}

double FaceArea(const CLeafFace& face)
{
    double sum[3] = {0, 0, 0}; // half the edges' cross products, in double
    for (int32_t i = 0; i < face.VertexCount; ++i) {
        const CVector& a = face.pVertices[i].Position;
        const CVector& b = face.pVertices[(i + 1) % face.VertexCount].Position;
        sum[0] += double(a.y) * b.z - double(a.z) * b.y;
        sum[1] += double(a.z) * b.x - double(a.x) * b.z;
        sum[2] += double(a.x) * b.y - double(a.y) * b.x;
    }
    return 0.5 * std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
}

// Every node with its depth, the root at 1.
std::vector<std::pair<CBuildNode*, int>> Walk(CBuildNode* pRoot)
{
    std::vector<std::pair<CBuildNode*, int>> nodes;
    std::vector<std::pair<CBuildNode*, int>> pending;
    if (pRoot)
        pending.push_back({pRoot, 1});
    while (!pending.empty()) {
        const auto item = pending.back();
        pending.pop_back();
        nodes.push_back(item);
        for (CBuildNode* pChild : {item.first->pFront, item.first->pBack}) {
            if (pChild)
                pending.push_back({pChild, item.second + 1});
        }
    }
    return nodes;
}

struct TreeGuard {
    CBuildNode* pRoot = nullptr;
    ~TreeGuard() { FreeTree(&pRoot); }
};

void ExpectError(const std::function<void()>& action, const char* text)
{
    try {
        action();
        ADD_FAILURE() << "no CError thrown";
    } catch (const CError& error) {
        EXPECT_STREQ(error.GetMessage(), text);
    }
}

// A map to fill by parsing or by hand. The parser's token log goes to the
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
    void Parse(const std::string& path) { ASSERT_TRUE(ParseMapFile(path.c_str(), &Map)); }
    std::vector<CFaceEntry*> Entries() const
    {
        std::vector<CFaceEntry*> entries;
        for (CFaceEntry* p = Map.pFaces; p; p = p->pNext)
            entries.push_back(p);
        return entries;
    }
    // Adds a copy of face with a plane node of its own, and frees face.
    CPlaneNode* Add(CLeafFace face)
    {
        Nodes.emplace_back();
        Nodes.back().Plane = PlaneOf(face);
        AddFaceEntry(&Map.pFaces, face)->pPlaneNode = &Nodes.back();
        ++Map.FaceCount;
        FreeFace(&face);
        return &Nodes.back();
    }
};

TEST_F(BuildTreeTest, ListBuilderTurnsACubeIntoAChainOfSixFrontLeaves)
{
    EXPECT_EQ(BuildTreeFromList(nullptr), nullptr);
    EXPECT_EQ(BuildTreeFromList(&Map), nullptr);

    Parse(Fixture("cube.map"));
    const std::vector<CFaceEntry*> entries = Entries();
    ASSERT_EQ(entries.size(), 6u);
    TreeGuard tree;
    tree.pRoot = BuildTreeFromList(&Map);

    // Each level takes the head of its list, and the back list is built at
    // its head, reversed: the splitters are the entries 0, 5, 1, 4, 2, 3.
    const int order[6] = {0, 5, 1, 4, 2, 3};
    const CBuildNode* pNode = tree.pRoot;
    for (int level = 0; level < 6; ++level, pNode = pNode->pBack) {
        SCOPED_TRACE(level);
        ASSERT_NE(pNode, nullptr);
        EXPECT_FALSE(pNode->IsLeaf());
        EXPECT_TRUE(SamePlane(pNode->Plane, entries[order[level]]->pPlaneNode->Plane));
        // The front leaf: the one square on the splitter, whole, plane zero.
        const CBuildNode* pLeaf = pNode->pFront;
        ASSERT_TRUE(pLeaf && pLeaf->IsLeaf());
        EXPECT_TRUE(!pLeaf->pFront && !pLeaf->pBack && !pLeaf->pPlaneIndices);
        EXPECT_TRUE(SamePlane(pLeaf->Plane, CPlane()));
        ASSERT_EQ(pLeaf->FaceCount, 1);
        EXPECT_NEAR(FaceArea(pLeaf->pFaces[0]), 128.0 * 128.0, 1e-2);
        EXPECT_NEAR(pNode->Plane.DistanceTo(pLeaf->pFaces[0].pVertices[2].Position), 0, 1e-3);
    }
    EXPECT_EQ(pNode, nullptr);
    // The map is read, not changed.
    EXPECT_EQ(Entries(), entries);
    for (const CFaceEntry* pEntry : entries)
        EXPECT_NE(pEntry->pPlaneNode, nullptr);
}

TEST_F(BuildTreeTest, PartitionListCarriesPlaneNodesButTheSplitters)
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
    const std::vector<std::pair<CPlaneNode*, double>> expected = {
        {pAcross, 32.0}, {pAhead, 16.0}, {nullptr, 64.0}};
    ASSERT_EQ(front.FaceCount, 3);
    EXPECT_FALSE(front.bLeaf);
    const CFaceEntry* p = front.pFaces;
    for (size_t i = 0; i < expected.size(); ++i, p = p->pNext) {
        EXPECT_EQ(p->pPlaneNode, expected[i].first);
        EXPECT_NEAR(FaceArea(p->Face), expected[i].second, 1e-3);
    }
    ASSERT_EQ(back.FaceCount, 1);
    EXPECT_FALSE(back.bLeaf);
    EXPECT_EQ(back.pFaces->pPlaneNode, pAcross);

    EXPECT_FALSE(PartitionList(&node, nullptr, &Map, &front, &back));
    EXPECT_FALSE(PartitionList(&node, pAcross, &Map, nullptr, &back));
    FreeMapData(&front);
    FreeMapData(&back);
}

// Faces on the splitter go whole to the front when their own Distance is
// within 0.2 of the splitter's, whichever way they face: for opposite faces,
// Distances x and -x, only when the plane passes within 0.1 of the origin.
TEST_F(BuildTreeTest, FacesOnTheSplitterGoByDistanceAlone)
{
    const std::pair<float, int32_t> cases[] = {{0.0f, 2},  {0.09f, 2}, {-0.09f, 2},
                                               {0.11f, 1}, {5.0f, 1},  {-5.0f, 1}};
    for (const auto& [x, nFront] : cases) {
        SCOPED_TRACE(x);
        const CVector ahead(x, 0, 0);
        const CVector turned(x, 20, 0);
        OwnedSet set(2);
        set.Add(MakeSquare(ahead, CVector(1, 0, 0), 4), 0);
        set.Add(MakeSquare(turned, CVector(-1, 0, 0), 4), 1);
        for (bool bCountOnly : {false, true}) {
            CFaceSet front;
            CFaceSet back;
            ASSERT_TRUE(PartitionSet(set.Set.pPlanes[0], &set.Set, &front, &back, bCountOnly));
            EXPECT_EQ(front.Count, nFront);
            EXPECT_EQ(back.Count, 2 - nFront);
            EXPECT_EQ(front.pFaces == nullptr, bCountOnly);
            for (int32_t i = 0; !bCountOnly && i < front.Count; ++i)
                EXPECT_EQ(front.pFaces[i].VertexCount, 4); // whole, not cut
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
        FreeMapData(&Map);
    }
}

// The scoring passes count pieces without cutting; on any face and splitter
// they must agree with placing and cutting, vertices in and at the edges of
// the band included.
TEST(PlacingRule, CountingAgreesWithCutting)
{
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    const float offsets[] = {0.0f, 0.1f, -0.1f, 0.2f, -0.2f, 0.19999f, -0.20001f, 0.3f, 5.0f};
    int cases = 0;
    for (int round = 0; round < 3000; ++round) {
        // A regular polygon of 3 to 8 vertices in a random plane, or a square
        // on whole numbers facing an axis.
        CLeafFace face;
        if (round % 2 == 0) {
            face = MakeSquare(CVector(static_cast<float>(round % 7), 0, 0), CVector(0, 0, 1), 4);
        } else {
            const CVector normal = Normalized(CVector(unit(random), unit(random), unit(random)));
            const CVector u = Normalized(Cross(normal, CVector(0.6f, 0.8f, 0)));
            const CVector v = Cross(normal, u);
            face.VertexCount = 3 + round % 6;
            face.pVertices = new CVertex[face.VertexCount];
            for (int i = 0; i < face.VertexCount; ++i) {
                const double a = 2 * 3.14159265358979 * i / face.VertexCount;
                face.pVertices[i].Position = u * static_cast<float>(4 * std::cos(a)) +
                                             v * static_cast<float>(4 * std::sin(a));
            }
        }
        const CPlane own = PlaneOf(face);
        // Splitters through a vertex moved by an offset, in several
        // directions, the face's own plane either way round among them.
        for (float offset : offsets) {
            const CVector& through = face.pVertices[round % face.VertexCount].Position;
            const CVector directions[] = {CVector(1, 0, 0), CVector(0, 0, 1), own.Normal,
                                          -own.Normal,
                                          Normalized(CVector(unit(random), unit(random), 1))};
            for (const CVector& direction : directions) {
                CPlane splitter(direction, 0.0f);
                splitter.Distance = static_cast<float>(offset - Dot(splitter.Normal, through));
                for (float faceDistance : {splitter.Distance, -splitter.Distance, own.Distance}) {
                    CLeafFace back;
                    CLeafFace front;
                    const EFacePlacement placement =
                        PlaceFace(splitter, &face, faceDistance, &back, &front);
                    const bool bPieces = placement == EFacePlacement::Pieces;
                    const int32_t cutBack =
                        placement == EFacePlacement::WholeBack || (bPieces && back.VertexCount > 2);
                    const int32_t cutFront = placement == EFacePlacement::WholeFront ||
                                             (bPieces && front.VertexCount > 2);
                    FreeFace(&back);
                    FreeFace(&front);
                    int32_t countBack = -1;
                    int32_t countFront = -1;
                    CountPlacedFace(splitter, &face, faceDistance, &countBack, &countFront);
                    ASSERT_EQ(countBack, cutBack) << round << " " << offset;
                    ASSERT_EQ(countFront, cutFront) << round << " " << offset;
                    ++cases;
                }
            }
        }
        FreeFace(&face);
    }
    EXPECT_EQ(cases, 3000 * 9 * 5 * 3);
    CLeafFace empty; // no vertices: lost on both sides
    int32_t countBack = -1;
    int32_t countFront = -1;
    CountPlacedFace(CPlane(CVector(1, 0, 0), 0.0f), &empty, 0.0f, &countBack, &countFront);
    EXPECT_TRUE(countBack == 0 && countFront == 0);
}

TEST(SetBuilder, OneFaceIsALeafWithTheFacesPlane)
{
    EXPECT_EQ(BuildTreeFromSet(nullptr, nullptr), nullptr);
    CFaceSet empty;
    EXPECT_EQ(BuildTreeFromSet(&empty, nullptr), nullptr);

    OwnedSet set(1);
    set.Add(MakeSquare(CVector(3, 1, 2), CVector(0, 0, -1), 5), 42);
    CBuildNode parent;
    TreeGuard tree;
    tree.pRoot = BuildTreeFromSet(&set.Set, &parent);
    ASSERT_TRUE(tree.pRoot && tree.pRoot->IsLeaf());
    EXPECT_EQ(tree.pRoot->pParent, &parent);
    ASSERT_EQ(tree.pRoot->FaceCount, 1);
    EXPECT_TRUE(SamePlane(tree.pRoot->Plane, set.Set.pPlanes[0]));
    EXPECT_EQ(tree.pRoot->pPlaneIndices[0], 42);
    // The leaf used the plane record up, in the set and so in its copy.
    EXPECT_EQ(set.Set.pFaces[0].pPlane, nullptr);
    EXPECT_EQ(tree.pRoot->pFaces[0].pPlane, nullptr);
    // Without a record left, the leaf takes the plane of the array.
    TreeGuard again;
    again.pRoot = BuildTreeFromSet(&set.Set, nullptr);
    EXPECT_TRUE(SamePlane(again.pRoot->Plane, set.Set.pPlanes[0]));
}

// Count >> 4 candidates, at least 1, at most 32: where each later candidate
// scores better, the index picked is the number tried, less one.
TEST(PickPlane, TriesASixteenthOfTheFacesUpToThirtyTwo)
{
    const std::pair<int32_t, int32_t> cases[] = {{1, 0},  {15, 0},   {16, 0},   {31, 0},  {32, 1},
                                                 {48, 2}, {511, 30}, {512, 31}, {600, 31}};
    for (const auto& [count, picked] : cases) {
        SCOPED_TRACE(count);
        OwnedSet set(count);
        AddParallelSquares(set, count);
        EXPECT_EQ(PickPlane(&set.Set), picked);
    }
    // Faces without a plane record are passed over and use no try.
    OwnedSet set(40);
    AddParallelSquares(set, 40);
    for (int i = 0; i < 3; ++i) {
        delete set.Set.pFaces[i].pPlane;
        set.Set.pFaces[i].pPlane = nullptr;
    }
    EXPECT_EQ(PickPlane(&set.Set), 4);
}

TEST(PickPlane, EqualScoresKeepTheEarlierFace)
{
    // Two tries. Face 0 at x = 10 facing +x and face 1 at x = 21 facing -x
    // each put 22 faces in front (their own included) and 10 behind.
    OwnedSet set(32);
    set.Add(MakeSquare(CVector(10, 0, 0), CVector(1, 0, 0), 4), 0);
    set.Add(MakeSquare(CVector(21, 0, 0), CVector(-1, 0, 0), 4), 1);
    for (int x = 0; x < 32; ++x) {
        if (x != 10 && x != 21)
            set.Add(MakeSquare(CVector(static_cast<float>(x), 0, 0), CVector(1, 0, 0), 4), x);
    }
    EXPECT_EQ(PickPlane(&set.Set), 0);

    // Moved to the middle, face 1 divides more evenly and wins.
    for (int32_t v = 0; v < 4; ++v)
        set.Set.pFaces[1].pVertices[v].Position.x = 15.5f;
    set.Set.pPlanes[1] = PlaneOf(set.Set.pFaces[1]);
    *set.Set.pFaces[1].pPlane = set.Set.pPlanes[1];
    EXPECT_EQ(PickPlane(&set.Set), 1);
}

TEST(PickPlane, ThrowsWithoutSetOrCandidate)
{
    ExpectError([] { PickPlane(nullptr); }, "PickPlane(): Null plane set partitioning faces.");
    // Two sides of a box seen from outside, without plane records: each lies
    // behind the other's plane and there is nothing to split by.
    OwnedSet set(2);
    set.Add(MakeSquare(CVector(-4, 0, 0), CVector(-1, 0, 0), 4), 0, false);
    set.Add(MakeSquare(CVector(0, 4, 0), CVector(0, 1, 0), 4), 1, false);
    ExpectError([&] { PickPlane(&set.Set); }, "PickPlane(): Could not find a splitting plane.");
    // The builder lets the error through and leaves nothing behind.
    ExpectError([&] { BuildTreeFromSet(&set.Set, nullptr); },
                "PickPlane(): Could not find a splitting plane.");
}

TEST(IsConvexSet, AllFacesInFrontOfAllPlanesWithinTheBand)
{
    EXPECT_TRUE(IsConvexSet(nullptr, true));
    // A wall and a floor of a room's inside; the floor starts 0.15 behind the
    // wall's plane, inside the band.
    OwnedSet set(2);
    set.Add(MakeSquare(CVector(0, 4, 0), CVector(1, 0, 0), 4), 0, false);
    set.Add(MakeSquare(CVector(3.85f, 0, 0), CVector(0, 1, 0), 4), 1, false);
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

enum class EBuilder { List, Set };

std::string GeneratedMapPath()
{
    // Test processes may run side by side: each writes a file of its own and
    // moves it into place, so no reader sees a half-written map.
    static const std::string path = [] {
        const std::string p = std::string(VORLANE_TEST_DATA_DIR) + "/generated_60.map";
        const std::string scratch = p + "." + std::to_string(getpid());
        if (mapgen::WriteMapFile(scratch, 60))
            std::rename(scratch.c_str(), p.c_str());
        return p;
    }();
    return path;
}

// Whole maps through either builder: leaves without children, inner nodes
// without faces, parents as the builder sets them, every input face's area
// found again over the leaves, and convex leaves from the set builder.
class WholeMapTest : public BuildTreeTest,
                     public ::testing::WithParamInterface<std::tuple<EBuilder, std::string>> {};

TEST_P(WholeMapTest, KeepsEveryFacesAreaInTheLeaves)
{
    const EBuilder builder = std::get<0>(GetParam());
    Parse(std::get<1>(GetParam()));
    // Each input face is marked by its place in the list; cutting and
    // copying carry TextureIndex along.
    std::map<int32_t, double> inputArea;
    int32_t serial = 0;
    for (CFaceEntry* pEntry : Entries()) {
        pEntry->Face.TextureIndex = serial;
        inputArea[serial++] = pEntry->Face.VertexCount > 2 ? FaceArea(pEntry->Face) : 0.0;
    }

    TreeGuard tree;
    std::vector<CPlane> planes;
    if (builder == EBuilder::List) {
        tree.pRoot = BuildTreeFromList(&Map);
    } else {
        CFaceSet set;
        ASSERT_TRUE(MakeFaceSetFromMap(&Map, &set));
        planes.assign(set.pPlanes, set.pPlanes + set.Count);
        for (int32_t i = 0; i < set.Count; ++i) {
            ASSERT_TRUE(set.pFaces[i].pPlane && SamePlane(*set.pFaces[i].pPlane, set.pPlanes[i]));
            EXPECT_EQ(set.pPlaneIndices[i], i);
        }
        tree.pRoot = BuildTreeFromSet(&set, nullptr);
        FreeFaceSet(&set);
    }
    ASSERT_NE(tree.pRoot, nullptr);

    std::map<int32_t, double> leafArea;
    for (const auto& [pNode, depth] : Walk(tree.pRoot)) {
        for (const CBuildNode* pChild : {pNode->pFront, pNode->pBack}) {
            if (pChild) {
                EXPECT_EQ(pChild->pParent, builder == EBuilder::Set ? pNode : nullptr);
            }
        }
        if (!pNode->IsLeaf()) {
            EXPECT_TRUE(pNode->FaceCount == 0 && !pNode->pPlaneIndices);
            continue;
        }
        EXPECT_TRUE(!pNode->pFront && !pNode->pBack);
        EXPECT_EQ(pNode->pPlaneIndices != nullptr, builder == EBuilder::Set);
        for (int32_t i = 0; i < pNode->FaceCount; ++i) {
            const CLeafFace& face = pNode->pFaces[i];
            ASSERT_GT(face.VertexCount, 2);
            ASSERT_TRUE(inputArea.count(face.TextureIndex));
            leafArea[face.TextureIndex] += FaceArea(face);
            if (builder == EBuilder::List)
                continue;
            // No vertex of the leaf lies beyond the band behind this face's
            // plane, and every plane record has served.
            EXPECT_EQ(face.pPlane, nullptr);
            const CPlane& plane = planes.at(pNode->pPlaneIndices[i]);
            for (int32_t j = 0; pNode->FaceCount > 1 && j < pNode->FaceCount; ++j) {
                for (int32_t v = 0; v < pNode->pFaces[j].VertexCount; ++v) {
                    EXPECT_GE(static_cast<float>(
                                  plane.DistanceTo(pNode->pFaces[j].pVertices[v].Position)),
                              -PLANE_EPSILON);
                }
            }
        }
    }
    // Faces on a splitter go whole to one side; cuts change areas only by
    // rounding.
    for (const auto& [mark, area] : inputArea)
        EXPECT_NEAR(leafArea[mark], area, 1e-5 * area + 0.05) << "face " << mark;
}

INSTANTIATE_TEST_SUITE_P(
    BothBuilders, WholeMapTest,
    ::testing::Combine(::testing::Values(EBuilder::List, EBuilder::Set),
                       ::testing::Values(Fixture("cube.map"), Fixture("room6.map"),
                                         GeneratedMapPath(), SharedMap("q1_cubes.map"),
                                         SharedMap("qbsp_simple_sealed.map"),
                                         SharedMap("qbsp_simple_sealed2.map"),
                                         SharedMap("qbsp_angled_brush.map"),
                                         SharedMap("hl_currents.map"))),
    [](const ::testing::TestParamInfo<WholeMapTest::ParamType>& info) {
        std::string name = std::get<0>(info.param) == EBuilder::List ? "List_" : "Set_";
        const std::string& path = std::get<1>(info.param);
        for (char c : path.substr(path.find_last_of('/') + 1))
            name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        return name;
    });

struct CDeepRun {
    EBuilder Builder;
    int32_t Faces;
    int Depth = 0;
};

// Builds a chain as deep as there are faces: parallel planes of their own
// for the list builder, faces on one plane for the set builder.
void* RunDeepBuild(void* pArgument)
{
    CDeepRun& run = *static_cast<CDeepRun*>(pArgument);
    CBuildNode* pRoot = nullptr;
    if (run.Builder == EBuilder::List) {
        CMapData map;
        std::deque<CPlaneNode> nodes(run.Faces);
        for (int32_t i = 0; i < run.Faces; ++i) {
            CLeafFace face = MakeSquare(CVector(static_cast<float>(i), 0, 0), CVector(1, 0, 0), 4);
            nodes[i].Plane = PlaneOf(face);
            AddFaceEntry(&map.pFaces, face)->pPlaneNode = &nodes[i];
            ++map.FaceCount;
            FreeFace(&face);
        }
        pRoot = BuildTreeFromList(&map);
        FreeFaceEntries(&map.pFaces);
    } else {
        OwnedSet set(run.Faces);
        for (int32_t i = 0; i < run.Faces; ++i)
            set.Add(MakeSquare(CVector(0, 0, 10.0f * static_cast<float>(i)), CVector(1, 0, 0), 4),
                    i);
        pRoot = BuildTreeFromSet(&set.Set, nullptr);
    }
    for (const auto& item : Walk(pRoot))
        run.Depth = std::max(run.Depth, item.second);
    FreeTree(&pRoot);
    return nullptr;
}

TEST(BuildDepth, DeepTreesNeedNoDeepStack)
{
    // A thread stack far smaller than these trees would need for recursion
    // of a hundred bytes a level.
    const size_t stackSize = 48 * 1024;
    for (CDeepRun run : {CDeepRun{EBuilder::List, 1000}, CDeepRun{EBuilder::Set, 600}}) {
        pthread_attr_t attr;
        pthread_attr_init(&attr);
        pthread_attr_setstacksize(&attr, stackSize);
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, &attr, RunDeepBuild, &run), 0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attr);
        EXPECT_GE(run.Depth, run.Faces);
        EXPECT_GT(static_cast<size_t>(run.Depth) * 100, stackSize);
    }
}

TEST(FreeTree, FreesWhatLaterStagesHangOnLeaves)
{
    FreeTree(nullptr);
    OwnedSet set(2);
    set.Add(MakeSquare(CVector(0, 0, 0), CVector(1, 0, 0), 4), 0);
    set.Add(MakeSquare(CVector(5, 0, 0), CVector(1, 0, 0), 4), 1);
    CBuildNode* pRoot = BuildTreeFromSet(&set.Set, nullptr);
    // The sanitizer build's leak check sees any array left behind.
    for (const auto& item : Walk(pRoot)) {
        if (item.first->IsLeaf()) {
            item.first->pPortals = new CPortal*[2]();
            item.first->pVisibleLeaves = new CBuildNode*[1]();
        }
    }
    FreeTree(&pRoot);
    EXPECT_EQ(pRoot, nullptr);
}

TEST_F(BuildTreeTest, GeneratedMapsKeepEverySideAndStartInTheOpen)
{
    for (int brushes : {1, 7, 60, 500}) {
        SCOPED_TRACE(brushes);
        const std::vector<mapgen::Brush> generated = mapgen::GenerateBrushes(brushes, 7);
        ASSERT_EQ(generated.size(), static_cast<size_t>(brushes));
        EXPECT_EQ(mapgen::GenerateMapText(brushes, 7), mapgen::GenerateMapText(brushes, 7));
        // With the points wound so that the parser's normals point out of
        // the solid, every side survives the clipping of its brush.
        size_t sides = 0;
        for (const mapgen::Brush& brush : generated)
            sides += brush.size();
        const std::string path = std::string(VORLANE_TEST_DATA_DIR) + "/generated_check.map";
        ASSERT_TRUE(mapgen::WriteMapFile(path, brushes, 7));
        Parse(path);
        ASSERT_EQ(static_cast<size_t>(Map.FaceCount), sides);
        for (const CFaceEntry* pEntry : Entries())
            EXPECT_GE(pEntry->Face.VertexCount, 3);
        FreeMapData(&Map);
        // The start lies outside every brush.
        const mapgen::Vec3 start = mapgen::StartLocation(brushes);
        for (const mapgen::Brush& brush : generated) {
            EXPECT_TRUE(std::any_of(brush.begin(), brush.end(), [&](const mapgen::Side& side) {
                return mapgen::Dot(start - side.Point, side.Outward) > 0;
            }));
        }
    }
}

} // namespace
