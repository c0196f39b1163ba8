#include "PartitionedConvolver.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "Fft.h"

namespace {

constexpr int32_t kLargestDirectLevel = 16;

} // namespace

void PartitionedConvolver::setLength(int32_t n) {
    int32_t N = 1, bits = 0;
    while (N < n) N *= 2, ++bits;
    length = N;
    mask = N - 1;
    log2Length = bits;
    w.assign(size_t(2 * N), 0.0);
    ip.assign(size_t(N + 2), 0);
    // Twiddles for up to 2N complex points, twice the largest level transform, so that the
    // impulse builders can share the tables for their own transforms.
    makewt(N, ip.data(), w.data());
    input.assign(size_t(4 * N), 0.0);
    output.assign(size_t(4 * N), 0.0);
    partitions.assign(size_t(8 * N), 0.0);
    active = partitions.data();
    spare = active + 4 * N;
    pending.store(kIdle, std::memory_order_relaxed);
    delayed.assign(2 * kChunk, 0.0);
    sum.assign(2 * kChunk, 0.0);
    position = 0;
    last1 = last2 = 0;
}

void PartitionedConvolver::clear() {
    std::fill(input.begin(), input.end(), 0.0);
    std::fill(output.begin(), output.end(), 0.0);
    position = 0;
    last1 = last2 = 0;
}

void PartitionedConvolver::load(const double* h) {
    // Claim the spare set: withdraw an impulse the audio side has not taken yet, or let a swap
    // in progress finish (it is two pointer moves).
    for (;;) {
        uint8_t state = pending.load(std::memory_order_acquire);
        if (state == kIdle) break;
        if (state == kReady &&
            pending.compare_exchange_weak(state, kIdle, std::memory_order_acquire))
            break;
        if (state == kSwapping) std::this_thread::yield();
    }
    double* p = spare;
    std::fill(p, p + 4 * length, 0.0);
    p[0] = h[0];
    for (int32_t S = 1; S < length; S *= 2) {
        double* level = p + 4 * S;
        if (S <= kLargestDirectLevel) {
            // Once per lane, so that a (left, right) pair takes its tap in one multiply.
            for (int32_t k = 0; k < S; ++k) level[2 * k] = level[2 * k + 1] = h[S + k];
        } else {
            for (int32_t k = 0; k < S; ++k) level[2 * k] = h[S + k];
            cdft(4 * S, -1, level, ip.data(), w.data());
        }
    }
    pending.store(kReady, std::memory_order_release);
}

void PartitionedConvolver::takePending() {
    if (pending.load(std::memory_order_relaxed) != kReady) return;
    uint8_t expected = kReady;
    if (!pending.compare_exchange_strong(expected, kSwapping, std::memory_order_acquire,
                                         std::memory_order_relaxed))
        return;
    std::swap(active, spare);
    pending.store(kIdle, std::memory_order_release);
}

double PartitionedConvolver::process(double x) {
    double y;
    run(&x, nullptr, &y, nullptr, 1);
    return y;
}

void PartitionedConvolver::process(double x, double x2, double& y, double& y2) {
    run(&x, &x2, &y, &y2, 1);
}

void PartitionedConvolver::processBlock(const double* in, double* out, int32_t n) {
    run(in, nullptr, out, nullptr, n);
}

void PartitionedConvolver::processBlock(const double* in1, const double* in2, double* out1,
                                        double* out2, int32_t n) {
    run(in1, in2, out1, out2, n);
}

