#pragma once
// Where the textures of an editor map come from: the WADs that the world
// entity's "wad" key lists, WADs named on the command line, and loose
// pictures (NAME.png, .tga or .bmp beside the map or under textures/ beside
// it). Names match ignoring ASCII case, as the editors match them.
#include "compiler/wad.h"

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

// Pictures that the compiler writes carry this in their header's reserved
// words ("VLTX"); a picture without it was made by hand and is left alone.
constexpr uint32_t TEXTURE_BMP_MARK = 0x58544C56;

struct CTextureSearch {
    std::string MapPath;
    std::string WadKey;                // the world entity's "wad" value, ';'-separated
    std::vector<std::string> WadPaths; // named on the command line, used as given
    std::vector<std::string> WadDirs;  // further folders for the "wad" key's files
    std::string PalettePath;           // a WAD2 palette named on the command line
};

// A texture found: its pixels and where it came from.
struct CFoundTexture {
    CRgbPicture Picture;
    std::string Source; // a WAD's path, or the folder of a loose picture
};

// The file under base whose path below it is relative, each component
// matched ignoring ASCII case where the exact name is not there; empty when
// there is none.
std::string FindPathNoCase(const std::filesystem::path& base, const std::string& relative);

// The pieces of text between separators, empty ones included.
std::vector<std::string> SplitText(const std::string& text, char separator);

// A name or path with '\' turned into '/', as the viewer's paths take it.
std::string WithSlashes(std::string name);

// The entries of a "wad" value: cut at ';', blanks around them dropped,
// backslashes turned into slashes.
std::vector<std::string> SplitWadList(const std::string& value);

class CTextureSources {
public:
    // Opens every WAD: those of the "wad" key (each by its path relative to
    // the map, as an absolute path, then by its file name beside the map and
    // in each WAD folder), then those named on the command line. A key's WAD
    // that is not found or damaged is a warning on err; a named WAD or
    // palette that can't be used is false with the reason in *pFailure.
    bool Open(const CTextureSearch& search, std::ostream& err, std::string* pFailure);

    const std::vector<CWad>& GetWads() const { return Wads; }

    // The texture of this name: the first WAD that holds it, in the order
    // opened, else the first loose picture. Damaged textures and pictures
    // are warnings on err, and the search goes on past them.
    bool Find(const std::string& name, CFoundTexture* pOut, std::ostream& err);

private:
    bool OpenWad(const std::string& path, std::ostream& err, std::string* pProblem);
    std::string FindKeyWad(const std::string& entry) const;
    const uint8_t* Wad2Palette(const CWad& wad, std::ostream& err);
    bool FindLoose(const std::string& name, CFoundTexture* pOut, std::ostream& err) const;

    std::filesystem::path MapDir;
    std::vector<std::filesystem::path> WadDirs;
    std::vector<CWad> Wads;
    std::vector<uint8_t> Palette; // the WAD2 palette, once looked for
    bool bPaletteSought = false;
};
