#pragma once
// The sample maps: a small lit room and a level of several rooms, with their
// light lists and procedurally drawn textures, all made in memory so that the
// program that writes them and the tests that check them share one source.
// The same build always gives the same bytes: every pattern comes from fixed
// seeds of a small generator of its own.
//
// Brushes are written in the bracketed-axis map text of the map parser, in
// file axes (x and y horizontal, z up), through the brush helpers of the
// benchmark map generator. Every room is closed the same way: two walls
// spanning the whole length and height, two walls fitted between them, and a
// floor and a ceiling fitted inside all four, so that no face of the closing
// brushes runs on past another brush to the outside. Everything else stands
// inside that shell and only touches its neighbours.
#include "bench/map_generator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace samples {

using mapgen::Brush;
using mapgen::Vec3;

// One file of the output: its name in the output folder and its bytes.
struct CSampleFile {
    std::string Name;
    std::string Data;
};

// One entry of a light list.
struct CLightEntry {
    const char* pszTexture;
    int Red, Green, Blue, Intensity;
};

// A light entity: a point light at Origin (file axes) of strength Light.
struct CPointEntity {
    Vec3 Origin;
    int Red, Green, Blue;
    int Light;
};

// A map before it becomes text.
struct CSampleMap {
    std::string Title;
    std::vector<Brush> Brushes;
    Vec3 Start; // file axes
    std::vector<CLightEntry> Lights;
    std::vector<CPointEntity> PointLights;
    int MinLight = 0; // the world's minimum light; 0: none
};

// ---------------------------------------------------------------------------
// Pictures

// An RGB picture, rows from the top.
struct CImage {
    int Width = 0;
    int Height = 0;
    std::vector<uint8_t> Pixels; // r, g, b per pixel

    CImage(int width, int height)
        : Width(width), Height(height), Pixels(size_t(width) * height * 3, 0)
    {
    }
    void Set(int x, int y, double r, double g, double b)
    {
        uint8_t* p = &Pixels[(size_t(y) * Width + x) * 3];
        p[0] = ToByte(r);
        p[1] = ToByte(g);
        p[2] = ToByte(b);
    }
    static uint8_t ToByte(double v) { return uint8_t(std::clamp(std::lround(v), 0L, 255L)); }
};

// A 24-bit uncompressed BMP: file header, 40-byte info header, rows from the
// bottom, each padded to a multiple of 4 bytes, pixels stored blue first.
inline std::string EncodeBmp(const CImage& image)
{
    const uint32_t stride = (uint32_t(image.Width) * 3 + 3) & ~3u;
    const uint32_t dataSize = stride * uint32_t(image.Height);
    const uint32_t headerSize = 14 + 40;
    std::string out;
    auto put16 = [&](uint32_t v) {
        out += char(v & 0xFF);
        out += char((v >> 8) & 0xFF);
    };
    auto put32 = [&](uint32_t v) {
        put16(v & 0xFFFF);
        put16(v >> 16);
    };
    out += "BM";
    put32(headerSize + dataSize);
    put32(0); // reserved
    put32(headerSize);
    put32(40);
    put32(uint32_t(image.Width));
    put32(uint32_t(image.Height)); // positive: bottom-up rows
    put16(1);                      // planes
    put16(24);                     // bits per pixel
    put32(0);                      // no compression
    put32(dataSize);
    put32(2835); // 72 dots per inch
    put32(2835);
    put32(0); // palette entries
    put32(0);
    for (int y = image.Height - 1; y >= 0; --y) {
        const uint8_t* row = &image.Pixels[size_t(y) * image.Width * 3];
        for (int x = 0; x < image.Width; ++x) {
            out += char(row[x * 3 + 2]);
            out += char(row[x * 3 + 1]);
            out += char(row[x * 3 + 0]);
        }
        for (uint32_t pad = uint32_t(image.Width) * 3; pad < stride; ++pad)
            out += '\0';
    }
    return out;
}

// Smooth noise that tiles with the given period, in lattice cells.
class CValueNoise {
public:
    CValueNoise(int period, uint32_t seed) : nPeriod(period), Values(size_t(period) * period)
    {
        mapgen::Random random(seed);
        for (double& v : Values)
            v = (random.Next() & 0xFFFF) / 65535.0;
    }
    // A value in [0, 1] at lattice coordinates (x, y).
    double At(double x, double y) const
    {
        const double fx = std::floor(x);
        const double fy = std::floor(y);
        const int x0 = Wrap(int(fx));
        const int y0 = Wrap(int(fy));
        const int x1 = Wrap(x0 + 1);
        const int y1 = Wrap(y0 + 1);
        const double tx = Smooth(x - fx);
        const double ty = Smooth(y - fy);
        const double top = Lerp(Value(x0, y0), Value(x1, y0), tx);
        const double bottom = Lerp(Value(x0, y1), Value(x1, y1), tx);
        return Lerp(top, bottom, ty);
    }

private:
    int Wrap(int v) const { return ((v % nPeriod) + nPeriod) % nPeriod; }
    double Value(int x, int y) const { return Values[size_t(y) * nPeriod + x]; }
    static double Smooth(double t) { return t * t * (3 - 2 * t); }
    static double Lerp(double a, double b, double t) { return a + (b - a) * t; }

