#include "EQBank.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace {
constexpr auto seqCst = std::memory_order_seq_cst;
}  // namespace

EQBank::EQBank(int32_t impulseLength_, int32_t correctionLength_, int32_t bands_,
               int32_t channels_)
    : bands(bands_), channels(0), impulseLength(impulseLength_),
      correctionLength(correctionLength_) {
    scratchA.assign(size_t(scratchSize), 0.0);
    scratchB.assign(size_t(scratchSize), 0.0);
    setChannels(channels_);
}

EQBank::~EQBank() = default;

EQ* EQBank::getEQ(int32_t band, int32_t channel) const {
    if (band < 0 || band >= bands || channel < 0 || channel >= channels) return nullptr;
    return eq(band, channel);
}

void EQBank::setChannels(int32_t n) {
    excludeAudio();
    eqs.clear();
    channels = std::max(n, 0);
    eqs.reserve(size_t(bands) * size_t(channels));
    for (int32_t i = 0; i < bands * channels; ++i) {
        auto band = std::make_unique<MarlowenEQ>();
        band->setSampleRate(sampleRate);
        eqs.push_back(std::move(band));
    }
    if (channels != 2) linked = 0;
    makeConvolvers(firConvolvers, impulseLength);
    makeConvolvers(correctionConvolvers, correctionLength);
    impulses.assign(size_t(channels), std::vector<double>(size_t(impulseLength), 0.0));
    windowPreview.assign(size_t(impulseLength), 1.0);
    forceUpdate = 1;
    // The new convolvers are silent until the next update builds their impulses.
    if (mode.load() > kModeIIR) {
        convolverActive.store(1, seqCst);
        update(true);
    }
}

void EQBank::makeConvolvers(std::vector<std::unique_ptr<PartitionedConvolver>>& set, int32_t length) {
    set.clear();
    for (int32_t c = 0; c < channels; ++c) {
        auto convolver = std::make_unique<PartitionedConvolver>();
        convolver->setLength(length);
        set.push_back(std::move(convolver));
    }
}

void EQBank::excludeAudio() {
    convolverActive.store(0, seqCst);
    while (busy.load(seqCst) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void EQBank::setMode(int32_t m) {
    // A FIR setting changed since the last push may already have asked for a rebuild.
    if (m != mode) forceUpdate = 1;
    mode = m;
    convolverActive.store(m != kModeIIR, seqCst);
    update(true);
}

void EQBank::setParallel(int32_t v) {
    for (int32_t b = 0; b < bands; ++b)
        for (int32_t c = 0; c < channels; ++c) {
            MarlowenEQ* e = eq(b, c);
            const int32_t t = e->getType();
            const bool peak = t == kEQPeak;
            const bool shelf = t == kEQLowShelf || t == kEQHighShelf;
            const bool wanted = (v == kPeaksParallel && peak) ||
                                (v == kPeaksShelvesParallel && (peak || shelf));
            e->setParallel(wanted && !e->getOff() && !e->getFlat());
        }
    parallelActive = v != kAllSeries;
}

void EQBank::setLinked(bool v) { linked = v && channels == 2; }

void EQBank::setSampleRate(float rate) {
    sampleRate = rate;
    for (auto& e : eqs) e->setSampleRate(rate);
    for (auto& c : firConvolvers) c->clear();
    for (auto& c : correctionConvolvers) c->clear();
}

template <typename Setter> void EQBank::forChannels(int32_t band, uint32_t mask, Setter set) {
    if (band < 0 || band >= bands) return;
    for (int32_t c = 0; c < channels && c < 32; ++c)
        if (mask & (1u << c)) set(eq(band, c));
    update(false);
}

void EQBank::setOff(int32_t v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setOff(v); });
}
void EQBank::setType(int32_t v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setType(v); });
}
void EQBank::setSubtype(int32_t v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setSubtype(v); });
}
void EQBank::setFrequency(float v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setFrequency(v); });
}
void EQBank::setOrder(int32_t v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setOrder(v); });
}
void EQBank::setGain(float v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setGain(v); });
}
void EQBank::setQ(float v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setQ(v); });
}
void EQBank::setShift(float v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setShift(v); });
}
void EQBank::setPhase(float v, int32_t band, uint32_t mask) {
    forChannels(band, mask, [v](EQ* e) { e->setPhase(v); });
}

void EQBank::update(bool go) {
    if (!go) return;
    bool changed = forceUpdate;
    for (size_t i = 0; !changed && i < eqs.size(); ++i) changed = eqs[i]->isDirty();
    if (!changed) return;
    forceUpdate = 0;
    if (mode < kModeFullMinimum) {
        for (int32_t b = 0; b < bands; ++b) {
            MarlowenEQ* first = nullptr;
            for (int32_t c = 0; c < channels; ++c) {
                MarlowenEQ* e = eq(b, c);
                if (e->getOff()) {
                    e->design();
                } else if (!first) {
                    e->design();
                    first = e;
                } else {
                    // The transfer gives every on-channel of a band the same settings.
                    e->shareDesign(*first);
                }
            }
        }
    }
    if (!convolverActive.load(seqCst)) return;
    buildFir();
}

