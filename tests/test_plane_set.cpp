#include "compiler/plane_set.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

CPlane Plane(float nx, float ny, float nz, float distance)
{
    CPlane plane;
    plane.Distance = distance;
    plane.Normal = CVector(nx, ny, nz);
    return plane;
}

using Keyed = std::vector<std::pair<float, float>>;

// The unique planes' distances and normals' x, in order.
Keyed Unique(const std::vector<CPlane>& planes)
{
    CPlane* pUnique = nullptr;
    int32_t count = -1;
    MakeUniquePlanes(planes.data(), static_cast<int32_t>(planes.size()), &pUnique, &count);
    Keyed keys;
    for (int32_t i = 0; i < count; ++i)
        keys.push_back({pUnique[i].Distance, pUnique[i].Normal.x});
    delete[] pUnique;
    return keys;
}

// A leaf of the set builder's kind: one triangle per plane index given, its
// TextureIndex the index.
CBuildNode* Leaf(std::vector<int32_t> indices, bool bVisited)
{
    CBuildNode* pLeaf = new CBuildNode();
    pLeaf->FaceCount = static_cast<int32_t>(indices.size());
    pLeaf->pFaces = new CLeafFace[indices.size()];
    pLeaf->pPlaneIndices = new int32_t[indices.size()];
    for (size_t i = 0; i < indices.size(); ++i) {
        CLeafFace& face = pLeaf->pFaces[i];
        face.VertexCount = 3; // a face without vertices would be copied without its index
        face.pVertices = new CVertex[3];
        face.TextureIndex = indices[i];
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

// The source set: its plane i lies at distance 10 i.
struct CSource {
    CFaceSet Set;
    explicit CSource(int32_t count)
    {
        Set.Count = count;
        Set.pPlanes = new CPlane[count];
        for (int32_t i = 0; i < count; ++i)
            Set.pPlanes[i] = Plane(0, 1, 0, float(10 * i));
    }
    ~CSource() { FreeFaceSet(&Set); }
};

// The plane indices of a flattened set, then frees it.
std::vector<int32_t> TakeIndices(CFaceSet*& pSet)
{
    std::vector<int32_t> indices;
    for (int32_t i = 0; i < pSet->Count; ++i) {
        EXPECT_EQ(pSet->pFaces[i].TextureIndex, pSet->pPlaneIndices[i]);
        indices.push_back(pSet->pPlaneIndices[i]);
    }
    FreeFaceSet(pSet);
    delete pSet;
    pSet = nullptr;
    return indices;
}

} // namespace

struct CUniqueCase {
    const char* pszName;
    std::vector<CPlane> Input;
    Keyed Expected;
};

class UniquePlanes : public ::testing::TestWithParam<CUniqueCase> {};

// Planes within 0.2 of the pivot (the plane at count / 2), both ends
// included, form the middle group; there, a later plane whose normal is an
// earlier one's within 0.001 per component is dropped and the group's last
// plane moves into its place. The result is below, middle, above.
TEST_P(UniquePlanes, MergeWithinTheBandAboutThePivot)
{
    EXPECT_EQ(Unique(GetParam().Input), GetParam().Expected);
}

const CPlane A = Plane(0, 1, 0, 10.0f);
const CPlane B = Plane(0, 1, 0, 10.1f);
const CPlane C = Plane(0, 1, 0, 10.3f);

INSTANTIATE_TEST_SUITE_P(
    Cases, UniquePlanes,
    ::testing::Values(
        CUniqueCase{"one", {A}, {{10.0f, 0}}},
        CUniqueCase{"near_the_lower_stays", {A, B}, {{10.0f, 0}}},
        CUniqueCase{"near_the_earlier_stays", {B, A}, {{10.1f, 0}}},
        CUniqueCase{"apart_pivot_second", {A, C}, {{10.0f, 0}, {10.3f, 0}}},
        CUniqueCase{"apart_pivot_first", {C, A}, {{10.0f, 0}, {10.3f, 0}}},
        // Nearly 0.4 apart with the pivot between them: one.
        CUniqueCase{
            "pivot_between", {Plane(0, 1, 0, 9.8f), A, Plane(0, 1, 0, 10.19f)}, {{9.8f, 0}}},
        // 0.2 below the pivot 0 is still in its band.
        CUniqueCase{"band_closed", {Plane(0, 1, 0, -0.2f), Plane(0, 1, 0, 0)}, {{-0.2f, 0}}},
        CUniqueCase{
            "opposite_normals_stay", {Plane(1, 0, 0, 0), Plane(-1, 0, 0, 0)}, {{0, 1}, {0, -1}}},
        CUniqueCase{"normal_within_0_001", {Plane(0, 1, 0, 4), Plane(0.0009f, 1, 0, 4)}, {{4, 0}}},
        CUniqueCase{"normal_beyond_0_001",
                    {Plane(0, 1, 0, 4), Plane(0.0015f, 1, 0, 4)},
                    {{4, 0}, {4, 0.0015f}}},
        // The second 1 goes, the last plane (-1) takes its place.
        CUniqueCase{"last_moves_forward",
                    {Plane(1, 0, 0, 3), Plane(0.5f, 0, 0, 3), Plane(1, 0, 0, 3),
                     Plane(0.2f, 0, 0, 3), Plane(-1, 0, 0, 3)},
                    {{3, 1}, {3, 0.5f}, {3, -1}, {3, 0.2f}}}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST(MakeUniquePlanes, NothingInGivesNothingOut)
{
    CPlane old;
    CPlane* pUnique = &old;
    int32_t count = 7;
    MakeUniquePlanes(nullptr, 3, &pUnique, &count);
    EXPECT_EQ(pUnique, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(Unique(std::vector<CPlane>(500, Plane(0.6f, 0.8f, 0, -12.5f))).size(), 1u);
}

TEST(FlattenTree, CollectsFloodedLeavesFrontFirst)
{
    CSource source(6);
    // Front: a reached leaf [2, 3] and an unreached [4]; back: an inner node
    // with only a front child, the reached leaf [5, 0].
    CBuildNode* pRoot =
        Inner(Inner(Leaf({2, 3}, true), Leaf({4}, false)), Inner(Leaf({5, 0}, true), nullptr));
    CFaceSet* pSet = nullptr;
    ASSERT_TRUE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(pSet->pPlanes[2].Distance, 50.0f);
    EXPECT_EQ(TakeIndices(pSet), (std::vector<int32_t>{2, 3, 5, 0}));
    // A reached leaf whose plane index points outside the source fails.
    pRoot->pFront->pFront->pPlaneIndices[1] = 6;
    EXPECT_FALSE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(pSet, nullptr);
    FreeTree(&pRoot);
}

TEST(FlattenTree, AnInnerNodeAboveNoFloodedFaceGivesFalse)
{
    CSource source(3);
    CFaceSet* pSet = nullptr;
    EXPECT_FALSE(FlattenTree(nullptr, &source.Set, &pSet));
    // A leaf alone gives true and an empty set, reached or not.
    CBuildNode* pLeaf = Leaf({1}, false);
    ASSERT_TRUE(FlattenTree(pLeaf, &source.Set, &pSet));
    EXPECT_TRUE(TakeIndices(pSet).empty());
    FreeTree(&pLeaf);

    CBuildNode* pRoot = Inner(Leaf({0, 1}, false), Inner(nullptr, Leaf({2}, false)));
    EXPECT_FALSE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(pSet, nullptr);
    // One reached face anywhere is enough.
    pRoot->pBack->pBack->bVisited = true;
    ASSERT_TRUE(FlattenTree(pRoot, &source.Set, &pSet));
    EXPECT_EQ(TakeIndices(pSet), (std::vector<int32_t>{2}));
    FreeTree(&pRoot);
}
