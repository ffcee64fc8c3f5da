#include "compiler/token.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

const std::string MARKER = "\r\n====READ BUFFER====\r\n\r\n";

// Reads files of the scratch directory, which stands for "C:\", so the token
// log lands there.
class TokenReaderTest : public ScratchDirTest {
protected:
    Strings Tokens(const std::string& text)
    {
        CTokenReader reader;
        EXPECT_TRUE(reader.Open(Write("input.txt", text).c_str()));
        Strings tokens;
        CToken token;
        while (reader.Next(token))
            tokens.emplace_back(token.GetString());
        EXPECT_TRUE(reader.IsEnd());
        return tokens;
    }

    std::string Log() const
    {
        std::ifstream in(Dir / "tokens.txt", std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
};

} // namespace

TEST(Token, ComparesByteForByteAndConvertsLikeAtoiAndAtof)
{
    CToken token;
    EXPECT_TRUE(token == nullptr);
    EXPECT_FALSE(token == ""); // a token that holds nothing equals no string
    token.Set("Stone");
    EXPECT_FALSE(token == "stone");
    token.Set("12.9");
    EXPECT_EQ(token.ToInt(), 12);
    EXPECT_DOUBLE_EQ(token.ToFloat(), 12.9);
    token.Set("\"12.5\""); // atof stops at the quote
    EXPECT_EQ(token.ToFloat(), 0.0);
}

struct CCutCase {
    const char* pszName;
    std::string Text;
    Strings Expected;
};

class TokenCuts : public TokenReaderTest, public ::testing::WithParamInterface<CCutCase> {};

TEST_P(TokenCuts, AtBracketsQuotesAndWhiteSpace)
{
    EXPECT_EQ(Tokens(GetParam().Text), GetParam().Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TokenCuts,
    ::testing::Values(CCutCase{"empty", "", {}}, CCutCase{"blank", " \t\r\n  \n", {}},
                      CCutCase{"bracket_ends_a_word", "abc(def", {"abc", "(", "def"}},
                      CCutCase{"brackets", "{}()[]", {"{", "}", "(", ")", "[", "]"}},
                      CCutCase{"white_space", "( 1\t2.5\r\n-3 )", {"(", "1", "2.5", "-3", ")"}},
                      CCutCase{
                          "quote_ends_a_word", "key\"value\"next", {"key", "\"value\"", "next"}},
                      CCutCase{"quotes_keep_blanks_and_brackets",
                               "\"a b\" \"{ (\nx ) }\"",
                               {"\"a b\"", "\"{ (\nx ) }\""}},
                      CCutCase{"unterminated_quote_is_closed", "x \"abc def", {"x", "\"abc def\""}},
                      CCutCase{"no_comments", "// brush 0\n{", {"//", "brush", "0", "{"}},
                      CCutCase{"last_token_at_the_very_end", "first last", {"first", "last"}}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST_F(TokenReaderTest, LogHoldsEveryTokenOnALineAndAMarkerForEachLaterRead)
{
    // The first block is read before the log is opened: no marker for it.
    EXPECT_EQ(Tokens("a \"b c\"\n( d"), (Strings{"a", "\"b c\"", "(", "d"}));
    EXPECT_EQ(Log(), "a\r\n\"b c\"\r\n(\r\n" + MARKER + "d\r\n");
    EXPECT_EQ(Tokens("x"), (Strings{"x"}));
    EXPECT_EQ(Log(), MARKER + "x\r\n"); // replaced, not appended
}

TEST_F(TokenReaderTest, BlocksOf1024BytesJoinTokensAcrossTheirBorder)
{
    // 1024 bytes exactly, the last ending a token: the end is known only
    // after one more, empty, read.
    EXPECT_EQ(Tokens(std::string(1018, ' ') + "ending"), (Strings{"ending"}));
    EXPECT_EQ(Log(), MARKER + "ending\r\n");
    // A token across the border is logged whole, behind the markers of the
    // second block and of the end that stops it.
    EXPECT_EQ(Tokens(std::string(1020, ' ') + "abcdefgh"), (Strings{"abcdefgh"}));
    EXPECT_EQ(Log(), MARKER + MARKER + "abcdefgh\r\n");
}

TEST_F(TokenReaderTest, TokensKeep511CharactersAndDropTheRest)
{
    const std::string z511(511, 'z');
    EXPECT_EQ(Tokens(z511), (Strings{z511}));
    EXPECT_EQ(Tokens(z511 + "z("), (Strings{z511, "("}));
    // A quoted token keeps its opening quote in the 511 and runs on to its
    // closing quote in the input.
    EXPECT_EQ(Tokens(std::string("\"").append(5000, 'y') + " ( } \" after"),
              (Strings{std::string("\"").append(510, 'y'), "after"}));
}

TEST_F(TokenReaderTest, MissingFileGivesNoTokensAndMissingLogChangesNothing)
{
    CTokenReader reader;
    CToken token;
    EXPECT_FALSE(reader.Open(Path("absent.txt").c_str()));
    EXPECT_FALSE(reader.Next(token));
    // Without a place for the log the reader works the same.
    SetDriveRoot(Path("no/such/folder"));
    EXPECT_EQ(Tokens("one two"), (Strings{"one", "two"}));
}

TEST_F(TokenReaderTest, ArbitraryBytesGiveShortTokens)
{
    std::mt19937 random(1234);
    std::string text(20000, '\0');
    for (char& c : text)
        c = static_cast<char>(random() & 0xFF);
    for (const std::string& token : Tokens(text))
        EXPECT_LE(token.size(), 511u);
}
