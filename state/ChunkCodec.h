#pragma once
// The byte form of a saved state: the tag "ZIP " and a level-9 zlib stream of the JSON text,
// its terminating zero included. Bytes without the tag are the text itself. Also the number
// format of saved documents, which keeps normals to six decimals.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct cJSON;

inline constexpr char kChunkTag[4] = {'Z', 'I', 'P', ' '};

// The tag followed by the compressed `length` bytes of `text`. False (and `out` empty) when the
// compressor fails; the caller then hands over the text as it stands.
bool wrapChunk(const char* text, size_t length, std::vector<uint8_t>* out);

// The text a chunk holds, always zero-terminated. A tagged chunk is inflated as far as its bytes
// go; a stream that is damaged (rather than merely cut short) is not unwrapped, so its bytes
// reach the parser as they are and fail there. Returns false when nothing was unwrapped.
bool unwrapChunk(const void* data, size_t size, std::string* text);

// Parses a document; null unless the text is one JSON object.
cJSON* parseDocument(const std::string& text);

// A number as the saved documents print it: an integer plainly, a whole value beyond the
// integer range without decimals, magnitudes under 1e-6 or over 1e9 in exponent form, all else
// with six decimals. Independent of the locale.
std::string formatNumber(double value);
// Adds a number printed by formatNumber; false when the node could not be made.
bool addNumber(cJSON* object, const char* key, double value);
bool appendNumber(cJSON* array, double value);

// Reads a whole file; false when it can't be opened or read.
bool readFile(const std::string& path, std::vector<uint8_t>* out);
// Writes a whole file, replacing it; false on any failure.
bool writeFile(const std::string& path, const void* data, size_t size);
