#include "compiler/map_lexer.h"

#include "platform/files.h"

#include <cerrno>
#include <unistd.h>

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

} // namespace

void CMapLexer::SkipSpaceAndComments()
{
    for (;;) {
        while (nPos < Text.size() && IsSpace(Text[nPos])) {
            if (Text[nPos] == '\n')
                ++nLine;
            ++nPos;
        }
        if (Text.compare(nPos, 2, "//") != 0)
            return;
        const size_t nLineEnd = Text.find('\n', nPos);
        nPos = nLineEnd == std::string::npos ? Text.size() : nLineEnd;
    }
}

bool CMapLexer::IsBraceAt(size_t nAt) const
{
    const char c = Text[nAt];
    if (c != '{' && c != '}')
        return false;
    if (nAt + 1 >= Text.size())
        return true;
    const char next = Text[nAt + 1];
    return IsSpace(next) || next == '{' || next == '}' || next == '"';
}

CMapToken CMapLexer::Next()
{
    CMapToken token;
    SkipSpaceAndComments();
    token.Line = nLine;
    if (nPos >= Text.size())
        return token;
    if (IsBraceAt(nPos)) {
        token.Kind = Text[nPos] == '{' ? EMapTokenKind::Open : EMapTokenKind::Close;
        ++nPos;
        return token;
    }
    if (Text[nPos] == '"') {
        // No escapes; a string cut off by the end of the file ends there.
        const size_t nClose = Text.find('"', nPos + 1);
        const size_t nEnd = nClose == std::string::npos ? Text.size() : nClose;
        token.Kind = EMapTokenKind::Quoted;
        token.Text = Text.substr(nPos + 1, nEnd - nPos - 1);
        for (char c : token.Text)
            nLine += c == '\n' ? 1 : 0;
        nPos = nClose == std::string::npos ? Text.size() : nClose + 1;
        return token;
    }
    const size_t nStart = nPos;
    while (nPos < Text.size() && !IsSpace(Text[nPos]) && Text[nPos] != '"')
        ++nPos;
    token.Kind = EMapTokenKind::Word;
    token.Text = Text.substr(nStart, nPos - nStart);
    return token;
}

bool ReadMapText(const char* pszFileName, std::string* pText)
{
    const int hFile = OpenFileRead(pszFileName);
    if (hFile < 0)
        return false;
    char block[4096];
    for (;;) {
        const ssize_t n = ::read(hFile, block, sizeof(block));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        pText->append(block, static_cast<size_t>(n));
    }
    ::close(hFile);
    return true;
}
