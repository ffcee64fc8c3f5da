#include "compiler/vis_walls.h"

#include "compiler/bit_words.h"

#include <algorithm>
#include <cmath>

namespace {

// The plane turned so that its largest normal component is positive: a
// plane and its flip come out the same.
CFlowPlane Standard(const CFlowPlane& plane)
{
    const CPoint& n = plane.Normal;
    const double largest = std::fabs(n.x) >= std::fabs(n.y) && std::fabs(n.x) >= std::fabs(n.z)
                               ? n.x
                               : std::fabs(n.y) >= std::fabs(n.z) ? n.y : n.z;
    return largest < 0 ? plane.Flipped() : plane;
}

// Clamped so that any coordinate, however far, has a whole number.
int64_t Whole(double value) { return std::llround(std::clamp(value, -1e15, 1e15)); }

int64_t DistanceKey(double distance) { return Whole(distance); }

// The cells that the index lists walls in; their side is twice the reach,
// so that a wall is listed in few of them.
constexpr double WALL_CELL = 2.0 * WALL_REACH;
int64_t CellOf(double coordinate) { return Whole(std::floor(coordinate / WALL_CELL)); }
// A wall that would be listed in more cells than this is listed apart.
constexpr double WALL_CELLS_AT_MOST = 256.0;

// The index key of a plane distance and a cell. Two places may share a key:
// each wall found is still tested in full.
uint64_t PlaceKey(int64_t distance, int64_t x, int64_t y, int64_t z)
{
    const uint64_t parts[4] = {static_cast<uint64_t>(distance), static_cast<uint64_t>(x),
                               static_cast<uint64_t>(y), static_cast<uint64_t>(z)};
    return HashOfWords(parts, 4);
}

CPoint Normalised(const CPoint& p) { return p * (1.0 / std::sqrt(Dot(p, p))); }

} // namespace

CWallIndex::CWallIndex(const std::vector<CBuildNode*>& leaves)
{
    for (const CBuildNode* pLeaf : leaves) {
        for (int32_t f = 0; f < pLeaf->FaceCount; ++f) {
            const CLeafFace& face = pLeaf->pFaces[f];
            if (!face.pVertices || face.VertexCount < 3)
                continue;
            CWall wall;
            for (int32_t v = 0; v < face.VertexCount; ++v) {
                wall.Points.push_back(ToPoint(face.pVertices[v].Position));
                wall.Box.Add(wall.Points.back());
            }
            for (size_t i = 0; i < wall.Points.size(); ++i)
                wall.Normal = wall.Normal + Cross(wall.Points[i],
                                                  wall.Points[(i + 1) % wall.Points.size()]);
            const double length = std::sqrt(Dot(wall.Normal, wall.Normal));
            if (length < TINY)
                continue;
            wall.Plane.Normal = wall.Normal * (1.0 / length);
            wall.Plane.Distance = -Dot(wall.Plane.Normal, wall.Points[0]);
            wall.Plane = Standard(wall.Plane);
            AddToIndex(wall, static_cast<int32_t>(Walls.size()));
            Walls.push_back(std::move(wall));
        }
    }
}

void CWallIndex::AddToIndex(const CWall& wall, int32_t index)
{
    const int64_t distance = DistanceKey(wall.Plane.Distance);
    const CBox& box = wall.Box;
    const double low[3] = {box.Low.x, box.Low.y, box.Low.z};
    const double high[3] = {box.High.x, box.High.y, box.High.z};
    int64_t first[3];
    int64_t last[3];
    double cells = 1.0;
    for (int k = 0; k < 3; ++k) {
        const bool bFinite = std::isfinite(low[k]) && std::isfinite(high[k]);
        first[k] = bFinite ? CellOf(low[k] - WALL_REACH) : 0;
        last[k] = bFinite ? CellOf(high[k] + WALL_REACH) : 0;
        cells *= bFinite ? static_cast<double>(last[k] - first[k] + 1) : HUGE_VAL;
    }
    if (cells > WALL_CELLS_AT_MOST) {
        Everywhere.push_back(index); // too large, or not a number: tried for every point
        return;
    }
    for (int64_t x = first[0]; x <= last[0]; ++x) {
        for (int64_t y = first[1]; y <= last[1]; ++y) {
            for (int64_t z = first[2]; z <= last[2]; ++z)
                ByPlace[PlaceKey(distance, x, y, z)].push_back(index);
        }
    }
}

bool CWallIndex::Meets(const CFlowPlane& plane, const CPoint& p, const CPoint& d) const
{
    const CFlowPlane standard = Standard(plane);
    auto meetsAny = [&](const std::vector<int32_t>& walls) {
        return std::any_of(walls.begin(), walls.end(), [&](int32_t w) {
            return MeetsWall(Walls[static_cast<size_t>(w)], standard, p, d);
        });
    };
    const int64_t key = DistanceKey(standard.Distance);
    for (int64_t k = key - 1; k <= key + 1; ++k) {
        auto it = ByPlace.find(PlaceKey(k, CellOf(p.x), CellOf(p.y), CellOf(p.z)));
        if (it != ByPlace.end() && meetsAny(it->second))
            return true;
    }
    return meetsAny(Everywhere);
}

bool CWallIndex::MeetsWall(const CWall& wall, const CFlowPlane& standard, const CPoint& p,
                           const CPoint& d)
{
    const double reach = WALL_REACH;
    if (Dot(wall.Plane.Normal, standard.Normal) < 0.999 ||
        std::fabs(wall.Plane.Distance - standard.Distance) > 0.5 ||
        p.x < wall.Box.Low.x - reach || p.x > wall.Box.High.x + reach ||
        p.y < wall.Box.Low.y - reach || p.y > wall.Box.High.y + reach ||
        p.z < wall.Box.Low.z - reach || p.z > wall.Box.High.z + reach)
        return false;
    // The stretch of the line, 0 to reach, inside every edge.
    double low = 0;
    double high = reach;
    for (size_t i = 0; i < wall.Points.size() && low <= high; ++i) {
        const CPoint& a = wall.Points[i];
        const CPoint inward =
            Normalised(Cross(wall.Normal, wall.Points[(i + 1) % wall.Points.size()] - a));
        const double start = Dot(inward, p - a) + 0.5;
        const double rate = Dot(inward, d);
        if (std::fabs(rate) < TINY) {
            if (start < 0)
                low = high + 1;
        } else if (rate > 0) {
            low = std::max(low, -start / rate);
        } else {
            high = std::min(high, -start / rate);
        }
    }
    return low <= high;
}

bool CWallIndex::InWall(const CFlowPlane& plane, const CPoint& p) const
{
    CPoint across;
    CPoint up;
    PlaneAxes(plane.Normal, &across, &up);
    auto both = [&](const CPoint& d) {
        return Meets(plane, p, d) && Meets(plane, p, d * -1.0);
    };
    return both(across) || both(up);
}
