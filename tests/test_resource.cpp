#include "resources/resource.h"

#include "frame/application.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

// A resource that writes each call into a shared log under a label of its
// own, which stays readable after Release has freed the name.
class CRecordingResource : public CResource {
public:
    CRecordingResource(std::vector<std::string>* pLogIn, const char* pszName, bool bReplyIn = true)
        : pLog(pLogIn), sLabel(pszName ? pszName : "-"), bReply(bReplyIn)
    {
        SetName(pszName);
        ++nLive;
    }
    ~CRecordingResource() override
    {
        pLog->push_back("delete " + sLabel);
        --nLive;
    }
    bool OnMessage(uintptr_t a, uintptr_t b, uintptr_t c) override
    {
        pLog->push_back("msg " + sLabel + " " + std::to_string(a) + "," + std::to_string(b) + "," +
                        std::to_string(c));
        return bReply;
    }
    void Update(CApplication* pApp) override
    {
        pLog->push_back("update " + sLabel);
        pLastApp = pApp;
    }
    void Draw(CApplication* pApp) override
    {
        pLog->push_back("draw " + sLabel);
        pLastApp = pApp;
    }
    void Release(CApplication* pApp) override
    {
        pLog->push_back("release " + sLabel);
        pLastApp = pApp;
        CResource::Release(pApp);
    }

    std::vector<std::string>* pLog;
    std::string sLabel;
    bool bReply;
    CApplication* pLastApp = nullptr;
    static int nLive;
};
int CRecordingResource::nLive = 0;

// Looks itself up in its list while being released, as a control that
// detaches from its owner does.
class CSelfDetachingResource : public CRecordingResource {
public:
    CSelfDetachingResource(std::vector<std::string>* pLogIn, const char* pszName, CResourceList* pListIn)
        : CRecordingResource(pLogIn, pszName), pList(pListIn)
    {
    }
    void Release(CApplication* pApp) override
    {
        if (pList->DetachByName(GetName()))
            pLog->push_back("found itself " + sLabel);
        CRecordingResource::Release(pApp);
    }
    CResourceList* pList;
};

class ResourceListTest : public ::testing::Test {
protected:
    void SetUp() override { CRecordingResource::nLive = 0; }
    void TearDown() override
    {
        List.DestroyAll(&App);
        EXPECT_EQ(CRecordingResource::nLive, 0);
    }

    CRecordingResource* AddNamed(const char* pszName, bool bReply = true)
    {
        auto* pItem = new CRecordingResource(&Log, pszName, bReply);
        EXPECT_TRUE(List.Add(pItem));
        return pItem;
    }

    // The log entries that start with the prefix, prefix removed.
    std::vector<std::string> Entries(const std::string& sPrefix) const
    {
        std::vector<std::string> Result;
        for (const std::string& sEntry : Log)
            if (sEntry.compare(0, sPrefix.size(), sPrefix) == 0)
                Result.push_back(sEntry.substr(sPrefix.size()));
        return Result;
    }

    CApplication App;
    CResourceList List;
    std::vector<std::string> Log;
};

CResource Named(const char* pszName)
{
    CResource Item;
    Item.SetName(pszName);
    return Item;
}

} // namespace

TEST(Resource, NameOrderTakesBytesAsSignedWithCaseAndPrefixes)
{
    CResource Abc = Named("abc");
    CResource Abd = Named("abd");
    CResource UpperAbc = Named("Abc");
    CResource Ab = Named("ab");
    CResource HighByte = Named("\x80");
    CResource TopByte = Named("\xff");
    CResource Letter = Named("A");
    CResource Empty = Named("");
    CResource Nameless;

    EXPECT_TRUE(Abd.IsGreater(&Abc));
    EXPECT_FALSE(Abc.IsGreater(&Abd));

    // Case is kept: the upper-case name sorts first and is not equal.
    EXPECT_TRUE(Abc.IsGreater(&UpperAbc));
    EXPECT_FALSE(UpperAbc.IsGreater(&Abc));
    EXPECT_FALSE(Abc.IsEqual(&UpperAbc));

    // A proper prefix is lesser, and not equal.
    EXPECT_TRUE(Abc.IsGreater(&Ab));
    EXPECT_FALSE(Ab.IsGreater(&Abc));
    EXPECT_FALSE(Ab.IsEqual(&Abc));
    EXPECT_FALSE(Abc.IsEqual(&Ab));

    // Bytes of 128 and above are negative and sort below ASCII.
    EXPECT_TRUE(Letter.IsGreater(&HighByte));
    EXPECT_FALSE(HighByte.IsGreater(&Letter));
    EXPECT_TRUE(TopByte.IsGreater(&HighByte));

    // Equal names: equal, and neither is greater.
    CResource OtherAbc = Named("abc");
    EXPECT_TRUE(Abc.IsEqual(&OtherAbc));
    EXPECT_FALSE(Abc.IsGreater(&OtherAbc));
    EXPECT_FALSE(OtherAbc.IsGreater(&Abc));

    // No name compares as the empty name, which precedes every other.
    EXPECT_TRUE(Nameless.IsEqual(&Empty));
    EXPECT_TRUE(Empty.IsEqual(&Nameless));
    EXPECT_FALSE(Nameless.IsGreater(&Empty));
    EXPECT_TRUE(HighByte.IsGreater(&Nameless));
    EXPECT_FALSE(Nameless.IsGreater(&HighByte));

    // The integer key plays no part.
    Abc.SetKey(100);
    OtherAbc.SetKey(-100);
    EXPECT_TRUE(Abc.IsEqual(&OtherAbc));
    EXPECT_FALSE(Abc.IsGreater(&OtherAbc));
}