const EQ* const* EQBank::channelBands(int32_t channel) {
    bandList.resize(size_t(bands));
    for (int32_t b = 0; b < bands; ++b) bandList[size_t(b)] = eq(b, channel);
    return bandList.data();
}

void EQBank::buildFir() {
    const int32_t n = std::min<int32_t>(linked ? 1 : channels, int32_t(firConvolvers.size()));
    const int32_t m = mode;
    if (m == kModeIIRCorrected) {
        buildScratch.resize(size_t(correctionLength));
        for (int32_t c = 0; c < n; ++c) {
            buildCorrection(channelBands(c), bands, sampleRate, correctionLength, correctionWindow, firWork,
                            buildScratch.data());
            correctionConvolvers[size_t(c)]->load(buildScratch.data());
        }
        return;
    }
    if (firWindow.getKind() != windowKind) firWindow.setKind(windowKind);
    const float parameter = WindowShape::mapParameter(windowKind, windowParameter);
    if (firWindow.getParameter() != parameter) firWindow.setParameter(parameter);
    for (int32_t c = 0; c < n; ++c) {
        PartitionedConvolver& convolver = *firConvolvers[size_t(c)];
        double* impulse = impulses[size_t(c)].data();
        buildImpulse(channelBands(c), bands, m, sampleRate, impulseLength, pad, firWindow, convolver.fftIp(),
                     convolver.fftW(), firWork, impulse);
        convolver.load(impulse);
    }
    std::fill(windowPreview.begin(), windowPreview.end(), 1.0);
    if (m == kModeFullMinimum || m == kModeZeroLatencyAnalogue) firWindow.applyHalf(windowPreview.data(), impulseLength);
    else firWindow.applyFull(windowPreview.data(), impulseLength);
}

const double* EQBank::getImpulse(int32_t channel) const {
    if (!convolverActive.load(std::memory_order_relaxed) || channels == 0) return nullptr;
    const int32_t c = linked ? 0 : ((channel % channels) + channels) % channels;
    return impulses[size_t(c)].data();
}

// A changed FIR setting forces the next mode push to rebuild even with no band dirty.
template <typename T> void EQBank::storeFirSetting(T& field, T v) {
    if (field == v) return;
    field = v;
    forceUpdate = 1;
}

// Both leave the mode unset, so the next setMode sees a change, rebuilds and raises
// convolverActive again.
void EQBank::setImpulseLength(int32_t n) {
    if (n <= 0 || n == impulseLength) return;
    excludeAudio();
    impulseLength = n;
    makeConvolvers(firConvolvers, n);
    impulses.assign(size_t(channels), std::vector<double>(size_t(n), 0.0));
    windowPreview.assign(size_t(n), 1.0);
    mode = -1;
    forceUpdate = 1;
}
void EQBank::setCorrectionLength(int32_t n) {
    if (n <= 0 || n == correctionLength) return;
    excludeAudio();
    correctionLength = n;
    makeConvolvers(correctionConvolvers, n);
    mode = -1;
    forceUpdate = 1;
}
void EQBank::setWindowKind(int32_t kind) { storeFirSetting(windowKind, kind); }
void EQBank::setWindowParameter(float v) { storeFirSetting(windowParameter, v); }
void EQBank::setPad(int32_t p) { storeFirSetting(pad, p); }

int32_t EQBank::getLatency() const {
    switch (mode) {
    case kModeAnalogue:
    case kModeLinear:
    case kModeFree:
        return impulseLength / 2;
    default:
        return 0;
    }
}

float EQBank::getBandEffectiveQ(float fallback, int32_t band) const {
    if (band < 0 || band >= bands) return fallback;
    for (int32_t c = 0; c < channels; ++c)
        if (!eq(band, c)->getOff()) return eq(band, c)->getEffectiveQ();
    return fallback;
}

float EQBank::analogueMagnitudeAt(float frequency, int32_t channel) const {
    if (channel < 0 || channel >= channels) return 0;
    float m = 1;
    for (int32_t b = 0; b < bands; ++b) m *= float(eq(b, channel)->analogueMagnitude(frequency, false));
    return m;
}

float EQBank::analoguePhaseAt(float frequency, int32_t channel) const {
    if (channel < 0 || channel >= channels) return 0;
    float p = 0;
    for (int32_t b = 0; b < bands; ++b) p += float(eq(b, channel)->analoguePhase(frequency));
    return p;
}

float EQBank::digitalMagnitudeAt(float frequency, int32_t channel) const {
    if (channel < 0 || channel >= channels) return 0;
    double m = 1;
    for (int32_t b = 0; b < bands; ++b) m *= eq(b, channel)->digitalMagnitude(frequency);
    return float(m);
}

