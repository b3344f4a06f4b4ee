// The MPFR oracle of the vector functions: reference values, error measures, input sets, the
// accuracy limits of every row, and the table of functions the accuracy tool and the accuracy
// test know. Kernels are reached by their exported names (looked up at run time), so a row not
// built yet is simply absent.
#pragma once

#include <mpfr.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "zyn/vex.h"

namespace zyn::oracle {

using Mpfr1 = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
using Mpfr2 = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);

// Where random inputs come from, per input: [lo, hi], spread by exponent and uniformly, points
// near which the function is delicate (edges of the domain, zeros of the result), and bands
// [a, b] swept uniformly (switch points of the kernels, tails).
struct Domain {
  double lo, hi;
  std::vector<double> edges;
  std::vector<std::array<double, 2>> bands = {};
};

// The bound of each level, [0] double and [1] single: LA and HA in ulp, EP in good bits
// (-log2 of the relative error, absolute near the zeros).
struct Limits {
  double la[2] = {4, 4}, ha[2] = {1, 1}, ep_bits[2] = {26, 11};
};
inline constexpr Limits kDefaultLimits{};
// exp, log, the roots and their kin: HA 0.6 ulp in double
inline constexpr Limits kExpLogLimits{{4, 4}, {0.6, 1}, {26, 11}};
// exact results, and correctly rounded ones, at every level
inline constexpr Limits kExactLimits{{0, 0}, {0, 0}, {53, 24}};
inline constexpr Limits kRoundedLimits{{0.5, 0.5}, {0.5, 0.5}, {53, 24}};

struct Function {
  std::string stem;  // "Ln"
  int arity;         // 1 or 2
  Mpfr1 f1;
  Mpfr2 f2;
  Domain dom[2];
  // EP accuracy is relative to max(|f|, zero_scale): absolute near the zeros of f when
  // zero_scale > 0 (the level's error near a zero is meant to be absolute). Denormal results
  // are measured against the type's smallest normal.
  double zero_scale;
  Limits lim = kDefaultLimits;
  // Inputs swept in every run besides the random ones (hard arguments, edges of vector paths).
  std::vector<double> points = {};
  // A second argument that is one scalar per call (Powx: kernel(n, a, b, y)): each value is
  // swept as its own row, with the inputs of dom[0] for a.
  std::vector<double> scalar_b = {};
  // The second result of a two-result row (SinCos: kernel(n, a, y, z), y = f1(a), z =
  // second(a)); a sweep reports the worse of the two.
  Mpfr1 second = nullptr;
  // The second argument of a two-argument row drawn for each first one, from u uniform in
  // [0, 1) (Pow: exponents that spread x^b from below the underflow to beyond the overflow of
  // the type); without it the second arguments come from dom[1].
  double (*pair)(double x, double u, bool single) = nullptr;
  // A size below which errors are absolute, by argument: both measures are taken at
  // max(|f|, floor(x)) (LGamma: 1 for x < 0, where the reflection's terms cancel near its
  // negative zeros).
  double (*floor)(double x) = nullptr;
};

// All functions the oracle knows, in the order they were registered.
const std::vector<Function> &functions();

// Adds functions to the table; each family does it from a static object in its own
// functions_<family>.cpp:
//   static const zyn::oracle::Register reg({{"Ln", 1, mpfr_log, nullptr, {...}, 1.0}});
struct Register {
  explicit Register(std::vector<Function> fs);
};
const Function *find(const std::string &stem);

// Correctly rounded reference of f at x (and x2), in double or float.
double reference_d(const Function &f, double x, double x2 = 0);
float reference_s(const Function &f, float x, float x2 = 0);

// Error of y against the exact value of f at the inputs, in units in the last place of the
// result's type (precision 53 or 24), and the relative error measure of the EP level. Both are
// 0 when y and the reference are the same NaN-ness or the same infinity.
struct Error {
  double ulp = 0;
  double rel = 0;
};
Error error_d(const Function &f, double y, double x, double x2 = 0);
Error error_s(const Function &f, float y, float x, float x2 = 0);
// The same against an exact value r, relative to max(|r|, zero_scale).
Error error_at_d(mpfr_srcptr r, double y, double zero_scale);
Error error_at_s(mpfr_srcptr r, float y, double zero_scale);

// Deterministic input sets: random over the domain by exponent and uniformly (the domain cut to
// [-1024, 1024], and its bands), and near 1 and the domain's edges; `count` in all.
std::vector<double> inputs_d(const Domain &d, size_t count, uint64_t seed);
std::vector<float> inputs_s(const Domain &d, size_t count, uint64_t seed);
std::vector<double> specials_d();
std::vector<float> specials_s();

