#pragma once
// The whole map compile, from map text to compiled map file, as the
// vorlane-compile tool runs it:
//
//   1. read the map text (and its entities, for the start location);
//   2. move the map so that the start location is the origin (every face
//      vertex, every plane, every texture offset), unless told to keep it;
//   3. build, portal and flood with the chosen builder, keep the faces of
//      the reached leaves, and build, portal and flood again from those
//      alone, so that the faces turned to the void are gone and everything
//      outside the world is solid;
//   4. light every face of every reached leaf by the light list and the
//      light entities, each leaf's light reaching the leaves it sees, or
//      write full-bright lightmaps when there is neither;
//   5. number nodes and leaves, pool the vertices and write the file, through
//      a temporary file that is renamed into place.
//
// Stage lines with their times go to out (with -q only when the compile
// fails); messages and warnings go to err.
#include "compiler/compile_options.h"

#include <ostream>

// Runs the compile; the result is the tool's exit code (COMPILE_EXIT_OK, or
// COMPILE_EXIT_FAILED with a message naming the file on err). The fixed logs
// land in the log directory; the drive root is restored on return.
int RunCompile(const CCompileOptions& options, std::ostream& out, std::ostream& err);
