#pragma once
// Whether a flooded tree leaks: the flood from the start location reached
// space outside the map. The faces of a sealed map close the inside off, so
// no reached leaf holds a point beyond the faces' bounding box; a map with a
// gap lets the flood out, and its outside then counts as open.
#include "compiler/build_tree.h"
#include "geometry/vector.h"

// Probes the eight corners and six face centres of the faces' bounding box,
// pushed out by a margin: true, with the probe found in *pWhere, when the
// leaf of one of them was reached. False for a tree with no faces.
bool FindLeak(CBuildNode* pRoot, CVector* pWhere);
