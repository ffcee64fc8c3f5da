#pragma once
// One side of editor map text turned into what the parser reads: how the side
// is to be understood (its dialect), and its final points and texture values.
#include "compiler/map_import.h"

#include <string>
#include <vector>

// A side as the parser gets it, in map text axes. Rotation is 0 wherever the
// axes are final; only this system's own sides keep theirs.
struct CParserSide {
    CMapTriple Points[3] = {};
    CMapTriple Axes[2] = {};
    int32_t Offsets[2] = {};
    double Rotation = 0.0;
    double Scales[2] = {};
};

// The dialect of a side: from its form (bracketed or not, how many numbers
// after the scales), the file's Valve 220 declaration and --format. False
// with the reason when the side fits no dialect or not the one forced.
bool ClassifySide(const CImportSide& side, EMapDialect format, bool bDeclaredValve,
                  ESideDialect* pDialect, std::string* pError);

// The parser's side. False when the side can't be used at all (its plane has
// no normal): the reason is the last note. A texture value that can't be
// used is replaced by a safe one, with a note for each.
bool ConvertSide(const CImportSide& side, ESideDialect dialect, CParserSide* pOut,
                 std::vector<std::string>* pNotes);
