#pragma once
// The lightmap rectangle of a face: every face gets 16 by 16 lightmap texels
// spread over its bounding rectangle in its own plane, whatever its size. The
// rectangle's first axis runs along the face's first edge (from vertex 1 to
// vertex 0), the second lies in the plane across it. The viewer keeps the
// lightmap coordinates this writes into the vertices; the light pass keeps
// the axes, one texel long, to place its samples.
#include "compiler/face.h"
#include "geometry/vector.h"

// Writes LightU and LightV of every vertex of pFace, each running from 0 to 1
// across the rectangle, and gives back the face's normal, the two texel steps
// (U along the first edge, V = U x normal) and the rectangle's corner in the
// face's plane. Texel (x, y) starts at origin + U * x + V * y.
//
// A face that has no rectangle gets LightU = LightV = 0 on every vertex and
// finite outputs: all three vectors zero and the origin at its first vertex.
// That is a null face or one of fewer than three vertices, and a face whose
// first three vertices are collinear (its normal and first axis can't be
// made). A face of no extent along one axis gets 0 on that axis and a zero
// step for it. Any output pointer may be null.
void MapFaceLightmap(CLeafFace* pFace, CVector* pOutNormal, CVector* pOutU, CVector* pOutV,
                     CVector* pOutOrigin);
