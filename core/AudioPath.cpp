#include "AudioPath.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "EQBank.h"

namespace {

constexpr auto relaxed = std::memory_order_relaxed;

const char* const kLabels[8][8] = {
    {"Mono"},
    {"Left", "Right"},
    {"Left", "Right", "Center"},
    {"Left", "Right", "Center", "Surr"},
    {"Left", "Right", "Ls", "Rs", "Center"},
    {"Left", "Right", "Ls", "Rs", "Center", "LFE"},
    {"Left", "Right", "Ls", "Rs", "Lsr", "Rsr", "Center"},
    {"Left", "Right", "Ls", "Rs", "Lsr", "Rsr", "Center", "LFE"},
};

// Host buffers come as left, centre, right, surrounds, LFE last.
const int32_t kChannelMaps[9][8] = {
    {0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7},
    {0, 2, 1, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7}, {0, 2, 3, 4, 1, 5, 6, 7},
    {0, 2, 3, 4, 1, 5, 6, 7}, {0, 2, 3, 4, 5, 6, 1, 7}, {0, 2, 3, 4, 5, 6, 1, 7},
};

// Attack and release as (fraction reached, seconds); attack 0 seconds is instantaneous.
const double kBallistics[4][4] = {
    {0, 0, 0.1, 0.3}, {0.2, 0.005, 0.1, 1.5}, {0.1, 0.3, 0.9, 0.3}, {0.2, 0.01, 0.0631, 2.8}};

double envelopeCoefficient(double fraction, double seconds, double rate) {
    if (seconds <= 0) return 1.0;
    return 1 - std::pow(fraction, 1 / (seconds * rate));
}

} // namespace

AudioPath::AudioPath() {
    for (int c = 0; c < kMaxChannels; ++c) {
        channelGainTarget[c].store(1.0, relaxed);
        channelGainCurrent[c] = 1.0;
        codedMeters[c].store(0, relaxed);
        outputMeters[c].store(0, relaxed);
    }
    ensureBuffers(kChunk, 2);
}

AudioPath::~AudioPath() { freeBuffers(); }

void AudioPath::freeBuffers() {
    inputHistoryOn.store(false, std::memory_order_release);
    for (int c = 0; c < kMaxChannels; ++c) {
        delete[] workBuffers[c];
        delete[] outputHistory[c];
        delete[] dryDelay[c];
        delete[] inputHistory[c].exchange(nullptr);
        workBuffers[c] = outputHistory[c] = dryDelay[c] = nullptr;
    }
}

void AudioPath::ensureBuffers(int32_t capacity, int32_t channels) {
    channels = std::clamp(channels, 0, kMaxChannels);
    if (workCapacity >= capacity && capacity != 0 && channels == allocatedChannels) return;
    const bool inputsWanted = inputHistoryOn.load(relaxed);
    freeBuffers();
    workCapacity = capacity;
    allocatedChannels = channels;
    if (capacity == 0) return;
    for (int c = 0; c < channels; ++c) {
        workBuffers[c] = new double[size_t(capacity)]();
        outputHistory[c] = new double[kHistoryLength]();
        dryDelay[c] = new double[kDryDelayLength]();
        if (inputsWanted) inputHistory[c].store(new double[kHistoryLength](), relaxed);
    }
    inputHistoryOn.store(inputsWanted, std::memory_order_release);
}

void AudioPath::resume(int32_t channels, double sampleRate, int32_t ballisticType) {
    ensureBuffers(workCapacity, channels);
    const int32_t n = std::clamp(channels, 0, kMaxChannels);
    std::copy(kChannelMaps[n], kChannelMaps[n] + kMaxChannels, channelMap);
    const double* b = kBallistics[std::clamp(ballisticType, 0, 3)];
    meterAttack = envelopeCoefficient(b[0], b[1], sampleRate);
    meterRelease = envelopeCoefficient(b[2], b[3], sampleRate);
    for (int c = 0; c < kMaxChannels; ++c) {
        codedMeters[c].store(0, relaxed);
        outputMeters[c].store(0, relaxed);
    }
    historyPos.store(0, relaxed);
    dryDelayPos = 0;
    for (int c = 0; c < allocatedChannels; ++c) {
        std::fill(outputHistory[c], outputHistory[c] + kHistoryLength, 0.0);
        std::fill(dryDelay[c], dryDelay[c] + kDryDelayLength, 0.0);
        if (double* in = inputHistory[c].load(relaxed)) std::fill(in, in + kHistoryLength, 0.0);
    }
    snapGains();
}

