#include "compiler/leaf_visibility.h"

#include "compiler/bit_words.h"
#include "compiler/progress.h"
#include "compiler/tree_walk.h"
#include "compiler/vis_flow.h"
#include "viewer/map_format.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

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

namespace {

// The clusters that cluster c sees: itself and those that the sets of its
// openings hold.
void ClustersSeenFrom(const CFlowGraph& graph, const CClusterSets& seen, int32_t c,
                      std::vector<uint64_t>* pSet)
{
    pSet->assign(seen.Words(), 0);
    AddCluster(pSet->data(), c);
    for (const int32_t q : graph.Leaving[static_cast<size_t>(c)]) {
        const uint64_t* pSeen = seen.Set(static_cast<size_t>(q));
        for (size_t w = 0; w < pSet->size(); ++w)
            (*pSet)[w] |= pSeen[w];
    }
}

} // namespace

void CLeafVisibility::SetRows(const CFlowGraph& graph, const CClusterSets& seen)
{
    // Clusters that see the same clusters share a row: it is made once and
    // copied (on a map where every cluster sees all, that is every row).
    std::unordered_map<uint64_t, std::vector<int32_t>> made; // by a hash of the set
    std::vector<uint64_t> set;
    std::vector<uint64_t> other;
    for (int32_t c = 0; c < ClusterCount(); ++c) {
        ClustersSeenFrom(graph, seen, c, &set);
        std::vector<int32_t>& same = made[HashOfWords(set.data(), set.size())];
        const auto equal = std::find_if(same.begin(), same.end(), [&](int32_t d) {
            ClustersSeenFrom(graph, seen, d, &other);
            return other == set;
        });
        uint64_t* pRow = &ClusterRows[static_cast<size_t>(c) * Words];
        if (equal != same.end()) {
            const uint64_t* pMade = &ClusterRows[static_cast<size_t>(*equal) * Words];
            std::copy(pMade, pMade + Words, pRow);
            continue;
        }
        ForEachSetBit(set.data(), set.size(),
                      [&](size_t to) { SetClusters(c, static_cast<int32_t>(to)); });
        same.push_back(c);
    }
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
    const CFlowGraph graph = MakeFlowGraph(pRoot, leaves, pPortals, portalCount, run.Threads);
    CLeafVisibility vis(std::move(leaves), graph.ClusterOf);
    CProgress progress(run.pProgress, "visibility", "openings",
                       static_cast<int64_t>(graph.Openings.size()));
    const CClusterSets seen = FlowOpenings(graph, run.Threads, &progress);
    vis.SetRows(graph, seen);
    return vis;
}

std::vector<uint8_t> FileRows(const CLeafVisibility& visibility,
                              const std::vector<CBuildNode*>& leaves)
{
    const int32_t leafCount = static_cast<int32_t>(leaves.size());
    const size_t rowBytes = static_cast<size_t>(VisibilityRowBytes(leafCount));
    std::vector<uint8_t> rows(rowBytes * static_cast<size_t>(leafCount), 0);
    std::vector<int32_t> indexOf(leaves.size()); // by written leaf
    std::vector<int32_t> written(visibility.Leaves().size(), -1); // by visibility index
    for (int32_t i = 0; i < leafCount; ++i) {
        const int32_t index = visibility.IndexOf(leaves[static_cast<size_t>(i)]);
        indexOf[static_cast<size_t>(i)] = index;
        if (index >= 0)
            written[static_cast<size_t>(index)] = i;
    }
    // When the first leaves written are the visibility's leaves in its
    // order (the usual case), a set's words are the row's bytes.
    bool bSameOrder = true;
    for (size_t k = 0; k < written.size() && bSameOrder; ++k)
        bSameOrder = written[k] == static_cast<int32_t>(k);
    const size_t copyBytes = std::min(rowBytes, visibility.RowWords() * 8);
    for (int32_t i = 0; i < leafCount; ++i) {
        const int32_t index = indexOf[static_cast<size_t>(i)];
        if (index < 0)
            continue;
        uint8_t* pRow = &rows[static_cast<size_t>(i) * rowBytes];
        const uint64_t* pSeen = visibility.Row(index);
        if (bSameOrder) {
            // The compiler builds for little-endian hosts only (map_writer.cpp):
            // a word's bytes stand in the row's order.
            std::memcpy(pRow, pSeen, copyBytes);
            pRow[i >> 3] &= static_cast<uint8_t>(~(1u << (i & 7)));
            continue;
        }
        ForEachSetBit(pSeen, visibility.RowWords(), [&](size_t seen) {
            const int32_t j = written[seen];
            if (j >= 0 && j != i)
                pRow[j >> 3] |= static_cast<uint8_t>(1u << (j & 7));
        });
    }
    return rows;
}