    int nPeriod;
    std::vector<double> Values;
};

// Noise of three octaves over a square picture of size pixels, in [0, 1];
// the coarsest octave has base cells across the picture.
inline double Fractal(const CValueNoise octaves[3], int size, int base, int x, int y)
{
    double sum = 0;
    double weight = 0.5;
    int cells = base;
    for (int o = 0; o < 3; ++o) {
        sum += weight * octaves[o].At(double(x) * cells / size, double(y) * cells / size);
        weight *= 0.5;
        cells *= 2;
    }
    return sum / 0.875;
}

struct CColor {
    double r, g, b;
};

inline CColor Scale(CColor c, double s)
{
    return {c.r * s, c.g * s, c.b * s};
}
inline CColor Mix(CColor a, CColor b, double t)
{
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

// A texture's pattern and colours.
enum class EPattern { Bricks, Tiles, Planks, Plates, Stone, Checker, Marble, Stripes, Crate, Panel };

struct CTextureStyle {
    const char* pszName;
    EPattern Pattern;
    int Size;
    CColor Main;
    CColor Second;
    uint32_t Seed;
};

// Rows of bricks with mortar between, every other row shifted by half a
// brick, each brick with its own shade.
inline void DrawBricks(CImage& image, const CTextureStyle& style, int brickWidth, int brickHeight)
{
    const int size = image.Width;
    const CValueNoise octaves[3] = {CValueNoise(8, style.Seed), CValueNoise(16, style.Seed + 1),
                                    CValueNoise(32, style.Seed + 2)};
    mapgen::Random random(style.Seed + 3);
    const int columns = size / brickWidth;
    const int rows = size / brickHeight;
    std::vector<double> shade(size_t(columns) * rows);
    for (double& s : shade)
        s = 0.8 + 0.3 * (random.Next() % 1000) / 1000.0;
    for (int y = 0; y < size; ++y) {
        const int row = y / brickHeight;
        const int shift = (row % 2) * brickWidth / 2;
        for (int x = 0; x < size; ++x) {
            const int bx = (x + shift) % size;
            const int column = bx / brickWidth;
            const bool bMortar = y % brickHeight < 2 || bx % brickWidth < 2;
            const double n = Fractal(octaves, size, 8, x, y);
            const CColor c = bMortar ? Scale(style.Second, 0.85 + 0.3 * n)
                                     : Scale(style.Main, shade[size_t(row) * columns + column] *
                                                             (0.8 + 0.4 * n));
            image.Set(x, y, c.r, c.g, c.b);
        }
    }
}

inline CImage DrawTexture(const CTextureStyle& style)
{
    const int size = style.Size;
    CImage image(size, size);
    const CValueNoise octaves[3] = {CValueNoise(4, style.Seed), CValueNoise(8, style.Seed + 1),
                                    CValueNoise(16, style.Seed + 2)};
    const double pi = 3.14159265358979;
    switch (style.Pattern) {
    case EPattern::Bricks:
        DrawBricks(image, style, size / 4, size / 8);
        return image;
    case EPattern::Tiles:
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const int tile = size / 4;
                const bool bGrout = x % tile < 2 || y % tile < 2;
                const bool bAlternate = ((x / tile) + (y / tile)) % 2 == 1;
                const double n = Fractal(octaves, size, 4, x, y);
                const CColor base = bAlternate ? Scale(style.Main, 0.9) : style.Main;
                const CColor c = bGrout ? style.Second : Scale(base, 0.9 + 0.2 * n);
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    case EPattern::Planks:
    case EPattern::Crate:
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const int plank = size / 8;
                const int index = x / plank;
                // Planks end at staggered places along their length.
                const int joint = (index * 37) % size;
                const bool bSeam = x % plank == 0 || (y + size - joint) % size == 0;
                const double grain =
                    0.5 + 0.5 * std::sin((x + 6 * Fractal(octaves, size, 4, x, y)) * pi / 3);
                CColor c = Mix(style.Second, style.Main, 0.6 + 0.4 * grain);
                c = Scale(c, 0.9 + 0.04 * (index % 3));
                if (style.Pattern == EPattern::Crate) {
                    // A frame round the edge and one brace across.
                    const int frame = size / 8;
                    const bool bFrame =
                        x < frame || y < frame || x >= size - frame || y >= size - frame;
                    const bool bBrace = std::abs(x - y) < frame / 2 + 1;
                    if (bFrame || bBrace)
                        c = Scale(style.Main, 0.75 + 0.2 * grain);
                    if (x == frame || y == frame || x == size - frame - 1 || y == size - frame - 1)
                        c = Scale(style.Second, 0.5);
                } else if (bSeam) {
                    c = Scale(style.Second, 0.45);
                }
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    case EPattern::Plates:
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const int plate = size / 2;
                const int px = x % plate;
                const int py = y % plate;
                // Brushed metal: noise stretched along x.
                const double n = octaves[2].At(double(x) * 2 / size, double(y) * 16 / size);
                CColor c = Scale(style.Main, 0.85 + 0.25 * n);
                if (px == 0 || py == 0)
                    c = Scale(style.Second, 0.6);
                else if (px == 1 || py == 1)
                    c = Scale(style.Main, 1.2);
                // Rivets near the plate corners.
                for (const int rx : {6, plate - 6}) {
                    for (const int ry : {6, plate - 6}) {
                        const int dx = px - rx;
                        const int dy = py - ry;
                        if (dx * dx + dy * dy <= 4)
                            c = Scale(style.Main, dx + dy < 0 ? 1.3 : 0.7);
                    }
                }
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    case EPattern::Stone:
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const double n = Fractal(octaves, size, 4, x, y);
                const CColor c = Mix(style.Second, style.Main, n);
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    case EPattern::Checker:
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const int square = size / 4;
                const bool bDark = ((x / square) + (y / square)) % 2 == 1;
                const double n = Fractal(octaves, size, 4, x, y);
                const CColor c = Scale(bDark ? style.Second : style.Main, 0.92 + 0.12 * n);
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    case EPattern::Marble:
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const double n = Fractal(octaves, size, 4, x, y);
                const double vein =
                    std::pow(std::fabs(std::sin((x + y) * pi / size * 2 + 8 * n)), 0.3);
                const CColor c = Mix(style.Second, style.Main, vein);
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    case EPattern::Stripes:
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const int band = size / 4;
                const bool bDark = ((x + y) / (band / 2)) % 2 == 1;
                const double n = Fractal(octaves, size, 4, x, y);
                const CColor c = Scale(bDark ? style.Second : style.Main, 0.85 + 0.2 * n);
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    case EPattern::Panel:
        // A flat bright face in a thin darker frame.
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const int edge = std::min(std::min(x, y), std::min(size - 1 - x, size - 1 - y));
                const CColor c = edge < 3 ? style.Second : style.Main;
                image.Set(x, y, c.r, c.g, c.b);
            }
        }
        return image;
    }
    return image;
}

