#pragma once
// The flood of the compiler's tree: from the leaf that holds the start
// location it walks through the unblocked portals and marks every leaf it
// reaches with bVisited. A reached leaf is inside the world; the others lie
// outside, behind walls. Each reached node leaves a record in the log
// "c:\vis.txt". Also the generic walks of the tree and the pruning of
// unreached leaves.
#include "compiler/build_tree.h"
#include "geometry/vector.h"

constexpr const char* VIS_LOG_PATH = "c:\\vis.txt";

// What a walk calls for each node. WalkPath steers by the result (true: the
// front subtree, false: the back subtree); the other walks ignore it.
typedef bool (*CNodeVisit)(CBuildNode* pNode, void* context);

// Empties the log, finds the node of *pStart and floods from it. Throws
// CError "Start location is not in the tree." when there is none (a null
// root, or a null pStart).
void SetVisibility(CBuildNode* pRoot, const CVector* pStart);

// Descends from pNode towards the point: a distance of -PLANE_EPSILON or
// less goes back, anything else (a point on the plane too) goes front. Stops
// at the node whose child on that way is null, which need not be a leaf.
// Null for a null node or point.
CBuildNode* FindLeaf(CBuildNode* pNode, const CVector* pPoint);

// Marks pNode and everything joined to it through unblocked portals, writing
// one record per newly marked node to the log, appended. The order is that
// of a depth-first flood: a node's record first, then for each portal in
// order its first leaf and then its second. It runs on a stack of its own,
// so a long chain of leaves cannot exhaust the call stack. A log that can't
// be opened loses the records; the marking goes on.
void FloodLeaf(CBuildNode* pNode);

// Frees each child of pNode that is a leaf (has faces) and was not reached
// by the flood. One level deep: grandchildren are not looked at.
void PruneLeaves(CBuildNode* pNode);

// Walks of the subtree under pNode; nothing happens for a null node or a
// null pfVisit, and null children are skipped. The walks keep their own
// stack, and read a node's children only when the recursive walk would, so a
// visit may change the children still to come.
//   WalkInOrder:   back subtree, node, front subtree
//   WalkPreOrder:  node, back subtree, front subtree
//   WalkPostOrder: back subtree, front subtree, node
//   WalkPath:      node, then the front child if the visit said true, else
//                  the back child, down to a null child
void WalkInOrder(CBuildNode* pNode, CNodeVisit pfVisit, void* context);
void WalkPreOrder(CBuildNode* pNode, CNodeVisit pfVisit, void* context);
void WalkPostOrder(CBuildNode* pNode, CNodeVisit pfVisit, void* context);
void WalkPath(CBuildNode* pNode, CNodeVisit pfVisit, void* context);
