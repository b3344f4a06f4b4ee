// Generates the vector rows from include/zyn/vex_rows.def: for every row switched on in the
// given rows.on lists, its exported _ttab (LA, HA, EP kernel pointers) and _ctab (costs), and
// its three stubs under four names; and the list of names the module is expected to export.
//
//   gen_rows OUT.S OUT.names [rows.on ...]
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct DefRow {
  const char *t, *stem, *shape, *in, *out, *share;
  float la, ha, ep;
};

constexpr DefRow kDefRows[] = {
#define ZYN_VEX_ROW(t, Stem, shape, in, out, share, la, ha, ep) \
  {#t, #Stem, #shape, #in, #out, #share, la, ha, ep},
#include "zyn/vex_rows.def"
#undef ZYN_VEX_ROW
};

constexpr size_t kFirstBlock = 232, kAllRows = 440;

struct Row {
  std::string t, name, shape, in, share;  // name = <t><Stem>[I]
  bool strided;
  float cost[3];  // LA, HA, EP
};

bool is_pack(const std::string &shape) { return shape.find("pack") != std::string::npos; }

[[noreturn]] void fail(const std::string &what) {
  std::cerr << "gen_rows: " << what << "\n";
  exit(1);
}

std::vector<Row> all_rows() {
  std::vector<Row> rows;
  for (const DefRow &d : kDefRows)
    rows.push_back({d.t, std::string(d.t) + d.stem, d.shape, d.in, d.share, false, {d.la, d.ha, d.ep}});
  for (const DefRow &d : kDefRows)
    if (!is_pack(d.shape))
      rows.push_back({d.t, std::string(d.t) + d.stem + "I", d.shape, d.in, d.share, true, {d.la, d.ha, d.ep}});
  return rows;
}

// The kernel behind each slot (LA, HA, EP), by the row's sharing.
std::vector<std::string> slot_levels(const std::string &share) {
  if (share == "three") return {"LA", "HA", "EP"};
  if (share == "one") return {"HA", "HA", "HA"};
  if (share == "la_ha") return {"HA", "HA", "EP"};
  if (share == "la_ep") return {"EP", "HA", "EP"};
  fail("unknown sharing " + share);
}

void check(const std::vector<Row> &rows) {
  if (std::size(kDefRows) != kFirstBlock || rows.size() != kAllRows)
    fail("the row list must hold 232 rows, 440 with the strided block");
  std::set<std::string> seen;
  for (const Row &r : rows) {
    if (!seen.insert(r.name).second) fail("row listed twice: " + r.name);
    const float la = r.cost[0], ha = r.cost[1], ep = r.cost[2];
    if (!(ep <= la && la <= ha)) fail("costs of " + r.name + " are not EP <= LA <= HA");
    auto lv = slot_levels(r.share);
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        if (lv[i] == lv[j] && r.cost[i] != r.cost[j]) fail("shared kernels of " + r.name + " differ in cost");
  }
}

std::set<std::string> read_lists(int argc, char **argv, const std::vector<Row> &rows) {
  std::set<std::string> known;
  for (const Row &r : rows) known.insert(r.name);
  std::set<std::string> on;
  for (int i = 0; i < argc; ++i) {
    std::ifstream in(argv[i]);
    if (!in) fail(std::string("cannot read ") + argv[i]);
    std::string line;
    while (std::getline(in, line)) {
      line = line.substr(0, line.find('#'));
      std::istringstream words(line);
      std::string name;
      while (words >> name) {
        if (!known.count(name)) fail(std::string(argv[i]) + ": no row " + name);
        if (!on.insert(name).second) fail(std::string(argv[i]) + ": row switched on twice: " + name);
      }
    }
  }
  return on;
}

std::vector<std::string> stub_names(const Row &r) {
  bool single = r.t == "s" || r.t == "c";
  std::string p = "_vex" + r.name;
  return {p + (single ? "_21" : "_50"), p, p + "_HA", p + (single ? "_11" : "_26")};
}

uint32_t bits(float f) {
  uint32_t u;
  memcpy(&u, &f, sizeof u);
  return u;
}

void emit_row(std::ostream &s, const Row &r) {
  const std::string ttab = "zyn_vex_kernel_" + r.name + "_ttab", ctab = "zyn_vex_kernel_" + r.name + "_ctab";
  const std::string local = ".Lttab_" + r.name;
  auto levels = slot_levels(r.share);
  s << "\n/* " << r.name << ": " << r.shape << (r.strided ? ", strided" : "") << ", " << r.share << " */\n"
    << "\t.data\n\t.balign 8\n\t.globl " << ttab << "\n\t.type " << ttab << ", @object\n\t.size " << ttab
    << ", 24\n" << ttab << ":\n" << local << ":\n";
  for (const auto &l : levels) s << "\t.quad zyn_vk_" << r.name << "_" << l << "\n";
  s << "\t.balign 4\n\t.globl " << ctab << "\n\t.type " << ctab << ", @object\n\t.size " << ctab << ", 16\n"
    << ctab << ":\n";
  for (float c : r.cost) {
    char buf[64];
    snprintf(buf, sizeof buf, "\t.long 0x%08x /* %g */\n", bits(c), static_cast<double>(c));
    s << buf;
  }
  s << "\t.long 0\n\t.text\n";

  // Stubs: LA, HA (plain and _HA at one address), EP.
  const bool pack = is_pack(r.shape);
  const bool by_value = r.shape == "scalar" && (r.in == "c" || r.in == "z");
  auto names = stub_names(r);
  std::vector<std::vector<std::string>> stubs = {{names[0]}, {names[1], names[2]}, {names[3]}};
  for (int slot = 0; slot < 3; ++slot) {
    s << "\t.p2align 4\n";
    for (const auto &n : stubs[slot]) s << "\t.globl " << n << "\n\t.type " << n << ", @function\n";
    for (const auto &n : stubs[slot]) s << n << ":\n";
    s << "\t.cfi_startproc\n";
    const std::string target = "*" + local + "+" + std::to_string(8 * slot) + "(%rip)";
    if (by_value) {
      // The complex scalar arrives by value in xmm registers: a frame, a call, a return.
      s << "\tsubq $8, %rsp\n\t.cfi_adjust_cfa_offset 8\n\tcall " << target
        << "\n\taddq $8, %rsp\n\t.cfi_adjust_cfa_offset -8\n\tret\n";
    } else {
      if (pack) s << "\tmovl $1, %r8d\n";  // the width flag: 32-bit count and selector
      s << "\tjmp " << target << "\n";
    }
    s << "\t.cfi_endproc\n";
    for (const auto &n : stubs[slot]) s << "\t.size " << n << ", .-" << n << "\n";
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) fail("usage: gen_rows OUT.S OUT.names [rows.on ...]");
  std::vector<Row> rows = all_rows();
  check(rows);
  std::set<std::string> on = read_lists(argc - 3, argv + 3, rows);

  std::ostringstream s;
  s << "/* Generated by gen_rows from zyn/vex_rows.def and the rows.on lists; do not edit. */\n"
    << "\t.section .note.GNU-stack,\"\",@progbits\n\t.text\n";
  std::ostringstream landed, pending;
  for (const Row &r : rows) {
    std::ostringstream &list = on.count(r.name) ? landed : pending;
    for (const auto &n : stub_names(r)) list << n << "\n";
    list << "zyn_vex_kernel_" << r.name << "_ttab\nzyn_vex_kernel_" << r.name << "_ctab\n";
    if (on.count(r.name)) emit_row(s, r);
  }
  std::ofstream(argv[1]) << s.str();
  std::ofstream(argv[2]) << "# Generated by gen_rows: the vector rows, switched on (landed) or not.\n"
                         << "[vector-rows landed]\n" << landed.str() << "[vector-rows pending]\n"
                         << pending.str();
  return 0;
}