// Every texture of the sample maps. Names are lower case and well under the
// compiled format's 31 characters.
inline const std::vector<CTextureStyle>& TextureStyles()
{
    static const std::vector<CTextureStyle> styles = {
        {"wall_brick", EPattern::Bricks, 128, {150, 62, 44}, {170, 160, 145}, 11},
        {"wall_stone", EPattern::Stone, 128, {150, 140, 120}, {70, 66, 60}, 12},
        {"concrete", EPattern::Stone, 128, {165, 165, 160}, {120, 120, 118}, 13},
        {"floor_tiles", EPattern::Tiles, 128, {200, 190, 165}, {80, 76, 70}, 14},
        {"floor_planks", EPattern::Planks, 128, {150, 100, 55}, {95, 60, 30}, 15},
        {"ceil_plaster", EPattern::Stone, 64, {225, 222, 212}, {190, 186, 176}, 16},
        {"metal_plate", EPattern::Plates, 128, {135, 140, 148}, {60, 62, 66}, 17},
        {"trim_checker", EPattern::Checker, 64, {210, 210, 205}, {45, 45, 50}, 18},
        {"crate_wood", EPattern::Crate, 64, {170, 125, 70}, {100, 70, 35}, 19},
        {"pillar_marble", EPattern::Marble, 128, {235, 232, 225}, {120, 115, 125}, 20},
        {"ramp_hazard", EPattern::Stripes, 64, {230, 190, 30}, {35, 35, 35}, 21},
        {"step_stone", EPattern::Bricks, 64, {128, 126, 120}, {85, 82, 78}, 22},
        {"light_white", EPattern::Panel, 64, {255, 255, 250}, {150, 150, 150}, 23},
        {"light_warm", EPattern::Panel, 64, {255, 214, 150}, {150, 120, 80}, 24},
        {"light_blue", EPattern::Panel, 64, {150, 190, 255}, {70, 90, 140}, 25},
        {"light_red", EPattern::Panel, 64, {255, 110, 90}, {140, 50, 40}, 26},
        {"light_green", EPattern::Panel, 64, {140, 255, 150}, {60, 130, 70}, 27},
    };
    return styles;
}

// The light list entries of the panel textures: colour and intensity. Each
// shot of a panel's sample is truncated to whole units, so a panel lights
// a disc round itself whose radius grows with the root of the intensity;
// 3 gives about 250 units with 64-unit panels: the glow round the panel,
// which in the rooms of the level (320 units high) does not reach the floor.
// A light entity under each panel (AddPanel) lights the room: one point
// reaches as far as the 256 samples of a panel do at a 256th of the shots.
// The large benchmark map keeps its panels alone.
constexpr int PANEL_INTENSITY = 3;
// The light entity under a panel: strength 150 (full colour 75 units away,
// a quarter at 150, a sixteenth at 300), 128 units above the floor.
constexpr int PANEL_ENTITY_LIGHT = 150;
constexpr double PANEL_ENTITY_HEIGHT = 128;
// Every texel of the sample maps gets at least this much light.
constexpr int SAMPLE_MIN_LIGHT = 16;

