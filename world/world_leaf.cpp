// The leaves of the world tree: building a leaf's faces, visible list and
// lightmap surfaces from the image, and freeing them. Drawing is in
// world_draw.cpp.
#include "world/world_tree.h"

#include "compiler/face_lightmap.h"
#include "compiler/texsize.h"
#include "platform/gdi.h"
#include "resources/texture_surface.h"
#include "viewer/map_reader.h"

#include <cstddef>

namespace {

// The texture stage the lightmaps are bound to.
constexpr short LIGHTMAP_STAGE = 1;

// Bit (j and 7) of byte (j shifted right by 3) of the row.
bool RowHasLeaf(const uint8_t* pRow, int32_t j)
{
    return (pRow[j >> 3] >> (j & 7)) & 1;
}

} // namespace

CWorldLeaf::~CWorldLeaf()
{
    Clear();
}

bool CWorldLeaf::Build(CMapImage& image, int32_t nIndex)
{
    Clear();
    const CMapLeaf& record = image.pLeaves[nIndex];

    nFaces = record.FaceCount;
    if (nFaces != 0) {
        pFaces = new CLeafFace[nFaces];
        for (int32_t i = 0; i < nFaces; ++i)
            BuildFace(image, record.FirstFace + i, &pFaces[i]);
    }

    BuildVisible(image, nIndex);

    pLightmaps = new CTextureSurface[nFaces];
    for (int32_t i = 0; i < nFaces; ++i)
        BuildLightmap(image, record.FirstFace + i, &pFaces[i], &pLightmaps[i]);
    return true;
}

// Face number nFace of the image, expanded into the vertex layout the device
// draws, with its texture coordinates final.
void CWorldLeaf::BuildFace(const CMapImage& image, int32_t nFace, CLeafFace* pFace)
{
    const CMapFace& source = image.pFaces[nFace];
    pFace->VertexCount = source.nVertices;
    pFace->pVertices = new CVertex[source.nVertices];
    pFace->Mapping = image.pMappings[source.nMapping];
    pFace->TextureIndex = source.nTexture;
    for (int32_t j = 0; j < source.nVertices; ++j) {
        CVertex& vertex = pFace->pVertices[j];
        vertex.Position = image.pVertices[source.pIndices[j]];
        vertex.Colour = MakeARGB(1.0f, 1.0f, 1.0f, 1.0f);
        vertex.Reserved = 0;
        vertex.Specular = 0;
    }
    SetTexCoords(pFace, pFace->Mapping,
                 FindTexSizeByIndex(image.pTextureSizes, pFace->TextureIndex));
}

// Row nIndex of the visibility lump as a list of leaf objects, in ascending
// leaf number; bits past the leaf count are padding. Without the lump the
// leaf gets no list at all.
void CWorldLeaf::BuildVisible(const CMapImage& image, int32_t nIndex)
{
    if (!image.pVisibility || nIndex >= image.nLeaves)
        return;
    const uint8_t* pRow = image.pVisibility + static_cast<size_t>(nIndex) * image.nRowBytes;
    // A leaf number without an object has nothing to draw: it is left out.
    auto leafAt = [&](int32_t j) -> CWorldLeaf* {
        return image.ppLeaves && j < image.nLeafRecords ? image.ppLeaves[j] : nullptr;
    };
    int32_t nCount = 0;
    for (int32_t j = 0; j < image.nLeaves; ++j)
        nCount += RowHasLeaf(pRow, j) && leafAt(j);
    ppVisible = new CWorldLeaf*[nCount];
    nVisible = nCount;
    int32_t nNext = 0;
    for (int32_t j = 0; j < image.nLeaves; ++j) {
        if (RowHasLeaf(pRow, j) && leafAt(j))
            ppVisible[nNext++] = leafAt(j);
    }
}

// The 16 x 16 surface of face number nFace, drawn texel by texel from its
// lightmap block, and the face's second texture coordinates. A surface that
// can not be made stays empty; the coordinates are written all the same.
void CWorldLeaf::BuildLightmap(const CMapImage& image, int32_t nFace, CLeafFace* pFace,
                               CTextureSurface* pSurface)
{
    pSurface->SetStage(LIGHTMAP_STAGE);
    if (pSurface->Create(image.pApp, LIGHTMAP_SIZE, LIGHTMAP_SIZE, nullptr, 0) == 0 &&
        image.pLightmaps) {
        if (HDC hdc = pSurface->GetDC()) {
            const uint8_t* pBlock =
                image.pLightmaps + static_cast<size_t>(nFace) * LIGHTMAP_BLOCK_SIZE;
            for (int x = 0; x < LIGHTMAP_SIZE; ++x) {
                for (int y = 0; y < LIGHTMAP_SIZE; ++y) {
                    const uint8_t* pTexel = pBlock + (y * LIGHTMAP_SIZE + x) * 3;
                    SetPixel(hdc, x, y, RGB(pTexel[0], pTexel[1], pTexel[2]));
                }
            }
            pSurface->ReleaseDC(hdc);
        }
    }
    // Only the coordinates are kept; the rectangle's axes are for the light pass.
    CVector normal, axisU, axisV, origin;
    MapFaceLightmap(pFace, &normal, &axisU, &axisV, &origin);
}

void CWorldLeaf::Clear()
{
    if (pLightmaps) {
        for (int32_t i = 0; i < nFaces; ++i)
            pLightmaps[i].Free();
        delete[] pLightmaps;
        pLightmaps = nullptr;
    }
    if (pFaces) {
        for (int32_t i = 0; i < nFaces; ++i)
            FreeFace(&pFaces[i]);
        delete[] pFaces;
        pFaces = nullptr;
        nFaces = 0;
    }
    if (ppVisible) {
        delete[] ppVisible;
        ppVisible = nullptr;
        nVisible = 0;
    }
}

bool CWorldLeaf::IsOpen(const CVector&) const
{
    return true;
}

bool CWorldLeaf::IsLeaf() const
{
    return true;
}

CPlane* CWorldLeaf::GetPlane(CPlane* pOut) const
{
    *pOut = Plane;
    return pOut;
}
