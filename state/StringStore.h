#pragma once
// Named string values under a key path, standing in for a registry key. The key
// "SOFTWARE\Ondelane\Tessarine" is the folder $XDG_CONFIG_HOME/Ondelane/Tessarine (or
// $HOME/.config/Ondelane/Tessarine); each value is one file of that name, replaced atomically.
// Nothing here throws: failures read as an absent value or leave the stored one in place.

#include <cstddef>
#include <cstdint>
#include <string>

inline constexpr const char* kTessarineKey = "SOFTWARE\\Ondelane\\Tessarine";
inline constexpr const char* kValueGlobals = "globals";
inline constexpr const char* kValueLoadingFlags = "loadingFlags";
inline constexpr const char* kValuePath = "Path";

// $XDG_CONFIG_HOME when it is an absolute path, else $HOME/.config; empty when neither exists.
std::string configHome();

// The folder a key path maps to; a leading "SOFTWARE" is dropped. Empty without a config home.
std::string folderForKey(const char* keyPath);

class StringStore {
public:
    // The folder is fixed here, from the environment at this moment.
    explicit StringStore(const char* keyPath = kTessarineKey);

    const std::string& folder() const { return folder_; }

    // True and the whole text in `out` when the value exists, can be read and is no longer
    // than `maxBytes`; false otherwise, `out` then unchanged.
    bool read(const char* valueName, std::string* out, size_t maxBytes = 1 << 20) const;

    // Writes a temporary file beside the value and renames it over the value, creating the
    // folder first. False when any step fails; the old value then stays as it was.
    bool write(const char* valueName, const std::string& text) const;

private:
    std::string pathOf(const char* valueName) const;

    std::string folder_;
};

// "loadingFlags" is a decimal number. Read gives false when the value is absent or empty.
bool readLoadingFlags(const StringStore& store, int32_t* flags);
bool writeLoadingFlags(const StringStore& store, int32_t flags);
