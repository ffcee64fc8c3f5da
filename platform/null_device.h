#pragma once
// The recording 3D device of the null backend, and what tests can ask of
// it: every state it was given, the textures bound per stage and the draws
// with copies of their vertices. Calls are also written to the call log of
// platform/null_backend.h.
#include "platform/ddraw.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

constexpr uint32_t NULL_DEVICE_STAGES = 8;

struct CNullDraw {
    uint32_t nType;
    uint32_t nFvf;
    uint32_t nCount;
    uint32_t nFlags;
    std::vector<uint8_t> Vertices; // nCount records of the format's size
};

struct CNullDeviceState {
    std::map<uint32_t, uint32_t> RenderStates;
    // Keyed by (stage, state).
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> StageStates;
    // Bound per stage, null when none; the device holds a reference.
    IDirectDrawSurface7* Textures[NULL_DEVICE_STAGES] = {};
    // Indexed by D3DTRANSFORMSTATETYPE; identity from the making of a device.
    D3DMATRIX Transforms[4] = {};
    D3DVIEWPORT7 Viewport = {};
    float fClearZ = 0.0f; // the depth the z-buffer was cleared to last
    D3DMATERIAL7 Material = {};
    std::map<uint32_t, D3DLIGHT7> Lights;
    std::map<uint32_t, bool> LightEnabled;
    std::vector<CNullDraw> Draws;
    int nScenes = 0;       // BeginScene calls that succeeded
    bool bInScene = false;

    // The value last set, or nDefault when never set.
    uint32_t RenderState(uint32_t nState, uint32_t nDefault = 0) const;
    uint32_t StageState(uint32_t nStage, uint32_t nState, uint32_t nDefault = 0) const;
};

// The state of the null device made last; reset by ResetNullBackend and
// when a device is made.
CNullDeviceState& GetNullDeviceState();

// A call log line: the name and the numbers in decimal, one blank apart.
std::string NullCallLine(const char* pszName, std::initializer_list<int64_t> numbers);

// Bytes of one vertex of a format the devices draw, or 0 for another format.
uint32_t VertexSize(uint32_t nFvf);

// A recording device with these caps. Used by the null IDirect3D7; it keeps
// no hold on its target, which goes with its flip chain.
IDirect3DDevice7* CreateNullDevice(const D3DDEVICEDESC7& caps);
