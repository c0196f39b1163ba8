#include "ABSwitcher.h"

void ABSwitcher::open() { state.abVisited = 1u << (effect.getCurrentAB() & 7); }

void ABSwitcher::moveTo(int32_t slot) {
    effect.beginEdit(kABBank);
    effect.setParameterAutomated(kABBank, float(slot) / 7.0f);
    effect.endEdit(kABBank);
}

void ABSwitcher::choose(int32_t slot) {
    if (slot < 0 || slot >= kNumABSlots) return;
    state.abVisited |= 1u << slot;
    state.lastAB = effect.getCurrentAB();
    moveTo(slot);
}

bool ABSwitcher::slotHasBands() const {
    for (int32_t b = 0; b < kNumBands; ++b)
        if (effect.paramValue(bandParam(b, kKindState)) != 0.0f) return true;
    return false;
}

int32_t ABSwitcher::toggle(int32_t mode) {
    const int32_t current = effect.getCurrentAB();
    if (mode == kToggleVisited) {
        state.abVisited |= 1u << current;
        int32_t next = current + 1;
        while (!(state.abVisited & (1u << (next % kNumABSlots)))) ++next;
        state.lastAB = next % kNumABSlots;
    } else if (mode == kToggleNonempty) {
        // Each probe is a real switch: a slot's bands are read from the live table.
        state.lastAB = current;
        do {
            state.lastAB = (state.lastAB + 1) % kNumABSlots;
            effect.selectAB(state.lastAB);
        } while (state.lastAB != current && !slotHasBands());
    }
    const int32_t target = state.lastAB;
    moveTo(target);
    // Leaving a slot makes it the way back: two slots alternate in the first mode.
    state.lastAB = current;
    return target;
}
