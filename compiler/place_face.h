#pragma once
// The rule by which both tree builders put a face on a side of a splitter.
// A face lying in the splitter's band is never cut: it goes whole to the front
// when its own plane has (nearly) the splitter's Distance, else to the back.
// Any other face is cut by SplitFace and each piece of more than two vertices
// goes to its side.
#include "compiler/face.h"

enum class EFacePlacement {
    WholeFront, // the face goes to the front uncut; the outputs are untouched
    WholeBack,  // the face goes to the back uncut; the outputs are untouched
    Pieces,     // SplitFace wrote the pieces; one exists when its VertexCount > 2
};

// pBack and pFront are working faces that should be empty on entry, so that a
// piece SplitFace drops is seen as absent. faceDistance is the Distance of the
// face's own plane; only its nearness to splitter.Distance counts, the normals
// are not compared.
EFacePlacement PlaceFace(const CPlane& splitter, const CLeafFace* pFace, float faceDistance,
                         CLeafFace* pBack, CLeafFace* pFront);

// How many faces PlaceFace would give each side (0 or 1: a whole face or a
// piece of more than two vertices), found without building any piece. It
// measures vertices and counts queue entries exactly as IsCoplanar and
// SplitFace do, and has to stay in step with them.
void CountPlacedFace(const CPlane& splitter, const CLeafFace* pFace, float faceDistance,
                     int32_t* pBackCount, int32_t* pFrontCount);
