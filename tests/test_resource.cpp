// Named resources and their list: the name order, names and flags of one
// resource, and the list's lookups and walks.
#include "resources/resource.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> g_Log;

// Writes each call into the log under a label that outlives the name.
class CRecordingResource : public CResource {
public:
    explicit CRecordingResource(const char* pszName, bool bReplyIn = true)
        : sLabel(pszName), bReply(bReplyIn)
    {
        SetName(pszName);
    }
    ~CRecordingResource() override { g_Log.push_back("delete " + sLabel); }
    bool OnMessage(uintptr_t a, uintptr_t b, uintptr_t c) override
    {
        g_Log.push_back("msg " + sLabel + " " + std::to_string(a + b + c));
        return bReply;
    }
    void Update(CApplication*) override { g_Log.push_back("update " + sLabel); }
    void Draw(CApplication*) override { g_Log.push_back("draw " + sLabel); }
    void Release(CApplication* pApp) override
    {
        g_Log.push_back("release " + sLabel);
        CResource::Release(pApp);
    }
    std::string sLabel;
    bool bReply;
};

CResource Named(const char* pszName)
{
    CResource item;
    item.SetName(pszName);
    return item;
}

// a, b and whether a sorts after b; equal names sort after neither.
struct COrder {
    const char* pszA;
    const char* pszB;
    bool bGreater;
};
class NameOrder : public ::testing::TestWithParam<COrder> {};

TEST_P(NameOrder, BytesCompareAsSignedWithCaseAndProperPrefixesFirst)
{
    const CResource a = Named(GetParam().pszA), b = Named(GetParam().pszB);
    EXPECT_EQ(a.IsGreater(&b), GetParam().bGreater);
    EXPECT_FALSE(a.IsEqual(&b));
}

INSTANTIATE_TEST_SUITE_P(Resource, NameOrder,
                         ::testing::Values(COrder{"abd", "abc", true}, COrder{"abc", "Abc", true},
                                           COrder{"abc", "ab", true}, COrder{"ab", "abc", false},
                                           COrder{"A", "\x80", true}, COrder{"\x80", "A", false},
                                           COrder{"\xff", "\x80", true}));

TEST(Resource, EqualNamesAreEqualAndNeitherIsGreater)
{
    CResource a = Named("abc"), b = Named("abc"), empty = Named(""), nameless;
    a.SetKey(100); // the integer key plays no part
    EXPECT_TRUE(a.IsEqual(&b) && !a.IsGreater(&b) && !b.IsGreater(&a));
    EXPECT_TRUE(nameless.IsEqual(&empty) && !nameless.IsGreater(&empty));
}

TEST(Resource, NamesAreOwnedCopiesAndNullLeavesTheResourceNameless)
{
    char szSource[] = "texture";
    CResource item;
    EXPECT_TRUE(item.SetName(szSource));
    szSource[0] = 'X';
    EXPECT_STREQ(item.GetName(), "texture");
    EXPECT_EQ(item.nNameLength, 7u);
    EXPECT_FALSE(item.SetName(nullptr));
    EXPECT_TRUE(item.GetName() == nullptr && item.nNameLength == 0);

    CResource source = Named("source");
    source.Deactivate();
    EXPECT_EQ(item.Assign(&source), &item);
    EXPECT_TRUE(item.GetName() != source.GetName() && item.nNameLength == 6 && !item.IsActive());
    const CResource nameless;
    item.Assign(&nameless);
    EXPECT_TRUE(item.GetName() == nullptr && item.IsActive());
    const CResource copy(source);
    EXPECT_TRUE(copy.GetName() != source.GetName() && !copy.IsActive());
    EXPECT_STREQ(copy.GetName(), "source");
    source.Release(nullptr);
    EXPECT_TRUE(source.GetName() == nullptr && source.nNameLength == 0);
}

TEST(Resource, ActivationReportsOnlyChanges)
{
    CResource item;
    EXPECT_FALSE(item.Activate());
    EXPECT_TRUE(item.Deactivate() && !item.IsActive());
    EXPECT_FALSE(item.Deactivate());
    EXPECT_TRUE(item.Activate() && item.IsActive());
}

