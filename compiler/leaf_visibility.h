#pragma once
// Which reached leaves can see which, from a flow through the portals.
//
// The reached leaves are grouped into clusters joined by openings (see
// vis_clusters.h), and lines of sight are followed from each opening through
// the openings beyond it (see vis_flow.h). A cluster sees itself and every
// cluster that a line through one of its openings may reach; each leaf's set
// is its cluster's. The result is conservative: a leaf that some point of
// another can see through the portals is in that leaf's set, and so is the
// rest of its cluster.
#include "compiler/build_tree.h"
#include "compiler/portal.h"

#include <cstdint>
#include <vector>

class CClusterSets;
struct CFlowGraph;

class CLeafVisibility {
public:
    // Every leaf sees every leaf.
    static CLeafVisibility AllVisible(std::vector<CBuildNode*> leaves);

    // The reached leaves in the order of a front-first walk of the tree: the
    // order of the compiled file's leaves.
    const std::vector<CBuildNode*>& Leaves() const { return LeafList; }
    // The place of a reached leaf in Leaves(); -1 for any other node.
    int32_t IndexOf(const CBuildNode* pLeaf) const;
    // The row of leaf 'from': bit (to & 63) of word (to >> 6) tells whether
    // leaf 'to' is in its set. A leaf is in its own set.
    const uint64_t* Row(int32_t from) const
    {
        return &ClusterRows[static_cast<size_t>(ClusterOf[static_cast<size_t>(from)]) * Words];
    }
    size_t RowWords() const { return Words; }
    bool Sees(int32_t from, int32_t to) const { return (Row(from)[to >> 6] >> (to & 63)) & 1u; }
    int32_t ClusterCount() const { return static_cast<int32_t>(ClusterLeaves.size()); }
    // The number of pairs of leaves that see each other, a leaf and itself
    // included.
    int64_t PairCount() const;

private:
    friend CLeafVisibility FlowVisibility(CBuildNode*, const CPortal*, int32_t, const CPortalRun&);
    CLeafVisibility(std::vector<CBuildNode*> leaves, std::vector<int32_t> clusterOf);
    // Puts every leaf of cluster 'to' into the rows of cluster 'from'.
    void SetClusters(int32_t from, int32_t to);
    // The rows of every cluster: itself and the clusters in the sets of
    // its openings.
    void SetRows(const CFlowGraph& graph, const CClusterSets& seen);

    std::vector<CBuildNode*> LeafList;
    std::vector<std::pair<const CBuildNode*, int32_t>> Sorted; // for IndexOf
    std::vector<int32_t> ClusterOf;                            // per leaf
    std::vector<std::vector<int32_t>> ClusterLeaves;           // per cluster
    size_t Words = 0;                                          // 64-bit words per row
    std::vector<uint64_t> ClusterRows;                         // one row per cluster
};

// The flow over the portal array of a flooded tree: every portal whose two
// leaves were reached is part of an opening, blocked or not. Threads and
// progress lines as for the portal stage.
CLeafVisibility FlowVisibility(CBuildNode* pRoot, const CPortal* pPortals, int32_t portalCount,
                               const CPortalRun& run = {});

// The visibility rows of a compiled file whose leaves are 'leaves': row i
// holds the leaves that leaf i sees, itself left out (the viewer draws the
// camera's own leaf first in any case), one bit per leaf in rows of
// VisibilityRowBytes bytes. A leaf without a set has an empty row.
std::vector<uint8_t> FileRows(const CLeafVisibility& visibility,
                              const std::vector<CBuildNode*>& leaves);
