#include "compiler/texture_source.h"

#include "platform/bmp_file.h"
#include "platform/files.h"
#include "platform/gdi_bmp.h"
#include "platform/png_file.h"
#include "platform/tga_file.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

bool IsFile(const std::string& path)
{
    std::error_code error;
    return !path.empty() && fs::is_regular_file(path, error);
}

bool ReadBmpRgb(const std::string& path, CRgbPicture* pOut)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<uint8_t> data((std::istreambuf_iterator<char>(file)),
                                    std::istreambuf_iterator<char>());
    CDecodedBitmap bitmap;
    if (!file || !DecodeBmp(data.data(), data.size(), bitmap))
        return false;
    pOut->nWidth = bitmap.nWidth;
    pOut->nHeight = bitmap.nHeight;
    pOut->Rgb.resize(bitmap.Pixels.size() * 3);
    for (size_t i = 0; i < bitmap.Pixels.size(); ++i) {
        pOut->Rgb[i * 3] = static_cast<uint8_t>(bitmap.Pixels[i] >> 16);
        pOut->Rgb[i * 3 + 1] = static_cast<uint8_t>(bitmap.Pixels[i] >> 8);
        pOut->Rgb[i * 3 + 2] = static_cast<uint8_t>(bitmap.Pixels[i]);
    }
    return true;
}

// A loose picture by its lower-case extension; false when it can't be read
// or is larger than the viewer takes.
bool ReadLoosePicture(const std::string& path, const std::string& extension, CRgbPicture* pOut)
{
    bool bRead = false;
    if (extension == ".png")
        bRead = ReadPngRgb(path, &pOut->nWidth, &pOut->nHeight, &pOut->Rgb);
    else if (extension == ".tga")
        bRead = ReadTgaRgb(path, &pOut->nWidth, &pOut->nHeight, &pOut->Rgb);
    else
        bRead = ReadBmpRgb(path, pOut);
    return bRead && pOut->nWidth >= 1 && pOut->nHeight >= 1 &&
           pOut->nWidth <= MAX_BITMAP_SIDE && pOut->nHeight <= MAX_BITMAP_SIDE;
}

} // namespace

std::vector<std::string> SplitText(const std::string& text, char separator)
{
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t end = text.find(separator); end != std::string::npos;
         start = end + 1, end = text.find(separator, start))
        pieces.push_back(text.substr(start, end - start));
    pieces.push_back(text.substr(start));
    return pieces;
}

