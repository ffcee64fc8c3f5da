#include "compiler/token.h"

#include "platform/files.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const std::string MARKER = "\r\n====READ BUFFER====\r\n\r\n";

// The token log lands in each test's scratch directory.
class TokenReaderTest : public ScratchDirTest {
protected:
    std::string WriteInput(const std::string& text, const std::string& name = "input.txt")
    {
        return Write(name, text);
    }

    // Every token of the text, in order.
    std::vector<std::string> Tokens(const std::string& text)
    {
        CTokenReader reader;
        EXPECT_TRUE(reader.Open(WriteInput(text).c_str()));
        std::vector<std::string> tokens;
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

using Strings = std::vector<std::string>;

// A double quote followed by n copies of c.
std::string QuoteOpen(size_t n, char c)
{
    return std::string(1, '"').append(n, c);
}

} // namespace

TEST(Token, OwnsACopyAndComparesByteForByte)
{
    CToken a;
    EXPECT_EQ(a.GetString(), nullptr);
    EXPECT_TRUE(a == nullptr);
    EXPECT_FALSE(a == "");
    EXPECT_EQ(a.ToInt(), 0);
    EXPECT_EQ(a.ToFloat(), 0.0);

    char text[] = "Stone";
    ASSERT_TRUE(a.Set(text));
    text[0] = 'X';
    EXPECT_STREQ(a.GetString(), "Stone");
    EXPECT_TRUE(a == "Stone");
    EXPECT_FALSE(a == "stone");
    EXPECT_FALSE(a == "Ston");
    EXPECT_FALSE(a == nullptr);

    ASSERT_TRUE(a.Set(a.GetString())); // its own text
    EXPECT_TRUE(a == "Stone");

    CToken b(a);
    EXPECT_TRUE(b == a);
    EXPECT_NE(b.GetString(), a.GetString());
    CToken empty;
    b = empty;
    EXPECT_EQ(b.GetString(), nullptr);
    EXPECT_FALSE(b == a);
    EXPECT_TRUE(b == empty); // two empty tokens hold the same nothing
    b = a;
    b = b;
    EXPECT_TRUE(b == "Stone");

    a.Free();
    EXPECT_EQ(a.GetString(), nullptr);
    EXPECT_TRUE(a.Set(nullptr));
    EXPECT_EQ(a.GetString(), nullptr);
}

TEST(Token, ConversionsFollowAtoiAndAtof)
{
    CToken t;
    t.Set("12.9");
    EXPECT_EQ(t.ToInt(), 12);
    EXPECT_DOUBLE_EQ(t.ToFloat(), 12.9);
    t.Set("-7.5");
    EXPECT_EQ(t.ToInt(), -7);
    t.Set("1e3");
    EXPECT_DOUBLE_EQ(t.ToFloat(), 1000.0);
    t.Set("\"12.5\""); // the quote stops the conversion
    EXPECT_EQ(t.ToFloat(), 0.0);
    EXPECT_EQ(t.ToInt(), 0);
    t.Set("abc");
    EXPECT_EQ(t.ToFloat(), 0.0);
}

TEST_F(TokenReaderTest, EmptyAndBlankInputsGiveNoToken)
{
    for (const std::string& text : {std::string(), std::string(" \t\r\n  \n"),
                                   std::string(3000, ' ') + "\r\n"}) {
        CTokenReader reader;
        ASSERT_TRUE(reader.Open(WriteInput(text).c_str()));
        CToken token;
        token.Set("unchanged");
        EXPECT_FALSE(reader.Next(token));
        EXPECT_TRUE(token == "unchanged");
        EXPECT_TRUE(reader.IsEnd());
        EXPECT_FALSE(reader.Next(token)); // and stays at the end
    }
}

TEST_F(TokenReaderTest, MissingFileOrClosedReaderGivesNothing)
{
    CTokenReader reader;
    CToken token;
    EXPECT_FALSE(reader.Next(token)); // never opened
    EXPECT_TRUE(reader.IsEnd());
    EXPECT_FALSE(reader.Open((Dir / "absent.txt").string().c_str()));
    EXPECT_FALSE(fs::exists(Dir / "tokens.txt")); // no log without an input

    ASSERT_TRUE(reader.Open(WriteInput("a b").c_str()));
    reader.Close();
    EXPECT_FALSE(reader.IsEnd());
    EXPECT_FALSE(reader.Next(token));
    EXPECT_TRUE(reader.IsEnd());
}

TEST_F(TokenReaderTest, BracketsQuotesAndWhiteSpaceCutTokens)
{
    EXPECT_EQ(Tokens("abc(def"), (Strings{"abc", "(", "def"}));
    EXPECT_EQ(Tokens("{}()[]"), (Strings{"{", "}", "(", ")", "[", "]"}));
    EXPECT_EQ(Tokens("( 1 2.5 -3 )\r\n[x\ty]"),
              (Strings{"(", "1", "2.5", "-3", ")", "[", "x", "y", "]"}));
    EXPECT_EQ(Tokens("key\"value\"next"), (Strings{"key", "\"value\"", "next"}));
    // No comment syntax: "//" and each word behind it are tokens.
    EXPECT_EQ(Tokens("// brush 0\n{"), (Strings{"//", "brush", "0", "{"}));
}

TEST_F(TokenReaderTest, QuotedStringsKeepQuotesBlanksAndBrackets)
{
    const Strings tokens = Tokens("\"a b\" \"{ ( x ) }\" \"two\nlines\" \"\"");
    ASSERT_EQ(tokens.size(), 4u);
    EXPECT_EQ(tokens[0], "\"a b\"");
    EXPECT_EQ(tokens[0].size(), 5u);
    EXPECT_EQ(tokens[1], "\"{ ( x ) }\"");
    EXPECT_EQ(tokens[2], "\"two\nlines\"");
    EXPECT_EQ(tokens[3], "\"\"");
}

TEST_F(TokenReaderTest, UnterminatedQuoteGetsItsClosingQuote)
{
    EXPECT_EQ(Tokens("x \"abc def"), (Strings{"x", "\"abc def\""}));
    EXPECT_EQ(Tokens("\""), (Strings{"\"\""}));
}

TEST_F(TokenReaderTest, LastTokenAtTheVeryEndIsWhole)
{
    CTokenReader reader;
    ASSERT_TRUE(reader.Open(WriteInput("first last").c_str()));
    CToken token;
    ASSERT_TRUE(reader.Next(token));
    ASSERT_TRUE(reader.Next(token));
    EXPECT_TRUE(token == "last");
    EXPECT_FALSE(reader.Next(token));
    EXPECT_TRUE(token == "last");
}

TEST_F(TokenReaderTest, FullBlockEndingInATokenKeepsItWhole)
{
    // 1024 bytes exactly, the last one ending a token: the end is only known
    // after one more, empty read.
    std::string text(1024 - 6, ' ');
    text += "ending";
    ASSERT_EQ(text.size(), static_cast<size_t>(TOKEN_BUFFER_SIZE));
    EXPECT_EQ(Tokens(text), (Strings{"ending"}));
    EXPECT_EQ(Log(), MARKER + "ending\r\n");

    // Two full blocks of words, every one of them found.
    std::string words;
    Strings expected;
    for (int i = 0; words.size() < 2 * TOKEN_BUFFER_SIZE - 8; ++i) {
        expected.push_back(std::string("w").append(std::to_string(i)));
        words += expected.back() + " ";
    }
    while (words.size() < 2 * TOKEN_BUFFER_SIZE - 1)
        words += ' ';
    words += "z";
    expected.push_back("z");
    EXPECT_EQ(Tokens(words), expected);
}

TEST_F(TokenReaderTest, TokenAcrossTheBlockBorderIsOneAndLoggedAfterTheMarker)
{
    std::string text(TOKEN_BUFFER_SIZE - 4, ' ');
    text += "abcdefgh";
    EXPECT_EQ(Tokens(text), (Strings{"abcdefgh"}));
    // One marker for the second block, one for the end that stops the token.
    EXPECT_EQ(Log(), MARKER + MARKER + "abcdefgh\r\n");

    std::string quoted(TOKEN_BUFFER_SIZE - 3, ' ');
    quoted += "\"x y z\" tail";
    EXPECT_EQ(Tokens(quoted), (Strings{"\"x y z\"", "tail"}));
}

TEST_F(TokenReaderTest, LogHasEveryTokenOnItsOwnLine)
{
    EXPECT_EQ(Tokens("a \"b c\"\n( d"), (Strings{"a", "\"b c\"", "(", "d"}));
    // The first block is read before the log is opened: no marker for it.
    EXPECT_EQ(Log(), "a\r\n\"b c\"\r\n(\r\n" + MARKER + "d\r\n");

    EXPECT_EQ(Tokens("a b\n"), (Strings{"a", "b"}));
    EXPECT_EQ(Log(), "a\r\nb\r\n" + MARKER); // replaced, not appended
}

TEST_F(TokenReaderTest, WorksTheSameWithoutALog)
{
    const std::string input = WriteInput("one two");
    SetDriveRoot((Dir / "no" / "such" / "folder").string());
    CTokenReader reader;
    ASSERT_TRUE(reader.Open(input.c_str()));
    CToken token;
    ASSERT_TRUE(reader.Next(token));
    EXPECT_TRUE(token == "one");
    ASSERT_TRUE(reader.Next(token));
    EXPECT_TRUE(token == "two");
    EXPECT_FALSE(reader.Next(token));
}

TEST_F(TokenReaderTest, OpenAgainStartsOver)
{
    CTokenReader reader;
    ASSERT_TRUE(reader.Open(WriteInput("a b c", "first.txt").c_str()));
    CToken token;
    ASSERT_TRUE(reader.Next(token));
    ASSERT_TRUE(reader.Open(WriteInput("x", "second.txt").c_str()));
    ASSERT_TRUE(reader.Next(token));
    EXPECT_TRUE(token == "x");
    EXPECT_FALSE(reader.Next(token));
    EXPECT_EQ(Log(), MARKER + "x\r\n");
}

TEST_F(TokenReaderTest, LongTokensAreCutAndTheirRestDropped)
{
    // Plain, across several blocks.
    const Strings plain = Tokens("before " + std::string(5000, 'x') + " after");
    ASSERT_EQ(plain.size(), 3u);
    EXPECT_EQ(plain[1], std::string(TOKEN_MAX_LENGTH, 'x'));
    EXPECT_EQ(plain[2], "after");

    // Quoted: cut, and still running to its closing quote in the input.
    const Strings quoted = Tokens(QuoteOpen(5000, 'y') + " ( } \" after");
    ASSERT_EQ(quoted.size(), 2u);
    EXPECT_EQ(quoted[0], QuoteOpen(TOKEN_MAX_LENGTH - 1, 'y'));
    EXPECT_EQ(quoted[1], "after");

    // Exactly at the limit nothing is lost; one more is cut.
    EXPECT_EQ(Tokens(std::string(TOKEN_MAX_LENGTH, 'z')),
              (Strings{std::string(TOKEN_MAX_LENGTH, 'z')}));
    EXPECT_EQ(Tokens(std::string(TOKEN_MAX_LENGTH + 1, 'z') + "("),
              (Strings{std::string(TOKEN_MAX_LENGTH, 'z'), "("}));
    // An unterminated quote that is too long gets no closing quote.
    EXPECT_EQ(Tokens(QuoteOpen(2000, 'q')),
              (Strings{QuoteOpen(TOKEN_MAX_LENGTH - 1, 'q')}));
}

TEST_F(TokenReaderTest, ArbitraryBytesNeverBreakTheReader)
{
    std::mt19937 random(1234);
    std::string text(20000, '\0');
    for (char& c : text)
        c = static_cast<char>(random() & 0xFF);
    CTokenReader reader;
    ASSERT_TRUE(reader.Open(WriteInput(text).c_str()));
    CToken token;
    int count = 0;
    while (reader.Next(token)) {
        ASSERT_NE(token.GetString(), nullptr);
        EXPECT_LE(std::string(token.GetString()).size(), static_cast<size_t>(TOKEN_MAX_LENGTH));
        ++count;
    }
    EXPECT_GT(count, 100);

    // A NUL byte ends the text of the token it stands in.
    EXPECT_EQ(Tokens(std::string("ab\0cd ef", 8)), (Strings{"ab", "ef"}));
}
