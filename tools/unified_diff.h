// A unified diff of two texts, line by line, as `diff -u` writes it.
//
//   unified_diff("a\nb\nc\n", "a\nB\nc\n", "wiki/cli.md", "wiki/cli.md")
//     == "--- wiki/cli.md\n+++ wiki/cli.md\n@@ -1,3 +1,3 @@\n a\n-b\n+B\n c\n"
//
// Lines are split on "\n"; a "\r" before it is part of the line. The edit script is a shortest
// one (Myers' algorithm in linear space), deletions before insertions within a change, hunks with
// three lines of context, hunks closer than that merged: the same inputs always give the same
// bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::tools {

// Lines of context around each change.
inline constexpr std::size_t DIFF_CONTEXT = 3;

// One step of an edit script.
struct Edit {
  enum Kind : char { KEEP = ' ', REMOVE = '-', ADD = '+' };
  Kind kind = KEEP;
  std::size_t old_line = 0;  // 0-based line of the old text (KEEP, REMOVE)
  std::size_t new_line = 0;  // 0-based line of the new text (KEEP, ADD)

  bool operator==(const Edit&) const = default;
};

// A shortest edit script turning the lines `before` into the lines `after`: every line of both
// appears once, in order; within a run of changes the removals come first.
std::vector<Edit> edit_script(const std::vector<std::string_view>& before, const std::vector<std::string_view>& after);

// The unified diff from `before` to `after` under the labels `old_label` and `new_label`; "" when
// the texts are equal. A last line without "\n" is followed by "\ No newline at end of file".
std::string unified_diff(std::string_view before, std::string_view after, std::string_view old_label, std::string_view new_label,
                         std::size_t context = DIFF_CONTEXT);

}  // namespace vantorel::tools
