#pragma once
// The brushes of a map text, each with its planes, for the checks that need
// a brush as a whole: where the start location stands, how far the brushes
// reach. The parser keeps faces only; these come from the importer's record
// of the same text.
#include "compiler/map_import.h"
#include "geometry/plane.h"
#include "geometry/vector.h"

#include <cstdint>
#include <string>
#include <vector>

struct CMapBrush {
    int32_t Entity = 0; // entity of the file, counted from 0
    int32_t Number = 0; // brush of that entity, counted from 0
    int32_t Line = 0;   // line of the brush's "{"
    // One plane a side, made from its three points as the parser makes it;
    // a side whose points give no plane (a line, a point) is left out.
    std::vector<CPlane> Planes;
};

// The brushes that the import handed to the parser: those of the world and
// of the classes that joined it.
std::vector<CMapBrush> BrushesFromImport(const CMapImport& import);

// The corners of the brush's solid: each point where three of its planes
// meet and that lies behind or on all the others.
std::vector<CVector> BrushCorners(const CMapBrush& brush);

// The box round the corners of all brushes; false when there are none.
bool BrushesBox(const std::vector<CMapBrush>& brushes, CVector* pMin, CVector* pMax);

// How far point lies outside the brush: the largest distance in front of
// one of its planes, 0 inside. Never more than the true distance.
double DistanceToBrush(const CMapBrush& brush, const CVector& point);

// True when point lies more than depth behind every plane of the brush.
bool IsInsideBrush(const CMapBrush& brush, const CVector& point, double depth);

// "brush 3 (line 40)", or "entity 2 brush 3 (line 40)" beyond the world.
std::string BrushName(const CMapBrush& brush);

// A world point in map text axes, "x z y", to a tenth of a unit, as a
// designer reads it.
std::string MapTextPoint(const CVector& point);
