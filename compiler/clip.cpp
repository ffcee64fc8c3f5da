#include "compiler/clip.h"

#include <new>

namespace {

// A queue of vertices held as its head and its last node.
struct CVertexQueue {
    CVertexListNode* pHead = nullptr;
    CVertexListNode* pTail = nullptr;
    int32_t Count = 0;

    // False when the node can't be made.
    bool Push(const CVertex& vertex)
    {
        CVertexListNode* pNode = AppendVertex(pTail ? &pTail->pNext : &pHead, vertex);
        if (!pNode)
            return false;
        pTail = pNode;
        ++Count;
        return true;
    }

    // Moves the vertices in order into pOut, which has room for Count.
    void Drain(CVertex* pOut)
    {
        int32_t i = 0;
        while (pHead)
            pHead = PopVertex(&pHead, &pOut[i++]);
        pTail = nullptr;
        Count = 0;
    }

    void Clear()
    {
        while (pHead) {
            CVertexListNode* pNext = pHead->pNext;
            delete pHead;
            pHead = pNext;
        }
        pTail = nullptr;
        Count = 0;
    }

    ~CVertexQueue() { Clear(); }
};

// Replaces the vertices of pOut with the queue's, and its plane with a copy of
// pSource's when there is one. False when memory fails; the queue is then
// left for its owner to clear.
bool StoreQueue(CVertexQueue& queue, const CLeafFace* pSource, CLeafFace* pOut)
{
    delete[] pOut->pVertices;
    pOut->pVertices = nullptr;
    pOut->VertexCount = 0;
    if (queue.Count == 0)
        return true;

    pOut->pVertices = new (std::nothrow) CVertex[queue.Count];
    if (!pOut->pVertices)
        return false;
    pOut->VertexCount = queue.Count;
    queue.Drain(pOut->pVertices);

    if (pSource->pPlane) {
        delete pOut->pPlane;
        pOut->pPlane = new (std::nothrow) CPlane(*pSource->pPlane);
        if (!pOut->pPlane)
            return false;
    }
    return true;
}

void CopyTextureData(const CLeafFace* pFrom, CLeafFace* pTo)
{
    pTo->Mapping = pFrom->Mapping;
    pTo->TextureIndex = pFrom->TextureIndex;
    pTo->MappingIndex = pFrom->MappingIndex;
}

} // namespace

CVertex CrossingVertex(const CPlane& plane, const CVertex& a, const CVertex& b)
{
    CVertex v;
    const double t = IntersectEdge(plane, &a.Position, &b.Position, &v.Position);
    v.TexU = static_cast<float>((static_cast<double>(b.TexU) - a.TexU) * t + a.TexU);
    v.TexV = static_cast<float>((static_cast<double>(b.TexV) - a.TexV) * t + a.TexV);
    v.Colour = a.Colour;
    v.Specular = a.Specular;
    v.Reserved = 0;
    v.LightU = 0.0f;
    v.LightV = 0.0f;
    return v;
}

bool SplitFace(const CPlane& plane, const CLeafFace* pFace, CLeafFace* pBack, CLeafFace* pFront)
{
    if (!pFace->pVertices)
        return false;

    const int32_t count = pFace->VertexCount;
    const float band = PLANE_EPSILON;
    CVertexQueue front;
    CVertexQueue back;

    // Each distance is computed once: d1 of one step is d0 of the next, and
    // only the first vertex is measured again as the last edge's far end.
    float d1 = count > 0 ? VertexDistance(plane, pFace->pVertices[0].Position) : 0.0f;
    for (int32_t i = 0; i < count; ++i) {
        const CVertex& a = pFace->pVertices[i];
        const CVertex& b = pFace->pVertices[(i + 1) % count];
        const float d0 = d1;
        d1 = VertexDistance(plane, b.Position);

        // Inside the open band a vertex belongs to both pieces.
        if (d0 > -band && !front.Push(a))
            return false;
        if (d0 < band && !back.Push(a))
            return false;
        // Only an edge whose ends lie strictly outside the band on opposite
        // sides makes a new vertex.
        if ((d0 > band && d1 < -band) || (d0 < -band && d1 > band)) {
            const CVertex crossing = CrossingVertex(plane, a, b);
            if (!front.Push(crossing) || !back.Push(crossing))
                return false;
        }
    }

    // A piece of 2 or fewer vertices isn't a polygon: that output keeps what
    // it had.
    if (front.Count > 2 && !StoreQueue(front, pFace, pFront))
        return false;
    if (back.Count > 2 && !StoreQueue(back, pFace, pBack))
        return false;

    CopyTextureData(pFace, pFront);
    CopyTextureData(pFace, pBack);
    return true;
}

bool ClipFace(const CPlane& plane, const CLeafFace* pFace, CLeafFace* pOut)
{
    const int32_t count = pFace->VertexCount;
    if (count == 0 || !pFace->pVertices)
        return false;

    CVertexQueue kept;
    float d1 = VertexDistance(plane, pFace->pVertices[0].Position);
    for (int32_t i = 0; i < count; ++i) {
        const CVertex& a = pFace->pVertices[i];
        const CVertex& b = pFace->pVertices[(i + 1) % count];
        const float d0 = d1;
        d1 = VertexDistance(plane, b.Position);

        if (d0 >= 0.0f && !kept.Push(a))
            return false;
        if ((d0 > 0.0f && d1 < 0.0f) || (d0 < 0.0f && d1 > 0.0f)) {
            if (!kept.Push(CrossingVertex(plane, a, b)))
                return false;
        }
    }

    // Unlike SplitFace, a result of fewer than three vertices is kept.
    if (!StoreQueue(kept, pFace, pOut))
        return false;
    if (pOut->VertexCount == 0)
        return true;
    CopyTextureData(pFace, pOut);
    return true;
}

bool IsCoplanar(const CPlane& plane, const CLeafFace* pFace)
{
    if (!pFace->pVertices)
        return false;
    for (int32_t i = 0; i < pFace->VertexCount; ++i) {
        const float d = VertexDistance(plane, pFace->pVertices[i].Position);
        if (d < -PLANE_EPSILON || d > PLANE_EPSILON)
            return false;
    }
    return true;
}

int32_t ClassifyFace(const CLeafFace* pFace, const CPlane& plane)
{
    if (!pFace->pVertices)
        return FACE_ON;
    bool bFront = false;
    bool bBack = false;
    for (int32_t i = 0; i < pFace->VertexCount; ++i) {
        const float d = VertexDistance(plane, pFace->pVertices[i].Position);
        if (d > PLANE_EPSILON)
            bFront = true;
        else if (d < -PLANE_EPSILON)
            bBack = true;
        if (bFront && bBack)
            return FACE_SPANNING;
    }
    if (bFront)
        return FACE_FRONT;
    if (bBack)
        return FACE_BACK;
    return FACE_ON;
}

CVertexListNode* AppendVertex(CVertexListNode** ppLink, const CVertex& vertex)
{
    while (*ppLink)
        ppLink = &(*ppLink)->pNext;
    CVertexListNode* pNode = new (std::nothrow) CVertexListNode;
    if (!pNode)
        return nullptr;
    pNode->Vertex = vertex;
    *ppLink = pNode;
    return pNode;
}

CVertexListNode* PopVertex(CVertexListNode** ppHead, CVertex* pOut)
{
    CVertexListNode* pNode = *ppHead;
    if (!pNode)
        return nullptr;
    *pOut = pNode->Vertex;
    *ppHead = pNode->pNext;
    delete pNode;
    return *ppHead;
}
