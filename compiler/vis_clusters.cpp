#include "compiler/vis_clusters.h"

#include "compiler/vis_walls.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cmath>
#include <numeric>
#include <unordered_map>

namespace {

// What the clustering needs of the leaves.
struct CLeafSet {
    const std::vector<CBuildNode*>* pLeaves;
    std::unordered_map<const CBuildNode*, int32_t> IndexOf;
    std::vector<CBox> Boxes; // per leaf: its faces and portals
};

CLeafSet MakeLeafSet(const std::vector<CBuildNode*>& leaves, const CPortal* pPortals,
                     int32_t count)
{
    CLeafSet set{&leaves, {}, std::vector<CBox>(leaves.size())};
    for (size_t i = 0; i < leaves.size(); ++i) {
        set.IndexOf[leaves[i]] = static_cast<int32_t>(i);
        for (int32_t f = 0; f < leaves[i]->FaceCount; ++f) {
            const CLeafFace& face = leaves[i]->pFaces[f];
            for (int32_t v = 0; face.pVertices && v < face.VertexCount; ++v)
                set.Boxes[i].Add(ToPoint(face.pVertices[v].Position));
        }
    }
    for (int32_t p = 0; pPortals && p < count; ++p) {
        for (int32_t side = 0; side < pPortals[p].NodeCount; ++side) {
            auto it = set.IndexOf.find(pPortals[p].pNodes[side]);
            const CLeafFace& winding = pPortals[p].Winding;
            for (int32_t v = 0; it != set.IndexOf.end() && winding.pVertices &&
                                v < winding.VertexCount;
                 ++v)
                set.Boxes[static_cast<size_t>(it->second)].Add(
                    ToPoint(winding.pVertices[v].Position));
        }
    }
    return set;
}

// Which side of the plane a leaf lies on, by its face vertex farthest from
// the plane: 1 in front, -1 behind, 0 when all lie on it.
int LeafSide(const CBuildNode* pLeaf, const CFlowPlane& plane)
{
    double farthest = 0;
    for (int32_t i = 0; i < pLeaf->FaceCount; ++i) {
        const CLeafFace& face = pLeaf->pFaces[i];
        for (int32_t j = 0; face.pVertices && j < face.VertexCount; ++j) {
            const double d = plane.DistanceTo(ToPoint(face.pVertices[j].Position));
            if (std::fabs(d) > std::fabs(farthest))
                farthest = d;
        }
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
        int side = LeafSide((*set.pLeaves)[static_cast<size_t>(join.A)], join.Plane);
        if (side == 0)
            side = -LeafSide((*set.pLeaves)[static_cast<size_t>(join.B)], join.Plane);
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
    if (getenv("DBGLF")) for (size_t i=0;i<count;++i) if (boxes[i].Size()>1000) { auto& b=boxes[i]; const CBuildNode* L=(*set.pLeaves)[i]; fprintf(stderr,"leaf %zu box %.0f %.0f %.0f - %.0f %.0f %.0f faces %d portals %d\n", i, b.Low.x,b.Low.y,b.Low.z,b.High.x,b.High.y,b.High.z, L->FaceCount, L->PortalCount);
      for (int f=0; f<L->FaceCount; ++f) { CBox fb; for (int v=0; v<L->pFaces[f].VertexCount; ++v) fb.Add(ToPoint(L->pFaces[f].pVertices[v].Position)); fprintf(stderr,"   face %.0f %.0f %.0f - %.0f %.0f %.0f\n", fb.Low.x,fb.Low.y,fb.Low.z,fb.High.x,fb.High.y,fb.High.z);} }
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

    if (getenv("DBGCL")) { size_t nw=0; for (auto b: inWall) nw+=b; fprintf(stderr,"inwall %zu of %zu\n", nw, joins.size());
      for (size_t i=0;i<count;++i) if (find(int32_t(i))==int32_t(i)) { auto& b=boxes[i]; fprintf(stderr,"cl %.0f %.0f %.0f - %.0f %.0f %.0f\n", b.Low.x,b.Low.y,b.Low.z,b.High.x,b.High.y,b.High.z);} }
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
    if (getenv("DBGCL")) for (size_t i=0;i<count;++i) if (find(int32_t(i))==int32_t(i)) { auto& b=boxes[i]; fprintf(stderr,"cluster# %d box %.0f %.0f %.0f - %.0f %.0f %.0f\n", clusterOf[i], b.Low.x,b.Low.y,b.Low.z,b.High.x,b.High.y,b.High.z);}
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
    if (getenv("DBGCL")) { std::vector<CBox> cb(size_t(graph.ClusterCount)); for (size_t i=0;i<leaves.size();++i) cb[size_t(graph.ClusterOf[i])].Add(set.Boxes[i]);
      for (int32_t c=0;c<graph.ClusterCount;++c) { auto& b=cb[size_t(c)]; std::unordered_map<int32_t,int> to; for (int32_t q: graph.Leaving[size_t(c)]) to[graph.Openings[size_t(q)].To]++; fprintf(stderr,"graph %d box %.0f %.0f %.0f - %.0f %.0f %.0f openings %zu neighbours %zu\n", c, b.Low.x,b.Low.y,b.Low.z,b.High.x,b.High.y,b.High.z, graph.Leaving[size_t(c)].size(), to.size()); } }
    return graph;
}
