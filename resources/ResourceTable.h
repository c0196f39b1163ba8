#pragma once
// The table written at build time by EmbedResources.cmake.

#include <cstddef>

struct ResourceEntry {
    const char* type;
    const char* name;
    const unsigned char* data;
    size_t size;
};

extern const ResourceEntry kResourceEntries[];
extern const size_t kResourceEntryCount;
