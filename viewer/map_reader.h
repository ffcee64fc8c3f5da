#pragma once
// The reader of compiled map files: the lumps of one file in memory, as the
// viewer's tree builder takes them. Every index the tree builder follows is
// checked against the array it points into, so that a damaged file is turned
// away before anything reads outside a lump.
#include "compiler/face.h"
#include "compiler/texsize.h"
#include "geometry/vector.h"
#include "viewer/map_format.h"

#include <cstdint>
#include <string>

class CWorldLeaf;
class CApplication;

// One unpacked record of the faces lump.
struct CMapFace {
    int32_t nVertices;
    int32_t nMapping;
    int32_t nTexture;
    int32_t* pIndices; // owned, nVertices entries
};

// A compiled map in memory while the run-time tree is built from it.
struct CMapImage {
    CVector* pVertices;
    CTexMapping* pMappings;
    CTexSizeNode* pTextureSizes; // left null by the reader; filled from the pictures
    char* pNames;                // MAP_NAME_SIZE bytes per texture index
    CMapFace* pFaces;
    CMapLeaf* pLeaves;
    CMapNode* pNodes;
    int32_t nFaces;
    uint8_t* pVisibility;
    int32_t nRowBytes;  // bytes of a visibility row; 0 without the lump
    int32_t nLeaves;    // leaves that have a visibility row; 0 without the lump
    uint8_t* pLightmaps;
    CWorldLeaf** ppLeaves; // left null by the reader
    CApplication* pApp;    // left null by the reader

    int32_t nVertices;
    int32_t nMappings;
    int32_t nNames;        // texture names, rows of MAP_NAME_SIZE bytes
    int32_t nLeafRecords;  // records of the leaves lump
    int32_t nNodes;
    uint32_t nVisibilityBytes;
    uint32_t nLightmapBytes;
    uint64_t nFileBytes;   // size of the file read
    CMapFileHeader Header; // the directory as read
};

enum EMapRead { MAP_READ_OK, MAP_READ_UNABLE_TO_OPEN, MAP_READ_INVALID };

constexpr const char* MAP_MESSAGE_UNABLE_TO_OPEN = "Unable to open file.";
constexpr const char* MAP_MESSAGE_INVALID = "Invalid file.";
constexpr const char* MAP_MESSAGE_INVALID_INDEX = "Invalid index";

// Reads the file at pszPath (found as OpenFileRead finds it) into *pImage,
// which is zeroed first. On any result other than MAP_READ_OK the image is
// left empty. A negative vertex index in a face throws CError "Invalid index";
// the image is emptied before the throw.
EMapRead ReadMapImage(const char* pszPath, CMapImage* pImage);
// The same; for MAP_READ_INVALID, *pProblem (when not null) says what is
// damaged, in a line for people ("faces lump: record at word 7 runs past the
// lump").
EMapRead ReadMapImage(const char* pszPath, CMapImage* pImage, std::string* pProblem);

// Frees every array of the image and zeroes it; safe to call twice. Besides
// the reader's arrays this frees the texture size tree (FreeTexSizes) and the
// ppLeaves array (delete[]), but not the leaf objects it points at.
void FreeMapImage(CMapImage* pImage);

// The message for a read result: "Invalid file.", "Unable to open file.", or
// the empty text for MAP_READ_OK.
const char* MapReadMessage(EMapRead result);
