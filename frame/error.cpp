#include "frame/error.h"

#include "platform/files.h"
#include "platform/message_box.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

// A malloc'd copy of the text, or null when the text is null or memory fails.
char* CopyText(const char* pszText)
{
    if (!pszText)
        return nullptr;
    size_t nLength = std::strlen(pszText) + 1;
    char* pszCopy = static_cast<char*>(std::malloc(nLength));
    if (pszCopy)
        std::memcpy(pszCopy, pszText, nLength);
    return pszCopy;
}

// Writes the text with its terminating zero; the result is not looked at.
void WriteText(int hFile, const char* pszText)
{
    size_t nLength = std::strlen(pszText) + 1;
    ssize_t nWritten = ::write(hFile, pszText, nLength);
    (void)nWritten;
}

} // namespace

CError::CError(const char* pszMessageIn, const char* pszTitleIn, uint32_t nBoxTypeIn)
    : pszMessage(CopyText(pszMessageIn)),
      pszTitle(CopyText(pszTitleIn ? pszTitleIn : ERROR_DEFAULT_TITLE)),
      nBoxType(nBoxTypeIn ? nBoxTypeIn : ERROR_DEFAULT_BOX_TYPE)
{
}

CError::CError(const CError& other)
    : pszMessage(CopyText(other.pszMessage)),
      pszTitle(CopyText(other.pszTitle)),
      nBoxType(other.nBoxType)
{
}

CError::~CError()
{
    std::free(pszMessage);
    std::free(pszTitle);
    pszMessage = nullptr;
    pszTitle = nullptr;
    CloseLog();
}

CError& CError::SetMessage(const char* pszText)
{
    std::free(pszMessage);
    pszMessage = CopyText(pszText);
    return *this;
}

CError& CError::SetTitle(const char* pszText)
{
    std::free(pszTitle);
    pszTitle = CopyText(pszText);
    return *this;
}

CError& CError::SetBoxType(uint32_t nType)
{
    nBoxType = nType;
    return *this;
}

int CError::ShowMessageBox(HWND hWnd) const
{
    return PlatformMessageBox(hWnd, pszMessage, pszTitle, nBoxType);
}

bool CError::OpenLog(const char* pszFileName, bool bWriteHeader)
{
    CloseLog();
    // Through the file layer, so that "C:\" names its root as everywhere.
    hLogFile = CreateFileWrite(pszFileName);
    if (hLogFile == INVALID_FILE_HANDLE)
        return false;
    if (bWriteHeader) {
        if (pszTitle)
            WriteText(hLogFile, pszTitle);
        if (pszMessage)
            WriteText(hLogFile, pszMessage);
    }
    return true;
}

void CError::CloseLog()
{
    if (hLogFile != INVALID_FILE_HANDLE)
        ::close(hLogFile);
    hLogFile = INVALID_FILE_HANDLE;
}

bool CError::WriteLog(const char* pszText)
{
    if (hLogFile == INVALID_FILE_HANDLE)
        return false;
    if (pszText)
        WriteText(hLogFile, pszText);
    return true;
}
