#include "compiler/portal.h"

#include "compiler/build_tree.h"
#include "compiler/map_parser.h"
#include "compiler/map_tables.h"
#include "compiler/plane_set.h"
#include "frame/error.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace {

// A square of half-side h round centre, facing an axis normal.
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

// Lowest and highest coordinate of a winding along an axis (0 x, 1 y, 2 z).
std::pair<float, float> Extent(const CLeafFace& face, int axis)
{
    std::pair<float, float> range(std::numeric_limits<float>::infinity(),
                                  -std::numeric_limits<float>::infinity());
    for (int32_t i = 0; i < face.VertexCount; ++i) {
        const CVector& p = face.pVertices[i].Position;
        const float c = axis == 0 ? p.x : axis == 1 ? p.y : p.z;
        range = {std::min(range.first, c), std::max(range.second, c)};
    }
    return range;
}

// Four leaves in a 2 by 2 grid: the root splits on x = 0, each side on z = 0.
// Leaves keep the all-zero plane of the list builder and hold one small
// square each, on y = 5 in the middle of their quarter.
struct GridTree {
    CBuildNode* pRoot;
    CBuildNode *pA1, *pA2, *pB1, *pB2; // A: x > 0, B: x < 0; 1: z > 0, 2: z < 0

    static CBuildNode* Node(CBuildNode* pParent, const CPlane& plane = CPlane())
    {
        CBuildNode* pNode = new CBuildNode();
        pNode->Plane = plane;
        pNode->pParent = pParent;
        return pNode;
    }
    static CBuildNode* Leaf(CBuildNode* pParent, float x, float z)
    {
        CBuildNode* pLeaf = Node(pParent);
        pLeaf->FaceCount = 1;
        pLeaf->pFaces = new CLeafFace[1];
        pLeaf->pFaces[0] = MakeSquare(CVector(x, 5, z), CVector(0, 1, 0), 2);
        return pLeaf;
    }
    GridTree()
    {
        const CPlane z(CVector(0, 0, 1), 0.0f);
        pRoot = Node(nullptr, CPlane(CVector(1, 0, 0), 0.0f));
        CBuildNode* pA = pRoot->pFront = Node(pRoot, z);
        CBuildNode* pB = pRoot->pBack = Node(pRoot, z);
        pA->pFront = pA1 = Leaf(pA, 50, 50);
        pA->pBack = pA2 = Leaf(pA, 50, -50);
        pB->pFront = pB1 = Leaf(pB, -50, 50);
        pB->pBack = pB2 = Leaf(pB, -50, -50);
    }
    ~GridTree() { FreeTree(&pRoot); }
};

// Frees the portals; declared after the tree, it runs before FreeTree.
struct PortalGuard {
    CPortal* pPortals = nullptr;
    int32_t Count = 0;
    ~PortalGuard() { FreePortals(&pPortals, Count); }
};

} // namespace

TEST(FaceCoversPortal, OnlyAWallOverTheWholeFragmentCoversIt)
{
    CPortal portal;
    portal.Winding = MakeSquare(CVector(0, 0, 0), CVector(0, 0, 1), 10);
    const CVector up(0, 0, 1);
    CLeafFace turned = MakeSquare(CVector(0, 0, 0), up, 20);
    std::swap(turned.pVertices[1], turned.pVertices[3]); // wound the other way
    CLeafFace repeated = MakeSquare(CVector(0, 0, 0), up, 20);
    repeated.pVertices[1].Position = repeated.pVertices[0].Position + CVector(0.0005f, 0, 0);

    const std::pair<CLeafFace, bool> cases[] = {
        {MakeSquare(CVector(0, 0, 0), up, 20), true},
        {turned, true},
        {MakeSquare(CVector(0, 0, 0), up, 9.85f), true}, // edges 0.15 short: in the band
        {MakeSquare(CVector(0, 0, 0), up, 9.7f), false},
        {MakeSquare(CVector(10, 0, 0), up, 10), false}, // over half of it
        {MakeSquare(CVector(0, 0, 0.1f), up, 20), true},
        {MakeSquare(CVector(0, 0, 0.5f), up, 20), false},
        {MakeSquare(CVector(0, 0, 0), CVector(1, 0, 0), 20), false},
        {repeated, false}, // two of the first three vertices equal
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        CLeafFace face = cases[i].first;
        EXPECT_EQ(FaceCoversPortal(&portal, &face), cases[i].second) << i;
        face.VertexCount = 2;
        EXPECT_FALSE(FaceCoversPortal(&portal, &face)) << i;
        FreeFace(&face);
    }
    FreeFace(&portal.Winding);
}

