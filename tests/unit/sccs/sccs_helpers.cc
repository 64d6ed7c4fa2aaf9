#include "sccs/sccs_helpers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "private_cwd.h"  // every test process works in a directory of its own
#include "util/kes_err.h"

namespace sccs_test {

TempDir::TempDir() {
  const char *tmp = getenv("TMPDIR");
  std::string templ = std::string(tmp && *tmp ? tmp : "/tmp") + "/brindle-sccs-XXXXXX";
  std::vector<char> buf(templ.begin(), templ.end());
  buf.push_back('\0');
  if (!mkdtemp(buf.data())) {
    ADD_FAILURE() << "mkdtemp " << templ << ": " << strerror(errno);
    path_ = "/nonexistent-temp-dir";
    return;
  }
  path_ = buf.data();
}

TempDir::~TempDir() {
  if (path_.rfind("/nonexistent", 0) == 0) return;
  // Files are made read-only by the SCCS programs; give them back write rights.
  std::string cmd = "chmod -R u+w " + shq(path_) + " 2>/dev/null; rm -rf " + shq(path_);
  if (system(cmd.c_str()) != 0) fprintf(stderr, "could not remove %s\n", path_.c_str());
}

std::string TempDir::file(const std::string &name) const { return path_ + "/" + name; }

namespace {
std::string slurp_fd(int fd) {
  std::string text;
  char buf[8192];
  ssize_t n;
  while ((n = ::read(fd, buf, sizeof buf)) > 0) text.append(buf, n);
  return text;
}
}  // namespace

RunResult run(const std::string &cmd, const std::string &dir) {
  RunResult r{-1, "", ""};
  char errname[] = "/tmp/brindle-sccs-err-XXXXXX";
  int errfd = mkstemp(errname);
  if (errfd < 0) {
    ADD_FAILURE() << "mkstemp: " << strerror(errno);
    return r;
  }
  std::string full = dir.empty() ? cmd : "cd " + shq(dir) + " && { " + cmd + "\n}";
  full = "{ " + full + "\n} 2>" + shq(errname);
  FILE *p = popen(full.c_str(), "r");
  if (!p) {
    ADD_FAILURE() << "popen: " << strerror(errno);
    close(errfd);
    unlink(errname);
    return r;
  }
  r.out = slurp_fd(fileno(p));
  int st = pclose(p);
  r.err = slurp_fd(errfd);
  close(errfd);
  unlink(errname);
  if (WIFEXITED(st))
    r.status = WEXITSTATUS(st);
  else if (WIFSIGNALED(st))
    r.status = 128 + WTERMSIG(st);
  return r;
}

std::string shq(const std::string &word) {
  std::string q = "'";
  for (char c : word) {
    if (c == '\'')
      q += "'\\''";
    else
      q += c;
  }
  return q + "'";
}

std::string cssc(const std::string &prog) {
  std::string p = std::string(BRINDLE_SCCS_DIR) + "/" + prog;
  if (access(p.c_str(), X_OK) != 0) ADD_FAILURE() << "CSSC program " << p << " not found";
  return p;
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    ADD_FAILURE() << "cannot read " << path;
    return "";
  }
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void write_file(const std::string &path, const std::string &text) {
  chmod(path.c_str(), 0644);  // SCCS leaves its files read-only
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) {
    ADD_FAILURE() << "cannot write " << path;
    return;
  }
  out << text;
}

void copy_file(const std::string &from, const std::string &to) {
  write_file(to, read_file(from));
}

bool file_exists(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

namespace {
RunResult checked(const std::string &cmd, const std::string &dir) {
  RunResult r = run(cmd, dir);
  EXPECT_EQ(r.status, 0) << cmd << "\nin " << dir << "\nstdout: " << r.out << "\nstderr: " << r.err;
  return r;
}

std::string dir_of(const std::string &path) {
  size_t s = path.rfind('/');
  return s == std::string::npos ? "." : path.substr(0, s);
}

std::string base_of(const std::string &path) {
  size_t s = path.rfind('/');
  return s == std::string::npos ? path : path.substr(s + 1);
}

// The clear file's name beside an s-file: "s.name" -> "name".
std::string clear_of(const std::string &sfile) {
  std::string b = base_of(sfile);
  return b.rfind("s.", 0) == 0 ? b.substr(2) : b;
}
}  // namespace

RunResult new_history(const std::string &dir, const std::string &name,
                      const std::string &text, const std::string &admin_flags) {
  std::string init = dir + "/.init." + name;
  write_file(init, text);
  RunResult r = checked(cssc("admin") + " -n -i" + shq(init) + " " + admin_flags + " " +
                            shq("s." + name),
                        dir);
  unlink(init.c_str());
  return r;
}

RunResult add_delta(const std::string &sfile, const std::string &text,
                    const std::string &comment, const std::string &get_flags) {
  std::string dir = dir_of(sfile), s = base_of(sfile), clear = clear_of(sfile);
  RunResult r = checked(cssc("get") + " -e " + get_flags + " " + shq(s), dir);
  if (r.status != 0) return r;
  write_file(dir + "/" + clear, text);
  return checked(cssc("delta") + " -y" + shq(comment) + " " + shq(s), dir);
}

std::string prs(const std::string &sfile, const std::string &spec, const std::string &sid) {
  std::string cmd = cssc("prs") + " -d" + shq(spec) + " " +
                    (sid.empty() ? std::string("-e") : "-r" + shq(sid)) + " " + shq(sfile);
  return checked(cmd, "").out;
}

std::vector<std::string> live_sids(const std::string &sfile) {
  std::vector<std::string> sids;
  std::istringstream in(prs(sfile, ":I:"));
  std::string line;
  while (std::getline(in, line))
    if (!line.empty()) sids.push_back(line);
  return sids;
}

std::vector<TableRow> table_rows(const std::string &sfile) {
  std::vector<TableRow> rows;
  std::istringstream in(read_file(sfile));
  std::string line;
  while (std::getline(in, line)) {
    if (line.size() < 2 || line[0] != '\001') break;
    if (line[1] == 'u') break;
    if (line[1] != 'd') continue;
    char type = 0, sid[256], date[32], time[32], user[256];
    int serial = 0, pred = 0;
    if (sscanf(line.c_str() + 2, " %c %255s %31s %31s %255s %d %d", &type, sid, date, time,
               user, &serial, &pred) == 7)
      rows.push_back({type, sid, serial, pred});
    else
      ADD_FAILURE() << "bad delta line in " << sfile << ": " << line;
  }
  return rows;
}

RunResult get_text(const std::string &sfile, const std::string &sid) {
  return run(cssc("get") + " -s -k -p -r" + shq(sid) + " " + shq(sfile));
}

int val(const std::string &sfile) { return run(cssc("val") + " " + shq(sfile)).status; }

int admin_check(const std::string &sfile) {
  return run(cssc("admin") + " -h " + shq(sfile)).status;
}

std::unique_ptr<SCCS_sfile> read_full(const std::string &path, int side, int pfile) {
  std::unique_ptr<SCCS_sfile> f(new SCCS_sfile(path.c_str()));
  Kes_err *err = f->buildtree(side, pfile, 0);
  EXPECT_EQ(err, nullptr) << (err ? err->text : "");
  delete err;
  return f;
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

std::string all_versions(const std::string &sfile) {
  std::string all;
  for (const std::string &sid : live_sids(sfile)) {
    RunResult r = get_text(sfile, sid);
    EXPECT_EQ(r.status, 0) << "get -p -r" << sid << " " << sfile << ": " << r.err;
    all += "== " + sid + "\n" + r.out;
  }
  return all;
}

}  // namespace sccs_test
