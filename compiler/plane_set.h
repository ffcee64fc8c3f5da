#pragma once
// Plane sets: the reduction of a list of face planes to a set without
// near-duplicates, for the portal stage, and the flattening of a flooded tree
// back into one face set of the reached faces.
#include "compiler/build_tree.h"
#include "compiler/face_set.h"
#include "geometry/plane.h"

#include <cstdint>

// A new array (new[], the caller's to delete[]) of the planes of pPlanes
// without near-duplicates, sorted by distance up to PLANE_EPSILON.
//
// It sorts like a quicksort on Distance with a tolerance: the pivot is the
// distance of the plane at index count / 2; planes more than PLANE_EPSILON
// below it and above it are sorted apart, and among those within the band
// (the middle group) each later plane whose normal equals an earlier one's
// within NORMAL_EPSILON per component is dropped, the last plane of the group
// moving into its place. The result is below, middle, above. Two planes of
// one normal up to 0.4 apart can merge, and two a little apart can stay two,
// depending on where the pivots fall; opposite normals never merge.
//
// *ppUnique and *pUniqueCount are null and 0 for null pPlanes, a count below
// 1 or a failed allocation. pPlanes is not changed.
void MakeUniquePlanes(const CPlane* pPlanes, int32_t count, CPlane** ppUnique,
                      int32_t* pUniqueCount);

// Collects the faces of the flooded leaves under pNode into a new CFaceSet at
// *ppSet (new; free it with FreeFaceSet and delete), in the order of a walk
// that takes the front child before the back child. Each face is a deep copy
// with the plane pSource->pPlanes[index] for its index in the leaf's
// pPlaneIndices, and that index; pSource is the set the tree was built from.
//
// A node without children is a leaf: it gives true and its faces when it is
// marked and has faces, else true and an empty set. Any other node gives
// false and a null *ppSet when no face is collected under it; a missing child
// counts as an empty side. False and null too for a null node or source, a
// failed allocation, or a leaf whose plane indices are missing or fall
// outside pSource.
bool FlattenTree(const CBuildNode* pNode, const CFaceSet* pSource, CFaceSet** ppSet);
