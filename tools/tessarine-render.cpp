// tessarine-render: runs an audio file through the equaliser (or another VST 3 effect) offline,
// and plots the plug-in's frequency response.

#include "PluginHost.h"

#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using tess::host::HostError;
using tess::host::PluginHost;

namespace {

constexpr double kPi = 3.14159265358979323846;
// Longer than the slowest rebuild slot of the equaliser (50 ms in FIR mode).
constexpr int kSettleMs = 120;
constexpr double kPrerollSeconds = 0.1;

struct Options {
    std::string plugin, preset, program, input, output, response;
    std::vector<std::string> sets;
    int block = 512;
    double rate = 0.0; // for --measure-response without an input
    bool trimLatency = false, listParams = false, listPrograms = false, dbl = false;
};

void usage(FILE* to) {
    std::fprintf(to,
        "usage: tessarine-render [options] input.(wav|flac|aiff) output.(wav|flac|aiff)\n"
        "       tessarine-render [options] --measure-response response.png [input output]\n"
        "options:\n"
        "  --plugin PATH          VST 3 bundle or .so (default: Tessarine beside this tool,\n"
        "                         else ~/.vst3/Tessarine.vst3)\n"
        "  --preset FILE          load a preset or bank (.tsi, .tsb) first\n"
        "  --program NAME         select a program of the current bank by name\n"
        "  --set \"NAME=VALUE\"     set a parameter in display units (repeatable), e.g.\n"
        "                         --set \"Band1 Frequency=2k\" --set \"Band1 Gain=6\"\n"
        "  --block N              block size in frames (default 512)\n"
        "  --double               process in 64-bit floating point\n"
        "  --trim-latency         remove the plug-in's latency: the output lines up with the\n"
        "                         input and has its length\n"
        "                         (the plug-in always hears 0.1 s of silence first, so that its\n"
        "                         settings have settled when the file starts)\n"
        "  --measure-response PNG plot magnitude and phase of the plug-in's response\n"
        "  --rate HZ              sample rate of the measurement without an input (48000)\n"
        "  --list-params          list parameters with their ranges and exit\n"
        "  --list-programs        list the programs of the current bank and exit\n"
        "  --help                 this text\n");
}

// Errors the user can fix; exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Options parse(int argc, char** argv) {
    Options o;
    std::vector<std::string> files;
    auto value = [&](int& i, const char* name) -> std::string {
        if (i + 1 >= argc) throw UsageError(std::string(name) + " needs a value");
        return argv[++i];
    };
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            usage(stdout);
            std::exit(0);
        } else if (a == "--plugin") o.plugin = value(i, "--plugin");
        else if (a == "--preset") o.preset = value(i, "--preset");
        else if (a == "--program") o.program = value(i, "--program");
        else if (a == "--set") o.sets.push_back(value(i, "--set"));
        else if (a == "--measure-response") o.response = value(i, "--measure-response");
        else if (a == "--block" || a == "--rate") {
            const std::string v = value(i, a.c_str());
            char* end = nullptr;
            const double x = std::strtod(v.c_str(), &end);
            if (end == v.c_str() || *end || !(x >= 1.0))
                throw UsageError(a + ": \"" + v + "\" is not a positive number");
            if (a == "--block") {
                if (x > 65536 || x != std::floor(x)) throw UsageError("--block: 1 to 65536 frames");
                o.block = int(x);
            } else {
                if (x < 8000 || x > 768000) throw UsageError("--rate: 8000 to 768000 Hz");
                o.rate = x;
            }
        } else if (a == "--trim-latency") o.trimLatency = true;
        else if (a == "--double") o.dbl = true;
        else if (a == "--list-params") o.listParams = true;
        else if (a == "--list-programs") o.listPrograms = true;
        else if (a.size() > 1 && a[0] == '-') throw UsageError("unknown option " + a);
        else files.push_back(a);
    }
    const bool listing = o.listParams || o.listPrograms;
    if (files.size() == 2) {
        o.input = files[0];
        o.output = files[1];
    } else if (!(files.empty() && (listing || !o.response.empty()))) {
        throw UsageError(files.size() > 2 ? "too many file names" : "an input and an output file are needed");
    }
    return o;
}

