#pragma once
// The checks on a compile's paths, made before anything is read or written,
// so that a slip on the command line can not replace a device node, write
// over the map text, hang on a pipe or leave files in a folder made by
// accident.
#include <string>

// The reason the compile must not go on, or the empty text when all is
// well; a reason about an output or log path names it:
//   - the map is a folder, or something other than a regular file (a pipe,
//     a device), which would block or mean nothing when read;
//   - the output is the map itself, or exists and is not a regular file;
//   - the output's folder or the log folder does not exist (none is made).
// A map that does not exist is left to the reading, which reports it.
std::string CheckCompilePaths(const std::string& map, const std::string& output,
                              const std::string& logDir);

// The point file of a compile: the output with the extension ".pts".
std::string PointFilePath(const std::string& output);
