// Code fences and blank-line runs: the two text rules every part of the component shares.
//
//   EXPECT_TRUE(is_fence_line("  ```mermaid"));
//   EXPECT_EQ(_collapse_blank_runs("a\n\n \n\nb"), "a\n\nb");
//
// A fence line is any line that opens or closes fenced code: leading white space of any width,
// then three or more backticks or three or more tildes, then anything. Openers and closers are
// not told apart: every fence line toggles the in-fence state. Any indentation counts so that
// trimming a text never turns a line into a fence line or out of one.
#pragma once

#include <string>
#include <string_view>

#include "vantorel/text/pattern.h"

namespace vantorel::workers::wiki {

namespace detail {

// `^\s*(?:`{3,}|~{3,})`, applied in match mode to one raw line; only whether it matches counts.
const text::Pattern& FENCE_RE();

}  // namespace detail

// Whether `line` (one raw line, no "\n") is a fence line, as `detail::FENCE_RE()` decides; a cheap
// test rules out most lines before the pattern runs.
bool is_fence_line(std::string_view line);

// `text` with every run of two or more blank lines (empty or white space only) outside fenced
// code made one empty line. A single blank line stays as it is, lines inside fenced code are never
// touched, and applying it twice gives what applying it once gives.
std::string _collapse_blank_runs(std::string_view text);

namespace detail {

// `_collapse_blank_runs` of a text handed over line by line (each without its "\n"), for callers
// that hold the lines already and need not join them first. Keeps views of the pending blank line.
class BlankRunCollapser {
 public:
  explicit BlankRunCollapser(std::size_t size_hint) { out_.reserve(size_hint); }
  void add(std::string_view line);
  // The collapsed text: the lines joined with "\n".
  std::string finish() &&;

 private:
  void put(std::string_view line);
  void flush();

  std::string out_;
  bool in_fence_ = false;
  bool first_ = true;
  std::string_view pending_;       // the first blank line of the run held back
  std::size_t pending_count_ = 0;  // blank lines in that run
};

}  // namespace detail

}  // namespace vantorel::workers::wiki
