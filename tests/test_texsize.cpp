#include "compiler/texsize.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

TEST(TexSize, KnownNamesKeepTheirIndexAndSize)
{
    CTexSizeNode* pRoot = nullptr;
    int32_t counter = 0;
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "stone", 64, 32, &counter), 0);
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "brick", 128, 128, &counter), 1);
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "wood", 16, 16, &counter), 2);
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "stone", 256, 256, &counter), 0);
    EXPECT_EQ(counter, 3);

    CTexSizeNode* pStone = FindTexSizeByName(pRoot, "stone");
    ASSERT_NE(pStone, nullptr);
    EXPECT_EQ(pStone->Width, 64);
    EXPECT_EQ(pStone->Height, 32);
    EXPECT_EQ(pStone->Light.Intensity, 0);
    EXPECT_EQ(FindTexSizeByName(pRoot, "Stone"), nullptr); // case counts
    EXPECT_EQ(FindTexSizeByName(pRoot, "ston"), nullptr);

    EXPECT_EQ(pRoot->pLower, FindTexSizeByName(pRoot, "brick"));
    EXPECT_EQ(pRoot->pHigher, FindTexSizeByName(pRoot, "wood"));
    EXPECT_EQ(FindTexSizeByIndex(pRoot, 2), FindTexSizeByName(pRoot, "wood"));
    EXPECT_EQ(FindTexSizeByIndex(pRoot, 3), nullptr);
    FreeTexSizes(&pRoot);
    EXPECT_EQ(pRoot, nullptr);
}

TEST(TexSize, NamesAreCutTo31CharactersAndFoundByTheirFullText)
{
    const std::string longName(40, 'x');
    CTexSizeNode* pRoot = nullptr;
    int32_t counter = 0;
    FindOrAddTexSize(&pRoot, longName.c_str(), 8, 8, &counter);
    EXPECT_EQ(FindOrAddTexSize(&pRoot, longName.c_str(), 8, 8, &counter), 0);
    EXPECT_EQ(counter, 1);
    ASSERT_NE(FindTexSizeByName(pRoot, longName.c_str()), nullptr);
    EXPECT_EQ(std::strlen(pRoot->Name), 31u);
    FreeTexSizes(&pRoot);
}

TEST(TexSize, NameTableRowsFollowTheIndex)
{
    CTexSizeNode* pRoot = nullptr;
    int32_t counter = 0;
    const char* names[] = {"m", "c", "x", "a", "d"};
    for (const char* name : names)
        FindOrAddTexSize(&pRoot, name, 1, 1, &counter);
    std::vector<char> table(TEXTURE_NAME_SIZE * counter, '#');
    CopyTexSizeNames(pRoot, table.data());
    for (int i = 0; i < counter; ++i) {
        EXPECT_STREQ(&table[TEXTURE_NAME_SIZE * i], names[i]);
        EXPECT_EQ(table[TEXTURE_NAME_SIZE * i + TEXTURE_NAME_SIZE - 1], '\0');
    }
    FreeTexSizes(&pRoot);
}

TEST(TexSize, ADegenerateTreeOfManyNamesIsWalkedAndFreed)
{
    // Sorted insertion makes a chain as long as the table.
    CTexSizeNode* pRoot = nullptr;
    int32_t counter = 0;
    char name[TEXTURE_NAME_SIZE];
    const int count = 10000;
    for (int i = 0; i < count; ++i) {
        std::snprintf(name, sizeof name, "tex%08d", i);
        FindOrAddTexSize(&pRoot, name, 1, 1, &counter);
    }
    ASSERT_EQ(counter, count);
    CTexSizeNode* pLast = FindTexSizeByIndex(pRoot, count - 1);
    ASSERT_NE(pLast, nullptr);
    EXPECT_STREQ(pLast->Name, "tex00009999");
    FreeTexSizes(&pRoot);
    EXPECT_EQ(pRoot, nullptr);
}
