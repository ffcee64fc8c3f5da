#pragma once
// What vorlane-compile checks and tells around the compile proper: where
// the start location stands, which brushes reach beyond the base square,
// and whether the flood leaks, with the point file that shows the way out.
// Warnings go to err as "warning: MAP: text"; a check that stops the
// compile gives its reason back instead (empty: go on).
#include "compiler/build_tree.h"
#include "compiler/map_brushes.h"

#include <ostream>
#include <string>
#include <vector>

struct CCheckSetting {
    std::string MapPath;
    std::string PointFile; // where the way out of a leak is written
    bool bLeakFail = false; // a leak stops the compile
};

// Settles the start location (world axes, before the map moves) among the
// brushes: a start on a side's plane moves off it, one inside a brush stops
// the compile, one outside every brush is told of and counts as a leak.
// *pOutside tells the last.
std::string SettleStart(const std::vector<CMapBrush>& brushes, const CCheckSetting& setting,
                        CVector* pStart, bool* pOutside, std::ostream& err);

// Names the brushes that lose sides to the squares of size g_fBaseFaceSize:
// the parser's round the file's origin and the portals' round origin, the
// point the map moves to the origin. The result is their count.
int32_t WarnOfBaseSquare(const std::vector<CMapBrush>& brushes, const CVector& origin,
                         const CCheckSetting& setting, std::ostream& err);

// After the flood from start over the tree of a map moved by -shift: a
// leak writes the point file (map text axes) and is told of, naming where
// the way leaves the map; a sealed map removes a stale point file.
std::string ReportLeak(CBuildNode* pRoot, const CVector& start, const CVector& shift,
                       const std::vector<CMapBrush>& brushes, const CCheckSetting& setting,
                       std::ostream& err);

// Deletes the point file of an earlier compile, if there is one.
void RemovePointFile(const CCheckSetting& setting);