fs::path selfDir() {
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path() : exe.parent_path();
}

fs::path defaultPlugin() {
    std::vector<fs::path> places;
    const fs::path here = selfDir();
    if (!here.empty()) {
        places.push_back(here.parent_path() / "bundle" / "Tessarine.vst3"); // <build>/tools/..
        places.push_back(here / "bundle" / "Tessarine.vst3");
    }
    if (const char* home = std::getenv("HOME")) places.push_back(fs::path(home) / ".vst3" / "Tessarine.vst3");
    std::error_code ec;
    for (const auto& p : places)
        if (fs::exists(p / "Contents" / "x86_64-linux" / "Tessarine.so", ec)) return p;
    throw UsageError("Tessarine.vst3 not found beside this tool nor in ~/.vst3; use --plugin PATH");
}

std::string lower(std::string s) {
    for (char& c : s) c = char(std::tolower((unsigned char)c));
    return s;
}

// ---- audio files

struct Audio {
    int channels = 0;
    double rate = 0;
    int format = 0;
    std::vector<std::vector<float>> data; // per channel
    sf_count_t frames() const { return data.empty() ? 0 : sf_count_t(data[0].size()); }
};

Audio readAudio(const std::string& path) {
    std::error_code ec;
    if (!fs::exists(path, ec)) throw UsageError(path + ": no such file");
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) throw UsageError(path + ": " + sf_strerror(nullptr));
    if (info.channels < 1 || info.channels > 8) {
        sf_close(f);
        throw UsageError(path + ": " + std::to_string(info.channels) + " channels; 1 to 8 are supported");
    }
    Audio a;
    a.channels = info.channels;
    a.rate = info.samplerate;
    a.format = info.format;
    std::vector<float> inter(size_t(info.frames) * size_t(info.channels));
    const sf_count_t got = sf_readf_float(f, inter.data(), info.frames);
    sf_close(f);
    a.data.assign(static_cast<size_t>(a.channels), std::vector<float>(size_t(std::max<sf_count_t>(got, 0))));
    for (sf_count_t i = 0; i < got; ++i)
        for (int c = 0; c < a.channels; ++c) a.data[size_t(c)][size_t(i)] = inter[size_t(i * a.channels + c)];
    return a;
}

int outputFormat(const std::string& path) {
    const std::string ext = lower(fs::path(path).extension().string());
    if (ext == ".wav") return SF_FORMAT_WAV | SF_FORMAT_FLOAT; // no clipping after a boost
    if (ext == ".flac") return SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
    if (ext == ".aiff" || ext == ".aif") return SF_FORMAT_AIFF | SF_FORMAT_PCM_24;
    throw UsageError(path + ": the output must end in .wav, .flac or .aiff");
}

