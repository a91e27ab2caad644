// The errors of the wiki-finalize program and its exit codes.
//
// The program has two kinds of trouble, each with its own type: a command line it cannot use
// (`UsageError`, printed with a pointer to --help) and input it cannot use or output it cannot
// write (`InputError`, one finding of severity error: "wiki/wiki.json:12:7: error: page id 'cli'
// is used twice (first on line 5) [duplicate-page-id]"). Both end the run with EXIT_TROUBLE.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "vantorel/workers/wiki/findings/findings.h"

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
// written. `what()` is the finding's text: the file's name (and line and column where they are
// known), "error:", the message and the kind.
class InputError : public std::runtime_error {
 public:
  explicit InputError(workers::wiki::Finding finding) : std::runtime_error(workers::wiki::to_text(finding)), finding_(std::move(finding)) {}
  // An error about `file` (at `line` and `column`, 1-based, where they are known).
  InputError(std::string_view file, std::string_view kind, std::string message, std::size_t line = 0, std::size_t column = 0)
      : InputError(workers::wiki::Finding{.file = std::string(file),
                                          .line = line,
                                          .column = column,
                                          .severity = workers::wiki::Severity::ERROR,
                                          .kind = std::string(kind),
                                          .message = std::move(message)}) {}

  const workers::wiki::Finding& finding() const noexcept { return finding_; }

 private:
  workers::wiki::Finding finding_;
};

}  // namespace vantorel::tools
