#include "compiler/light_entities.h"

#include "compiler/light.h"
#include "compiler/tree_walk.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// Reads up to `count` numbers of a value; false unless exactly that many
// finite numbers stand in it.
bool ReadNumbers(const char* pszValue, double* pOut, int count)
{
    const char* p = pszValue;
    for (int i = 0; i < count; ++i) {
        char* pEnd = nullptr;
        pOut[i] = std::strtod(p, &pEnd);
        if (pEnd == p || !std::isfinite(pOut[i]))
            return false;
        p = pEnd;
    }
    while (*p == ' ' || *p == '\t')
        ++p;
    return *p == '\0';
}

bool StartsWith(const char* pszText, const char* pszStart)
{
    return std::strncmp(pszText, pszStart, std::strlen(pszStart)) == 0;
}

bool HasKeyStarting(const CEntity& entity, const char* pszStart)
{
    for (const auto& [key, value] : entity.Keys) {
        if (StartsWith(key.c_str(), pszStart))
            return true;
    }
    return false;
}

// "_color": three numbers, 0 to 1 when none is above 1, else 0 to 255; each
// channel is rounded and held to 0 to 255.
bool ReadColour(const char* pszValue, CLightRecord* pLight)
{
    double rgb[3];
    if (!ReadNumbers(pszValue, rgb, 3))
        return false;
    const double scale = std::max({rgb[0], rgb[1], rgb[2]}) <= 1.0 ? 255.0 : 1.0;
    int32_t* channels[3] = {&pLight->Red, &pLight->Green, &pLight->Blue};
    for (int k = 0; k < 3; ++k)
        *channels[k] = static_cast<int32_t>(std::lround(std::clamp(rgb[k] * scale, 0.0, 255.0)));
    return true;
}

std::string Where(size_t index, const char* pszClass)
{
    return "entity " + std::to_string(index) + " (" + pszClass + ")";
}

void ReadWorld(const CEntity& world, CEntityLights* pOut)
{
    const char* pszFloor = world.Get("_minlight");
    if (!pszFloor)
        pszFloor = world.Get("light");
    double floor = 0.0;
    if (pszFloor && ReadNumbers(pszFloor, &floor, 1))
        pOut->MinLight = static_cast<int32_t>(std::lround(std::clamp(floor, 0.0, 255.0)));
    else if (pszFloor)
        pOut->Problems.push_back("the world's minimum light \"" + std::string(pszFloor) +
                                 "\" is not a number; no minimum");
    if (HasKeyStarting(world, "_sun"))
        ++pOut->Suns;
}

} // namespace

CEntityLights ReadLightEntities(const std::vector<CEntity>& entities, const CVector& shift)
{
    CEntityLights lights;
    for (size_t index = 0; index < entities.size(); ++index) {
        const CEntity& entity = entities[index];
        const char* pszClass = entity.Get("classname");
        if (!pszClass)
            continue;
        if (std::strcmp(pszClass, "worldspawn") == 0) {
            ReadWorld(entity, &lights);
            continue;
        }
        if (!StartsWith(pszClass, "light"))
            continue;
        const char* pszOrigin = entity.Get("origin");
        double origin[3];
        if (!pszOrigin || !ReadNumbers(pszOrigin, origin, 3)) {
            lights.Problems.push_back(Where(index, pszClass) +
                                      ": no origin of three numbers; the light is left out");
            continue;
        }
        double strength = ENTITY_LIGHT_DEFAULT;
        const char* pszLight = entity.Get("light");
        if (pszLight && !ReadNumbers(pszLight, &strength, 1)) {
            lights.Problems.push_back(Where(index, pszClass) + ": \"light\" \"" + pszLight +
                                      "\" is not a number; 300 is taken");
            strength = ENTITY_LIGHT_DEFAULT;
        }
        CPointLight point;
        point.Light.Red = point.Light.Green = point.Light.Blue = 255;
        const char* pszColour = entity.Get("_color");
        if (pszColour && !ReadColour(pszColour, &point.Light))
            lights.Problems.push_back(Where(index, pszClass) + ": \"_color\" \"" + pszColour +
                                      "\" is not three numbers; white is taken");
        if (strength == 0.0)
            continue;
        // Map text axes a b c are the world vector (a, c, b).
        point.Position = CVector(static_cast<float>(origin[0] - shift.x),
                                 static_cast<float>(origin[2] - shift.y),
                                 static_cast<float>(origin[1] - shift.z));
        point.Area = static_cast<float>(std::abs(strength) * std::sqrt(M_PI) / 2.0);
        point.Light.Intensity = strength < 0.0 ? -1 : 1;
        lights.Points.push_back(point);

        if (std::strcmp(pszClass, "light_spot") == 0 || entity.Get("target") ||
            entity.Get("mangle") || HasKeyStarting(entity, "_spot"))
            ++lights.Spots;
        if (std::strcmp(pszClass, "light_environment") == 0 || HasKeyStarting(entity, "_sun"))
            ++lights.Suns;
        const char* pszStyle = entity.Get("style");
        if (pszStyle && std::atoi(pszStyle) != 0)
            ++lights.Styled;
    }
    return lights;
}

void ApplyMinLight(CBuildNode* pNode, int32_t floor)
{
    if (floor <= 0)
        return;
    WalkFrontFirst(pNode, false, [&](CBuildNode* pLeaf) {
        for (int32_t g = 0; pLeaf->pGrids && g < pLeaf->FaceCount; ++g) {
            CLumelGrid& grid = pLeaf->pGrids[g];
            for (int32_t i = 0; grid.pLumels && i < grid.LumelCount; ++i) {
                CLightRecord& light = grid.pLumels[i].Light;
                light.Red = std::max(light.Red, floor);
                light.Green = std::max(light.Green, floor);
                light.Blue = std::max(light.Blue, floor);
            }
        }
    });
}
