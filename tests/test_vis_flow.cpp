#include "compiler/vis_flow.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// A row of clusters 0 .. count - 1 along x, cluster k between x = k and
// x = k + 1, each joined to the next by a square hole at x = k + 1: opening
// 2k leads forward from k to k + 1, its twin 2k + 1 back.
CFlowGraph Row(int32_t count)
{
    CFlowGraph graph;
    graph.ClusterCount = count;
    graph.Leaving.resize(size_t(count));
    for (int32_t k = 0; k + 1 < count; ++k) {
        const double x = k + 1;
        const CWinding hole = {{x, -1, -1}, {x, -1, 1}, {x, 1, 1}, {x, 1, -1}};
        const CFlowPlane forward{{1, 0, 0}, -x};
        graph.Leaving[size_t(k)].push_back(int32_t(graph.Openings.size()));
        graph.Openings.push_back({hole, forward, k, k + 1});
        graph.Leaving[size_t(k + 1)].push_back(int32_t(graph.Openings.size()));
        graph.Openings.push_back({hole, forward.Flipped(), k + 1, k});
    }
    return graph;
}

// The flood from the first opening of a row enters every opening ahead,
// itself first. Entering up to MIGHT_BUDGET it keeps to what lies ahead;
// one more, and it gives up and counts every cluster, the one behind too.
TEST(MightSee, AFloodPastItsBudgetGivesUpAndCountsEveryCluster)
{
    for (const int32_t entered : {int32_t(MIGHT_BUDGET), int32_t(MIGHT_BUDGET) + 1}) {
        const CFlowGraph graph = Row(entered + 1); // a hole, so a way forward, per cluster
        std::vector<uint8_t> gaveUp;
        const CClusterSets sets = MightSee(graph, 2, &gaveUp);
        const bool bOver = entered > int32_t(MIGHT_BUDGET);
        EXPECT_EQ(gaveUp[0], bOver ? 1 : 0) << entered;
        EXPECT_EQ(HasCluster(sets.Set(0), 0), bOver) << "the cluster behind the source";
        EXPECT_TRUE(HasCluster(sets.Set(0), entered)) << "the last cluster ahead";
        // The flood back from the far end has as many openings before it.
        EXPECT_EQ(gaveUp[size_t(2 * (entered - 1) + 1)], bOver ? 1 : 0) << entered;
    }
}

} // namespace