TEST(AssignPortal, LeavesAreFoundBackFirstAndCoveringWallsBlock)
{
    GridTree tree;
    CPortal portal;
    auto assign = [&](const CLeafFace& winding) {
        FreeFace(&portal.Winding);
        portal.Winding = winding;
        ResetPortal(&portal);
        AssignPortal(tree.pRoot, &portal);
    };
    // On the root's plane, z > 0: the back side's leaf first.
    assign(MakeSquare(CVector(0, 0, 50), CVector(1, 0, 0), 10));
    ASSERT_EQ(portal.NodeCount, 2);
    EXPECT_TRUE(portal.pNodes[0] == tree.pB1 && portal.pNodes[1] == tree.pA1);
    EXPECT_FALSE(portal.bBlocked);
    // On both splitters: four leaves touch it, the first two found stay.
    assign(MakeSquare(CVector(0, 0, 0), CVector(1, 0, 0), 0.1f));
    ASSERT_EQ(portal.NodeCount, 2);
    EXPECT_TRUE(portal.pNodes[0] == tree.pB2 && portal.pNodes[1] == tree.pB1);
    // Spanning z = 0 below the root: no leaf at all.
    assign(MakeSquare(CVector(0, 0, 0), CVector(1, 0, 0), 10));
    EXPECT_EQ(portal.NodeCount, 0);

    // A wall in A1 over part of the fragment lets it through; one over the
    // whole of it blocks it and keeps A1 out.
    FreeFace(&tree.pA1->pFaces[0]);
    tree.pA1->pFaces[0] = MakeSquare(CVector(0, 0, 45), CVector(1, 0, 0), 10);
    assign(MakeSquare(CVector(0, 0, 50), CVector(1, 0, 0), 10));
    EXPECT_EQ(portal.NodeCount, 2);
    EXPECT_FALSE(portal.bBlocked);
    FreeFace(&tree.pA1->pFaces[0]);
    tree.pA1->pFaces[0] = MakeSquare(CVector(0, 0, 50), CVector(-1, 0, 0), 12);
    assign(MakeSquare(CVector(0, 0, 50), CVector(1, 0, 0), 10));
    EXPECT_EQ(portal.NodeCount, 1);
    EXPECT_EQ(portal.pNodes[0], tree.pB1);
    EXPECT_TRUE(portal.bBlocked);
    FreeFace(&portal.Winding);
}

TEST(SplitThroughTree, AFragmentOnASplitterIsCutByBothSubtrees)
{
    // The front side splits on z = 20 instead: a square on x = 0 is cut at
    // z = 0 behind the root, then at z = 20 in front of it, front results
    // first, and its pieces find leaves on both sides.
    GridTree tree;
    tree.pRoot->pFront->Plane = CPlane(CVector(0, 0, 1), -20.0f);
    CLeafFace* pFaces = new CLeafFace[1];
    pFaces[0] = MakeSquare(CVector(0, 0, 0), CVector(1, 0, 0), 100);
    ASSERT_EQ(SplitThroughTree(&pFaces, 1, tree.pRoot), 3);
    const std::pair<float, float> ranges[3] = {{20, 100}, {0, 20}, {-100, 0}};
    const CBuildNode* leaves[3][2] = {
        {tree.pB1, tree.pA1}, {tree.pB1, tree.pA2}, {tree.pB2, tree.pA2}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Extent(pFaces[i], 2), ranges[i]) << i;
        CPortal portal;
        portal.Winding = pFaces[i];
        AssignPortal(tree.pRoot, &portal);
        EXPECT_TRUE(portal.pNodes[0] == leaves[i][0] && portal.pNodes[1] == leaves[i][1]) << i;
        FreeFace(&pFaces[i]);
    }
    delete[] pFaces;
}

