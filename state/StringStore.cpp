#include "StringStore.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace {

bool validValueName(const char* name) {
    return name != nullptr && name[0] != '\0' && std::strchr(name, '/') == nullptr &&
           std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0;
}

bool writeAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

std::string configHome() {
    try {
        const char* xdg = std::getenv("XDG_CONFIG_HOME");
        if (xdg != nullptr && xdg[0] == '/') return xdg;
        const char* home = std::getenv("HOME");
        if (home != nullptr && home[0] != '\0') return std::string(home) + "/.config";
    } catch (...) {
    }
    return {};
}

std::string folderForKey(const char* keyPath) {
    try {
        std::string folder = configHome();
        if (folder.empty() || keyPath == nullptr) return {};
        bool first = true;
        const char* p = keyPath;
        while (*p != '\0') {
            const char* end = std::strchr(p, '\\');
            size_t length = end != nullptr ? static_cast<size_t>(end - p) : std::strlen(p);
            std::string part(p, length);
            bool skip = part.empty() || part == "." || part == ".." ||
                        (first && strcasecmp(part.c_str(), "SOFTWARE") == 0);
            if (!skip) folder += "/" + part;
            first = false;
            p += length;
            if (*p == '\\') ++p;
        }
        return folder;
    } catch (...) {
        return {};
    }
}

StringStore::StringStore(const char* keyPath) : folder_(folderForKey(keyPath)) {}

std::string StringStore::pathOf(const char* valueName) const {
    if (folder_.empty() || !validValueName(valueName)) return {};
    return folder_ + "/" + valueName;
}

bool StringStore::read(const char* valueName, std::string* out, size_t maxBytes) const {
    try {
        std::string path = pathOf(valueName);
        if (path.empty() || out == nullptr) return false;
        FILE* file = std::fopen(path.c_str(), "rb");
        if (file == nullptr) return false;
        std::string text;
        char buffer[4096];
        bool ok = true;
        for (;;) {
            size_t n = std::fread(buffer, 1, sizeof buffer, file);
            text.append(buffer, n);
            if (text.size() > maxBytes) {
                ok = false;
                break;
            }
            if (n < sizeof buffer) {
                ok = std::ferror(file) == 0;
                break;
            }
        }
        std::fclose(file);
        if (!ok) return false;
        *out = std::move(text);
        return true;
    } catch (...) {
        return false;
    }
}

bool StringStore::write(const char* valueName, const std::string& text) const {
    try {
        std::string path = pathOf(valueName);
        if (path.empty()) return false;
        std::error_code ec;
        std::filesystem::create_directories(folder_, ec);

        // Hidden and unique, in the same folder so that the rename cannot cross file systems.
        std::string temp = folder_ + "/." + valueName + ".XXXXXX";
        int fd = ::mkstemp(temp.data());
        if (fd < 0) return false;
        bool ok = writeAll(fd, text.data(), text.size()) && ::fsync(fd) == 0;
        ok = ::close(fd) == 0 && ok;
        if (ok) ok = std::rename(temp.c_str(), path.c_str()) == 0;
        if (!ok) {
            ::unlink(temp.c_str());
            return false;
        }
        int dir = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY);
        if (dir >= 0) {
            ::fsync(dir);
            ::close(dir);
        }
        return true;
    } catch (...) {
        return false;
    }
}

bool readLoadingFlags(const StringStore& store, int32_t* flags) {
    std::string text;
    if (!store.read(kValueLoadingFlags, &text, 64) || text.empty() || flags == nullptr) return false;
    *flags = static_cast<int32_t>(std::strtoll(text.c_str(), nullptr, 10));
    return true;
}

bool writeLoadingFlags(const StringStore& store, int32_t flags) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", flags);
    return store.write(kValueLoadingFlags, text);
}
