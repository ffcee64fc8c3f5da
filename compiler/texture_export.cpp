#include "compiler/texture_export.h"

#include "compiler/entities.h"
#include "compiler/stage_clock.h"
#include "compiler/texture_source.h"
#include "platform/bmp_file.h"
#include "viewer/map_format.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace {

// The "wad" value of the world entity: the first entity, or the first that
// says it is the world.
std::string WorldWadKey(const std::string& mapPath)
{
    std::vector<CEntity> entities;
    if (!ReadEntities(mapPath.c_str(), &entities) || entities.empty())
        return "";
    const CEntity* pWorld = &entities[0];
    for (const CEntity& entity : entities) {
        const char* pszClass = entity.Get("classname");
        if (pszClass && std::strcmp(pszClass, "worldspawn") == 0) {
            pWorld = &entity;
            break;
        }
    }
    const char* pszWad = pWorld->Get("wad");
    return pszWad ? pszWad : "";
}

bool WritePicture(const std::string& path, const CRgbPicture& picture)
{
    const std::vector<uint8_t> bytes =
        EncodeBmp24(picture.nWidth, picture.nHeight, picture.Rgb.data(), TEXTURE_BMP_MARK);
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return !bytes.empty() && file.good();
}

enum class EOutcome { Written, Kept, Missing };

// One texture: kept when a hand-made picture stands at its place, else found
// and written. *pSource says where it came from.
EOutcome ExportOne(const std::string& name, const fs::path& outDir, CTextureSources* pSources,
                   std::ostream& err, std::string* pSource)
{
    if (!IsSafeTextureName(name)) {
        err << "warning: texture '" << name << "': not a file name below the output's folder\n";
        return EOutcome::Missing;
    }
    const std::string relative = WithSlashes(name) + ".bmp";
    std::string target = FindPathNoCase(outDir, relative);
    std::error_code error;
    if (!target.empty() && fs::is_regular_file(target, error) &&
        ReadBmpMark(target) != TEXTURE_BMP_MARK) {
        *pSource = "beside the output, kept as they are";
        return EOutcome::Kept;
    }
    CFoundTexture found;
    if (!pSources->Find(name, &found, err))
        return EOutcome::Missing;
    if (target.empty())
        target = (outDir / relative).string();
    if (!WritePicture(target, found.Picture)) {
        err << "warning: " << target << ": cannot be written\n";
        return EOutcome::Missing;
    }
    *pSource = found.Source;
    return EOutcome::Written;
}

std::string JoinNames(const std::vector<std::string>& names, const char* pszSeparator)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : pszSeparator) + name;
    return text;
}

} // namespace

std::vector<std::string> TextureNamesOfLump(const std::vector<char>& rows)
{
    std::vector<std::string> names;
    std::set<std::string> seen;
    for (size_t row = 0; row + MAP_NAME_SIZE <= rows.size(); row += MAP_NAME_SIZE) {
        const std::string name(&rows[row], strnlen(&rows[row], MAP_NAME_SIZE));
        if (!name.empty() && seen.insert(LowerName(name)).second)
            names.push_back(name);
    }
    return names;
}

bool IsSafeTextureName(const std::string& name)
{
    const std::string path = WithSlashes(name);
    if (path.empty() || path[0] == '/')
        return false;
    for (const std::string& component : SplitText(path, '/'))
        if (component.empty() || component == "." || component == "..")
            return false;
    return true;
}

bool ExportTextures(const CCompileOptions& options, const std::string& outputPath,
                    const std::vector<char>& nameRows, std::ostream& log, std::ostream& err,
                    CTextureExport* pResult, std::string* pFailure)
{
    log << "\n######## Textures. ########" << std::endl;
    *pResult = CTextureExport();
    if (options.bNoTextures) {
        log << "Textures:\tnot written (--no-textures)" << std::endl;
        return true;
    }
    const int64_t start = ClockMs();
    CTextureSearch search;
    search.MapPath = options.MapPath;
    search.WadKey = WorldWadKey(options.MapPath);
    search.WadPaths = options.WadPaths;
    search.WadDirs = options.WadDirs;
    search.PalettePath = options.PalettePath;
    CTextureSources sources;
    if (!sources.Open(search, err, pFailure))
        return false;
    for (const CWad& wad : sources.GetWads())
        log << "WAD:\t" << wad.Path << " (" << (wad.Kind == EWadKind::Wad2 ? "WAD2" : "WAD3")
            << ", " << wad.Lumps.size() << " lumps)" << std::endl;

    fs::path outDir = fs::path(outputPath).parent_path();
    if (outDir.empty())
        outDir = ".";
    const std::vector<std::string> names = TextureNamesOfLump(nameRows);
    std::map<std::string, std::vector<std::string>> bySource;
    for (const std::string& name : names) {
        std::string source;
        const EOutcome outcome = ExportOne(name, outDir, &sources, err, &source);
        if (outcome == EOutcome::Missing) {
            pResult->Missing.push_back(name);
            continue;
        }
        (outcome == EOutcome::Kept ? pResult->nKept : pResult->nWritten) += 1;
        bySource[source].push_back(name);
    }
    pResult->nNames = static_cast<int32_t>(names.size());

    log << "Textures found:\t" << pResult->nWritten + pResult->nKept << " of " << names.size()
        << std::endl;
    for (const auto& [source, found] : bySource)
        log << "\t" << source << ":\t" << JoinNames(found, " ") << std::endl;
    if (!pResult->Missing.empty()) {
        log << "Textures missing:\t" << JoinNames(pResult->Missing, " ") << std::endl;
        err << "warning: " << options.MapPath << ": " << pResult->Missing.size() << " of "
            << names.size() << " textures not found (" << JoinNames(pResult->Missing, ", ")
            << "): their faces show no picture\n";
    }
    log << "Textures written in " << SecondsSince(start) << " seconds." << std::endl;
    return true;
}
