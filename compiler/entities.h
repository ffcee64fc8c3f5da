#pragma once
// A reader of the entities of a map text, with all their keys, for the tools
// that need more than the world's brushes (the start location above all).
// It parses on its own and leaves the token log alone; brushes are skipped.
#include "geometry/vector.h"

#include <string>
#include <utility>
#include <vector>

struct CEntity {
    // Keys and values in file order, without their quotes.
    std::vector<std::pair<std::string, std::string>> Keys;

    // The value of the first key of this name (case counts), or null.
    const char* Get(const char* pszKey) const;
};

// Reads every entity of the file into pOut (appended). False when the file
// can't be opened. Damaged text never fails: an entity cut off by the end of
// the file keeps the keys read so far, a key without a value is dropped, and
// "//" starts a comment that runs to the end of the line. Words are cut as
// CMapLexer cuts them, so a texture name such as "{grate" opens no brush.
bool ReadEntities(const char* pszFileName, std::vector<CEntity>* pOut);

// The "origin" of the first entity whose "classname" is "info_player_start",
// three numbers a b c given back as the world vector (a, c, b). False when
// there is no such entity or its origin isn't three numbers.
bool FindStartLocation(const std::vector<CEntity>& entities, CVector* pOut);
