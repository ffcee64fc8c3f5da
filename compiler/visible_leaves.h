#pragma once
// The lists of leaves that each reached leaf's light may reach
// (pVisibleLeaves), from the leaf visibility. Light goes from sample to
// sample, and a face's samples stand on a grid that may reach past the face
// and its leaf, so the list of leaf A holds every leaf B with a sample in a
// leaf that is seen from a leaf holding a sample of A. A sample's leaves are
// all those within the band of it, as the line-of-sight test counts a point
// in the band on either side. Each list keeps the order of the leaves and
// holds the leaf itself.
#include "compiler/build_tree.h"
#include "compiler/leaf_visibility.h"

// Needs the grids (MakeGrids): the samples' corners say where they lie.
// Lists the leaves already had are replaced.
void FillVisibleLeaves(CBuildNode* pRoot, const CLeafVisibility& visibility);
