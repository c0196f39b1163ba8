#pragma once
// The A/B slot controls without a window: a slot chosen from the menu, the toggle with its
// three modes, and "Copy to". The editor drives one of these; tests drive it directly.

#include <cstdint>

#include "EditorState.h"
#include "PlugBase.h"

enum ABToggleMode : int32_t { kToggleLastTwo = 0, kToggleVisited = 1, kToggleNonempty = 2 };

class ABSwitcher {
public:
    ABSwitcher(PlugBase& effect, EditorState& state) : effect(effect), state(state) {}

    // The editor opened: only the current slot counts as visited.
    void open();
    // A slot picked from the menu.
    void choose(int32_t slot);
    // A click on the menu without opening it. Returns the slot now selected, which the menu
    // shows.
    int32_t toggle(int32_t mode);
    void copyTo(int32_t slot) { effect.copyToAB(slot); }

private:
    // kABBank moved to a slot as one complete gesture, as a host records it.
    void moveTo(int32_t slot);
    bool slotHasBands() const;

    PlugBase& effect;
    EditorState& state;
};
