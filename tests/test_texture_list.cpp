// The texture list: pictures loaded by path and kept by name, shared with a
// reference count.
#include "resources/texture_list.h"

#include "app_fixture.h"
#include "resources/texture_surface.h"

namespace {

class TextureListTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        StartDevices();
        WriteBitmap("pic.bmp", samples::CImage(4, 2));
    }
};

TEST_F(TextureListTest, ReferencesDecideWhenAPictureGoes)
{
    ASSERT_TRUE(App->AddTexture("C:\\pic.bmp", "wall", 0));
    CTextureSurface* pWall = App->FindTexture("wall");
    ASSERT_NE(pWall, nullptr);
    EXPECT_EQ(pWall->GetWidth(), 4);
    EXPECT_EQ(App->FindTexture("wall"), pWall); // finding does not count
    EXPECT_EQ(App->AcquireTexture("wall"), pWall);
    EXPECT_FALSE(App->ReleaseTexture("wall"));
    EXPECT_EQ(App->FindTexture("wall"), pWall);
    EXPECT_TRUE(App->ReleaseTexture("wall"));
    EXPECT_EQ(App->FindTexture("wall"), nullptr);
    EXPECT_FALSE(App->ReleaseTexture("wall"));
}

TEST_F(TextureListTest, NamesAreCaseSensitiveAndLaterNamesHangOnTheLeft)
{
    for (const char* pszName : {"m", "z", "a", "M"})
        ASSERT_TRUE(App->AddTexture("C:\\pic.bmp", pszName, 0));
    // The tree runs from high to low: "z" sorts after "m" and goes left.
    const auto* pRoot = static_cast<const CTextureItem*>(App->TextureList.pRoot);
    EXPECT_STREQ(pRoot->GetName(), "m");
    EXPECT_STREQ(static_cast<const CTextureItem*>(pRoot->pLeft)->GetName(), "z");
    EXPECT_NE(App->FindTexture("M"), App->FindTexture("m"));
    EXPECT_EQ(App->FindTexture("Z"), nullptr);

    // A second item of a name is stored too; each removal takes one.
    ASSERT_TRUE(App->AddTexture("C:\\pic.bmp", "m", 0));
    CTextureSurface* pNear = App->FindTexture("m");
    EXPECT_TRUE(App->ReleaseTexture("m"));
    EXPECT_NE(App->FindTexture("m"), pNear);
    EXPECT_TRUE(App->ReleaseTexture("m"));
    EXPECT_EQ(App->FindTexture("m"), nullptr);
}

TEST_F(TextureListTest, AMissingPictureStoresNothing)
{
    EXPECT_FALSE(App->AddTexture("C:\\none.bmp", "none", 0));
    EXPECT_EQ(App->TextureList.pRoot, nullptr);
}

} // namespace
