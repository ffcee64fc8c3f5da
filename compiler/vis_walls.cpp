#include "compiler/vis_walls.h"

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

int64_t DistanceKey(double distance) { return std::llround(distance); }

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
            ByDistance[DistanceKey(wall.Plane.Distance)].push_back(
                static_cast<int32_t>(Walls.size()));
            Walls.push_back(std::move(wall));
        }
    }
}

bool CWallIndex::Meets(const CFlowPlane& plane, const CPoint& p, const CPoint& d,
                       double reach) const
{
    const CFlowPlane standard = Standard(plane);
    const int64_t key = DistanceKey(standard.Distance);
    for (int64_t k = key - 1; k <= key + 1; ++k) {
        auto it = ByDistance.find(k);
        if (it == ByDistance.end())
            continue;
        for (const int32_t w : it->second) {
            const CWall& wall = Walls[static_cast<size_t>(w)];
            if (Dot(wall.Plane.Normal, standard.Normal) < 0.999 ||
                std::fabs(wall.Plane.Distance - standard.Distance) > 0.5 ||
                p.x < wall.Box.Low.x - reach || p.x > wall.Box.High.x + reach ||
                p.y < wall.Box.Low.y - reach || p.y > wall.Box.High.y + reach ||
                p.z < wall.Box.Low.z - reach || p.z > wall.Box.High.z + reach)
                continue;
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
            if (low <= high)
                return true;
        }
    }
    return false;
}

bool CWallIndex::InWall(const CFlowPlane& plane, const CPoint& p) const
{
    CPoint across;
    CPoint up;
    PlaneAxes(plane.Normal, &across, &up);
    auto both = [&](const CPoint& d) {
        return Meets(plane, p, d, WALL_REACH) && Meets(plane, p, d * -1.0, WALL_REACH);
    };
    return both(across) || both(up);
}
