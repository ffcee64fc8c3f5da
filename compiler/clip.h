#pragma once
// Every cut of a face in the compiler: splitting with a band of
// PLANE_EPSILON round the plane, exact clipping to one side, and two queries
// of how a face lies to a plane.
#include "compiler/face.h"

#include <cstdint>

// A queue of vertices: the cuts gather their results here before the array
// of the right size is made.
struct CVertexListNode {
    CVertexListNode* pNext = nullptr;
    CVertex Vertex;
};

// Signed distance of a point from the plane, rounded to float: every side
// test of the cuts compares this value with the band.
inline float VertexDistance(const CPlane& plane, const CVector& point)
{
    return static_cast<float>(Dot(plane.Normal, point) + static_cast<double>(plane.Distance));
}

// The vertex made where the edge from a to b crosses the plane. Texture
// coordinates follow the cut; colours are taken from a, and the lightmap
// coordinates are left for the light stage.
CVertex CrossingVertex(const CPlane& plane, const CVertex& a, const CVertex& b);

// Where the line through a and b crosses the plane; returns t, the fraction
// of the way from a to b, and writes the point to *pOut. Inline: the light's
// line-of-sight walks make it millions of times.
inline float IntersectEdge(const CPlane& plane, const CVector* pA, const CVector* pB, CVector* pOut)
{
    const float da = static_cast<float>(Dot(*pA, plane.Normal));
    const float db = static_cast<float>(Dot(*pB, plane.Normal));
    const float t = static_cast<float>((-static_cast<double>(plane.Distance) - da) /
                                       (static_cast<double>(db) - da));
    // The same steps as CPlane::Intersect, so that both give the same point.
    *pOut = *pA + (*pB - *pA) * t;
    return t;
}

// Cuts pFace into a back and a front piece; pFace is not changed. A piece of
// 2 or fewer vertices is dropped (its output keeps what it had). False when
// the face has no vertex array or an allocation failed.
bool SplitFace(const CPlane& plane, const CLeafFace* pFace, CLeafFace* pBack, CLeafFace* pFront);

// The part on and in front of the plane, without a band; keeps results of
// fewer than 3 vertices. False when the face has no vertices or memory fails.
bool ClipFace(const CPlane& plane, const CLeafFace* pFace, CLeafFace* pOut);

// True when every vertex lies within the band, both ends included.
bool IsCoplanar(const CPlane& plane, const CLeafFace* pFace);

// FACE_ON, FACE_FRONT, FACE_BACK or FACE_SPANNING.
int32_t ClassifyFace(const CLeafFace* pFace, const CPlane& plane);
constexpr int32_t FACE_ON = 0;
constexpr int32_t FACE_FRONT = 1;
constexpr int32_t FACE_BACK = -1;
constexpr int32_t FACE_SPANNING = -2;

// A new node at the end of the list that starts at *ppLink.
CVertexListNode* AppendVertex(CVertexListNode** ppLink, const CVertex& vertex);
// Copies the head's vertex to *pOut, deletes the head, returns the new head;
// null and nothing written on an empty list.
CVertexListNode* PopVertex(CVertexListNode** ppHead, CVertex* pOut);