void AudioPath::setChannelGainTarget(int32_t channel, double gain) {
    if (channel >= 0 && channel < kMaxChannels) channelGainTarget[channel].store(gain, relaxed);
}

double AudioPath::getChannelGainTarget(int32_t channel) const {
    return channel >= 0 && channel < kMaxChannels ? channelGainTarget[channel].load(relaxed) : 0;
}

void AudioPath::setSoloModes(bool mute, bool select) {
    soloMuteMode.store(mute, relaxed);
    soloSelectMode.store(select, relaxed);
}

void AudioPath::snapGains() {
    for (int c = 0; c < kMaxChannels; ++c) channelGainCurrent[c] = channelGainTarget[c].load(relaxed);
}

float AudioPath::channelMeter(int32_t i) const { return float(codedMeters[i & 7].load(relaxed)); }
float AudioPath::masterMeter(int32_t i) const { return float(outputMeters[i & 7].load(relaxed)); }

uint32_t AudioPath::reverseNibble(uint32_t x) {
    x &= 15;
    x = ((x >> 1) & 5) | ((x & 5) << 1);
    return ((x >> 2) & 3) | ((x & 3) << 2);
}

const char* AudioPath::channelLabel(int32_t count, int32_t index, bool midSide) {
    if (count < 1 || count > kMaxChannels || index < 0 || index >= count) return "";
    if (count == 2 && midSide) return index == 0 ? "Mid" : "Side";
    return kLabels[count - 1][index];
}

// One envelope step. Both candidates are formed from terms that do not wait for the
// comparison, which keeps the serial chain through `env` short.
static inline double envelopeStep(double env, double level, double keepUp, double keepDown,
                                  double attack, double release) {
    const double up = env * keepUp + level * attack;
    const double down = env * keepDown + level * release;
    return level > env ? up : down;
}

// M independent envelope chains advanced side by side, so that their latencies overlap.
template <int M>
static void runChains(AudioPath::MeterChain* chains, int32_t n, double attack, double release,
                      bool flush) {
    double env[M];
    const double* x[M];
    for (int j = 0; j < M; ++j) {
        env[j] = chains[j].meter->load(std::memory_order_relaxed);
        x[j] = chains[j].samples;
    }
    const double keepUp = 1 - attack, keepDown = 1 - release;
    for (int32_t i = 0; i < n; ++i)
        for (int j = 0; j < M; ++j)
            env[j] = envelopeStep(env[j], std::fabs(x[j][i]), keepUp, keepDown, attack, release);
    // Anything too small to matter is flushed, in place of denormal handling.
    for (int j = 0; j < M; ++j)
        chains[j].meter->store(flush ? (env[j] + 1.0) - 1.0 : env[j], std::memory_order_relaxed);
}

void AudioPath::runMeters(MeterChain* chains, int32_t count, int32_t n, bool flush) {
    int32_t k = 0;
    for (; k + 4 <= count; k += 4) runChains<4>(chains + k, n, meterAttack, meterRelease, flush);
    switch (count - k) {
    case 3: runChains<3>(chains + k, n, meterAttack, meterRelease, flush); break;
    case 2: runChains<2>(chains + k, n, meterAttack, meterRelease, flush); break;
    case 1: runChains<1>(chains + k, n, meterAttack, meterRelease, flush); break;
    default: break;
    }
}

void AudioPath::updateMeters(std::atomic<double>* meters, int32_t n) {
    MeterChain chains[kMaxChannels];
    for (int c = 0; c < allocatedChannels; ++c) chains[c] = {&meters[c], workBuffers[c]};
    runMeters(chains, allocatedChannels, n, true);
}

