#pragma once
// The process clock the transfer's time buckets are cut from: milliseconds since an arbitrary
// start, wrapping at 32 bits.

#include <cstdint>

uint32_t processClockMs();

// Replaces the clock (null restores the steady clock), so that time-dependent paths can be
// driven step by step.
void setProcessClockSource(uint32_t (*source)());
