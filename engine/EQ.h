#pragma once
// One filter band on one channel: its settings, dirty marking and the analogue design.

#include <cstdint>

#include "Relaxed.h"
#include "Sections.h"

enum EQType : int32_t {
    kEQNone = 0,
    kEQHighPass = 1,
    kEQLowShelf = 2,
    kEQPeak = 3,
    kEQNotch = 4,
    kEQHighShelf = 5,
    kEQLowPass = 6,
    kEQBandPass = 7,
    kEQAllPass = 8,
};

enum PeakSubtype : int32_t {
    kPeakOndelane = 0, kPeak4kg, kPeakOx1, kPeakOx2, kPeakOx3, kPeakOx4, kPeak110, kPeak550,
    kPeak88, kPeak32, kPeakEE, kPeakFlatTop, kPeakButterworth, kPeak250, kPeakSubtypeCount
};
enum CutSubtype : int32_t {
    kCutOndelane = 0, kCutCoincident, kCutButterworth, kCutChebyshev, kCutBessel, kCutCritical,
    kCutLegendre, kCutElliptic, kCutAllpass, kCutHarmonics, kCutSubtypeCount
};
enum ShelfSubtype : int32_t {
    kShelfOndelane = 0, kShelf4kg, kShelf110, kShelf550, kShelfPultecBoost, kShelfPultecCut,
    kShelfFirstOrder, kShelfTilt, kShelfSubtypeCount
};

// Bits of getControlMask: which of the band's controls apply.
enum ControlBits : int32_t {
    kControlGain = 1, kControlFrequency = 2, kControlQ = 4, kControlShift = 8, kControlSlope = 16
};

// Subtype labels by family, in the order the editor lists them; count 0 for other types.
const char* const* subtypeLabels(int32_t type, int32_t* count);

class EQ {
public:
    EQ() = default;
    EQ(const EQ&) = delete;
    EQ& operator=(const EQ&) = delete;
    virtual ~EQ() = default;

    virtual void setSampleRate(float rate);
    virtual bool setOff(int32_t v);
    virtual bool setType(int32_t v);
    virtual bool setSubtype(int32_t v);
    virtual bool setFrequency(float v);
    virtual bool setOrder(int32_t v);
    virtual bool setGain(float v);
    virtual bool setQ(float v);
    virtual bool setShift(float v);
    virtual bool setPhase(float v);
    virtual bool setParallel(uint8_t v);
    virtual int32_t getOff() const { return off; }
    virtual int32_t getType() const { return type; }
    virtual int32_t getSubtype() const { return subtype; }
    virtual float getFrequency() const { return frequency; }
    virtual int32_t getOrder() const { return order; }
    virtual float getGain() const { return gain; }
    virtual float getQ() const { return q; }
    virtual float getShift() const { return shift; }
    virtual float getPhase() const { return phase; }
    virtual uint8_t getParallel() const { return parallel; }
    virtual int32_t getFlat() const { return flat; }
    virtual void setFlat(int32_t v) { flat = v; }
    virtual uint8_t isDirty() const { return dirty; }
    virtual float getEffectiveQ() const;
    virtual int32_t getControlMask() const;
    virtual const char* getShiftLabel() const;
    virtual void clearState() = 0;
    virtual void setIdentity(bool immediate) = 0;
    virtual void processDouble(double* buffer, int32_t count) = 0;
    virtual void processFloat(float* buffer, int32_t count) = 0;
    virtual int32_t getCoefficients(double* out) const = 0;
    virtual double digitalMagnitude(double frequency) const = 0;
    virtual void digitalResponse(double frequency, double* re, double* im) const = 0;
    virtual void setCoefficients(const double* sections, int32_t count) = 0;
    virtual void design() = 0;

    // The band's analogue sections with frequencies in Hz.
    void analogueSections(AnalogueSectionSet* out, bool evenIfOff) const;
    double analogueMagnitude(double frequency, bool evenIfOff) const;
    double analoguePhase(double frequency) const;

    float getSampleRate() const { return sampleRate; }

protected:
    // The fields the audio block reads are written by the transfer on other threads.
    Relaxed<int32_t> type{kEQNone};
    int32_t subtype = 0;
    uint8_t dirty = 1;
    int32_t order = 2;
    Relaxed<int32_t> off{1};
    Relaxed<int32_t> flat{0};
    float frequency = 1000;
    float gain = 0;
    float q = 0.707f;
    float shift = 0.5f;
    float phase = 1.0f;
    float sampleRate = 44100;
    Relaxed<uint8_t> parallel{0};
    AnalogueSectionSet sections;
    uint8_t designPending = 1;
};
