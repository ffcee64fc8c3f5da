#include "controls/region.h"

#include <new>

namespace {

// Signed 32-bit arithmetic that wraps like the machine's, without the
// undefined behaviour of an overflowing int.
int32_t Add32(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

int32_t Sub32(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

int32_t Square32(int32_t a)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(a));
}

// dx² + dy² from (x, y) to the point.
int32_t DistanceSquared(int32_t x, int32_t y, const POINT& point)
{
    return Add32(Square32(Sub32(point.x, x)), Square32(Sub32(point.y, y)));
}

} // namespace

// ---- CPointRegion ----

bool CPointRegion::Contains(const POINT& point) const
{
    return point.x == x && point.y == y;
}

bool CPointRegion::ContainsCircle(const POINT& centre, int32_t nRadius) const
{
    return nRadius == 0 && Contains(centre);
}

bool CPointRegion::ContainsRect(const RECT& rect) const
{
    return rect.left == rect.right && rect.top == rect.bottom &&
           Contains(POINT{rect.left, rect.top});
}

RECT* CPointRegion::GetBounds(RECT* pOut) const
{
    *pOut = RECT{x, y, x, y};
    return pOut;
}

CRegion* CPointRegion::Clone() const
{
    return new (std::nothrow) CPointRegion(x, y);
}

void CPointRegion::Set(int32_t nX, int32_t nY)
{
    x = nX;
    y = nY;
}

// ---- CRectRegion ----

bool CRectRegion::Contains(const POINT& point) const
{
    return left <= point.x && point.x <= right && top <= point.y && point.y <= bottom;
}

bool CRectRegion::ContainsCircle(const POINT& centre, int32_t nRadius) const
{
    return Sub32(centre.x, nRadius) >= left && Add32(centre.x, nRadius) <= right &&
           Sub32(centre.y, nRadius) >= top && Add32(centre.y, nRadius) <= bottom;
}

bool CRectRegion::ContainsRect(const RECT& rect) const
{
    return rect.left >= left && rect.right <= right && rect.top >= top && rect.bottom <= bottom;
}

RECT* CRectRegion::GetBounds(RECT* pOut) const
{
    *pOut = RECT{left, top, right, bottom};
    return pOut;
}

CRegion* CRectRegion::Clone() const
{
    return new (std::nothrow) CRectRegion(left, top, right, bottom);
}

void CRectRegion::Set(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom)
{
    left = nLeft;
    top = nTop;
    right = nRight;
    bottom = nBottom;
}

// ---- CCircleRegion ----

bool CCircleRegion::Contains(const POINT& point) const
{
    return DistanceSquared(x, y, point) <= Square32(radius);
}

bool CCircleRegion::ContainsCircle(const POINT& centre, int32_t nRadius) const
{
    return DistanceSquared(x, y, centre) <= Sub32(Square32(radius), Square32(nRadius));
}

bool CCircleRegion::ContainsRect(const RECT& rect) const
{
    return Contains(POINT{rect.left, rect.top}) && Contains(POINT{rect.right, rect.top}) &&
           Contains(POINT{rect.right, rect.bottom}) && Contains(POINT{rect.left, rect.bottom});
}

RECT* CCircleRegion::GetBounds(RECT* pOut) const
{
    *pOut = RECT{Sub32(x, radius), Sub32(y, radius), Add32(x, radius), Add32(y, radius)};
    return pOut;
}

CRegion* CCircleRegion::Clone() const
{
    return new (std::nothrow) CCircleRegion(x, y, radius);
}

void CCircleRegion::Set(int32_t nX, int32_t nY, int32_t nRadius)
{
    x = nX;
    y = nY;
    radius = nRadius;
}
