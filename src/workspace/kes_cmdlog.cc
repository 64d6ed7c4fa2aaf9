// Kes_cmdlog: the facts of one command for the history log.
#include "workspace/kes_cmdlog.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <unistd.h>

#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

char *dup_or_die(const std::string &s) { return kes_strdup(s.c_str()); }

// asctime's 24 characters, without its newline.
std::string asctime_text(const struct tm *tm) {
  char buf[64];
  if (!asctime_r(tm, buf)) return std::string();
  size_t n = strlen(buf);
  if (n && buf[n - 1] == '\n') buf[n - 1] = '\0';
  return buf;
}

// "KEYWORD (local time zone) (gmt time GMT)"
std::string time_line(const char *keyword) {
  time_t now = time(nullptr);
  struct tm local, gmt;
  localtime_r(&now, &local);
  gmtime_r(&now, &gmt);
  std::string line = keyword;
  line += "(" + asctime_text(&local) + " " + kes_get_timezone() + ") (" + asctime_text(&gmt) +
          " GMT)";
  return line;
}

std::string ws_pair(const char *keyword, const char *name, const char *netname) {
  std::string line = keyword;
  if (name) {
    line += " (";
    line += name;
    line += ") (";
    line += netname ? netname : "";
    line += ")";
  }
  return line;
}

}  // namespace

Kes_cmdlog::Kes_cmdlog() : count(KES_CMDLOG_COUNT) {
  for (char *&l : lines) l = nullptr;
  char cwd[PATH_MAX];
  if (!getcwd(cwd, sizeof cwd)) {
    if (errno == ENOMEM) kes_new_handler();
    const char *cmd = kes_get_base_cmdname();
    fprintf(stderr, BWM_MSG(6400, "%s: Could not get current working directory\n"),
            cmd ? cmd : "");
    exit(1);
  }
  const char *host = kes_hostname();
  lines[KES_CMDLOG_CWD] = dup_or_die(std::string("CWD ") + cwd);
  lines[KES_CMDLOG_RELEASE] = dup_or_die("RELEASE " KES_RELEASE);
  lines[KES_CMDLOG_HOST] = dup_or_die(std::string("HOST ") + (host ? host : ""));
  lines[KES_CMDLOG_USER] = dup_or_die(std::string("USER ") + kes_get_user(1, 1));
  lines[KES_CMDLOG_START] = dup_or_die(time_line("START "));
}

Kes_cmdlog::~Kes_cmdlog() { delete_str(); }

void Kes_cmdlog::set_ws(const char *parent_name, const char *parent_netname,
                        const char *child_name, const char *child_netname) {
  free(lines[KES_CMDLOG_PARENT]);
  free(lines[KES_CMDLOG_CHILD]);
  lines[KES_CMDLOG_PARENT] = dup_or_die(ws_pair("PARENT_WORKSPACE ", parent_name, parent_netname));
  lines[KES_CMDLOG_CHILD] = dup_or_die(ws_pair("CHILD_WORKSPACE ", child_name, child_netname));
}

// A line without a value is written empty: the keyword goes too.
void Kes_cmdlog::set_rti(const char *value) {
  free(lines[KES_CMDLOG_RTI]);
  lines[KES_CMDLOG_RTI] = dup_or_die(value ? std::string("RTI ") + value : std::string());
}

void Kes_cmdlog::set_fp(const char *value) {
  free(lines[KES_CMDLOG_FREEZEPOINT]);
  lines[KES_CMDLOG_FREEZEPOINT] =
      dup_or_die(value ? std::string("FREEZEPOINT_FILE ") + value : std::string());
}

void Kes_cmdlog::finish(int status) {
  free(lines[KES_CMDLOG_END]);
  free(lines[KES_CMDLOG_STATUS]);
  free(lines[KES_CMDLOG_LAST]);
  lines[KES_CMDLOG_END] = dup_or_die(time_line("END "));
  lines[KES_CMDLOG_STATUS] = dup_or_die("STATUS " + std::to_string(status));
  lines[KES_CMDLOG_LAST] = nullptr;
}

void Kes_cmdlog::delete_str() {
  for (char *&l : lines) {
    free(l);
    l = nullptr;
  }
}
