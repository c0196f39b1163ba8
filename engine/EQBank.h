#pragma once
// The whole equaliser of one instance: bands x channels of MarlowenEQ, the serial and
// parallel topology between the bands of a channel, the FIR and corrective convolvers, and the
// response queries of the graphs.

#include <cstdint>
#include <memory>
#include <vector>

#include "FirDesign.h"
#include "MarlowenEQ.h"
#include "PartitionedConvolver.h"
#include "WindowShape.h"

enum EQBankMode : int32_t {
    kModeIIR = 0,
    kModeIIRCorrected = 1,
    kModeFullMinimum = 2,
    kModeZeroLatencyAnalogue = 3,
    kModeAnalogue = 4,
    kModeLinear = 5,
    kModeFree = 6,
};

enum ParallelTopology : int32_t { kAllSeries = 0, kPeaksParallel = 1, kPeaksShelvesParallel = 2 };

class EQBank {
public:
    EQBank(int32_t impulseLength, int32_t correctionLength, int32_t bands, int32_t channels);
    EQBank(const EQBank&) = delete;
    EQBank& operator=(const EQBank&) = delete;
    virtual ~EQBank();

    virtual EQ* getEQ(int32_t band, int32_t channel) const;
    virtual void setMode(int32_t m);
    virtual void setParallel(int32_t v);
    virtual void setLinked(bool v);
    virtual void setSampleRate(float rate);
    virtual void setOff(int32_t v, int32_t band, uint32_t channelMask);
    virtual void setType(int32_t v, int32_t band, uint32_t channelMask);
    virtual void setSubtype(int32_t v, int32_t band, uint32_t channelMask);
    virtual void setFrequency(float v, int32_t band, uint32_t channelMask);
    virtual void setOrder(int32_t v, int32_t band, uint32_t channelMask);
    virtual void setGain(float v, int32_t band, uint32_t channelMask);
    virtual void setQ(float v, int32_t band, uint32_t channelMask);
    virtual void setShift(float v, int32_t band, uint32_t channelMask);
    virtual void setPhase(float v, int32_t band, uint32_t channelMask);
    virtual void update(bool go);
    // The last impulse built for a channel; null unless a convolver mode is on.
    virtual const double* getImpulse(int32_t channel) const;
    virtual int32_t getImpulseLength() const { return impulseLength; }
    // The FIR window alone, as the impulse graph shows it.
    virtual const double* getWindowPreview() const { return windowPreview.data(); }
    virtual float getBandEffectiveQ(float fallback, int32_t band) const;
    virtual int32_t getLatency() const;
    virtual float analogueMagnitudeAt(float frequency, int32_t channel) const;
    virtual float analoguePhaseAt(float frequency, int32_t channel) const;
    virtual float digitalMagnitudeAt(float frequency, int32_t channel) const;
    virtual float magnitudeErrorAt(float frequency, int32_t channel) const;

    // The FIR settings, taken at the next mode push. The impulse length also sets the latency
    // of the modes that centre their impulse. A new length replaces the convolvers: it waits
    // for the audio thread to leave them, so it must not be called from the audio thread.
    void setImpulseLength(int32_t n);
    void setCorrectionLength(int32_t n);
    virtual void setWindowKind(int32_t kind);
    virtual void setWindowParameter(float v);
    virtual void setPad(int32_t pad);

    // buffers[c] may be null for a channel that is not present in this block.
    void processBlock(double** buffers, int32_t samples, int32_t channelCount);
    void setChannels(int32_t n);

    int32_t getBands() const { return bands; }
    int32_t getChannels() const { return channels; }
    int32_t getMode() const { return mode; }
    bool isLinked() const { return linked != 0; }
    bool isParallelActive() const { return parallelActive != 0; }
    bool isConvolverActive() const { return convolverActive.load(std::memory_order_relaxed) != 0; }
    int32_t getCorrectionLength() const { return correctionLength; }
    float getSampleRate() const { return sampleRate; }

private:
    MarlowenEQ* eq(int32_t band, int32_t channel) const {
        return eqs[size_t(band) * size_t(channels) + size_t(channel)].get();
    }
    template <typename T> void storeFirSetting(T& field, T v);
    template <typename Setter> void forChannels(int32_t band, uint32_t mask, Setter set);
    void ensureScratch(int32_t samples);
    bool isSerial(const MarlowenEQ* e) const;
    void addParallelBranch(int32_t channel, double* buffer, int32_t samples);
    void runSerialMono(int32_t channel, double* buffer, int32_t samples);
    void runSerialPair(int32_t channel, double* l, double* r, int32_t samples);
    void runConvolvers(double** buffers, int32_t samples, int32_t channelCount);
    void buildFir();
    void makeConvolvers(std::vector<std::unique_ptr<PartitionedConvolver>>& set, int32_t length);
    // Stops the audio thread from entering the convolvers and waits until it is out of them.
    void excludeAudio();
    const EQ* const* channelBands(int32_t channel);

    int32_t bands = 32;
    int32_t channels = 2;
    std::vector<double> scratchA, scratchB;
    int32_t scratchSize = 1024;
    // The reallocation handshake: the audio thread raises busy, then checks convolverActive;
    // the reallocator clears convolverActive, then waits for busy to fall.
    std::atomic<uint8_t> busy{0};
    std::vector<std::unique_ptr<MarlowenEQ>> eqs;
    float sampleRate = 44100;
    std::atomic<uint8_t> convolverActive{0};
    std::vector<std::unique_ptr<PartitionedConvolver>> firConvolvers;
    std::vector<std::unique_ptr<PartitionedConvolver>> correctionConvolvers;
    std::vector<std::vector<double>> impulses;
    std::vector<double> windowPreview;
    std::vector<double> buildScratch;
    std::vector<const EQ*> bandList;
    FirWorkspace firWork;
    WindowShape firWindow;
    WindowShape correctionWindow;
    Relaxed<int32_t> mode{kModeIIR};
    int32_t impulseLength = 8192;
    int32_t correctionLength = 64;
    int32_t windowKind = kWindowKaiser;
    float windowParameter = 0.5f;
    int32_t pad = 1;
    Relaxed<uint8_t> linked{0};
    Relaxed<uint8_t> parallelActive{0};
    uint8_t forceUpdate = 1;
    SectionLane laneLeft[kMaxPipelineSections];
    SectionLane laneRight[kMaxPipelineSections];
};
