#include "render/colors.h"

namespace {

D3DVECTOR ToD3DVector(const CVector& v)
{
    return {v.x, v.y, v.z};
}

} // namespace

D3DMATERIAL7* CMaterial::ToD3D(D3DMATERIAL7* pOut) const
{
    pOut->dcvDiffuse = Diffuse;
    pOut->dcvAmbient = Ambient;
    pOut->dcvSpecular = Specular;
    pOut->dcvEmissive = Emissive;
    pOut->dvPower = fPower;
    return pOut;
}

CLight::CLight()
{
    SetPoint(COLOR_WHITE, COLOR_BLACK, COLOR_BLACK, CVector(0, 0, 0), D3DLIGHT_RANGE_MAX, 1.0f,
             0.0f, 0.0f);
}

CLight::CLight(const CColor& diffuse, const CColor& specular, const CColor& ambient,
               const CVector& position, float range, float attenuation0, float attenuation1,
               float attenuation2)
{
    SetPoint(diffuse, specular, ambient, position, range, attenuation0, attenuation1,
             attenuation2);
}

CLight::CLight(const CColor& diffuse, const CColor& specular, const CColor& ambient,
               const CVector& direction)
{
    SetDirectional(diffuse, specular, ambient, direction);
}

CLight::CLight(const CColor& diffuse, const CColor& specular, const CColor& ambient,
               const CVector& position, const CVector& direction, float range, float falloff,
               float theta, float phi, float attenuation0, float attenuation1,
               float attenuation2)
{
    SetSpot(diffuse, specular, ambient, position, direction, range, falloff, theta, phi,
            attenuation0, attenuation1, attenuation2);
}

void CLight::SetPoint(const CColor& diffuse, const CColor& specular, const CColor& ambient,
                      const CVector& position, float range, float attenuation0,
                      float attenuation1, float attenuation2)
{
    SetSpot(diffuse, specular, ambient, position, CVector(0, 0, 0), range, 0.0f, 0.0f, 0.0f,
            attenuation0, attenuation1, attenuation2);
    nType = D3DLIGHT_POINT;
}

void CLight::SetDirectional(const CColor& diffuse, const CColor& specular, const CColor& ambient,
                            const CVector& direction)
{
    SetSpot(diffuse, specular, ambient, CVector(0, 0, 0), direction, 0.0f, 0.0f, 0.0f, 0.0f,
            0.0f, 0.0f, 0.0f);
    nType = D3DLIGHT_DIRECTIONAL;
}

void CLight::SetSpot(const CColor& diffuse, const CColor& specular, const CColor& ambient,
                     const CVector& position, const CVector& direction, float range,
                     float falloff, float theta, float phi, float attenuation0,
                     float attenuation1, float attenuation2)
{
    nType = D3DLIGHT_SPOT;
    Diffuse = diffuse;
    Specular = specular;
    Ambient = ambient;
    Position = position;
    Direction = direction;
    fRange = range;
    fFalloff = falloff;
    fTheta = theta;
    fPhi = phi;
    fAttenuation0 = attenuation0;
    fAttenuation1 = attenuation1;
    fAttenuation2 = attenuation2;
}

D3DLIGHT7* CLight::ToD3D(D3DLIGHT7* pOut) const
{
    pOut->dltType = static_cast<D3DLIGHTTYPE>(nType);
    pOut->dcvDiffuse = Diffuse;
    pOut->dcvSpecular = Specular;
    pOut->dcvAmbient = Ambient;
    pOut->dvPosition = ToD3DVector(Position);
    pOut->dvDirection = ToD3DVector(Direction);
    pOut->dvRange = fRange;
    pOut->dvFalloff = fFalloff;
    pOut->dvAttenuation0 = fAttenuation0;
    pOut->dvAttenuation1 = fAttenuation1;
    pOut->dvAttenuation2 = fAttenuation2;
    pOut->dvTheta = fTheta;
    pOut->dvPhi = fPhi;
    return pOut;
}
