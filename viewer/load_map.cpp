// Loading a compiled map: the file through the shared reader, its pictures
// into the texture list, then the run-time tree, leaves first.
#include "viewer/viewer_app.h"

#include "compiler/texsize.h"
#include "resources/texture_surface.h"
#include "viewer/map_format.h"
#include "viewer/map_reader.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

// The folder of a path, up to and including its last backslash; the search
// stops at index 1, so a path without a folder gives the empty text.
std::string FolderOf(const char* pszPath)
{
    for (int i = static_cast<int>(std::strlen(pszPath)) - 1; i >= 1; --i) {
        if (pszPath[i] == '\\')
            return std::string(pszPath, static_cast<size_t>(i) + 1);
    }
    return std::string();
}

std::string TextureName(const CMapImage& image, int32_t nIndex)
{
    const char* pszRow = image.pNames + static_cast<size_t>(nIndex) * MAP_NAME_SIZE;
    return std::string(pszRow, strnlen(pszRow, MAP_NAME_SIZE));
}

} // namespace

bool CViewerApp::LoadMap()
{
    CMapImage image;
    const EMapRead result = ReadMapImage(pszPath, &image);
    if (result != MAP_READ_OK) {
        nState = VIEWER_LOAD_FAILED;
        std::snprintf(szMessage, sizeof(szMessage), "%s", MapReadMessage(result));
        return false;
    }
    LoadTextures(image);
    BuildWorld(image);
    FreeMapImage(&image);
    Camera.Position = CVector(0.0f, 0.0f, 0.0f);
    Camera.fPitch = 0.0f;
    Camera.fYaw = 0.0f;
    return true;
}

// Each texture name becomes the picture "<map folder><name>.bmp". A picture
// that can not be loaded leaves its entry null (the face then shows its
// lightmap on white) and gives no size, so its coordinates divide by 256.
void CViewerApp::LoadTextures(CMapImage& image)
{
    delete[] ppTextures;
    ppTextures = nullptr;
    nTextures = image.nNames;
    if (nTextures <= 0) {
        nTextures = 0;
        return;
    }
    ppTextures = new CTextureSurface*[nTextures];
    const std::string folder = FolderOf(pszPath);
    for (int32_t i = 0; i < nTextures; ++i) {
        const std::string name = TextureName(image, i);
        const std::string path = folder + name + ".bmp";
        AddTexture(path.c_str(), name.c_str(), 0);
        ppTextures[i] = FindTexture(name.c_str());
        // The texture's own size is the picture's: no second load is needed.
        if (ppTextures[i]) {
            int32_t nCounter = i;
            FindOrAddTexSize(&image.pTextureSizes, name.c_str(), ppTextures[i]->GetWidth(),
                             ppTextures[i]->GetHeight(), &nCounter);
        }
    }
}

void CViewerApp::BuildWorld(CMapImage& image)
{
    image.pApp = this;
    const int32_t nLeaves = image.nLeafRecords;
    image.ppLeaves = new CWorldLeaf*[nLeaves > 0 ? nLeaves : 1];
    for (int32_t i = 0; i < nLeaves; ++i)
        image.ppLeaves[i] = new CWorldLeaf;
    for (int32_t i = 0; i < nLeaves; ++i)
        image.ppLeaves[i]->Build(image, i);
    if (World.Build(image, 0))
        return;
    // A file without nodes: no tree holds the leaves, so they go now and the
    // map is solid everywhere.
    for (int32_t i = 0; i < nLeaves; ++i) {
        image.ppLeaves[i]->Clear();
        delete image.ppLeaves[i];
    }
}