// Planes x = 0 and z = 0 on the grid: each orientation gives two portals,
// every plane's block stands before the blocks of the planes before it.
TEST(BuildPortals, ArrayOrderLinksAndFreeing)
{
    GridTree tree;
    PortalGuard portals;
    EXPECT_EQ(BuildPortals(nullptr, 0, tree.pRoot, &portals.pPortals), 0);
    EXPECT_EQ(portals.pPortals, nullptr);

    const CPlane planes[] = {CPlane(CVector(1, 0, 0), 0.0f), CPlane(CVector(0, 0, 1), 0.0f)};
    portals.Count = BuildPortals(planes, 2, tree.pRoot, &portals.pPortals);
    ASSERT_EQ(portals.Count, 8);
    const struct {
        float nx, nz;
        CBuildNode *pFirst, *pSecond;
    } expected[8] = {
        {0, 1, tree.pA2, tree.pA1},  {0, 1, tree.pB2, tree.pB1},  {0, -1, tree.pA2, tree.pA1},
        {0, -1, tree.pB2, tree.pB1}, {1, 0, tree.pB1, tree.pA1},  {1, 0, tree.pB2, tree.pA2},
        {-1, 0, tree.pB1, tree.pA1}, {-1, 0, tree.pB2, tree.pA2},
    };
    for (int i = 0; i < 8; ++i) {
        const CPortal& portal = portals.pPortals[i];
        EXPECT_TRUE(portal.Plane.Normal.x == expected[i].nx &&
                    portal.Plane.Normal.z == expected[i].nz && portal.Plane.Distance == 0)
            << i;
        EXPECT_TRUE(portal.pNodes[0] == expected[i].pFirst &&
                    portal.pNodes[1] == expected[i].pSecond)
            << i;
        EXPECT_FALSE(portal.bBlocked);
        EXPECT_EQ(portal.Winding.pVertices[0].Colour, MakeARGB(1, 1, 1, 0.15f));
    }
    // Each leaf links its portals in array order, as first or second leaf.
    const std::pair<CBuildNode*, std::vector<int>> links[] = {{tree.pA1, {0, 2, 4, 6}},
                                                              {tree.pA2, {0, 2, 5, 7}},
                                                              {tree.pB1, {1, 3, 4, 6}},
                                                              {tree.pB2, {1, 3, 5, 7}}};
    for (const auto& [pLeaf, indices] : links) {
        ASSERT_EQ(pLeaf->PortalCount, 4);
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(pLeaf->pPortals[j], &portals.pPortals[indices[j]]);
    }

    // Freeing nulls every link to the portals; the counts stay.
    FreePortals(&portals.pPortals, portals.Count);
    EXPECT_EQ(portals.pPortals, nullptr);
    for (const auto& [pLeaf, indices] : links) {
        ASSERT_EQ(pLeaf->PortalCount, 4);
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(pLeaf->pPortals[j], nullptr);
    }
}

// A plane 0.1 from x = 0 makes the same connections again: its portals,
// newer, are linked, the older ones stay blocked and unlinked.
TEST(BuildPortals, SecondPortalOfAConnectionStaysBlocked)
{
    GridTree tree;
    const CPlane planes[] = {CPlane(CVector(1, 0, 0), 0.0f), CPlane(CVector(0, 0, 1), 0.0f),
                             CPlane(CVector(1, 0, 0), -0.1f)};
    PortalGuard portals;
    portals.Count = BuildPortals(planes, 3, tree.pRoot, &portals.pPortals);
    ASSERT_EQ(portals.Count, 12);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(portals.pPortals[i].bBlocked, i >= 8) << i;
    for (CBuildNode* pLeaf : {tree.pA1, tree.pA2, tree.pB1, tree.pB2}) {
        ASSERT_EQ(pLeaf->PortalCount, 4);
        for (int j = 0; j < 4; ++j)
            EXPECT_LT(pLeaf->pPortals[j] - portals.pPortals, 8);
    }
}