// A row and level reached through its exported stub ("_vexdLn_50"), or null when the row is not
// built.
void *stub(const std::string &name);
// The stub name of a row at a level (0 LA, 1 HA, 2 EP): type 'd' or 's'.
std::string stub_name(char type, const std::string &stem, int level);

// Worst errors of one row and level over the given inputs.
struct Sweep {
  double max_ulp = 0, max_rel = 0;
  double worst_x = 0, worst_x2 = 0;
  size_t count = 0;
};
Sweep sweep_d(const Function &f, void *kernel, const std::vector<double> &x,
              const std::vector<double> &x2);
Sweep sweep_s(const Function &f, void *kernel, const std::vector<float> &x,
              const std::vector<float> &x2);
// The same for a kernel whose second argument is the scalar b.
Sweep sweep_scalar_d(const Function &f, void *kernel, const std::vector<double> &x, double b);
Sweep sweep_scalar_s(const Function &f, void *kernel, const std::vector<float> &x, float b);

// One row of a function in one type ("vdPowx(2.7)" for each scalar b) swept at its three levels
// over `count` random inputs, the registered points and the special values. The reference of
// each input is computed once for all levels; the work is spread over the machine's cores.
template <class S>
struct RowOf {
  std::string row;  // "vdLn", "vsPowx(2.7)", "vzPowx(2.7,0.5)"
  bool single;
  bool built[3];
  S level[3];
};
using RowSweep = RowOf<Sweep>;
std::vector<RowSweep> sweep_rows(const Function &f, char type, size_t count, uint64_t seed);

// Runs work(t) for t in [0, n): work(0) on the calling thread, whose vector mode it keeps.
void on_threads(unsigned n, const std::function<void(unsigned)> &work);

// Worst error of a sweep so far (S: Sweep or the complex one) and the input that reaches it;
// ties keep the earlier input, so threads give the same report.
template <class S, class In>
struct Worst {
  S s;
  In in{};
  size_t at = SIZE_MAX;
  void take(Error e, size_t i, const In &where) {
    if (e.ulp > s.max_ulp || (e.ulp == s.max_ulp && e.ulp > 0 && i < at)) s.max_ulp = e.ulp, in = where, at = i;
    s.max_rel = std::fmax(s.max_rel, e.rel);
  }
  void merge(const Worst &o) { take({o.s.max_ulp, o.s.max_rel}, o.at, o.in); }
};

// Sweeps n inputs at three levels, in chunks of `chunk` spread over the cores: work(worst, next)
// on each thread, where next(i0, m) hands out the next chunk (false when none is left) and
// worst[level] takes the thread's errors. Returns each level's worst over all threads, with
// place(s, in) storing the worst input in s.
template <class S, class In, class Work, class Place>
std::array<S, 3> sweep_chunks(size_t n, size_t chunk, Work work, Place place) {
  const size_t nchunks = (n + chunk - 1) / chunk;
  std::atomic<size_t> next{0};
  // MPFR keeps its caches and exponent range per thread only when built thread-safe
  const unsigned cores = mpfr_buildopt_tls_p() ? std::thread::hardware_concurrency() : 1;
  const unsigned nthreads = std::max(1u, std::min<unsigned>(cores, nchunks));
  std::vector<std::array<Worst<S, In>, 3>> worst(nthreads);
  on_threads(nthreads, [&](unsigned id) {
    _vexSetMode(VEX_ERRMODE_IGNORE);  // errors are measured here; statuses are tested elsewhere
    work(worst[id], [&](size_t &i0, size_t &m) {
      const size_t c = next.fetch_add(1);
      if (c >= nchunks) return false;
      i0 = c * chunk, m = std::min(chunk, n - i0);
      return true;
    });
    mpfr_free_cache2(MPFR_FREE_LOCAL_CACHE);
  });
  std::array<S, 3> out;
  for (int lv = 0; lv < 3; ++lv) {
    Worst<S, In> w;
    for (auto &ws : worst) w.merge(ws[lv]);
    out[lv] = w.s;
    place(out[lv], w.in);
    out[lv].count = n;
  }
  return out;
}

// The bound of a row at a level and whether a sweep keeps it; `what` describes the bound.
bool within(const Function &f, bool single, int level, const Sweep &s);
std::string bound_text(const Function &f, bool single, int level);

}  // namespace zyn::oracle
