#include "platform/gl_surfaces.h"

#include "platform/gl_functions.h"

#include <SDL.h>

#include <cstring>

bool HasGLContext() { return SDL_GL_GetCurrentContext() != nullptr; }

void CGLShared::BindFramebuffer(GLuint nFramebuffer)
{
    if (nBoundFramebuffer == nFramebuffer)
        return;
    GLFn().BindFramebuffer(GL_FRAMEBUFFER, nFramebuffer);
    nBoundFramebuffer = nFramebuffer;
}

CRgba8 TextureTexel(const CMemorySurface& surface, uint32_t x, uint32_t y)
{
    uint32_t nValue = surface.ReadPixel(x, y);
    CRgba8 c = UnpackPixel(nValue, surface.GetFormat());
    if (surface.HasColorKey() && nValue == surface.GetColorKey())
        c.a = 0;
    return c;
}

void SurfaceToRgba(const CMemorySurface& surface, std::vector<uint8_t>* pOut)
{
    uint32_t nWidth = surface.GetWidth();
    uint32_t nHeight = surface.GetHeight();
    pOut->resize(static_cast<size_t>(nWidth) * nHeight * 4);
    uint8_t* p = pOut->data();
    for (uint32_t y = 0; y < nHeight; ++y) {
        for (uint32_t x = 0; x < nWidth; ++x, p += 4) {
            CRgba8 c = TextureTexel(surface, x, y);
            p[0] = c.r;
            p[1] = c.g;
            p[2] = c.b;
            p[3] = c.a;
        }
    }
}

// ---- Back surface ---------------------------------------------------------

CGLBackSurface::CGLBackSurface(CGLSharedPtr pShared, uint32_t nWidth, uint32_t nHeight,
                               const DDPIXELFORMAT& format, uint32_t nCaps)
    : CMemorySurface(nWidth, nHeight, format, nCaps), pShared(std::move(pShared))
{
}

CGLBackSurface::~CGLBackSurface()
{
    if (HasGLContext()) {
        const CGLFunctions& gl = GLFn();
        if (nFramebuffer) {
            pShared->BindFramebuffer(0);
            gl.DeleteFramebuffers(1, &nFramebuffer);
        }
        if (nDepth)
            gl.DeleteRenderbuffers(1, &nDepth);
        if (nColour)
            glDeleteTextures(1, &nColour);
    }
    if (pShared->pBack == this)
        pShared->pBack = nullptr;
    ++pShared->nGeneration;
}

bool CGLBackSurface::CreateTargets()
{
    pShared->FlushPending();
    const CGLFunctions& gl = GLFn();
    GLsizei nW = static_cast<GLsizei>(GetWidth());
    GLsizei nH = static_cast<GLsizei>(GetHeight());
    glGenTextures(1, &nColour);
    glBindTexture(GL_TEXTURE_2D, nColour);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, nW, nH, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    gl.GenFramebuffers(1, &nFramebuffer);
    pShared->BindFramebuffer(nFramebuffer);
    gl.FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, nColour, 0);
    bool bComplete = gl.CheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    // Black on both sides, as the CPU pixels start.
    glDisable(GL_SCISSOR_TEST);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    ++pShared->nGeneration;
    return bComplete;
}

bool CGLBackSurface::CreateDepth(const DDPIXELFORMAT& format)
{
    pShared->FlushPending();
    const CGLFunctions& gl = GLFn();
    UploadIfCpuNewer();
    if (nDepth)
        gl.DeleteRenderbuffers(1, &nDepth);
    bStencil = format.dwStencilBitDepth > 0;
    GLenum nInternal = bStencil                          ? GL_DEPTH24_STENCIL8
                       : format.dwZBufferBitDepth <= 16 ? GL_DEPTH_COMPONENT16
                                                         : GL_DEPTH_COMPONENT24;
    gl.GenRenderbuffers(1, &nDepth);
    gl.BindRenderbuffer(GL_RENDERBUFFER, nDepth);
    gl.RenderbufferStorage(GL_RENDERBUFFER, nInternal, static_cast<GLsizei>(GetWidth()),
                           static_cast<GLsizei>(GetHeight()));
    pShared->BindFramebuffer(nFramebuffer);
    gl.FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, nDepth);
    gl.FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_STENCIL_ATTACHMENT, GL_RENDERBUFFER,
                               bStencil ? nDepth : 0);
    bool bComplete = gl.CheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    glDisable(GL_SCISSOR_TEST);
    glDepthMask(GL_TRUE);
    glClearDepth(1.0);
    glClearStencil(0);
    glClear(GL_DEPTH_BUFFER_BIT | (bStencil ? GL_STENCIL_BUFFER_BIT : 0));
    ++pShared->nGeneration;
    if (!bComplete) {
        gl.FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, 0);
        gl.FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_STENCIL_ATTACHMENT, GL_RENDERBUFFER, 0);
        gl.DeleteRenderbuffers(1, &nDepth);
        nDepth = 0;
        bStencil = false;
    }
    return bComplete;
}

