#pragma once
// Whether a flooded tree leaks, and along which way: the flood from the
// start location reached space outside the map. Outside is what lies beyond
// the box round all brushes; a reached leaf that holds a point out there is
// an outside leaf, and the shortest chain of open portals from the start's
// leaf to one of them is the way a designer follows to find the gap.
#include "compiler/build_tree.h"
#include "geometry/vector.h"

#include <vector>

struct CLeakTrace {
    // The start, the centre of each portal crossed in order (of its part
    // inside the box), and last the outside leaf's point beyond the box
    // nearest to them: the line an editor draws from a point file.
    std::vector<CVector> Points;
    // Where the way leaves the map: where its last line, out to the point
    // outside, crosses the side of the box.
    CVector Exit;
};

// Traces the way out after the flood from start over the tree under pRoot.
// min and max bound the brushes. True, with the way in *pTrace, when the
// flood reached an outside leaf; false for a sealed map, a start in no leaf
// or a tree without faces.
bool TraceLeak(CBuildNode* pRoot, const CVector& start, const CVector& min, const CVector& max,
               CLeakTrace* pTrace);
