// The thin layer over the 3D device: a device check, a thrown CError with a
// fixed message on failure, and the conversion of the system's colour,
// material, light and matrix classes into the device's records.
#include "frame/application.h"
#include "frame/error.h"
#include "render/matrix_convert.h"
#include "resources/texture_surface.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace {

// ClearZBuffer without a device.
constexpr int NO_DEVICE = 2;
// SetViewport when the device refuses the viewport.
constexpr int VIEWPORT_FAILED = 0x2000;
// SetProjection with parameters that give no projection.
constexpr int BAD_PROJECTION = 2;
constexpr float MIN_PROJECTION_SINE = 0.01f;

[[noreturn]] void ThrowFormatted(const char* pszFormat, ...)
{
    char text[128];
    va_list args;
    va_start(args, pszFormat);
    std::vsnprintf(text, sizeof(text), pszFormat, args);
    va_end(args);
    throw CError(text);
}

CColor ToColor(const D3DCOLORVALUE& value)
{
    return CColor(value.r, value.g, value.b, value.a);
}

CVector ToVector(const D3DVECTOR& value)
{
    return CVector(value.x, value.y, value.z);
}

CMaterial FromD3D(const D3DMATERIAL7& material)
{
    return CMaterial(ToColor(material.dcvDiffuse), ToColor(material.dcvAmbient),
                     ToColor(material.dcvSpecular), ToColor(material.dcvEmissive),
                     material.dvPower);
}

CLight FromD3D(const D3DLIGHT7& record)
{
    CLight light;
    light.nType = record.dltType;
    light.Diffuse = ToColor(record.dcvDiffuse);
    light.Specular = ToColor(record.dcvSpecular);
    light.Ambient = ToColor(record.dcvAmbient);
    light.Position = ToVector(record.dvPosition);
    light.Direction = ToVector(record.dvDirection);
    light.fRange = record.dvRange;
    light.fFalloff = record.dvFalloff;
    light.fAttenuation0 = record.dvAttenuation0;
    light.fAttenuation1 = record.dvAttenuation1;
    light.fAttenuation2 = record.dvAttenuation2;
    light.fTheta = record.dvTheta;
    light.fPhi = record.dvPhi;
    return light;
}

} // namespace

int CApplication::BeginScene()
{
    if (FAILED(GetDevice()->BeginScene()))
        throw CError("Could not begin the D3D scene.");
    return 0;
}

int CApplication::EndScene()
{
    if (FAILED(GetDevice()->EndScene()))
        throw CError("Could not end the D3D scene.");
    return 0;
}

int CApplication::SetRenderState(uint32_t nState, uint32_t nValue)
{
    if (FAILED(GetDevice()->SetRenderState(nState, nValue)))
        ThrowFormatted("Failed to set render state %d to %d.", static_cast<int>(nState),
                       static_cast<int>(nValue));
    return 0;
}

int CApplication::SetTextureStageState(uint32_t nStage, uint32_t nState, uint32_t nValue)
{
    // The message names state and value before the stage.
    if (FAILED(GetDevice()->SetTextureStageState(nStage, nState, nValue)))
        ThrowFormatted("Failed to set texture state %d to %d for stage %i.",
                       static_cast<int>(nState), static_cast<int>(nValue),
                       static_cast<int>(nStage));
    return 0;
}

int CApplication::SetTexture(uint32_t nStage, CTextureSurface* pSurface)
{
    GetDevice()->SetTexture(nStage, pSurface ? pSurface->GetSurface() : nullptr);
    return 0;
}

int CApplication::SetMaterial(const CMaterial& material)
{
    D3DMATERIAL7 record = {};
    material.ToD3D(&record);
    if (FAILED(GetDevice()->SetMaterial(&record)))
        throw CError("Failed to set material.");
    return 0;
}

CMaterial CApplication::GetMaterial()
{
    // What a device that answers nothing leaves is the plain diffuse material.
    D3DMATERIAL7 record = {};
    MATERIAL_DIFFUSE.ToD3D(&record);
    GetDevice()->GetMaterial(&record);
    return FromD3D(record);
}

