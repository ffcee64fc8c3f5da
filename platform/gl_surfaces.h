#pragma once
// The surfaces of the OpenGL display.
//
// The back surface is a framebuffer object (RGBA8 colour texture, plus a
// depth renderbuffer once a z-buffer is attached) with a 5-6-5 CPU shadow
// for device contexts and locks. The framebuffer holds the picture upside
// down by OpenGL's measure: its row 0 is the picture's top row, so that
// readback, upload and the D3D-style top-left coordinates of viewports and
// screen vertices all need no row flipping. Presenting flips it once.
// Which side is newer is tracked; each side is brought up to date from the
// other only when it is used.
//
// Every other plain surface is a CPU surface with a texture name made when
// it is first bound; its levels are uploaded again when their content
// versions moved on.
#include "platform/gl_atlas.h"
#include "platform/memory_surface.h"

#include <SDL_opengl.h>

#include <memory>
#include <vector>

struct SDL_Window;
class CGLBackSurface;
class CGLPrimarySurface;

// Draws a device has gathered and not yet handed to OpenGL. Whatever else
// touches OpenGL state, a picture or a texture flushes them first, so that
// nothing that comes after them takes effect before them.
class IGLPendingDraws {
public:
    virtual void FlushPending() = 0;

protected:
    ~IGLPendingDraws() = default;
};

// What the display, its surfaces and its device share.
struct CGLShared {
    SDL_Window* pWindow = nullptr;
    uint32_t nWidth = 0;
    uint32_t nHeight = 0;
    CGLBackSurface* pBack = nullptr;       // not owned; null when gone
    CGLPrimarySurface* pPrimary = nullptr; // not owned; null when gone
    // Moves on whenever OpenGL state was changed behind the device's back
    // (texture bindings, matrices), so that it applies its state afresh.
    uint64_t nGeneration = 1;
    // The framebuffer bound for drawing, so that binding it again is skipped.
    GLuint nBoundFramebuffer = 0;
    IGLPendingDraws* pPending = nullptr; // the device's, while it lives
    CGLAtlas Atlas;
    // Lightmap-sized textures share atlas pages; world fans are gathered
    // into batches. Both off: every texture stands alone and every fan is
    // its own draw call, in the order of the calls.
    bool bAtlas = true;
    bool bBatch = true;

    void BindFramebuffer(GLuint nFramebuffer);
    void FlushPending()
    {
        if (pPending)
            pPending->FlushPending();
    }
};
using CGLSharedPtr = std::shared_ptr<CGLShared>;

class CGLBackSurface : public CMemorySurface {
public:
    CGLBackSurface(CGLSharedPtr pShared, uint32_t nWidth, uint32_t nHeight,
                   const DDPIXELFORMAT& format, uint32_t nCaps);
    // Makes the framebuffer and its colour texture; false on failure.
    bool CreateTargets();

    // Also gives the framebuffer a depth buffer of the z-buffer's format.
    HRESULT AddAttachedSurface(IDirectDrawSurface7* pAttach) override;

    // Binds the framebuffer for drawing, uploading the CPU side first when
    // it is newer.
    void BindTarget();
    void UploadIfCpuNewer();
    // The GPU side was drawn on.
    void MarkGpuWritten() { bGpuNewer = true; }
    bool HasDepth() const { return nDepth != 0; }
    bool HasStencil() const { return bStencil; }
    GLuint GetColourTexture() const { return nColour; }
    // The picture as 8-bit RGB, top row first, from the GPU side (after an
    // upload of a newer CPU side).
    void ReadPicture(std::vector<uint8_t>* pRgb);

protected:
    ~CGLBackSurface() override;
    void BeforeCpuAccess() override;
    void AfterCpuWrite() override;
    void FillRect(const RECT& rect, uint32_t nValue) override;

private:
    bool CreateDepth(const DDPIXELFORMAT& format);

    CGLSharedPtr pShared;
    GLuint nFramebuffer = 0;
    GLuint nColour = 0;
    GLuint nDepth = 0;
    bool bStencil = false;
    bool bGpuNewer = false;
    bool bCpuNewer = false;
};

class CGLPrimarySurface : public CMemorySurface {
public:
    CGLPrimarySurface(CGLSharedPtr pShared, uint32_t nWidth, uint32_t nHeight,
                      const DDPIXELFORMAT& format, uint32_t nCaps);
    // Shows the back surface in the window (and writes a requested shot).
    HRESULT Flip(IDirectDrawSurface7* pTarget, uint32_t nFlags) override;

protected:
    ~CGLPrimarySurface() override;

private:
    CGLSharedPtr pShared;
};

class CGLTextureSurface : public CMemorySurface {
public:
    CGLTextureSurface(CGLSharedPtr pShared, uint32_t nWidth, uint32_t nHeight,
                      const DDPIXELFORMAT& format, uint32_t nCaps);

    // Binds the texture on the active unit, uploading levels whose content
    // changed since the last upload. Gives the texture name.
    GLuint BindAndUpload();
    // Sampling parameters, set only where they differ from the last ones;
    // the texture must be bound on the active unit.
    struct CSampler {
        GLint nMin = GL_NEAREST_MIPMAP_LINEAR;
        GLint nMag = GL_LINEAR;
        GLint nWrap = GL_REPEAT;
        float fAnisotropy = 1.0f;
        bool operator==(const CSampler&) const = default;
    };
    void ApplySampler(const CSampler& sampler);
    bool HasSampler(const CSampler& sampler) const { return bSamplerKnown && Sampler == sampler; }
    GLuint GetName() const { return nName; }
    // True when a level changed since it was uploaded, or nothing was.
    bool NeedsUpload() const;
    // The atlas cell that holds the texels, or -1 when the texture is not
    // of the atlas's kind (lightmap-sized, one level, no colour key).
    int32_t GetAtlasCell() const;

protected:
    ~CGLTextureSurface() override;
    // Draws gathered with the texels as they stand go first.
    void BeforeCpuAccess() override { pShared->FlushPending(); }
    void FillRect(const RECT& rect, uint32_t nValue) override;
    void AfterCpuWrite() override;

private:
    CGLSharedPtr pShared;
    int32_t nCell = -1;
    GLuint nName = 0;
    std::vector<uint64_t> Uploaded; // content version of each level as uploaded
    CSampler Sampler;
    bool bSamplerKnown = false;
};

// Makes the display's surfaces for CreateSurfaceChain.
class CGLSurfaceFactory : public CSurfaceFactory {
public:
    explicit CGLSurfaceFactory(CGLSharedPtr pShared) : pShared(std::move(pShared)) {}
    CMemorySurface* MakeSurface(uint32_t nWidth, uint32_t nHeight, const DDPIXELFORMAT& format,
                                uint32_t nCaps, uint32_t nLevel) override;

private:
    CGLSharedPtr pShared;
};

// A texel of a surface in 8-bit channels; with a colour key, the key
// value gets alpha 0.
CRgba8 TextureTexel(const CMemorySurface& surface, uint32_t x, uint32_t y);
// Converts a surface to 8-bit RGBA rows for OpenGL, texel by texel.
void SurfaceToRgba(const CMemorySurface& surface, std::vector<uint8_t>* pOut);
// Presents the back surface in the window: letterboxed, upright.
void PresentBackSurface(CGLShared& shared);
// True while an OpenGL context is current (objects may be deleted).
bool HasGLContext();
