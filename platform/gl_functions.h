#pragma once
// The OpenGL entry points above version 1.1, fetched through SDL once a
// context is current. Framebuffer objects come from the core names or, where
// only those exist, the EXT ones (same tokens).
#include <SDL_opengl.h>

#include <string>

struct CGLFunctions {
    PFNGLACTIVETEXTUREPROC ActiveTexture = nullptr;
    PFNGLCLIENTACTIVETEXTUREARBPROC ClientActiveTexture = nullptr;
    PFNGLGENFRAMEBUFFERSPROC GenFramebuffers = nullptr;
    PFNGLDELETEFRAMEBUFFERSPROC DeleteFramebuffers = nullptr;
    PFNGLBINDFRAMEBUFFERPROC BindFramebuffer = nullptr;
    PFNGLFRAMEBUFFERTEXTURE2DPROC FramebufferTexture2D = nullptr;
    PFNGLFRAMEBUFFERRENDERBUFFERPROC FramebufferRenderbuffer = nullptr;
    PFNGLCHECKFRAMEBUFFERSTATUSPROC CheckFramebufferStatus = nullptr;
    PFNGLGENRENDERBUFFERSPROC GenRenderbuffers = nullptr;
    PFNGLDELETERENDERBUFFERSPROC DeleteRenderbuffers = nullptr;
    PFNGLBINDRENDERBUFFERPROC BindRenderbuffer = nullptr;
    PFNGLRENDERBUFFERSTORAGEPROC RenderbufferStorage = nullptr;
    PFNGLGENBUFFERSPROC GenBuffers = nullptr;
    PFNGLDELETEBUFFERSPROC DeleteBuffers = nullptr;
    PFNGLBINDBUFFERPROC BindBuffer = nullptr;
    PFNGLBUFFERDATAPROC BufferData = nullptr;
    PFNGLBUFFERSUBDATAPROC BufferSubData = nullptr;
    PFNGLMULTIDRAWELEMENTSPROC MultiDrawElements = nullptr;
    bool bAnisotropy = false;   // GL_EXT_texture_filter_anisotropic, on hardware
    float fMaxAnisotropy = 1.0f;
    std::string Renderer;       // GL_RENDERER
};

// Loads the entry points for the current context; false when one that the
// display needs is missing.
bool LoadGLFunctions();
const CGLFunctions& GLFn();
// True when GL_RENDERER names a software rasteriser.
bool IsSoftwareRenderer();
