#pragma once
// The 3D device's state as the core sets it, and what turns it into OpenGL
// fixed-function state before a draw. Only what changed is applied again;
// a texture already bound on a unit is not bound again (a bind costs much
// on a software renderer). When anything else touched OpenGL state (a
// present, an upload of the back surface, a texture deleted) the display's
// generation moves on and everything is applied afresh.
#include "platform/ddraw.h"
#include "platform/gl_surfaces.h"

#include <cstdint>

// Stages the core may set; the first two reach OpenGL texture units.
constexpr uint32_t GL_DEVICE_STAGES = 8;
constexpr uint32_t GL_DEVICE_UNITS = 2;

// Render states the device knows beyond those named in ddraw.h.
constexpr uint32_t D3DRS_ZENABLE = 7;
constexpr uint32_t D3DRS_ZWRITEENABLE = 14;

struct CGLStage {
    uint32_t nColorOp = D3DTOP_DISABLE;
    uint32_t nArg1 = D3DTA_TEXTURE;
    uint32_t nArg2 = D3DTA_CURRENT;
    uint32_t nTexCoordIndex = 0;
    uint32_t nAddress = D3DTADDRESS_WRAP;
    uint32_t nMagFilter = D3DTFG_POINT;
    uint32_t nMinFilter = D3DTFG_POINT;
    uint32_t nMipFilter = D3DTFP_NONE;
    uint32_t nMaxAnisotropy = 1;
    CGLTextureSurface* pTexture = nullptr; // the device holds a reference
};

struct CGLDeviceState {
    uint32_t nFillMode = D3DFILL_SOLID;
    uint32_t nCullMode = D3DCULL_CCW;
    uint32_t nZFunc = D3DCMP_LESSEQUAL;
    uint32_t nZEnable = 1;
    uint32_t nZWrite = 1;
    uint32_t nColorKey = 0;
    uint32_t nTextureFactor = 0xFFFFFFFFu;
    CGLStage Stages[GL_DEVICE_STAGES];
    D3DMATRIX World;
    D3DMATRIX View;
    D3DMATRIX Projection;
    D3DVIEWPORT7 Viewport;

    // D3D's defaults: stage 0 modulates texture and diffuse, later stages
    // are off, each stage reads its own coordinate pair.
    CGLDeviceState();
};

// Parts of the state that changed since the last draw.
constexpr uint32_t GL_DIRTY_RENDER = 0x1;   // fill, cull, depth, alpha test
constexpr uint32_t GL_DIRTY_STAGES = 0x2;   // combiners and texture factor
constexpr uint32_t GL_DIRTY_VIEWPORT = 0x4;
constexpr uint32_t GL_DIRTY_MATRICES = 0x8;
constexpr uint32_t GL_DIRTY_SAMPLERS = 0x10; // filters and addressing
constexpr uint32_t GL_DIRTY_ALL = 0x1F;

// What a texture unit samples in a draw: a texture of its own, a cell of
// the atlas (nCell >= 0), or, with neither, plain white.
struct CGLUnitTexture {
    CGLTextureSurface* pTexture = nullptr;
    int32_t nCell = -1;
};

// True when the stage's colour operation reads its texture.
bool StageSamplesTexture(const CGLStage& stage);

class CGLStateCache {
public:
    ~CGLStateCache();
    void MarkDirty(uint32_t nBits) { nDirty |= nBits; }
    // True when the next PrepareDraw has state to apply.
    bool HasChanges(const CGLShared& shared) const
    {
        return nDirty != 0 || shared.nGeneration != nGeneration;
    }
    // Everything the draw needs: target bound, state applied, changed atlas
    // cells uploaded, the units' textures bound and uploaded. bScreen: pixel
    // coordinates, else world ones.
    void PrepareDraw(const CGLDeviceState& state, const CGLUnitTexture* pUnits, bool bScreen,
                     CGLBackSurface& target, CGLShared& shared);
    // Makes the unit the active one, skipping a redundant switch.
    void SelectUnit(uint32_t nUnit);
    // Forgets what OpenGL holds, so that the next draw applies everything.
    void Forget();

private:
    void ApplyRender(const CGLDeviceState& state, const CGLBackSurface& target);
    void ApplyStages(const CGLDeviceState& state);
    void ApplyTextures(const CGLDeviceState& state, const CGLUnitTexture* pUnits,
                       CGLAtlas& atlas);
    void BindName(uint32_t nUnit, GLuint nName);
    void ApplyViewportAndMatrices(const CGLDeviceState& state, bool bScreen);
    GLuint WhiteTexture();

    uint64_t nGeneration = 0;
    uint32_t nDirty = GL_DIRTY_ALL;
    int nLastScreen = -1; // 1 screen, 0 world, -1 unknown
    uint32_t nActiveUnit = ~0u;
    GLuint nBound[GL_DEVICE_UNITS] = {};
    bool bBoundKnown[GL_DEVICE_UNITS] = {};
    bool bUnitEnabled[GL_DEVICE_UNITS] = {};
    GLuint nWhite = 0;
};

// What the devices asked of OpenGL since the process started, for
// benchmarks: draw calls and texture binds.
struct CGLDeviceCounters {
    uint64_t nDrawCalls = 0;
    uint64_t nTextureBinds = 0;
};
CGLDeviceCounters& GetGLDeviceCounters();

// Row-vector product a * b of two D3D matrices.
D3DMATRIX MultiplyMatrices(const D3DMATRIX& a, const D3DMATRIX& b);
D3DMATRIX IdentityMatrix();
// The OpenGL projection for a D3D one: depth 0..1 becomes -1..1 and y turns
// over for the framebuffer that holds the picture's top row at row 0.
D3DMATRIX GLProjection(const D3DMATRIX& projection);
// Pixel coordinates of the viewport (y down, z 0..1) to clip space.
D3DMATRIX ScreenProjection(const D3DVIEWPORT7& viewport);
