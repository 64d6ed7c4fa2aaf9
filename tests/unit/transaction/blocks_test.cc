// The block lists: what a user reads when a command stops.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "support/support.h"
#include "transaction/kes_blocks.h"

using namespace support;

namespace {

// The lists that block, their order and the resolve line that ends the
// unresolved ones are read in full from a real putback (t1602).
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
