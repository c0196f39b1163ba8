#pragma once
// A small VST 3 host for offline rendering, measuring and benchmarking: loads one module,
// creates its first audio effect, sets it up and feeds it blocks. Every failure is a HostError
// with a message a user can act on; nothing here aborts on a misbehaving module.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tess::host {

struct HostError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ParamEntry {
    uint32_t id = 0;
    std::string title;
    std::string units;
    int32_t stepCount = 0;
    double defaultNormal = 0.0;
    int32_t flags = 0;
};

struct ProcessConfig {
    int channels = 2;      // 1..8, the same in and out
    double sampleRate = 48000.0;
    int maxBlock = 512;
    bool realtime = false; // kOffline otherwise
    bool doublePrecision = false;
};

class PluginHost {
public:
    // A ".vst3" bundle folder or a shared object. Loads, creates and initialises the effect.
    explicit PluginHost(const std::filesystem::path& module);
    ~PluginHost();
    PluginHost(const PluginHost&) = delete;
    PluginHost& operator=(const PluginHost&) = delete;

    // The shared object inside a bundle for this machine, or the path itself for a ".so".
    static std::filesystem::path binaryOf(const std::filesystem::path& module);

    const std::string& className() const { return className_; }
    const std::vector<ParamEntry>& params() const { return params_; }
    // Exact title first, then case-insensitive; null when neither matches.
    const ParamEntry* findParam(std::string_view title) const;

    // Normal of a value given as display text, through the module's own conversion. Rejects
    // text that is not a number and values outside the parameter's plain range.
    double normalFromText(const ParamEntry& p, const std::string& text);
    std::string textOf(const ParamEntry& p, double normal);
    double plainOf(const ParamEntry& p, double normal);
    double normalOf(const ParamEntry& p);

    // Queued for the next process call, one point per parameter (a later value replaces an
    // earlier one in the same block). Does not allocate.
    void setParam(uint32_t id, double normal);
    // Goes to the controller at once (program changes, for example).
    void setControllerParam(uint32_t id, double normal);

    std::vector<std::string> programNames();
    // Selects a program of the current bank by its list index.
    void selectProgram(int index);

    void setState(const void* data, size_t size);
    void loadStateFile(const std::filesystem::path& file);

    // Bus arrangement, processing setup, activation. May be called again after stop().
    void start(const ProcessConfig& config);
    void stop();
    bool running() const { return running_; }
    const ProcessConfig& config() const { return config_; }

    // One block of n frames (n <= maxBlock); in and out hold config().channels pointers of the
    // precision chosen at start(). n may be 0 to deliver parameter changes only.
    void process(float* const* in, float* const* out, int n);
    void process(double* const* in, double* const* out, int n);

    // Delivers the queued changes with an empty block. With waitMs > 0 it then waits and
    // touches the last of them once more: a module that rations its filter rebuilds by wall
    // time has then taken the whole set before the first sample, which an offline run needs.
    void settle(int waitMs);

    int latencySamples();
    // Set when the module asked the host to restart (latency change and the like) since the
    // last call; clears it.
    bool takeRestartRequest();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    std::string className_;
    std::vector<ParamEntry> params_;
    ProcessConfig config_;
    bool running_ = false;

    void processRaw(void** in, void** out, int n, bool dbl);
};

} // namespace tess::host
