// The fitting task: creation checks, edits and queries, the cell-lookup table.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "support.hpp"

namespace {

using dftest::partition;

TEST(FittingTask, CreationChecksInOrder) {
  DfTask *t = nullptr;
  double x[4] = {0, 1, 2, 3}, y[8] = {};
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, 1, nullptr, 9, 1, nullptr, 7, 0), DF_ERROR_BAD_NX);
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, nullptr, 9, 1, nullptr, 7, 0), DF_ERROR_NULL_X);
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 3, 1, nullptr, 7, 0), DF_ERROR_BAD_X_HINT);
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 1, 1, nullptr, 7, 0), DF_ERROR_NULL_Y);
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 1, 0, y, 7, 0), DF_ERROR_BAD_NY);
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 1, 2, y, 7, 0), DF_ERROR_BAD_Y_HINT);
  EXPECT_EQ(t, nullptr);  // nothing allocated by a refused creation
  // ny 0 with no functions is a legal task.
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 0, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(t->y, nullptr);
  EXPECT_EQ(zyn_df_kernel_DeleteTask(&t), 0);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(zyn_df_kernel_DeleteTask(&t), DF_ERROR_NULL_TASK_DESCRIPTOR);
}

TEST(FittingTask, FieldsAndFunctionTables) {
  double x[4] = {0, 1, 2, 3}, y[8] = {};
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, DF_PARTITION_NON_UNIFORM, 2, y, DF_FUNCS_ROWS, 1), 0);
  EXPECT_EQ(t->formTag, 4);
  EXPECT_EQ(t->precision, 1);
  EXPECT_EQ(t->y[1], y + 4);
  zyn_df_kernel_DeleteTask(&t);
  float xs[4] = {0, 1, 2, 3}, ys[8] = {};
  ASSERT_EQ(zyn_df_kernel_sNewTask1D(&t, 4, xs, DF_PARTITION_UNIFORM, 2, ys, DF_FUNCS_COLUMNS, 0), 0);
  EXPECT_EQ(t->precision, 0);
  EXPECT_EQ(t->y[0], ys);
  EXPECT_EQ(t->cellTableSize, 0);  // no table for a uniform partition
  EXPECT_NE(t->cellTable, nullptr);
  const void *p = nullptr;
  EXPECT_EQ(zyn_df_kernel_sQueryIdxPtr(t, DF_PTR_Y, 0, &p), DF_ERROR_BAD_Y_HINT);
  EXPECT_EQ(zyn_df_kernel_sEditIdxPtr(t, DF_PTR_Y, 99, ys), DF_ERROR_BAD_Y_HINT);  // before the index
  zyn_df_kernel_DeleteTask(&t);
}

TEST(FittingTask, EditValCodesAndRefusals) {
  double x[4] = {0, 1, 2, 3}, y[4] = {};
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 0, 1, y, 0, 1), 0);
  struct Case { int code; int64_t good, bad; int status; };
  const Case cases[] = {
      {DF_EDIT_NX, 3, 1, DF_ERROR_BAD_NX},           {DF_EDIT_X_HINT, 2, 3, DF_ERROR_BAD_X_HINT},
      {DF_EDIT_NY, 1, 0, DF_ERROR_BAD_NY},           {DF_EDIT_Y_HINT, 128, 64, DF_ERROR_BAD_Y_HINT},
      {DF_EDIT_SPLINE_ORDER, 4, -1, DF_ERROR_BAD_SPLINE_ORDER},
      {DF_EDIT_SPLINE_TYPE, 9, 6, DF_ERROR_BAD_SPLINE_TYPE},
      {DF_EDIT_IC_TYPE, 8 | 4, 4, DF_ERROR_BAD_IC_TYPE},
      {DF_EDIT_BC_TYPE, 48, -2, DF_ERROR_BAD_BC_TYPE},
      {DF_EDIT_COEFF_HINT, 32, 8, DF_ERROR_BAD_COEFF_HINT},
      {DF_EDIT_FLAG, 1, 2, DF_ERROR_BAD_FLAG}};
  for (const Case &c : cases) {
    EXPECT_EQ(zyn_df_kernel_iEditVal(t, c.code, c.bad), c.status) << c.code;
    EXPECT_EQ(zyn_df_kernel_iEditVal(t, c.code, c.good), 0) << c.code;
    int64_t v = -7;
    EXPECT_EQ(zyn_df_kernel_iQueryVal(t, c.code, &v), 0);
    EXPECT_EQ(v, c.good) << c.code;
  }
  EXPECT_EQ(zyn_df_kernel_iEditVal(t, 99, 0), DF_ERROR_BAD_EDIT_CODE);
  EXPECT_EQ(zyn_df_kernel_iQueryVal(t, 99, &t), DF_ERROR_BAD_EDIT_CODE);
  EXPECT_EQ(zyn_df_kernel_iQueryVal(t, DF_EDIT_NX, nullptr), DF_ERROR_NULL_PTR);
  EXPECT_EQ(zyn_df_kernel_iEditVal(nullptr, DF_EDIT_NX, 3), DF_ERROR_NULL_TASK_DESCRIPTOR);
  // The state guard: a task whose state is not 1 is left alone and reported as success.
  t->state = 0;
  EXPECT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_NX, 1), 0);
  EXPECT_EQ(zyn_df_kernel_iEditVal(t, 99, 1), 0);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_X, nullptr), 0);
  int64_t v = -7;
  EXPECT_EQ(zyn_df_kernel_iQueryVal(t, DF_EDIT_NX, &v), 0);
  EXPECT_EQ(v, -7);
  t->state = 1;
  EXPECT_EQ(t->nx, 3);
  zyn_df_kernel_DeleteTask(&t);
}

