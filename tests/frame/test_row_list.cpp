// The row list itself: its size, order, sharing and cost ranges.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {
struct Entry {
  std::string t, stem, shape, in, out, share;
  float la, ha, ep;
};
const std::vector<Entry> kList = {
#define ZYN_VEX_ROW(t, Stem, shape, in, out, share, la, ha, ep) \
  {#t, #Stem, #shape, #in, #out, #share, la, ha, ep},
#include "zyn/vex_rows.def"
#undef ZYN_VEX_ROW
};

std::map<std::string, Entry> ByName() {
  std::map<std::string, Entry> m;
  for (const Entry &e : kList) m[e.t + e.stem] = e;
  return m;
}
}  // namespace

TEST(RowList, BlocksAndOrder) {
  ASSERT_EQ(kList.size(), 232u);
  EXPECT_EQ(ByName().size(), 232u);
  int packs = 0, strided = 0;
  for (const Entry &e : kList) (e.shape.find("pack") != std::string::npos ? packs : strided)++;
  EXPECT_EQ(packs, 24);
  EXPECT_EQ(strided, 208);  // each with its I row: 440 rows, 1760 names
  EXPECT_EQ(kList.front().t + kList.front().stem, "sCeil");
  EXPECT_EQ(kList[207].t + kList[207].stem, "dLinearFrac");
  EXPECT_EQ(kList.back().t + kList.back().stem, "zUnpackV");
}

// Which levels share a kernel decides which kernel runs; the costs only steer choices, and are
// checked by their ranges.
TEST(RowList, SharingAndCostRanges) {
  auto rows = ByName();
  const std::pair<const char *, const char *> shares[] = {
      {"sSqr", "one"},  {"dAdd", "one"},       {"cAdd", "la_ha"},     {"sLn", "three"}, {"dLn", "three"},
      {"zLn", "la_ha"}, {"dExpInt1", "la_ha"}, {"cAsin", "one"},      {"sInv", "la_ha"}, {"dInv", "one"}};
  for (auto [row, share] : shares) {
    ASSERT_TRUE(rows.count(row)) << row;
    EXPECT_EQ(rows[row].share, share) << row;
  }
  EXPECT_EQ(rows["cAbs"].out, "s");
  EXPECT_EQ(rows["zCIS"].in, "d");
  for (const Entry &e : kList) {
    if (e.t + e.stem != "sSqr") {
      EXPECT_GT(e.ep, 0.45f) << e.t << e.stem;  // the cheapest row
    }
    if (e.shape.find("pack") != std::string::npos) {
      EXPECT_EQ(e.ha, 1111.0f);
    }
    bool complex_trig = (e.t == "c" || e.t == "z") &&
                        std::set<std::string>{"Cos", "Sin", "Tan", "Acos", "Asin", "Atan"}.count(e.stem);
    if (complex_trig) {
      EXPECT_TRUE(e.ep >= 470.0f && e.ha <= 1290.0f) << e.t << e.stem;
    }
  }
}
