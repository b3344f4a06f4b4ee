// The rows of the exponential and logarithm families as the tests reach them: the stubs of the
// three levels (LA, HA, EP), contiguous and strided, double and single.
#pragma once

#include "zyn/vex.h"

namespace zyn::test {

using DFn = void (*)(int, const double *, double *);
using SFn = void (*)(int, const float *, float *);
using DFnI = void (*)(int, const double *, int, double *, int);
using SFnI = void (*)(int, const float *, int, float *, int);

struct ExplogRow {
  const char *stem;
  DFn d[3];
  SFn s[3];
  DFnI di[3];
  SFnI si[3];
};

#define ZYN_EXPLOG_ROW(S)                                                                     \
  ExplogRow {                                                                                 \
    #S, {_vexd##S##_50, _vexd##S, _vexd##S##_26}, {_vexs##S##_21, _vexs##S, _vexs##S##_11}, \
        {_vexd##S##I_50, _vexd##S##I, _vexd##S##I_26}, {_vexs##S##I_21, _vexs##S##I, _vexs##S##I_11} \
  }

inline const ExplogRow kExplogRows[] = {
    ZYN_EXPLOG_ROW(Exp),  ZYN_EXPLOG_ROW(Exp2),  ZYN_EXPLOG_ROW(Exp10), ZYN_EXPLOG_ROW(Expm1),
    ZYN_EXPLOG_ROW(Log2), ZYN_EXPLOG_ROW(Log10), ZYN_EXPLOG_ROW(Log1p), ZYN_EXPLOG_ROW(Logb),
};
#undef ZYN_EXPLOG_ROW

inline const char *kLevelName[3] = {"LA", "HA", "EP"};

}  // namespace zyn::test
