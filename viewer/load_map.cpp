// Loading a compiled map: the file through the shared reader, its pictures
// into the texture list, then the run-time tree, leaves first.
#include "viewer/viewer_app.h"

#include "compiler/texsize.h"
#include "frame/error.h"
#include "platform/files.h"
#include "platform/gdi.h"
#include "platform/sdl_backend.h"
#include "platform/window.h"
#include "resources/texture_surface.h"
#include "viewer/map_format.h"
#include "viewer/map_reader.h"

#include <unistd.h>

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

// The pixel size of the picture at a path, as the bitmap loaders give it:
// a resource of the program first, then the file.
bool PictureSize(const char* pszPath, int32_t* pWidth, int32_t* pHeight)
{
    HBITMAP hBitmap = LoadBitmapA(GetModuleHandleA(nullptr), pszPath);
    if (!hBitmap)
        hBitmap = LoadImageA(nullptr, pszPath, IMAGE_BITMAP, 0, 0, LR_LOADFROMFILE);
    if (!hBitmap)
        return false;
    BITMAP bitmap = {};
    GetObjectA(hBitmap, sizeof(bitmap), &bitmap);
    DeleteObject(hBitmap);
    *pWidth = bitmap.bmWidth;
    *pHeight = bitmap.bmHeight;
    return true;
}

// One line on standard error for a picture the map names that gives no
// texture: the texture's name, the file and why.
void ReportMissingPicture(const std::string& name, const std::string& path, bool bDecoded)
{
    const std::string file = MapPath(path.c_str());
    std::string reason = "no texture could be made of it";
    if (FindFileNoCase(file).empty()) {
        reason = "no such file";
    } else if (!bDecoded) {
        const int hFile = OpenFileRead(path.c_str());
        reason = hFile < 0 ? "cannot be opened" : "not a .bmp picture the viewer can read";
        if (hFile >= 0)
            ::close(hFile);
    }
    ReportBackendWarning(("texture \"" + name + "\": " + file + ": " + reason).c_str());
}

} // namespace

bool CViewerApp::LoadMap()
{
    CMapImage image;
    EMapRead result = MAP_READ_INVALID;
    try {
        result = ReadMapImage(pszPath, &image);
    } catch (const CError& error) {
        // A negative vertex index, the reader's one thrown failure, is damage
        // like any other: it gets the same screen.
        const char* pszText = error.GetMessage();
        if (!pszText || std::strcmp(pszText, MAP_MESSAGE_INVALID_INDEX) != 0)
            throw;
    }
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

// Each texture name becomes the picture "<map folder><name>.bmp"; a name with
// folders ("sub/name") names a picture in a sub-folder. The texture comes
// from the list by name, its size from the picture at the path itself. A
// picture that gives no texture leaves its entry null (the face then shows
// its lightmap on white) and, when it has no size either, its coordinates
// divide by 256; it is reported and counted in nMissingPictures.
void CViewerApp::LoadTextures(CMapImage& image)
{
    delete[] ppTextures;
    ppTextures = nullptr;
    nMissingPictures = 0;
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
        int32_t nWidth = 0, nHeight = 0;
        const bool bDecoded = PictureSize(path.c_str(), &nWidth, &nHeight);
        if (bDecoded) {
            int32_t nCounter = i;
            FindOrAddTexSize(&image.pTextureSizes, name.c_str(), nWidth, nHeight, &nCounter);
        }
        if (!ppTextures[i]) {
            ReportMissingPicture(name, path, bDecoded);
            ++nMissingPictures;
        }
    }
    dNoticeSeconds = nMissingPictures > 0 ? MISSING_NOTICE_SECONDS : 0.0;
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