std::string WithSlashes(std::string name)
{
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

std::string FindPathNoCase(const fs::path& base, const std::string& relative)
{
    std::string current = base.empty() ? std::string(".") : base.string();
    // Each component in turn: the file layer matches only the last one.
    for (const std::string& component : SplitText(relative, '/')) {
        if (!component.empty())
            current = FindFileNoCase((fs::path(current) / component).string());
        if (current.empty())
            break;
    }
    return current;
}

std::vector<std::string> SplitWadList(const std::string& value)
{
    std::vector<std::string> entries;
    for (const std::string& entry : SplitText(value, ';')) {
        const size_t first = entry.find_first_not_of(" \t");
        if (first != std::string::npos)
            entries.push_back(
                WithSlashes(entry.substr(first, entry.find_last_not_of(" \t") - first + 1)));
    }
    return entries;
}

bool CTextureSources::Open(const CTextureSearch& search, std::ostream& err, std::string* pFailure)
{
    MapDir = fs::path(search.MapPath).parent_path();
    if (MapDir.empty())
        MapDir = ".";
    WadDirs.assign(search.WadDirs.begin(), search.WadDirs.end());
    if (!search.PalettePath.empty()) {
        std::string problem;
        if (!ReadPalette(search.PalettePath, &Palette, &problem)) {
            *pFailure = "--palette " + search.PalettePath + ": " + problem;
            return false;
        }
        bPaletteSought = true;
    }

    std::string missing;
    for (const std::string& entry : SplitWadList(search.WadKey)) {
        const std::string path = FindKeyWad(entry);
        std::string problem;
        if (path.empty())
            missing += (missing.empty() ? "" : ", ") + entry;
        else if (!OpenWad(path, err, &problem))
            err << "warning: " << path << ": " << problem << "; its textures are not used\n";
    }
    if (!missing.empty())
        err << "warning: " << search.MapPath << ": WADs of the \"wad\" key not found: " << missing
            << " (looked beside the map and in each --wad-dir)\n";
    for (const std::string& path : search.WadPaths) {
        std::string problem;
        if (!OpenWad(path, err, &problem)) {
            *pFailure = "--wad " + path + ": " + problem;
            return false;
        }
    }
    return true;
}

bool CTextureSources::OpenWad(const std::string& path, std::ostream& err, std::string* pProblem)
{
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(path, error);
    for (const CWad& wad : Wads)
        if (!error && fs::weakly_canonical(wad.Path, error) == canonical)
            return true;
    CWad wad;
    if (!ReadWad(path, &wad, pProblem))
        return false;
    if (!pProblem->empty())
        err << "warning: " << path << ": " << *pProblem << "\n";
    Wads.push_back(std::move(wad));
    return true;
}

std::string CTextureSources::FindKeyWad(const std::string& entry) const
{
    const fs::path path(entry);
    const bool bDrive = entry.size() > 1 && entry[1] == ':';
    if (!bDrive) {
        const std::string found =
            path.is_absolute() ? FindFileNoCase(entry) : FindPathNoCase(MapDir, entry);
        if (IsFile(found))
            return found;
    }
    const std::string fileName = path.filename().string();
    if (fileName.empty())
        return "";
    std::string found = FindPathNoCase(MapDir, fileName);
    for (size_t i = 0; !IsFile(found) && i < WadDirs.size(); ++i)
        found = FindPathNoCase(WadDirs[i], fileName);
    return IsFile(found) ? found : "";
}

const uint8_t* CTextureSources::Wad2Palette(const CWad& wad, std::ostream& err)
{
    if (!bPaletteSought) {
        bPaletteSought = true;
        for (const CWad& other : Wads)
            if (const uint8_t* pLump = FindPaletteLump(other)) {
                Palette.assign(pLump, pLump + PALETTE_BYTES);
                break;
            }
        std::vector<fs::path> dirs;
        for (const CWad& other : Wads)
            dirs.push_back(fs::path(other.Path).parent_path());
        dirs.push_back(MapDir);
        dirs.insert(dirs.end(), WadDirs.begin(), WadDirs.end());
        std::string problem;
        for (size_t i = 0; Palette.empty() && i < dirs.size(); ++i) {
            const std::string path = FindPathNoCase(dirs[i], "palette.lmp");
            if (IsFile(path) && !ReadPalette(path, &Palette, &problem)) {
                err << "warning: " << path << ": " << problem << "\n";
                Palette.clear();
            }
        }
        if (Palette.empty())
            err << "warning: " << wad.Path << ": a WAD2 file, and no palette was found for it "
                << "(palette.lmp or a palette lump beside the WADs, or --palette FILE): its "
                << "textures are written in a grey ramp\n";
    }
    return Palette.empty() ? nullptr : Palette.data();
}

bool CTextureSources::Find(const std::string& name, CFoundTexture* pOut, std::ostream& err)
{
    for (const CWad& wad : Wads) {
        const CWadLump* pLump = wad.Find(name);
        if (!pLump || (pLump->nType != WAD_TYPE_MIPTEX3 && pLump->nType != WAD_TYPE_MIPTEX2))
            continue;
        const uint8_t* pPalette = wad.Kind == EWadKind::Wad2 ? Wad2Palette(wad, err) : nullptr;
        std::string problem;
        if (DecodeMiptex(wad, *pLump, pPalette, &pOut->Picture, &problem)) {
            pOut->Source = wad.Path;
            return true;
        }
        err << "warning: " << wad.Path << ": texture '" << name << "': " << problem
            << "; looking further\n";
    }
    return FindLoose(name, pOut, err);
}

bool CTextureSources::FindLoose(const std::string& name, CFoundTexture* pOut,
                                std::ostream& err) const
{
    static const char* const FOLDERS[] = {"", "textures/"};
    static const char* const EXTENSIONS[] = {".png", ".tga", ".bmp"};
    for (const char* pszFolder : FOLDERS) {
        for (const char* pszExtension : EXTENSIONS) {
            const std::string path =
                FindPathNoCase(MapDir, pszFolder + WithSlashes(name) + pszExtension);
            // A picture this compiler wrote is an output, not a source.
            if (!IsFile(path) || ReadBmpMark(path) == TEXTURE_BMP_MARK)
                continue;
            if (ReadLoosePicture(path, pszExtension, &pOut->Picture)) {
                pOut->Source = (MapDir / pszFolder).string();
                return true;
            }
            err << "warning: " << path << ": cannot be read as a picture; looking further\n";
        }
    }
    return false;
}
