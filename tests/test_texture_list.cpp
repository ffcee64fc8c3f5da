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

TEST_F(TextureListTest, NamesAreCaseSensitiveBytesAndDuplicatesStack)
{
    for (const char* pszName : {"stone", "Stone", "\xE9", "a", "z", "stone"})
        ASSERT_TRUE(App->AddTexture("C:\\pic.bmp", pszName, 0));
    EXPECT_NE(App->FindTexture("Stone"), App->FindTexture("stone"));
    EXPECT_NE(App->FindTexture("\xE9"), nullptr);
    EXPECT_EQ(App->FindTexture("STONE"), nullptr);
    // Each removal takes one of the two items of a name.
    CTextureSurface* pNear = App->FindTexture("stone");
    EXPECT_TRUE(App->ReleaseTexture("stone"));
    EXPECT_NE(App->FindTexture("stone"), pNear);
    EXPECT_TRUE(App->ReleaseTexture("stone"));
    EXPECT_EQ(App->FindTexture("stone"), nullptr);
    EXPECT_NE(App->FindTexture("Stone"), nullptr);
}

TEST_F(TextureListTest, AMissingPictureStoresNothing)
{
    EXPECT_FALSE(App->AddTexture("C:\\none.bmp", "none", 0));
    EXPECT_EQ(App->FindTexture("none"), nullptr);
    EXPECT_EQ(App->TextureList.pRoot, nullptr);
}

} // namespace
