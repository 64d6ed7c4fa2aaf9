// Running a piece of a transaction in a child process, with its standard
// output and error caught, so that signals, exit statuses and process-wide
// state (working directory, environment, handlers) stay out of the test.
#ifndef BRINDLE_TESTS_TRANSACTION_TRANS_HELPERS_H
#define BRINDLE_TESTS_TRANSACTION_TRANS_HELPERS_H

#include <functional>
#include <string>

struct Child_result {
  int exit_status = -1;  // when the child exited
  int signal = 0;        // when a signal ended it
  std::string out, err;
};

// Runs fn in a forked child; the child exits with fn's result.
Child_result run_in_child(const std::function<int()> &fn);

std::string make_temp_dir();
void remove_tree(const std::string &path);
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);
bool path_exists(const std::string &path);
// Runs a shell command line; its exit status.
int sh(const std::string &cmd);

#endif
