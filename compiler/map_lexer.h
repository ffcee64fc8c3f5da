#pragma once
// The lexer of map texts as level editors write them, shared by the entity
// reader and the importer: braces, quoted strings and words, each with the
// line it starts on. Words end only at white space or a quote, so texture
// names such as "{grate" or "e1u1/{fence" stay whole; a brace is a token of
// its own only where it stands alone (followed by white space, a brace, a
// quote or the end). "//" at the start of a word is a comment up to the end
// of the line.
#include <cstdint>
#include <string>

enum class EMapTokenKind { End, Open, Close, Quoted, Word };

struct CMapToken {
    EMapTokenKind Kind = EMapTokenKind::End;
    std::string Text; // a quoted token's text without its quotes
    int32_t Line = 0; // 1 for the first line
};

class CMapLexer {
public:
    explicit CMapLexer(const std::string& text) : Text(text) {}

    CMapToken Next();
    // The line the lexer stands on: at the end, the last line of the text.
    int32_t Line() const { return nLine; }

private:
    void SkipSpaceAndComments();
    bool IsBraceAt(size_t nAt) const;

    const std::string& Text;
    size_t nPos = 0;
    int32_t nLine = 1;
};

// The whole file through the file layer, or false when it can't be opened.
bool ReadMapText(const char* pszFileName, std::string* pText);
