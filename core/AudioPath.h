#pragma once
// The road of one block: host buffers into double work buffers, Mid/Side coding, the bank,
// channel gains, solo and listen sums or decoding, meters, analyser rings, back to the host.

#include <atomic>
#include <cstdint>

class EQBank;

class AudioPath {
public:
    static constexpr int32_t kMaxChannels = 8;
    static constexpr int32_t kChunk = 1024;
    static constexpr int32_t kHistoryLength = 8192;
    static constexpr int32_t kDryDelayLength = 4096;

    AudioPath();
    ~AudioPath();
    AudioPath(const AudioPath&) = delete;
    AudioPath& operator=(const AudioPath&) = delete;

    // Allocates for `channels` at `capacity` samples; (0, 0) frees everything.
    void ensureBuffers(int32_t capacity, int32_t channels);
    // The restart: channel map, meter ballistics, rings and delays cleared, gains at target.
    void resume(int32_t channels, double sampleRate, int32_t ballisticType);

    // One host block; nothing is read or written if the counts differ or a pointer is null.
    void processFloat(float** inputs, float** outputs, int32_t frames, int32_t numInputs,
                      int32_t numOutputs, EQBank& bank, bool bypass);
    void processDouble(double** inputs, double** outputs, int32_t frames, int32_t numInputs,
                       int32_t numOutputs, EQBank& bank, bool bypass);

    // Written by the transfer on any thread.
    void setChannelGainTarget(int32_t channel, double gain);
    double getChannelGainTarget(int32_t channel) const;
    void setSoloMask(uint32_t mask) { soloMask.store(mask, std::memory_order_relaxed); }
    void setMsMask(uint32_t mask) { msMask.store(mask, std::memory_order_relaxed); }
    uint32_t getMsMask() const { return msMask.load(std::memory_order_relaxed); }
    void setListenMask(uint32_t mask) { listenMask.store(mask, std::memory_order_relaxed); }
    void setSoloModes(bool mute, bool select);
    void setClipThreshold(double t) { clipThreshold.store(t, std::memory_order_relaxed); }
    void setMetersPre(bool on) { metersPre.store(on, std::memory_order_relaxed); }
    // Gains jump to their targets, as after a restart.
    void snapGains();

    float channelMeter(int32_t i) const;
    float masterMeter(int32_t i) const;
    bool getClipped() const { return clipped.load(std::memory_order_relaxed); }
    void setClipped(bool on) { clipped.store(on, std::memory_order_relaxed); }
    int32_t channelCount() const { return allocatedChannels; }
    int32_t channelMapAt(int32_t logical) const { return channelMap[logical & 7]; }

    // One meter envelope and the samples that feed it.
    struct MeterChain {
        std::atomic<double>* meter;
        const double* samples;
    };

    // Copies the last `count` samples of a ring: output rings for sources below the channel
    // count, input rings above (allocated at the first such request).
    void getAnalyserSamples(double* dst, int32_t count, int32_t source);

    // Logical channel names by count; "Mid" and "Side" for a coded stereo pair.
    static const char* channelLabel(int32_t count, int32_t index, bool midSide);
    // The four-bit reversal between the stored Mid/Side state and the pair mask.
    static uint32_t reverseNibble(uint32_t x);

private:
    template <typename T>
    void process(T** inputs, T** outputs, int32_t frames, int32_t numInputs, int32_t numOutputs,
                 EQBank& bank, bool bypass);
    void processChunk(int32_t n, EQBank& bank, bool bypass);
    void runMeters(MeterChain* chains, int32_t count, int32_t n, bool flush);
    void updateMeters(std::atomic<double>* meters, int32_t n);
    void updateMetersAfter(int32_t ringStart, int32_t n);
    void writeRing(double* const* rings, int32_t n, bool advance);
    void freeBuffers();

    double* outputHistory[kMaxChannels] = {};
    std::atomic<double*> inputHistory[kMaxChannels] = {};
    std::atomic<bool> inputHistoryOn{false};
    double* dryDelay[kMaxChannels] = {};
    std::atomic<double> channelGainTarget[kMaxChannels];
    double channelGainCurrent[kMaxChannels];
    std::atomic<uint32_t> soloMask{0};
    int32_t allocatedChannels = 0;
    int32_t dryDelayPos = 0;
    std::atomic<int32_t> historyPos{0};
    std::atomic<uint32_t> msMask{0};
    double* workBuffers[kMaxChannels] = {};
    int32_t workCapacity = 0;
    std::atomic<bool> soloMuteMode{false}, soloSelectMode{true};
    int32_t channelMap[kMaxChannels] = {0, 1, 2, 3, 4, 5, 6, 7};
    double meterAttack = 1, meterRelease = 1;
    std::atomic<double> codedMeters[kMaxChannels];
    std::atomic<double> outputMeters[kMaxChannels];
    std::atomic<double> clipThreshold{1.0};
    std::atomic<uint32_t> listenMask{0};
    std::atomic<bool> metersPre{false};
    std::atomic<bool> clipped{false};
};
