#pragma once
// Zero-latency convolution with a long impulse: tap 0 directly, then levels of doubling size,
// level j (S = 2^j) taking taps S .. 2S - 1 over blocks of S input samples. Blocks up to 16
// are convolved by multiply-add, larger ones by FFT. A level's result is due on the very
// sample its block completes, since its taps start S samples back; the levels are staggered
// by half a block so that no two large ones fall due on the same sample.
//
// The stereo form carries two channels through one complex transform (left in the real
// parts, right in the imaginary), so both share one impulse.
//
// Threads: setLength and clear exclude processing. load may run on another thread while audio
// is processed (one loader at a time); the new impulse is taken at the start of the next
// process call, without waiting or allocating on the audio side.

#include <atomic>
#include <cstdint>
#include <vector>

class PartitionedConvolver {
public:
    PartitionedConvolver() = default;
    PartitionedConvolver(const PartitionedConvolver&) = delete;
    PartitionedConvolver& operator=(const PartitionedConvolver&) = delete;

    // Allocates for n taps, n a power of two (rounded up otherwise), with a silent impulse and
    // clear stores.
    void setLength(int32_t n);
    int32_t getLength() const { return length; }

    // Takes getLength() taps. Safe against a running audio thread.
    void load(const double* h);
    // Forgets the input history; keeps the impulse.
    void clear();

    double process(double x);
    void process(double x, double x2, double& y, double& y2);
    // out may be the same buffer as in.
    void processBlock(const double* in, double* out, int32_t n);
    void processBlock(const double* in1, const double* in2, double* out1, double* out2,
                      int32_t n);

    // The FFT tables, grown at setLength for transforms of up to 2 * getLength() complex
    // points (4 * getLength() doubles). Up to that size cdft only reads them, so impulse
    // builders on another thread may share them.
    int32_t* fftIp() { return ip.data(); }
    double* fftW() { return w.data(); }

private:
    enum : uint8_t { kIdle = 0, kReady = 1, kSwapping = 2 };
    static constexpr int32_t kChunk = 256;

    void takePending();
    void run(const double* in1, const double* in2, double* out1, double* out2, int32_t n);
    void runLevel(int32_t S, const double* d, double* y, int32_t n);
    void convolveDirect(int32_t S);
    void convolveFft(int32_t S);

    std::vector<double> w;   // FFT twiddles, 2N
    std::vector<int32_t> ip; // FFT bit reversal, N + 2
    std::vector<double> input, output; // 4N each: level S at 4S, as 2S (left, right) pairs
    std::vector<double> partitions;    // 8N: the active and the pending set
    double* active = nullptr;  // tap 0 at [0], level S at [4S]
    double* spare = nullptr;   // where load writes
    int32_t position = 0;
    int32_t length = 0;
    int32_t mask = 0;
    int32_t log2Length = 0;
    std::atomic<uint8_t> pending{kIdle};
    double last1 = 0, last2 = 0; // the one-sample delay in front of the levels
    std::vector<double> delayed, sum; // kChunk (left, right) pairs each
};