TEST(Resource, SetNameCopiesAndNullLeavesItNameless)
{
    CResource Item;
    EXPECT_EQ(Item.GetName(), nullptr);
    EXPECT_EQ(Item.nNameLength, 0u);
    EXPECT_TRUE(Item.IsActive());
    EXPECT_EQ(Item.pLeft, nullptr);
    EXPECT_EQ(Item.pRight, nullptr);
    EXPECT_EQ(Item.pParent, nullptr);
    EXPECT_EQ(Item.GetKey(), 0);

    char szSource[] = "texture";
    EXPECT_TRUE(Item.SetName(szSource));
    szSource[0] = 'X';
    EXPECT_STREQ(Item.GetName(), "texture");
    EXPECT_EQ(Item.nNameLength, 7u);

    EXPECT_TRUE(Item.SetName(""));
    EXPECT_STREQ(Item.GetName(), "");
    EXPECT_EQ(Item.nNameLength, 0u);

    EXPECT_TRUE(Item.SetName("again"));
    EXPECT_FALSE(Item.SetName(nullptr));
    EXPECT_EQ(Item.GetName(), nullptr);
    EXPECT_EQ(Item.nNameLength, 0u);

    Item.SetName("held");
    Item.Release(nullptr);
    EXPECT_EQ(Item.GetName(), nullptr);
    EXPECT_EQ(Item.nNameLength, 0u);
    Item.Release(nullptr);
}

TEST(Resource, AssignAndCopiesTakeNameAndFlagButOwnTheirCopy)
{
    CResource Source = Named("source");
    Source.Deactivate();

    CResource Target = Named("old");
    EXPECT_EQ(Target.Assign(&Source), &Target);
    EXPECT_STREQ(Target.GetName(), "source");
    EXPECT_NE(Target.GetName(), Source.GetName());
    EXPECT_EQ(Target.nNameLength, 6u);
    EXPECT_FALSE(Target.IsActive());

    // From a nameless resource: nameless, with its flag.
    CResource Nameless;
    EXPECT_EQ(Target.Assign(&Nameless), &Target);
    EXPECT_EQ(Target.GetName(), nullptr);
    EXPECT_EQ(Target.nNameLength, 0u);
    EXPECT_TRUE(Target.IsActive());

    // Copy construction: name and flag, never the links.
    Source.pParent = &Nameless;
    Source.pLeft = &Target;
    Source.SetKey(9);
    CResource Copy(Source);
    EXPECT_STREQ(Copy.GetName(), "source");
    EXPECT_NE(Copy.GetName(), Source.GetName());
    EXPECT_FALSE(Copy.IsActive());
    EXPECT_EQ(Copy.pParent, nullptr);
    EXPECT_EQ(Copy.pLeft, nullptr);
    EXPECT_EQ(Copy.GetKey(), 0);
    Source.pParent = nullptr;
    Source.pLeft = nullptr;

    // Copy assignment, including to itself, keeps a single live copy.
    CResource Assigned = Named("x");
    Assigned = Source;
    EXPECT_STREQ(Assigned.GetName(), "source");
    EXPECT_NE(Assigned.GetName(), Source.GetName());
    CResource& Self = Assigned;
    Assigned = Self;
    EXPECT_STREQ(Assigned.GetName(), "source");
    EXPECT_EQ(Assigned.Assign(&Assigned), &Assigned);
    EXPECT_STREQ(Assigned.GetName(), "source");
}