TEST(FittingTask, QueryValWidthFollowsIndexWidth) {
  double x[4] = {0, 1, 2, 3};
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 0, 0, nullptr, 0, 0), 0);
  unsigned char buf[8];
  std::memset(buf, 0xAB, sizeof buf);
  ASSERT_EQ(zyn_df_kernel_iQueryVal(t, DF_EDIT_NX, buf), 0);
  int32_t low;
  std::memcpy(&low, buf, 4);
  EXPECT_EQ(low, 4);
  for (int i = 4; i < 8; ++i) EXPECT_EQ(buf[i], 0xAB);  // exactly four bytes
  zyn_df_kernel_DeleteTask(&t);
}

TEST(FittingTask, PointerEditsAndQueries) {
  double x[4] = {0, 1, 2, 3}, y[8] = {}, y2[8] = {}, c[24] = {}, bc[2] = {}, ic[2] = {};
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 0, 2, y, 0, 1), 0);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_Y, nullptr), DF_ERROR_NULL_Y);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_Y, y2), 0);
  EXPECT_EQ(t->y[1], y2 + 4);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_IC, nullptr), DF_ERROR_NULL_IC);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_BC, nullptr), DF_ERROR_NULL_BC);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_COEFF, nullptr), DF_ERROR_NULL_COEFF);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, 7, c), DF_ERROR_BAD_EDIT_CODE);
  // The coefficient stride: (nx-1)*order, nx*order for the type with knots between breakpoints.
  ASSERT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 3, DF_PP_SUBBOTIN, 12, bc, 8, ic, c, 0), 0);
  EXPECT_EQ(t->coeff[1], c + 12);
  ASSERT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, DF_PP_NATURAL, 2, nullptr, 0, nullptr, c, 0), 0);
  EXPECT_EQ(t->coeff[1], c + 12);
  ASSERT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 2, DF_PP_NATURAL, 2, nullptr, 0, nullptr, c, 0), 0);
  EXPECT_EQ(t->coeff[1], c + 6);
  // A null coeff keeps the table but stores the new hint.
  ASSERT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 2, 0, 2, nullptr, 0, nullptr, nullptr, 128), 0);
  EXPECT_EQ(t->coeff[1], c + 6);
  EXPECT_EQ(t->coeffHint, 128);
  // Refusals keep what earlier steps stored.
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, 2, 12, nullptr, 0, nullptr, c, 0), DF_ERROR_NULL_BC);
  EXPECT_EQ(t->splineOrder, 4);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, 2, 2, nullptr, 0, ic, c, 0), DF_ERROR_BAD_IC_TYPE);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, 2, 2, nullptr, 1, nullptr, c, 0), DF_ERROR_NULL_IC);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, -1, 2, 2, nullptr, 0, nullptr, c, 0), DF_ERROR_BAD_SPLINE_ORDER);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, -1, 2, nullptr, 0, nullptr, c, 0), DF_ERROR_BAD_SPLINE_TYPE);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(nullptr, 4, 2, 2, nullptr, 0, nullptr, c, 0), DF_ERROR_NULL_TASK_DESCRIPTOR);
  // Indexed edits and queries; the query bound lets index ny through.
  EXPECT_EQ(zyn_df_kernel_dEditIdxPtr(t, DF_PTR_COEFF, 2, c), DF_ERROR_BAD_INDEX);
  EXPECT_EQ(zyn_df_kernel_dEditIdxPtr(t, DF_PTR_COEFF, 1, nullptr), DF_ERROR_NULL_COEFF);
  EXPECT_EQ(zyn_df_kernel_dEditIdxPtr(t, DF_PTR_COEFF, 1, c + 3), 0);
  EXPECT_EQ(zyn_df_kernel_dEditIdxPtr(t, DF_PTR_Y, -1, y), DF_ERROR_BAD_INDEX);
  EXPECT_EQ(zyn_df_kernel_dEditIdxPtr(t, DF_PTR_Y, 0, nullptr), DF_ERROR_NULL_Y);
  EXPECT_EQ(zyn_df_kernel_dEditIdxPtr(t, DF_PTR_IC, 0, y), DF_ERROR_BAD_EDIT_CODE);
  const void *p = nullptr;
  EXPECT_EQ(zyn_df_kernel_dQueryIdxPtr(t, DF_PTR_COEFF, 1, &p), 0);
  EXPECT_EQ(p, c + 3);
  EXPECT_EQ(zyn_df_kernel_dQueryIdxPtr(t, DF_PTR_COEFF, 3, &p), DF_ERROR_BAD_INDEX);
  EXPECT_EQ(zyn_df_kernel_dQueryIdxPtr(t, DF_PTR_COEFF, 0, nullptr), DF_ERROR_NULL_PTR);
  const double *q = nullptr;
  EXPECT_EQ(zyn_df_kernel_dQueryPtr(t, DF_PTR_X, &q), 0);
  EXPECT_EQ(q, x);
  EXPECT_EQ(zyn_df_kernel_dQueryPtr(t, DF_PTR_Y, &q), 0);
  EXPECT_EQ(q, y2);
  EXPECT_EQ(zyn_df_kernel_dQueryPtr(t, 9, &q), DF_ERROR_BAD_EDIT_CODE);
  EXPECT_EQ(zyn_df_kernel_dQueryPtr(t, DF_PTR_X, nullptr), DF_ERROR_NULL_PTR);
  zyn_df_kernel_DeleteTask(&t);
  // Coefficients with no functions.
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x, 0, 0, nullptr, 0, 1), 0);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_COEFF, c), DF_ERROR_BAD_NY);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, 2, 2, nullptr, 0, nullptr, c, 0), DF_ERROR_BAD_NY);
  zyn_df_kernel_DeleteTask(&t);
}

