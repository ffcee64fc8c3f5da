#include "compiler/leaf_visibility.h"

#include "compiler/bit_words.h"
#include "compiler/progress.h"
#include "compiler/tree_walk.h"
#include "compiler/vis_flow.h"

#include <algorithm>

CLeafVisibility::CLeafVisibility(std::vector<CBuildNode*> leaves, std::vector<int32_t> clusterOf)
    : LeafList(std::move(leaves)), ClusterOf(std::move(clusterOf)),
      Words((LeafList.size() + 63) / 64)
{
    for (size_t i = 0; i < LeafList.size(); ++i) {
        Sorted.push_back({LeafList[i], static_cast<int32_t>(i)});
        const size_t cluster = static_cast<size_t>(ClusterOf[i]);
        if (ClusterLeaves.size() <= cluster)
            ClusterLeaves.resize(cluster + 1);
        ClusterLeaves[cluster].push_back(static_cast<int32_t>(i));
    }
    std::sort(Sorted.begin(), Sorted.end());
    ClusterRows.assign(ClusterLeaves.size() * Words, 0);
}

CLeafVisibility CLeafVisibility::AllVisible(std::vector<CBuildNode*> leaves)
{
    std::vector<int32_t> one(leaves.size(), 0);
    CLeafVisibility vis(std::move(leaves), std::move(one));
    if (vis.ClusterCount() > 0)
        vis.SetClusters(0, 0);
    return vis;
}

void CLeafVisibility::SetClusters(int32_t from, int32_t to)
{
    uint64_t* pRow = &ClusterRows[static_cast<size_t>(from) * Words];
    for (const int32_t leaf : ClusterLeaves[static_cast<size_t>(to)])
        pRow[leaf >> 6] |= uint64_t(1) << (leaf & 63);
}

int32_t CLeafVisibility::IndexOf(const CBuildNode* pLeaf) const
{
    auto it = std::lower_bound(Sorted.begin(), Sorted.end(),
                               std::pair<const CBuildNode*, int32_t>{pLeaf, -1});
    return it != Sorted.end() && it->first == pLeaf ? it->second : -1;
}

int64_t CLeafVisibility::PairCount() const
{
    int64_t count = 0;
    for (size_t c = 0; c < ClusterLeaves.size(); ++c) {
        int64_t seen = 0;
        for (size_t w = 0; w < Words; ++w)
            seen += __builtin_popcountll(ClusterRows[c * Words + w]);
        count += seen * static_cast<int64_t>(ClusterLeaves[c].size());
    }
    return count;
}

CLeafVisibility FlowVisibility(CBuildNode* pRoot, const CPortal* pPortals, int32_t portalCount,
                               const CPortalRun& run)
{
    std::vector<CBuildNode*> leaves = ReachedLeaves(pRoot);
    const CFlowGraph graph = MakeFlowGraph(pRoot, leaves, pPortals, portalCount);
    CLeafVisibility vis(std::move(leaves), graph.ClusterOf);
    CProgress progress(run.pProgress, "visibility", "openings",
                       static_cast<int64_t>(graph.Openings.size()));
    const CClusterSets seen = FlowOpenings(graph, run.Threads, &progress);
    // A cluster sees itself and what lines through its openings reach.
    for (int32_t c = 0; c < graph.ClusterCount; ++c)
        vis.SetClusters(c, c);
    for (size_t q = 0; q < graph.Openings.size(); ++q) {
        const int32_t from = graph.Openings[q].From;
        ForEachSetBit(seen.Set(q), seen.Words(),
                      [&](size_t to) { vis.SetClusters(from, static_cast<int32_t>(to)); });
    }
    return vis;
}
