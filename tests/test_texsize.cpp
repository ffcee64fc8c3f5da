#include "compiler/texsize.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

TEST(TexSize, KnownNamesKeepTheirRowAndSize)
{
    CTexSizeNode* pRoot = nullptr;
    int32_t counter = 0;
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "stone", 64, 32, &counter), 0);
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "brick", 128, 128, &counter), 1);
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "wood", 16, 16, &counter), 2);
    EXPECT_EQ(FindOrAddTexSize(&pRoot, "stone", 256, 256, &counter), 0);
    EXPECT_EQ(counter, 3);
    const CTexSizeNode* pStone = FindTexSizeByName(pRoot, "stone");
    ASSERT_NE(pStone, nullptr);
    EXPECT_EQ(pStone->Width, 64);
    EXPECT_EQ(pStone->Height, 32);
    EXPECT_EQ(FindTexSizeByName(pRoot, "Stone"), nullptr); // case counts
    // Ordered by the bytes of the name.
    EXPECT_STREQ(pRoot->pLower->Name, "brick");
    EXPECT_STREQ(pRoot->pHigher->Name, "wood");
    EXPECT_STREQ(FindTexSizeByIndex(pRoot, 2)->Name, "wood");
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
    EXPECT_EQ(std::string(pRoot->Name), std::string(31, 'x'));
    EXPECT_EQ(FindTexSizeByName(pRoot, longName.c_str()), pRoot);
    FreeTexSizes(&pRoot);
}

TEST(TexSize, NameTableRowsFollowTheIndex)
{
    CTexSizeNode* pRoot = nullptr;
    int32_t counter = 0;
    const char* names[] = {"m", "c", "x", "a", "d"};
    for (const char* name : names)
        FindOrAddTexSize(&pRoot, name, 1, 1, &counter);
    std::vector<char> table(32 * counter, '#');
    CopyTexSizeNames(pRoot, table.data());
    for (int i = 0; i < counter; ++i) {
        EXPECT_STREQ(&table[32 * i], names[i]);
        EXPECT_EQ(table[32 * i + 31], '\0');
    }
    FreeTexSizes(&pRoot);
}

TEST(TexSize, ADegenerateTreeOfManyNamesIsWalkedAndFreed)
{
    // Sorted insertion makes a chain as long as the table.
    CTexSizeNode* pRoot = nullptr;
    int32_t counter = 0;
    char name[32];
    for (int i = 0; i < 10000; ++i) {
        std::snprintf(name, sizeof name, "tex%08d", i);
        FindOrAddTexSize(&pRoot, name, 1, 1, &counter);
    }
    ASSERT_NE(FindTexSizeByIndex(pRoot, 9999), nullptr);
    EXPECT_STREQ(FindTexSizeByIndex(pRoot, 9999)->Name, "tex00009999");
    FreeTexSizes(&pRoot);
}
