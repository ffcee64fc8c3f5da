#include "platform/gl_state.h"

#include "platform/gl_functions.h"

#include <algorithm>

namespace {

constexpr uint32_t D3DTADDRESS_MIRROR = 2;
constexpr uint32_t D3DTFG_ANISOTROPIC = 5;
constexpr uint32_t D3DTA_SELECTMASK = 0x0F; // drops the argument modifiers

GLint CombineSource(uint32_t nArg)
{
    switch (nArg & D3DTA_SELECTMASK) {
    case D3DTA_DIFFUSE: return GL_PRIMARY_COLOR;
    case D3DTA_TEXTURE: return GL_TEXTURE;
    case D3DTA_TFACTOR: return GL_CONSTANT;
    default: return GL_PREVIOUS; // D3DTA_CURRENT: the diffuse colour at stage 0 as well
    }
}

GLenum DepthFunc(uint32_t nFunc)
{
    static const GLenum FUNCS[] = {GL_NEVER,  GL_LESS,     GL_EQUAL,  GL_LEQUAL,
                                   GL_GREATER, GL_NOTEQUAL, GL_GEQUAL, GL_ALWAYS};
    return nFunc >= 1 && nFunc <= 8 ? FUNCS[nFunc - 1] : GL_LEQUAL;
}

CGLTextureSurface::CSampler SamplerFor(const CGLStage& stage, uint32_t nLevels)
{
    CGLTextureSurface::CSampler sampler;
    sampler.nMag = stage.nMagFilter <= D3DTFG_POINT ? GL_NEAREST : GL_LINEAR;
    bool bLinear = stage.nMinFilter > D3DTFG_POINT;
    uint32_t nMip = nLevels > 1 ? stage.nMipFilter : D3DTFP_NONE;
    if (nMip == D3DTFP_POINT)
        sampler.nMin = bLinear ? GL_LINEAR_MIPMAP_NEAREST : GL_NEAREST_MIPMAP_NEAREST;
    else if (nMip == D3DTFP_LINEAR)
        sampler.nMin = bLinear ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_LINEAR;
    else
        sampler.nMin = bLinear ? GL_LINEAR : GL_NEAREST;
    sampler.nWrap = stage.nAddress == D3DTADDRESS_WRAP     ? GL_REPEAT
                    : stage.nAddress == D3DTADDRESS_MIRROR ? GL_MIRRORED_REPEAT
                                                           : GL_CLAMP_TO_EDGE;
    bool bAnisotropic =
        stage.nMinFilter == D3DTFN_ANISOTROPIC || stage.nMagFilter == D3DTFG_ANISOTROPIC;
    const CGLFunctions& gl = GLFn();
    if (bAnisotropic && gl.bAnisotropy)
        sampler.fAnisotropy = std::clamp(static_cast<float>(stage.nMaxAnisotropy), 1.0f,
                                         gl.fMaxAnisotropy);
    return sampler;
}

} // namespace

bool StageSamplesTexture(const CGLStage& stage)
{
    auto isTexture = [](uint32_t nArg) { return (nArg & D3DTA_SELECTMASK) == D3DTA_TEXTURE; };
    switch (stage.nColorOp) {
    case D3DTOP_DISABLE: return false;
    case D3DTOP_SELECTARG1: return isTexture(stage.nArg1);
    case D3DTOP_SELECTARG2: return isTexture(stage.nArg2);
    default: return isTexture(stage.nArg1) || isTexture(stage.nArg2);
    }
}

CGLDeviceState::CGLDeviceState()
    : World(IdentityMatrix()), View(IdentityMatrix()), Projection(IdentityMatrix()),
      Viewport{0, 0, 0, 0, 0.0f, 1.0f}
{
    Stages[0].nColorOp = D3DTOP_MODULATE;
    for (uint32_t i = 0; i < GL_DEVICE_STAGES; ++i)
        Stages[i].nTexCoordIndex = i;
}

D3DMATRIX IdentityMatrix()
{
    D3DMATRIX m{};
    m.m[0] = m.m[5] = m.m[10] = m.m[15] = 1.0f;
    return m;
}

D3DMATRIX MultiplyMatrices(const D3DMATRIX& a, const D3DMATRIX& b)
{
    D3DMATRIX r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            float f = 0.0f;
            for (int k = 0; k < 4; ++k)
                f += a.m[i * 4 + k] * b.m[k * 4 + j];
            r.m[i * 4 + j] = f;
        }
    return r;
}

D3DMATRIX GLProjection(const D3DMATRIX& projection)
{
    // Row vectors: x' = x, y' = -y, z' = 2z - w, w' = w.
    D3DMATRIX fix{};
    fix.m[0] = 1.0f;
    fix.m[5] = -1.0f;
    fix.m[10] = 2.0f;
    fix.m[14] = -1.0f;
    fix.m[15] = 1.0f;
    return MultiplyMatrices(projection, fix);
}

