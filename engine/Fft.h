#pragma once
// In-place power-of-two FFT in double precision: split-radix, decimation in frequency, with
// two work arrays the caller keeps and the functions fill lazily.
//
// ip: at least 2 + sqrt(n/2) ints, ip[0] = 0 before first use. ip[0] counts the twiddle
// values ready in w, ip[1] the cosine values of the real transform, which sit just after them.
// w:  n/2 doubles for transforms of up to n doubles.
// A transform of n doubles needs ip[0] * 4 >= n and grows the tables first otherwise. A
// larger table serves any smaller n, so once grown the tables are only read and may be shared
// between threads. Nothing here allocates.

#include <vector>

// Complex transform of n/2 points stored as n doubles (re, im interleaved); n a power of two.
// isgn < 0: forward, X[k] = sum x[j] exp(-2 pi i j k / (n/2)).
// isgn >= 0: inverse without scaling, exp(+2 pi i j k / (n/2)).
void cdft(int n, int isgn, double* a, int* ip, double* w);

// Forward real transform of exactly 8192 values, X[k] = sum a[j] exp(-2 pi i j k / 8192),
// packed in place: a[0] = X[0], a[1] = X[4096] (both real), then a[2k], a[2k + 1] = re, im of
// X[k] for k = 1 .. 4095. The tables are fixed at 2048 twiddle and 2048 cosine values, so w
// needs 4096 doubles and ip 66 ints.
void rdft8192(double* a, int* ip, double* w);

// Twiddles for transforms of up to 4 * nw doubles into w[0 .. nw), and the bit-reversal table
// into ip[2 ..]. nw a power of two. Marks the cosine table as empty.
void makewt(int nw, int* ip, double* w);

// The nc cosine values of the real transform into c (which is w + ip[0] for rdft8192).
void makect(int nc, int* ip, double* c);

// Tables owned by one user of cdft. Allocation happens only in reserve.
struct FftTables {
    std::vector<int> ip;
    std::vector<double> w;

    // Room for transforms of up to n doubles; keeps the tables if they are large enough.
    void reserve(int n);
};
