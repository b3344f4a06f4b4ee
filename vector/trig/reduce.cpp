// Payne-Hanek reduction of huge arguments by pi/2.
//
// x = m 2^e with m a 53-bit integer. The bits b_j 2^-j of 2/pi with e - j >= 2 add multiples
// of 4 to x 2/pi and are dropped; the next 192 bits W (from bit s) give
// x 2/pi = m W 2^-(s + 191 - e) (mod 4) with a truncation below m 2^-190 < 2^-137. The product
// m W has 245 bits; its two bits above the binary point are the quadrant and the 128 below the
// fraction f. The closest a double comes to a multiple of pi/2 is about 2^-61 relative to the
// quadrant, so f keeps at least 66 significant bits, all carried into the double-double.
#include <cstdint>
#include <cstring>

#include "vector/trig/trig_core.hpp"

namespace zyn::vk::trig {
namespace {
using u128 = unsigned __int128;

// Bits pos .. pos + 63 (1-based) of the 2/pi stream.
uint64_t bits64(int pos) {
  int w = (pos - 1) >> 6, off = (pos - 1) & 63;
  uint64_t v = data::trig_two_over_pi[w] << off;
  if (off != 0) v |= data::trig_two_over_pi[w + 1] >> (64 - off);
  return v;
}

// Bits off .. off + 63 of the 256-bit number p[0] (least significant) .. p[3].
uint64_t extract(const uint64_t *p, int off) {
  int w = off >> 6, b = off & 63;
  uint64_t v = p[w] >> b;
  if (b != 0 && w + 1 < 4) v |= p[w + 1] << (64 - b);
  return v;
}

// a * b = p + e exactly (Dekker), scalar.
void two_prod(double a, double b, double &p, double &e) {
  auto split = [](double v, double &h, double &l) {
    double c = v * 134217729.0;
    h = c - (c - v);
    l = v - h;
  };
  double ah, al, bh, bl;
  split(a, ah, al);
  split(b, bh, bl);
  p = a * b;
  e = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
}
}  // namespace

int reduce_huge(double x, double *hi, double *lo) {
  uint64_t b;
  memcpy(&b, &x, 8);
  const bool neg = (b >> 63) != 0;
  const int e = static_cast<int>((b >> 52) & 0x7ff) - 1075;  // x = m 2^e, e >= -32 here
  const uint64_t m = (b & 0x000fffffffffffffULL) | 0x0010000000000000ULL;
  const int s = e - 1 < 1 ? 1 : e - 1;
  const int k = s + 191 - e;  // binary point of m W, from 190 to 224
  const uint64_t w0 = bits64(s), w1 = bits64(s + 64), w2 = bits64(s + 128);
  u128 p2 = static_cast<u128>(m) * w2, p1 = static_cast<u128>(m) * w1, p0 = static_cast<u128>(m) * w0;
  uint64_t p[4];
  p[0] = static_cast<uint64_t>(p2);
  u128 t = static_cast<u128>(static_cast<uint64_t>(p1)) + static_cast<uint64_t>(p2 >> 64);
  p[1] = static_cast<uint64_t>(t);
  t = static_cast<u128>(static_cast<uint64_t>(p0)) + static_cast<uint64_t>(t >> 64) + static_cast<uint64_t>(p1 >> 64);
  p[2] = static_cast<uint64_t>(t);
  p[3] = static_cast<uint64_t>(t >> 64) + static_cast<uint64_t>(p0 >> 64);
  int q = static_cast<int>(extract(p, k) & 3);
  uint64_t fh = extract(p, k - 64), fl = extract(p, k - 128);
  // f in [-1/2, 1/2): a fraction of 1/2 or more counts toward the next quadrant
  __int128 f = static_cast<__int128>((static_cast<u128>(fh) << 64) | fl);
  if ((fh >> 63) != 0) q = (q + 1) & 3;  // f was read as negative two's complement already
  double fhi = static_cast<double>(f);
  __int128 rem;
  if (__builtin_fabs(fhi) >= 0x1p126) {  // fhi may have rounded up to 2^127: subtract halves
    const __int128 half = static_cast<__int128>(fhi * 0.5);
    rem = (f - half) - half;
  } else {
    rem = f - static_cast<__int128>(fhi);
  }
  double flo = static_cast<double>(rem);
  fhi *= 0x1p-128;
  flo *= 0x1p-128;
  // (fhi + flo) (pi/2 high + low)
  double ph, pe;
  two_prod(fhi, data::trig_pio2_dd[0], ph, pe);
  pe += fhi * data::trig_pio2_dd[1] + flo * data::trig_pio2_dd[0];
  double h = ph + pe;
  double l = pe - (h - ph);
  if (neg) {
    h = -h;
    l = -l;
    q = (4 - q) & 3;
  }
  *hi = h;
  *lo = l;
  return q;
}

}  // namespace zyn::vk::trig