// Every bucket's bounds bracket the sites of the bucket; hi is the first breakpoint of a later
// bucket and lo the last breakpoint of an earlier bucket other than bucket 0 (or 0).
template <class T>
void check_table(int64_t nx, int64_t expectSize) {
  SCOPED_TRACE(nx);
  std::vector<T> x = partition<T>(nx, static_cast<uint32_t>(nx));
  DfTask *t = nullptr;
  if constexpr (sizeof(T) == 8)
    ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, x.data(), 0, 0, nullptr, 0, 1), 0);
  else
    ASSERT_EQ(zyn_df_kernel_sNewTask1D(&t, nx, x.data(), 0, 0, nullptr, 0, 1), 0);
  const int64_t n = t->cellTableSize;
  EXPECT_EQ(n, expectSize);
  const T scale = sizeof(T) == 8 ? static_cast<T>(t->cellScale.d) : static_cast<T>(t->cellScale.s);
  EXPECT_EQ(scale, static_cast<T>(n) / (x[nx - 1] - x[0]));
  auto bucket = [&](T s) { return static_cast<int64_t>((s - x[0]) * scale); };
  const int64_t *e = t->cellTable;
  for (int64_t b = 0; b < n; ++b) {
    int64_t first_later = nx - 1, last_earlier = 0;
    for (int64_t i = 0; i < nx; ++i) {
      const int64_t bi = bucket(x[i]);
      if (bi > b && first_later == nx - 1 && bi != 0) { first_later = i; }
      if (bi < b && bi >= 1) last_earlier = i;
    }
    if (b == n - 1) first_later = nx - 1;
    EXPECT_EQ(e[2 * b + 1], first_later) << b;
    EXPECT_EQ(e[2 * b], last_earlier) << b;
  }
  EXPECT_EQ(e[2 * n], e[2 * (n - 1)]);
  EXPECT_EQ(e[2 * n + 1], e[2 * (n - 1) + 1]);
  // Bracketing for random sites.
  std::mt19937 g(7);
  std::uniform_real_distribution<double> u(x[0], x[nx - 1]);
  for (int k = 0; k < 2000; ++k) {
    const T s = static_cast<T>(u(g));
    const int64_t b = std::min(bucket(s), n);
    EXPECT_LE(x[e[2 * b]], s);
    EXPECT_GE(x[e[2 * b + 1]], s);
  }
  zyn_df_kernel_DeleteTask(&t);
}

TEST(FittingTask, CellTable) {
  check_table<double>(2, 16);
  check_table<double>(255, 16);
  check_table<double>(256, 16);
  check_table<double>(257, 16);
  check_table<double>(4000, 250);
  check_table<double>(16384, 1024);
  check_table<float>(300, 18);
  check_table<float>(16384, 1024);
}

TEST(FittingTask, TableRebuiltOnlyByHintOne) {
  std::vector<double> x = partition<double>(600, 1), x2 = partition<double>(3000, 2);
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 600, x.data(), DF_PARTITION_UNIFORM, 0, nullptr, 0, 1), 0);
  EXPECT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_X_HINT, 2), 0);
  EXPECT_EQ(t->cellTableSize, 0);
  EXPECT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_X_HINT, 1), 0);
  EXPECT_EQ(t->cellTableSize, 37);
  EXPECT_EQ(zyn_df_kernel_dEditPtr(t, DF_PTR_X, x2.data()), 0);
  EXPECT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_NX, 3000), 0);
  EXPECT_EQ(t->cellTableSize, 37);
  EXPECT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_X_HINT, 1), 0);
  EXPECT_EQ(t->cellTableSize, 187);
  EXPECT_EQ(t->cellScale.d, 187.0 / 10.0);
  zyn_df_kernel_DeleteTask(&t);
}

}  // namespace