// After the block, the coded signal is still in the output ring: both meters run together.
void AudioPath::updateMetersAfter(int32_t ringStart, int32_t n) {
    const int32_t channels = allocatedChannels;
    const int32_t first = std::min(n, kHistoryLength - ringStart);
    MeterChain chains[2 * kMaxChannels];
    for (int c = 0; c < channels; ++c) {
        chains[c] = {&codedMeters[c], outputHistory[c] + ringStart};
        chains[channels + c] = {&outputMeters[c], workBuffers[c]};
    }
    runMeters(chains, 2 * channels, first, first == n);
    if (first == n) return;
    for (int c = 0; c < channels; ++c) {
        chains[c].samples = outputHistory[c];
        chains[channels + c].samples = workBuffers[c] + first;
    }
    runMeters(chains, 2 * channels, n - first, true);
}

// Rings are read by the editor without a lock: single samples go through atomic_ref so a
// torn read costs one wrong analyser sample and nothing worse.
void AudioPath::writeRing(double* const* rings, int32_t n, bool advance) {
    const int32_t start = historyPos.load(relaxed);
    for (int c = 0; c < allocatedChannels; ++c) {
        double* ring = rings[c];
        if (!ring) continue;
        const double* x = workBuffers[c];
        for (int32_t i = 0; i < n; ++i)
            std::atomic_ref<double>(ring[(start + i) & (kHistoryLength - 1)]).store(x[i], relaxed);
    }
    if (advance) historyPos.store((start + n) & (kHistoryLength - 1), relaxed);
}

void AudioPath::processChunk(int32_t n, EQBank& bank, bool bypass) {
    const int32_t channels = allocatedChannels;
    const uint32_t pairs = msMask.load(relaxed);
    const bool pre = metersPre.load(relaxed);
    if (pre) updateMeters(outputMeters, n);
    for (int p = 0; p < 4; ++p) {
        if (!(pairs & (1u << p)) || 2 * p + 1 >= channels) continue;
        double* l = workBuffers[2 * p];
        double* r = workBuffers[2 * p + 1];
        for (int32_t i = 0; i < n; ++i) {
            const double a = l[i], b = r[i];
            l[i] = a + b; // the half is left to the decoder
            r[i] = a - b;
        }
    }
    if (pre) updateMeters(codedMeters, n);
    if (inputHistoryOn.load(std::memory_order_acquire)) {
        double* rings[kMaxChannels];
        for (int c = 0; c < kMaxChannels; ++c) rings[c] = inputHistory[c].load(relaxed);
        writeRing(rings, n, false);
    }

    if (!bypass) {
        // The dry signal is kept in every state so that a bypass carries on from live history.
        const int32_t first = std::min(n, kDryDelayLength - dryDelayPos);
        for (int c = 0; c < channels; ++c) {
            std::copy(workBuffers[c], workBuffers[c] + first, dryDelay[c] + dryDelayPos);
            std::copy(workBuffers[c] + first, workBuffers[c] + n, dryDelay[c]);
        }
        dryDelayPos = (dryDelayPos + n) & (kDryDelayLength - 1);
        bank.processBlock(workBuffers, n, channels);
        for (int c = 0; c < channels; ++c) {
            double* x = workBuffers[c];
            const double target = channelGainTarget[c].load(relaxed);
            double current = channelGainCurrent[c];
            if (current != target) {
                for (int32_t i = 0; i < n; ++i) {
                    current += (target - current) * 0.01;
                    x[i] *= current;
                }
                if (std::fabs(current - target) < 1e-6) current = target;
                channelGainCurrent[c] = current;
            } else {
                for (int32_t i = 0; i < n; ++i) x[i] *= current;
            }
        }
    } else if (bank.getLatency() != 0) {
        for (int c = 0; c < channels; ++c) {
            int32_t pos = dryDelayPos;
            for (int32_t i = 0; i < n; ++i) {
                std::swap(workBuffers[c][i], dryDelay[c][pos]);
                pos = (pos + 1) & (kDryDelayLength - 1);
            }
        }
        dryDelayPos = (dryDelayPos + n) & (kDryDelayLength - 1);
    }

    const int32_t ringStart = historyPos.load(relaxed);
    writeRing(outputHistory, n, true);

    const uint32_t listen = listenMask.load(relaxed), solo = soloMask.load(relaxed);
    if (soloSelectMode.load(relaxed) && (listen || solo)) {
        // Select: the chosen channels summed into the first (and copied to the second),
        // with no decoding.
        const uint32_t mask = listen ? listen : solo;
        double* sum = workBuffers[0];
        if (!(mask & 1)) std::fill(sum, sum + n, 0.0);
        for (int c = 1; c < channels; ++c)
            if (mask & (1u << c))
                for (int32_t i = 0; i < n; ++i) sum[i] += workBuffers[c][i];
        for (int32_t i = 0; i < n; ++i) sum[i] *= 0.5;
        if (channels >= 2) std::copy(sum, sum + n, workBuffers[1]);
    } else {
        for (int p = 0; p < 4; ++p) {
            if (!(pairs & (1u << p)) || 2 * p + 1 >= channels) continue;
            double* m = workBuffers[2 * p];
            double* s = workBuffers[2 * p + 1];
            for (int32_t i = 0; i < n; ++i) {
                const double a = m[i], b = s[i];
                m[i] = (a + b) * 0.5;
                s[i] = (a - b) * 0.5;
            }
        }
    }
    if (!pre) updateMetersAfter(ringStart, n);

    if (!clipped.load(relaxed)) {
        // A plain count of the samples over, which vectorises; the flag is what matters.
        const double threshold = clipThreshold.load(relaxed);
        int32_t over = 0;
        for (int c = 0; c < channels; ++c) {
            const double* x = workBuffers[c];
            for (int32_t i = 0; i < n; ++i) over += std::fabs(x[i]) > threshold;
        }
        if (over) clipped.store(true, relaxed);
    }
}

