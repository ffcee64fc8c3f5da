#include "compiler/map_import_side.h"

#include "geometry/plane.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>

namespace {

// Each axis plane of the world with the texture axes that Quake editors
// project onto it: floor, ceiling, then the walls facing -x, +x, -y, +y
// (normal, U axis, V axis, in map text axes with z up).
const CMapTriple BASE_AXES[6][3] = {
    {{0, 0, 1}, {1, 0, 0}, {0, -1, 0}},  {{0, 0, -1}, {1, 0, 0}, {0, -1, 0}},
    {{1, 0, 0}, {0, 1, 0}, {0, 0, -1}},  {{-1, 0, 0}, {0, 1, 0}, {0, 0, -1}},
    {{0, 1, 0}, {1, 0, 0}, {0, 0, -1}},  {{0, -1, 0}, {1, 0, 0}, {0, 0, -1}},
};

double DotTriple(const CMapTriple& a, const CMapTriple& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

CMapTriple CrossTriple(const CMapTriple& a, const CMapTriple& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The one component of a base axis that isn't 0.
int NonZeroComponent(const CMapTriple& axis) { return axis[0] != 0 ? 0 : axis[1] != 0 ? 1 : 2; }

// Sine and cosine of a rotation; exact for the quarter turns, which editors
// use most, so that the axes stay free of rounding noise.
void SineCosine(double degrees, double* pSin, double* pCos)
{
    double turn = std::fmod(degrees, 360.0);
    if (turn < 0)
        turn += 360.0;
    const double quarters[4][2] = {{0, 1}, {1, 0}, {0, -1}, {-1, 0}};
    for (int q = 0; q < 4; ++q) {
        if (turn == 90.0 * q) {
            *pSin = quarters[q][0];
            *pCos = quarters[q][1];
            return;
        }
    }
    const double radians = degrees * std::numbers::pi / 180.0;
    *pSin = std::sin(radians);
    *pCos = std::cos(radians);
}

std::string Number(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%g", value);
    return text;
}

// The value as the parser will hold it: rounded to float.
double AsFloat(double value) { return static_cast<double>(static_cast<float>(value)); }

// Axes that give a texture: finite once rounded to float, of some length,
// and not parallel.
bool UsableAxes(const CMapTriple axes[2])
{
    CMapTriple rounded[2];
    for (int a = 0; a < 2; ++a) {
        for (int i = 0; i < 3; ++i) {
            rounded[a][i] = AsFloat(axes[a][i]);
            if (!std::isfinite(rounded[a][i]))
                return false;
        }
    }
    const CMapTriple normal = CrossTriple(rounded[0], rounded[1]);
    return DotTriple(normal, normal) > 0.0;
}

std::string ShownAxes(const CMapTriple axes[2])
{
    std::string text;
    for (int a = 0; a < 2; ++a) {
        text += a ? " [ " : "[ ";
        for (double value : axes[a])
            text += Number(value) + " ";
        text += "]";
    }
    return text;
}

// The plane's normal as the parser will make it from the three points, in
// map text axes; false when it has none.
bool ParserNormal(const CImportSide& side, CMapTriple* pNormal, std::string* pReason)
{
    CVector points[3];
    for (int i = 0; i < 3; ++i) {
        const CMapTriple& p = side.Points[i];
        points[i] = CVector(static_cast<float>(p[0]), static_cast<float>(p[2]),
                            static_cast<float>(p[1]));
        if (!std::isfinite(points[i].x) || !std::isfinite(points[i].y) ||
            !std::isfinite(points[i].z)) {
            *pReason = "side skipped: a point is not a finite number";
            return false;
        }
    }
    const CPlane plane(points[0], points[1], points[2]);
    *pNormal = {plane.Normal.x, plane.Normal.z, plane.Normal.y};
    const bool bFinite = std::isfinite((*pNormal)[0]) && std::isfinite((*pNormal)[1]) &&
                         std::isfinite((*pNormal)[2]);
    if (!bFinite || DotTriple(*pNormal, *pNormal) == 0.0) {
        *pReason = "side skipped: its three points lie on one line";
        return false;
    }
    return true;
}

// A scale of 0 or one that isn't finite becomes 1 (as Quake editors read 0).
double SafeScale(double scale, std::vector<std::string>* pNotes)
{
    if (std::isfinite(AsFloat(scale)) && AsFloat(scale) != 0.0)
        return scale;
    pNotes->push_back("texture scale " + Number(scale) + " replaced by 1");
    return 1.0;
}

// Offsets are whole texels: this system's own sides drop the fraction, as
// the parser always has; editors' sides round to the nearest texel.
int32_t SafeOffset(double offset, bool bTruncate, std::vector<std::string>* pNotes)
{
    const double whole = bTruncate ? std::trunc(offset) : std::round(offset);
    if (std::isfinite(whole) && whole >= std::numeric_limits<int32_t>::min() &&
        whole <= std::numeric_limits<int32_t>::max())
        return static_cast<int32_t>(whole);
    pNotes->push_back("texture offset " + Number(offset) + " replaced by 0");
    return 0;
}

double SafeRotation(double rotation, std::vector<std::string>* pNotes)
{
    if (std::isfinite(AsFloat(rotation)))
        return rotation;
    pNotes->push_back("texture rotation " + Number(rotation) + " replaced by 0");
    return 0.0;
}

} // namespace

void QuakeTextureAxes(const CMapTriple& normal, double rotation, CMapTriple* pU, CMapTriple* pV)
{
    // The first axis plane with the largest dot product wins a tie.
    int best = 0;
    double bestDot = 0.0;
    for (int i = 0; i < 6; ++i) {
        const double dot = DotTriple(normal, BASE_AXES[i][0]);
        if (dot > bestDot) {
            bestDot = dot;
            best = i;
        }
    }
    CMapTriple axes[2] = {BASE_AXES[best][1], BASE_AXES[best][2]};

    // The rotation turns both axes in the plane of the two components that
    // the base axes use.
    double sine = 0.0;
    double cosine = 1.0;
    SineCosine(rotation, &sine, &cosine);
    const int s = NonZeroComponent(axes[0]);
    const int t = NonZeroComponent(axes[1]);
    for (CMapTriple& axis : axes) {
        const double turnedS = cosine * axis[s] - sine * axis[t];
        const double turnedT = sine * axis[s] + cosine * axis[t];
        axis[s] = turnedS;
        axis[t] = turnedT;
    }
    *pU = axes[0];
    *pV = axes[1];
}

bool ClassifySide(const CImportSide& side, EMapDialect format, bool bDeclaredValve,
                  ESideDialect* pDialect, std::string* pError)
{
    ESideDialect dialect;
    const size_t count = side.Surface.size();
    if (count == 3) {
        dialect = side.bBracketed ? ESideDialect::Quake2Valve : ESideDialect::Quake2;
    } else if (count == 1) {
        dialect = side.bBracketed ? ESideDialect::Hexen2Valve : ESideDialect::Hexen2;
    } else if (count != 0) {
        *pError = "a side with " + std::to_string(count) +
                  " numbers after its scales (Quake 2 has three, Hexen 2 one)";
        return false;
    } else if (!side.bBracketed) {
        dialect = ESideDialect::Quake;
    } else {
        const bool bValve = format == EMapDialect::Valve220 ||
                            (format != EMapDialect::Vorlane && bDeclaredValve);
        dialect = bValve ? ESideDialect::Valve220 : ESideDialect::Vorlane;
    }

    bool bFits = true;
    switch (format) {
    case EMapDialect::Auto:
        break;
    case EMapDialect::Vorlane:
    case EMapDialect::Valve220:
        bFits = count == 0 && side.bBracketed;
        break;
    case EMapDialect::Quake:
        bFits = dialect == ESideDialect::Quake;
        break;
    case EMapDialect::Quake2:
        bFits = count == 3;
        break;
    case EMapDialect::Hexen2:
        bFits = count == 1;
        break;
    }
    if (!bFits) {
        *pError = "the side is " + std::string(side.bBracketed ? "bracketed" : "plain") +
                  " with " + std::to_string(count) +
                  " numbers after its scales, which the --format given does not read";
        return false;
    }
    *pDialect = dialect;
    return true;
}

bool ConvertSide(const CImportSide& side, ESideDialect dialect, CParserSide* pOut,
                 std::vector<std::string>* pNotes)
{
    CMapTriple normal;
    std::string reason;
    if (!ParserNormal(side, &normal, &reason)) {
        pNotes->push_back(reason);
        return false;
    }
    for (int i = 0; i < 3; ++i)
        pOut->Points[i] = side.Points[i];
    const bool bOwnForm = dialect == ESideDialect::Vorlane;
    for (int i = 0; i < 2; ++i) {
        pOut->Scales[i] = SafeScale(side.Scales[i], pNotes);
        pOut->Offsets[i] = SafeOffset(side.Offsets[i], bOwnForm, pNotes);
    }

    pOut->Rotation = 0.0;
    if (!side.bBracketed) {
        QuakeTextureAxes(normal, SafeRotation(side.Rotation, pNotes), &pOut->Axes[0],
                         &pOut->Axes[1]);
        return true;
    }
    if (bOwnForm)
        pOut->Rotation = SafeRotation(side.Rotation, pNotes);
    if (UsableAxes(side.Axes)) {
        pOut->Axes[0] = side.Axes[0];
        pOut->Axes[1] = side.Axes[1];
    } else {
        pNotes->push_back("texture axes " + ShownAxes(side.Axes) +
                          " replaced by those of the nearest axis plane");
        QuakeTextureAxes(normal, 0.0, &pOut->Axes[0], &pOut->Axes[1]);
    }
    return true;
}