void writeAudio(const std::string& path, const Audio& a) {
    SF_INFO info{};
    info.channels = a.channels;
    info.samplerate = int(a.rate);
    info.format = outputFormat(path);
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    // FLAC and AIFF are integer formats: clip rather than wrap.
    sf_command(f, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    const sf_count_t n = a.frames();
    std::vector<float> inter(size_t(n) * size_t(a.channels));
    for (sf_count_t i = 0; i < n; ++i)
        for (int c = 0; c < a.channels; ++c) inter[size_t(i * a.channels + c)] = a.data[size_t(c)][size_t(i)];
    const sf_count_t put = sf_writef_float(f, inter.data(), n);
    sf_close(f);
    if (put != n) throw std::runtime_error(path + ": write failed");
}

// ---- progress

struct Progress {
    bool on = isatty(STDERR_FILENO) == 1;
    int last = -1;
    void show(double done) {
        if (!on) return;
        const int pct = int(done * 100.0);
        if (pct == last) return;
        last = pct;
        char bar[41];
        const int fill = pct * 40 / 100;
        for (int i = 0; i < 40; ++i) bar[i] = i < fill ? '#' : '.';
        bar[40] = 0;
        std::fprintf(stderr, "\r[%s] %3d%%", bar, pct);
        if (pct >= 100) std::fprintf(stderr, "\n");
        std::fflush(stderr);
    }
};

// ---- processing

// Runs `in` through the plug-in; with `trim` the output starts `latency` frames later and the
// tail is flushed with silence, so it lines up with the input. The plug-in first hears a short
// silence, which it leaves silent: its filters glide to new settings after a start, and the
// file should meet them settled.
template <typename T>
std::vector<std::vector<T>> render(PluginHost& host, const std::vector<std::vector<T>>& in, bool trim, Progress* progress) {
    const int ch = host.config().channels;
    const int block = host.config().maxBlock;
    const size_t n = in.empty() ? 0 : in[0].size();
    const size_t preroll = size_t(kPrerollSeconds * host.config().sampleRate);
    {
        std::vector<std::vector<T>> zeros(static_cast<size_t>(ch), std::vector<T>(static_cast<size_t>(block)));
        std::vector<T*> zp(static_cast<size_t>(ch));
        for (int c = 0; c < ch; ++c) zp[size_t(c)] = zeros[size_t(c)].data();
        for (size_t pos = 0; pos < preroll; pos += size_t(block)) {
            const int len = int(std::min(size_t(block), preroll - pos));
            host.process(zp.data(), zp.data(), len);
            for (auto& z : zeros) std::fill(z.begin(), z.end(), T(0));
        }
    }
    const size_t skip = trim ? size_t(std::max(host.latencySamples(), 0)) : 0;
    const size_t total = n + skip;
    std::vector<std::vector<T>> out(static_cast<size_t>(ch), std::vector<T>(n));
    std::vector<std::vector<T>> ib(static_cast<size_t>(ch), std::vector<T>(static_cast<size_t>(block))), ob = ib;
    std::vector<T*> ip(static_cast<size_t>(ch)), op(static_cast<size_t>(ch));
    for (int c = 0; c < ch; ++c) ip[size_t(c)] = ib[size_t(c)].data(), op[size_t(c)] = ob[size_t(c)].data();
    for (size_t pos = 0; pos < total; pos += size_t(block)) {
        const size_t len = std::min(size_t(block), total - pos);
        for (int c = 0; c < ch; ++c) {
            for (size_t k = 0; k < len; ++k) ib[size_t(c)][k] = pos + k < n ? in[size_t(c)][pos + k] : T(0);
        }
        host.process(ip.data(), op.data(), int(len));
        for (int c = 0; c < ch; ++c) {
            for (size_t k = 0; k < len; ++k) {
                const size_t at = pos + k;
                if (at >= skip && at - skip < n) out[size_t(c)][at - skip] = ob[size_t(c)][k];
            }
        }
        if (progress) progress->show(double(pos + len) / double(total));
    }
    return out;
}

struct Setting {
    uint32_t id;
    double normal;
};

void start(PluginHost& host, const tess::host::ProcessConfig& cfg, const std::vector<Setting>& settings) {
    host.start(cfg);
    for (const auto& s : settings) host.setParam(s.id, s.normal);
    host.settle(kSettleMs);
    // A module whose latency changed asks for a restart; the settings stay with it.
    if (host.takeRestartRequest()) host.start(cfg);
}

// ---- response plot

struct Response {
    std::vector<double> hz, db, deg;
};

Response measure(PluginHost& host, tess::host::ProcessConfig cfg, const std::vector<Setting>& settings) {
    cfg.channels = 2;
    start(host, cfg, settings);
    // Long enough for the lowest bands to ring out, short enough to stay quick.
    const size_t n = cfg.sampleRate > 100000 ? 262144 : 131072;
    Response r;
    std::vector<double> h;
    if (cfg.doublePrecision) {
        std::vector<std::vector<double>> in(2, std::vector<double>(n, 0.0));
        in[0][0] = in[1][0] = 1.0;
        h = render(host, in, true, nullptr)[0];
    } else {
        std::vector<std::vector<float>> in(2, std::vector<float>(n, 0.0f));
        in[0][0] = in[1][0] = 1.0f;
        const auto out = render(host, in, true, nullptr);
        h.assign(out[0].begin(), out[0].end());
    }
    host.stop();
    // A direct transform at log-spaced frequencies: exact at every point plotted.
    const double top = std::min(22000.0, 0.5 * cfg.sampleRate * 0.999);
    const int points = 720;
    for (int i = 0; i < points; ++i) {
        const double f = 10.0 * std::pow(top / 10.0, i / double(points - 1));
        const std::complex<double> step = std::polar(1.0, -2.0 * kPi * f / cfg.sampleRate);
        std::complex<double> w(1.0, 0.0), sum(0.0, 0.0);
        for (size_t k = 0; k < n; ++k) {
            sum += h[k] * w;
            w *= step;
            if ((k & 4095) == 4095) w /= std::abs(w); // keep the phasor on the unit circle
        }
        r.hz.push_back(f);
        r.db.push_back(20.0 * std::log10(std::max(std::abs(sum), 1e-10)));
        r.deg.push_back(std::arg(sum) * 180.0 / kPi);
    }
    return r;
}

std::string hzLabel(double f) {
    char s[16];
    if (f >= 1000.0) std::snprintf(s, sizeof s, "%gk", f / 1000.0);
    else std::snprintf(s, sizeof s, "%g", f);
    return s;
}

void plot(const Response& r, const std::string& title, const std::string& path) {
    const int W = 1200, H = 760;
    cairo_surface_t* surf = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, W, H);
    cairo_t* cr = cairo_create(surf);
    cairo_set_source_rgb(cr, 0.07, 0.08, 0.10);
    cairo_paint(cr);
    cairo_select_font_face(cr, "Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);

    const double left = 84, right = W - 36;
    const double fLo = 10.0, fHi = r.hz.back();
    auto xOf = [&](double f) { return left + (right - left) * std::log(f / fLo) / std::log(fHi / fLo); };

    // Magnitude range: whole grid steps around the data, at least -12 .. +6 dB.
    double lo = -12, hi = 5;
    for (double d : r.db) {
        if (d > -60) lo = std::min(lo, d);
        hi = std::max(hi, d);
    }
    lo = std::max(-60.0, lo - 1);
    hi = std::min(36.0, hi + 1);
    const double dbStep = (hi - lo) > 48 ? 12 : 6;
    lo = dbStep * std::floor(lo / dbStep);
    hi = dbStep * std::ceil(hi / dbStep);

    cairo_set_font_size(cr, 22);
    cairo_set_source_rgb(cr, 0.93, 0.94, 0.96);
    cairo_move_to(cr, left, 38);
    cairo_show_text(cr, title.c_str());

    struct Panel {
        double top, bottom, lo, hi, step;
        const std::vector<double>* v;
        const char* name;
        double red, green, blue;
        bool wrap;
    };
    const Panel panels[2] = {
        {62, 472, lo, hi, dbStep, &r.db, "Magnitude (dB)", 0.36, 0.78, 1.0, false},
        {512, 704, -180, 180, 90, &r.deg, "Phase (degrees)", 1.0, 0.66, 0.30, true},
    };
    for (const Panel& p : panels) {
        auto yOf = [&](double v) { return p.bottom - (p.bottom - p.top) * (v - p.lo) / (p.hi - p.lo); };
        cairo_set_source_rgb(cr, 0.11, 0.12, 0.15);
        cairo_rectangle(cr, left, p.top, right - left, p.bottom - p.top);
        cairo_fill(cr);
        cairo_set_line_width(cr, 1.0);
        cairo_set_font_size(cr, 13);
        // Frequency grid: every 1-2-5 step, brighter at decades.
        for (double dec = 10; dec <= 10000; dec *= 10) {
            for (double m = 1; m < 10; ++m) {
                const double f = dec * m;
                if (f < fLo || f > fHi) continue;
                const double x = std::floor(xOf(f)) + 0.5;
                const bool major = m == 1;
                cairo_set_source_rgba(cr, 1, 1, 1, major ? 0.22 : 0.07);
                cairo_move_to(cr, x, p.top);
                cairo_line_to(cr, x, p.bottom);
                cairo_stroke(cr);
                if (m == 1 || m == 2 || m == 5) {
                    const std::string s = hzLabel(f);
                    cairo_text_extents_t e;
                    cairo_text_extents(cr, s.c_str(), &e);
                    cairo_set_source_rgb(cr, 0.70, 0.72, 0.76);
                    cairo_move_to(cr, x - e.width / 2 - e.x_bearing, p.bottom + 17);
                    cairo_show_text(cr, s.c_str());
                }
            }
        }
        for (double v = p.lo; v <= p.hi + 1e-9; v += p.step) {
            const double y = std::floor(yOf(v)) + 0.5;
            cairo_set_source_rgba(cr, 1, 1, 1, v == 0 ? 0.30 : 0.10);
            cairo_move_to(cr, left, y);
            cairo_line_to(cr, right, y);
            cairo_stroke(cr);
            char s[16];
            std::snprintf(s, sizeof s, "%+g", v);
            if (v == 0) std::snprintf(s, sizeof s, "0");
            cairo_text_extents_t e;
            cairo_text_extents(cr, s, &e);
            cairo_set_source_rgb(cr, 0.70, 0.72, 0.76);
            cairo_move_to(cr, left - 8 - e.width - e.x_bearing, y + e.height / 2);
            cairo_show_text(cr, s);
        }
        // Axis name, turned along the left edge.
        cairo_save(cr);
        cairo_text_extents_t e;
        cairo_text_extents(cr, p.name, &e);
        cairo_move_to(cr, 24, (p.top + p.bottom) / 2 + e.width / 2);
        cairo_rotate(cr, -kPi / 2);
        cairo_set_source_rgb(cr, 0.85, 0.86, 0.90);
        cairo_show_text(cr, p.name);
        cairo_restore(cr);

        cairo_save(cr);
        cairo_rectangle(cr, left, p.top, right - left, p.bottom - p.top);
        cairo_clip(cr);
        cairo_set_source_rgb(cr, p.red, p.green, p.blue);
        cairo_set_line_width(cr, 2.2);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        const auto& v = *p.v;
        for (size_t i = 0; i < v.size(); ++i) {
            const double x = xOf(r.hz[i]), y = yOf(std::clamp(v[i], p.lo - 10, p.hi + 10));
            // Phase wraps at +-180: lift the pen instead of drawing a vertical stroke.
            if (i == 0 || (p.wrap && std::fabs(v[i] - v[i - 1]) > 180)) cairo_move_to(cr, x, y);
            else cairo_line_to(cr, x, y);
        }
        cairo_stroke(cr);
        cairo_restore(cr);
        cairo_set_source_rgba(cr, 1, 1, 1, 0.35);
        cairo_set_line_width(cr, 1);
        cairo_rectangle(cr, left + 0.5, p.top + 0.5, right - left - 1, p.bottom - p.top - 1);
        cairo_stroke(cr);
    }
    cairo_set_font_size(cr, 14);
    cairo_set_source_rgb(cr, 0.85, 0.86, 0.90);
    const char* xName = "Frequency (Hz)";
    cairo_text_extents_t e;
    cairo_text_extents(cr, xName, &e);
    cairo_move_to(cr, (left + right) / 2 - e.width / 2, H - 14);
    cairo_show_text(cr, xName);

    cairo_destroy(cr);
    const cairo_status_t st = cairo_surface_write_to_png(surf, path.c_str());
    cairo_surface_destroy(surf);
    // The text drawing leaves font caches behind in cairo and fontconfig; hand them back so
    // that leak checks see a clean exit.
    cairo_debug_reset_static_data();
    FcFini();
    if (st != CAIRO_STATUS_SUCCESS) throw std::runtime_error(path + ": " + cairo_status_to_string(st));
}

int run(int argc, char** argv) {
    const Options o = parse(argc, argv);

    // Check the files before the plug-in loads, so a typo fails fast.
    std::error_code ec;
    if (!o.input.empty()) {
        if (!fs::exists(o.input, ec)) throw UsageError(o.input + ": no such file");
        outputFormat(o.output);
        if (fs::exists(o.output, ec) && fs::equivalent(o.input, o.output, ec))
            throw UsageError(o.output + ": the output must not be the input file");
    }
    if (!o.response.empty() && lower(fs::path(o.response).extension().string()) != ".png")
        throw UsageError(o.response + ": the response plot is written as .png");
    if (!o.preset.empty() && !fs::exists(o.preset, ec)) throw UsageError(o.preset + ": no such file");

    PluginHost host(o.plugin.empty() ? defaultPlugin() : fs::path(o.plugin));

    if (!o.preset.empty()) host.loadStateFile(o.preset);

    std::string programName;
    if (!o.program.empty() || o.listPrograms) {
        const auto names = host.programNames();
        if (o.listPrograms) {
            for (size_t i = 0; i < names.size(); ++i) std::printf("%2zu  %s\n", i + 1, names[i].c_str());
        }
        if (!o.program.empty()) {
            int found = -1;
            for (size_t i = 0; i < names.size() && found < 0; ++i)
                if (names[i] == o.program) found = int(i);
            for (size_t i = 0; i < names.size() && found < 0; ++i)
                if (lower(names[i]) == lower(o.program)) found = int(i);
            if (found < 0) {
                std::string msg = "unknown program \"" + o.program + "\"; the bank holds:";
                for (const auto& n : names) msg += "\n  " + n;
                throw UsageError(msg);
            }
            host.selectProgram(found);
            programName = names[size_t(found)];
        }
    }

    std::vector<Setting> settings;
    for (const auto& s : o.sets) {
        const auto eq = s.find('=');
        if (eq == std::string::npos || eq == 0) throw UsageError("--set \"" + s + "\": expected NAME=VALUE");
        const std::string name = s.substr(0, eq);
        const auto* p = host.findParam(name);
        if (!p) throw UsageError("unknown parameter \"" + name + "\" (--list-params shows them)");
        settings.push_back({p->id, host.normalFromText(*p, s.substr(eq + 1))});
    }

    if (o.listParams) {
        std::printf("%5s  %-10s  %-28s  %-24s  %s\n", "index", "id", "name", "range", "default");
        for (size_t i = 0; i < host.params().size(); ++i) {
            const auto& p = host.params()[i];
            char range[64];
            std::snprintf(range, sizeof range, "%g .. %g%s%s", host.plainOf(p, 0), host.plainOf(p, 1),
                          p.units.empty() ? "" : " ", p.units.c_str());
            std::printf("%5zu  %-10u  %-28s  %-24s  %s\n", i, p.id, p.title.c_str(), range,
                        host.textOf(p, p.defaultNormal).c_str());
        }
    }
    if (o.listParams || o.listPrograms) {
        if (o.input.empty() && o.response.empty()) return 0;
    }

    tess::host::ProcessConfig cfg;
    cfg.maxBlock = o.block;
    cfg.doublePrecision = o.dbl;
    cfg.realtime = false;

    Audio audio;
    if (!o.input.empty()) {
        audio = readAudio(o.input);
        cfg.channels = audio.channels;
        cfg.sampleRate = audio.rate;
    }

    if (!o.response.empty()) {
        tess::host::ProcessConfig m = cfg;
        if (o.rate > 0) m.sampleRate = o.rate;
        else if (o.input.empty()) m.sampleRate = 48000.0;
        const Response r = measure(host, m, settings);
        std::string title = host.className();
        if (!programName.empty()) title += "  \xE2\x80\x94  " + programName;
        else if (!o.preset.empty()) title += "  \xE2\x80\x94  " + fs::path(o.preset).stem().string();
        char rate[32];
        std::snprintf(rate, sizeof rate, "  (%g kHz)", m.sampleRate / 1000.0);
        plot(r, title + rate, o.response);
        std::fprintf(stderr, "response written to %s\n", o.response.c_str());
    }

    if (!o.input.empty()) {
        start(host, cfg, settings);
        Progress progress;
        Audio out = audio;
        if (cfg.doublePrecision) {
            std::vector<std::vector<double>> in(static_cast<size_t>(audio.channels));
            for (int c = 0; c < audio.channels; ++c)
                in[size_t(c)].assign(audio.data[size_t(c)].begin(), audio.data[size_t(c)].end());
            const auto res = render(host, in, o.trimLatency, &progress);
            for (int c = 0; c < audio.channels; ++c)
                out.data[size_t(c)].assign(res[size_t(c)].begin(), res[size_t(c)].end());
        } else {
            out.data = render(host, audio.data, o.trimLatency, &progress);
        }
        host.stop();
        writeAudio(o.output, out);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "tessarine-render: %s\n", e.what());
        return 2;
    } catch (const HostError& e) {
        std::fprintf(stderr, "tessarine-render: %s\n", e.what());
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tessarine-render: %s\n", e.what());
        return 1;
    }
}