inline CLightEntry PanelLight(const char* pszTexture)
{
    static const CLightEntry entries[] = {
        {"light_white", 255, 255, 250, PANEL_INTENSITY},
        {"light_warm", 255, 214, 150, PANEL_INTENSITY},
        {"light_blue", 150, 190, 255, PANEL_INTENSITY},
        {"light_red", 255, 110, 90, PANEL_INTENSITY},
        {"light_green", 140, 255, 150, PANEL_INTENSITY},
    };
    for (const CLightEntry& entry : entries) {
        if (std::string(entry.pszTexture) == pszTexture)
            return entry;
    }
    return {pszTexture, 255, 255, 255, PANEL_INTENSITY};
}

// ---------------------------------------------------------------------------
// Brushes

inline Brush Box(double x0, double y0, double z0, double x1, double y1, double z1,
                 const char* pszTexture)
{
    return mapgen::Box({x0, y0, z0}, {x1, y1, z1}, pszTexture);
}

// A ceiling light: a thin 64 by 64 panel hanging from the ceiling at height
// top, centred on (x, y).
inline Brush Panel(double x, double y, double top, const char* pszTexture)
{
    // Only the face that looks down into the room glows; the rim is metal.
    // Every sample of an emitting face shoots, so a glowing rim would cost
    // five times the light's time for light that mostly hits the ceiling.
    Brush panel = Box(x - 32, y - 32, top - 8, x + 32, y + 32, top, "metal_plate");
    for (mapgen::Side& side : panel) {
        if (side.Outward.z < 0)
            side.Texture = pszTexture;
    }
    return panel;
}

// A ceiling light: the panel at (x, y) hanging from the ceiling at height
// top, and a light entity of its colour under it, PANEL_ENTITY_HEIGHT above
// a floor at height 0.
inline void AddPanel(CSampleMap& map, double x, double y, double top, const char* pszTexture)
{
    map.Brushes.push_back(Panel(x, y, top, pszTexture));
    const CLightEntry light = PanelLight(pszTexture);
    map.PointLights.push_back({{x, y, PANEL_ENTITY_HEIGHT}, light.Red, light.Green, light.Blue,
                               PANEL_ENTITY_LIGHT});
}

// A wedge on the floor rising along +y from height 0 at y0 to h at y1.
inline Brush RampAlongY(double x0, double x1, double y0, double y1, double z, double h,
                        const char* pszTexture)
{
    return {
        {{x0, y0, z}, {0, 0, -1}, pszTexture}, {{x0, y1, z}, {0, 1, 0}, pszTexture},
        {{x0, y0, z}, {-1, 0, 0}, pszTexture}, {{x1, y0, z}, {1, 0, 0}, pszTexture},
        {{x0, y0, z}, {0, -h, y1 - y0}, pszTexture},
    };
}

// An opening in a wall: from a to b along the wall, from zLow to zHigh.
struct COpening {
    double a, b, zLow, zHigh;
};

// A straight wall from s0 to s1 along x (bAlongX) or y, from t0 to t1 across,
// from z0 to z1, with openings (sorted, inside the wall). Between openings
// the wall stands whole; under an opening a sill, above it a lintel.
inline void AddWall(std::vector<Brush>& brushes, bool bAlongX, double s0, double s1, double t0,
                    double t1, double z0, double z1, const std::vector<COpening>& openings,
                    const char* pszTexture)
{
    auto piece = [&](double a, double b, double zLow, double zHigh) {
        if (b <= a || zHigh <= zLow)
            return;
        if (bAlongX)
            brushes.push_back(Box(a, t0, zLow, b, t1, zHigh, pszTexture));
        else
            brushes.push_back(Box(t0, a, zLow, t1, b, zHigh, pszTexture));
    };
    double at = s0;
    for (const COpening& opening : openings) {
        piece(at, opening.a, z0, z1);
        piece(opening.a, opening.b, z0, opening.zLow);
        piece(opening.a, opening.b, opening.zHigh, z1);
        at = opening.b;
    }
    piece(at, s1, z0, z1);
}

// The six closing brushes of a box-shaped space: inside from lo to hi, walls
// of the given thickness. The x walls run the whole length and height, the y
// walls fit between them, floor and ceiling fit inside the four.
inline void AddShell(std::vector<Brush>& brushes, Vec3 lo, Vec3 hi, double thickness,
                     const char* pszWall, const char* pszFloor, const char* pszCeiling)
{
    const double t = thickness;
    brushes.push_back(Box(lo.x - t, lo.y - t, lo.z - t, lo.x, hi.y + t, hi.z + t, pszWall));
    brushes.push_back(Box(hi.x, lo.y - t, lo.z - t, hi.x + t, hi.y + t, hi.z + t, pszWall));
    brushes.push_back(Box(lo.x, lo.y - t, lo.z - t, hi.x, lo.y, hi.z + t, pszWall));
    brushes.push_back(Box(lo.x, hi.y, lo.z - t, hi.x, hi.y + t, hi.z + t, pszWall));
    if (pszFloor)
        brushes.push_back(Box(lo.x, lo.y, lo.z - t, hi.x, hi.y, lo.z, pszFloor));
    if (pszCeiling)
        brushes.push_back(Box(lo.x, lo.y, hi.z, hi.x, hi.y, hi.z + t, pszCeiling));
}

