#include "compiler/face.h"

#include "compiler/texsize.h"

#include <cstring>
#include <new>

bool CopyFace(CLeafFace* pTo, const CLeafFace* pFrom)
{
    FreeFace(pTo);
    pTo->VertexCount = pFrom->VertexCount;
    if (pFrom->VertexCount == 0 || !pFrom->pVertices)
        return true;

    pTo->pVertices = new (std::nothrow) CVertex[pFrom->VertexCount];
    if (!pTo->pVertices)
        return false;
    std::memcpy(static_cast<void*>(pTo->pVertices), pFrom->pVertices,
                sizeof(CVertex) * pFrom->VertexCount);

    if (pFrom->pPlane) {
        pTo->pPlane = new (std::nothrow) CPlane(*pFrom->pPlane);
        if (!pTo->pPlane)
            return false;
    }
    pTo->Mapping = pFrom->Mapping;
    pTo->TextureIndex = pFrom->TextureIndex;
    pTo->MappingIndex = pFrom->MappingIndex;
    return true;
}

void FreeFace(CLeafFace* pFace)
{
    delete[] pFace->pVertices;
    delete pFace->pPlane;
    pFace->VertexCount = 0;
    pFace->pVertices = nullptr;
    pFace->pPlane = nullptr;
}

float g_fBaseFaceSize = BASE_FACE_SIZE;

bool MakeBaseFace(float size, CPlane& plane, CLeafFace* pFace)
{
    delete[] pFace->pVertices;
    pFace->VertexCount = 0;
    pFace->pVertices = new (std::nothrow) CVertex[4];
    if (!pFace->pVertices)
        return false;
    pFace->VertexCount = 4;

    CVector& n = plane.Normal;
    if (!FloatNear(static_cast<float>(n.LengthSquared()), 1.0, PLANE_EPSILON))
        n.Normalize();

    // A reference direction that is never parallel to the normal.
    bool bVertical = FloatNear(n.y, 1.0, PLANE_EPSILON) || FloatNear(n.y, -1.0, PLANE_EPSILON);
    CVector r = bVertical ? CVector(-1, 0, 0) : CVector(0, 1, 0);

    // Neither axis is normalised: the square shrinks with the sine of the
    // angle between r and the normal.
    CVector a = Cross(r, n);
    CVector b = Cross(a, n);
    CVector as = a * size;
    CVector bs = b * size;
    CVector centre = n * plane.Distance;

    CVertex* v = pFace->pVertices;
    v[0].Position = -as - bs - centre;
    v[1].Position = -as + bs - centre;
    v[2].Position = as + bs - centre;
    v[3].Position = as - bs - centre;
    const float corners[4][2] = {{0, 1}, {0, 0}, {1, 0}, {1, 1}};
    for (int i = 0; i < 4; ++i) {
        v[i].TexU = corners[i][0];
        v[i].TexV = corners[i][1];
    }
    return true;
}

bool SetTexCoords(CLeafFace* pFace, const CTexMapping& mapping, const CTexSizeNode* pSize)
{
    if (pFace->VertexCount < 3)
        return false;

    double width = DEFAULT_TEXTURE_SIZE;
    double height = DEFAULT_TEXTURE_SIZE;
    if (pSize && pSize->Width != 0 && pSize->Height != 0) {
        width = pSize->Width;
        height = pSize->Height;
    }
    for (int i = 0; i < pFace->VertexCount; ++i) {
        CVertex& v = pFace->pVertices[i];
        v.TexU = static_cast<float>(
            (Dot(mapping.UAxis, v.Position) / mapping.UScale + mapping.UOffset) / width);
        v.TexV = static_cast<float>(
            (Dot(mapping.VAxis, v.Position) / mapping.VScale + mapping.VOffset) / height);
    }
    pFace->Mapping = mapping;
    return true;
}
