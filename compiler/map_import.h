#pragma once
// The importer in front of the map text parser. Level editors save map text
// in several dialects: plain Quake (offsets, rotation and scales with no
// axes), Quake 2 and Hexen 2 (surface numbers after the scales) and Valve 220
// (bracketed axes that the editor has already turned). The importer reads
// any of them, side by side, works out each side's final texture axes and
// hands the parser its own form: one world entity, every axis final and
// written with rotation 0 (this system's own bracketed sides keep theirs, so
// the parser turns them as it always has). The brushes of group and detail
// entities join the world.
//
// Anything it can't read stops the import with the line and what was found;
// a side it can't use (three points on one line) is skipped, and a texture
// value it can't use gets a safe one, both with a warning naming file and
// line. Nothing is dropped without a word.
#include "compiler/entities.h"
#include "compiler/map_dialect.h"
#include "compiler/map_tables.h"

#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using CMapTriple = std::array<double, 3>; // x y z in map text axes

// One brush side as the file wrote it.
struct CImportSide {
    int32_t Line = 0;
    CMapTriple Points[3] = {};
    std::string Texture;        // as written: "{grate" and "e1u1/floor" included
    bool bBracketed = false;    // axes in brackets
    CMapTriple Axes[2] = {};    // U and V, bracketed sides only
    double Offsets[2] = {};     // texels
    double Rotation = 0.0;      // degrees
    double Scales[2] = {};      // world units per texel
    std::vector<double> Surface; // after the scales: Quake 2 contents, flags
                                 // and value, or the one Hexen 2 value
};

struct CImportBrush {
    int32_t Line = 0;
    std::vector<CImportSide> Sides;
};

struct CImportEntity {
    int32_t Line = 0;
    CEntity Entity;
    std::vector<CImportBrush> Brushes;
};

// How one side was read, for the summary.
enum class ESideDialect { Vorlane, Valve220, Quake, Quake2, Quake2Valve, Hexen2, Hexen2Valve, Count };

struct CImportOptions {
    EMapDialect Format = EMapDialect::Auto;
    bool bWorldOnly = false; // only the world entity's brushes
};

// Counts by name, in the order first met.
using CClassCounts = std::vector<std::pair<std::string, int32_t>>;

// Everything the import read and did.
struct CMapImport {
    std::vector<CImportEntity> Entities; // the whole file, surface numbers included
    std::string Declaration;             // how the file says it is Valve 220, or empty
    int32_t SideDialects[static_cast<int>(ESideDialect::Count)] = {};
    CClassCounts KeptBrushes;    // the world first, then each merged class
    CClassCounts SkippedBrushes; // by class
    int32_t SidesRead = 0;       // every side line of the file
    int32_t SidesKept = 0;       // handed to the parser
    int32_t SidesInSkippedBrushes = 0;
    int32_t SidesSkipped = 0;    // unusable sides of kept brushes
    int32_t ValuesRepaired = 0;  // texture values replaced by safe ones
    int32_t FacesParsed = 0;     // faces the parser made of the kept sides
};

// Reads the map text at path into pImport and the parser's map into pMap.
// Warnings ("warning: PATH:LINE: ...") go to err. False with the reason in
// *pError ("cannot open the map file", or "line N: ...") when the file can't
// be opened or read.
bool ImportMapFile(const std::string& path, const CImportOptions& options, CMapData* pMap,
                   CMapImport* pImport, std::ostream& err, std::string* pError);

// The summary lines for the designer: dialect, brushes kept and skipped by
// class, sides read against sides kept, sides skipped and values repaired.
void PrintImportSummary(const CMapImport& import, std::ostream& log);

// The structure of a map text: entities, keys, brushes and sides. False with
// "line N: ..." in *pError for anything that isn't editor map text.
bool ReadImportText(const std::string& text, std::vector<CImportEntity>* pEntities,
                    std::string* pError);

// The texture axes that Quake editors give a side whose plane has this
// normal (map text axes): those of the axis plane nearest to the side,
// turned by rotation degrees. Scales and offsets are not part of them.
void QuakeTextureAxes(const CMapTriple& normal, double rotation, CMapTriple* pU, CMapTriple* pV);
