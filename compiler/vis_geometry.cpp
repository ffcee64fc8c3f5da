#include "compiler/vis_geometry.h"

#include <algorithm>
#include <cmath>

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

void ClipToBox(CWinding* pW, const CBox& box, double margin, CWinding* pScratch)
{
    const CFlowPlane sides[6] = {{{1, 0, 0}, -box.Low.x},  {{-1, 0, 0}, box.High.x},
                                 {{0, 1, 0}, -box.Low.y},  {{0, -1, 0}, box.High.y},
                                 {{0, 0, 1}, -box.Low.z},  {{0, 0, -1}, box.High.z}};
    for (const CFlowPlane& side : sides) {
        if (pW->size() < 3)
            return;
        Clip(pW, side, margin, pScratch);
    }
}

double MinDistance(const CWinding& w, const CFlowPlane& plane)
{
    double least = std::numeric_limits<double>::infinity();
    for (const CPoint& p : w)
        least = std::min(least, plane.DistanceTo(p));
    return least;
}

bool AnyAbove(const CWinding& w, const CFlowPlane& plane, double height)
{
    return std::any_of(w.begin(), w.end(),
                       [&](const CPoint& p) { return plane.DistanceTo(p) > height; });
}

bool AnyBelow(const CWinding& w, const CFlowPlane& plane, double height)
{
    return std::any_of(w.begin(), w.end(),
                       [&](const CPoint& p) { return plane.DistanceTo(p) < height; });
}

double Area(const CWinding& w)
{
    CPoint sum;
    for (size_t i = 0; i < w.size(); ++i)
        sum = sum + Cross(w[i], w[(i + 1) % w.size()]);
    return std::sqrt(Dot(sum, sum)) / 2;
}

void PlaneAxes(const CPoint& normal, CPoint* pAcross, CPoint* pUp)
{
    CPoint across = Cross(normal, {0, 1, 0});
    if (Dot(across, across) < 0.01)
        across = Cross(normal, {1, 0, 0});
    *pAcross = across * (1.0 / std::sqrt(Dot(across, across)));
    const CPoint up = Cross(normal, *pAcross);
    *pUp = up * (1.0 / std::sqrt(Dot(up, up)));
}

CWinding Grow(const CWinding& w, const CPoint& normal, double margin)
{
    CPoint across;
    CPoint up;
    PlaneAxes(normal, &across, &up);
    // The corners of a square of half-side 'margin' round every point: its
    // hull holds the disc of that radius round each.
    std::vector<CPoint> points;
    for (const CPoint& p : w) {
        for (const double a : {-margin, margin}) {
            for (const double b : {-margin, margin})
                points.push_back(p + across * a + up * b);
        }
    }
    return Hull(points, normal);
}

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

namespace {

// The plane through a, b and tip turned so that 'back' lies behind it, if it
// has all of 'back' on one side, some of it off the plane, and all of
// 'front' on the other.
void TrySeparator(const CPoint& a, const CPoint& b, const CPoint& tip, const CWinding& back,
                  const CWinding& front, std::vector<CFlowPlane>* pOut)
{
    const CPoint normal = Cross(b - a, tip - a);
    const double length = std::sqrt(Dot(normal, normal));
    if (length < TINY)
        return;
    CFlowPlane plane{normal * (1.0 / length), 0};
    plane.Distance = -Dot(plane.Normal, a);
    // The side that each polygon lies on: 1 or -1, 0 when all on the
    // plane, 2 when on both sides.
    auto sideOf = [&](const CWinding& w) {
        int side = 0;
        for (const CPoint& p : w) {
            const double d = plane.DistanceTo(p);
            const int pointSide = d > TINY ? 1 : d < -TINY ? -1 : 0;
            if (pointSide != 0 && side != 0 && pointSide != side)
                return 2;
            side = pointSide != 0 ? pointSide : side;
        }
        return side;
    };
    const int backSide = sideOf(back);
    const int frontSide = sideOf(front);
    // A polygon that has shrunk onto a line may lie on the plane whole; the
    // other then says which way the plane faces.
    if (backSide == 2 || frontSide == 2 || (backSide == 0 && frontSide == 0) ||
        (backSide != 0 && backSide == frontSide))
        return;
    if (backSide > 0 || (backSide == 0 && frontSide < 0))
        plane = plane.Flipped();
    for (const CFlowPlane& other : *pOut) {
        if (Dot(other.Normal, plane.Normal) > 1 - 1e-9 &&
            std::fabs(other.Distance - plane.Distance) < 1e-6)
            return; // found before
    }
    pOut->push_back(plane);
}

} // namespace

void AddSeparators(const CWinding& back, const CWinding& front, std::vector<CFlowPlane>* pOut)
{
    for (size_t i = 0; i < back.size(); ++i) {
        for (const CPoint& tip : front)
            TrySeparator(back[i], back[(i + 1) % back.size()], tip, back, front, pOut);
    }
    for (size_t i = 0; i < front.size(); ++i) {
        for (const CPoint& tip : back)
            TrySeparator(front[i], front[(i + 1) % front.size()], tip, back, front, pOut);
    }
}

void CBox::Add(const CPoint& p)
{
    Low = {std::min(Low.x, p.x), std::min(Low.y, p.y), std::min(Low.z, p.z)};
    High = {std::max(High.x, p.x), std::max(High.y, p.y), std::max(High.z, p.z)};
}

void CBox::Add(const CBox& box)
{
    if (box.Low.x <= box.High.x) {
        Add(box.Low);
        Add(box.High);
    }
}

double CBox::Size() const { return std::max({High.x - Low.x, High.y - Low.y, High.z - Low.z}); }

double CBox::Thickness() const
{
    return std::min({High.x - Low.x, High.y - Low.y, High.z - Low.z});
}

double CBox::Volume() const
{
    return Low.x <= High.x ? (High.x - Low.x) * (High.y - Low.y) * (High.z - Low.z) : 0;
}
