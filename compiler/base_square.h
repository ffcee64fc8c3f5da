#pragma once
// How far brushes reach on the squares that their sides start from. Every
// side begins as a square of half-side g_fBaseFaceSize (up to the sine of
// its tilt) round the plane's point nearest the origin and is cut down by
// the brush's other planes, and every portal begins the same way; what lies
// beyond the square is lost. The parser's squares stand round the origin of
// the file, the portals' round the start once the map has moved there.
#include "compiler/face.h"
#include "compiler/map_brushes.h"

// Sets g_fBaseFaceSize for its lifetime and puts the old value back.
class CBaseSizeScope {
public:
    explicit CBaseSizeScope(float size) : Saved(g_fBaseFaceSize) { g_fBaseFaceSize = size; }
    ~CBaseSizeScope() { g_fBaseFaceSize = Saved; }
    CBaseSizeScope(const CBaseSizeScope&) = delete;
    CBaseSizeScope& operator=(const CBaseSizeScope&) = delete;

private:
    float Saved;
};

// The least square size that keeps every side of the brush whole when the
// squares stand round the point origin: the largest coordinate of a corner
// on the frame of each square that the corner's side starts from.
double BrushReach(const CMapBrush& brush, const CVector& origin);
