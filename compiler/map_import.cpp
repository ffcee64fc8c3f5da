#include "compiler/map_import.h"

#include "compiler/map_import_side.h"
#include "compiler/map_lexer.h"
#include "compiler/map_parser.h"
#include "compiler/token.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <unistd.h>

namespace {

// Entities whose brushes are part of the world's structure in editors:
// groups and layers, and detail.
const char* const MERGED_CLASSES[] = {"func_group", "func_detail", "func_detail_wall",
                                      "func_detail_fence"};
const char* const WORLD_CLASS = "worldspawn";

struct CDialectName {
    const char* pszName;
    EMapDialect Dialect;
};
const CDialectName DIALECT_NAMES[] = {
    {"auto", EMapDialect::Auto},   {"vorlane", EMapDialect::Vorlane},
    {"valve", EMapDialect::Valve220}, {"quake", EMapDialect::Quake},
    {"quake2", EMapDialect::Quake2}, {"hexen2", EMapDialect::Hexen2},
};

// Names of the side dialects, by ESideDialect.
const char* const SIDE_DIALECT_NAMES[] = {
    "Vorlane", "Valve 220", "Quake", "Quake 2", "Quake 2 with Valve 220 axes",
    "Hexen 2", "Hexen 2 with Valve 220 axes"};
static_assert(std::size(SIDE_DIALECT_NAMES) == static_cast<size_t>(ESideDialect::Count));

// Warnings listed one by one before the rest are only counted.
constexpr int32_t LISTED_WARNINGS = 20;

// Texture names go to the parser as hexadecimal text (see EncodeName), two
// characters a byte, within the token reader's limit.
constexpr size_t MAX_NAME_BYTES = TOKEN_MAX_LENGTH / 2;

const char* const HEX_DIGITS = "0123456789abcdef";

// The parser cuts tokens at brackets, braces and quotes and would split
// names such as "{grate". Hexadecimal text has none of them, and since its
// digits sort as the bytes they stand for, the parser's name table comes out
// in the same order, with the same indices, as for the names themselves;
// DecodeNames then puts the real names back in place.
std::string EncodeName(const std::string& name)
{
    std::string hex;
    for (unsigned char c : name) {
        hex += HEX_DIGITS[c >> 4];
        hex += HEX_DIGITS[c & 15];
    }
    return hex;
}

int HexValue(char c) { return c <= '9' ? c - '0' : c - 'a' + 10; }

void DecodeNames(CTexNameNode* pRoot)
{
    ForEachTableNode(pRoot, [](CTexNameNode* pNode) {
        const char* pszHex = pNode->Name.GetString();
        std::string name;
        for (size_t i = 0; pszHex && pszHex[i] && pszHex[i + 1]; i += 2)
            name += static_cast<char>(HexValue(pszHex[i]) * 16 + HexValue(pszHex[i + 1]));
        if (!pNode->Name.Set(name.c_str()))
            throw std::bad_alloc();
    });
}

void AddCount(CClassCounts* pCounts, const std::string& name, int32_t count)
{
    for (auto& [known, total] : *pCounts) {
        if (known == name) {
            total += count;
            return;
        }
    }
    pCounts->emplace_back(name, count);
}

std::string Trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// How the file says it was saved as Valve 220: the world's "mapversion" of
// 220, or an editor's "// Format:" comment naming Valve (any flavour).
std::string FindValveDeclaration(const std::string& text,
                                 const std::vector<CImportEntity>& entities)
{
    for (const CImportEntity& entity : entities) {
        const char* pszClass = entity.Entity.Get("classname");
        const char* pszVersion = entity.Entity.Get("mapversion");
        if (pszClass && std::string(pszClass) == WORLD_CLASS && pszVersion &&
            Trimmed(pszVersion) == "220")
            return "\"mapversion\" \"220\"";
    }
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = Trimmed(text.substr(start, end - start));
        if (line.rfind("//", 0) == 0) {
            const std::string comment = Trimmed(line.substr(2));
            if (comment.rfind("Format:", 0) == 0 && comment.find("Valve") != std::string::npos)
                return line;
        }
        start = end + 1;
    }
    return "";
}

bool IsKeptClass(const std::string& name, bool bWorldOnly)
{
    if (name == WORLD_CLASS)
        return true;
    if (bWorldOnly)
        return false;
    return std::find_if(std::begin(MERGED_CLASSES), std::end(MERGED_CLASSES),
                        [&](const char* pszClass) { return name == pszClass; }) !=
           std::end(MERGED_CLASSES);
}

// Warnings naming file and line; after the first few only counted.
class CWarnings {
public:
    CWarnings(const std::string& path, std::ostream& err) : Path(path), Err(err) {}
    ~CWarnings()
    {
        if (nCount > LISTED_WARNINGS)
            Err << "warning: " << Path << ": " << nCount - LISTED_WARNINGS
                << " more warnings like these, not listed\n";
    }
    CWarnings(const CWarnings&) = delete;
    CWarnings& operator=(const CWarnings&) = delete;

