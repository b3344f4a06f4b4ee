// The row list itself: its size, order and the fixed cost figures.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
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

TEST(RowList, QuotedFiguresAndSharing) {
  auto rows = ByName();
  struct Quoted {
    const char *row;
    float la, ha, ep;
    const char *share;
  };
  const Quoted quoted[] = {
      {"sSqr", 0.45f, 0.45f, 0.45f, "one"},       {"dAdd", 1.56f, 1.56f, 1.56f, "one"},
      {"cAdd", 3.468f, 3.468f, 1.431f, "la_ha"},  {"sLn", 5.59f, 7.055f, 4.056f, "three"},
      {"dLn", 17.326f, 19.213f, 11.03f, "three"}, {"zLn", 99.0f, 99.0f, 49.13f, "la_ha"},
      {"sFrac", 1.0f, 1.0f, 1.0f, "one"},         {"dFrac", 1.0f, 1.0f, 1.0f, "one"},
      {"dExpInt1", 302.358f, 302.358f, 43.524f, "la_ha"},
      {"cAsin", 1283.44f, 1283.44f, 1283.44f, "one"},
  };
  for (const Quoted &q : quoted) {
    ASSERT_TRUE(rows.count(q.row)) << q.row;
    const Entry &e = rows[q.row];
    EXPECT_EQ(e.la, q.la) << q.row;
    EXPECT_EQ(e.ha, q.ha) << q.row;
    EXPECT_EQ(e.ep, q.ep) << q.row;
    EXPECT_EQ(e.share, q.share) << q.row;
  }
  EXPECT_EQ(rows["sInv"].share, "la_ha");
  EXPECT_EQ(rows["dInv"].share, "one");
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