TEST(Resource, ActivationReportsOnlyChanges)
{
    CResource Item;
    EXPECT_FALSE(Item.Activate());
    EXPECT_TRUE(Item.IsActive());
    EXPECT_TRUE(Item.Deactivate());
    EXPECT_FALSE(Item.IsActive());
    EXPECT_FALSE(Item.Deactivate());
    EXPECT_FALSE(Item.IsActive());
    EXPECT_TRUE(Item.Activate());
    EXPECT_TRUE(Item.IsActive());

    EXPECT_TRUE(Item.OnMessage(1, 2, 3));
}

TEST_F(ResourceListTest, EmptyListOperationsDoNothing)
{
    EXPECT_EQ(List.ppRoot, &List.pRoot);
    EXPECT_EQ(List.pRoot, nullptr);
    List.UpdateAll(&App);
    List.DrawAll(&App);
    List.BroadcastAll(1, 2, 3);
    List.DestroyAll(&App);
    EXPECT_EQ(List.FindByName("x"), nullptr);
    EXPECT_EQ(List.DetachByName("x"), nullptr);
    EXPECT_FALSE(List.DeleteByName(&App, "x"));
    EXPECT_FALSE(List.SendByName(1, "x", 2, 3));
    EXPECT_TRUE(Log.empty());
}

TEST_F(ResourceListTest, WalksGoInNameOrderAndSkipOnlyInactiveNodes)
{
    const char* NAMES[] = {"b", "B", "ab", "a", "\xC3\xA9t\xC3\xA9", "a\x80", "Z", "_", "zz", "m", "M", "0"};
    std::vector<CRecordingResource*> Items;
    for (const char* pszName : NAMES)
        Items.push_back(AddNamed(pszName));
    const std::vector<std::string> ORDER = {
        "\xC3\xA9t\xC3\xA9", "0", "B", "M", "Z", "_", "a", "a\x80", "ab", "b", "m", "zz"};

    List.BroadcastAll(7, 8, 9);
    std::vector<std::string> Expected;
    for (const std::string& sName : ORDER)
        Expected.push_back(sName + " 7,8,9");
    EXPECT_EQ(Entries("msg "), Expected);

    // An inner node (the root) and a leaf go inactive: both are skipped, the
    // items below the root are still reached.
    CResource* pRootItem = static_cast<CResource*>(List.pRoot);
    ASSERT_NE(pRootItem->pLeft, nullptr);
    ASSERT_NE(pRootItem->pRight, nullptr);
    pRootItem->Deactivate();
    List.FindByName("zz")->Deactivate();
    std::vector<std::string> Active;
    for (const std::string& sName : ORDER)
        if (sName != pRootItem->GetName() && sName != "zz")
            Active.push_back(sName);

    Log.clear();
    List.UpdateAll(&App);
    EXPECT_EQ(Entries("update "), Active);
    List.DrawAll(&App);
    EXPECT_EQ(Entries("draw "), Active);
    EXPECT_EQ(Items[0]->pLastApp, &App);

    // Inactive items still hear broadcasts.
    Log.clear();
    List.BroadcastAll(1, 2, 3);
    EXPECT_EQ(Entries("msg ").size(), ORDER.size());
}

TEST_F(ResourceListTest, LookupsBySendDeleteAndDetach)
{
    AddNamed("alpha");
    CRecordingResource* pBeta = AddNamed("beta", false);
    CRecordingResource* pGamma = AddNamed("gamma");
    AddNamed("delta");

    EXPECT_EQ(List.FindByName("beta"), pBeta);
    EXPECT_EQ(List.FindByName("Beta"), nullptr);
    EXPECT_EQ(List.FindByName("bet"), nullptr);

    // SendByName answers with the item's own reply, and false for no item.
    EXPECT_TRUE(List.SendByName(4, "gamma", 5, 6));
    EXPECT_FALSE(List.SendByName(4, "beta", 5, 6));
    EXPECT_FALSE(List.SendByName(4, "omega", 5, 6));
    EXPECT_EQ(Entries("msg "), (std::vector<std::string>{"gamma 4,5,6", "beta 4,5,6"}));

    // DeleteByName releases, then deletes.
    Log.clear();
    EXPECT_TRUE(List.DeleteByName(&App, "beta"));
    EXPECT_EQ(Log, (std::vector<std::string>{"release beta", "delete beta"}));
    EXPECT_EQ(List.FindByName("beta"), nullptr);
    EXPECT_FALSE(List.DeleteByName(&App, "beta"));

    // DetachByName hands the item over untouched and unlinked.
    Log.clear();
    CResource* pDetached = List.DetachByName("gamma");
    EXPECT_EQ(pDetached, pGamma);
    EXPECT_TRUE(Log.empty());
    EXPECT_STREQ(pDetached->GetName(), "gamma");
    EXPECT_EQ(pDetached->pLeft, nullptr);
    EXPECT_EQ(pDetached->pRight, nullptr);
    EXPECT_EQ(pDetached->pParent, nullptr);
    EXPECT_EQ(List.FindByName("gamma"), nullptr);
    EXPECT_EQ(List.DetachByName("gamma"), nullptr);
    delete pDetached;

    EXPECT_NE(List.FindByName("alpha"), nullptr);
    EXPECT_NE(List.FindByName("delta"), nullptr);
}