// The small room: a box of six brushes with one light panel in its ceiling.
inline CSampleMap RoomMap()
{
    CSampleMap map;
    map.Title = "room";
    AddShell(map.Brushes, {-192, -192, 0}, {192, 192, 192}, 16, "wall_brick", "floor_tiles",
             "ceil_plaster");
    AddPanel(map, 0, 0, 192, "light_white");
    map.Start = {0, -96, 48};
    map.Lights = {PanelLight("light_white")};
    map.MinLight = SAMPLE_MIN_LIGHT;
    return map;
}

// Degrees to radians, for the turned brushes.
inline double Radians(double degrees)
{
    return degrees * 3.14159265358979 / 180.0;
}

// The level: a shell of 2048 by 1536 by 320 holding a row of three rooms, a
// corridor with a lower ceiling, and two rooms beyond it, joined by doors and
// windows.
inline CSampleMap LevelMap()
{
    CSampleMap map;
    map.Title = "level";
    std::vector<Brush>& b = map.Brushes;
    const double top = 320;    // ceiling height of the rooms
    const double lowTop = 224; // ceiling height of the corridor

    // The outer shell, closed without floor and ceiling: those are split by
    // rooms below.
    AddShell(b, {-1024, -768, 0}, {1024, 768, top}, 16, "wall_stone", nullptr, nullptr);
    // Floors and ceilings by region, meeting under the middle of the walls.
    struct CRegion {
        double x0, y0, x1, y1;
        const char* pszFloor;
    };
    const CRegion regions[] = {
        {-1024, 256, -384, 768, "floor_planks"}, {-384, 256, 256, 768, "floor_tiles"},
        {256, 256, 1024, 768, "metal_plate"},    {-1024, 64, 1024, 256, "trim_checker"},
        {-1024, -768, 0, 64, "floor_tiles"},     {0, -768, 1024, 64, "floor_planks"},
    };
    for (const CRegion& r : regions) {
        b.push_back(Box(r.x0, r.y0, -16, r.x1, r.y1, 0, r.pszFloor));
        b.push_back(Box(r.x0, r.y0, top, r.x1, r.y1, top + 16, "ceil_plaster"));
    }
    // The corridor's lower ceiling, between its two walls.
    b.push_back(Box(-1024, 72, lowTop, 1024, 248, top, "metal_plate"));

    // Inner walls, 16 thick, standing on the floor and reaching the ceiling.
    AddWall(b, true, -1024, 1024, 248, 264, 0, top,
            {{-912, -816, 0, 144},
             {-608, -480, 96, 192},
             {-96, 0, 0, 144},
             {96, 192, 96, 192},
             {512, 608, 0, 144},
             {768, 896, 96, 192}},
            "wall_brick");
    AddWall(b, true, -1024, 1024, 56, 72, 0, top,
            {{-640, -544, 0, 144}, {-352, -224, 96, 176}, {320, 416, 0, 144}, {640, 768, 96, 176}},
            "wall_brick");
    AddWall(b, false, 264, 768, -392, -376, 0, top, {{400, 496, 0, 144}, {608, 704, 160, 256}},
            "concrete");
    AddWall(b, false, 264, 768, 248, 264, 0, top, {{384, 480, 0, 144}, {576, 704, 64, 192}},
            "concrete");
    AddWall(b, false, -768, 56, -8, 8, 0, top,
            {{-640, -512, 80, 176}, {-352, -256, 0, 144}, {-160, -64, 80, 176}}, "concrete");

    // North-west hall: a gallery along the back wall, reached by stairs, with
    // a railing, two pillars and crates.
    b.push_back(Box(-1024, 576, 0, -392, 768, 128, "concrete"));
    for (int i = 0; i < 8; ++i)
        b.push_back(Box(-800, 320 + 32 * i, 0, -672, 352 + 32 * i, 16 * (i + 1), "step_stone"));
    b.push_back(Box(-1024, 576, 128, -800, 592, 160, "metal_plate"));
    b.push_back(Box(-672, 576, 128, -392, 592, 160, "metal_plate"));
    b.push_back(Box(-960, 400, 0, -928, 432, top, "pillar_marble"));
    b.push_back(Box(-544, 400, 0, -512, 432, top, "pillar_marble"));
    b.push_back(Box(-1008, 280, 0, -944, 344, 64, "crate_wood"));
    b.push_back(Box(-1000, 288, 64, -952, 336, 112, "crate_wood"));
    b.push_back(Box(-456, 280, 0, -400, 336, 56, "crate_wood"));
    AddPanel(map, -704, 416, top, "light_warm");
    AddPanel(map, -704, 672, top, "light_warm");

    // North middle: four turned pillars round a stepped pedestal, benches.
    const double turns[] = {30, 45, 60, 15};
    const Vec3 pillars[] = {{-224, 416, 0}, {96, 416, 0}, {-224, 640, 0}, {96, 640, 0}};
    for (int i = 0; i < 4; ++i)
        b.push_back(
            mapgen::TurnedBox(pillars[i], 24, 24, 0, top, Radians(turns[i]), "pillar_marble"));
    b.push_back(Box(-160, 432, 0, 32, 624, 16, "step_stone"));
    b.push_back(Box(-128, 464, 16, 0, 592, 32, "step_stone"));
    b.push_back(Box(-88, 504, 32, -40, 552, 96, "pillar_marble"));
    b.push_back(Box(-304, 512, 0, -272, 544, 24, "crate_wood"));
    b.push_back(Box(144, 512, 0, 176, 544, 24, "crate_wood"));
    b.push_back(Box(-160, 720, 0, -96, 752, 24, "crate_wood"));
    b.push_back(Box(-32, 720, 0, 32, 752, 24, "crate_wood"));
    AddPanel(map, -224, 528, top, "light_blue");
    AddPanel(map, 96, 528, top, "light_white");
    AddPanel(map, -64, 352, top, "light_white");
    AddPanel(map, -64, 704, top, "light_blue");

    // North-east: a ramp up to a ledge along the corridor wall, crates, one
    // of them turned.
    b.push_back(Box(656, 264, 0, 1024, 512, 96, "concrete"));
    b.push_back(mapgen::Ramp(400, 656, 320, 448, 0, 96, "ramp_hazard"));
    b.push_back(Box(880, 400, 96, 944, 464, 160, "crate_wood"));
    b.push_back(Box(960, 288, 96, 1016, 344, 152, "crate_wood"));
    b.push_back(mapgen::TurnedBox({800, 640, 0}, 32, 32, 0, 64, Radians(20), "crate_wood"));
    b.push_back(Box(432, 656, 0, 464, 688, top, "pillar_marble"));
    b.push_back(Box(560, 560, 0, 592, 592, top, "pillar_marble"));
    b.push_back(Box(624, 680, 0, 688, 744, 48, "crate_wood"));
    AddPanel(map, 448, 560, top, "light_red");
    AddPanel(map, 832, 384, top, "light_green");

    // Corridor: columns against both walls between the openings, lights.
    for (const double x : {-864, -128, 192, 896})
        b.push_back(Box(x - 16, 72, 0, x + 16, 104, lowTop, "concrete"));
    for (const double x : {-736, -320, 320, 704})
        b.push_back(Box(x - 16, 216, 0, x + 16, 248, lowTop, "concrete"));
    const char* corridorLights[] = {"light_white", "light_warm", "light_white", "light_warm"};
    for (int i = 0; i < 4; ++i)
        AddPanel(map, -768 + 512 * i, 160, lowTop, corridorLights[i]);

    // South-west: a dais with steps, two rows of columns, shelves along the
    // outer wall, crates.
    b.push_back(Box(-704, -768, 0, -320, -640, 64, "step_stone"));
    for (int j = 1; j <= 3; ++j)
        b.push_back(Box(-576, -640 + 32 * (3 - j), 0, -448, -608 + 32 * (3 - j), 16 * j,
                        "step_stone"));
    for (const double x : {-832, -576, -320})
        for (const double y : {-384, -128})
            b.push_back(Box(x - 16, y - 16, 0, x + 16, y + 16, top, "pillar_marble"));
    for (int i = 0; i < 5; ++i)
        b.push_back(Box(-1024, -704 + 128 * i, 0, -992, -608 + 128 * i, 160, "crate_wood"));
    b.push_back(Box(-200, -720, 0, -136, -656, 64, "crate_wood"));
    b.push_back(Box(-192, -712, 64, -144, -664, 112, "crate_wood"));
    b.push_back(mapgen::TurnedBox({-160, -480, 0}, 28, 28, 0, 56, Radians(35), "crate_wood"));
    b.push_back(Box(-976, -32, 0, -912, 32, 64, "crate_wood"));
    AddPanel(map, -512, -384, top, "light_warm");
    AddPanel(map, -512, -704, top, "light_green");
    AddPanel(map, -192, -192, top, "light_white");

    // South-east: a grid of turned pillars, a ramp along the outer wall up
    // to a platform, crates.
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            b.push_back(mapgen::TurnedBox({256.0 + 256 * i, -576.0 + 224 * j, 0}, 20, 20, 0, top,
                                          Radians(10 + 8 * (i * 3 + j)), "pillar_marble"));
    b.push_back(RampAlongY(896, 1024, -640, -384, 0, 64, "ramp_hazard"));
    b.push_back(Box(896, -384, 0, 1024, -128, 64, "concrete"));
    b.push_back(Box(96, -736, 0, 160, -672, 64, "crate_wood"));
    b.push_back(Box(168, -736, 0, 224, -680, 56, "crate_wood"));
    b.push_back(Box(24, -112, 0, 80, -56, 56, "crate_wood"));
    b.push_back(Box(480, -16, 0, 544, 48, 48, "crate_wood"));
    AddPanel(map, 384, -464, top, "light_blue");
    AddPanel(map, 640, -688, top, "light_red");
    AddPanel(map, 640, -240, top, "light_white");

    map.Start = {-64, 352, 48};
    map.MinLight = SAMPLE_MIN_LIGHT;
    for (const char* pszLight :
         {"light_white", "light_warm", "light_blue", "light_red", "light_green"})
        map.Lights.push_back(PanelLight(pszLight));
    return map;
}

