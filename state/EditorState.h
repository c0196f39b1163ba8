#pragma once
// What the editor keeps for the whole life of an effect, whether or not its window is open:
// the instance's UI settings document (and, with the state chunk, the fields saved beside it).
// The effect holds one until the editor object exists to own it.

#include <cstdint>

#include "UISettings.h"

struct EditorState {
    UISettings ui;
    // The slot the A/B toggle goes to; saved with a bank.
    int32_t lastAB = 1;
    // Slots visited since the editor opened, one bit each.
    uint32_t abVisited = 1;
};
