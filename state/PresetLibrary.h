#pragma once
// The preset tree on disk as one cJSON object: preset files (tsi) are members holding their
// document, folders and bank files (tsb) are members holding an object of their own. Members
// are in the order the preset menu shows them, so entry i of a menu is member i of its object.

#include <string>

struct cJSON;

struct PresetEntry {
    bool isMenu;
    std::string name;
    cJSON* item;  // the document, or the object of a folder or bank; may be null
};

// Presets before folders; then by the number a name starts with (none counts as 0); then
// byte-wise.
bool presetEntryLess(const PresetEntry& a, const PresetEntry& b);

// Adds the tree under `folder` to `node`. Entries starting with a dot are skipped, names lose
// what follows their last dot, and only the exact extensions "tsi" and "tsb" count. A file that
// can't be read or parsed stays listed with a null document.
void scanPresetFolder(cJSON* node, const std::string& folder);

// A bank document's presets as one sorted list object, each member named by the preset's
// "name" (matched ignoring case). `skipDash` leaves out presets named "-". The presets are taken
// out of `bank`.
cJSON* bankPresetList(cJSON* bank, bool skipDash);

// Reads, unwraps and parses a state file; null when any step fails. `readable`, when given,
// tells whether the file itself could be read.
cJSON* readStateFile(const std::string& path, bool* readable = nullptr);
