#pragma once
// Hit regions: small shapes in whole screen pixels that say whether they hold
// a point, a circle or a rectangle, and give their bounding rectangle. A
// screen control owns one; it decides where the mouse counts and where the
// control's quad lies. All arithmetic is signed 32-bit and wraps.
#include "platform/window_types.h"

#include <cstdint>

class CRegion {
public:
    virtual bool Contains(const POINT& point) const = 0;
    // Whether the whole circle of nRadius around centre lies inside.
    virtual bool ContainsCircle(const POINT& centre, int32_t nRadius) const = 0;
    // Whether the whole rectangle lies inside; right and bottom belong to it.
    virtual bool ContainsRect(const RECT& rect) const = 0;
    // Writes the bounding rectangle and returns pOut.
    virtual RECT* GetBounds(RECT* pOut) const = 0;
    // A new copy of the same shape, or null without memory.
    virtual CRegion* Clone() const = 0;
    // Last, behind the five operations above.
    virtual ~CRegion() = default;
};

class CPointRegion : public CRegion {
public:
    CPointRegion() : x(0), y(0) {}
    CPointRegion(int32_t nX, int32_t nY) : x(nX), y(nY) {}
    explicit CPointRegion(const POINT& point) : x(point.x), y(point.y) {}

    bool Contains(const POINT& point) const override;
    // Only a circle of radius 0 on the point.
    bool ContainsCircle(const POINT& centre, int32_t nRadius) const override;
    // Only a rectangle shrunk to the point.
    bool ContainsRect(const RECT& rect) const override;
    RECT* GetBounds(RECT* pOut) const override;
    CRegion* Clone() const override;

    void Set(int32_t nX, int32_t nY);
    POINT Get() const { return POINT{x, y}; }

    int32_t x, y;
};

class CRectRegion : public CRegion {
public:
    CRectRegion() : left(0), top(0), right(0), bottom(0) {}
    CRectRegion(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom)
        : left(nLeft), top(nTop), right(nRight), bottom(nBottom)
    {
    }
    explicit CRectRegion(const RECT& rect)
        : left(rect.left), top(rect.top), right(rect.right), bottom(rect.bottom)
    {
    }

    // Points on all four edges are inside.
    bool Contains(const POINT& point) const override;
    bool ContainsCircle(const POINT& centre, int32_t nRadius) const override;
    bool ContainsRect(const RECT& rect) const override;
    RECT* GetBounds(RECT* pOut) const override;
    CRegion* Clone() const override;

    void Set(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom);
    RECT Get() const { return RECT{left, top, right, bottom}; }

    int32_t left, top, right, bottom;
};

class CCircleRegion : public CRegion {
public:
    CCircleRegion() : x(0), y(0), radius(0) {}
    CCircleRegion(int32_t nX, int32_t nY, int32_t nRadius) : x(nX), y(nY), radius(nRadius) {}
    CCircleRegion(const POINT& centre, int32_t nRadius)
        : x(centre.x), y(centre.y), radius(nRadius)
    {
    }

    // dx² + dy² <= radius², the boundary included.
    bool Contains(const POINT& point) const override;
    // dx² + dy² <= radius² - r²: the difference of the squares, which lets
    // in somewhat more than the exact test (radius - r)².
    bool ContainsCircle(const POINT& centre, int32_t nRadius) const override;
    // All four corners inside.
    bool ContainsRect(const RECT& rect) const override;
    RECT* GetBounds(RECT* pOut) const override;
    CRegion* Clone() const override;

    void Set(int32_t nX, int32_t nY, int32_t nRadius);
    POINT GetCentre() const { return POINT{x, y}; }
    int32_t GetRadius() const { return radius; }

    int32_t x, y, radius;
};
