#include "compiler/vis_clusters.h"

#include "compiler/parallel_for.h"
#include "compiler/tree_walk.h"
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

// Where two reached leaves meet: the polygons of their boundaries (faces
// and portals) that touch both, on one plane, turned away from leaf A, and
// the sum of their areas.
struct CLeafJoin {
    int32_t A, B;
    CFlowPlane Plane;
    std::vector<CPoint> Points;
    double Area = 0;
};

// The plane of a polygon, by the sum of its edges' cross products; a normal
// of length 0 for a polygon without area.
CFlowPlane PolygonPlane(const CWinding& w)
{
    CPoint normal;
    for (size_t i = 0; i < w.size(); ++i)
        normal = normal + Cross(w[i], w[(i + 1) % w.size()]);
    const double length = std::sqrt(Dot(normal, normal));
    if (length < TINY)
        return {};
    normal = normal * (1.0 / length);
    return {normal, -Dot(normal, w[0])};
}

// The part of a polygon of leaf A near leaf B, on its plane turned away
// from A (toward B when A lies flat on it).
struct CJoinPart {
    int32_t A, B;
    CFlowPlane Toward;
    CWinding Points;
};

// A polygon of leaf A that may join it: to leaf Other, or with -1 to each
// leaf near it.
struct CJoinSource {
    int32_t A;
    const CLeafFace* pPolygon;
    int32_t Other;
};

struct CJoinScratch {
    std::vector<CVector> Vertices;
    CWinding Winding;
    CWinding Part;
    CWinding Clip;
};

// The parts that one polygon makes, in the order of the leaves near it.
void PartsOf(const CBuildNode* pRoot, const CLeafSet& set, const CJoinSource& source,
             CJoinScratch* pScratch, std::vector<CJoinPart>* pParts)
{
    const CLeafFace& polygon = *source.pPolygon;
    const int32_t a = source.A;
    if (!polygon.pVertices || polygon.VertexCount < 3)
        return;
    std::vector<CVector>& vertices = pScratch->Vertices;
    CWinding& winding = pScratch->Winding;
    vertices.clear();
    winding.clear();
    for (int32_t v = 0; v < polygon.VertexCount; ++v) {
        vertices.push_back(polygon.pVertices[v].Position);
        winding.push_back(ToPoint(vertices.back()));
    }
    CFlowPlane plane = PolygonPlane(winding);
    if (Dot(plane.Normal, plane.Normal) == 0)
        return;
    // Turned away from A, which lies on one side of its own boundary; a
    // leaf flat on the plane leaves that to B.
    const int sideA = LeafSide(set.Corners[static_cast<size_t>(a)], plane);
    if (sideA > 0)
        plane = plane.Flipped();
    auto join = [&](int32_t b) {
        // B must reach the plane from its far side, and the join is the
        // part of the polygon near B.
        const std::vector<CPoint>& corners = set.Corners[static_cast<size_t>(b)];
        CFlowPlane toward = plane;
        if (sideA == 0 && LeafSide(corners, toward) < 0)
            toward = toward.Flipped();
        if (b == a || LeafSide(corners, toward) < 0 || MinDistance(corners, toward) > JOIN_REACH)
            return;
        CWinding& part = pScratch->Part;
        part = winding;
        ClipToBox(&part, set.Boxes[static_cast<size_t>(b)], JOIN_REACH, &pScratch->Clip);
        if (part.size() >= 3)
            pParts->push_back({a, b, toward, part});
    };
    if (source.Other >= 0) {
        join(source.Other);
        return;
    }
    VisitLeavesNear(pRoot, vertices.data(), polygon.VertexCount, JOIN_REACH,
                    [&](const CBuildNode* pLeaf) {
        auto found = set.IndexOf.find(pLeaf);
        if (found != set.IndexOf.end())
            join(found->second);
    });
}

// The join sources: every face of every leaf, then every portal between
// two reached leaves.
std::vector<CJoinSource> JoinSources(const CLeafSet& set, const CPortal* pPortals, int32_t count)
{
    std::vector<CJoinSource> sources;
    for (size_t i = 0; i < set.pLeaves->size(); ++i) {
        const CBuildNode* pLeaf = (*set.pLeaves)[i];
        for (int32_t f = 0; f < pLeaf->FaceCount; ++f)
            sources.push_back({static_cast<int32_t>(i), &pLeaf->pFaces[f], -1});
    }
    for (int32_t p = 0; pPortals && p < count; ++p) {
        const CPortal& portal = pPortals[p];
        if (portal.NodeCount != 2)
            continue;
        auto itA = set.IndexOf.find(portal.pNodes[0]);
        auto itB = set.IndexOf.find(portal.pNodes[1]);
        if (itA != set.IndexOf.end() && itB != set.IndexOf.end())
            sources.push_back({itA->second, &portal.Winding, itB->second});
    }
    return sources;
}