class ResourceListTest : public ::testing::Test {
protected:
    void SetUp() override { g_Log.clear(); }
    void TearDown() override { List.DestroyAll(nullptr); }
    CRecordingResource* Add(const char* pszName, bool bReply = true)
    {
        auto* pItem = new CRecordingResource(pszName, bReply);
        EXPECT_TRUE(List.Add(pItem));
        return pItem;
    }
    void AddAll(std::initializer_list<const char*> names)
    {
        for (const char* pszName : names)
            Add(pszName);
    }
    CResourceList List;
};

TEST_F(ResourceListTest, WalksGoInNameOrderAndSkipInactiveItemsButNotTheirSubtrees)
{
    AddAll({"b", "B", "ab", "a", "\xC3\xA9", "Z", "zz", "m", "0"});
    // The root, an inner node, and a leaf go inactive.
    static_cast<CResource*>(List.pRoot)->Deactivate();
    List.FindByName("zz")->Deactivate();
    g_Log.clear();
    List.UpdateAll(nullptr);
    List.DrawAll(nullptr);
    List.BroadcastAll(1, 2, 3);
    const std::string sRoot = static_cast<CResource*>(List.pRoot)->GetName();
    const std::string order[] = {"\xC3\xA9", "0", "B", "Z", "a", "ab", "b", "m", "zz"};
    std::vector<std::string> expected;
    for (const std::string verb : {"update ", "draw "})
        for (const std::string& name : order)
            if (name != sRoot && name != "zz")
                expected.push_back(verb + name);
    for (const std::string& name : order)
        expected.push_back("msg " + name + " 6");
    EXPECT_EQ(g_Log, expected);
}

TEST_F(ResourceListTest, LookupsFindSendDeleteAndDetachByExactName)
{
    AddAll({"alpha", "gamma", "delta"});
    CRecordingResource* pBeta = Add("beta", false);
    EXPECT_EQ(List.FindByName("beta"), pBeta);
    EXPECT_EQ(List.FindByName("Beta"), nullptr);
    EXPECT_EQ(List.FindByName("bet"), nullptr);
    EXPECT_TRUE(List.SendByName(1, "gamma", 2, 3));
    EXPECT_FALSE(List.SendByName(1, "beta", 2, 3));
    EXPECT_FALSE(List.SendByName(1, "omega", 2, 3));

    g_Log.clear();
    EXPECT_TRUE(List.DeleteByName(nullptr, "beta"));
    EXPECT_FALSE(List.DeleteByName(nullptr, "beta"));
    CResource* pGamma = List.DetachByName("gamma");
    EXPECT_EQ(g_Log, (std::vector<std::string>{"release beta", "delete beta"}));
    ASSERT_NE(pGamma, nullptr);
    EXPECT_TRUE(!pGamma->pLeft && !pGamma->pRight && !pGamma->pParent);
    EXPECT_STREQ(pGamma->GetName(), "gamma");
    EXPECT_EQ(List.FindByName("gamma"), nullptr);
    delete pGamma;
}

TEST_F(ResourceListTest, DuplicateNamesAreBothStoredAndTheNearerIsFound)
{
    CRecordingResource* pFirst = Add("dup");
    CRecordingResource* pSecond = Add("dup");
    EXPECT_TRUE(List.pRoot == pFirst && pFirst->pRight == pSecond);
    EXPECT_EQ(List.DetachByName("dup"), pFirst);
    EXPECT_EQ(List.FindByName("dup"), pSecond);
    delete pFirst;
}

TEST_F(ResourceListTest, DestroyAllReleasesAndDeletesChildrenBeforeTheirParent)
{
    AddAll({"b", "a", "c"});
    List.DestroyAll(nullptr);
    EXPECT_EQ(g_Log, (std::vector<std::string>{"release a", "delete a", "release c", "delete c",
                                               "release b", "delete b"}));
    EXPECT_EQ(List.pRoot, nullptr);
    // The list's own destruction deletes without releasing.
    g_Log.clear();
    {
        CResourceList scoped;
        scoped.Add(new CRecordingResource("one"));
    }
    EXPECT_EQ(g_Log, std::vector<std::string>{"delete one"});
}

} // namespace
