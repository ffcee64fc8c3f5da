#include "compiler/leaf_visibility.h"

#include "compiler/parallel_for.h"
#include "compiler/progress.h"
#include "compiler/tree_walk.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>

namespace {

// Geometry of the flow, in double.
struct CPoint {
    double x = 0, y = 0, z = 0;
};
CPoint operator+(const CPoint& a, const CPoint& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
CPoint operator-(const CPoint& a, const CPoint& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
CPoint operator*(const CPoint& a, double s) { return {a.x * s, a.y * s, a.z * s}; }
double Dot(const CPoint& a, const CPoint& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
CPoint Cross(const CPoint& a, const CPoint& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
CPoint ToPoint(const CVector& v) { return {v.x, v.y, v.z}; }

using CWinding = std::vector<CPoint>;

struct CFlowPlane {
    CPoint Normal;
    double Distance = 0;
    double DistanceTo(const CPoint& p) const { return Dot(Normal, p) + Distance; }
    CFlowPlane Flipped() const { return {Normal * -1.0, -Distance}; }
};

// Below this a separating plane's normal is too short to trust, and on
// either side of it a vertex counts as lying on such a plane.
constexpr double TINY = 1e-6;

// Cuts *pW down to its part with a distance of -slack or more from the
// plane; *pScratch is working space.
void Clip(CWinding* pW, const CFlowPlane& plane, double slack, CWinding* pScratch)
{
    CWinding& w = *pW;
    const size_t count = w.size();
    bool bAllIn = true;
    bool bAllOut = true;
    for (const CPoint& p : w) {
        const bool bIn = plane.DistanceTo(p) + slack >= 0;
        bAllIn = bAllIn && bIn;
        bAllOut = bAllOut && !bIn;
    }
    if (bAllIn)
        return;
    if (bAllOut) {
        w.clear();
        return;
    }
    CWinding& out = *pScratch;
    out.clear();
    for (size_t i = 0; i < count; ++i) {
        const CPoint& a = w[i];
        const CPoint& b = w[(i + 1) % count];
        const double da = plane.DistanceTo(a) + slack;
        const double db = plane.DistanceTo(b) + slack;
        if (da >= 0)
            out.push_back(a);
        if ((da >= 0) != (db >= 0))
            out.push_back(a + (b - a) * (da / (da - db)));
    }
    std::swap(w, out);
}

// The convex hull of points lying on a plane, in order round the plane's
// normal; points closer than a hundredth of a unit merge.
CWinding Hull(const std::vector<CPoint>& points, const CPoint& normal)
{
    if (points.size() < 3)
        return {};
    const CPoint helper = std::fabs(normal.x) < 0.6 ? CPoint{1, 0, 0} : CPoint{0, 1, 0};
    const CPoint u = Cross(normal, helper);
    const CPoint v = Cross(normal, u);
    struct CFlat {
        double s, t;
        size_t Index;
    };
    std::vector<CFlat> flat;
    for (size_t i = 0; i < points.size(); ++i)
        flat.push_back({Dot(points[i], u), Dot(points[i], v), i});
    std::sort(flat.begin(), flat.end(), [](const CFlat& a, const CFlat& b) {
        return a.s < b.s || (a.s == b.s && a.t < b.t);
    });
    auto turn = [](const CFlat& o, const CFlat& a, const CFlat& b) {
        return (a.s - o.s) * (b.t - o.t) - (a.t - o.t) * (b.s - o.s);
    };
    // Andrew's monotone chain: the lower and then the upper half.
    std::vector<CFlat> hull(2 * flat.size() + 1);
    size_t k = 0;
    for (size_t pass = 0; pass < 2; ++pass) {
        const size_t start = k;
        for (size_t n = 0; n < flat.size(); ++n) {
            const CFlat& p = pass == 0 ? flat[n] : flat[flat.size() - 1 - n];
            while (k >= start + 2 && turn(hull[k - 2], hull[k - 1], p) <= TINY)
                --k;
            hull[k++] = p;
        }
        --k; // the last point starts the other half
    }
    CWinding out;
    for (size_t i = 0; i < k; ++i) {
        const CPoint& p = points[hull[i].Index];
        if (out.empty() || Dot(p - out.back(), p - out.back()) > 1e-4)
            out.push_back(p);
    }
    while (out.size() > 1 && Dot(out.front() - out.back(), out.front() - out.back()) <= 1e-4)
        out.pop_back();
    return out;
}

// An axis-aligned box.
struct CBox {
    CPoint Low{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
               std::numeric_limits<double>::infinity()};
    CPoint High{-std::numeric_limits<double>::infinity(),
                -std::numeric_limits<double>::infinity(),
                -std::numeric_limits<double>::infinity()};

    void Add(const CPoint& p)
    {
        Low = {std::min(Low.x, p.x), std::min(Low.y, p.y), std::min(Low.z, p.z)};
        High = {std::max(High.x, p.x), std::max(High.y, p.y), std::max(High.z, p.z)};
    }
    void Add(const CBox& box)
    {
        if (box.Low.x <= box.High.x) {
            Add(box.Low);
            Add(box.High);
        }
    }
    double Size() const { return std::max({High.x - Low.x, High.y - Low.y, High.z - Low.z}); }
    CWinding Corners() const
    {
        CWinding corners;
        for (int i = 0; i < 8; ++i)
            corners.push_back({i & 1 ? High.x : Low.x, i & 2 ? High.y : Low.y,
                               i & 4 ? High.z : Low.z});
        return corners;
    }
};

// The twelve edges of a box, as pairs of its corners.
constexpr int BOX_EDGES[12][2] = {{0, 1}, {2, 3}, {4, 5}, {6, 7}, {0, 2}, {1, 3},
                                  {4, 6}, {5, 7}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};

// What the flow needs of the leaves and their clusters.
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

// One way through an opening: the polygon, the plane facing the cluster it
// leads to, and the two clusters.
struct COpening {
    CWinding Winding;
    CFlowPlane Plane;
    int32_t From;
    int32_t To;
};

struct CFlowGraph {
    std::vector<COpening> Openings;
    std::vector<std::vector<int32_t>> Leaving; // per cluster, the openings out of it
    std::vector<CWinding> Sources;             // per cluster, the corners of its box
};

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
// cells meet, with the plane of that face turned away from leaf A.
struct CLeafJoin {
    int32_t A, B;
    CFlowPlane Plane;
    std::vector<CPoint> Points;
};

std::vector<CLeafJoin> JoinLeaves(const CLeafSet& set, const CPortal* pPortals, int32_t count)
{
    std::vector<CLeafJoin> joins;
    std::unordered_map<uint64_t, size_t> joinOf;
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
        for (int32_t j = 0; j < portal.Winding.VertexCount; ++j)
            join.Points.push_back(ToPoint(portal.Winding.pVertices[j].Position));
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

// Whether a face lies on the join's plane next to the join, within 2 units:
// then the join is a hole in a wall, such as a doorway, or the way on past
// the edge of a face. Only the faces of the two leaves and their neighbours
// can be that close.
bool WallBeside(const CLeafSet& set, const std::vector<std::vector<int32_t>>& neighbours,
                const CLeafJoin& join)
{
    CBox near;
    for (const CPoint& p : join.Points)
        near.Add(p);
    near.Low = near.Low - CPoint{2, 2, 2};
    near.High = near.High + CPoint{2, 2, 2};
    auto faceBeside = [&](const CLeafFace& face) {
        for (int32_t v = 0; v < face.VertexCount; ++v) {
            if (std::fabs(join.Plane.DistanceTo(ToPoint(face.pVertices[v].Position))) > VIS_SLACK)
                return false;
        }
        CBox box;
        for (int32_t v = 0; v < face.VertexCount; ++v)
            box.Add(ToPoint(face.pVertices[v].Position));
        return box.Low.x <= near.High.x && box.High.x >= near.Low.x &&
               box.Low.y <= near.High.y && box.High.y >= near.Low.y &&
               box.Low.z <= near.High.z && box.High.z >= near.Low.z;
    };
    auto leafBeside = [&](int32_t leaf) {
        const CBuildNode* pLeaf = (*set.pLeaves)[static_cast<size_t>(leaf)];
        for (int32_t f = 0; f < pLeaf->FaceCount; ++f) {
            const CLeafFace& face = pLeaf->pFaces[f];
            if (face.pVertices && face.VertexCount >= 3 && faceBeside(face))
                return true;
        }
        return false;
    };
    for (const int32_t leaf : {join.A, join.B}) {
        if (leafBeside(leaf))
            return true;
        for (const int32_t other : neighbours[static_cast<size_t>(leaf)]) {
            if (leafBeside(other))
                return true;
        }
    }
    return false;
}

// The cluster of each leaf. Two leaves join up across a join in open
// space, with no wall beside it; a leaf no larger than CLUSTER_SMALL joins
// its neighbours in any case. No cluster grows past CLUSTER_SIZE. Clusters
// are numbered in the order of their first leaf.
std::vector<int32_t> MakeClusters(const CLeafSet& set, const std::vector<CLeafJoin>& joins)
{
    const size_t count = set.Boxes.size();
    std::vector<std::vector<int32_t>> neighbours(count);
    for (const CLeafJoin& join : joins) {
        neighbours[static_cast<size_t>(join.A)].push_back(join.B);
        neighbours[static_cast<size_t>(join.B)].push_back(join.A);
    }
    std::vector<int32_t> parent(count);
    for (size_t i = 0; i < count; ++i)
        parent[i] = static_cast<int32_t>(i);
    std::vector<CBox> boxes = set.Boxes;
    auto find = [&](int32_t leaf) {
        while (parent[static_cast<size_t>(leaf)] != leaf) {
            parent[static_cast<size_t>(leaf)] =
                parent[static_cast<size_t>(parent[static_cast<size_t>(leaf)])];
            leaf = parent[static_cast<size_t>(leaf)];
        }
        return leaf;
    };
    for (const CLeafJoin& join : joins) {
        const int32_t a = find(join.A);
        const int32_t b = find(join.B);
        if (a == b)
            continue;
        CBox both = boxes[static_cast<size_t>(a)];
        both.Add(boxes[static_cast<size_t>(b)]);
        const bool bSmall = set.Boxes[static_cast<size_t>(join.A)].Size() <= CLUSTER_SMALL ||
                            set.Boxes[static_cast<size_t>(join.B)].Size() <= CLUSTER_SMALL;
        if (both.Size() <= CLUSTER_SIZE && (bSmall || !WallBeside(set, neighbours, join))) {
            parent[static_cast<size_t>(b)] = a;
            boxes[static_cast<size_t>(a)] = both;
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
    return clusterOf;
}

// The openings between clusters: the joins of leaves of two clusters that
// lie on one plane, facing one way, make one opening, the hull of their
// portals. Each opening gives a way each way.
CFlowGraph MakeGraph(const CLeafSet& set, const std::vector<int32_t>& clusterOf,
                     int32_t clusterCount, const std::vector<CLeafJoin>& joins)
{
    CFlowGraph graph;
    graph.Leaving.resize(static_cast<size_t>(clusterCount));
    std::vector<CBox> boxes(static_cast<size_t>(clusterCount));
    for (size_t i = 0; i < clusterOf.size(); ++i)
        boxes[static_cast<size_t>(clusterOf[i])].Add(set.Boxes[i]);
    for (CBox& box : boxes) {
        box.Low = box.Low - CPoint{VIS_SLACK, VIS_SLACK, VIS_SLACK};
        box.High = box.High + CPoint{VIS_SLACK, VIS_SLACK, VIS_SLACK};
        graph.Sources.push_back(box.Corners());
    }

    struct CGroup {
        int32_t A, B; // clusters; the plane faces away from A
        CFlowPlane Plane;
        std::vector<CPoint> Points;
    };
    std::vector<CGroup> groups;
    std::unordered_map<uint64_t, std::vector<size_t>> groupsOf; // by cluster pair
    for (const CLeafJoin& join : joins) {
        int32_t a = clusterOf[static_cast<size_t>(join.A)];
        int32_t b = clusterOf[static_cast<size_t>(join.B)];
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
        CWinding winding = Hull(group.Points, group.Plane.Normal);
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

// Planes with every corner of the source box on or behind them and every
// vertex of the pass on or in front: through an edge of one and a point of
// the other. A line from the box through the pass ends up in front of each.
void AddSeparators(const CWinding& box, const CWinding& pass, std::vector<CFlowPlane>* pOut)
{
    // The plane through a, b and tip, if it has the box wholly behind it and
    // the pass in front.
    auto tryPlane = [&](const CPoint& a, const CPoint& b, const CPoint& tip) {
        const CPoint normal = Cross(b - a, tip - a);
        const double length = std::sqrt(Dot(normal, normal));
        if (length < TINY)
            return;
        CFlowPlane plane{normal * (1.0 / length), 0};
        plane.Distance = -Dot(plane.Normal, a);
        int side = 0;
        for (const CPoint& corner : box) {
            const double d = plane.DistanceTo(corner);
            const int cornerSide = d > TINY ? 1 : d < -TINY ? -1 : 0;
            if (cornerSide != 0 && side != 0 && cornerSide != side)
                return; // the plane cuts the box
            side = cornerSide != 0 ? cornerSide : side;
        }
        if (side == 0)
            return;
        if (side > 0)
            plane = plane.Flipped();
        for (const CPoint& p : pass) {
            if (plane.DistanceTo(p) < -TINY)
                return;
        }
        for (const CFlowPlane& other : *pOut) {
            if (Dot(other.Normal, plane.Normal) > 1 - 1e-9 &&
                std::fabs(other.Distance - plane.Distance) < 1e-6)
                return; // found before
        }
        pOut->push_back(plane);
    };
    for (const auto& edge : BOX_EDGES) {
        for (const CPoint& tip : pass)
            tryPlane(box[edge[0]], box[edge[1]], tip);
    }
    for (size_t i = 0; i < pass.size(); ++i) {
        for (const CPoint& tip : box)
            tryPlane(pass[i], pass[(i + 1) % pass.size()], tip);
    }
}

// A part seen of an opening may grow this many times in one flow before it
// is taken as the whole opening.
constexpr int32_t MAX_GROWTHS = 2;


// True when every point of w lies inside the convex polygon 'seen', give or
// take a hundredth of a unit.
bool Contains(const CWinding& seen, const CWinding& w)
{
    // The inside lies to the left of every edge, going round the polygon's
    // own normal.
    CPoint normal;
    for (size_t i = 0; i < seen.size(); ++i)
        normal = normal + Cross(seen[i], seen[(i + 1) % seen.size()]);
    return std::all_of(w.begin(), w.end(), [&](const CPoint& p) {
        for (size_t i = 0; i < seen.size(); ++i) {
            const CPoint& a = seen[i];
            const CPoint edgeNormal = Cross(normal, seen[(i + 1) % seen.size()] - a);
            const double length = std::sqrt(Dot(edgeNormal, edgeNormal));
            if (length > TINY && Dot(edgeNormal, p - a) / length < -0.01)
                return false;
        }
        return true;
    });
}

} // namespace

// The flow from one cluster at a time, with scratch space for one thread.
class CVisibilityFlow {
public:
    CVisibilityFlow(const CFlowGraph& graph, CLeafVisibility* pVis)
        : Graph(graph), pVis(pVis), Seen(graph.Openings.size()),
          Growths(graph.Openings.size(), 0), Marked(graph.Leaving.size(), 0)
    {
    }

    void FromCluster(int32_t cluster)
    {
        for (const int32_t r : Touched) {
            Seen[static_cast<size_t>(r)].clear();
            Growths[static_cast<size_t>(r)] = 0;
        }
        Touched.clear();
        std::fill(Marked.begin(), Marked.end(), 0);
        MarkedCount = 0;
        Queue.clear();
        Mark(cluster, cluster);
        for (const int32_t q : Graph.Leaving[static_cast<size_t>(cluster)]) {
            Mark(cluster, Graph.Openings[static_cast<size_t>(q)].To);
            Grow(q, Graph.Openings[static_cast<size_t>(q)].Winding);
        }
        const CWinding& source = Graph.Sources[static_cast<size_t>(cluster)];
        // Once every cluster is in the row, nothing more can come of it.
        size_t next = 0;
        for (; next < Queue.size() && MarkedCount < Marked.size(); ++next) {
            if (next == FLOW_BUDGET) {
                MarkBeyond(cluster, next);
                break;
            }
            const int32_t q = Queue[next];
            const COpening& pass = Graph.Openings[static_cast<size_t>(q)];
            Separators.clear();
            AddSeparators(source, Seen[static_cast<size_t>(q)], &Separators);
            for (const int32_t r : Graph.Leaving[static_cast<size_t>(pass.To)]) {
                const COpening& target = Graph.Openings[static_cast<size_t>(r)];
                if (Growths[static_cast<size_t>(r)] > MAX_GROWTHS)
                    continue; // already all of it
                CWinding& w = Part;
                w = target.Winding;
                Clip(&w, pass.Plane, VIS_SLACK, &Scratch);
                for (size_t s = 0; s < Separators.size() && w.size() >= 3; ++s)
                    Clip(&w, Separators[s], VIS_SLACK, &Scratch);
                if (w.size() < 3)
                    continue;
                Mark(cluster, target.To);
                if (Growths[static_cast<size_t>(r)] == MAX_GROWTHS)
                    w = target.Winding;
                Grow(r, w);
            }
        }
    }

private:
    // Gives up on the geometry: every cluster that a way from the queue
    // leads to, through any number of openings, goes into the row.
    void MarkBeyond(int32_t cluster, size_t next)
    {
        std::vector<int32_t> pending;
        for (size_t i = next; i < Queue.size(); ++i)
            pending.push_back(Graph.Openings[static_cast<size_t>(Queue[i])].To);
        while (!pending.empty()) {
            const int32_t at = pending.back();
            pending.pop_back();
            for (const int32_t r : Graph.Leaving[static_cast<size_t>(at)]) {
                const int32_t to = Graph.Openings[static_cast<size_t>(r)].To;
                if (!Marked[static_cast<size_t>(to)]) {
                    Mark(cluster, to);
                    pending.push_back(to);
                }
            }
        }
    }

    void Mark(int32_t from, int32_t to)
    {
        if (!Marked[static_cast<size_t>(to)]) {
            Marked[static_cast<size_t>(to)] = 1;
            ++MarkedCount;
            pVis->SetClusters(from, to);
        }
    }

    // Adds w to what is seen of opening r, and queues r when that grew.
    void Grow(int32_t r, const CWinding& w)
    {
        CWinding& seen = Seen[static_cast<size_t>(r)];
        if (seen.empty()) {
            Touched.push_back(r);
            seen = w;
        } else if (Contains(seen, w)) {
            return;
        } else {
            std::vector<CPoint> points = seen;
            points.insert(points.end(), w.begin(), w.end());
            seen = Hull(points, Graph.Openings[static_cast<size_t>(r)].Plane.Normal);
        }
        ++Growths[static_cast<size_t>(r)];
        Queue.push_back(r);
    }

    const CFlowGraph& Graph;
    CLeafVisibility* pVis;
    std::vector<CWinding> Seen; // per opening, the part seen in this flow
    std::vector<int32_t> Growths;
    std::vector<uint8_t> Marked; // per cluster, already in the row
    size_t MarkedCount = 0;
    std::vector<int32_t> Touched;
    std::vector<int32_t> Queue;
    std::vector<CFlowPlane> Separators;
    CWinding Part;    // the part of a target seen through the pass
    CWinding Scratch; // working space of the cuts
};

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
    const CLeafSet set = MakeLeafSet(leaves, pPortals, portalCount);
    const std::vector<CLeafJoin> joins = JoinLeaves(set, pPortals, portalCount);
    CLeafVisibility vis(leaves, MakeClusters(set, joins));
    const CFlowGraph graph = MakeGraph(set, vis.ClusterOf, vis.ClusterCount(), joins);

    CProgress progress(run.pProgress, "visibility", "clusters", vis.ClusterCount());
    ParallelFor(
        vis.ClusterCount(), run.Threads, [&] { return CVisibilityFlow(graph, &vis); },
        [&](CVisibilityFlow& flow, int64_t cluster) {
            flow.FromCluster(static_cast<int32_t>(cluster));
            progress.Step();
        });
    return vis;
}
