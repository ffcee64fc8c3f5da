#include "compiler/plane_set.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

CPlane Plane(float nx, float ny, float nz, float distance)
{
    CPlane plane;
    plane.Distance = distance;
    plane.Normal = CVector(nx, ny, nz);
    return plane;
}

std::vector<CPlane> Unique(const std::vector<CPlane>& planes)
{
    CPlane* pUnique = reinterpret_cast<CPlane*>(1); // must be overwritten
    int32_t count = -1;
    MakeUniquePlanes(planes.data(), static_cast<int32_t>(planes.size()), &pUnique, &count);
    std::vector<CPlane> result;
    if (pUnique)
        result.assign(pUnique, pUnique + count);
    delete[] pUnique;
    return result;
}

bool Same(const CPlane& a, const CPlane& b)
{
    return std::memcmp(&a, &b, sizeof(CPlane)) == 0;
}

// A leaf of the set builder's kind: one triangle per plane index given.
CBuildNode* Leaf(std::vector<int32_t> indices, bool bVisited)
{
    CBuildNode* pLeaf = new CBuildNode();
    pLeaf->FaceCount = static_cast<int32_t>(indices.size());
    pLeaf->pFaces = new CLeafFace[indices.size()];
    pLeaf->pPlaneIndices = new int32_t[indices.size()];
    for (size_t i = 0; i < indices.size(); ++i) {
        CLeafFace& face = pLeaf->pFaces[i];
        face.VertexCount = 3;
        face.pVertices = new CVertex[3];
        // The first vertex tells the faces apart.
        face.pVertices[0].Position = CVector(float(indices[i]), float(i), 0);
        face.pVertices[1].Position = CVector(1, 0, 0);
        face.pVertices[2].Position = CVector(0, 1, 0);
        face.TextureIndex = 100 + indices[i];
        pLeaf->pPlaneIndices[i] = indices[i];
    }
    pLeaf->bVisited = bVisited;
    return pLeaf;
}

CBuildNode* Inner(CBuildNode* pFront, CBuildNode* pBack)
{
    CBuildNode* pNode = new CBuildNode();
    pNode->pFront = pFront;
    pNode->pBack = pBack;
    return pNode;
}

// The source set: only its plane array matters to the flattening.
struct SourceSet {
    CFaceSet Set;
    explicit SourceSet(int32_t count)
    {
        Set.Count = count;
        Set.pPlanes = new CPlane[count];
        for (int32_t i = 0; i < count; ++i)
            Set.pPlanes[i] = Plane(0, 1, 0, float(10 * i));
    }
    ~SourceSet() { FreeFaceSet(&Set); }
};

void FreeSet(CFaceSet** ppSet)
{
    FreeFaceSet(*ppSet);
    delete *ppSet;
    *ppSet = nullptr;
}

} // namespace

TEST(MakeUniquePlanes, EmptyInputGivesNothing)
{
    CPlane one = Plane(0, 1, 0, 5);
    CPlane* pUnique = &one;
    int32_t count = 7;
    MakeUniquePlanes(nullptr, 3, &pUnique, &count);
    EXPECT_EQ(pUnique, nullptr);
    EXPECT_EQ(count, 0);
    pUnique = &one;
    MakeUniquePlanes(&one, 0, &pUnique, &count);
    EXPECT_EQ(pUnique, nullptr);
    EXPECT_EQ(count, 0);

    const std::vector<CPlane> result = Unique({one});
    ASSERT_EQ(result.size(), 1u);
    EXPECT_TRUE(Same(result[0], one));
}