// Joins, and groups of joins, are kept by pair (leaves or clusters, the
// lower number first) and by plane: planes within 0.001 of each other's
// normal and 0.5 of their distance count as one. The entry of the pair on
// the plane; a new one, appended, when there is none.
using CEntriesByPair = std::unordered_map<uint64_t, std::vector<size_t>>;
template <typename TEntry>
TEntry& EntryOnPlane(std::vector<TEntry>* pEntries, CEntriesByPair* pByPair, int32_t low,
                     int32_t high, const CFlowPlane& plane)
{
    std::vector<size_t>& list = (*pByPair)[(uint64_t(uint32_t(low)) << 32) | uint32_t(high)];
    for (const size_t i : list) {
        const CFlowPlane& other = (*pEntries)[i].Plane;
        if (Dot(other.Normal, plane.Normal) > 0.999 &&
            std::fabs(other.Distance - plane.Distance) < 0.5)
            return (*pEntries)[i];
    }
    list.push_back(pEntries->size());
    pEntries->push_back({low, high, plane, {}});
    return pEntries->back();
}

// Join sources whose parts are made side by side before they are added.
constexpr size_t JOIN_CHUNK = 4096;

// The joins of the reached leaves. A line of sight goes from one reached
// leaf to the next wherever they meet, through a portal or through a face
// with a reached leaf behind it, and it may cut past an edge within the
// band of a plane. So every face and portal of a leaf joins it to each
// reached leaf that the polygon comes within JOIN_REACH of, on its far side.
// The parts are made on any number of threads and added in one order.
std::vector<CLeafJoin> JoinLeaves(const CBuildNode* pRoot, const CLeafSet& set,
                                  const CPortal* pPortals, int32_t count, int32_t threads)
{
    std::vector<CLeafJoin> joins;
    CEntriesByPair joinsOf;
    auto add = [&](const CJoinPart& part) {
        const int32_t a = part.A;
        const int32_t b = part.B;
        const CFlowPlane keyed = a < b ? part.Toward : part.Toward.Flipped();
        CLeafJoin& join = EntryOnPlane(&joins, &joinsOf, std::min(a, b), std::max(a, b), keyed);
        join.Points.insert(join.Points.end(), part.Points.begin(), part.Points.end());
        join.Area += Area(part.Points);
    };
    const std::vector<CJoinSource> sources = JoinSources(set, pPortals, count);
    for (size_t first = 0; first < sources.size(); first += JOIN_CHUNK) {
        const size_t n = std::min(JOIN_CHUNK, sources.size() - first);
        std::vector<std::vector<CJoinPart>> parts(n);
        ParallelFor(
            static_cast<int64_t>(n), threads, [] { return CJoinScratch(); },
            [&](CJoinScratch& scratch, int64_t i) {
                PartsOf(pRoot, set, sources[first + static_cast<size_t>(i)], &scratch,
                        &parts[static_cast<size_t>(i)]);
            });
        for (size_t i = 0; i < n; ++i) {
            for (const CJoinPart& part : parts[i])
                add(part);
        }
    }
    return joins;
}

bool InDoorway(const CBox& box)
{
    return box.Thickness() <= CLUSTER_THIN && box.Size() <= CLUSTER_DOOR;
}

// The cluster of each leaf. The joins in open space, widest first, merge
// their two clusters while the box round both stays within CLUSTER_SIZE and
// the leaves fill CLUSTER_FILL of it (two long clusters may merge when the
// box grows no longer); then the joins in a wall merge a doorway-sized
// cluster into its neighbour. Clusters are numbered in the order of their
// first leaf.
std::vector<int32_t> MakeClusters(const CLeafSet& set, const std::vector<CLeafJoin>& joins,
                                  int32_t threads, int32_t* pClusterCount)
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
    ParallelFor(
        static_cast<int64_t>(joins.size()), threads, [] { return 0; },
        [&](int&, int64_t i) {
            const CLeafJoin& join = joins[static_cast<size_t>(i)];
            CPoint centre;
            for (const CPoint& p : join.Points)
                centre = centre + p;
            centre = centre * (1.0 / static_cast<double>(join.Points.size()));
            inWall[static_cast<size_t>(i)] = walls.InWall(join.Plane, centre);
        });
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
                (bWallPass && !InDoorway(boxes[static_cast<size_t>(a)]) &&
                 !InDoorway(boxes[static_cast<size_t>(b)])))
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

CFlowGraph MakeFlowGraph(const CBuildNode* pRoot, const std::vector<CBuildNode*>& leaves,
                         const CPortal* pPortals, int32_t portalCount, int32_t threads)
{
    const CLeafSet set = MakeLeafSet(leaves, pPortals, portalCount);
    const std::vector<CLeafJoin> joins = JoinLeaves(pRoot, set, pPortals, portalCount, threads);
    CFlowGraph graph;
    graph.ClusterOf = MakeClusters(set, joins, threads, &graph.ClusterCount);
    graph.Leaving.resize(static_cast<size_t>(graph.ClusterCount));

    struct CGroup {
        int32_t A, B; // clusters; the plane faces away from A
        CFlowPlane Plane;
        std::vector<CPoint> Points;
    };
    std::vector<CGroup> groups;
    CEntriesByPair groupsOf;
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
        std::vector<CPoint>& points = EntryOnPlane(&groups, &groupsOf, a, b, plane).Points;
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