HRESULT CGLBackSurface::AddAttachedSurface(IDirectDrawSurface7* pAttach)
{
    HRESULT hr = CMemorySurface::AddAttachedSurface(pAttach);
    if (FAILED(hr))
        return hr;
    return CreateDepth(GetZBuffer()->GetFormat()) ? DD_OK : DDERR_INVALIDPIXELFORMAT;
}

void CGLBackSurface::BindTarget()
{
    UploadIfCpuNewer();
    pShared->BindFramebuffer(nFramebuffer);
}

void CGLBackSurface::UploadIfCpuNewer()
{
    if (!bCpuNewer)
        return;
    pShared->FlushPending();
    bCpuNewer = false;
    GLsizei nW = static_cast<GLsizei>(GetWidth());
    GLsizei nH = static_cast<GLsizei>(GetHeight());
    glBindTexture(GL_TEXTURE_2D, nColour);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    if (SameRGBFormat(GetFormat(), DisplayPixelFormat())) {
        // Rows are padded to 4 bytes, as OpenGL's default unpack alignment.
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, nW, nH, GL_RGB, GL_UNSIGNED_SHORT_5_6_5,
                        GetPixels());
    } else {
        std::vector<uint8_t> rgba;
        SurfaceToRgba(*this, &rgba);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, nW, nH, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    }
    ++pShared->nGeneration; // the texture binding moved
}

void CGLBackSurface::BeforeCpuAccess()
{
    pShared->FlushPending();
    if (!bGpuNewer)
        return;
    bGpuNewer = false;
    uint32_t nW = GetWidth();
    uint32_t nH = GetHeight();
    std::vector<uint8_t> rgba(static_cast<size_t>(nW) * nH * 4);
    pShared->BindFramebuffer(nFramebuffer);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    glReadPixels(0, 0, static_cast<GLsizei>(nW), static_cast<GLsizei>(nH), GL_RGBA,
                 GL_UNSIGNED_BYTE, rgba.data());
    bool b565 = SameRGBFormat(GetFormat(), DisplayPixelFormat());
    const uint8_t* p = rgba.data();
    for (uint32_t y = 0; y < nH; ++y) {
        for (uint32_t x = 0; x < nW; ++x, p += 4) {
            uint32_t nValue = b565 ? ((p[0] >> 3u) << 11) | ((p[1] >> 2u) << 5) | (p[2] >> 3u)
                                   : PackPixel({p[0], p[1], p[2], p[3]}, GetFormat());
            WritePixel(x, y, nValue);
        }
    }
}

void CGLBackSurface::AfterCpuWrite()
{
    CMemorySurface::AfterCpuWrite();
    bCpuNewer = true;
}

