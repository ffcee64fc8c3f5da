#include "compiler/vis_clusters.h"

#include "compiler/vis_walls.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <unordered_map>

namespace {

// What the clustering needs of the leaves.
struct CLeafSet {
    const std::vector<CBuildNode*>* pLeaves;
    std::unordered_map<const CBuildNode*, int32_t> IndexOf;
    std::vector<std::vector<CPoint>> Corners; // per leaf: its faces' and portals' vertices
    std::vector<CBox> Boxes;                  // per leaf: round its corners
};

CLeafSet MakeLeafSet(const std::vector<CBuildNode*>& leaves, const CPortal* pPortals,
                     int32_t count)
{
    CLeafSet set{&leaves, {}, std::vector<std::vector<CPoint>>(leaves.size()),
                 std::vector<CBox>(leaves.size())};
    auto add = [&](size_t leaf, const CLeafFace& polygon) {
        for (int32_t v = 0; polygon.pVertices && v < polygon.VertexCount; ++v)
            set.Corners[leaf].push_back(ToPoint(polygon.pVertices[v].Position));
    };
    for (size_t i = 0; i < leaves.size(); ++i) {
        set.IndexOf[leaves[i]] = static_cast<int32_t>(i);
        for (int32_t f = 0; f < leaves[i]->FaceCount; ++f)
            add(i, leaves[i]->pFaces[f]);
    }
    for (int32_t p = 0; pPortals && p < count; ++p) {
        for (int32_t side = 0; side < pPortals[p].NodeCount; ++side) {
            auto it = set.IndexOf.find(pPortals[p].pNodes[side]);
            if (it != set.IndexOf.end())
                add(static_cast<size_t>(it->second), pPortals[p].Winding);
        }
    }
    for (size_t i = 0; i < leaves.size(); ++i) {
        for (const CPoint& p : set.Corners[i])
            set.Boxes[i].Add(p);
    }
    return set;
}

// Which side of the plane a leaf lies on, by its corner farthest from the
// plane: 1 in front, -1 behind, 0 when all lie on it. A leaf is convex, so
// all of it lies on that side.
int LeafSide(const std::vector<CPoint>& corners, const CFlowPlane& plane)
{
    double farthest = 0;
    for (const CPoint& p : corners) {
        const double d = plane.DistanceTo(p);
        if (std::fabs(d) > std::fabs(farthest))
            farthest = d;
    }
    return farthest > 0.01 ? 1 : farthest < -0.01 ? -1 : 0;
}

// The portals between two leaves, all on the face where the two convex
// cells meet, with the plane of that face turned away from leaf A, and the
// sum of their areas.
struct CLeafJoin {
    int32_t A, B;
    CFlowPlane Plane;
    std::vector<CPoint> Points;
    double Area = 0;
};

std::vector<CLeafJoin> JoinLeaves(const CLeafSet& set, const CPortal* pPortals, int32_t count)
{
    std::vector<CLeafJoin> joins;
    std::unordered_map<uint64_t, size_t> joinOf;
    CWinding winding;
    for (int32_t i = 0; pPortals && i < count; ++i) {
        const CPortal& portal = pPortals[i];
        if (portal.NodeCount != 2 || !portal.Winding.pVertices || portal.Winding.VertexCount < 3)
            continue;
        auto itA = set.IndexOf.find(portal.pNodes[0]);
        auto itB = set.IndexOf.find(portal.pNodes[1]);
        if (itA == set.IndexOf.end() || itB == set.IndexOf.end() || itA->second == itB->second)
            continue;
        const int32_t a = std::min(itA->second, itB->second);
        const int32_t b = std::max(itA->second, itB->second);
        const uint64_t key = (uint64_t(uint32_t(a)) << 32) | uint32_t(b);
        auto [it, bNew] = joinOf.try_emplace(key, joins.size());
        if (bNew)
            joins.push_back({a, b, {ToPoint(portal.Plane.Normal), portal.Plane.Distance}, {}});
        CLeafJoin& join = joins[it->second];
        winding.clear();
        for (int32_t j = 0; j < portal.Winding.VertexCount; ++j)
            winding.push_back(ToPoint(portal.Winding.pVertices[j].Position));
        join.Points.insert(join.Points.end(), winding.begin(), winding.end());
        join.Area += Area(winding);
    }
    for (CLeafJoin& join : joins) {
        int side = LeafSide(set.Corners[static_cast<size_t>(join.A)], join.Plane);
        if (side == 0)
            side = -LeafSide(set.Corners[static_cast<size_t>(join.B)], join.Plane);
        if (side > 0)
            join.Plane = join.Plane.Flipped();
    }
    return joins;
}

// The cluster of each leaf. The joins in open space, widest first, merge
// their two clusters while the box round both stays within CLUSTER_SIZE; then
// the joins in a wall merge a cluster no thicker than CLUSTER_THIN (such as
// the leaves inside a doorway) into its neighbour. Clusters are numbered in
// the order of their first leaf.
std::vector<int32_t> MakeClusters(const CLeafSet& set, const std::vector<CLeafJoin>& joins,
                                  int32_t* pClusterCount)
{
    const size_t count = set.Boxes.size();
    std::vector<int32_t> parent(count);
    std::iota(parent.begin(), parent.end(), 0);
    std::vector<CBox> boxes = set.Boxes;
    std::vector<double> filled(count);
    for (size_t i = 0; i < count; ++i)
        filled[i] = boxes[i].Volume();
    auto find = [&](int32_t leaf) {
        while (parent[static_cast<size_t>(leaf)] != leaf) {
            parent[static_cast<size_t>(leaf)] =
                parent[static_cast<size_t>(parent[static_cast<size_t>(leaf)])];
            leaf = parent[static_cast<size_t>(leaf)];
        }
        return leaf;
    };
    const CWallIndex walls(*set.pLeaves);
    std::vector<uint8_t> inWall(joins.size());
    for (size_t i = 0; i < joins.size(); ++i) {
        CPoint centre;
        for (const CPoint& p : joins[i].Points)
            centre = centre + p;
        centre = centre * (1.0 / static_cast<double>(joins[i].Points.size()));
        inWall[i] = walls.InWall(joins[i].Plane, centre);
    }
    std::vector<size_t> order(joins.size());
    std::iota(order.begin(), order.end(), size_t(0));
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t i, size_t j) { return joins[i].Area > joins[j].Area; });
    for (const uint8_t bWallPass : {0, 1}) {
        for (const size_t i : order) {
            if (inWall[i] != bWallPass)
                continue;
            const int32_t a = find(joins[i].A);
            const int32_t b = find(joins[i].B);
            if (a == b)
                continue;
            CBox both = boxes[static_cast<size_t>(a)];
            both.Add(boxes[static_cast<size_t>(b)]);
            const double fill = filled[static_cast<size_t>(a)] + filled[static_cast<size_t>(b)];
            const double sizeA = boxes[static_cast<size_t>(a)].Size();
            const double sizeB = boxes[static_cast<size_t>(b)].Size();
            const bool bLong = sizeA > CLUSTER_SIZE && sizeB > CLUSTER_SIZE &&
                               both.Size() <= std::max(sizeA, sizeB);
            if ((both.Size() > CLUSTER_SIZE && !bLong) || fill < CLUSTER_FILL * both.Volume() ||
                (bWallPass && boxes[static_cast<size_t>(a)].Thickness() > CLUSTER_THIN &&
                 boxes[static_cast<size_t>(b)].Thickness() > CLUSTER_THIN))
                continue;
            parent[static_cast<size_t>(b)] = a;
            boxes[static_cast<size_t>(a)] = both;
            filled[static_cast<size_t>(a)] = fill;
        }
    }

    std::vector<int32_t> clusterOf(count, -1);
    std::vector<int32_t> number(count, -1);
    int32_t clusters = 0;
    for (size_t i = 0; i < count; ++i) {
        int32_t& root = number[static_cast<size_t>(find(static_cast<int32_t>(i)))];
        if (root < 0)
            root = clusters++;
        clusterOf[i] = root;
    }
    *pClusterCount = clusters;
    return clusterOf;
}

} // namespace

