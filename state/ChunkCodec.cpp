#include "ChunkCodec.h"

#include <cjson/cJSON.h>
#include <zlib.h>

#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <algorithm>
#include <fstream>
#include <thread>

namespace {

constexpr size_t kSlice = 8192;

}  // namespace

namespace {

constexpr size_t kWindow = 32768;
// Below this a text is compressed in one piece; above it the pieces run on threads of their own.
constexpr size_t kParallelFrom = 96 * 1024;

// text[from, to) as raw deflate at level 9, primed with the window before `from` so matches
// reach back across the seam as in one stream; a sync flush ends every piece but the last.
bool deflatePiece(const char* text, size_t from, size_t to, bool last, std::vector<uint8_t>* out) {
    out->clear();
    z_stream zs{};
    if (deflateInit2(&zs, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) return false;
    const size_t primed = std::min(from, kWindow);
    if (primed > 0 &&
        deflateSetDictionary(&zs, reinterpret_cast<const Bytef*>(text + from - primed), uInt(primed)) != Z_OK) {
        deflateEnd(&zs);
        return false;
    }
    std::array<uint8_t, kSlice> block;
    size_t consumed = from;
    int status = Z_OK;
    do {
        const size_t slice = std::min(kSlice, to - consumed);
        zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text + consumed));
        zs.avail_in = uInt(slice);
        consumed += slice;
        const int flush = consumed < to ? Z_NO_FLUSH : (last ? Z_FINISH : Z_SYNC_FLUSH);
        do {
            zs.next_out = block.data();
            zs.avail_out = uInt(block.size());
            status = deflate(&zs, flush);
            if (status == Z_STREAM_ERROR) break;
            out->insert(out->end(), block.data(), block.data() + (block.size() - zs.avail_out));
        } while (zs.avail_out == 0);
    } while (consumed < to && status != Z_STREAM_ERROR);
    deflateEnd(&zs);
    return last ? status == Z_STREAM_END : status == Z_OK || status == Z_BUF_ERROR;
}

}  // namespace

// One zlib stream (header for level 9, the deflate data, the Adler-32 of the text). Level 9 is
// slow on a large bank, so a large text is cut into pieces compressed side by side, each primed
// with the text before it; the result is still a single ordinary stream.
bool wrapChunk(const char* text, size_t length, std::vector<uint8_t>* out) {
    out->clear();
    size_t pieces = 1;
    if (length >= kParallelFrom) pieces = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 4);
    std::vector<std::vector<uint8_t>> parts(pieces);
    std::vector<char> ok(pieces, 0);
    const auto run = [&](size_t i) {
        const size_t from = length * i / pieces, to = length * (i + 1) / pieces;
        ok[i] = deflatePiece(text, from, to, i + 1 == pieces, &parts[i]);
    };
    std::vector<std::thread> workers;
    for (size_t i = 1; i < pieces; ++i) {
        try {
            workers.emplace_back(run, i);
        } catch (...) {
            run(i);
        }
    }
    run(0);
    for (std::thread& t : workers) t.join();
    for (char good : ok)
        if (!good) return false;

    const uLong adler = adler32(adler32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(text), uInt(length));
    out->assign(kChunkTag, kChunkTag + 4);
    out->push_back(0x78);
    out->push_back(0xDA);
    for (const auto& part : parts) out->insert(out->end(), part.begin(), part.end());
    for (int shift = 24; shift >= 0; shift -= 8) out->push_back(uint8_t(adler >> shift));
    return true;
}

bool unwrapChunk(const void* data, size_t size, std::string* text) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    text->clear();
    if (bytes == nullptr) return false;
    bool unwrapped = false;
    if (size >= 4 && std::memcmp(bytes, kChunkTag, 4) == 0) {
        z_stream zs{};
        if (inflateInit(&zs) == Z_OK) {
            std::array<uint8_t, kSlice> block;
            size_t offset = 4;
            bool failed = false, ended = false;
            while (!failed && !ended && offset < size) {
                const size_t slice = std::min(kSlice, size - offset);
                zs.next_in = const_cast<Bytef*>(bytes + offset);
                zs.avail_in = uInt(slice);
                offset += slice;
                do {
                    zs.next_out = block.data();
                    zs.avail_out = uInt(block.size());
                    const int status = inflate(&zs, Z_NO_FLUSH);
                    if (status == Z_NEED_DICT || status == Z_STREAM_ERROR || status == Z_DATA_ERROR ||
                        status == Z_MEM_ERROR) {
                        failed = true;
                        break;
                    }
                    text->append(reinterpret_cast<const char*>(block.data()), block.size() - zs.avail_out);
                    if (status == Z_STREAM_END) {
                        ended = true;
                        break;
                    }
                    // A full block means there may be more output for this slice.
                } while (zs.avail_out == 0);
            }
            inflateEnd(&zs);
            unwrapped = !failed;
            if (failed) text->clear();
        }
    }
    if (!unwrapped) text->assign(reinterpret_cast<const char*>(bytes), size);
    // The text ends at its first zero; without one, end it here.
    const size_t zero = text->find('\0');
    if (zero != std::string::npos) text->resize(zero);
    return unwrapped;
}

cJSON* parseDocument(const std::string& text) {
    cJSON* doc = cJSON_ParseWithLength(text.c_str(), text.size());
    if (doc != nullptr && !cJSON_IsObject(doc)) {
        cJSON_Delete(doc);
        return nullptr;
    }
    return doc;
}

std::string formatNumber(double value) {
    if (!std::isfinite(value)) return "0";
    char buffer[400];
    std::to_chars_result r;
    if (value >= INT_MIN && value <= INT_MAX && std::fabs(double(int(value)) - value) <= 2.220446049250313e-16) {
        r = std::to_chars(buffer, buffer + sizeof buffer, int(value));
    } else if (std::fabs(std::floor(value) - value) <= 2.220446049250313e-16 && std::fabs(value) < 1.0e60) {
        r = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 0);
    } else if (std::fabs(value) < 1.0e-6 || std::fabs(value) > 1.0e9) {
        r = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific, 6);
    } else {
        r = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 6);
    }
    return std::string(buffer, r.ptr);
}

bool addNumber(cJSON* object, const char* key, double value) {
    return cJSON_AddRawToObject(object, key, formatNumber(value).c_str()) != nullptr;
}

bool appendNumber(cJSON* array, double value) {
    cJSON* item = cJSON_CreateRaw(formatNumber(value).c_str());
    return item != nullptr && cJSON_AddItemToArray(array, item);
}

bool readFile(const std::string& path, std::vector<uint8_t>* out) {
    out->clear();
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0) return false;
    in.seekg(0, std::ios::beg);
    out->resize(size_t(size));
    if (size > 0 && !in.read(reinterpret_cast<char*>(out->data()), size)) {
        out->clear();
        return false;
    }
    return true;
}

bool writeFile(const std::string& path, const void* data, size_t size) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(static_cast<const char*>(data), std::streamsize(size));
    return bool(out.flush());
}
