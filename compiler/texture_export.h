#pragma once
// The textures of a compiled map as pictures beside it: every name of the
// names lump becomes "<output folder>/<name>.bmp" (24 bits; a name with '/'
// makes sub-folders), taken from the map's WADs or its loose pictures, which
// is where the viewer looks for it. A picture already there that this
// compiler did not write (a map's own hand-made pictures) is kept as it is.
#include "compiler/compile_options.h"

#include <ostream>
#include <string>
#include <vector>

// What became of the textures, for the summary.
struct CTextureExport {
    int32_t nNames = 0;
    int32_t nWritten = 0;
    int32_t nKept = 0;
    std::vector<std::string> Missing;
};

// The names of a names lump (rows of MAP_NAME_SIZE bytes, zero-terminated),
// in row order, each once whatever its case; empty rows are left out.
std::vector<std::string> TextureNamesOfLump(const std::vector<char>& rows);

// True when the name can become a file below the output's folder: not
// absolute, and no component empty, "." or "..", with '\' taken as '/'.
bool IsSafeTextureName(const std::string& name);

// Finds and writes the pictures of the names lump, prints what was found
// where and what is missing on log, warnings on err. False with the reason
// in *pFailure when a file named by --wad or --palette can't be used.
bool ExportTextures(const CCompileOptions& options, const std::string& outputPath,
                    const std::vector<char>& nameRows, std::ostream& log, std::ostream& err,
                    CTextureExport* pResult, std::string* pFailure);