// The band about the pivot: 0.1 apart merge, 0.3 apart stay two, whichever
// plane is the pivot (index count / 2 is the second of two).
TEST(MakeUniquePlanes, BandAboutThePivotDecidesMerging)
{
    const CPlane a = Plane(0, 1, 0, 10.0f);
    const CPlane b = Plane(0, 1, 0, 10.1f);
    const CPlane c = Plane(0, 1, 0, 10.3f);

    std::vector<CPlane> result = Unique({a, b});
    ASSERT_EQ(result.size(), 1u);
    EXPECT_TRUE(Same(result[0], a)) << "the lower position stays";
    result = Unique({b, a});
    ASSERT_EQ(result.size(), 1u);
    EXPECT_TRUE(Same(result[0], b));

    for (const auto& input : {std::vector<CPlane>{a, c}, std::vector<CPlane>{c, a}}) {
        result = Unique(input);
        ASSERT_EQ(result.size(), 2u);
        EXPECT_TRUE(Same(result[0], a)) << "sorted by distance";
        EXPECT_TRUE(Same(result[1], c));
    }

    // Nearly 0.4 apart with the pivot between them: both lie in its band and
    // merge.
    const CPlane low = Plane(0, 1, 0, 9.8f);
    const CPlane high = Plane(0, 1, 0, 10.19f);
    result = Unique({low, a, high});
    ASSERT_EQ(result.size(), 1u);
    EXPECT_TRUE(Same(result[0], low));
}

TEST(MakeUniquePlanes, NormalsDecideWithinTheBand)
{
    // Opposite orientations of one plane never merge, not even through the
    // origin, where their distances are equal.
    std::vector<CPlane> result = Unique({Plane(1, 0, 0, 0), Plane(-1, 0, 0, 0)});
    EXPECT_EQ(result.size(), 2u);
    result = Unique({Plane(0, 0, 1, 0.05f), Plane(0, 0, -1, -0.05f)});
    EXPECT_EQ(result.size(), 2u);

    // Normals within NORMAL_EPSILON per component count as equal.
    result = Unique({Plane(0, 1, 0, 4), Plane(0.0009f, 0.9999f, 0, 4)});
    EXPECT_EQ(result.size(), 1u);
    result = Unique({Plane(0, 1, 0, 4), Plane(0.0015f, 0.9999f, 0, 4)});
    EXPECT_EQ(result.size(), 2u);

    // Equal distances and different normals all stay; a removal moves the
    // last plane of the group into the hole.
    const CPlane n1 = Plane(1, 0, 0, 3);
    const CPlane n2 = Plane(0, 1, 0, 3);
    const CPlane n3 = Plane(0, 0, 1, 3);
    const CPlane n4 = Plane(-1, 0, 0, 3);
    result = Unique({n1, n2, n3, n4});
    ASSERT_EQ(result.size(), 4u);
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(Same(result[i], (std::vector<CPlane>{n1, n2, n3, n4})[i]));
    result = Unique({n1, n2, n1, n3, n4});
    ASSERT_EQ(result.size(), 4u);
    EXPECT_TRUE(Same(result[0], n1));
    EXPECT_TRUE(Same(result[1], n2));
    EXPECT_TRUE(Same(result[2], n4));
    EXPECT_TRUE(Same(result[3], n3));

    // All equal: one.
    result = Unique(std::vector<CPlane>(500, Plane(0.6f, 0.8f, 0, -12.5f)));
    EXPECT_EQ(result.size(), 1u);
}

// Distances laid out so that the middle plane of each group is its largest:
// the sort goes one level deeper per plane and must still come out sorted.
TEST(MakeUniquePlanes, DegeneratePivotsStillSort)
{
    const int count = 5000;
    // The groups shrink by their middle position each time, so the positions
    // taken form one interval [first, last) growing round the centre.
    std::vector<int> order(count);
    int first = count / 2;
    int last = count / 2;
    for (int value = count - 1; value >= 0; --value) {
        const int size = count - (last - first);
        const int index = size / 2;
        const int position = index < first ? index : index + (last - first);
        order[position] = value;
        if (position < first)
            first = position;
        else
            last = position + 1;
    }
    std::vector<CPlane> input;
    for (int i = 0; i < count; ++i)
        input.push_back(Plane(0, 1, 0, float(order[i])));
    const std::vector<CPlane> result = Unique(input);
    ASSERT_EQ(result.size(), size_t(count));
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(result[i].Distance, float(i));
}

