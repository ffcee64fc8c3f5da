#include "compiler/face_lightmap.h"

#include "geometry/plane.h"

#include <cmath>

namespace {

constexpr float LIGHTMAP_TEXELS = 16.0f;

bool IsFinite(const CVector& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

void Store(CVector* pOut, const CVector& value)
{
    if (pOut)
        *pOut = value;
}

} // namespace

void MapFaceLightmap(CLeafFace* pFace, CVector* pOutNormal, CVector* pOutU, CVector* pOutV,
                     CVector* pOutOrigin)
{
    const bool bHasVertices = pFace && pFace->pVertices && pFace->VertexCount > 0;
    CVertex* pVertices = bHasVertices ? pFace->pVertices : nullptr;
    const int32_t count = bHasVertices ? pFace->VertexCount : 0;

    CPlane n;
    CVector u;
    CVector v;
    bool bValid = count >= 3;
    if (bValid) {
        const CVector& p0 = pVertices[0].Position;
        const CVector& p1 = pVertices[1].Position;
        const CVector& p2 = pVertices[2].Position;
        n = CPlane(p0, p1, p2);
        u = Normalized(p0 - p1);
        v = Cross(u, n.Normal);
        // Collinear first vertices give a normalised null vector, all NaN.
        bValid = IsFinite(n.Normal) && IsFinite(u) && IsFinite(v) && std::isfinite(n.Distance);
    }
    if (!bValid) {
        for (int32_t i = 0; i < count; ++i) {
            pVertices[i].LightU = 0.0f;
            pVertices[i].LightV = 0.0f;
        }
        Store(pOutNormal, CVector());
        Store(pOutU, CVector());
        Store(pOutV, CVector());
        Store(pOutOrigin, count > 0 ? pVertices[0].Position : CVector());
        return;
    }

    // The rectangle's lower edges: planes across each axis, pushed back until
    // no vertex lies behind them.
    CPlane a(pVertices[0].Position, v);
    CPlane b(pVertices[0].Position, u);
    for (int32_t i = 1; i < count; ++i) {
        const CVector& p = pVertices[i].Position;
        if (a.DistanceTo(p) < 0.0)
            a = CPlane(p, v);
        if (b.DistanceTo(p) < 0.0)
            b = CPlane(p, u);
    }

    double maxA = 0.0;
    double maxB = 0.0;
    for (int32_t i = 0; i < count; ++i) {
        const double da = a.DistanceTo(pVertices[i].Position);
        const double db = b.DistanceTo(pVertices[i].Position);
        if (da > maxA)
            maxA = da;
        if (db > maxB)
            maxB = db;
    }

    // The normals are orthonormal, so this is the point where the face's
    // plane and the two lower edges meet.
    const CVector origin = (n.Normal * -n.Distance + a.Normal * -a.Distance) +
                           b.Normal * -b.Distance;

    for (int32_t i = 0; i < count; ++i) {
        const CVector& p = pVertices[i].Position;
        // An axis of no extent has nothing to spread over: it stays at 0.
        pVertices[i].LightU = maxB > 0.0 ? static_cast<float>(b.DistanceTo(p) / maxB) : 0.0f;
        pVertices[i].LightV = maxA > 0.0 ? static_cast<float>(a.DistanceTo(p) / maxA) : 0.0f;
    }

    // One texel long from here on.
    v *= static_cast<float>(maxA / LIGHTMAP_TEXELS);
    u *= static_cast<float>(maxB / LIGHTMAP_TEXELS);

    Store(pOutNormal, n.Normal);
    Store(pOutU, u);
    Store(pOutV, v);
    Store(pOutOrigin, origin);
}
