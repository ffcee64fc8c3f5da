#pragma once
// Where the start location stands among the brushes, before the flood
// starts from it: in open space, on the plane of a side (where the tree's
// tolerance band round a splitter lets the flood start on the wrong side),
// inside a brush, or outside every brush.
#include "compiler/map_brushes.h"

#include <vector>

enum class EStartPlace {
    Open,        // clear of every side's plane, in no brush, among the brushes
    Moved,       // it lay on a side's plane: Start is a point near it, clear of all
    OnPlane,     // it lies on a side's plane and no point near it is clear
    InsideBrush, // in the solid of pBrush
    OutsideMap,  // beyond the box of the brushes' corners
};

// A start moved off a plane keeps at least this distance from every plane.
constexpr double START_CLEARANCE = 0.5;

struct CStartPlace {
    EStartPlace Place = EStartPlace::Open;
    CVector Start;                     // the start to use: moved where Place is Moved
    const CMapBrush* pBrush = nullptr; // the brush it lies in, or whose plane it lies on
    CVector Min, Max;                  // the box of the brushes' corners
};

// Looks at start among the brushes. A start within PLANE_EPSILON of a side's
// plane moves to the first point that keeps START_CLEARANCE from every plane
// and lies in no brush, trying 1 unit along each axis, then 1 unit along
// two axes, then along three, then the same with 2, 4 and 8 units.
CStartPlace PlaceStart(const std::vector<CMapBrush>& brushes, const CVector& start);
