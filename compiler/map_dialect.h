#pragma once
// The dialects of map text that vorlane-compile reads, and their names for
// --format.
#include <string>

enum class EMapDialect {
    Auto,     // told apart side by side
    Vorlane,  // bracketed axes; a rotation turns them (this system's own form)
    Valve220, // bracketed axes, used as they stand
    Quake,    // no axes: the classic projection from offsets, rotation, scales
    Quake2,   // three surface numbers after the scales, with or without axes
    Hexen2,   // one number after the scales, with or without axes
};

// The dialect of a --format name; false for a name that isn't one.
bool ParseMapDialect(const std::string& name, EMapDialect* pDialect);

// "auto, vorlane, valve, quake, quake2, hexen2", for usage texts.
std::string MapDialectNames();
