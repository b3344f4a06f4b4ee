// The fitting task: statuses of creation, edits and queries; edits read back by the queries.
#include "support.hpp"

namespace {

TEST(FittingTask, Statuses) {
  double x[4] = {0, 1, 2, 3}, y[8] = {}, c[24] = {}, bc[2] = {}, ic[2] = {};
  const void *p = nullptr;
  const double *q = nullptr;
  auto make = [&](int64_t nx, const double *xx, int64_t xHint, int64_t ny, const double *yy, int64_t yHint) {
    DfTask *t = nullptr;
    const int st = zyn_df_kernel_dNewTask1D(&t, nx, xx, xHint, ny, yy, yHint, 0);
    EXPECT_TRUE(st == 0 || t == nullptr);  // nothing allocated by a refused creation
    zyn_df_kernel_DeleteTask(&t);
    return st;
  };
  DfTask *t = nullptr, *cols = nullptr, *none = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 0, 2, y, DF_FUNCS_ROWS, 1), 0);
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&cols, 4, x, 0, 2, y, DF_FUNCS_COLUMNS, 1), 0);
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&none, 4, x, 0, 0, nullptr, 0, 1), 0);
  auto pp = [&](DfTask *k, int64_t order, int64_t type, int64_t bcType, const double *b, int64_t icType,
                const double *i) { return zyn_df_kernel_dEditPPSpline1D(k, order, type, bcType, b, icType, i, c, 0); };
  const auto editPtr = zyn_df_kernel_dEditPtr;
  const auto editIdx = zyn_df_kernel_dEditIdxPtr;
  const auto queryIdx = zyn_df_kernel_dQueryIdxPtr;
  const std::pair<int, int> rows[] = {  // (status, expected), evaluated in order
      {make(1, nullptr, 9, 1, nullptr, 7), DF_ERROR_BAD_NX}, {make(4, nullptr, 9, 1, nullptr, 7), DF_ERROR_NULL_X},
      {make(4, x, 3, 1, nullptr, 7), DF_ERROR_BAD_X_HINT},   {make(4, x, 1, 1, nullptr, 7), DF_ERROR_NULL_Y},
      {make(4, x, 1, 0, y, 7), DF_ERROR_BAD_NY},             {make(4, x, 1, 2, y, 7), DF_ERROR_BAD_Y_HINT},
      {make(4, x, 0, 0, nullptr, 0), 0},
      {zyn_df_kernel_DeleteTask(nullptr), DF_ERROR_NULL_TASK_DESCRIPTOR},
      {zyn_df_kernel_iEditVal(t, 99, 0), DF_ERROR_BAD_EDIT_CODE},
      {zyn_df_kernel_iQueryVal(t, 99, &p), DF_ERROR_BAD_EDIT_CODE},
      {zyn_df_kernel_iQueryVal(t, DF_EDIT_NX, nullptr), DF_ERROR_NULL_PTR},
      {zyn_df_kernel_iEditVal(nullptr, DF_EDIT_NX, 3), DF_ERROR_NULL_TASK_DESCRIPTOR},
      {editPtr(t, DF_PTR_Y, nullptr), DF_ERROR_NULL_Y},      {editPtr(t, DF_PTR_IC, nullptr), DF_ERROR_NULL_IC},
      {editPtr(t, DF_PTR_BC, nullptr), DF_ERROR_NULL_BC},    {editPtr(t, DF_PTR_COEFF, nullptr), DF_ERROR_NULL_COEFF},
      {editPtr(t, 7, c), DF_ERROR_BAD_EDIT_CODE},            {editPtr(none, DF_PTR_COEFF, c), DF_ERROR_BAD_NY},
      {pp(none, 4, 2, 2, nullptr, 0, nullptr), DF_ERROR_BAD_NY},
      {pp(t, 4, 2, 12, nullptr, 0, nullptr), DF_ERROR_NULL_BC},
      {pp(t, 4, 2, 2, nullptr, 0, ic), DF_ERROR_BAD_IC_TYPE},
      {pp(t, 4, 2, 2, nullptr, 1, nullptr), DF_ERROR_NULL_IC},
      {pp(t, -1, 2, 2, nullptr, 0, nullptr), DF_ERROR_BAD_SPLINE_ORDER},
      {pp(t, 4, -1, 2, nullptr, 0, nullptr), DF_ERROR_BAD_SPLINE_TYPE},
      {pp(nullptr, 4, 2, 2, nullptr, 0, nullptr), DF_ERROR_NULL_TASK_DESCRIPTOR},
      {pp(t, 3, DF_PP_SUBBOTIN, 12, bc, 8, ic), 0},
      {editIdx(t, DF_PTR_COEFF, 2, c), DF_ERROR_BAD_INDEX},  {editIdx(t, DF_PTR_COEFF, 1, nullptr), DF_ERROR_NULL_COEFF},
      {editIdx(t, DF_PTR_Y, -1, y), DF_ERROR_BAD_INDEX},     {editIdx(t, DF_PTR_Y, 0, nullptr), DF_ERROR_NULL_Y},
      {editIdx(t, DF_PTR_IC, 0, y), DF_ERROR_BAD_EDIT_CODE},
      {zyn_df_kernel_sEditIdxPtr(cols, DF_PTR_Y, 99, y), DF_ERROR_BAD_Y_HINT},  // before the index
      {zyn_df_kernel_sQueryIdxPtr(cols, DF_PTR_Y, 0, &p), DF_ERROR_BAD_Y_HINT},
      {queryIdx(t, DF_PTR_COEFF, 3, &p), DF_ERROR_BAD_INDEX}, {queryIdx(t, DF_PTR_COEFF, 0, nullptr), DF_ERROR_NULL_PTR},
      {zyn_df_kernel_dQueryPtr(t, 9, &q), DF_ERROR_BAD_EDIT_CODE},
      {zyn_df_kernel_dQueryPtr(t, DF_PTR_X, nullptr), DF_ERROR_NULL_PTR}};
  for (size_t k = 0; k < std::size(rows); ++k) EXPECT_EQ(rows[k].first, rows[k].second) << "row " << k;
  for (DfTask *k : {t, cols, none}) zyn_df_kernel_DeleteTask(&k);
}

