#pragma once
// The map text parser: reads a map text file, keeps the brushes of the world
// entity and delivers a CMapData whose face list is clipped brush by brush and
// whose three tables hold what the faces share. Everything else in the file
// is skipped. There are no error messages: damaged text ends a brush or the
// entity and parsing goes on.
#include "compiler/map_tables.h"
#include "compiler/token.h"

struct CFaceEntry;

// The entry. pMap is a constructed CMapData. False only when the file can't
// be opened; on true the tables, the list and the counts are complete (the
// plane table is left unnumbered for the tree stage).
bool ParseMapFile(const char* pszFileName, CMapData* pMap);

// Reads the world entity after its classname pair: each "{" is a brush, "}"
// ends the entity, anything else is skipped. True when the closing "}" was
// met, false when the input ended first.
bool ParseWorldEntity(CTokenReader& reader, CMapData* pMap);

// Reads faces until a token other than "(" stands where a face would begin
// (that token is consumed) or the face is damaged, then clips the faces read
// against each other. False only when a face can't be built.
bool ParseBrush(CTokenReader& reader, CMapData* pMap);

// Three points "( a b c )" into a plane, each file triple a b c being the
// world vector (a, c, b). False when a "(" is missing or the input ends.
bool ParsePlanePoints(CTokenReader& reader, CPlane* pPlane);

// "[ ux uy uz uoffset ] [ vx vy vz voffset ] rotation uscale vscale", with
// the axes exchanged as for points and a non-zero rotation turned into the
// axes. False when the opening "[" is missing or the input ends.
bool ParseTexMapping(CTokenReader& reader, CTexMapping* pMapping);

// Copies the Index of each entry's name and mapping node into its face's
// TextureIndex and MappingIndex, from pEntry to the end of the list.
void LinkFaceIndices(CFaceEntry* pEntry);
