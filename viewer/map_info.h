#pragma once
// The logic of vorlane-info: a summary of a compiled map read into memory,
// the notes on what in it looks wrong without making it unreadable, and the
// run-time point test answered straight from the nodes lump.
#include "geometry/vector.h"
#include "viewer/map_reader.h"

#include <cstdio>
#include <string>
#include <vector>

// True when the point lies in open space by the nodes lump, as the walk-through
// tests the camera: from node 0, a point more than PLANE_EPSILON in front of a
// node's plane goes to the front child only, more than PLANE_EPSILON behind to
// the back child only, and within the band to the front child and, failing
// that, the back child. A leaf is open, a solid child (0) closed, and a map
// without nodes closed everywhere. A child naming a node that does not exist,
// or one that does not come after its parent, counts as solid, so that even a
// hand-made image can not make the descent loop.
bool IsPointOpen(const CMapImage& image, const CVector& point);

// Things the reader accepts that a sound compiler would not write: lump sizes
// with a remainder, faces that no leaf holds, leaves and nodes that the tree
// from node 0 never reaches, lumps longer than their records. One line each.
std::vector<std::string> FindMapWarnings(const CMapImage& image);

// Things that make a file unusable although the reader takes it: a node
// plane or a texture mapping with a value that is not finite (NaN or
// infinite), which sends the point test or the texture coordinates astray.
// One line each.
std::vector<std::string> FindMapProblems(const CMapImage& image);

// Writes the header, the directory and the count of every lump's records.
void PrintMapSummary(std::FILE* pOut, const char* pszPath, const CMapImage& image);

// vorlane-info FILE [--open X Y Z]...: the whole program. Returns the exit
// code: 0 for a valid file, 1 for one that can not be opened, is invalid or
// has problems, 2 for a bad command line.
int RunMapInfo(int argc, char** argv, std::FILE* pOut, std::FILE* pErr);
