#include "compiler/leak_check.h"

#include "compiler/clip.h"
#include "compiler/portal.h"
#include "compiler/visibility.h"

#include <algorithm>
#include <deque>
#include <unordered_map>

namespace {

// Far enough beyond the brushes that no leaf of the inside reaches it.
constexpr float LEAK_PROBE_MARGIN = 64.0f;

// Points on the six sides of the box pushed out by the margin, PROBE_STEPS
// by PROBE_STEPS on each side, corners and edges included.
constexpr int PROBE_STEPS = 5;

std::vector<CVector> Probes(const CVector& min, const CVector& max)
{
    const float lo[3] = {min.x - LEAK_PROBE_MARGIN, min.y - LEAK_PROBE_MARGIN,
                         min.z - LEAK_PROBE_MARGIN};
    const float hi[3] = {max.x + LEAK_PROBE_MARGIN, max.y + LEAK_PROBE_MARGIN,
                         max.z + LEAK_PROBE_MARGIN};
    auto along = [&](int axis, int step) {
        return lo[axis] + (hi[axis] - lo[axis]) * static_cast<float>(step) / (PROBE_STEPS - 1);
    };
    std::vector<CVector> probes;
    for (int axis = 0; axis < 3; ++axis) {
        const int u = (axis + 1) % 3;
        const int v = (axis + 2) % 3;
        for (const float side : {lo[axis], hi[axis]}) {
            for (int i = 0; i < PROBE_STEPS; ++i) {
                for (int j = 0; j < PROBE_STEPS; ++j) {
                    float c[3];
                    c[axis] = side;
                    c[u] = along(u, i);
                    c[v] = along(v, j);
                    probes.emplace_back(c[0], c[1], c[2]);
                }
            }
        }
    }
    return probes;
}

CVector Clamp(const CVector& p, const CVector& min, const CVector& max)
{
    return CVector(std::clamp(p.x, min.x, max.x), std::clamp(p.y, min.y, max.y),
                   std::clamp(p.z, min.z, max.z));
}

// Where the segment from inside, in the box, to outside, beyond it, leaves
// the box.
CVector LeaveBox(const CVector& inside, const CVector& outside, const CVector& min,
                 const CVector& max)
{
    const float from[3] = {inside.x, inside.y, inside.z};
    const float to[3] = {outside.x, outside.y, outside.z};
    const float lo[3] = {min.x, min.y, min.z};
    const float hi[3] = {max.x, max.y, max.z};
    double t = 1.0;
    for (int i = 0; i < 3; ++i) {
        const double bound = to[i] > hi[i] ? hi[i] : to[i] < lo[i] ? lo[i] : to[i];
        if (to[i] != from[i] && bound != to[i])
            t = std::min(t, (bound - from[i]) / (static_cast<double>(to[i]) - from[i]));
    }
    return inside + (outside - inside) * static_cast<float>(std::max(t, 0.0));
}

CVector Centre(const CLeafFace& face)
{
    CVector sum;
    for (int32_t i = 0; i < face.VertexCount; ++i)
        sum = sum + face.pVertices[i].Position;
    return face.VertexCount > 0 ? sum * (1.0f / static_cast<float>(face.VertexCount)) : sum;
}

// The centre of the part of a portal inside the box: portals start as
// squares far larger than the map, and the part that matters lies in it.
// Where none of it does, the point of the box nearest the portal's centre.
CVector PortalPoint(const CPortal& portal, const CVector& min, const CVector& max)
{
    const CPlane sides[] = {CPlane(CVector(1, 0, 0), -min.x), CPlane(CVector(-1, 0, 0), max.x),
                            CPlane(CVector(0, 1, 0), -min.y), CPlane(CVector(0, -1, 0), max.y),
                            CPlane(CVector(0, 0, 1), -min.z), CPlane(CVector(0, 0, -1), max.z)};
    CLeafFace part;
    CopyFace(&part, &portal.Winding);
    for (const CPlane& side : sides) {
        CLeafFace kept;
        if (part.VertexCount < 3 || !ClipFace(side, &part, &kept)) {
            FreeFace(&kept);
            break;
        }
        FreeFace(&part);
        part = kept;
    }
    const CVector point =
        part.VertexCount >= 3 ? Centre(part) : Clamp(Centre(portal.Winding), min, max);
    FreeFace(&part);
    return point;
}

// The step into a leaf: the portal crossed and the leaf it came from.
struct CStep {
    const CPortal* pPortal;
    CBuildNode* pFrom;
};

} // namespace

bool TraceLeak(CBuildNode* pRoot, const CVector& start, const CVector& min, const CVector& max,
               CLeakTrace* pTrace)
{
    // The reached leaves outside the box, each with its points out there.
    std::unordered_map<const CBuildNode*, std::vector<CVector>> outside;
    for (const CVector& probe : Probes(min, max)) {
        const CBuildNode* pLeaf = FindLeaf(pRoot, &probe);
        if (pLeaf && pLeaf->IsLeaf() && pLeaf->bVisited)
            outside[pLeaf].push_back(probe);
    }
    CBuildNode* pStart = FindLeaf(pRoot, &start);
    if (outside.empty() || !pStart || !pStart->IsLeaf())
        return false;

    // Breadth first over the portals the flood crosses, so the way found
    // crosses the fewest portals.
    std::unordered_map<const CBuildNode*, CStep> came{{pStart, {nullptr, nullptr}}};
    std::deque<CBuildNode*> pending{pStart};
    CBuildNode* pEnd = nullptr;
    while (!pending.empty() && !pEnd) {
        CBuildNode* pLeaf = pending.front();
        pending.pop_front();
        if (outside.count(pLeaf)) {
            pEnd = pLeaf;
            break;
        }
        for (int32_t i = 0; pLeaf->pPortals && i < pLeaf->PortalCount; ++i) {
            const CPortal* pPortal = pLeaf->pPortals[i];
            if (!pPortal || pPortal->bBlocked)
                continue;
            for (CBuildNode* pNext : pPortal->pNodes) {
                if (pNext && came.emplace(pNext, CStep{pPortal, pLeaf}).second)
                    pending.push_back(pNext);
            }
        }
    }
    if (!pEnd)
        return false;

    std::vector<CVector>& points = pTrace->Points;
    for (const CBuildNode* pLeaf = pEnd; came.at(pLeaf).pPortal; pLeaf = came.at(pLeaf).pFrom)
        points.push_back(PortalPoint(*came.at(pLeaf).pPortal, min, max));
    points.push_back(start);
    std::reverse(points.begin(), points.end());

    // Out through the outside leaf's probe nearest to the last point.
    const CVector last = points.back();
    const std::vector<CVector>& probes = outside.at(pEnd);
    points.push_back(*std::min_element(probes.begin(), probes.end(), [&](auto& a, auto& b) {
        return (a - last).LengthSquared() < (b - last).LengthSquared();
    }));
    pTrace->Exit = LeaveBox(last, points.back(), min, max);
    return true;
}
