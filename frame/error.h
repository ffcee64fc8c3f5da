#pragma once
// CError: the one exception class of the system. It carries a message, a
// caption and a message box type, and can write a log file of texts with
// their terminating zero bytes.
#include "platform/window_types.h"

#include <cstdint>

constexpr uint32_t ERROR_DEFAULT_BOX_TYPE = MB_ICONEXCLAMATION | MB_OK; // 48
constexpr const char* ERROR_DEFAULT_TITLE = "Error:";
constexpr const char* ERROR_LOG_NAME = "ERRORLOG.TXT";
constexpr int INVALID_FILE_HANDLE = -1;

class CError {
public:
    explicit CError(const char* pszMessage = nullptr, const char* pszTitle = nullptr,
                    uint32_t nBoxType = 0);
    // The copy owns its own strings and has no log open, so that each object
    // frees only what it owns; catching by value relies on this.
    CError(const CError& other);
    CError& operator=(const CError&) = delete;
    virtual ~CError();

    CError& SetMessage(const char* pszText);
    CError& SetTitle(const char* pszText);
    CError& SetBoxType(uint32_t nType);

    int ShowMessageBox(HWND hWnd) const;

    bool OpenLog(const char* pszFileName, bool bWriteHeader);
    void CloseLog();
    bool WriteLog(const char* pszText);

    const char* GetMessage() const { return pszMessage; }
    const char* GetTitle() const { return pszTitle; }
    uint32_t GetBoxType() const { return nBoxType; }
    int GetLogFile() const { return hLogFile; }

private:
    char* pszMessage = nullptr;
    char* pszTitle = nullptr;
    uint32_t nBoxType = ERROR_DEFAULT_BOX_TYPE;
    int hLogFile = INVALID_FILE_HANDLE;
};
