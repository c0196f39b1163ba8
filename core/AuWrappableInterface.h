#pragma once
// The second base of the effect: what a wrapper asks beyond the VST 2 shape.

#include <cstdint>

class AuWrappableInterface {
public:
    virtual ~AuWrappableInterface() = default;
    // The parameter's default normal; 0 outside the table.
    virtual float defaultNormal(int32_t index) = 0;
};
