// The user, the host, the time zone and the string formatter.
#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "util/kes_err.h"
#include "util/kes_host.h"
#include "support/scratch.h"

using namespace support;

TEST(Host, UserFromPasswordDatabase) {
  struct passwd *pw = getpwuid(getuid());
  ASSERT_NE(pw, nullptr);
  std::string login = pw->pw_name, home = pw->pw_dir;
  EXPECT_EQ(std::string(kes_get_user(0, 1)), login);
  EXPECT_EQ(std::string(kes_get_user(1, 0)), login.substr(0, 32));
  char name[1024] = "x", dir[1024] = "x";
  Kes_err *err = kes_get_user(name, dir);
  EXPECT_EQ(err, nullptr);
  delete err;
  EXPECT_EQ(std::string(name), login);
  EXPECT_EQ(std::string(dir), home);
}

TEST(Host, UserWithoutEntry) {
  const uid_t stranger = 54321;
  if (getpwuid(stranger)) GTEST_SKIP() << "uid 54321 has an entry here";
  set_cmdname("thost");
  kes_get_user(0, 0);  // fill the cache for the present user first
  Child c = in_child([&] {
    if (setuid(stranger) < 0) _exit(77);
    std::string report;
    report += kes_get_user(0, 0) ? "named" : "null";
    report += std::string(" ") + kes_get_user(1, 1) + "\n";
    char name[1024] = "untouched";
    Kes_err *err = kes_get_user(name, nullptr);
    report += err ? err->text : "no error\n";
    report += std::string(name) + "\n";
    delete err;
    return report;
  });
  if (c.status == 77) GTEST_SKIP() << "cannot change the user";
  ASSERT_EQ(c.status, 0);
  EXPECT_EQ(c.out,
            "null Unknown\n"
            "thost: Could not get username for uid 54321  (Error 2007)\n"
            "untouched\n");
}

TEST(Host, TimezoneNamesDaylightWhenItHasOne) {
  const char *old = getenv("TZ");
  std::string saved = old ? old : "";
  setenv("TZ", "EST5EDT", 1);
  EXPECT_STREQ(kes_get_timezone(), "EDT");
  setenv("TZ", "JST-9", 1);
  EXPECT_STREQ(kes_get_timezone(), "JST");
  setenv("TZ", "UTC0", 1);
  EXPECT_STREQ(kes_get_timezone(), "UTC");
  if (old) setenv("TZ", saved.c_str(), 1); else unsetenv("TZ");
  tzset();
}

TEST(Host, SprintfWithMallocJoinsStrings) {
  std::string big(10000, 'b');
  char *s = sprintf_with_malloc("%s/T.%s.XXXXXX%%[%s]", "/ws/Brindle_wsdata", "", big.c_str(),
                                static_cast<char *>(nullptr));
  EXPECT_EQ(std::string(s), "/ws/Brindle_wsdata/T..XXXXXX%[" + big + "]");
  free(s);
}