// ---------------------------------------------------------------------------
// Text

inline std::string MapText(const CSampleMap& map)
{
    std::string out = "// Vorlane sample map: " + map.Title + ", " +
                      std::to_string(map.Brushes.size()) + " brushes\n";
    out += "{\n\"classname\" \"worldspawn\"\n\"mapversion\" \"220\"\n";
    if (map.MinLight > 0)
        out += "\"_minlight\" \"" + std::to_string(map.MinLight) + "\"\n";
    int n = 0;
    for (const Brush& brush : map.Brushes) {
        out += "// brush " + std::to_string(n++) + "\n{\n";
        for (const mapgen::Side& side : brush)
            mapgen::AppendSide(out, side);
        out += "}\n";
    }
    out += "}\n{\n\"classname\" \"info_player_start\"\n\"origin\" \"";
    out += mapgen::FormatNumber(map.Start.x) + " " + mapgen::FormatNumber(map.Start.y) + " " +
           mapgen::FormatNumber(map.Start.z) + "\"\n}\n";
    for (const CPointEntity& light : map.PointLights) {
        out += "{\n\"classname\" \"light\"\n\"origin\" \"" + mapgen::FormatNumber(light.Origin.x) +
               " " + mapgen::FormatNumber(light.Origin.y) + " " +
               mapgen::FormatNumber(light.Origin.z) + "\"\n\"light\" \"" +
               std::to_string(light.Light) + "\"\n\"_color\" \"" + std::to_string(light.Red) +
               " " + std::to_string(light.Green) + " " + std::to_string(light.Blue) + "\"\n}\n";
    }
    return out;
}

