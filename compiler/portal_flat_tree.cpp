#include "compiler/portal_flat_tree.h"

#include "compiler/clip.h"

#include <cstring>
#include <unordered_map>
#include <utility>

namespace {

// The bits of a plane, for finding planes that are the same to the bit.
struct CPlaneBits {
    uint32_t Words[4];

    explicit CPlaneBits(const CPlane& plane) { std::memcpy(Words, &plane, sizeof(Words)); }
    bool operator==(const CPlaneBits& other) const
    {
        return std::memcmp(Words, other.Words, sizeof(Words)) == 0;
    }
};

struct CPlaneBitsHash {
    size_t operator()(const CPlaneBits& bits) const
    {
        uint64_t h = 0;
        for (const uint32_t word : bits.Words)
            h = (h ^ word) * 0x100000001B3ull;
        return static_cast<size_t>(h ^ (h >> 29));
    }
};

// Sets SameSide of every node. The builders often split by one plane again
// lower down, and what a fragment's chain records at the upper node holds at
// the lower one too. A flipped plane gives every distance with its sign
// turned, to the bit, so it turns the sides and nothing else. The walk keeps,
// for each plane, the nodes above with that plane and the side taken there.
void MarkRepeatedPlanes(CFlatTree& tree)
{
    static_assert(sizeof(CPlane) == sizeof(CPlaneBits::Words));
    std::unordered_map<CPlaneBits, int32_t, CPlaneBitsHash> ids;
    std::vector<std::pair<int32_t, int32_t>> nodeIds; // each node's plane, flipped plane
    auto id = [&](const CPlane& plane) {
        return ids.try_emplace(CPlaneBits(plane), static_cast<int32_t>(ids.size())).first->second;
    };
    for (const CFlatNode& node : tree.Nodes) {
        const int32_t own = id(node.Plane);
        nodeIds.emplace_back(own, id(-node.Plane));
    }
    struct COpen {
        int32_t Depth;
        int32_t Side;
    };
    std::vector<std::vector<COpen>> open(ids.size());
    struct CStep {
        int32_t Node;
        int32_t Depth;
        int32_t Stage; // 0 on entry, 1 after the front subtree, 2 after the back
    };
    std::vector<CStep> steps;
    if (!tree.Nodes.empty())
        steps.push_back({0, 0, 0});
    while (!steps.empty()) {
        CStep& step = steps.back();
        CFlatNode& node = tree.Nodes[static_cast<size_t>(step.Node)];
        const auto [own, flipped] = nodeIds[static_cast<size_t>(step.Node)];
        std::vector<COpen>& mine = open[static_cast<size_t>(own)];
        if (step.Stage == 0) {
            const std::vector<COpen>& turned = open[static_cast<size_t>(flipped)];
            const COpen same = mine.empty() ? COpen{-1, 0} : mine.back();
            const COpen other = turned.empty() ? COpen{-1, 0} : turned.back();
            node.SameSide = same.Depth >= other.Depth ? same.Side : -other.Side;
        } else {
            mine.pop_back();
        }
        if (step.Stage == 2) {
            steps.pop_back();
            continue;
        }
        const int32_t side = step.Stage == 0 ? FACE_FRONT : FACE_BACK;
        const int32_t child = step.Stage == 0 ? node.Front : node.Back;
        mine.push_back({step.Depth, side});
        ++step.Stage;
        if (child >= 0)
            steps.push_back({child, step.Depth + 1, 0});
    }
}

} // namespace

CFlatTree MakeFlatTree(CBuildNode* pRoot)
{
    CFlatTree tree;
    if (!pRoot)
        return tree;
    std::vector<std::pair<CBuildNode*, int32_t>> pending{{pRoot, 0}};
    tree.Nodes.push_back({pRoot->Plane});
    while (!pending.empty()) {
        const auto [pNode, index] = pending.back();
        pending.pop_back();
        if (pNode->IsLeaf()) {
            tree.Nodes[static_cast<size_t>(index)].Leaf = static_cast<int32_t>(tree.Leaves.size());
            CFlatLeaf& leaf = tree.Leaves.emplace_back();
            leaf.pNode = pNode;
            for (int32_t i = 0; i < pNode->FaceCount; ++i)
                leaf.Walls.push_back(WallPlane(&pNode->pFaces[i]));
        }
        for (CBuildNode* pChild : {pNode->pFront, pNode->pBack}) {
            if (!pChild)
                continue;
            const int32_t child = static_cast<int32_t>(tree.Nodes.size());
            tree.Nodes.push_back({pChild->Plane});
            CFlatNode& flat = tree.Nodes[static_cast<size_t>(index)];
            (pChild == pNode->pFront ? flat.Front : flat.Back) = child;
            pending.emplace_back(pChild, child);
        }
    }
    MarkRepeatedPlanes(tree);
    return tree;
}

