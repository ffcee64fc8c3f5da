#pragma once
// CMatrix: the 4x4 transform of the camera and the render device. Sixteen
// floats row by row, m[4 * r + c] being row r, column c, the layout the device
// reads without conversion.
//
// The builders use the device's row-vector convention: rows 0, 1 and 2 are
// the images of the axes, row 3 holds the translation, and the fourth column
// is (0, 0, 0, 1). A point p maps to p * M. Transform is the exception: it
// reads the matrix the column-vector way.
#include "geometry/vector.h"

// Thrown as a plain int by Transform when the homogeneous w comes out 0.
constexpr int GEOMETRY_ZERO_W = 2048;

class CMatrix {
public:
    float m[16];

    // The identity when bIdentity is set, else all zero.
    explicit CMatrix(bool bIdentity = true);
    // Each vector fills the first three columns of its row; the fourth column
    // is (0, 0, 0, 1).
    CMatrix(CVector row0, CVector row1, CVector row2, CVector row3);

    // Each builder computes a fresh matrix and returns it; with bSet it also
    // replaces this matrix. The old value never takes part. Angles are in
    // radians.
    CMatrix RotateX(float fAngle, bool bSet);
    CMatrix RotateY(float fAngle, bool bSet);
    CMatrix RotateZ(float fAngle, bool bSet);
    // Rotation about axis, taken as given: an axis that is not unit length
    // gives a matrix that is no rotation.
    CMatrix RotateAxis(const CVector& axis, float fAngle, bool bSet);
    // Rows right, up, forward from two directions, made orthonormal by
    // Gram-Schmidt; the translation is zero.
    CMatrix Orient(const CVector& forward, const CVector& up, bool bSet);
    // Places an object at position facing target: the rows of Orient with
    // position as the translation.
    CMatrix LookAt(const CVector& position, const CVector& target, const CVector& up, bool bSet);
    // The view matrix of an eye at position looking at target: the rigid
    // inverse of LookAt.
    CMatrix ViewLookAt(const CVector& position, const CVector& target, const CVector& up,
                       bool bSet);

    CMatrix& operator*=(const CMatrix& b);
};

// Inverse of a rotation followed by a translation: the transposed 3x3 and the
// translation turned back. Scale and shear are not undone, and the fourth
// column of the result is (0, 0, 0, 1) whatever m has there.
CMatrix RigidInverse(const CMatrix& m);

// Rows of a times columns of b.
CMatrix operator*(const CMatrix& a, const CMatrix& b);
CMatrix operator*(const CMatrix& a, float s);
CMatrix operator*(float s, const CMatrix& a);
CMatrix operator/(const CMatrix& a, float s);

// Multiplies the rows of m with the column (v, 1) and divides by w unless w
// is exactly 1. This reading ignores the translation in row 3 and turns the
// builders' rotations the other way. Throws GEOMETRY_ZERO_W when w is 0.
CVector Transform(const CVector& v, const CMatrix& m);
