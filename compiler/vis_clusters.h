#pragma once
// The graph that the visibility flow runs on. Reached leaves join where a
// line of sight can pass from one to the other: through a portal, or through
// a face with a reached leaf behind it. The leaves are grouped into clusters,
// compact regions of open space: the joins in open space, widest first, join
// their two clusters while the box round both stays within CLUSTER_SIZE;
// joins in a wall, such as doorways, only take a doorway-sized cluster into
// its neighbour. The joins between two clusters that lie on one plane and
// face one way make one opening (their hull, grown), which gives one way
// through in each direction.
#include "compiler/build_tree.h"
#include "compiler/portal.h"
#include "compiler/vis_geometry.h"

#include <cstdint>
#include <vector>

constexpr double CLUSTER_SIZE = 512.0;
// A cluster no thicker than CLUSTER_THIN and no longer than CLUSTER_DOOR
// fits in a doorway.
constexpr double CLUSTER_THIN = 32.0;
constexpr double CLUSTER_DOOR = 160.0;
// The leaves of a cluster fill at least this share of its box.
constexpr double CLUSTER_FILL = 0.5;
// How far each opening is grown along its plane: a line that the tree's
// line-of-sight test lets through may pass that close outside a portal.
constexpr double OPENING_MARGIN = 0.5;
// How near a face or portal of one leaf another leaf must come to be joined
// to it: the band of a plane, in which a line of sight may pass either way.
constexpr double JOIN_REACH = 0.5;

// One way through an opening: the polygon (grown), its plane facing the
// cluster it leads to, and the two clusters.
struct COpening {
    CWinding Winding;
    CFlowPlane Plane;
    int32_t From;
    int32_t To;
};

struct CFlowGraph {
    // Openings come in pairs, 2k and 2k + 1, the two ways through one hole.
    std::vector<COpening> Openings;
    std::vector<std::vector<int32_t>> Leaving; // per cluster, the openings out of it
    std::vector<int32_t> ClusterOf;            // per leaf
    int32_t ClusterCount = 0;
};

inline int32_t Twin(int32_t opening) { return opening ^ 1; }

// The clusters and openings of the reached leaves of the tree under pRoot
// (in the order given), joined where their faces and portals meet. The
// graph does not depend on the number of threads.
CFlowGraph MakeFlowGraph(const CBuildNode* pRoot, const std::vector<CBuildNode*>& leaves,
                         const CPortal* pPortals, int32_t portalCount, int32_t threads = 1);
