#include "compiler/entities.h"

#include "compiler/map_lexer.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// Skips a brush after its "{", up to and including its closing "}".
void SkipBrush(CMapLexer& lexer)
{
    int nDepth = 1;
    for (;;) {
        const CMapToken token = lexer.Next();
        if (token.Kind == EMapTokenKind::End)
            return;
        if (token.Kind == EMapTokenKind::Open)
            ++nDepth;
        else if (token.Kind == EMapTokenKind::Close && --nDepth == 0)
            return;
    }
}

// Reads one entity after its "{". False when the file ended inside it.
bool ReadEntity(CMapLexer& lexer, CEntity* pEntity)
{
    std::string key;
    bool bHaveKey = false;
    for (;;) {
        CMapToken token = lexer.Next();
        switch (token.Kind) {
        case EMapTokenKind::End:
            return false;
        case EMapTokenKind::Close:
            return true;
        case EMapTokenKind::Open:
            SkipBrush(lexer);
            bHaveKey = false;
            break;
        case EMapTokenKind::Quoted:
            if (bHaveKey) {
                pEntity->Keys.emplace_back(std::move(key), std::move(token.Text));
                bHaveKey = false;
            } else {
                key = std::move(token.Text);
                bHaveKey = true;
            }
            break;
        case EMapTokenKind::Word:
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
    if (!ReadMapText(pszFileName, &text))
        return false;
    CMapLexer lexer(text);
    for (;;) {
        const CMapToken token = lexer.Next();
        if (token.Kind == EMapTokenKind::End)
            return true;
        if (token.Kind != EMapTokenKind::Open)
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
