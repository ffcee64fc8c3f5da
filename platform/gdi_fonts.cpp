#include "platform/gdi_fonts.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <tuple>

namespace {

const char* const DEFAULT_FACE = "sans-serif";
const int DEFAULT_HEIGHT = 16;
// Sized faces kept for reuse beyond those in use.
const size_t INSTANCE_CACHE_SIZE = 32;

struct CFaceFile {
    std::string Path;
    int nIndex = 0;
};

// FreeType and fontconfig are started on first use and kept for the life of
// the program.
FT_Library Library()
{
    static FT_Library s_pLibrary = [] {
        FT_Library pLibrary = nullptr;
        return FT_Init_FreeType(&pLibrary) == 0 ? pLibrary : nullptr;
    }();
    return s_pLibrary;
}

// Fontconfig's tables are handed back at exit: it keeps some of them behind
// encoded offsets that leak checkers can not follow.
bool FontConfigReady()
{
    static bool s_bReady = [] {
        if (FcInit() != FcTrue)
            return false;
        std::atexit(FcFini);
        return true;
    }();
    return s_bReady;
}

CFaceFile QueryFontConfig(const std::string& name, int nWeight, bool bItalic)
{
    CFaceFile file;
    if (!FontConfigReady())
        return file;
    FcPattern* pPattern = FcPatternCreate();
    FcPatternAddString(pPattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(name.c_str()));
    FcPatternAddInteger(pPattern, FC_WEIGHT, FcWeightFromOpenType(nWeight > 0 ? nWeight : FW_NORMAL));
    FcPatternAddInteger(pPattern, FC_SLANT, bItalic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pPattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(nullptr, pPattern, FcMatchPattern);
    FcDefaultSubstitute(pPattern);
    FcResult result = FcResultNoMatch;
    FcPattern* pMatch = FcFontMatch(nullptr, pPattern, &result);
    FcPatternDestroy(pPattern);
    if (!pMatch)
        return file;
    FcChar8* pszFile = nullptr;
    int nIndex = 0;
    if (FcPatternGetString(pMatch, FC_FILE, 0, &pszFile) == FcResultMatch && pszFile) {
        file.Path = reinterpret_cast<const char*>(pszFile);
        if (FcPatternGetInteger(pMatch, FC_INDEX, 0, &nIndex) == FcResultMatch)
            file.nIndex = nIndex;
    }
    FcPatternDestroy(pMatch);
    return file;
}

// The nearest installed face; a query is made once per name, weight and slant.
const CFaceFile& MatchFace(const std::string& name, int nWeight, bool bItalic)
{
    static std::map<std::tuple<std::string, int, bool>, CFaceFile> s_Matches;
    auto key = std::make_tuple(name.empty() ? std::string(DEFAULT_FACE) : name, nWeight, bItalic);
    auto found = s_Matches.find(key);
    if (found == s_Matches.end())
        found = s_Matches.emplace(key, QueryFontConfig(std::get<0>(key), nWeight, bItalic)).first;
    return found->second;
}

FT_Face OpenFace(const CFaceFile& file)
{
    FT_Face pFace = nullptr;
    if (file.Path.empty() || !Library())
        return nullptr;
    if (FT_New_Face(Library(), file.Path.c_str(), file.nIndex, &pFace) != 0)
        return nullptr;
    FT_Select_Charmap(pFace, FT_ENCODING_UNICODE);
    return pFace;
}

bool IsControl(uint32_t nCodePoint)
{
    return nCodePoint < 0x20 || (nCodePoint >= 0x7F && nCodePoint < 0xA0);
}

// Coverage rows of a rendered bitmap, 0..255, top row first.
void CopyCoverage(const FT_Bitmap& bitmap, CGlyph& glyph)
{
    if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY && bitmap.pixel_mode != FT_PIXEL_MODE_MONO)
        return;
    glyph.nWidth = static_cast<int>(bitmap.width);
    glyph.nRows = static_cast<int>(bitmap.rows);
    glyph.Coverage.assign(static_cast<size_t>(glyph.nWidth) * glyph.nRows, 0);
    int nPitch = std::abs(bitmap.pitch);
    int nGrays = std::max<int>(bitmap.num_grays, 2);
    for (int nRow = 0; nRow < glyph.nRows; ++nRow) {
        // A negative pitch stores the rows bottom first.
        int nStored = bitmap.pitch < 0 ? glyph.nRows - 1 - nRow : nRow;
        const uint8_t* pRow = bitmap.buffer + static_cast<size_t>(nStored) * nPitch;
        uint8_t* pOut = glyph.Coverage.data() + static_cast<size_t>(nRow) * glyph.nWidth;
        for (int x = 0; x < glyph.nWidth; ++x) {
            if (bitmap.pixel_mode == FT_PIXEL_MODE_MONO)
                pOut[x] = (pRow[x >> 3] & (0x80 >> (x & 7))) ? 255 : 0;
            else
                pOut[x] = static_cast<uint8_t>(pRow[x] * 255 / (nGrays - 1));
        }
    }
}

int Round(double d)
{
    return static_cast<int>(std::lround(d));
}

using CInstanceKey = std::tuple<std::string, int, int, int, bool, bool>;

} // namespace