    void Add(int32_t line, const std::string& text)
    {
        if (nCount++ < LISTED_WARNINGS)
            Err << "warning: " << Path << ":" << line << ": " << text << "\n";
    }

private:
    const std::string& Path;
    std::ostream& Err;
    int32_t nCount = 0;
};

// The parser's input, in a temporary file that is removed with this object.
class CTempMapFile {
public:
    CTempMapFile() = default;
    ~CTempMapFile()
    {
        if (pFile)
            std::fclose(pFile);
        if (!Path.empty())
            ::unlink(Path.c_str());
    }
    CTempMapFile(const CTempMapFile&) = delete;
    CTempMapFile& operator=(const CTempMapFile&) = delete;

    bool Create()
    {
        std::error_code error;
        std::string pattern =
            (std::filesystem::temp_directory_path(error) / "vorlane-import-XXXXXX.map").string();
        if (error)
            pattern = "/tmp/vorlane-import-XXXXXX.map";
        const int hFile = ::mkstemps(pattern.data(), 4);
        if (hFile < 0)
            return false;
        Path = pattern;
        pFile = ::fdopen(hFile, "w");
        if (!pFile)
            ::close(hFile);
        return pFile != nullptr;
    }
    // Closes the file; false when anything failed to be written.
    bool Finish()
    {
        const bool bOk = !std::ferror(pFile);
        const bool bClosed = std::fclose(pFile) == 0;
        pFile = nullptr;
        return bOk && bClosed;
    }

    FILE* pFile = nullptr;
    std::string Path;
};

// A number as the parser reads it: rounded to float, then written with the
// digits that give the same float back.
void WriteNumber(FILE* pFile, double value)
{
    std::fprintf(pFile, " %.9g", static_cast<double>(static_cast<float>(value)));
}

void WriteTriple(FILE* pFile, const CMapTriple& triple)
{
    for (double value : triple)
        WriteNumber(pFile, value);
}

void WriteSide(FILE* pFile, const CParserSide& side, const std::string& name)
{
    for (const CMapTriple& point : side.Points) {
        std::fputs("(", pFile);
        WriteTriple(pFile, point);
        std::fputs(" ) ", pFile);
    }
    std::fputs(EncodeName(name).c_str(), pFile);
    for (int axis = 0; axis < 2; ++axis) {
        std::fputs(" [", pFile);
        WriteTriple(pFile, side.Axes[axis]);
        std::fprintf(pFile, " %d ]", static_cast<int>(side.Offsets[axis]));
    }
    WriteNumber(pFile, side.Rotation);
    WriteNumber(pFile, side.Scales[0]);
    WriteNumber(pFile, side.Scales[1]);
    std::fputs("\n", pFile);
}

// What the world writer needs besides the file: the import's options and
// record, and where warnings go.
struct CWorldWriter {
    const CImportOptions& Options;
    bool bDeclaredValve;
    CMapImport* pImport;
    CWarnings& Warnings;
    FILE* pFile;

    // One side of a kept brush. False with the reason for a side that fits
    // no dialect; an unusable side is skipped with a warning.
    bool WriteSideOf(const CImportSide& side, std::string* pError)
    {
        ESideDialect dialect;
        if (!ClassifySide(side, Options.Format, bDeclaredValve, &dialect, pError)) {
            *pError = "line " + std::to_string(side.Line) + ": " + *pError;
            return false;
        }
        ++pImport->SideDialects[static_cast<int>(dialect)];
        std::vector<std::string> notes;
        CParserSide converted;
        const bool bUsable = ConvertSide(side, dialect, &converted, &notes);
        for (const std::string& note : notes)
            Warnings.Add(side.Line, note);
        if (!bUsable) {
            ++pImport->SidesSkipped;
            return true;
        }
        pImport->ValuesRepaired += static_cast<int32_t>(notes.size());
        std::string texture = side.Texture;
        if (texture.size() > MAX_NAME_BYTES) {
            texture.resize(MAX_NAME_BYTES);
            Warnings.Add(side.Line, "texture name cut to its first " +
                                        std::to_string(MAX_NAME_BYTES) + " characters");
        }
        WriteSide(pFile, converted, texture);
        ++pImport->SidesKept;
        return true;
    }

    // The brushes of an entity, when its class joins the world; counted
    // either way.
    bool WriteEntity(const CImportEntity& entity, std::string* pError)
    {
        const char* pszClass = entity.Entity.Get("classname");
        const std::string name = pszClass ? pszClass : "(no classname)";
        int32_t sides = 0;
        for (const CImportBrush& brush : entity.Brushes)
            sides += static_cast<int32_t>(brush.Sides.size());
        pImport->SidesRead += sides;
        if (entity.Brushes.empty())
            return true;
        const int32_t brushes = static_cast<int32_t>(entity.Brushes.size());
        if (!IsKeptClass(name, Options.bWorldOnly)) {
            AddCount(&pImport->SkippedBrushes, name, brushes);
            pImport->SidesInSkippedBrushes += sides;
            return true;
        }
        AddCount(&pImport->KeptBrushes, name, brushes);
        for (const CImportBrush& brush : entity.Brushes) {
            std::fputs("{\n", pFile);
            for (const CImportSide& side : brush.Sides) {
                if (!WriteSideOf(side, pError))
                    return false;
            }
            std::fputs("}\n", pFile);
        }
        return true;
    }
};

