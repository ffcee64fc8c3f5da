#pragma once
// The built tree as flat arrays for the portal stage: nodes by index, root
// first, each leaf with the planes of its walls made once, and each node
// marked where a node above splits by the same plane.
#include "compiler/build_tree.h"
#include "compiler/portal_fragments.h"

#include <cstdint>
#include <vector>

// A node of the flat tree.
struct CFlatNode {
    CPlane Plane;
    int32_t Front = -1; // child indices; -1 for a null child
    int32_t Back = -1;
    int32_t Leaf = -1; // index in CFlatTree::Leaves for a node with faces
    // FACE_FRONT or FACE_BACK: a fragment that reaches this node lay on that
    // side of the nearest node above with the same plane, to the bit, or the
    // flipped plane (where the side is turned round too); 0 when there is none.
    int32_t SameSide = 0;
};

// A node with faces.
struct CFlatLeaf {
    CBuildNode* pNode;
    std::vector<CWallPlane> Walls; // one per face
};

// The nodes, root first, and the leaves.
struct CFlatTree {
    std::vector<CFlatNode> Nodes;
    std::vector<CFlatLeaf> Leaves;
};

// The tree of pRoot; empty for a null root.
CFlatTree MakeFlatTree(CBuildNode* pRoot);