void CGLBackSurface::FillRect(const RECT& rect, uint32_t nValue)
{
    bool bWhole = rect.left == 0 && rect.top == 0 &&
                  rect.right == static_cast<int32_t>(GetWidth()) &&
                  rect.bottom == static_cast<int32_t>(GetHeight());
    if (!bWhole) {
        CMemorySurface::FillRect(rect, nValue);
        return;
    }
    // A whole fill sets both sides at once: nothing to read back or upload.
    pShared->FlushPending();
    CRgba8 c = UnpackPixel(nValue, GetFormat());
    pShared->BindFramebuffer(nFramebuffer);
    glDisable(GL_SCISSOR_TEST);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glClearColor(c.r / 255.0f, c.g / 255.0f, c.b / 255.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    for (uint32_t x = 0; x < GetWidth(); ++x)
        WritePixel(x, 0, nValue);
    uint8_t* pPixels = GetPixels();
    for (uint32_t y = 1; y < GetHeight(); ++y)
        std::memcpy(pPixels + static_cast<size_t>(y) * GetPitch(), pPixels, GetPitch());
    CMemorySurface::AfterCpuWrite();
    bGpuNewer = false;
    bCpuNewer = false;
}

void CGLBackSurface::ReadPicture(std::vector<uint8_t>* pRgb)
{
    pShared->FlushPending();
    BindTarget();
    uint32_t nW = GetWidth();
    uint32_t nH = GetHeight();
    pRgb->resize(static_cast<size_t>(nW) * nH * 3);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    glReadPixels(0, 0, static_cast<GLsizei>(nW), static_cast<GLsizei>(nH), GL_RGB,
                 GL_UNSIGNED_BYTE, pRgb->data());
}

// ---- Primary surface ------------------------------------------------------

CGLPrimarySurface::CGLPrimarySurface(CGLSharedPtr pShared, uint32_t nWidth, uint32_t nHeight,
                                     const DDPIXELFORMAT& format, uint32_t nCaps)
    : CMemorySurface(nWidth, nHeight, format, nCaps), pShared(std::move(pShared))
{
}

CGLPrimarySurface::~CGLPrimarySurface()
{
    if (pShared->pPrimary == this)
        pShared->pPrimary = nullptr;
}

HRESULT CGLPrimarySurface::Flip(IDirectDrawSurface7*, uint32_t)
{
    if (!GetBackSurface() || !pShared->pBack || !HasGLContext())
        return DDERR_SURFACELOST;
    PresentBackSurface(*pShared);
    return DD_OK;
}

// ---- Texture surface ------------------------------------------------------

CGLTextureSurface::CGLTextureSurface(CGLSharedPtr pShared, uint32_t nWidth, uint32_t nHeight,
                                     const DDPIXELFORMAT& format, uint32_t nCaps)
    : CMemorySurface(nWidth, nHeight, format, nCaps), pShared(std::move(pShared))
{
    if (this->pShared->bAtlas && nWidth == GL_ATLAS_BLOCK && nHeight == GL_ATLAS_BLOCK &&
        !(nCaps & DDSCAPS_MIPMAP))
        nCell = this->pShared->Atlas.Allocate(this);
}

CGLTextureSurface::~CGLTextureSurface()
{
    pShared->FlushPending(); // fans gathered with it are drawn while it exists
    if (nCell >= 0)
        pShared->Atlas.Free(nCell);
    if (nName && HasGLContext()) {
        glDeleteTextures(1, &nName);
        // The name may come back for another texture: caches must not
        // take it for this one.
        ++pShared->nGeneration;
    }
}

int32_t CGLTextureSurface::GetAtlasCell() const
{
    return nCell >= 0 && !HasColorKey() && !GetNextLevel() ? nCell : -1;
}

void CGLTextureSurface::FillRect(const RECT& rect, uint32_t nValue)
{
    pShared->FlushPending(); // a whole fill skips BeforeCpuAccess
    CMemorySurface::FillRect(rect, nValue);
}

void CGLTextureSurface::AfterCpuWrite()
{
    CMemorySurface::AfterCpuWrite();
    if (nCell >= 0)
        pShared->Atlas.MarkChanged(nCell);
}

bool CGLTextureSurface::NeedsUpload() const
{
    if (!nName)
        return true;
    size_t i = 0;
    for (const CMemorySurface* p = this; p; p = p->GetNextLevel(), ++i)
        if (i >= Uploaded.size() || Uploaded[i] != p->GetContentVersion())
            return true;
    return i != Uploaded.size();
}

GLuint CGLTextureSurface::BindAndUpload()
{
    if (!nName) {
        glGenTextures(1, &nName);
        bSamplerKnown = false;
    }
    glBindTexture(GL_TEXTURE_2D, nName);
    std::vector<CMemorySurface*> levels;
    for (CMemorySurface* p = this; p; p = p->GetNextLevel())
        levels.push_back(p);
    bool bAll = Uploaded.size() != levels.size();
    Uploaded.resize(levels.size(), 0);
    std::vector<uint8_t> rgba;
    for (size_t i = 0; i < levels.size(); ++i) {
        if (!bAll && Uploaded[i] == levels[i]->GetContentVersion())
            continue;
        SurfaceToRgba(*levels[i], &rgba);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        glTexImage2D(GL_TEXTURE_2D, static_cast<GLint>(i), GL_RGBA8,
                     static_cast<GLsizei>(levels[i]->GetWidth()),
                     static_cast<GLsizei>(levels[i]->GetHeight()), 0, GL_RGBA, GL_UNSIGNED_BYTE,
                     rgba.data());
        Uploaded[i] = levels[i]->GetContentVersion();
    }
    if (bAll) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL, 0);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, static_cast<GLint>(levels.size() - 1));
    }
    return nName;
}

void CGLTextureSurface::ApplySampler(const CSampler& sampler)
{
    bool bAll = !bSamplerKnown;
    if (bAll || sampler.nMin != Sampler.nMin)
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, sampler.nMin);
    if (bAll || sampler.nMag != Sampler.nMag)
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, sampler.nMag);
    if (bAll || sampler.nWrap != Sampler.nWrap) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, sampler.nWrap);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, sampler.nWrap);
    }
    if (GLFn().bAnisotropy && (bAll || sampler.fAnisotropy != Sampler.fAnisotropy))
        glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_MAX_ANISOTROPY_EXT, sampler.fAnisotropy);
    Sampler = sampler;
    bSamplerKnown = true;
}

// ---- Factory --------------------------------------------------------------

CMemorySurface* CGLSurfaceFactory::MakeSurface(uint32_t nWidth, uint32_t nHeight,
                                               const DDPIXELFORMAT& format, uint32_t nCaps,
                                               uint32_t nLevel)
{
    if (nCaps & DDSCAPS_PRIMARYSURFACE) {
        auto* pPrimary = new CGLPrimarySurface(pShared, nWidth, nHeight, format, nCaps);
        pShared->pPrimary = pPrimary;
        return pPrimary;
    }
    if (nCaps & DDSCAPS_BACKBUFFER) {
        auto* pBack = new CGLBackSurface(pShared, nWidth, nHeight, format, nCaps);
        if (!pBack->CreateTargets()) {
            pBack->Release();
            return nullptr;
        }
        pShared->pBack = pBack;
        return pBack;
    }
    if ((nCaps & DDSCAPS_ZBUFFER) || nLevel > 0)
        return new CMemorySurface(nWidth, nHeight, format, nCaps);
    return new CGLTextureSurface(pShared, nWidth, nHeight, format, nCaps);
}