uint32_t CodePointOfByte(uint8_t nChar)
{
    // 0x80..0x9F of Windows-1252; the five unused ones stay as they are.
    static const uint16_t WINDOWS_1252[32] = {
        0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
    if (nChar >= 0x80 && nChar < 0xA0)
        return WINDOWS_1252[nChar - 0x80];
    return nChar;
}

std::shared_ptr<CFontInstance> CFontInstance::Get(const CFontRequest& request)
{
    static std::map<CInstanceKey, std::shared_ptr<CFontInstance>> s_Instances;
    CInstanceKey key{request.Face,   request.nHeight, request.nWidth,
                     request.nWeight, request.bItalic, request.bAntialiased};
    auto found = s_Instances.find(key);
    if (found != s_Instances.end())
        return found->second;
    if (s_Instances.size() >= INSTANCE_CACHE_SIZE)
        std::erase_if(s_Instances, [](const auto& entry) { return entry.second.use_count() == 1; });
    auto pInstance = std::make_shared<CFontInstance>(request);
    s_Instances.emplace(key, pInstance);
    return pInstance;
}

CFontInstance::CFontInstance(const CFontRequest& request) : bAntialiased(request.bAntialiased)
{
    pFace = OpenFace(MatchFace(request.Face, request.nWeight, request.bItalic));
    if (!pFace)
        pFace = OpenFace(MatchFace(DEFAULT_FACE, request.nWeight, request.bItalic));
    SetSize(request);
}

CFontInstance::~CFontInstance()
{
    if (pFace)
        FT_Done_Face(pFace);
}

void CFontInstance::SetSize(const CFontRequest& request)
{
    int nHeight = request.nHeight != 0 ? request.nHeight : DEFAULT_HEIGHT;
    CFontMetrics& m = FontMetrics;
    if (!pFace || !FT_IS_SCALABLE(pFace)) {
        // No usable outline face: text takes its room but shows nothing.
        if (pFace)
            FT_Done_Face(pFace);
        pFace = nullptr;
        m.nAscent = std::abs(nHeight) * 4 / 5;
        m.nDescent = std::abs(nHeight) - m.nAscent;
        return;
    }
    double dUnits = pFace->units_per_EM;
    double dAscender = pFace->ascender;
    double dDescender = -pFace->descender;
    if (dAscender + dDescender <= 0) {
        dAscender = dUnits * 0.8;
        dDescender = dUnits * 0.2;
    }
    // A positive height is the whole cell, a negative one the em.
    double dPpem = nHeight > 0 ? nHeight * dUnits / (dAscender + dDescender) : -nHeight;
    dPpem = std::max(dPpem, 1.0);

    const TT_OS2* pOs2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(pFace, FT_SFNT_OS2));
    double dAverage = pOs2 && pOs2->version != 0xFFFF && pOs2->xAvgCharWidth > 0
                          ? pOs2->xAvgCharWidth
                          : dUnits / 2;
    // A width asks for that average character width.
    double dXPpem = request.nWidth != 0
                        ? dPpem * std::abs(request.nWidth) / (dAverage * dPpem / dUnits)
                        : dPpem;
    FT_Set_Char_Size(pFace, Round(dXPpem * 64), Round(dPpem * 64), 72, 72);

    m.nAscent = Round(dAscender * dPpem / dUnits);
    m.nDescent = nHeight > 0 ? nHeight - m.nAscent : Round(dDescender * dPpem / dUnits);
    m.nInternalLeading = std::max(0, m.nAscent + m.nDescent - Round(dPpem));
    m.nExternalLeading =
        std::max(0, Round((pFace->height - dAscender - dDescender) * dPpem / dUnits));
    m.nAveWidth = Round(dAverage * dXPpem / dUnits);
    m.nMaxWidth = static_cast<int>(std::ceil(pFace->max_advance_width * dXPpem / dUnits));
}

CGlyph CFontInstance::Render(uint32_t nCodePoint) const
{
    CGlyph glyph;
    if (!pFace)
        return glyph;
    FT_UInt nIndex = FT_Get_Char_Index(pFace, nCodePoint);
    if (nIndex == 0 && IsControl(nCodePoint))
        return glyph;
    FT_Int32 nLoad = bAntialiased ? FT_LOAD_TARGET_NORMAL : FT_LOAD_TARGET_MONO;
    if (FT_Load_Glyph(pFace, nIndex, nLoad) != 0)
        return glyph;
    FT_GlyphSlot pSlot = pFace->glyph;
    glyph.nAdvance = static_cast<int>((pSlot->advance.x + 32) >> 6);
    if (pSlot->format != FT_GLYPH_FORMAT_BITMAP &&
        FT_Render_Glyph(pSlot, bAntialiased ? FT_RENDER_MODE_NORMAL : FT_RENDER_MODE_MONO) != 0)
        return glyph;
    glyph.nLeft = pSlot->bitmap_left;
    glyph.nTop = pSlot->bitmap_top;
    CopyCoverage(pSlot->bitmap, glyph);
    return glyph;
}

const CGlyph& CFontInstance::Glyph(uint32_t nChar)
{
    if (nChar < ByteGlyphs.size()) {
        auto& pGlyph = ByteGlyphs[nChar];
        if (!pGlyph)
            pGlyph = std::make_unique<CGlyph>(Render(CodePointOfByte(static_cast<uint8_t>(nChar))));
        return *pGlyph;
    }
    auto found = OtherGlyphs.find(nChar);
    if (found == OtherGlyphs.end())
        found = OtherGlyphs.emplace(nChar, Render(nChar)).first;
    return found->second;
}

int CFontInstance::TextWidth(const char* pszText, int nCount)
{
    int nWidth = 0;
    for (int i = 0; i < nCount; ++i)
        nWidth += Glyph(static_cast<uint8_t>(pszText[i])).nAdvance;
    return nWidth;
}

CFontInstance& CGdiFont::Instance()
{
    if (!pInstance)
        pInstance = CFontInstance::Get(Request);
    return *pInstance;
}
