#pragma once
// The frame counter the script runner and the recorder share.
#include <cstdint>

void ResetFramesRun();
void CountFrame();
