// The MPC oracle of the complex rows: references, the two error measures, input sets over the
// plane and beside the branch cuts, and the sweep of a row at its three levels.
//
// Per part (LA, HA): the worst error in ulp of the part's own size over the parts that are not
// cancelled: |part| >= 2^-12 |f| (c rows) or 2^-26 |f| (z rows); for Mul, MulByConj and Div a
// part whose numerator's two products have the same effective sign. Normwise (EP): the worst
// |y - f| / |f|. A reference part beyond the type's range asks for the infinity it rounds to.
// Abs, Arg (complex in, real out) and CIS (real in, complex out) are measured as real rows, with
// the bounds of Hypot, Atan2 and SinCos.
#pragma once

#include <mpc.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/accuracy/oracle.hpp"

namespace zyn::oracle::cx {

enum class Shape { unary, binary, scalar, to_real, from_real };
// Where a function's branch cuts lie: the inputs sweep both sides of them.
enum class Cut { none, neg_real, real_outside, acosh, imag_outside };
// The cancellation rule of a part: by its size, or by the signs of the numerator's products of
// a (b) (Mul) or a conj(b) (MulByConj, Div).
enum class Cancel { by_size, mul, mul_conj };

using Mpc1 = int (*)(mpc_ptr, mpc_srcptr, mpc_rnd_t);
using Mpc2 = int (*)(mpc_ptr, mpc_srcptr, mpc_srcptr, mpc_rnd_t);
using MpcR = int (*)(mpfr_ptr, mpc_srcptr, mpfr_rnd_t);

struct CxFunction {
  std::string stem;
  Shape shape;
  Mpc1 f1 = nullptr;  // unary
  Mpc2 f2 = nullptr;  // binary, scalar
  MpcR fr = nullptr;  // to_real
  Cut cut = Cut::none;
  Cancel cancel = Cancel::by_size;
  Limits lim = {{4, 4}, {2, 1}, {26, 11}};
  // The real row whose bounds a mixed row keeps ("Hypot"); empty for a complex result.
  std::string real_row = {};
  // Exponents of a Powx row, each its own row; the second input of Pow from the first.
  std::vector<std::array<double, 2>> scalar_b = {};
  // Parts of moderate inputs up to this size (the growing functions' whole range).
  double box = 10;
};

const std::vector<CxFunction> &functions();
const CxFunction *find(const std::string &stem);

// Inputs of element type T (float or double) as pairs of parts.
template <class T>
using Pair = std::array<T, 2>;
template <class T>
std::vector<Pair<T>> inputs(const CxFunction &f, size_t count, uint64_t seed);
// The second input of Pow for each first one.
template <class T>
std::vector<Pair<T>> pow_exponents(const std::vector<Pair<T>> &a, uint64_t seed);

// Errors of one element y against f at a (b): per part (ulp) over the parts counted, and
// normwise (EP measure). CIS takes a[0]; Abs and Arg give their real result in y[0].
template <class T>
Error error(const CxFunction &f, Pair<T> y, Pair<T> a, Pair<T> b = {});

struct CxSweep {
  double max_ulp = 0, max_rel = 0;
  std::array<double, 4> worst = {};  // a, b of the worst ulp
  size_t count = 0;
};
using CxRowSweep = RowOf<CxSweep>;
std::vector<CxRowSweep> sweep_rows(const CxFunction &f, char type, size_t count, uint64_t seed);

bool within(const CxFunction &f, bool single, int level, const CxSweep &s);
std::string bound_text(const CxFunction &f, bool single, int level);

}  // namespace zyn::oracle::cx
