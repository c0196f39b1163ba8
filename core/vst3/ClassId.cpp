#include "ClassId.h"

#include <cstdio>
#include <cstring>

#include "VstTypes.h"

std::string classIdText(int32_t pluginId, const char* productName) {
    char text[33];
    std::snprintf(text, sizeof text, "%06X%08X", 0x565345u, uint32_t(pluginId));
    const size_t nameLength = std::strlen(productName);
    for (size_t i = 0; i < 9; ++i)
        std::snprintf(text + 14 + 2 * i, 3, "%02X", i < nameLength ? unsigned(uint8_t(productName[i])) : 0u);
    return text;
}

namespace {

bool readHex(const std::string& text, size_t first, size_t count, uint64_t& out) {
    out = 0;
    for (size_t i = first; i < first + count; ++i) {
        const char c = text[i];
        int digit;
        if (c >= '0' && c <= '9') digit = c - '0';
        else if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        else if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        else return false;
        out = out * 16 + uint64_t(digit);
    }
    return true;
}

} // namespace

bool classIdFromText(const std::string& text, std::array<uint8_t, 16>& out) {
    if (text.size() != 32) return false;
    uint64_t l1, s1, s2;
    if (!readHex(text, 0, 8, l1) || !readHex(text, 8, 4, s1) || !readHex(text, 12, 4, s2)) return false;
    std::array<uint8_t, 16> id{};
    for (int i = 0; i < 4; ++i) id[size_t(i)] = uint8_t(l1 >> (8 * i));
    id[4] = uint8_t(s1);
    id[5] = uint8_t(s1 >> 8);
    id[6] = uint8_t(s2);
    id[7] = uint8_t(s2 >> 8);
    for (size_t i = 0; i < 8; ++i) {
        uint64_t byte;
        if (!readHex(text, 16 + 2 * i, 2, byte)) return false;
        id[8 + i] = uint8_t(byte);
    }
    out = id;
    return true;
}

const std::array<uint8_t, 16>& tessarineClassId() {
    static const std::array<uint8_t, 16> id = [] {
        std::array<uint8_t, 16> bytes{};
        classIdFromText(classIdText(fourCharacters('T', 's', 'R', 'n'), "Tessarine"), bytes);
        return bytes;
    }();
    return id;
}
