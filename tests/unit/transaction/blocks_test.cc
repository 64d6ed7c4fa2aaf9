// The block lists: what a user reads when a command stops.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "support/support.h"
#include "transaction/kes_blocks.h"

using namespace support;

namespace {

TEST(BlocksTest, BlockingListsPrintHeadingAndNamesOnStandardError) {
  Child r = in_child([]() {
    Kes_blocks b;
    // Empty lists print nothing and do not block.
    int empty = b.print_from_co_list("/p") + b.print_to_co_list("/c") + b.print_to_chg_list("/c") +
                b.print_to_new_list("/c") + b.print_from_name_chg_list("/p") +
                b.print_to_name_chg_list("/c") + b.print_to_conflict_add_list("/c") +
                b.print_from_conflict_add_list("/p") + b.print_to_conflict_remove_list("/c") +
                b.print_from_conflict_remove_list("/p") + b.print_from_unresolved_list("/p") +
                b.print_to_unresolved_list("/c") + b.print_duplicates();
    if (empty) return 100;
    b.add_to_chg_list("src/a.c");
    b.add_to_chg_list("doc/b.txt");
    b.add_to_new_list("new.c");
    b.add_from_co_list("edited.c");
    int blocked = b.print_to_chg_list("/ws/child") + b.print_to_new_list("/ws/child") +
                  b.print_from_co_list("/ws/parent");
    return blocked;
  });
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            "\nThe following files have changed in workspace\n\"/ws/child\" and must be brought "
            "over:\n\tsrc/a.c\n\tdoc/b.txt\n"
            "\nThe following files are new in workspace\n\"/ws/child\" and must be brought "
            "over:\n\tnew.c\n"
            "\nThe following files are currently checked out and have been edited in "
            "workspace\n\"/ws/parent\":\n\tedited.c\n");
}

TEST(BlocksTest, ConflictFileCorrectionsAreReportedButNeverBlock) {
  Child r = in_child([]() {
    Kes_blocks b;
    b.add_to_conflict_add_list("x.c");
    b.add_from_conflict_remove_list("y.c");
    return b.print_to_conflict_add_list("/c") + b.print_from_conflict_remove_list("/p");
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err,
            "\nThe conflict file in workspace \"/c\"\nwas incorrect.  The following files are in "
            "conflict and have\nbeen added to the conflict file.\n\tx.c\n"
            "\nThe conflict file in workspace \"/p\"\nwas incorrect.  The following files are not "
            "in conflict and have\nbeen removed from the conflict file.\n\ty.c\n");
}

TEST(BlocksTest, UnresolvedListEndsWithTheResolveCommand) {
  Child r = in_child([]() {
    setenv("PATH", "/nonexistent", 1);  // no resolve program: the bare name
    Kes_blocks b;
    b.add_to_unresolved_list("m.c");
    return b.print_to_unresolved_list("/ws/c");
  });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "\nThe following files need to be resolved in workspace\n\"/ws/c\":\n\tm.c\n"
            "Use \"resolve -w /ws/c\" to resolve conflicts\n");

  Temp_dir tmp;
  std::string bin = tmp.path();
  write_file(bin + "/resolve", "#!/bin/sh\n", 0755);
  r = in_child([&]() {
    setenv("PATH", bin.c_str(), 1);
    Kes_blocks b;
    b.add_from_unresolved_list("m.c");
    return b.print_from_unresolved_list("/ws/p");
  });
  EXPECT_NE(r.err.find("Use \"" + bin + "/resolve -w /ws/p\" to resolve conflicts\n"),
            std::string::npos)
      << r.err;
}

TEST(BlocksTest, DuplicatesBlockOnlyOnceSet) {
  Child r = in_child([]() {
    Kes_blocks b;
    int before = b.print_duplicates();
    b.set_duplicates();
    return before * 10 + b.print_duplicates();
  });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "\nSome files in the same workspace have identical first deltas.\n");
}

}  // namespace
