#pragma once
// A structural check that stays in every build type. On failure it prints the
// condition with the source name and line, then aborts.
#include <cstdio>
#include <cstdlib>

#define VORLANE_CHECK(cond, source)                                                   \
    do {                                                                              \
        if (!(cond)) {                                                                \
            std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", #cond,   \
                         source, __LINE__);                                           \
            std::abort();                                                             \
        }                                                                             \
    } while (0)
