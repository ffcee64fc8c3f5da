#pragma once
// The light stage of vorlane-compile: the texture lights of the light list
// and the light entities of the map, shot into the grids of the reached
// faces by the light passes, then the world's minimum light.
#include "compiler/build_tree.h"
#include "compiler/compile_options.h"
#include "compiler/light.h"
#include "compiler/light_entities.h"

#include <ostream>
#include <string>

// What a map is lit by.
struct CLightSources {
    CLightNode* pList = nullptr; // owned; null: no texture emits
    CEntityLights Entities;

    CLightSources() = default;
    CLightSources(const CLightSources&) = delete;
    CLightSources& operator=(const CLightSources&) = delete;
    ~CLightSources() { FreeLights(&pList); }

    bool HasLight() const { return pList != nullptr || !Entities.Points.empty(); }
};

// Reads the light list at listPath (empty: none) into the map's names,
// with its warnings, and, unless --no-entity-lights, the light entities of
// the map, moved by -shift. Warnings go to err, a line about what lights
// the map to log. False with *pError when the list can't be read.
bool GatherLights(const CCompileOptions& options, const std::string& mapPath,
                  const std::string& listPath, CTexNameNode* pNames, const CVector& shift,
                  std::ostream& log, std::ostream& err, CLightSources* pOut, std::string* pError);

// Gives every face of every reached leaf its grid, runs the passes with
// progress lines on pProgress (null: none) and raises every texel to the
// minimum light. The reached leaves' visible lists must be filled; shift is
// how far the map was moved (for the places that warnings name).
void LightTree(const CLightSources& sources, CBuildNode* pRoot, const CVector& shift,
               const CCompileOptions& options, std::ostream* pProgress, std::ostream& log,
               std::ostream& err);
