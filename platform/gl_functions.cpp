#include "platform/gl_functions.h"

#include <SDL.h>

#include <cstring>

namespace {

CGLFunctions g_Functions;

template <typename T>
bool Load(T& pOut, const char* pszName, const char* pszFallback = nullptr)
{
    pOut = reinterpret_cast<T>(SDL_GL_GetProcAddress(pszName));
    if (!pOut && pszFallback)
        pOut = reinterpret_cast<T>(SDL_GL_GetProcAddress(pszFallback));
    return pOut != nullptr;
}

bool HasExtension(const char* pszName)
{
    const char* pszAll = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
    if (!pszAll)
        return false;
    size_t nLength = std::strlen(pszName);
    for (const char* p = std::strstr(pszAll, pszName); p; p = std::strstr(p + 1, pszName)) {
        bool bStart = p == pszAll || p[-1] == ' ';
        bool bEnd = p[nLength] == ' ' || p[nLength] == '\0';
        if (bStart && bEnd)
            return true;
    }
    return false;
}

} // namespace

bool LoadGLFunctions()
{
    if (!SDL_GL_GetCurrentContext())
        return false;
    CGLFunctions& f = g_Functions;
    bool bOk = Load(f.ActiveTexture, "glActiveTexture", "glActiveTextureARB") &&
               Load(f.ClientActiveTexture, "glClientActiveTexture", "glClientActiveTextureARB") &&
               Load(f.GenFramebuffers, "glGenFramebuffers", "glGenFramebuffersEXT") &&
               Load(f.DeleteFramebuffers, "glDeleteFramebuffers", "glDeleteFramebuffersEXT") &&
               Load(f.BindFramebuffer, "glBindFramebuffer", "glBindFramebufferEXT") &&
               Load(f.FramebufferTexture2D, "glFramebufferTexture2D",
                    "glFramebufferTexture2DEXT") &&
               Load(f.FramebufferRenderbuffer, "glFramebufferRenderbuffer",
                    "glFramebufferRenderbufferEXT") &&
               Load(f.CheckFramebufferStatus, "glCheckFramebufferStatus",
                    "glCheckFramebufferStatusEXT") &&
               Load(f.GenRenderbuffers, "glGenRenderbuffers", "glGenRenderbuffersEXT") &&
               Load(f.DeleteRenderbuffers, "glDeleteRenderbuffers", "glDeleteRenderbuffersEXT") &&
               Load(f.BindRenderbuffer, "glBindRenderbuffer", "glBindRenderbufferEXT") &&
               Load(f.RenderbufferStorage, "glRenderbufferStorage", "glRenderbufferStorageEXT") &&
               Load(f.GenBuffers, "glGenBuffers", "glGenBuffersARB") &&
               Load(f.DeleteBuffers, "glDeleteBuffers", "glDeleteBuffersARB") &&
               Load(f.BindBuffer, "glBindBuffer", "glBindBufferARB") &&
               Load(f.BufferData, "glBufferData", "glBufferDataARB") &&
               Load(f.BufferSubData, "glBufferSubData", "glBufferSubDataARB") &&
               Load(f.MultiDrawElements, "glMultiDrawElements", "glMultiDrawElementsEXT");
    const char* pszRenderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    f.Renderer = pszRenderer ? pszRenderer : "";
    // The software device filters linearly where anisotropy is asked for,
    // as software rasterisers did: on llvmpipe anisotropic sampling triples
    // the time of a frame.
    f.bAnisotropy = (HasExtension("GL_EXT_texture_filter_anisotropic") ||
                     HasExtension("GL_ARB_texture_filter_anisotropic")) &&
                    !IsSoftwareRenderer();
    f.fMaxAnisotropy = 1.0f;
    if (f.bAnisotropy)
        glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &f.fMaxAnisotropy);
    return bOk;
}

const CGLFunctions& GLFn() { return g_Functions; }

bool IsSoftwareRenderer()
{
    const std::string& name = g_Functions.Renderer;
    return name.find("llvmpipe") != std::string::npos ||
           name.find("softpipe") != std::string::npos ||
           name.find("Software") != std::string::npos;
}