// Each value edit refuses its bad value and reads back the good one at the width of the task's
// indices (4 bytes when indexWidth is 0); pointers read back. A task whose state is not 1 is left
// alone.
TEST(FittingTask, EditsReadBack) {
  double x[4] = {0, 1, 2, 3}, y[8] = {}, c[24] = {};
  const int64_t cases[][4] = {  // code, good, bad, status
      {DF_EDIT_NX, 3, 1, DF_ERROR_BAD_NX},                 {DF_EDIT_X_HINT, 2, 3, DF_ERROR_BAD_X_HINT},
      {DF_EDIT_NY, 1, 0, DF_ERROR_BAD_NY},                 {DF_EDIT_Y_HINT, 128, 64, DF_ERROR_BAD_Y_HINT},
      {DF_EDIT_SPLINE_ORDER, 4, -1, DF_ERROR_BAD_SPLINE_ORDER}, {DF_EDIT_SPLINE_TYPE, 9, 6, DF_ERROR_BAD_SPLINE_TYPE},
      {DF_EDIT_IC_TYPE, 8 | 4, 4, DF_ERROR_BAD_IC_TYPE},   {DF_EDIT_BC_TYPE, 48, -2, DF_ERROR_BAD_BC_TYPE},
      {DF_EDIT_COEFF_HINT, 32, 8, DF_ERROR_BAD_COEFF_HINT}, {DF_EDIT_FLAG, 1, 2, DF_ERROR_BAD_FLAG}};
  for (int32_t width : {0, 1}) {
    DfTask *t = nullptr;
    ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 0, 2, y, 0, width), 0);
    for (const auto &[code, good, bad, status] : cases) {
      int64_t v = -1;
      EXPECT_EQ(zyn_df_kernel_iEditVal(t, int(code), bad), status);
      EXPECT_EQ(zyn_df_kernel_iEditVal(t, int(code), good) | zyn_df_kernel_iQueryVal(t, int(code), &v), 0);
      EXPECT_EQ(v, width ? good : (int64_t(-1) << 32) | good) << code;
    }
    const void *p = nullptr, *pc = nullptr;
    const double *q = nullptr;
    EXPECT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_NY, 2) | zyn_df_kernel_dEditIdxPtr(t, DF_PTR_Y, 1, y + 3) |
              zyn_df_kernel_dEditPPSpline1D(t, 4, 2, 2, nullptr, 0, nullptr, c, 0) |
              zyn_df_kernel_dEditIdxPtr(t, DF_PTR_COEFF, 1, c + 3) | zyn_df_kernel_dQueryIdxPtr(t, DF_PTR_Y, 1, &p) |
              zyn_df_kernel_dQueryIdxPtr(t, DF_PTR_COEFF, 1, &pc) | zyn_df_kernel_dQueryPtr(t, DF_PTR_X, &q), 0);
    EXPECT_TRUE(p == y + 3 && pc == c + 3 && q == x);
    // A null coeff keeps the table and stores the hint; a refusal keeps what came before it.
    EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 2, 0, 2, nullptr, 0, nullptr, nullptr, 128), 0);
    EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, 2, 12, nullptr, 0, nullptr, c, 0), DF_ERROR_NULL_BC);
    EXPECT_TRUE(t->coeff[1] == c + 3 && t->coeffHint == 128 && t->splineOrder == 4);
    t->state = 0;
    int64_t v = -7;
    EXPECT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_NX, 1) | zyn_df_kernel_iEditVal(t, 99, 1) |
              zyn_df_kernel_dEditPtr(t, DF_PTR_X, nullptr) | zyn_df_kernel_iQueryVal(t, DF_EDIT_NX, &v), 0);
    t->state = 1;
    EXPECT_TRUE(v == -7 && t->nx == 3);
    zyn_df_kernel_DeleteTask(&t);
  }
}

}  // namespace
