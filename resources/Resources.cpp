#include "Resources.h"

#include <strings.h>

#include <cstdio>

#include "ResourceTable.h"

bool findResource(const char* type, const char* name, ResourceData* out) {
    if (type == nullptr || name == nullptr) return false;
    for (size_t i = 0; i < kResourceEntryCount; ++i) {
        const ResourceEntry& entry = kResourceEntries[i];
        if (strcasecmp(entry.type, type) == 0 && strcasecmp(entry.name, name) == 0) {
            if (out != nullptr) *out = ResourceData{entry.data, entry.size};
            return true;
        }
    }
    return false;
}

bool findResource(const char* type, int id, ResourceData* out) {
    char name[16];
    std::snprintf(name, sizeof name, "%d", id);
    return findResource(type, name, out);
}