TEST(RecutPortals, WindingsAreCutBackTowardsTheirLeaves)
{
    GridTree tree;
    const CPlane planes[] = {CPlane(CVector(1, 0, 0), 0.0f), CPlane(CVector(0, 0, 1), 0.0f)};
    PortalGuard portals;
    portals.Count = BuildPortals(planes, 2, tree.pRoot, &portals.pPortals);
    ASSERT_EQ(portals.Count, 8);
    portals.pPortals[5].bBlocked = true;
    RecutPortals(portals.pPortals, portals.Count);
    // Portal 4 joins B1 and A1 on x = 0: the z = 0 nodes above both leaves
    // keep the half towards the leaves' centres, the root's plane cuts nothing.
    const CLeafFace& winding = portals.pPortals[4].Winding;
    EXPECT_EQ(Extent(winding, 1), std::make_pair(-PORTAL_BASE_SIZE, PORTAL_BASE_SIZE));
    EXPECT_EQ(Extent(winding, 2), std::make_pair(0.0f, PORTAL_BASE_SIZE));
    EXPECT_EQ(portals.pPortals[5].Winding.pVertices, nullptr);
}

TEST(MakePortals2, PlanesCutTheBasePolygonIntoCells)
{
    const CPlane plane(CVector(0, 1, 0), 0.0f);
    // The second plane lies in the band of the first portal and is skipped.
    const CPlane cuts[] = {CPlane(CVector(1, 0, 0), 0.0f), CPlane(CVector(0, 1, 0), -0.1f),
                           CPlane(CVector(0, 0, 1), 0.0f)};
    PortalGuard portals;
    portals.Count = MakePortals2(&plane, cuts, 3, &portals.pPortals);
    ASSERT_EQ(portals.Count, 4);
    // The part pushed last comes first: back before front, last portal first.
    const float s = PORTAL_BASE_SIZE;
    const float lows[4][2] = {{0, -s}, {0, 0}, {-s, -s}, {-s, 0}};
    for (int i = 0; i < 4; ++i) {
        const CPortal& portal = portals.pPortals[i];
        EXPECT_EQ(Extent(portal.Winding, 0).first, lows[i][0]) << i;
        EXPECT_EQ(Extent(portal.Winding, 2).first, lows[i][1]) << i;
        EXPECT_EQ(portal.Plane.Normal.y, 1.0f);
        EXPECT_EQ(portal.Winding.pVertices[0].Colour, MakeARGB(1, 1, 1, 0.15f));
    }

    // An infinite normal component makes the crossings NaN, and the next cut
    // then keeps no part of more than two vertices.
    CPlane infinite;
    infinite.Normal = CVector(std::numeric_limits<float>::infinity(), 0, 0);
    const CPlane lossy[] = {infinite, CPlane(CVector(0, 1, 0), 0.0f)};
    const CPlane floor(CVector(0, 0, 1), 0.0f);
    CPortal* pLost = nullptr;
    try {
        MakePortals2(&floor, lossy, 2, &pLost);
        ADD_FAILURE() << "no CError thrown";
    } catch (const CError& error) {
        EXPECT_STREQ(error.GetMessage(), "Lost all faces.");
    }
    EXPECT_EQ(pLost, nullptr);
}

// A map text built into a tree by one builder, with the plane array that the
// driver of that builder gives the portal stage.
struct BuiltMap {
    CMapData Map;
    CFaceSet Set;
    std::vector<CPlane> Planes;
    CBuildNode* pRoot = nullptr;

