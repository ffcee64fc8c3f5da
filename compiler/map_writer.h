#pragma once
// The writer of compiled map files, the map compiler's last step. The lumps
// are laid out after the header in directory order; an empty lump is written
// absent (offset and size 0).
#include "compiler/face.h"
#include "geometry/vector.h"
#include "viewer/map_format.h"

#include <cstdint>
#include <string>
#include <vector>

struct CCompiledMap {
    std::vector<CVector> Vertices;
    std::vector<CTexMapping> Mappings;
    std::vector<char> Names;        // MAP_NAME_SIZE bytes a row, zero-terminated
    std::vector<int32_t> FaceWords; // the faces lump: n, mapping, texture, n vertex indices, ...
    std::vector<CMapLeaf> Leaves;
    std::vector<CMapNode> Nodes;
    std::vector<uint8_t> Visibility;
    std::vector<uint8_t> Lightmaps;
};

// Writes the file to a temporary name beside pszPath, then renames it into
// place, so a failed write never leaves a broken or half-written file.
// False with a message naming the file in *pError.
bool WriteCompiledMap(const char* pszPath, const CCompiledMap& map, std::string* pError);
