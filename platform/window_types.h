#pragma once
// Handle and value types the core passes around in place of the window
// system's own, with the result convention of the device layers: a result
// counts as a failure when it is negative.
#include <cstdint>
#include <cstring>

using HWND = void*;
using HINSTANCE = void*;
using HRESULT = int32_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;

// Message box type flags the core uses.
constexpr uint32_t MB_OK = 0x00;
constexpr uint32_t MB_ICONEXCLAMATION = 0x30;

constexpr HRESULT S_OK = 0;
constexpr HRESULT DD_OK = 0;
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);

constexpr bool FAILED(HRESULT hr) { return hr < 0; }
constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};

// All 16 bytes compared.
inline bool IsEqualGUID(const GUID& a, const GUID& b)
{
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool operator==(const GUID& a, const GUID& b) { return IsEqualGUID(a, b); }

struct RECT {
    int32_t left, top, right, bottom;
};

struct POINT {
    int32_t x, y;
};
