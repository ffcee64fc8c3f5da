#include "compiler/entities.h"

#include "platform/files.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

// The whole file, or false when it can't be opened.
bool ReadWholeFile(const char* pszFileName, std::string* pText)
{
    int hFile = OpenFileRead(pszFileName);
    if (hFile < 0)
        return false;
    char block[4096];
    for (;;) {
        ssize_t n = ::read(hFile, block, sizeof(block));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        pText->append(block, static_cast<size_t>(n));
    }
    ::close(hFile);
    return true;
}

enum class ETokenKind { End, Open, Close, Quoted, Plain };

struct CEntityToken {
    ETokenKind Kind = ETokenKind::End;
    std::string Text; // a quoted token's text without its quotes
};

// Cuts the text into braces, quoted strings and plain words; "//" outside a
// quoted string starts a comment up to the end of the line.
class CEntityLexer {
public:
    explicit CEntityLexer(const std::string& text) : Text(text) {}

    CEntityToken Next()
    {
        CEntityToken token;
        SkipSpaceAndComments();
        if (nPos >= Text.size())
            return token;
        const char c = Text[nPos];
        if (c == '{' || c == '}') {
            token.Kind = c == '{' ? ETokenKind::Open : ETokenKind::Close;
            ++nPos;
            return token;
        }
        if (c == '"') {
            // No escapes; a string cut off by the end of the file ends there.
            size_t nClose = Text.find('"', nPos + 1);
            size_t nEnd = nClose == std::string::npos ? Text.size() : nClose;
            token.Kind = ETokenKind::Quoted;
            token.Text = Text.substr(nPos + 1, nEnd - nPos - 1);
            nPos = nClose == std::string::npos ? Text.size() : nClose + 1;
            return token;
        }
        const size_t nStart = nPos;
        while (nPos < Text.size() && !IsSpace(Text[nPos]) && Text[nPos] != '"' &&
               Text[nPos] != '{' && Text[nPos] != '}')
            ++nPos;
        token.Kind = ETokenKind::Plain;
        token.Text = Text.substr(nStart, nPos - nStart);
        return token;
    }

private:
    static bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

    void SkipSpaceAndComments()
    {
        for (;;) {
            while (nPos < Text.size() && IsSpace(Text[nPos]))
                ++nPos;
            if (Text.compare(nPos, 2, "//") != 0)
                return;
            size_t nLineEnd = Text.find('\n', nPos);
            nPos = nLineEnd == std::string::npos ? Text.size() : nLineEnd + 1;
        }
    }

    const std::string& Text;
    size_t nPos = 0;
};

// Skips a brush after its "{", up to and including its closing "}".
void SkipBrush(CEntityLexer& lexer)
{
    int nDepth = 1;
    for (;;) {
        const CEntityToken token = lexer.Next();
        if (token.Kind == ETokenKind::End)
            return;
        if (token.Kind == ETokenKind::Open)
            ++nDepth;
        else if (token.Kind == ETokenKind::Close && --nDepth == 0)
            return;
    }
}

// Reads one entity after its "{". False when the file ended inside it.
bool ReadEntity(CEntityLexer& lexer, CEntity* pEntity)
{
    std::string key;
    bool bHaveKey = false;
    for (;;) {
        CEntityToken token = lexer.Next();
        switch (token.Kind) {
        case ETokenKind::End:
            return false;
        case ETokenKind::Close:
            return true;
        case ETokenKind::Open:
            SkipBrush(lexer);
            bHaveKey = false;
            break;
        case ETokenKind::Quoted:
            if (bHaveKey) {
                pEntity->Keys.emplace_back(std::move(key), std::move(token.Text));
                bHaveKey = false;
            } else {
                key = std::move(token.Text);
                bHaveKey = true;
            }
            break;
        case ETokenKind::Plain:
            bHaveKey = false; // stray word: no pair goes across it
            break;
        }
    }
}

} // namespace

const char* CEntity::Get(const char* pszKey) const
{
    if (!pszKey)
        return nullptr;
    for (const auto& pair : Keys) {
        if (pair.first == pszKey)
            return pair.second.c_str();
    }
    return nullptr;
}

bool ReadEntities(const char* pszFileName, std::vector<CEntity>* pOut)
{
    std::string text;
    if (!ReadWholeFile(pszFileName, &text))
        return false;
    CEntityLexer lexer(text);
    for (;;) {
        const CEntityToken token = lexer.Next();
        if (token.Kind == ETokenKind::End)
            return true;
        if (token.Kind != ETokenKind::Open)
            continue; // anything between entities is ignored
        CEntity entity;
        const bool bClosed = ReadEntity(lexer, &entity);
        pOut->push_back(std::move(entity));
        if (!bClosed)
            return true;
    }
}

bool FindStartLocation(const std::vector<CEntity>& entities, CVector* pOut)
{
    for (const CEntity& entity : entities) {
        const char* pszClass = entity.Get("classname");
        if (!pszClass || std::strcmp(pszClass, "info_player_start") != 0)
            continue;
        const char* pszOrigin = entity.Get("origin");
        if (!pszOrigin)
            return false;
        float values[3];
        const char* p = pszOrigin;
        for (float& value : values) {
            char* pEnd = nullptr;
            value = std::strtof(p, &pEnd);
            if (pEnd == p || !std::isfinite(value))
                return false;
            p = pEnd;
        }
        *pOut = CVector(values[0], values[2], values[1]);
        return true;
    }
    return false;
}
