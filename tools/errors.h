// The errors of the wiki-finalize program and its exit codes.
//
// The program has two kinds of trouble, each with its own type: a command line it cannot use
// (`UsageError`, printed with a pointer to --help) and input it cannot use or output it cannot
// write (`InputError`, whose message already names the file: "wiki/wiki.json:12:7: page id 'cli'
// is used twice"). Both end the run with EXIT_TROUBLE.
#pragma once

#include <stdexcept>

namespace vantorel::tools {

inline constexpr int EXIT_OK = 0;       // done; with --check: every page is final
inline constexpr int EXIT_CHANGED = 1;  // with --check: some file would change
inline constexpr int EXIT_TROUBLE = 2;  // a usage error, bad input, or a file that cannot be written
inline constexpr int EXIT_INTERRUPTED = 130;  // stopped by SIGINT or SIGTERM; no file was left half-written

// The command line cannot be used as given. The message says why, without the program's name.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A file the program reads is missing, unreadable or malformed, or one it writes cannot be
// written. The message is complete: it starts with the file's name (and line and column where
// they are known).
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vantorel::tools
