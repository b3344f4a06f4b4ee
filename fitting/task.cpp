// The fitting task: creation, edits, queries, deletion and the cell-lookup table.
#include <cstring>

#include "fitting/common.hpp"

namespace zyn::df {

namespace {

bool x_hint_ok(int64_t h) {
  return h == DF_PARTITION_NO_HINT || h == DF_PARTITION_NON_UNIFORM ||
         h == DF_PARTITION_QUASI_UNIFORM || h == DF_PARTITION_UNIFORM;
}
bool y_hint_ok(int64_t h) {
  return h == DF_FUNCS_NO_HINT || h == DF_FUNCS_ROWS || h == DF_FUNCS_COLUMNS ||
         h == DF_FUNCS_ROWS_BY_POINTER;
}
bool coeff_hint_ok(int64_t h) {
  return h == DF_COEFF_NO_HINT || h == DF_COEFF_ROWS || h == DF_COEFF_COLUMNS ||
         h == DF_COEFF_BY_POINTER;
}

// Element size of the task's precision.
size_t elem(const DfTask *t) { return t->precision ? sizeof(double) : sizeof(float); }

// Fills the function-pointer table as creation does.
void fill_y(DfTask *t, const void *y) {
  if (t->yHint == DF_FUNCS_NO_HINT || t->yHint == DF_FUNCS_ROWS) {
    const char *base = static_cast<const char *>(y);
    for (int64_t i = 0; i < t->ny; ++i) t->y[i] = base + i * t->nx * elem(t);
  } else {
    t->y[0] = y;
  }
}

int64_t coeff_stride(const DfTask *t) {
  return (t->splineType == DF_PP_SUBBOTIN ? t->nx : t->nx - 1) * t->splineOrder;
}

// Replaces the coefficient table with ny slots filled by the rule of coeffHint.
int set_coeff_table(DfTask *t, void *coeff, int64_t hint) {
  release(t->coeff);
  t->coeff = static_cast<void **>(allocate(static_cast<size_t>(t->ny) * sizeof(void *)));
  if (!t->coeff) return DF_ERROR_MEM_FAILURE;
  if (hint & DF_COEFF_BY_POINTER) {
    t->coeff[0] = coeff;
  } else {
    char *base = static_cast<char *>(coeff);
    for (int64_t i = 0; i < t->ny; ++i) t->coeff[i] = base + i * coeff_stride(t) * elem(t);
  }
  return DF_STATUS_OK;
}

template <class T>
int new_task(DfTask **task, int64_t nx, const T *x, int64_t xHint, int64_t ny, const T *y,
             int64_t yHint, int32_t indexWidth) {
  if (nx < 2) return DF_ERROR_BAD_NX;
  if (!x) return DF_ERROR_NULL_X;
  if (!x_hint_ok(xHint)) return DF_ERROR_BAD_X_HINT;
  if (ny != 0 && !y) return DF_ERROR_NULL_Y;
  if (ny == 0 && y) return DF_ERROR_BAD_NY;
  if (!y_hint_ok(yHint)) return DF_ERROR_BAD_Y_HINT;
  DfTask *t = static_cast<DfTask *>(allocate(sizeof(DfTask)));
  *task = t;
  if (!t) return DF_ERROR_MEM_FAILURE;
  std::memset(static_cast<void *>(t), 0, sizeof(DfTask));
  t->nx = nx;
  t->x = x;
  t->xHint = xHint;
  t->precision = sizeof(T) == sizeof(double);
  if (y) {
    size_t slots = yHint == DF_FUNCS_COLUMNS ? 1 : static_cast<size_t>(ny);
    t->y = static_cast<const void **>(allocate(slots * sizeof(void *)));
    if (!t->y) return DF_ERROR_MEM_FAILURE;
    t->ny = ny;
    t->yHint = yHint;
    fill_y(t, y);
  }
  t->ny = ny;
  t->yHint = yHint;
  t->indexWidth = indexWidth;
  t->formTag = 4;
  t->state = 1;
  t->cellTable = static_cast<int64_t *>(allocate(DF_CELL_TABLE_BYTES));
  if (!t->cellTable) return DF_ERROR_MEM_FAILURE;
  if (xHint == DF_PARTITION_UNIFORM) return DF_STATUS_OK;
  build_cell_table<T>(t);
  return DF_STATUS_OK;
}

template <class T>
int edit_ptr(DfTask *t, int code, const T *p) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (t->state != 1) return DF_STATUS_OK;
  switch (code) {
    case DF_PTR_X:
      if (!p) return DF_ERROR_NULL_X;
      t->x = p;
      return DF_STATUS_OK;
    case DF_PTR_Y: {
      if (!p) return DF_ERROR_NULL_Y;
      release(t->y);
      size_t slots = t->yHint == DF_FUNCS_COLUMNS ? 1 : static_cast<size_t>(t->ny);
      t->y = static_cast<const void **>(allocate(slots * sizeof(void *)));
      if (!t->y) return DF_ERROR_MEM_FAILURE;
      fill_y(t, p);
      return DF_STATUS_OK;
    }
    case DF_PTR_IC:
      if (!p) return DF_ERROR_NULL_IC;
      t->ic = p;
      return DF_STATUS_OK;
    case DF_PTR_BC:
      if (!p) return DF_ERROR_NULL_BC;
      t->bc = p;
      return DF_STATUS_OK;
    case DF_PTR_COEFF:
      if (!p) return DF_ERROR_NULL_COEFF;
      if (t->ny == 0) return DF_ERROR_BAD_NY;
      return set_coeff_table(t, const_cast<T *>(p), t->coeffHint);
    default:
      return DF_ERROR_BAD_EDIT_CODE;
  }
}

int edit_idx_ptr(DfTask *t, int code, int64_t index, const void *p) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (t->state != 1) return DF_STATUS_OK;
  if (code == DF_PTR_Y) {
    if (t->yHint == DF_FUNCS_COLUMNS) return DF_ERROR_BAD_Y_HINT;
    if (index < 0 || index >= t->ny) return DF_ERROR_BAD_INDEX;
    if (!p) return DF_ERROR_NULL_Y;
    t->y[index] = p;
    return DF_STATUS_OK;
  }
  if (code == DF_PTR_COEFF) {
    if (index < 0 || index >= t->ny) return DF_ERROR_BAD_INDEX;
    if (!p) return DF_ERROR_NULL_COEFF;
    t->coeff[index] = const_cast<void *>(p);
    return DF_STATUS_OK;
  }
  return DF_ERROR_BAD_EDIT_CODE;
}

