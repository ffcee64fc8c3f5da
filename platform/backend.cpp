#include "platform/backend.h"

#include "platform/null_backend.h"

namespace {

IPlatformBackend* g_pBackend = nullptr;

} // namespace

IPlatformBackend* GetPlatformBackend()
{
    return g_pBackend ? g_pBackend : GetNullBackend();
}

void SetPlatformBackend(IPlatformBackend* pBackend)
{
    g_pBackend = pBackend;
}
