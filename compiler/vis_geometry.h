#pragma once
// Geometry of the visibility flow, in double: points, convex polygons
// (windings), planes, cuts, hulls and the planes that separate two polygons.
#include "geometry/vector.h"

#include <limits>
#include <vector>

struct CPoint {
    double x = 0, y = 0, z = 0;
};
inline CPoint operator+(const CPoint& a, const CPoint& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline CPoint operator-(const CPoint& a, const CPoint& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline CPoint operator*(const CPoint& a, double s) { return {a.x * s, a.y * s, a.z * s}; }
inline double Dot(const CPoint& a, const CPoint& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline CPoint Cross(const CPoint& a, const CPoint& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline CPoint ToPoint(const CVector& v) { return {v.x, v.y, v.z}; }

// A convex polygon, its points in order round it.
using CWinding = std::vector<CPoint>;

struct CFlowPlane {
    CPoint Normal;
    double Distance = 0;
    double DistanceTo(const CPoint& p) const { return Dot(Normal, p) + Distance; }
    CFlowPlane Flipped() const { return {Normal * -1.0, -Distance}; }
};

// Below this a plane's normal is too short to trust, and on either side of a
// separating plane a point counts as lying on it.
constexpr double TINY = 1e-6;

// Cuts *pW down to its part with a distance of -slack or more from the
// plane; *pScratch is working space.
void Clip(CWinding* pW, const CFlowPlane& plane, double slack, CWinding* pScratch);

struct CBox;
// Cuts *pW down to its part inside the box grown by 'margin' each way.
void ClipToBox(CWinding* pW, const CBox& box, double margin, CWinding* pScratch);

// The smallest distance of a polygon's points from a plane.
double MinDistance(const CWinding& w, const CFlowPlane& plane);
// Whether some point of a polygon lies above 'height', or below it,
// stopping at the first that does.
bool AnyAbove(const CWinding& w, const CFlowPlane& plane, double height);
bool AnyBelow(const CWinding& w, const CFlowPlane& plane, double height);

// The area of a polygon.
double Area(const CWinding& w);

// Two unit directions along a plane with the given normal, square to each
// other: 'across' is level (y is up), or along x on a level plane.
void PlaneAxes(const CPoint& normal, CPoint* pAcross, CPoint* pUp);

// The polygon grown by 'margin' each way along the plane's axes: it holds
// every point of the plane within 'margin' of the polygon.
CWinding Grow(const CWinding& w, const CPoint& normal, double margin);

// The convex hull of points lying on a plane, in order round the plane's
// normal; points closer than a hundredth of a unit merge.
CWinding Hull(const std::vector<CPoint>& points, const CPoint& normal);

// Appends to *pOut the planes that have all of 'back' on or behind them and
// all of 'front' on or in front, each through an edge of one polygon and a
// point of the other, and not through both polygons whole. A line that meets 'back' and then 'front' runs on in
// front of every such plane. Planes already in *pOut are not repeated.
void AddSeparators(const CWinding& back, const CWinding& front, std::vector<CFlowPlane>* pOut);

// An axis-aligned box.
struct CBox {
    CPoint Low{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
               std::numeric_limits<double>::infinity()};
    CPoint High{-std::numeric_limits<double>::infinity(),
                -std::numeric_limits<double>::infinity(),
                -std::numeric_limits<double>::infinity()};

    void Add(const CPoint& p);
    void Add(const CBox& box);
    // The longest side; below 0 for an empty box.
    double Size() const;
    // The shortest side; below 0 for an empty box.
    double Thickness() const;
    // 0 for an empty box.
    double Volume() const;
};
