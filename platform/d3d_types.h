#pragma once
// The records the render device takes for colours, materials and lights.
// Field for field the layout the device layer hands on to OpenGL.
#include <cstdint>

struct D3DCOLORVALUE {
    float r, g, b, a;
};

struct D3DVECTOR {
    float x, y, z;
};

struct D3DMATERIAL7 {
    D3DCOLORVALUE dcvDiffuse;
    D3DCOLORVALUE dcvAmbient;
    D3DCOLORVALUE dcvSpecular;
    D3DCOLORVALUE dcvEmissive;
    float dvPower;
};

enum D3DLIGHTTYPE : int32_t {
    D3DLIGHT_POINT = 1,
    D3DLIGHT_SPOT = 2,
    D3DLIGHT_DIRECTIONAL = 3,
};

struct D3DLIGHT7 {
    D3DLIGHTTYPE dltType;
    D3DCOLORVALUE dcvDiffuse;
    D3DCOLORVALUE dcvSpecular;
    D3DCOLORVALUE dcvAmbient;
    D3DVECTOR dvPosition;
    D3DVECTOR dvDirection;
    float dvRange;
    float dvFalloff;
    float dvAttenuation0;
    float dvAttenuation1;
    float dvAttenuation2;
    float dvTheta;
    float dvPhi;
};