template <class T>
int query_ptr(DfTask *t, int code, const T **r) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (!r) return DF_ERROR_NULL_PTR;
  if (t->state != 1) return DF_STATUS_OK;
  switch (code) {
    case DF_PTR_X: *r = static_cast<const T *>(t->x); return DF_STATUS_OK;
    case DF_PTR_Y: *r = static_cast<const T *>(t->y[0]); return DF_STATUS_OK;
    case DF_PTR_IC: *r = static_cast<const T *>(t->ic); return DF_STATUS_OK;
    case DF_PTR_BC: *r = static_cast<const T *>(t->bc); return DF_STATUS_OK;
    case DF_PTR_COEFF: *r = static_cast<const T *>(t->coeff[0]); return DF_STATUS_OK;
    default: return DF_ERROR_BAD_EDIT_CODE;
  }
}

int query_idx_ptr(DfTask *t, int code, int64_t index, const void **r) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (!r) return DF_ERROR_NULL_PTR;
  if (index < 0 || index > t->ny) return DF_ERROR_BAD_INDEX;  // one past the end is let through
  if (t->state != 1) return DF_STATUS_OK;
  if (code == DF_PTR_Y) {
    if (t->yHint == DF_FUNCS_COLUMNS) return DF_ERROR_BAD_Y_HINT;
    *r = t->y[index];
    return DF_STATUS_OK;
  }
  if (code == DF_PTR_COEFF) {
    *r = t->coeff[index];
    return DF_STATUS_OK;
  }
  return DF_ERROR_BAD_EDIT_CODE;
}

template <class T>
int edit_pp(DfTask *t, int64_t order, int64_t type, int64_t bcType, const T *bc, int64_t icType,
            const T *ic, T *coeff, int64_t coeffHint) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (order < 0) return DF_ERROR_BAD_SPLINE_ORDER;
  if (type < 0) return DF_ERROR_BAD_SPLINE_TYPE;
  t->splineOrder = order;
  t->splineType = type;
  const bool bc_free = bcType == 0 || bcType == DF_BC_NOT_A_KNOT || bcType == DF_BC_FREE_END ||
                       bcType == DF_BC_PERIODIC;
  if (!bc_free && !bc) return DF_ERROR_NULL_BC;
  t->bcType = bcType;
  t->bc = bc;
  if (icType == DF_NO_IC && ic) return DF_ERROR_BAD_IC_TYPE;
  if (icType != DF_NO_IC && !ic) return DF_ERROR_NULL_IC;
  t->icType = icType;
  t->ic = ic;
  if (coeff) {
    if (t->ny == 0) return DF_ERROR_BAD_NY;
    int st = set_coeff_table(t, coeff, coeffHint);
    if (st) return st;
  }
  t->coeffHint = coeffHint;
  return DF_STATUS_OK;
}

}  // namespace

