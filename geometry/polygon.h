#pragma once
// CPolygon: a growable array of points in winding order; the point after the
// last is the first. The polygon owns its array.
#include "geometry/vector.h"
#include "geometry/vertex.h"

// Points added to the capacity each time Add finds the array full.
constexpr int POLYGON_GROW_STEP = 5;

class CPolygon {
public:
    // Invariant: 0 <= Count <= Capacity; pPoints is null exactly when
    // Capacity is 0.
    CVector* pPoints;
    int Capacity;
    int Count;

    CPolygon() : pPoints(nullptr), Capacity(0), Count(0) {}
    // Room for nCapacity points, none in use.
    explicit CPolygon(int nCapacity);
    // The three positions of the triangle's vertices.
    explicit CPolygon(const CTriangle& triangle);
    // Deep copies: the same Capacity and Count, an array of its own.
    CPolygon(const CPolygon& other);
    CPolygon& operator=(const CPolygon& other);
    // Moves take the array over and leave the source empty.
    CPolygon(CPolygon&& other) noexcept;
    CPolygon& operator=(CPolygon&& other) noexcept;
    ~CPolygon() { Free(); }

    // Reference to point i for 0 <= i < Capacity; an i at or beyond Count
    // raises Count to i + 1, so filling by index extends the polygon. Any other
    // i throws CError "Polygon: [] operator out of bounds." and changes
    // nothing.
    CVector& operator[](int i);
    // Reads point i for 0 <= i < Capacity, without touching Count; throws as
    // above otherwise.
    const CVector& operator[](int i) const;

    // Appends p, growing the array by POLYGON_GROW_STEP when it is full.
    void Add(const CVector& p);
    // Reallocates to nCapacity points, keeping the first points that fit and
    // lowering Count when it no longer fits.
    void Resize(int nCapacity);
    // Releases the array and zeroes all three fields.
    void Free();

    bool IsFull() const { return Count >= Capacity || pPoints == nullptr; }
    bool IsValid() const { return Count > 2; }
    int GetCapacity() const { return Capacity; }
    int GetCount() const { return Count; }
    // Ignores n below 0 and n at or above Capacity.
    void SetCount(int n)
    {
        if (n >= 0 && n < Capacity)
            Count = n;
    }
};
