#pragma once
// Colour, material and light values with the device's record layout, the
// named constants, and constructors that fill in the defaults of each light
// kind.
#include "geometry/vector.h"
#include "platform/d3d_types.h"

#include <cstdint>

struct CColor {
    float r = 0, g = 0, b = 0, a = 0;

    constexpr CColor() = default;
    constexpr CColor(float fR, float fG, float fB, float fA) : r(fR), g(fG), b(fB), a(fA) {}
    constexpr operator D3DCOLORVALUE() const { return {r, g, b, a}; }
};

struct CMaterial {
    CColor Diffuse;
    CColor Ambient;
    CColor Specular;
    CColor Emissive;
    float fPower = 0;

    constexpr CMaterial() = default;
    constexpr CMaterial(const CColor& diffuse, const CColor& ambient, const CColor& specular,
                        const CColor& emissive, float power)
        : Diffuse(diffuse), Ambient(ambient), Specular(specular), Emissive(emissive),
          fPower(power)
    {
    }

    D3DMATERIAL7* ToD3D(D3DMATERIAL7* pOut) const;
};

struct CLight {
    int32_t nType;
    CColor Diffuse;
    CColor Specular;
    CColor Ambient;
    CVector Position;
    CVector Direction;
    float fRange;
    float fFalloff;
    float fAttenuation0;
    float fAttenuation1;
    float fAttenuation2;
    float fTheta;
    float fPhi;

    // A white point light that does not weaken with distance.
    CLight();
    CLight(const CColor& diffuse, const CColor& specular, const CColor& ambient,
           const CVector& position, float range, float attenuation0, float attenuation1,
           float attenuation2);
    CLight(const CColor& diffuse, const CColor& specular, const CColor& ambient,
           const CVector& direction);
    CLight(const CColor& diffuse, const CColor& specular, const CColor& ambient,
           const CVector& position, const CVector& direction, float range, float falloff,
           float theta, float phi, float attenuation0, float attenuation1, float attenuation2);

    void SetPoint(const CColor& diffuse, const CColor& specular, const CColor& ambient,
                  const CVector& position, float range, float attenuation0, float attenuation1,
                  float attenuation2);
    void SetDirectional(const CColor& diffuse, const CColor& specular, const CColor& ambient,
                        const CVector& direction);
    void SetSpot(const CColor& diffuse, const CColor& specular, const CColor& ambient,
                 const CVector& position, const CVector& direction, float range, float falloff,
                 float theta, float phi, float attenuation0, float attenuation1,
                 float attenuation2);

    D3DLIGHT7* ToD3D(D3DLIGHT7* pOut) const;
};

inline constexpr CColor COLOR_RED{1.0f, 0.0f, 0.0f, 1.0f};
inline constexpr CColor COLOR_GREEN{0.0f, 1.0f, 0.0f, 1.0f};
inline constexpr CColor COLOR_BLUE{0.0f, 0.0f, 1.0f, 1.0f};
inline constexpr CColor COLOR_BLACK{0.0f, 0.0f, 0.0f, 1.0f};
inline constexpr CColor COLOR_BROWN{0.5f, 0.25f, 0.0f, 1.0f};
inline constexpr CColor COLOR_ORANGE{1.0f, 0.5f, 0.25f, 1.0f};
inline constexpr CColor COLOR_PURPLE{0.5f, 0.0f, 0.5f, 1.0f};
inline constexpr CColor COLOR_WHITE{1.0f, 1.0f, 1.0f, 1.0f};
inline constexpr CColor COLOR_YELLOW{1.0f, 1.0f, 0.0f, 1.0f};

inline constexpr CMaterial MATERIAL_DIFFUSE{COLOR_WHITE, COLOR_BLACK, COLOR_BLACK, COLOR_BLACK, 1.0f};
inline constexpr CMaterial MATERIAL_SHINY{COLOR_WHITE, COLOR_BLACK, COLOR_WHITE, COLOR_BLACK, 5.0f};
inline constexpr CMaterial MATERIAL_AMBIENT{COLOR_BLACK, COLOR_WHITE, COLOR_BLACK, COLOR_BLACK, 1.0f};
inline constexpr CMaterial MATERIAL_WHITE{COLOR_WHITE, COLOR_WHITE, COLOR_WHITE, COLOR_WHITE, 5.0f};

// The device's largest light range: the square root of the largest float,
// written out so that it is a constant at compile time.
inline constexpr float D3DLIGHT_RANGE_MAX = 0x1.fffffep+63f;