// Level by level over a chunk rather than sample by sample: the levels only share the delayed
// input and the output sum, so the order of their work within a chunk does not matter.
void PartitionedConvolver::run(const double* in1, const double* in2, double* out1,
                               double* out2, int32_t n) {
    if (length == 0) return;
    takePending();
    for (int32_t done = 0; done < n;) {
        const int32_t count = std::min(kChunk, n - done);
        double* d = delayed.data();
        double* y = sum.data();
        for (int32_t i = 0; i < count; ++i) {
            d[2 * i] = last1;
            d[2 * i + 1] = last2;
            last1 = in1[done + i];
            last2 = in2 ? in2[done + i] : 0;
        }
        std::fill(y, y + 2 * count, 0.0);
        if (length > 1) {
            const double h1 = active[4]; // the level of size 1 is one multiply
            for (int32_t k = 0; k < 2 * count; ++k) y[k] += d[k] * h1;
        }
        for (int32_t S = 2; S < length; S *= 2) runLevel(S, d, y, count);
        const double h0 = active[0];
        for (int32_t i = 0; i < count; ++i) out1[done + i] = in1[done + i] * h0 + y[2 * i];
        if (out2)
            for (int32_t i = 0; i < count; ++i)
                out2[done + i] = (in2 ? in2[done + i] * h0 : 0) + y[2 * i + 1];
        position = (position + count) & mask;
        done += count;
    }
}

// Block position q of each sample; the half-size offset staggers the levels. On the sample
// that completes a block (q = S - 1) the level's new results are due at once.
void PartitionedConvolver::runLevel(int32_t S, const double* d, double* y, int32_t n) {
    int32_t q = (S / 2 + position - 1) & (S - 1);
    double* in = input.data() + 4 * S;
    const double* out = output.data() + 4 * S;
    for (int32_t i = 0; i < n;) {
        const int32_t len = std::min(n - i, S - q);
        std::memcpy(in + 2 * q, d + 2 * i, sizeof(double) * size_t(2 * len));
        const bool due = q + len == S;
        const int32_t reads = due ? len - 1 : len;
        const double* from = out + 2 * (q + 1);
        double* to = y + 2 * i;
        for (int32_t k = 0; k < 2 * reads; ++k) to[k] += from[k];
        i += len;
        if (due) {
            if (S <= kLargestDirectLevel)
                convolveDirect(S);
            else
                convolveFft(S);
            y[2 * i - 2] += out[0];
            y[2 * i - 1] += out[1];
            q = 0;
        } else {
            q += len;
        }
    }
}

// The block times the level's S taps, 2S - 1 results; the first S take the previous block's
// tail, the rest become the new tail.
void PartitionedConvolver::convolveDirect(int32_t S) {
    const double* x = input.data() + 4 * S;
    const double* g = active + 4 * S;
    double* o = output.data() + 4 * S;
    for (int32_t m = 0; m < S; ++m) {
        double lo1 = 0, lo2 = 0, hi1 = 0, hi2 = 0;
        for (int32_t k = 0; k <= m; ++k) {
            lo1 += x[2 * (m - k)] * g[2 * k];
            lo2 += x[2 * (m - k) + 1] * g[2 * k + 1];
        }
        for (int32_t k = m + 1; k < S; ++k) {
            hi1 += x[2 * (S + m - k)] * g[2 * k];
            hi2 += x[2 * (S + m - k) + 1] * g[2 * k + 1];
        }
        o[2 * m] = o[2 * (S + m)] + lo1;
        o[2 * m + 1] = o[2 * (S + m) + 1] + lo2;
        o[2 * (S + m)] = hi1;
        o[2 * (S + m) + 1] = hi2;
    }
}

// The block zero-padded to 2S points, through the level's spectrum and back; the forward and
// inverse pair scales by 2S, undone with the spectrum.
void PartitionedConvolver::convolveFft(int32_t S) {
    double* x = input.data() + 4 * S;
    const double* H = active + 4 * S;
    double* o = output.data() + 4 * S;
    std::fill(x + 2 * S, x + 4 * S, 0.0);
    cdft(4 * S, -1, x, ip.data(), w.data());
    const double scale = 0.5 / S;
    for (int32_t k = 0; k < 4 * S; k += 2) {
        const double re = x[k] * H[k] - x[k + 1] * H[k + 1];
        const double im = x[k] * H[k + 1] + x[k + 1] * H[k];
        x[k] = re * scale;
        x[k + 1] = im * scale;
    }
    cdft(4 * S, 1, x, ip.data(), w.data());
    for (int32_t k = 0; k < 2 * S; ++k) {
        o[k] = x[k] + o[2 * S + k];
        o[2 * S + k] = x[2 * S + k];
    }
}
