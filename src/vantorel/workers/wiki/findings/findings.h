// Findings: what a run has to tell about a page or a wiki file, one record per warning or error.
//
//   const Finding f{.file = "wiki/cli.md", .line = 12, .column = 1, .severity = Severity::WARNING,
//                   .kind = "unclosed-fence", .message = "this code fence is never closed; closed after line 30"};
//   EXPECT_EQ(to_text(f), "wiki/cli.md:12:1: warning: this code fence is never closed; closed after line 30 [unclosed-fence]");
//
// The text form is the one compilers use, so editors and CI logs link it to the place it names.
// The library fills in line, column, severity, kind and message; `file` is the caller's name for
// the text the finding is about (the program gives the page file's path). Kinds are short, stable
// codes that tools may match on; messages are for people and may change.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::workers::wiki {

enum class Severity {
  ERROR,    // the input cannot be used as it is; nothing was written
  WARNING,  // something is wrong and was repaired, or will be lost unless the author acts
  NOTE,     // what a run did by design that a reader of the page may want to know
};

// "error", "warning" or "note".
std::string_view severity_name(Severity severity) noexcept;

struct Finding {
  std::string file{};                     // the file the finding is about, as messages name it; may be empty
  std::size_t line = 0;                   // 1-based line in that file; 0 when the finding has no place in it
  std::size_t column = 0;                 // 1-based column in bytes from the line's start; 0 when none
  Severity severity = Severity::WARNING;  // how much it matters
  std::string kind{};                     // a short stable code: "unclosed-fence", "citation-unresolved"
  std::string message{};                  // one line for people

  bool operator==(const Finding&) const = default;
};

// "file:line:col: severity: message [kind]", leaving out the column, the line and the file where
// there is none ("file: severity: message [kind]"). Never ends in a line break.
std::string to_text(const Finding& finding);

// `findings` with `file` set on each: the library reports findings about a text, the caller knows
// which file that text came from.
std::vector<Finding> in_file(std::vector<Finding> findings, std::string_view file);

}  // namespace vantorel::workers::wiki
