#pragma once
// The plug-in's class id: text built from a prefix, the four-character plug-in id and the first
// bytes of the product name, then read into the byte order of a COM-compatible TUID on every
// platform, so that projects move between systems.

#include <array>
#include <cstdint>
#include <string>

// "%06X%08X" of 0x565345 and the id, then "%02X" of each of the first 9 name bytes (0 past its
// end): 32 characters.
std::string classIdText(int32_t pluginId, const char* productName);

// Reads the 32 characters as one 32-bit number, two 16-bit numbers and eight bytes; the numbers
// are stored little-endian. False for text of any other length or with a non-hex character.
bool classIdFromText(const std::string& text, std::array<uint8_t, 16>& out);

// The id of Tessarine itself.
const std::array<uint8_t, 16>& tessarineClassId();