float EQBank::magnitudeErrorAt(float frequency, int32_t channel) const {
    const float a = analogueMagnitudeAt(frequency, channel);
    const float d = digitalMagnitudeAt(frequency, channel);
    if (a == 0 || d == 0) return 1;
    return d / a;
}

void EQBank::ensureScratch(int32_t samples) {
    if (samples <= scratchSize) return;
    // Only a block longer than any before reaches this; the core never sends one.
    scratchSize = samples;
    scratchA.assign(size_t(samples), 0.0);
    scratchB.assign(size_t(samples), 0.0);
}

bool EQBank::isSerial(const MarlowenEQ* e) const { return !parallelActive || !e->getParallel(); }

void EQBank::addParallelBranch(int32_t channel, double* buffer, int32_t samples) {
    double* a = scratchA.data();
    double* sum = scratchB.data();
    std::fill(sum, sum + samples, 0.0);
    // Parallel bands hold H - 1, so x + sum((H_i - 1) x) is the parallel branch.
    for (int32_t b = 0; b < bands; ++b) {
        MarlowenEQ* e = eq(b, channel);
        if (!e->getParallel()) continue;
        std::copy(buffer, buffer + samples, a);
        e->processDouble(a, samples);
        for (int32_t i = 0; i < samples; ++i) sum[i] += a[i];
    }
    for (int32_t i = 0; i < samples; ++i) buffer[i] += sum[i];
}

void EQBank::runSerialMono(int32_t channel, double* buffer, int32_t samples) {
    for (int32_t b = 0; b < bands; ++b) {
        MarlowenEQ* e = eq(b, channel);
        if (isSerial(e)) e->processDouble(buffer, samples);
    }
}

// The serial bands of two channels, in band order. Runs of bands that are steady on both
// channels go through the vector pipeline; a band that ramps, or differs between the two,
// runs on its own, which keeps the order of the bands and the arithmetic of each one.
void EQBank::runSerialPair(int32_t channel, double* l, double* r, int32_t samples) {
    int32_t queued = 0;
    auto flush = [&] {
        runStereoPipeline(laneLeft, laneRight, queued, l, r, samples);
        queued = 0;
    };
    for (int32_t b = 0; b < bands; ++b) {
        MarlowenEQ* left = eq(b, channel);
        MarlowenEQ* right = eq(b, channel + 1);
        const bool runLeft = isSerial(left) && !left->isSkipped();
        const bool runRight = isSerial(right) && !right->isSkipped();
        if (!runLeft && !runRight) continue;
        if (runLeft && runRight && left->isSteady() && right->isSteady() &&
            left->getSectionCount() == right->getSectionCount()) {
            if (queued + kMaxSections > kMaxPipelineSections) flush();
            left->steadyLanes(laneLeft + queued);
            queued += right->steadyLanes(laneRight + queued);
            continue;
        }
        flush();
        if (runLeft) left->processDouble(l, samples);
        if (runRight) right->processDouble(r, samples);
    }
    flush();
}

void EQBank::processBlock(double** buffers, int32_t samples, int32_t channelCount) {
    if (samples <= 0 || !buffers) return;
    const int32_t n = std::min(channelCount, channels);
    if (mode < kModeFullMinimum) {
        ensureScratch(samples);
        for (int32_t c = 0; c < n;) {
            double* buffer = buffers[c];
            double* next = c + 1 < n ? buffers[c + 1] : nullptr;
            if (buffer && next) {
                if (parallelActive) {
                    addParallelBranch(c, buffer, samples);
                    addParallelBranch(c + 1, next, samples);
                }
                runSerialPair(c, buffer, next, samples);
                c += 2;
                continue;
            }
            if (buffer) {
                if (parallelActive) addParallelBranch(c, buffer, samples);
                runSerialMono(c, buffer, samples);
            }
            ++c;
        }
    }
    if (!convolverActive.load(std::memory_order_relaxed)) return;
    // Raise busy before looking at convolverActive again, so a reallocation either sees us
    // inside or we see it has begun.
    busy.store(1, seqCst);
    if (convolverActive.load(seqCst)) runConvolvers(buffers, samples, n);
    busy.store(0, std::memory_order_release);
}

void EQBank::runConvolvers(double** buffers, int32_t samples, int32_t n) {
    auto& set = mode == kModeIIRCorrected ? correctionConvolvers : firConvolvers;
    if (linked && n == 2 && buffers[0] && buffers[1] && !set.empty()) {
        set[0]->processBlock(buffers[0], buffers[1], buffers[0], buffers[1], samples);
        return;
    }
    for (int32_t c = 0; c < n && c < int32_t(set.size()); ++c)
        if (buffers[c]) set[size_t(c)]->processBlock(buffers[c], buffers[c], samples);
}
