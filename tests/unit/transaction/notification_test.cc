// The mail of a bringover: who gets it, what it says, and the mail about a
// notification file that cannot be read.  A recording mailer stands in for
// the host's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/support.h"
#include "transaction/kes_bringover.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "workspace/kes_mailer.h"
#include "workspace/kes_workspace.h"

using namespace support;

namespace {

class NotificationTest : public ::testing::Test {
protected:
  Temp_dir tmp;
  std::string dir = tmp.path(), mailer_fmt, host_mailer = kes_get_mail_command();

  void SetUp() override {
    set_cmdname("bringover");
    for (const char *d : {"/parent/Brindle_wsdata", "/child/Brindle_wsdata", "/mail"}) make_dirs(dir + d);
    // Each mail becomes a file named after its number, address first.
    write_file(dir + "/mailer",
               "#!/bin/sh\nn=$(ls " + dir + "/mail | wc -l)\n{ echo \"$1\"; cat; } > " + dir +
                   "/mail/$((n + 1))\n",
               0755);
    mailer_fmt = dir + "/mailer %s < %s";
    kes_set_mail_command(mailer_fmt.c_str());
  }
  void TearDown() override {
    kes_set_mail_command(host_mailer.c_str());
  }

  std::string mail(int n) { return read_file(dir + "/mail/" + std::to_string(n)); }
  int mails() { return sh("exit $(ls " + dir + "/mail | wc -l)").status; }

  // A bringover between the two workspaces, as far as its mail needs.
  Child notify(const std::function<void(Kes_bringover &)> &setup,
                      const std::string &mail_file = "composed") {
    return in_child([&]() {
      Kes_bringover b(0, nullptr);
      Kes_err *err = nullptr;
      b.parent_ws = b.from_ws = new Kes_workspace((dir + "/parent").c_str(), &err);
      if (err) return 90;
      b.child_ws = b.to_ws = new Kes_workspace((dir + "/child").c_str(), &err);
      if (err) return 91;
      setup(b);
      b.setup_notification((dir + "/" + mail_file).c_str(), "alice");
      return 0;
    });
  }
};

TEST_F(NotificationTest, EachSideMailsItsRegistrationsWithTheirPaths) {
  write_file(dir + "/parent/Brindle_wsdata/notification",
             "VERSION 1\n# the integrators\nlead@example bringover-from putback-to\n"
             "other@example putback-to\n");
  write_file(dir + "/child/Brindle_wsdata/notification",
             "VERSION 1\ndev@example bringover-to\nBEGIN\nsrc\ndoc/guide\nEND\n");
  write_file(dir + "/child/Brindle_wsdata/description",
             "VERSION 1\nNAME\nfeature-x\nDESCRIPTION\nwork on x\n");
  Child r = notify([](Kes_bringover &b) {
    b.examined = 4;
    b.counts.updates = 3;
    b.counts.renamed = 1;
    b.comment->add_new_copy(const_cast<char *>("sync with the trunk"));
  });
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(mails(), 3) << r.out << r.err;

  std::string p = dir + "/parent", c = dir + "/child";
  std::string host_p, host_c;
  {
    Kes_err *err = nullptr;
    Kes_workspace wp(p.c_str(), &err), wc(c.c_str(), &err);
    host_p = wp.netname;
    host_c = wc.netname;
  }
  std::string summary =
      "\nComment:\nsync with the trunk\n\nFiles:\nExamined files: 4\n"
      "\nContents Summary:\n       3   update\n\nNames Summary:\n       1   renamed\n";
  EXPECT_EQ(mail(1), "lead@example\nTo: lead@example\nSubject: Brindle notification\n"
                     "Precedence: bulk\n\n"
                     "Event:            bringover-from\nParent workspace: " + p +
                         "\n                  (" + host_p + ")\n"
                         "Child workspace:  " + c + "\n                  (" + host_c +
                         ")\n                  <feature-x>\n"
                         "User:             alice\n" + summary);
  EXPECT_EQ(mail(2).substr(0, mail(2).find("Precedence")),
            "dev@example\nTo: dev@example\nSubject: Brindle notification (src)\n");
  EXPECT_NE(mail(2).find("Event:            bringover-to\nChild workspace:  " + c), std::string::npos)
      << mail(2);
  EXPECT_NE(mail(3).find("Subject: Brindle notification (doc/guide)\n"), std::string::npos);
  EXPECT_FALSE(file_exists(dir + "/composed")) << "the composed mail is removed";
}

TEST_F(NotificationTest, DamagedFileMailsTheUserAndTheOtherSideStillGetsItsMail) {
  write_file(dir + "/parent/Brindle_wsdata/notification",
             "VERSION 1\nlead@example bringover-from\nBEGIN extra\nsrc\nEND\n");
  write_file(dir + "/child/Brindle_wsdata/notification", "VERSION 1\ndev@example bringover-to\n");
  Child r = notify([](Kes_bringover &) {});
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(mails(), 2);
  EXPECT_EQ(mail(1), "alice\nSubject: Brindle notification error\nTo: alice\n\nbringover: "
                     "Corrupted file - \"" + dir +
                         "/parent/Brindle_wsdata/notification\", text after \"BEGIN\", line 3.  "
                         "Can't send notification  (Error 2052)\n");
  EXPECT_NE(mail(2).find("To: dev@example\n"), std::string::npos);
}

// A word that is no event is warned about and the mail still goes; the mailer
// must not take a registered address for one of its options.
TEST_F(NotificationTest, MisplacedWordsAreWarnedAboutAndOptionLikeAddressesGetNoMail) {
  write_file(dir + "/parent/Brindle_wsdata/notification",
             "VERSION 1\n-C/tmp/other.conf bringover-from\nlead@example second@example bringover-from\n");
  Child r = notify([](Kes_bringover &) {});
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(mails(), 1);
  EXPECT_EQ(mail(1).substr(0, mail(1).find('\n')), "lead@example");
  EXPECT_NE(r.out.find("Mail_addr \"second@example\" is in wrong position in file " + dir +
                       "/parent/Brindle_wsdata/notification.\nNotification for the event "
                       "bringover-from will not be sent\n  (Warning 2623)"),
            std::string::npos)
      << r.out;
}

TEST_F(NotificationTest, UnwritableMailFileIsAWarningAndNoMail) {
  write_file(dir + "/parent/Brindle_wsdata/notification", "VERSION 1\nlead@example bringover-from\n");
  Child r = notify([](Kes_bringover &) {}, "no/such/dir/mail");
  EXPECT_EQ(mails(), 0);
  EXPECT_NE(r.out.find("Can't open \"" + dir + "/no/such/dir/mail\" - can't send notification "
                       "mail  (Warning 2618)"),
            std::string::npos)
      << r.out;
}

}  // namespace
