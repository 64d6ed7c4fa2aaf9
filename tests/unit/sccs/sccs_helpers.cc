// History files for the history file layer's tests.
#include "sccs/sccs_helpers.h"

#include <gtest/gtest.h>

#include "sccs/kes_smid.h"
#include "util/kes_err.h"

using namespace support;

namespace sccs_test {

std::unique_ptr<SCCS_sfile> read_full(const std::string &path, int side, int pfile) {
  std::unique_ptr<SCCS_sfile> f(new SCCS_sfile(path.c_str()));
  EXPECT_EQ(take(f->buildtree(side, pfile, 0)).text, "");
  return f;
}

std::string make_rich_history(const std::string &dir, const std::string &name, bool with_text) {
  write_file(dir + "/desc.txt", "Descriptive text\nsecond line\n");
  new_history(dir, name, "a\nb\nc\n",
              std::string("-fb -fqQFLAG -fmmodname -fttype -fj -fn -fl3 -fc99 -ff1 -fv/bin/true "
                          "-mmr0 -ajoe -a$(id -un)") +
                  (with_text ? " -tdesc.txt" : ""));
  std::string s = dir + "/s." + name;
  add_delta(s, "a\nb2\nc\n", "second\nwith two lines", "", "mr1 mr2");
  add_delta(s, "a\nb2\nc\nd\n", "third, it's", "", "mr3");
  add_delta(s, "a0\na\nb2\nc\n", "branch", "-r1.2", "mr4");
  add_delta(s, "a0\na\nc\nd\nx caf\xe9 \xff\xfe\n", "with include and exclude", "-i1.2.1.1 -x1.3",
            "mr5");
  add_delta(s, "a0\na\nc\nd\nx caf\xe9 \xff\xfe\nz\n", "to remove", "", "mr6");
  EXPECT_EQ(0, run({cssc("rmdel"), "-r1.5", s}).status);
  return s;
}

std::string make_dated_history(const std::string &dir, const std::string &name,
                               const std::string &date, const std::string &sid) {
  new_history(dir, name, "one\n");
  std::string s = dir + "/s." + name, text = read_file(s);
  size_t d = text.find("\001d D 1.1 ");
  std::string old_line = text.substr(d, text.find('\n', d) - d);
  edit_sfile(s, old_line,
             "\001d D " + (sid.empty() ? "1.1" : sid) + " " + date +
                 old_line.substr(std::string("\001d D 1.1 yy/mm/dd hh:mm:ss").size()));
  // admin writes the clock into the comment too; two files made a second
  // apart would otherwise differ there.
  text = read_file(s);
  size_t c = text.find("\001c date and time created ");
  edit_sfile(s, text.substr(c, text.find('\n', c) - c),
             "\001c date and time created " + date + " by someone");
  return s;
}

std::string fake_rooted(const std::string &dir, const std::string &first_comments,
                        const std::string &second_comments) {
  std::string s = dir + "/s.two";
  write_file(s, "\001h00000\n"
                "\001s 00001/00000/00000\n\001d D 1.1.1.1 92/01/01 00:00:00 u 3 1\n" +
                    second_comments +
                    "\001e\n"
                    "\001s 00001/00000/00000\n\001d D 1.2 92/01/01 00:00:00 u 2 1\n" +
                    first_comments +
                    "\001e\n"
                    "\001s 00000/00000/00000\n\001d D 1.1 70/01/01 00:00:00 Fake 1 0\n"
                    "\001c Fake root\n\001e\n"
                    "\001u\n\001U\n\001t\n\001T\n"
                    "\001I 3\nthree\n\001E 3\n\001I 2\ntwo\n\001E 2\n\001I 1\n\001E 1\n");
  EXPECT_EQ(0, run({cssc("admin"), "-z", s}).status);
  return s;
}

std::string smid_text(Kes_smid *smid) {
  char buf[KES_SMID_TEXT_SIZE];
  std::string t = smid->to_text(buf);
  delete smid;
  return t;
}

std::string root_smid(const std::string &sfile, int roots_only) {
  SCCS_sfile f(sfile.c_str());
  EXPECT_EQ(take(f.buildtree(0, 0, roots_only)).text, "");
  return f.root_delta() ? smid_text(kes_smid_from_delta(f.root_delta())) : "";
}

}  // namespace sccs_test