TEST(FlattenTree, CollectsFloodedLeavesFrontFirst)
{
    SourceSet source(6);
    // root: front = inner(front leaf [2, 3] reached, back leaf [4] not),
    //       back  = inner with only a front child, leaf [5, 0] reached.
    CBuildNode* pRoot = Inner(Inner(Leaf({2, 3}, true), Leaf({4}, false)),
                              Inner(Leaf({5, 0}, true), nullptr));
    CFaceSet* pSet = nullptr;
    ASSERT_TRUE(FlattenTree(pRoot, &source.Set, &pSet));
    ASSERT_NE(pSet, nullptr);
    ASSERT_EQ(pSet->Count, 4);
    const int32_t expected[] = {2, 3, 5, 0};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(pSet->pPlaneIndices[i], expected[i]);
        EXPECT_TRUE(Same(pSet->pPlanes[i], source.Set.pPlanes[expected[i]]));
        EXPECT_EQ(pSet->pFaces[i].TextureIndex, 100 + expected[i]);
        EXPECT_EQ(pSet->pFaces[i].pVertices[0].Position.x, float(expected[i]));
    }
    // Deep copies: the tree's faces are not shared.
    EXPECT_NE(pSet->pFaces[0].pVertices, pRoot->pFront->pFront->pFaces[0].pVertices);
    FreeSet(&pSet);

    // A reached leaf whose plane index points outside the source fails.
    pRoot->pFront->pFront->pPlaneIndices[1] = 6;
    EXPECT_FALSE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(pSet, nullptr);
    FreeTree(&pRoot);
}

TEST(FlattenTree, TreeWithoutFloodedLeavesGivesFalse)
{
    SourceSet source(3);
    CFaceSet* pSet = reinterpret_cast<CFaceSet*>(1);
    EXPECT_FALSE(FlattenTree(nullptr, &source.Set, &pSet));
    EXPECT_EQ(pSet, nullptr);

    // A leaf alone gives an empty set and true, reached or not.
    CBuildNode* pLeaf = Leaf({1}, false);
    ASSERT_TRUE(FlattenTree(pLeaf, &source.Set, &pSet));
    ASSERT_NE(pSet, nullptr);
    EXPECT_EQ(pSet->Count, 0);
    FreeSet(&pSet);
    EXPECT_FALSE(FlattenTree(pLeaf, nullptr, &pSet));
    FreeTree(&pLeaf);

    // The first inner node above no reached face gives false.
    CBuildNode* pRoot = Inner(Leaf({0, 1}, false), Inner(nullptr, Leaf({2}, false)));
    EXPECT_FALSE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(pSet, nullptr);
    EXPECT_FALSE(FlattenTree(pRoot->pBack, &source.Set, &pSet));
    EXPECT_EQ(pSet, nullptr);

    // One reached face anywhere is enough.
    pRoot->pBack->pBack->bVisited = true;
    ASSERT_TRUE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(pSet->Count, 1);
    EXPECT_EQ(pSet->pPlaneIndices[0], 2);
    FreeSet(&pSet);
    FreeTree(&pRoot);
}

// A chain as deep as the set builder makes on long runs of one plane.
TEST(FlattenTree, DeepChainIsFlattened)
{
    SourceSet source(2);
    const int depth = 100000;
    CBuildNode* pRoot = Leaf({1}, true);
    for (int i = 0; i < depth; ++i)
        pRoot = Inner(i % 2 ? Leaf({0}, true) : nullptr, pRoot);
    CFaceSet* pSet = nullptr;
    ASSERT_TRUE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(pSet->Count, depth / 2 + 1);
    // Front first at every level: the deepest leaf comes last.
    EXPECT_EQ(pSet->pPlaneIndices[0], 0);
    EXPECT_EQ(pSet->pPlaneIndices[pSet->Count - 1], 1);
    FreeSet(&pSet);
    FreeTree(&pRoot);
}