template <typename T>
void AudioPath::process(T** inputs, T** outputs, int32_t frames, int32_t numInputs,
                        int32_t numOutputs, EQBank& bank, bool bypass) {
    if (numInputs != numOutputs || !inputs || !outputs || frames <= 0) return;
    const int32_t channels = std::clamp(numOutputs, 0, kMaxChannels);
    for (int c = 0; c < channels; ++c)
        if (!inputs[c] || !outputs[c]) return;
    for (int32_t done = 0; done < frames;) {
        const int32_t n = std::min(kChunk, frames - done);
        ensureBuffers(n, channels);
        for (int c = 0; c < channels; ++c) {
            const T* in = inputs[channelMap[c]] + done;
            double* w = workBuffers[c];
            for (int32_t i = 0; i < n; ++i) w[i] = double(in[i]);
        }
        processChunk(n, bank, bypass);
        for (int c = 0; c < channels; ++c) {
            T* out = outputs[channelMap[c]] + done;
            const double* w = workBuffers[c];
            for (int32_t i = 0; i < n; ++i) out[i] = T(w[i]);
        }
        done += n;
    }
}

void AudioPath::processFloat(float** in, float** out, int32_t frames, int32_t numInputs,
                             int32_t numOutputs, EQBank& bank, bool bypass) {
    process(in, out, frames, numInputs, numOutputs, bank, bypass);
}

void AudioPath::processDouble(double** in, double** out, int32_t frames, int32_t numInputs,
                              int32_t numOutputs, EQBank& bank, bool bypass) {
    process(in, out, frames, numInputs, numOutputs, bank, bypass);
}

void AudioPath::getAnalyserSamples(double* dst, int32_t count, int32_t source) {
    if (!dst || count <= 0) return;
    count = std::min(count, kHistoryLength);
    const int32_t channels = allocatedChannels;
    double* ring = nullptr;
    if (source >= 0 && source < channels) {
        ring = outputHistory[source];
    } else if (source >= channels && source < 2 * channels) {
        if (!inputHistoryOn.load(std::memory_order_acquire)) {
            for (int c = 0; c < channels; ++c)
                if (!inputHistory[c].load(relaxed))
                    inputHistory[c].store(new double[kHistoryLength](), relaxed);
            inputHistoryOn.store(true, std::memory_order_release);
        }
        ring = inputHistory[source - channels].load(relaxed);
    }
    if (!ring) {
        std::fill(dst, dst + count, 0.0);
        return;
    }
    // A stable snapshot first, so the reader's window is not overwritten under it.
    static thread_local std::vector<double> snapshot(kHistoryLength);
    for (int32_t i = 0; i < kHistoryLength; ++i)
        snapshot[size_t(i)] = std::atomic_ref<double>(ring[i]).load(relaxed);
    const int32_t pos = historyPos.load(relaxed);
    for (int32_t i = 0; i < count; ++i)
        dst[i] = snapshot[size_t((pos - count + i + kHistoryLength) & (kHistoryLength - 1))];
}