D3DMATRIX ScreenProjection(const D3DVIEWPORT7& viewport)
{
    float fW = static_cast<float>(std::max<uint32_t>(viewport.dwWidth, 1));
    float fH = static_cast<float>(std::max<uint32_t>(viewport.dwHeight, 1));
    D3DMATRIX m{};
    m.m[0] = 2.0f / fW;
    m.m[5] = 2.0f / fH;
    m.m[10] = 2.0f;
    m.m[12] = -2.0f * static_cast<float>(viewport.dwX) / fW - 1.0f;
    m.m[13] = -2.0f * static_cast<float>(viewport.dwY) / fH - 1.0f;
    m.m[14] = -1.0f;
    m.m[15] = 1.0f;
    return m;
}

CGLDeviceCounters& GetGLDeviceCounters()
{
    static CGLDeviceCounters counters;
    return counters;
}

// ---- CGLStateCache --------------------------------------------------------

CGLStateCache::~CGLStateCache()
{
    if (nWhite && HasGLContext())
        glDeleteTextures(1, &nWhite);
}

void CGLStateCache::Forget()
{
    nDirty = GL_DIRTY_ALL;
    nLastScreen = -1;
    nActiveUnit = ~0u;
    for (uint32_t i = 0; i < GL_DEVICE_UNITS; ++i)
        bBoundKnown[i] = false;
}

void CGLStateCache::SelectUnit(uint32_t nUnit)
{
    if (nActiveUnit == nUnit)
        return;
    GLFn().ActiveTexture(GL_TEXTURE0 + nUnit);
    nActiveUnit = nUnit;
}

GLuint CGLStateCache::WhiteTexture()
{
    if (nWhite)
        return nWhite;
    const uint8_t white[4] = {255, 255, 255, 255};
    glGenTextures(1, &nWhite);
    glBindTexture(GL_TEXTURE_2D, nWhite);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, white);
    if (nActiveUnit < GL_DEVICE_UNITS)
        bBoundKnown[nActiveUnit] = false;
    return nWhite;
}

void CGLStateCache::PrepareDraw(const CGLDeviceState& state, const CGLUnitTexture* pUnits,
                                bool bScreen, CGLBackSurface& target, CGLShared& shared)
{
    // Binding may upload the back surface, which moves the generation on.
    target.BindTarget();
    if (shared.nGeneration != nGeneration) {
        Forget();
        nGeneration = shared.nGeneration;
    }
    if (nDirty & GL_DIRTY_RENDER)
        ApplyRender(state, target);
    if (nDirty & GL_DIRTY_STAGES)
        ApplyStages(state);
    ApplyTextures(state, pUnits, shared.Atlas);
    if ((nDirty & (GL_DIRTY_VIEWPORT | GL_DIRTY_MATRICES)) || nLastScreen != (bScreen ? 1 : 0))
        ApplyViewportAndMatrices(state, bScreen);
    nDirty = 0;
}

void CGLStateCache::ApplyRender(const CGLDeviceState& state, const CGLBackSurface& target)
{
    glDisable(GL_LIGHTING);
    glDisable(GL_BLEND);
    glDisable(GL_FOG);
    glDisable(GL_DITHER);
    glDisable(GL_SCISSOR_TEST);
    glShadeModel(GL_SMOOTH);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    GLenum nMode = state.nFillMode == D3DFILL_POINT       ? GL_POINT
                   : state.nFillMode == D3DFILL_WIREFRAME ? GL_LINE
                                                          : GL_FILL;
    glPolygonMode(GL_FRONT_AND_BACK, nMode);
    // The framebuffer's window coordinates are D3D's screen coordinates, so
    // what D3D sees clockwise OpenGL counts counter-clockwise.
    if (state.nCullMode == D3DCULL_CW || state.nCullMode == D3DCULL_CCW) {
        glEnable(GL_CULL_FACE);
        glCullFace(GL_BACK);
        glFrontFace(state.nCullMode == D3DCULL_CW ? GL_CW : GL_CCW);
    } else {
        glDisable(GL_CULL_FACE);
    }
    if (target.HasDepth() && state.nZEnable) {
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(DepthFunc(state.nZFunc));
        glDepthMask(state.nZWrite ? GL_TRUE : GL_FALSE);
    } else {
        glDisable(GL_DEPTH_TEST);
    }
    if (state.nColorKey) {
        glEnable(GL_ALPHA_TEST);
        glAlphaFunc(GL_GREATER, 0.5f);
    } else {
        glDisable(GL_ALPHA_TEST);
    }
}

