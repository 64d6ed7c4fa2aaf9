// Histories made and judged by CSSC.
#include "support/cssc.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>

namespace support {

std::string cssc(const std::string &prog) {
  std::string p = std::string(BRINDLE_SCCS_DIR) + "/" + prog;
  if (access(p.c_str(), X_OK) != 0) ADD_FAILURE() << "CSSC program " << p << " not found";
  return p;
}

namespace {
Run_result checked(const std::vector<std::string> &argv, const std::string &dir) {
  Run_result r = run(argv, dir);
  std::string cmd;
  for (const std::string &a : argv) cmd += a + " ";
  EXPECT_EQ(r.status, 0) << cmd << "\nin " << dir << "\nstdout: " << r.out << "\nstderr: " << r.err;
  return r;
}
}  // namespace

Run_result new_history(const std::string &dir, const std::string &name, const std::string &text,
                       const std::string &admin_flags) {
  std::string init = dir + "/.init." + name;
  write_file(init, text);
  // The flags go through the shell as written, quotes and $(...) included.
  Run_result r = checked(
      {"/bin/sh", "-c", cssc("admin") + " -n -i" + shq(init) + " " + admin_flags + " " + shq("s." + name)},
      dir);
  unlink(init.c_str());
  return r;
}

Run_result add_delta(const std::string &sfile, const std::string &text, const std::string &comment,
                     const std::string &get_flags, const std::string &mrs) {
  std::string dir = dir_of(sfile), s = base_of(sfile);
  Run_result r = checked({"/bin/sh", "-c", cssc("get") + " -e -s " + get_flags + " " + shq(s)}, dir);
  if (r.status != 0) return r;
  write_file(dir + "/" + (s.rfind("s.", 0) == 0 ? s.substr(2) : s), text);
  if (!mrs.empty()) return checked({cssc("delta"), "-s", "-y" + comment, "-m" + mrs, s}, dir);
  return checked({cssc("delta"), "-s", "-y" + comment, s}, dir);
}

void edit_sfile(const std::string &sfile, const std::string &from, const std::string &to) {
  std::string text = read_file(sfile);
  size_t at = text.find(from);
  ASSERT_NE(std::string::npos, at) << from << " not in " << sfile;
  text.replace(at, from.size(), to);
  write_file(sfile, text);
  checked({cssc("admin"), "-z", sfile}, "");
}

std::string prs(const std::string &sfile, const std::string &spec, const std::string &sid) {
  return checked({cssc("prs"), "-d" + spec, sid.empty() ? "-e" : "-r" + sid, sfile}, "").out;
}

std::vector<std::string> live_sids(const std::string &sfile) {
  std::vector<std::string> sids = lines_of(prs(sfile, ":I:"));
  sids.erase(std::remove(sids.begin(), sids.end(), ""), sids.end());
  return sids;
}

Run_result get_text(const std::string &sfile, const std::string &sid) {
  return run({cssc("get"), "-s", "-k", "-p", "-r" + sid, sfile});
}

int val(const std::string &sfile) { return run({cssc("val"), sfile}).status; }
int admin_check(const std::string &sfile) { return run({cssc("admin"), "-h", sfile}).status; }

std::string cssc_view(const std::string &sfile, bool serials) {
  Run_result d = run({cssc("prs"), serials ? "-a" : "-e", "-e",
                      serials ? "-d:DT: :I: :D: :T: :P: :DS: :DP: :DL: i:Dn: x:Dx: g:Dg:\n:MR:\n:C:"
                              : "-d:I: :D: :T: :P: :DL:\n:MR:\n:C:",
                      sfile});
  Run_result f = run({cssc("prs"), "-d:FL:\n:UN:\n:FD:", sfile});
  return std::to_string(d.status) + " " + d.out + d.err + f.out + f.err + versions(sfile);
}

std::string versions(const std::string &sfile) {
  std::string all;
  for (const std::string &sid : live_sids(sfile)) {
    Run_result g = get_text(sfile, sid);
    all += "== " + sid + " " + std::to_string(g.status) + "\n" + g.out + g.err;
  }
  return all;
}

std::vector<Table_row> table_rows(const std::string &sfile) {
  std::vector<Table_row> rows;
  std::istringstream in(read_file(sfile));
  std::string line;
  while (std::getline(in, line) && line.size() >= 2 && line[0] == '\001' && line[1] != 'u') {
    if (line[1] != 'd') continue;
    char type = 0, sid[256], date[32], time[32], user[256];
    int serial = 0, pred = 0;
    if (sscanf(line.c_str() + 2, " %c %255s %31s %31s %255s %d %d", &type, sid, date, time, user,
               &serial, &pred) == 7)
      rows.push_back({type, sid, serial, pred});
    else
      ADD_FAILURE() << "bad delta line in " << sfile << ": " << line;
  }
  return rows;
}

std::string corpus_dir() { return std::string(BRINDLE_DATA_DIR) + "/corpus/bsd44"; }

std::vector<std::string> corpus_files() {
  std::vector<std::string> files;
  for (const auto &e : std::filesystem::recursive_directory_iterator(corpus_dir()))
    if (e.is_regular_file() && e.path().filename().string().rfind("s.", 0) == 0)
      files.push_back(e.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace support