CFlowGraph MakeFlowGraph(const std::vector<CBuildNode*>& leaves, const CPortal* pPortals,
                         int32_t portalCount)
{
    const CLeafSet set = MakeLeafSet(leaves, pPortals, portalCount);
    const std::vector<CLeafJoin> joins = JoinLeaves(set, pPortals, portalCount);
    CFlowGraph graph;
    graph.ClusterOf = MakeClusters(set, joins, &graph.ClusterCount);
    graph.Leaving.resize(static_cast<size_t>(graph.ClusterCount));

    struct CGroup {
        int32_t A, B; // clusters; the plane faces away from A
        CFlowPlane Plane;
        std::vector<CPoint> Points;
    };
    std::vector<CGroup> groups;
    std::unordered_map<uint64_t, std::vector<size_t>> groupsOf; // by cluster pair
    for (const CLeafJoin& join : joins) {
        int32_t a = graph.ClusterOf[static_cast<size_t>(join.A)];
        int32_t b = graph.ClusterOf[static_cast<size_t>(join.B)];
        if (a == b)
            continue;
        CFlowPlane plane = join.Plane;
        if (a > b) {
            std::swap(a, b);
            plane = plane.Flipped();
        }
        std::vector<size_t>& list = groupsOf[(uint64_t(uint32_t(a)) << 32) | uint32_t(b)];
        auto same = std::find_if(list.begin(), list.end(), [&](size_t g) {
            const CFlowPlane& other = groups[g].Plane;
            return Dot(other.Normal, plane.Normal) > 0.999 &&
                   std::fabs(other.Distance - plane.Distance) < 0.5;
        });
        if (same == list.end()) {
            list.push_back(groups.size());
            groups.push_back({a, b, plane, {}});
            same = list.end() - 1;
        }
        std::vector<CPoint>& points = groups[*same].Points;
        points.insert(points.end(), join.Points.begin(), join.Points.end());
    }

    for (const CGroup& group : groups) {
        CWinding winding = Grow(group.Points, group.Plane.Normal, OPENING_MARGIN);
        if (winding.size() < 3)
            continue;
        graph.Leaving[static_cast<size_t>(group.A)].push_back(
            static_cast<int32_t>(graph.Openings.size()));
        graph.Openings.push_back({winding, group.Plane, group.A, group.B});
        graph.Leaving[static_cast<size_t>(group.B)].push_back(
            static_cast<int32_t>(graph.Openings.size()));
        graph.Openings.push_back({std::move(winding), group.Plane.Flipped(), group.B, group.A});
    }
    return graph;
}