int CApplication::SetLight(uint32_t nIndex, const CLight& light, bool bEnable)
{
    IDirect3DDevice7* pTarget = GetDevice();
    D3DLIGHT7 record = {};
    light.ToD3D(&record);
    // A refused light leaves its enabled state alone.
    if (FAILED(pTarget->SetLight(nIndex, &record)))
        ThrowFormatted("Failed to set light %i.", static_cast<int>(nIndex));
    pTarget->LightEnable(nIndex, bEnable);
    return 0;
}

CLight CApplication::GetLight(uint32_t nIndex)
{
    D3DLIGHT7 record = {};
    GetDevice()->GetLight(nIndex, &record);
    return FromD3D(record);
}

int CApplication::EnableLight(uint32_t nIndex, bool bEnable)
{
    GetDevice()->LightEnable(nIndex, bEnable);
    return 0;
}

int CApplication::DrawPrimitive(uint32_t nType, uint32_t nFvf, void* pVertices, uint32_t nCount,
                                uint32_t nFlags)
{
    if (FAILED(GetDevice()->DrawPrimitive(nType, nFvf, pVertices, nCount, nFlags)))
        throw CError("Failed to draw primitive.");
    return 0;
}

int CApplication::SetWorldTransform(const CMatrix& matrix)
{
    if (!pDevice)
        return 1;
    D3DMATRIX record = ToD3DMatrix(matrix);
    return pDevice->SetTransform(D3DTRANSFORMSTATE_WORLD, &record);
}

int CApplication::SetViewTransform(const CMatrix& matrix)
{
    if (!pDevice)
        return 1;
    D3DMATRIX record = ToD3DMatrix(matrix);
    return pDevice->SetTransform(D3DTRANSFORMSTATE_VIEW, &record);
}

int CApplication::ClearZBuffer()
{
    if (!pDevice)
        return NO_DEVICE;
    pDevice->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
    return 0;
}

int CApplication::SetViewport()
{
    // Called only once a device exists; without one it counts as refused.
    if (!pDevice)
        return VIEWPORT_FAILED;
    D3DVIEWPORT7 viewport = {};
    viewport.dwX = 0;
    viewport.dwY = 0;
    viewport.dwWidth = static_cast<uint32_t>(ScreenRect.right - ScreenRect.left);
    viewport.dwHeight = static_cast<uint32_t>(ScreenRect.bottom - ScreenRect.top);
    viewport.dvMinZ = 0.0f;
    viewport.dvMaxZ = 1.0f;
    if (FAILED(pDevice->SetViewport(&viewport)))
        return VIEWPORT_FAILED;
    return 0;
}

int CApplication::SetProjection(const CAppConfig* pConfigIn)
{
    // Called only once a device exists; without one, or without a
    // configuration, there is nothing to set.
    if (!pConfigIn || !pDevice)
        return BAD_PROJECTION;
    const float fAspect = static_cast<float>(ScreenRect.bottom - ScreenRect.top) /
                          static_cast<float>(ScreenRect.right - ScreenRect.left);
    const float fNear = static_cast<float>(pConfigIn->nNear);
    const float fFar = static_cast<float>(pConfigIn->nFar);
    if (std::fabs(fFar - fNear) < 1.0f)
        return BAD_PROJECTION;
    const float fHalfAngle = pConfigIn->fFieldOfView / 2.0f;
    const float fSine = std::sin(fHalfAngle);
    if (std::fabs(fSine) <= MIN_PROJECTION_SINE)
        return BAD_PROJECTION;

    // fFieldOfView is vertical; the horizontal scale follows by the aspect.
    const float fHeight = std::cos(fHalfAngle) / fSine;
    const float fWidth = fAspect * fHeight;
    const float fQ = fFar / (fFar - fNear);
    CMatrix projection(false);
    projection.m[0] = fWidth;
    projection.m[5] = fHeight;
    projection.m[10] = fQ;
    projection.m[11] = 1.0f;
    projection.m[14] = -fQ * fNear;
    D3DMATRIX record = ToD3DMatrix(projection);
    pDevice->SetTransform(D3DTRANSFORMSTATE_PROJECTION, &record);
    return 0;
}
