#pragma once
// The compile drivers: map faces to tree, plane set, portals and flood, in
// that order, with each stage's title and time written to a log stream.
// CompileFaceSet builds with the set builder and reduces the face planes with
// MakeUniquePlanes; CompileMapData builds with the list builder and takes the
// parser's plane table, which already holds each plane once.
//
// Log of CompileFaceSet, one line each (times in seconds, as the stream
// writes a double):
//   ======= Creating tree. =======
//   Tree created in T seconds.
//   (empty line)
//   = Creating unique plane set. =
//   Set created in T seconds.
//   Original plane count:<TAB>N
//   Unique plane count:<TAB>N
//   (empty line)
//   ===== Creating portals. ======
//   Portals created in T seconds.
//   (empty line)
//   ==== Setting visibility. =====
//   Visibility set in T seconds.
// CompileMapData writes the same without the four lines of the plane set.
//
// The caller owns the portal array and the tree afterwards (FreePortals,
// then FreeTree). The outputs start null and 0. When no tree comes out the
// result is false and nothing is kept; past the tree stage *ppRoot stays set
// for the caller to free. The stages' CError goes through uncaught, with
// *ppRoot and *ppPortals holding what was made so far.
#include "compiler/build_tree.h"
#include "compiler/face_set.h"
#include "compiler/map_tables.h"
#include "compiler/portal.h"
#include "geometry/vector.h"

#include <cstdint>
#include <ostream>

// True when a portal array exists at the end. pSet must have its faces'
// pPlane filled (FillFacePlanes); the builder uses them up. portalRun says
// how the portal stage runs (threads, progress lines).
bool CompileFaceSet(CFaceSet* pSet, const CVector* pStart, CPortal** ppPortals,
                    int32_t* pPortalCount, CBuildNode** ppRoot, std::ostream& logStream,
                    const CPortalRun& portalRun = {});

// The same for the parser's CMapData; its plane table gets numbered.
bool CompileMapData(CMapData* pMapData, const CVector* pStart, CPortal** ppPortals,
                    int32_t* pPortalCount, CBuildNode** ppRoot, std::ostream& logStream,
                    const CPortalRun& portalRun = {});
