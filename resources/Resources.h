#pragma once
// Data files compiled into the module, found by type ("JSON", "PNG", "XML", "TTF", ...) and
// name, both compared ignoring case. A resource's bytes are followed by a zero byte that `size`
// does not count, so a text resource is also a C string.

#include <cstddef>

struct ResourceData {
    const unsigned char* data;
    size_t size;
};

// Fills `out` and returns true when the resource exists; leaves `out` alone otherwise.
bool findResource(const char* type, const char* name, ResourceData* out);

// Resources named by a number, as the UI description refers to some of them: the name is the
// number in decimal (a file "101.png" is PNG 101).
bool findResource(const char* type, int id, ResourceData* out);
