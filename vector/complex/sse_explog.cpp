// The arguments of the complex logarithms' SSE forms (sse_explog.hpp).
#include "vector/invtrig/invtrig_core.hpp"

namespace zyn::vk::cx::sse {

using V = __m128d;
V atan2_dd(V ay, V ax, V xsign, V ysign) { return invtrig::atan_core<invtrig::DHa, false, false>(ay, ax, xsign, ysign); }
V atan2_d(V ay, V ax, V xsign, V ysign) { return invtrig::atan_core<invtrig::SHa, false, false>(ay, ax, xsign, ysign); }

}  // namespace zyn::vk::cx::sse