template <class T>
void build_cell_table(DfTask *t) {
  const int64_t nx = t->nx;
  const T *x = xs<T>(t);
  const int64_t n = cell_table_size(nx);
  int64_t *e = t->cellTable;  // entry j: e[2j] = lo, e[2j+1] = hi
  t->cellTableSize = n;
  for (int64_t j = 0; j < n; ++j) e[2 * j] = e[2 * j + 1] = -1;
  e[0] = 0;
  const T scale = static_cast<T>(n) / (x[nx - 1] - x[0]);
  if constexpr (sizeof(T) == 8) t->cellScale.d = scale; else t->cellScale.s = scale;
  for (int64_t i = 1; i < nx; ++i) {
    const int64_t b = static_cast<int64_t>((x[i] - x[0]) * scale);
    if (!(b > 0 && b <= n)) continue;  // b == 0, or a degenerate partition (equal ends)
    if (e[2 * (b - 1) + 1] == -1) e[2 * (b - 1) + 1] = i;
    e[2 * (b + 1)] = i;  // b may reach n, so entry n + 1 is written: the block has room
  }
  e[2 * (n - 1) + 1] = nx - 1;
  for (int64_t j = 1; j < n; ++j)
    if (e[2 * j] == -1) e[2 * j] = e[2 * (j - 1)];
  for (int64_t j = n - 2; j >= 0; --j)
    if (e[2 * j + 1] == -1) e[2 * j + 1] = e[2 * (j + 1) + 1];
  e[2 * n] = e[2 * (n - 1)];
  e[2 * n + 1] = e[2 * (n - 1) + 1];
}

template void build_cell_table<double>(DfTask *);
template void build_cell_table<float>(DfTask *);

}  // namespace zyn::df

using namespace zyn::df;

int zyn_df_kernel_dNewTask1D(DfTask **task, int64_t nx, const double *x, int64_t xHint, int64_t ny,
                             const double *y, int64_t yHint, int32_t indexWidth) {
  return new_task(task, nx, x, xHint, ny, y, yHint, indexWidth);
}
int zyn_df_kernel_sNewTask1D(DfTask **task, int64_t nx, const float *x, int64_t xHint, int64_t ny,
                             const float *y, int64_t yHint, int32_t indexWidth) {
  return new_task(task, nx, x, xHint, ny, y, yHint, indexWidth);
}

int zyn_df_kernel_DeleteTask(DfTask **task) {
  if (!task || !*task) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  DfTask *t = *task;
  release(t->y);
  release(t->coeff);
  release(t->cellTable);
  release(t);
  *task = nullptr;
  return DF_STATUS_OK;
}

