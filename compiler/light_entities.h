#pragma once
// Point lights from a map's entities, beside the texture lights of the light
// list: every entity whose class starts with "light" becomes one source at
// its "origin". Its colour is "_color" (three numbers, 0 to 1 or 0 to 255),
// white without one; its strength L is "light" (300 without one). The source
// shoots like a sample of area L * sqrt(pi) / 2 and intensity 1 (-1 for a
// negative L), so that a shot over a distance d is
//     colour * (L / 2d)^2,
// full colour at L / 2 units, a quarter of it at L units. The world entity's
// "_minlight" (or its "light") is a floor that every texel is raised to.
#include "compiler/build_tree.h"
#include "compiler/entities.h"
#include "compiler/light_passes.h"

#include <cstdint>
#include <string>
#include <vector>

constexpr double ENTITY_LIGHT_DEFAULT = 300.0;

struct CEntityLights {
    std::vector<CPointLight> Points;
    int32_t MinLight = 0; // 0 to 255; 0: no floor
    // Lights read as plain points though they ask for more.
    int32_t Spots = 0;  // a "target", "mangle" or "_spot..." key, or class light_spot
    int32_t Suns = 0;   // "_sun..." keys, or class light_environment
    int32_t Styled = 0; // a "style" other than 0
    // Values that could not be read (entity number and what is wrong).
    std::vector<std::string> Problems;
};

// The lights of the entities, in file order. shift is what the map was
// moved by (subtracted from every origin); map text axes a b c are the
// world vector (a, c, b).
CEntityLights ReadLightEntities(const std::vector<CEntity>& entities, const CVector& shift);

// Raises every channel of every sample of every grid under pNode to at
// least floor.
void ApplyMinLight(CBuildNode* pNode, int32_t floor);
