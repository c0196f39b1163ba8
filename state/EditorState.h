#pragma once
// What the editor keeps for the whole life of an effect, whether or not its window is open:
// the instance's UI settings document and the fields saved beside it in a state.
// The effect holds one until the editor object exists to own it.

#include <cstdint>
#include <string>

#include "UISettings.h"

struct EditorState {
    UISettings ui;
    // The slot the A/B toggle goes to; saved with a bank.
    int32_t lastAB = 1;
    // Slots visited since the editor opened, one bit each.
    uint32_t abVisited = 1;

    bool analyserOn = false;
    bool metersPre = false;
    int32_t analyserType = 0;
    // A source packs the channel in its low 8 bits and, above them, the position of another
    // instance in the list of others plus one (0: this instance). The names are kept beside
    // them so a project can find its sources again when the instance list has changed.
    int32_t analyserSource[2] = {0, 1};
    std::string analyserSourceInstance[2];

    // The Default Bank did not exist when the effect was made: the first-run wizard is due.
    bool wizardPending = false;
};