inline std::string LightText(const std::vector<CLightEntry>& lights)
{
    std::string out;
    for (const CLightEntry& light : lights) {
        out += std::string(light.pszTexture) + " " + std::to_string(light.Red) + " " +
               std::to_string(light.Green) + " " + std::to_string(light.Blue) + " " +
               std::to_string(light.Intensity) + "\n";
    }
    return out;
}

// The distinct texture names of a set of brushes, in first use order.
inline std::vector<std::string> UsedTextures(const std::vector<Brush>& brushes)
{
    std::vector<std::string> names;
    for (const Brush& brush : brushes) {
        for (const mapgen::Side& side : brush) {
            if (std::find(names.begin(), names.end(), side.Texture) == names.end())
                names.push_back(side.Texture);
        }
    }
    return names;
}

// The pictures for the given texture names; a name without a style of its
// own (those of the benchmark generator) gets a stone pattern seeded by its
// name.
inline std::vector<CSampleFile> TextureFiles(const std::vector<std::string>& names)
{
    std::vector<CSampleFile> files;
    for (const std::string& name : names) {
        CTextureStyle style{nullptr, EPattern::Stone, 64, {170, 160, 150}, {90, 85, 80}, 0};
        bool bFound = false;
        for (const CTextureStyle& known : TextureStyles()) {
            if (name == known.pszName) {
                style = known;
                bFound = true;
            }
        }
        if (!bFound) {
            for (const char c : name)
                style.Seed = style.Seed * 31 + uint8_t(c);
        }
        files.push_back({name + ".bmp", EncodeBmp(DrawTexture(style))});
    }
    return files;
}

// Everything the sample folder holds: both maps, their light lists and one
// picture per texture name they use, sorted by file name.
inline std::vector<CSampleFile> SampleFiles()
{
    std::vector<CSampleFile> files;
    std::vector<std::string> textures;
    for (const CSampleMap& map : {RoomMap(), LevelMap()}) {
        files.push_back({map.Title + ".map", MapText(map)});
        files.push_back({map.Title + ".lights", LightText(map.Lights)});
        for (const std::string& name : UsedTextures(map.Brushes)) {
            if (std::find(textures.begin(), textures.end(), name) == textures.end())
                textures.push_back(name);
        }
    }
    for (CSampleFile& file : TextureFiles(textures))
        files.push_back(std::move(file));
    std::sort(files.begin(), files.end(),
              [](const CSampleFile& a, const CSampleFile& b) { return a.Name < b.Name; });
    return files;
}

// The large map for benchmarks: a square grid of rooms inside one shell,
// walls with a doorway into every neighbour, a light in every ceiling, and
// pillars, turned pillars and low blocks on eight places round each room's
// centre until the brush count is reached. (A free-standing wedge there made
// the set builder's flood leak, so the ramps stay in the level map, where
// each leans on a ledge.)
constexpr double LARGE_CELL = 384;
constexpr double LARGE_HEIGHT = 256;
// Larger grids (12 rooms a side and up) come out of the compiler leaking
// with both tree builders, though each room is closed as in the smaller ones.
constexpr int LARGE_MAX_GRID = 11;
constexpr int LARGE_SLOTS = 8;

// Brushes of a grid of g by g rooms before the pillars: the shell; a floor,
// a ceiling and a light per room; the inner walls, a line along x of g + 1
// pieces and g lintels over the doorways, a line along y of three brushes
// per room.
inline int LargeBaseCount(int g)
{
    return 4 + 3 * g * g + (g - 1) * (2 * g + 1) + (g - 1) * 3 * g;
}