    BuiltMap(const std::string& path, bool bSetBuilder)
    {
        if (!ParseMapFile(path.c_str(), &Map))
            return;
        if (bSetBuilder) {
            MakeFaceSetFromMap(&Map, &Set);
            pRoot = BuildTreeFromSet(&Set, nullptr);
            CPlane* pUnique = nullptr;
            int32_t count = 0;
            MakeUniquePlanes(Set.pPlanes, Set.Count, &pUnique, &count);
            Planes.assign(pUnique, pUnique + count);
            delete[] pUnique;
        } else {
            pRoot = BuildTreeFromList(&Map);
            int32_t count = 0;
            NumberPlanes(Map.pPlanes, &count);
            Planes.resize(count);
            CopyPlanes(Planes.data(), Map.pPlanes);
        }
    }
    ~BuiltMap()
    {
        FreeTree(&pRoot);
        FreeFaceSet(&Set);
        FreeMapData(&Map);
    }
};

// MakeAllPortals the slow way: each oriented plane through MakePlanePortals
// and AssignPortals, its fragments with two leaves kept, newest plane first.
std::vector<CPortal> PlaneByPlanePortals(const std::vector<CPlane>& planes, CBuildNode* pRoot)
{
    std::vector<CPortal> all;
    for (size_t i = 0; i < 2 * planes.size(); ++i) {
        const CPlane plane = i % 2 == 0 ? -planes[i / 2] : planes[i / 2];
        CPortal* pNew = nullptr;
        const int32_t count = MakePlanePortals(&plane, pRoot, &pNew);
        AssignPortals(pRoot, pNew, count);
        std::vector<CPortal> kept;
        for (int32_t j = 0; j < count; ++j) {
            if (pNew[j].NodeCount == 2)
                kept.push_back(pNew[j]);
            else
                FreeFace(&pNew[j].Winding);
        }
        delete[] pNew;
        all.insert(all.begin(), kept.begin(), kept.end());
    }
    return all;
}

bool SamePortal(const CPortal& a, const CPortal& b)
{
    return std::memcmp(&a.Plane, &b.Plane, sizeof(CPlane)) == 0 &&
           a.Winding.VertexCount == b.Winding.VertexCount &&
           std::memcmp(a.Winding.pVertices, b.Winding.pVertices,
                       sizeof(CVertex) * a.Winding.VertexCount) == 0 &&
           a.pNodes[0] == b.pNodes[0] && a.pNodes[1] == b.pNodes[1] &&
           a.NodeCount == b.NodeCount && a.bBlocked == b.bBlocked;
}

// MakeAllPortals with 1 and with 3 threads, each compared with the plane by
// plane way to the bit; the portals of the last run stay in *pPortals.
void ExpectPlaneByPlaneResult(const std::vector<CPlane>& planes, CBuildNode* pRoot,
                              PortalGuard* pPortals)
{
    std::vector<CPortal> expected = PlaneByPlanePortals(planes, pRoot);
    for (const int32_t threads : {1, 3}) {
        FreePortals(&pPortals->pPortals, pPortals->Count);
        pPortals->Count = MakeAllPortals(planes.data(), int32_t(planes.size()), pRoot,
                                         &pPortals->pPortals, {threads, nullptr});
        EXPECT_EQ(size_t(pPortals->Count), expected.size());
        for (int32_t i = 0; i < pPortals->Count && size_t(i) < expected.size(); ++i)
            EXPECT_TRUE(SamePortal(pPortals->pPortals[i], expected[size_t(i)])) << i;
    }
    for (CPortal& portal : expected)
        FreeFace(&portal.Winding);
}

