// Conflict records: the forms of the line in the data delta, reading them back,
// and their failures.  Files are made by the SCCS programs and what we write is
// read back by them.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_conflict.h"
#include "support/cssc.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_list.h"

using namespace support;

namespace {

class ConflictTest : public ::testing::Test {
protected:
  void SetUp() override {
    new_history(root, "f", "one\n", "-ystart");
    path = root + "/s.f";
  }

  // Stores value as the record and writes the file.
  void store(const char *value) {
    SCCS_sfile sf(path.c_str());
    Kes_conflict c(&sf, 0);
    Kes_strlist values;
    values.add_new_data(strdup(value));
    Kes_err *e = c.replace_values("Conflict from ws", &values);
    ASSERT_EQ(e, nullptr) << e->text;
    e = sf.write();
    ASSERT_EQ(e, nullptr) << e->text;
  }
  // The comment lines of the data delta, as the SCCS programs list them.
  std::string data_comments() {
    return run({cssc("prs"), "-a", "-r1.2", "-d:C:", path}).out;
  }
  Temp_dir tmp;
  std::string root = tmp.path(), path;
};

}  // namespace

// Records written by set and write, read back by prs and by get; then stored
// lines of every form: a path with a blank ends in a doubled "/", a plain one
// doesn't, and a line with neither word reads as noforce.
TEST_F(ConflictTest, RecordsRoundTripAndEveryFormParses) {
  struct Case {
    const char *force, *ws, *child, *parent, *ancestor;  // what set is given
    const char *line;                                    // the line written or stored
    bool stored;
  } cases[] = {
      {"noforce", "/home/ws", "1.3", "1.2.1.1", nullptr, "noforce /home/ws 1.3 1.2.1.1\n", false},
      {"force", "/home/a b", "1.3", "1.2.1.1", "1.2", "force /home/a b// 1.3 1.2.1.1 1.2\n", false},
      {"noforce", "/x/y", "1.4", "1.3", "1.1", "noforce /x/y 1.4 1.3 1.1\n", true},
      {"noforce", "/x/y", "1.4", "1.3", nullptr, "/x/y 1.4 1.3\n", true},
  };
  for (const Case &k : cases) {
    SCOPED_TRACE(k.line);
    if (k.stored) {
      store(k.line);
    } else {
      SCCS_sfile sf(path.c_str());
      Kes_conflict c(&sf, 0);
      c.create = 1;
      c.set(k.force, k.child, k.parent, k.ancestor, k.ws);
      ASSERT_EQ(c.write(), nullptr);
      ASSERT_EQ(sf.write(), nullptr);
      EXPECT_EQ(run({cssc("val"), path}).status, 0);
      EXPECT_NE(data_comments().find(std::string("Conflict from ws : ") + k.line), std::string::npos)
          << data_comments();
    }
    SCCS_sfile sf(path.c_str());
    Kes_conflict c(&sf, 0);
    EXPECT_TRUE(c.in_conflict());
    ASSERT_EQ(c.get(), nullptr);
    EXPECT_STREQ(c.force_word, k.force);
    EXPECT_STREQ(c.ws_path, k.ws);
    EXPECT_STREQ(c.child_sid, k.child);
    EXPECT_STREQ(c.parent_sid, k.parent);
    if (k.ancestor) {
      EXPECT_STREQ(c.ancestor_sid, k.ancestor);
    } else {
      EXPECT_EQ(c.ancestor_sid, nullptr);
    }
  }
}

TEST_F(ConflictTest, IncompleteRecordsAndMissingFields) {
  for (const char *value : {"noforce /x/y 1.4\n", "/x/y 1.4\n"}) {
    store(value);
    SCCS_sfile sf(path.c_str());
    Kes_conflict c(&sf, 0);
    Kes_err *e = c.get();
    ASSERT_NE(e, nullptr) << value;
    EXPECT_EQ(e->code, 2533);
    EXPECT_NE(strstr(e->text, ("Internal error in sccsmerge in Kes_conflict::get(): incomplete "
                               "conflict info for \"" + path + "\"").c_str()),
              nullptr)
        << e->text;
    delete e;
    // An unreadable record is no conflict.
    EXPECT_FALSE(c.in_conflict());
  }
  SCCS_sfile sf(path.c_str());
  Kes_conflict c(&sf, 0);
  c.set("noforce", nullptr, "1.2", nullptr, "/ws");
  Kes_err *e = c.write();
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->code, 2529);
  EXPECT_NE(strstr(e->text, "Internal error in sccsmerge in Kes_conflict::write(): NULL child or "
                            "parent delta for"),
            nullptr);
  delete e;
}

TEST_F(ConflictTest, SetKeepsAnAncestorWhenGivenNone) {
  SCCS_sfile sf(path.c_str());
  Kes_conflict c(&sf, 0);
  c.set("noforce", "1.3", "1.2", "1.1", "/ws");
  c.set("force", "1.4", "1.3", "", "/other");
  EXPECT_STREQ(c.ancestor_sid, "1.1");
  c.set("force", "1.4", "1.3", nullptr, nullptr);
  EXPECT_STREQ(c.ancestor_sid, "1.1");
  EXPECT_EQ(c.ws_path, nullptr);
}

TEST_F(ConflictTest, ClearMakesTheDataDeltaAndWritesTheFile) {
  // No data delta yet: clearing makes one, without a record.
  {
    SCCS_sfile sf(path.c_str());
    Kes_conflict c(&sf, 0);
    Kes_err *e = c.clear();
    ASSERT_EQ(e, nullptr) << e->text;
  }
  EXPECT_EQ(run({cssc("val"), path}).status, 0);
  EXPECT_EQ(run({cssc("admin"), "-h", path}).status, 0);
  EXPECT_EQ(data_comments(), "Oakline Brindle data about conflicts, renames, etc...\n\n");
  EXPECT_FALSE(file_exists(root + "/z.f"));
}