void CGLStateCache::ApplyStages(const CGLDeviceState& state)
{
    uint32_t f = state.nTextureFactor;
    const GLfloat factor[4] = {((f >> 16) & 0xFF) / 255.0f, ((f >> 8) & 0xFF) / 255.0f,
                               (f & 0xFF) / 255.0f, (f >> 24) / 255.0f};
    bool bOn = true;
    for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
        const CGLStage& stage = state.Stages[nUnit];
        bOn = bOn && stage.nColorOp != D3DTOP_DISABLE;
        SelectUnit(nUnit);
        bUnitEnabled[nUnit] = bOn;
        if (!bOn) {
            glDisable(GL_TEXTURE_2D);
            continue;
        }
        glEnable(GL_TEXTURE_2D);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_COMBINE);
        uint32_t nFirst = stage.nColorOp == D3DTOP_SELECTARG2 ? stage.nArg2 : stage.nArg1;
        bool bSelect = stage.nColorOp == D3DTOP_SELECTARG1 || stage.nColorOp == D3DTOP_SELECTARG2;
        glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_RGB, bSelect ? GL_REPLACE : GL_MODULATE);
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_RGB, CombineSource(nFirst));
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_RGB, CombineSource(stage.nArg2));
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_RGB, GL_SRC_COLOR);
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_RGB, GL_SRC_COLOR);
        // Alpha as D3D's default alpha stages: the texture's at stage 0,
        // passed on after it, so that colour-keyed texels stay transparent.
        glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_ALPHA, GL_REPLACE);
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_ALPHA, nUnit == 0 ? GL_TEXTURE : GL_PREVIOUS);
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_ALPHA, GL_SRC_ALPHA);
        glTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, factor);
    }
}

void CGLStateCache::BindName(uint32_t nUnit, GLuint nName)
{
    if (bBoundKnown[nUnit] && nBound[nUnit] == nName)
        return;
    SelectUnit(nUnit);
    glBindTexture(GL_TEXTURE_2D, nName);
    nBound[nUnit] = nName;
    bBoundKnown[nUnit] = true;
    ++GetGLDeviceCounters().nTextureBinds;
}

void CGLStateCache::ApplyTextures(const CGLDeviceState& state, const CGLUnitTexture* pUnits,
                                  CGLAtlas& atlas)
{
    if (atlas.HasChanges()) {
        SelectUnit(0);
        atlas.UploadChanged();
        bBoundKnown[0] = false;
    }
    for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
        if (!bUnitEnabled[nUnit])
            continue;
        const CGLStage& stage = state.Stages[nUnit];
        // A unit that does not read its texture keeps what it has, as long
        // as that is a complete texture.
        if (!StageSamplesTexture(stage)) {
            if (!bBoundKnown[nUnit])
                BindName(nUnit, WhiteTexture());
            continue;
        }
        const CGLUnitTexture& unit = pUnits[nUnit];
        if (unit.nCell >= 0) {
            CGLAtlasPage& page = atlas.PageOf(unit.nCell);
            BindName(nUnit, page.nName);
            CGLTextureSurface::CSampler sampler = SamplerFor(stage, 1);
            if (page.nMin != sampler.nMin || page.nMag != sampler.nMag) {
                SelectUnit(nUnit);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, sampler.nMin);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, sampler.nMag);
                page.nMin = sampler.nMin;
                page.nMag = sampler.nMag;
            }
            continue;
        }
        CGLTextureSurface* pTexture = unit.pTexture;
        if (!pTexture) {
            BindName(nUnit, WhiteTexture());
            continue;
        }
        if (pTexture->NeedsUpload() || !bBoundKnown[nUnit] || nBound[nUnit] != pTexture->GetName()) {
            SelectUnit(nUnit);
            nBound[nUnit] = pTexture->BindAndUpload();
            bBoundKnown[nUnit] = true;
            ++GetGLDeviceCounters().nTextureBinds;
        }
        CGLTextureSurface::CSampler sampler = SamplerFor(stage, pTexture->CountLevels());
        if (!pTexture->HasSampler(sampler)) {
            SelectUnit(nUnit);
            pTexture->ApplySampler(sampler);
        }
    }
}

void CGLStateCache::ApplyViewportAndMatrices(const CGLDeviceState& state, bool bScreen)
{
    const D3DVIEWPORT7& v = state.Viewport;
    glViewport(static_cast<GLint>(v.dwX), static_cast<GLint>(v.dwY),
               static_cast<GLsizei>(v.dwWidth), static_cast<GLsizei>(v.dwHeight));
    glDepthRange(v.dvMinZ, v.dvMaxZ);
    D3DMATRIX projection = bScreen ? ScreenProjection(v) : GLProjection(state.Projection);
    D3DMATRIX modelView = bScreen ? IdentityMatrix() : MultiplyMatrices(state.World, state.View);
    // D3D's row-major rows for row vectors are OpenGL's column-major
    // columns for column vectors: the same sixteen floats.
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(projection.m);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(modelView.m);
    nLastScreen = bScreen ? 1 : 0;
}