inline int LargeGridSize(int brushCount)
{
    int g = 2;
    while (g < LARGE_MAX_GRID && LargeBaseCount(g) + LARGE_SLOTS * g * g < brushCount)
        ++g;
    return g;
}

inline int MaxLargeBrushCount()
{
    return LargeBaseCount(LARGE_MAX_GRID) + LARGE_SLOTS * LARGE_MAX_GRID * LARGE_MAX_GRID;
}

// At least brushCount brushes (a grid has a least number of its own), up to
// MaxLargeBrushCount.
inline CSampleMap LargeMap(int brushCount)
{
    CSampleMap map;
    map.Title = "large";
    std::vector<Brush>& b = map.Brushes;
    const int g = LargeGridSize(brushCount);
    const double o = -g * LARGE_CELL / 2;
    const double h = LARGE_HEIGHT;
    AddShell(b, {o, o, 0}, {-o, -o, h}, 16, "concrete", nullptr, nullptr);
    const char* lights[] = {"light_white", "light_warm", "light_blue"};
    for (int j = 0; j < g; ++j) {
        for (int i = 0; i < g; ++i) {
            const double x = o + i * LARGE_CELL;
            const double y = o + j * LARGE_CELL;
            const char* pszFloor = (i + j) % 2 ? "floor_tiles" : "floor_planks";
            b.push_back(Box(x, y, -16, x + LARGE_CELL, y + LARGE_CELL, 0, pszFloor));
            b.push_back(Box(x, y, h, x + LARGE_CELL, y + LARGE_CELL, h + 16, "ceil_plaster"));
            b.push_back(Panel(x + LARGE_CELL / 2, y + LARGE_CELL / 2, h, lights[(i + 2 * j) % 3]));
        }
    }
    // Inner walls on the grid lines, with a doorway in the middle of each
    // room's side: those along x run the whole width, those along y are
    // pieces fitted between them.
    for (int line = 1; line < g; ++line) {
        const double at = o + line * LARGE_CELL;
        std::vector<COpening> doors;
        for (int k = 0; k < g; ++k) {
            const double middle = o + (k + 0.5) * LARGE_CELL;
            doors.push_back({middle - 48, middle + 48, 0, 128});
        }
        AddWall(b, true, o, -o, at - 8, at + 8, 0, h, doors, "wall_brick");
        for (int k = 0; k < g; ++k) {
            const double s0 = o + k * LARGE_CELL + (k > 0 ? 8 : 0);
            const double s1 = o + (k + 1) * LARGE_CELL - (k < g - 1 ? 8 : 0);
            AddWall(b, false, s0, s1, at - 8, at + 8, 0, h, {doors[size_t(k)]}, "wall_stone");
        }
    }

    mapgen::Random random(20240611u);
    const int rooms = g * g;
    for (int k = 0; int(b.size()) < brushCount && k < rooms * LARGE_SLOTS; ++k) {
        const int room = k % rooms;
        int slot = k / rooms;
        if (slot >= 4)
            ++slot; // the centre stays free
        const double cx = o + (room % g) * LARGE_CELL + LARGE_CELL * (1 + slot % 3) / 4;
        const double cy = o + (room / g) * LARGE_CELL + LARGE_CELL * (1 + slot / 3) / 4;
        const double half = 8 * random.Range(2, 4);
        if (k % 7 == 3) {
            b.push_back(Box(cx - 40, cy - 40, 0, cx + 40, cy + 40, 16 * random.Range(1, 2),
                            "step_stone"));
        } else if (k % 3 == 1) {
            b.push_back(mapgen::TurnedBox({cx, cy, 0}, half, half * 0.75, 0, h,
                                          Radians(random.Range(10, 80)), "pillar_marble"));
        } else {
            b.push_back(Box(cx - half, cy - half, 0, cx + half, cy + half, 16 * random.Range(4, 14),
                            "crate_wood"));
        }
    }
    map.Start = {o + LARGE_CELL / 2, o + LARGE_CELL / 2, 48};
    for (const char* pszLight : lights)
        map.Lights.push_back(PanelLight(pszLight));
    return map;
}

// A map under the file name mapName, its light list (the name's stem with
// ".lights") and the pictures of its textures.
inline std::vector<CSampleFile> MapFiles(const CSampleMap& map, const std::string& mapName)
{
    std::vector<CSampleFile> files;
    files.push_back({mapName, MapText(map)});
    files.push_back(
        {std::filesystem::path(mapName).stem().string() + ".lights", LightText(map.Lights)});
    for (CSampleFile& file : TextureFiles(UsedTextures(map.Brushes)))
        files.push_back(std::move(file));
    return files;
}

// The large map as MapFiles.
inline std::vector<CSampleFile> LargeFiles(int brushCount, const std::string& mapName)
{
    return MapFiles(LargeMap(brushCount), mapName);
}

// Writes files into folder, creating it; false on the first failure.
inline bool WriteFiles(const std::filesystem::path& folder, const std::vector<CSampleFile>& files)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    for (const CSampleFile& file : files) {
        std::ofstream out(folder / file.Name, std::ios::binary);
        out.write(file.Data.data(), std::streamsize(file.Data.size()));
        if (!out)
            return false;
    }
    return true;
}

} // namespace samples
