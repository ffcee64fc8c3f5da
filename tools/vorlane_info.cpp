// vorlane-info: reads a compiled map, checks it, prints its counts and
// answers point tests. The work is in viewer/map_info.
#include "viewer/map_info.h"

#include <cstdio>

int main(int argc, char** argv)
{
    return RunMapInfo(argc, argv, stdout, stderr);
}
