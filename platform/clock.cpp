#include "platform/clock.h"

#include "platform/backend.h"

namespace {

bool g_bFixedStep = false;
uint32_t g_nStepMs = 0;
uint32_t g_nFixedNow = 0;
bool g_bFirstRead = true;

} // namespace

uint32_t PlatformClock()
{
    if (!g_bFixedStep)
        return GetPlatformBackend()->Milliseconds();
    // The first read gives 0, each later one a step more.
    if (g_bFirstRead)
        g_bFirstRead = false;
    else
        g_nFixedNow += g_nStepMs;
    return g_nFixedNow;
}

void SetFixedStepClock(uint32_t nStepMs)
{
    g_bFixedStep = true;
    g_nStepMs = nStepMs;
    g_nFixedNow = 0;
    g_bFirstRead = true;
}

void SetRealClock()
{
    g_bFixedStep = false;
}
