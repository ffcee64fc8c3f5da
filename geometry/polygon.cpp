#include "geometry/polygon.h"

#include "frame/error.h"

#include <algorithm>
#include <utility>

namespace {

const char* const POLYGON_BOUNDS_MESSAGE = "Polygon: [] operator out of bounds.";

// An array of n points, or null for none.
CVector* NewPoints(int n)
{
    return n > 0 ? new CVector[n] : nullptr;
}

} // namespace

CPolygon::CPolygon(int nCapacity)
    : pPoints(NewPoints(nCapacity)), Capacity(nCapacity > 0 ? nCapacity : 0), Count(0)
{
}

CPolygon::CPolygon(const CTriangle& triangle) : pPoints(NewPoints(3)), Capacity(3), Count(3)
{
    for (int i = 0; i < 3; ++i)
        pPoints[i] = triangle.Vertices[i].Position;
}

CPolygon::CPolygon(const CPolygon& other)
    : pPoints(NewPoints(other.Capacity)), Capacity(other.Capacity), Count(other.Count)
{
    std::copy(other.pPoints, other.pPoints + other.Count, pPoints);
}

CPolygon& CPolygon::operator=(const CPolygon& other)
{
    if (this != &other) {
        // Allocate before releasing, so a failed allocation leaves this intact.
        CVector* pCopy = NewPoints(other.Capacity);
        std::copy(other.pPoints, other.pPoints + other.Count, pCopy);
        Free();
        pPoints = pCopy;
        Capacity = other.Capacity;
        Count = other.Count;
    }
    return *this;
}

CPolygon::CPolygon(CPolygon&& other) noexcept
    : pPoints(std::exchange(other.pPoints, nullptr)),
      Capacity(std::exchange(other.Capacity, 0)),
      Count(std::exchange(other.Count, 0))
{
}

CPolygon& CPolygon::operator=(CPolygon&& other) noexcept
{
    if (this != &other) {
        Free();
        pPoints = std::exchange(other.pPoints, nullptr);
        Capacity = std::exchange(other.Capacity, 0);
        Count = std::exchange(other.Count, 0);
    }
    return *this;
}

CVector& CPolygon::operator[](int i)
{
    if (i < 0 || i >= Capacity)
        throw CError(POLYGON_BOUNDS_MESSAGE);
    if (i >= Count)
        Count = i + 1;
    return pPoints[i];
}

const CVector& CPolygon::operator[](int i) const
{
    if (i < 0 || i >= Capacity)
        throw CError(POLYGON_BOUNDS_MESSAGE);
    return pPoints[i];
}

void CPolygon::Add(const CVector& p)
{
    if (IsFull())
        Resize(Capacity + POLYGON_GROW_STEP);
    pPoints[Count] = p;
    ++Count;
}

void CPolygon::Resize(int nCapacity)
{
    if (nCapacity < 0)
        nCapacity = 0;
    CVector* pNew = NewPoints(nCapacity);
    if (Count > nCapacity)
        Count = nCapacity;
    std::copy(pPoints, pPoints + Count, pNew);
    delete[] pPoints;
    pPoints = pNew;
    Capacity = nCapacity;
}

void CPolygon::Free()
{
    delete[] pPoints;
    pPoints = nullptr;
    Capacity = 0;
    Count = 0;
}
