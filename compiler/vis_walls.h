#pragma once
// The faces of the reached leaves, found by their plane: what tells a
// doorway (a hole in a wall) from open space.
#include "compiler/build_tree.h"
#include "compiler/vis_geometry.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

// How far along a plane a join looks for the faces round it.
constexpr double WALL_REACH = 256.0;

class CWallIndex {
public:
    explicit CWallIndex(const std::vector<CBuildNode*>& leaves);

    // Whether a join on the plane round the point p is a hole in a wall:
    // lines along the plane from p meet faces on the plane on both sides,
    // across or up and down, within WALL_REACH.
    bool InWall(const CFlowPlane& plane, const CPoint& p) const;

private:
    // Whether the line from p along d (both on the plane) meets a face that
    // lies on the plane, either way round, within WALL_REACH of p.
    bool Meets(const CFlowPlane& plane, const CPoint& p, const CPoint& d) const;

    struct CWall {
        CWinding Points;
        CPoint Normal; // of the points' order, not normalised
        CFlowPlane Plane;
        CBox Box;
    };
    void AddToIndex(const CWall& wall, int32_t index);
    // Meets for one wall; 'standard' is the plane turned as the walls are.
    static bool MeetsWall(const CWall& wall, const CFlowPlane& standard, const CPoint& p,
                          const CPoint& d);

    std::vector<CWall> Walls;
    // By the distance of the plane turned so that its largest normal
    // component is positive, rounded to a whole unit, and by the cells of
    // space that the wall's box, grown by WALL_REACH, overlaps: a point
    // finds the walls within reach in its own cell.
    std::unordered_map<uint64_t, std::vector<int32_t>> ByPlace;
    std::vector<int32_t> Everywhere; // walls too large to list by cell
};