int zyn_df_kernel_iEditVal(DfTask *t, int code, int64_t v) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (t->state != 1) return DF_STATUS_OK;
  switch (code) {
    case DF_EDIT_NX:
      if (v < 2) return DF_ERROR_BAD_NX;
      t->nx = v;
      return DF_STATUS_OK;
    case DF_EDIT_X_HINT:
      if (!x_hint_ok(v)) return DF_ERROR_BAD_X_HINT;
      t->xHint = v;
      if (v == DF_PARTITION_NON_UNIFORM) {
        if (t->precision) build_cell_table<double>(t); else build_cell_table<float>(t);
      }
      return DF_STATUS_OK;
    case DF_EDIT_NY:
      if (v < 1) return DF_ERROR_BAD_NY;
      t->ny = v;
      return DF_STATUS_OK;
    case DF_EDIT_Y_HINT:
      if (!y_hint_ok(v)) return DF_ERROR_BAD_Y_HINT;
      t->yHint = v;
      return DF_STATUS_OK;
    case DF_EDIT_SPLINE_ORDER:
      if (v < 0) return DF_ERROR_BAD_SPLINE_ORDER;
      t->splineOrder = v;
      return DF_STATUS_OK;
    case DF_EDIT_SPLINE_TYPE:
      if (!(v == 0 || v == 1 || v == 2 || v == 3 || v == 4 || v == 5 || v == 9))
        return DF_ERROR_BAD_SPLINE_TYPE;
      t->splineType = v;
      return DF_STATUS_OK;
    case DF_EDIT_IC_TYPE:
      if (!(v == DF_NO_IC || v == DF_IC_1ST_DER || v == DF_IC_2ND_DER || (v & DF_IC_Q_KNOT)))
        return DF_ERROR_BAD_IC_TYPE;
      t->icType = v;
      return DF_STATUS_OK;
    case DF_EDIT_BC_TYPE:
      if (v < 0) return DF_ERROR_BAD_BC_TYPE;
      t->bcType = v;
      return DF_STATUS_OK;
    case DF_EDIT_COEFF_HINT:
      if (!coeff_hint_ok(v)) return DF_ERROR_BAD_COEFF_HINT;
      t->coeffHint = v;
      return DF_STATUS_OK;
    case DF_EDIT_FLAG:
      if (v != 0 && v != 1) return DF_ERROR_BAD_FLAG;
      t->editFlag = static_cast<int32_t>(v);
      return DF_STATUS_OK;
    default:
      return DF_ERROR_BAD_EDIT_CODE;
  }
}

int zyn_df_kernel_iQueryVal(DfTask *t, int code, void *result) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (!result) return DF_ERROR_NULL_PTR;
  if (t->state != 1) return DF_STATUS_OK;
  int64_t v;
  switch (code) {
    case DF_EDIT_NX: v = t->nx; break;
    case DF_EDIT_X_HINT: v = t->xHint; break;
    case DF_EDIT_NY: v = t->ny; break;
    case DF_EDIT_Y_HINT: v = t->yHint; break;
    case DF_EDIT_SPLINE_ORDER: v = t->splineOrder; break;
    case DF_EDIT_SPLINE_TYPE: v = t->splineType; break;
    case DF_EDIT_IC_TYPE: v = t->icType; break;
    case DF_EDIT_BC_TYPE: v = t->bcType; break;
    case DF_EDIT_COEFF_HINT: v = t->coeffHint; break;
    case DF_EDIT_FLAG: v = t->editFlag; break;
    default: return DF_ERROR_BAD_EDIT_CODE;
  }
  if (t->indexWidth == 0) {
    int32_t low = static_cast<int32_t>(static_cast<uint32_t>(v));
    std::memcpy(result, &low, sizeof low);
  } else {
    std::memcpy(result, &v, sizeof v);
  }
  return DF_STATUS_OK;
}

int zyn_df_kernel_dEditPtr(DfTask *t, int code, const double *p) { return edit_ptr(t, code, p); }
int zyn_df_kernel_sEditPtr(DfTask *t, int code, const float *p) { return edit_ptr(t, code, p); }
int zyn_df_kernel_dEditIdxPtr(DfTask *t, int code, int64_t i, const void *p) {
  return edit_idx_ptr(t, code, i, p);
}
int zyn_df_kernel_sEditIdxPtr(DfTask *t, int code, int64_t i, const void *p) {
  return edit_idx_ptr(t, code, i, p);
}
int zyn_df_kernel_dQueryPtr(DfTask *t, int code, const double **r) { return query_ptr(t, code, r); }
int zyn_df_kernel_sQueryPtr(DfTask *t, int code, const float **r) { return query_ptr(t, code, r); }
int zyn_df_kernel_dQueryIdxPtr(DfTask *t, int code, int64_t i, const void **r) {
  return query_idx_ptr(t, code, i, r);
}
int zyn_df_kernel_sQueryIdxPtr(DfTask *t, int code, int64_t i, const void **r) {
  return query_idx_ptr(t, code, i, r);
}
int zyn_df_kernel_dEditPPSpline1D(DfTask *t, int64_t order, int64_t type, int64_t bcType,
                                  const double *bc, int64_t icType, const double *ic,
                                  double *coeff, int64_t coeffHint) {
  return edit_pp(t, order, type, bcType, bc, icType, ic, coeff, coeffHint);
}
int zyn_df_kernel_sEditPPSpline1D(DfTask *t, int64_t order, int64_t type, int64_t bcType,
                                  const float *bc, int64_t icType, const float *ic, float *coeff,
                                  int64_t coeffHint) {
  return edit_pp(t, order, type, bcType, bc, icType, ic, coeff, coeffHint);
}