// Writes the kept brushes as the parser's one world entity.
bool WriteWorld(const std::string& text, const CImportOptions& options, CMapImport* pImport,
                CWarnings& warnings, FILE* pFile, std::string* pError)
{
    pImport->Declaration = FindValveDeclaration(text, pImport->Entities);
    pImport->KeptBrushes.emplace_back(WORLD_CLASS, 0);
    CWorldWriter writer{options, !pImport->Declaration.empty(), pImport, warnings, pFile};
    std::fputs("{\n\"classname\" \"worldspawn\"\n", pFile);
    for (const CImportEntity& entity : pImport->Entities) {
        if (!writer.WriteEntity(entity, pError))
            return false;
    }
    std::fputs("}\n", pFile);
    return true;
}

} // namespace

bool ParseMapDialect(const std::string& name, EMapDialect* pDialect)
{
    for (const CDialectName& entry : DIALECT_NAMES) {
        if (name == entry.pszName) {
            *pDialect = entry.Dialect;
            return true;
        }
    }
    return false;
}

std::string MapDialectNames()
{
    std::string names;
    for (const CDialectName& entry : DIALECT_NAMES)
        names += (names.empty() ? "" : ", ") + std::string(entry.pszName);
    return names;
}

bool ImportMapFile(const std::string& path, const CImportOptions& options, CMapData* pMap,
                   CMapImport* pImport, std::ostream& err, std::string* pError)
{
    std::string text;
    if (!ReadMapText(path.c_str(), &text)) {
        *pError = "cannot open the map file";
        return false;
    }
    if (!ReadImportText(text, &pImport->Entities, pError))
        return false;

    CTempMapFile temp;
    if (!temp.Create()) {
        *pError = "cannot make a temporary file for the parser";
        return false;
    }
    {
        CWarnings warnings(path, err);
        if (!WriteWorld(text, options, pImport, warnings, temp.pFile, pError))
            return false;
    }
    if (!temp.Finish()) {
        *pError = "cannot write the temporary file " + temp.Path;
        return false;
    }
    if (!ParseMapFile(temp.Path.c_str(), pMap)) {
        *pError = "cannot read the temporary file " + temp.Path;
        return false;
    }
    DecodeNames(pMap->pNames);
    pImport->FacesParsed = pMap->FaceCount;
    if (pImport->FacesParsed != pImport->SidesKept) {
        *pError = "the parser made " + std::to_string(pImport->FacesParsed) + " faces of " +
                  std::to_string(pImport->SidesKept) + " sides";
        return false;
    }
    return true;
}

void PrintImportSummary(const CMapImport& import, std::ostream& log)
{
    std::string dialects;
    for (int i = 0; i < static_cast<int>(ESideDialect::Count); ++i) {
        if (import.SideDialects[i] > 0)
            dialects += (dialects.empty() ? "" : ", ") + std::string(SIDE_DIALECT_NAMES[i]) +
                        " " + std::to_string(import.SideDialects[i]) + " sides";
    }
    log << "Dialect:\t" << (dialects.empty() ? "none (no sides)" : dialects);
    if (!import.Declaration.empty())
        log << "; declared Valve 220 by " << import.Declaration;
    log << "\n";

    auto list = [](CClassCounts counts) {
        std::stable_sort(counts.begin(), counts.end(),
                         [](const auto& a, const auto& b) { return a.second > b.second; });
        std::string text;
        for (const auto& [name, count] : counts)
            text += (text.empty() ? "" : ", ") + name + " " + std::to_string(count);
        return text.empty() ? std::string("none") : text;
    };
    CClassCounts merged(import.KeptBrushes.begin() + (import.KeptBrushes.empty() ? 0 : 1),
                        import.KeptBrushes.end());
    log << "Brushes:\t";
    if (!import.KeptBrushes.empty())
        log << import.KeptBrushes.front().first << " " << import.KeptBrushes.front().second;
    if (!merged.empty())
        log << ", " << list(merged);
    log << "; skipped: " << list(import.SkippedBrushes) << "\n";

    log << "Sides:\t" << import.SidesRead << " read, " << import.SidesKept << " kept, "
        << import.SidesInSkippedBrushes << " in skipped brushes, " << import.SidesSkipped
        << " unusable" << (import.SidesSkipped > 0 ? " (see the warnings)" : "") << "\n";
    log << "Texture values replaced:\t" << import.ValuesRepaired << std::endl;
}