TEST_F(ResourceListTest, DuplicateNamesAreBothStored)
{
    CRecordingResource* pFirst = AddNamed("dup");
    CRecordingResource* pSecond = AddNamed("dup");
    EXPECT_EQ(List.pRoot, pFirst);
    EXPECT_EQ(pFirst->pRight, pSecond);
    EXPECT_EQ(List.FindByName("dup"), pFirst);

    List.BroadcastAll(0, 0, 0);
    EXPECT_EQ(Entries("msg ").size(), 2u);

    CResource* pOut = List.DetachByName("dup");
    EXPECT_EQ(pOut, pFirst);
    EXPECT_EQ(List.FindByName("dup"), pSecond);
    delete pOut;
    EXPECT_TRUE(List.DeleteByName(&App, "dup"));
    EXPECT_EQ(List.pRoot, nullptr);
}

TEST_F(ResourceListTest, DestroyAllReleasesChildrenFirstAndEmptiesTheList)
{
    AddNamed("b");
    AddNamed("a");
    AddNamed("c");
    List.DestroyAll(&App);
    EXPECT_EQ(Log, (std::vector<std::string>{"release a", "delete a", "release c", "delete c", "release b",
                                             "delete b"}));
    EXPECT_EQ(List.pRoot, nullptr);
    EXPECT_EQ(CRecordingResource::nLive, 0);

    // Many items: each released and deleted exactly once.
    std::mt19937 Random(99);
    std::vector<std::string> Names;
    for (int i = 0; i < 300; ++i)
        Names.push_back("item" + std::to_string(Random() % 1000));
    for (const std::string& sName : Names)
        AddNamed(sName.c_str());
    Log.clear();
    List.DestroyAll(&App);
    EXPECT_EQ(List.pRoot, nullptr);
    EXPECT_EQ(CRecordingResource::nLive, 0);
    std::vector<std::string> Released = Entries("release ");
    std::sort(Released.begin(), Released.end());
    std::sort(Names.begin(), Names.end());
    EXPECT_EQ(Released, Names);
    EXPECT_EQ(Entries("delete ").size(), Names.size());
}

TEST_F(ResourceListTest, DestroyAllSurvivesAReleaseThatLooksUpTheList)
{
    for (int i = 0; i < 40; ++i) {
        std::string sName = "control" + std::to_string(i);
        List.Add(new CSelfDetachingResource(&Log, sName.c_str(), &List));
    }
    List.DestroyAll(&App);
    EXPECT_EQ(List.pRoot, nullptr);
    EXPECT_EQ(CRecordingResource::nLive, 0);
    EXPECT_EQ(Entries("release ").size(), 40u);
    EXPECT_EQ(Entries("delete ").size(), 40u);
    EXPECT_TRUE(Entries("found itself ").empty());
}

TEST(ResourceList, DestructionDeletesWithoutRelease)
{
    std::vector<std::string> Log;
    CRecordingResource::nLive = 0;
    {
        CResourceList List;
        List.Add(new CRecordingResource(&Log, "one"));
        List.Add(new CRecordingResource(&Log, "two"));
        List.Add(new CRecordingResource(&Log, "three"));
    }
    EXPECT_EQ(CRecordingResource::nLive, 0);
    EXPECT_EQ(Log.size(), 3u);
    for (const std::string& sEntry : Log)
        EXPECT_EQ(sEntry.rfind("delete ", 0), 0u) << sEntry;
}