// The base square of y = 0 is cut at x = 0 behind the root, whose plane it
// lies on, into [x > 0, x < 0]; that array goes through the front child C,
// whose plane is tilted so that the first fragment lies off it and the second
// in its band. The first goes to the front, the second whole to both sides,
// and each finds a leaf on either side of the root.
TEST(MakeAllPortals, AFragmentInTheBandOfAPlaneThatItsArrayIsCutByGoesToBothSides)
{
    CBuildNode* pRoot = GridTree::Node(nullptr, CPlane(CVector(0, 1, 0), 0.0f));
    CBuildNode* pB = pRoot->pBack = GridTree::Node(pRoot, CPlane(CVector(1, 0, 0), 0.0f));
    CBuildNode* pC = pRoot->pFront = GridTree::Node(pRoot, CPlane(CVector(3e-5f, 1, 0), 0.1f));
    CBuildNode* pL1 = pB->pFront = GridTree::Leaf(pB, 50, 50);
    CBuildNode* pL2 = pB->pBack = GridTree::Leaf(pB, -50, 50);
    CBuildNode* pL3 = pC->pFront = GridTree::Leaf(pC, 50, -50);
    CBuildNode* pL4 = pC->pBack = GridTree::Leaf(pC, -50, -50);
    {
        PortalGuard portals;
        ExpectPlaneByPlaneResult({CPlane(CVector(0, 1, 0), 0.0f)}, pRoot, &portals);
        ASSERT_EQ(portals.Count, 6);
        const CBuildNode* leaves[3][2] = {{pL1, pL3}, {pL2, pL4}, {pL2, pL4}};
        for (int32_t i = 0; i < 6; ++i) {
            const CPortal& portal = portals.pPortals[i];
            EXPECT_TRUE(portal.pNodes[0] == leaves[i % 3][0] && portal.pNodes[1] == leaves[i % 3][1])
                << i;
            EXPECT_EQ(Extent(portal.Winding, 0).first, i % 3 == 0 ? 0 : -PORTAL_BASE_SIZE) << i;
        }
    }
    FreeTree(&pRoot);
}

// A strip of y = 0 between x = 0 and x = 0.3, cut off by the tilted root
// (normal 0.6, 0.8, 0) and the plane x = 0.3 in front of it, lies within 0.18
// of the root's plane. Its leaf search goes both ways there and finds the
// root's back leaf and the strip's own: the strip is a portal, though it
// never lay on a plane that the descent took it through.
TEST(MakeAllPortals, AStripInTheBandOfATiltedSplitterJoinsTheLeavesOnBothSides)
{
    CBuildNode* pRoot = GridTree::Node(nullptr, CPlane(CVector(0.6f, 0.8f, 0), 0.0f));
    CBuildNode* pY = pRoot->pFront = GridTree::Node(pRoot, CPlane(CVector(1, 0, 0), -0.3f));
    CBuildNode* pBehind = pRoot->pBack = GridTree::Leaf(pRoot, -50, 50);
    pY->pFront = GridTree::Leaf(pY, 50, 50);
    CBuildNode* pStrip = pY->pBack = GridTree::Leaf(pY, 50, -50);
    {
        PortalGuard portals;
        ExpectPlaneByPlaneResult({CPlane(CVector(0, 1, 0), 0.0f)}, pRoot, &portals);
        ASSERT_EQ(portals.Count, 2);
        for (int32_t i = 0; i < 2; ++i) {
            const CPortal& portal = portals.pPortals[i];
            EXPECT_TRUE(portal.pNodes[0] == pBehind && portal.pNodes[1] == pStrip) << i;
            EXPECT_EQ(Extent(portal.Winding, 0).first, 0.0f) << i;
            // Within the rounding of a coordinate near PORTAL_BASE_SIZE.
            EXPECT_NEAR(Extent(portal.Winding, 0).second, 0.3f, 5e-4f) << i;
        }
    }
    FreeTree(&pRoot);
}

class PortalsOfMaps : public testing::TestWithParam<std::tuple<std::string, bool>> {};

TEST_P(PortalsOfMaps, MakeAllPortalsEqualsThePlaneByPlaneWayToTheBit)
{
    const auto& [path, bSetBuilder] = GetParam();
    BuiltMap built(path, bSetBuilder);
    ASSERT_NE(built.pRoot, nullptr);
    PortalGuard portals;
    ExpectPlaneByPlaneResult(built.Planes, built.pRoot, &portals);
}

INSTANTIATE_TEST_SUITE_P(
    Maps, PortalsOfMaps,
    testing::Combine(testing::Values(Fixture("room6.map"), SharedMap("qbsp_simple_sealed2.map"),
                                     SharedMap("qbsp_angled_brush.map"),
                                     SharedMap("hl_currents.map"),
                                     std::string(VORLANE_DATA_MAPS_DIR) + "/level.map"),
                     testing::Bool()));
