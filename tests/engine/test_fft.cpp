// The FFT against a direct DFT in long double, round trips, lazily grown tables, real packing.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "Fft.h"

namespace {

using cld = std::complex<long double>;

std::vector<double> randomSignal(int count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(-1, 1);
    std::vector<double> v{};
    v.resize(size_t(count));
    for (double& x : v) x = d(rng);
    return v;
}

double rms(const std::vector<double>& v) {
    double s = 0;
    for (double x : v) s += x * x;
    return std::sqrt(s / double(v.size()));
}

// Direct DFT of m complex points (interleaved), bins k only. sign -1 forward, +1 inverse. The
// exponent j k is reduced mod m exactly, so the roots come from one table in long double.
class DirectDft {
public:
    explicit DirectDft(int m) : m_(m), roots_(size_t(m)) {
        const long double pi = 3.141592653589793238462643383279502884L;
        for (int i = 0; i < m; ++i)
            roots_[size_t(i)] = std::polar(1.0L, -2 * pi * i / m);
    }
    cld bin(const std::vector<double>& x, int k, int sign) const {
        cld s = 0;
        for (int j = 0; j < m_; ++j) {
            const cld r = roots_[size_t((int64_t(j) * k) % m_)];
            s += cld(x[size_t(2 * j)], x[size_t(2 * j + 1)]) * (sign < 0 ? r : std::conj(r));
        }
        return s;
    }

private:
    int m_;
    std::vector<cld> roots_;
};

// All bins for small m; edges, the middle and a random sample for large m.
std::vector<int> binsToCheck(int m) {
    std::vector<int> bins;
    if (m <= 512) {
        for (int k = 0; k < m; ++k) bins.push_back(k);
        return bins;
    }
    for (int k : {0, 1, 2, 3, m / 8, m / 4 - 1, m / 4, m / 2 - 1, m / 2, m / 2 + 1, m - 2, m - 1})
        bins.push_back(k);
    std::mt19937 rng{unsigned(m)};
    std::uniform_int_distribution<int> d(0, m - 1);
    for (int i = 0; i < 40; ++i) bins.push_back(d(rng));
    return bins;
}

// Largest error over the checked bins, relative to the expected size of a bin of noise.
double errorAgainstDirect(const std::vector<double>& input, const std::vector<double>& output,
                          int m, int sign) {
    const DirectDft dft(m);
    const double scale = rms(input) * std::sqrt(double(m));
    double worst = 0;
    for (int k : binsToCheck(m)) {
        const cld want = dft.bin(input, k, sign);
        const double dr = double(want.real() - output[size_t(2 * k)]);
        const double di = double(want.imag() - output[size_t(2 * k + 1)]);
        worst = std::max(worst, std::hypot(dr, di) / scale);
    }
    return worst;
}

// Round-off of a correct FFT grows about as log2(m) epsilons; a wrong twiddle or a misplaced
// point shows as an error of order one.
double tolerance(int m) { return 4e-16 * std::log2(double(m)) + 1e-15; }

} // namespace

TEST(Fft, BothDirectionsMatchTheDirectDftFrom2To65536Points) {
    for (int m = 2; m <= 65536; m *= 2) {
        for (int sign : {-1, 1}) {
            const std::vector<double> x = randomSignal(2 * m, unsigned(m + sign));
            std::vector<double> a = x;
            FftTables t;
            t.reserve(2 * m);
            cdft(2 * m, sign, a.data(), t.ip.data(), t.w.data());
            EXPECT_LT(errorAgainstDirect(x, a, m, sign), tolerance(m)) << m << " points, " << sign;
        }
    }
}

TEST(Fft, ForwardThenInverseGivesHalfNTimesTheInput) {
    for (int n = 4; n <= (1 << 19); n *= 2) {
        const std::vector<double> x = randomSignal(n, unsigned(n));
        std::vector<double> a = x;
        FftTables t;
        t.reserve(n);
        cdft(n, -1, a.data(), t.ip.data(), t.w.data());
        cdft(n, 1, a.data(), t.ip.data(), t.w.data());
        double worst = 0;
        for (int i = 0; i < n; ++i) worst = std::max(worst, std::fabs(a[i] / (n / 2) - x[i]));
        EXPECT_LT(worst, 4 * tolerance(n / 2)) << n;
    }
}

// One set of tables, used largest first and then smallest first: a table built for a large
// transform serves the smaller ones from its end, and a small one grows when needed.
TEST(Fft, TablesGrownOnDemandServeEverySizeAfterwards) {
    std::vector<int> ascending;
    for (int m = 2; m <= 16384; m *= 2) ascending.push_back(m);
    std::vector<int> descending(ascending.rbegin(), ascending.rend());

    for (const std::vector<int>* order : {&descending, &ascending}) {
        FftTables t;
        t.reserve(2 * 16384);
        int grownTo = 0;
        for (int m : *order) {
            const std::vector<double> x = randomSignal(2 * m, unsigned(3 * m));
            std::vector<double> a = x;
            cdft(2 * m, -1, a.data(), t.ip.data(), t.w.data());
            grownTo = std::max(grownTo, m / 2);
            EXPECT_EQ(t.ip[0], grownTo) << "tables grow only when too small";
            EXPECT_LT(errorAgainstDirect(x, a, m, -1), tolerance(m)) << m << " points";
        }
    }
}

TEST(Fft, Rdft8192MatchesTheDirectRealDftAndItsPacking) {
    constexpr int n = 8192;
    const std::vector<double> x = randomSignal(n, 8192);
    FftTables t;
    t.reserve(n);
    // Tables left at another size by a complex transform are rebuilt at the fixed size.
    std::vector<double> other = randomSignal(64, 1);
    cdft(64, -1, other.data(), t.ip.data(), t.w.data());

    std::vector<double> a = x;
    rdft8192(a.data(), t.ip.data(), t.w.data());
    EXPECT_EQ(t.ip[0], 2048);
    EXPECT_EQ(t.ip[1], 2048);

    const long double pi = 3.141592653589793238462643383279502884L;
    auto bin = [&](int k) {
        cld s = 0;
        for (int j = 0; j < n; ++j)
            s += (long double)x[size_t(j)] * std::polar(1.0L, -2 * pi * ((int64_t(j) * k) % n) / n);
        return s;
    };
    const double scale = rms(x) * std::sqrt(double(n));
    const double tol = tolerance(n) * scale;
    EXPECT_NEAR(a[0], double(bin(0).real()), tol);
    EXPECT_NEAR(a[1], double(bin(n / 2).real()), tol);
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> d(1, n / 2 - 1);
    std::vector<int> bins = {1, 2, n / 4 - 1, n / 4, n / 4 + 1, n / 2 - 2, n / 2 - 1};
    for (int i = 0; i < 60; ++i) bins.push_back(d(rng));
    for (int k : bins) {
        const cld want = bin(k);
        EXPECT_NEAR(a[size_t(2 * k)], double(want.real()), tol) << k;
        EXPECT_NEAR(a[size_t(2 * k + 1)], double(want.imag()), tol) << k;
    }
}
