// The structure of editor map text: entities with their keys and brushes,
// brushes with their sides. Every refusal names the line and what stood there.
#include "compiler/map_import.h"
#include "compiler/map_lexer.h"

#include <cstdlib>

namespace {

constexpr const char* READS_WHAT =
    "; this compiler reads Quake, Quake 2, Hexen 2 and Valve 220 map text";

struct CRefusal {
    int32_t Line;
    std::string Text;
};

[[noreturn]] void Refuse(int32_t line, const std::string& text) { throw CRefusal{line, text}; }

// Brush forms of other games, by the word that opens them.
const char* ForeignBrushForm(const std::string& word)
{
    if (word == "brushDef")
        return "a Quake 3 brush";
    if (word == "brushDef3")
        return "a Doom 3 brush";
    if (word == "patchDef3")
        return "a Doom 3 patch";
    if (word.rfind("patchDef", 0) == 0)
        return "a Quake 3 patch";
    return nullptr;
}

// A number that fills the word; "nan" and "inf" count, and are caught later
// as texture values that can't be used.
bool ReadNumber(const std::string& word, double* pValue)
{
    if (word.empty())
        return false;
    char* pEnd = nullptr;
    const double value = std::strtod(word.c_str(), &pEnd);
    if (*pEnd != '\0')
        return false;
    *pValue = value;
    return true;
}

std::string Shown(const CMapToken& token)
{
    switch (token.Kind) {
    case EMapTokenKind::End:
        return "the end of the file";
    case EMapTokenKind::Open:
        return "'{'";
    case EMapTokenKind::Close:
        return "'}'";
    case EMapTokenKind::Quoted:
        return "\"" + token.Text + "\"";
    case EMapTokenKind::Word:
        break;
    }
    return "'" + token.Text + "'";
}

class CImportReader {
public:
    explicit CImportReader(const std::string& text) : Lexer(text) {}

    void ReadFile(std::vector<CImportEntity>* pEntities)
    {
        for (;;) {
            const CMapToken token = Take();
            if (token.Kind == EMapTokenKind::End)
                return;
            if (token.Kind == EMapTokenKind::Open) {
                pEntities->emplace_back();
                pEntities->back().Line = token.Line;
                ReadEntity(&pEntities->back());
            } else if (token.Kind == EMapTokenKind::Word && token.Text == "Version") {
                Refuse(token.Line, "a Doom 3 map header" + std::string(READS_WHAT));
            } else {
                Refuse(token.Line, Shown(token) + " outside every entity" + READS_WHAT);
            }
        }
    }

private:
    CMapToken Take()
    {
        if (bHavePending) {
            bHavePending = false;
            return Pending;
        }
        return Lexer.Next();
    }
    const CMapToken& Peek()
    {
        if (!bHavePending) {
            Pending = Lexer.Next();
            bHavePending = true;
        }
        return Pending;
    }

    void ReadEntity(CImportEntity* pEntity)
    {
        for (;;) {
            CMapToken token = Take();
            switch (token.Kind) {
            case EMapTokenKind::End:
                Refuse(token.Line, "the map text ends inside the entity that begins on line " +
                                       std::to_string(pEntity->Line));
            case EMapTokenKind::Close:
                return;
            case EMapTokenKind::Open:
                pEntity->Brushes.emplace_back();
                pEntity->Brushes.back().Line = token.Line;
                ReadBrush(&pEntity->Brushes.back());
                break;
            case EMapTokenKind::Quoted: {
                CMapToken value = Take();
                if (value.Kind != EMapTokenKind::Quoted)
                    Refuse(value.Line, "the key \"" + token.Text + "\" has no value (" +
                                           Shown(value) + " follows it)");
                pEntity->Entity.Keys.emplace_back(std::move(token.Text), std::move(value.Text));
                break;
            }
            case EMapTokenKind::Word:
                Refuse(token.Line, Shown(token) + " in an entity, where a key or a brush belongs" +
                                       READS_WHAT);
            }
        }
    }

    void ReadBrush(CImportBrush* pBrush)
    {
        for (;;) {
            const CMapToken token = Take();
            if (token.Kind == EMapTokenKind::Close)
                return;
            if (token.Kind == EMapTokenKind::End)
                Refuse(token.Line, "the map text ends inside the brush that begins on line " +
                                       std::to_string(pBrush->Line));
            if (token.Kind == EMapTokenKind::Word && token.Text == "(") {
                pBrush->Sides.emplace_back();
                pBrush->Sides.back().Line = token.Line;
                ReadSide(&pBrush->Sides.back());
                continue;
            }
            if (const char* pszForm =
                    token.Kind == EMapTokenKind::Word ? ForeignBrushForm(token.Text) : nullptr)
                Refuse(token.Line, pszForm + std::string(READS_WHAT));
            Refuse(token.Line, Shown(token) + " in a brush, where a side's '(' or the brush's '}' "
                                              "belongs" + READS_WHAT);
        }
    }

    void Expect(const char* pszWord, const char* pszWhere)
    {
        const CMapToken token = Take();
        if (token.Kind != EMapTokenKind::Word || token.Text != pszWord)
            Refuse(token.Line, Shown(token) + " where the '" + pszWord + "' of " + pszWhere +
                                   " belongs");
    }

    double Number(const char* pszWhat)
    {
        const CMapToken token = Take();
        double value = 0.0;
        if (token.Kind != EMapTokenKind::Word || !ReadNumber(token.Text, &value))
            Refuse(token.Line, Shown(token) + " where a number (" + pszWhat + ") belongs");
        return value;
    }

    CMapTriple Triple(const char* pszWhat)
    {
        CMapTriple triple{};
        for (double& value : triple)
            value = Number(pszWhat);
        return triple;
    }

    // A side after its first "(".
    void ReadSide(CImportSide* pSide)
    {
        for (int i = 0; i < 3; ++i) {
            if (i > 0)
                Expect("(", "a point");
            pSide->Points[i] = Triple("a point's coordinate");
            Expect(")", "a point");
        }
        const CMapToken name = Take();
        if (name.Kind != EMapTokenKind::Word)
            Refuse(name.Line, Shown(name) + " where the side's texture name belongs");
        pSide->Texture = name.Text;

        if (Peek().Kind == EMapTokenKind::Word && Peek().Text == "[") {
            pSide->bBracketed = true;
            for (int axis = 0; axis < 2; ++axis) {
                Expect("[", "a texture axis");
                pSide->Axes[axis] = Triple("a texture axis");
                pSide->Offsets[axis] = Number("a texture offset");
                Expect("]", "a texture axis");
            }
        } else {
            pSide->Offsets[0] = Number("a texture offset");
            pSide->Offsets[1] = Number("a texture offset");
        }
        pSide->Rotation = Number("the texture rotation");
        pSide->Scales[0] = Number("a texture scale");
        pSide->Scales[1] = Number("a texture scale");

        double value = 0.0;
        while (Peek().Kind == EMapTokenKind::Word && ReadNumber(Peek().Text, &value)) {
            pSide->Surface.push_back(value);
            Take();
        }
    }

    CMapLexer Lexer;
    CMapToken Pending;
    bool bHavePending = false;
};

} // namespace

bool ReadImportText(const std::string& text, std::vector<CImportEntity>* pEntities,
                    std::string* pError)
{
    try {
        CImportReader(text).ReadFile(pEntities);
    } catch (const CRefusal& refusal) {
        *pError = "line " + std::to_string(refusal.Line) + ": " + refusal.Text;
        return false;
    }
    return true;
}
