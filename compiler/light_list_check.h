#pragma once
// Warnings about a light list, read the way ReadLightList reads it (entries
// of five words: texture name, red, green, blue, intensity), each naming the
// file and line: a number that is not a whole number (it is read as its
// leading digits), one beyond the 32-bit range, a colour outside 0 to 255
// (kept as it stands), a negative intensity (the texture darkens what it
// lights), an entry cut short by the end of the file, and each texture
// name that the map does not have.
#include "compiler/map_tables.h"

#include <ostream>

// False when the file can't be read.
bool CheckLightList(const char* pszPath, CTexNameNode* pNames, std::ostream& err);
