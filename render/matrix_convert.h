#pragma once
// The device's matrix record from a CMatrix: the same sixteen floats in the
// same order.
#include "geometry/matrix.h"
#include "platform/ddraw.h"

#include <cstring>

static_assert(sizeof(CMatrix::m) == sizeof(D3DMATRIX::m), "CMatrix and D3DMATRIX differ");

inline D3DMATRIX ToD3DMatrix(const CMatrix& matrix)
{
    D3DMATRIX out;
    std::memcpy(out.m, matrix.m, sizeof(out.m));
    return out;
}
