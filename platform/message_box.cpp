#include "platform/message_box.h"

#include <cstdio>
#include <utility>

namespace {

constexpr int ID_OK = 1;

int StandardErrorBox(HWND, const char* pszText, const char* pszCaption, uint32_t)
{
    const char* pszCap = pszCaption ? pszCaption : "";
    const char* pszMsg = pszText ? pszText : "";
    if (*pszCap)
        std::fprintf(stderr, "%s %s\n", pszCap, pszMsg);
    else
        std::fprintf(stderr, "%s\n", pszMsg);
    std::fflush(stderr);
    return ID_OK;
}

MessageBoxHandler& CurrentHandler()
{
    static MessageBoxHandler handler = StandardErrorBox;
    return handler;
}

} // namespace

int PlatformMessageBox(HWND hWnd, const char* pszText, const char* pszCaption, uint32_t nType)
{
    return CurrentHandler()(hWnd, pszText, pszCaption, nType);
}

MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler)
{
    MessageBoxHandler old = std::move(CurrentHandler());
    CurrentHandler() = handler ? std::move(handler) : MessageBoxHandler(StandardErrorBox);
    return old;
}
