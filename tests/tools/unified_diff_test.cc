#include "unified_diff.h"

#include <gtest/gtest.h>

#include <random>

namespace vantorel::tools {
namespace {

std::vector<std::string_view> lines_with_breaks(std::string_view text) {
  std::vector<std::string_view> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    const std::size_t stop = end == std::string_view::npos ? text.size() : end + 1;
    lines.push_back(text.substr(start, stop - start));
    start = stop;
  }
  return lines;
}

// Applies a unified diff to `before` the way patch does, checking every context and removed line
// against `before`. Fails the test (and returns "") when the diff does not fit.
std::string apply_diff(std::string_view before, std::string_view diff) {
  const std::vector<std::string_view> old_lines = lines_with_breaks(before);
  const std::vector<std::string_view> diff_lines = lines_with_breaks(diff);
  std::string out;
  std::size_t next_old = 0;  // old lines consumed
  for (std::size_t d = 2; d < diff_lines.size(); ++d) {
    std::string_view line = diff_lines[d];
    if (line.starts_with("@@ -")) {
      const std::size_t comma_or_blank = line.find_first_of(", ", 4);
      std::size_t start = std::stoul(std::string(line.substr(4, comma_or_blank - 4)));
      const bool empty = line.substr(comma_or_blank, 3) == ",0 ";
      const std::size_t first = empty ? start : start - 1;
      EXPECT_GE(first, next_old) << "hunks out of order";
      for (; next_old < first; ++next_old) out.append(old_lines[next_old]);
      continue;
    }
    const bool no_newline_next = d + 1 < diff_lines.size() && diff_lines[d + 1] == "\\ No newline at end of file\n";
    std::string body(line.substr(1));
    if (no_newline_next) {
      EXPECT_EQ(body.back(), '\n');
      body.pop_back();
    }
    if (line[0] == ' ' || line[0] == '-') {
      EXPECT_LT(next_old, old_lines.size());
      if (next_old >= old_lines.size()) return "";
      EXPECT_EQ(old_lines[next_old], body) << "line " << next_old + 1;
      ++next_old;
    }
    if (line[0] == ' ' || line[0] == '+') out.append(body);
    if (no_newline_next) ++d;
  }
  for (; next_old < old_lines.size(); ++next_old) out.append(old_lines[next_old]);
  return out;
}

// The length of a longest common subsequence of two line lists, by dynamic programming.
std::size_t lcs_length(const std::vector<std::string_view>& a, const std::vector<std::string_view>& b) {
  std::vector<std::vector<std::size_t>> table(a.size() + 1, std::vector<std::size_t>(b.size() + 1, 0));
  for (std::size_t i = a.size(); i-- > 0;) {
    for (std::size_t j = b.size(); j-- > 0;) {
      table[i][j] = a[i] == b[j] ? table[i + 1][j + 1] + 1 : std::max(table[i + 1][j], table[i][j + 1]);
    }
  }
  return table[0][0];
}

TEST(UnifiedDiff, SmallCases) {
  struct Case {
    std::string_view before, after, expected;
  };
  static const Case cases[] = {
      {"a\nb\nc\n", "a\nb\nc\n", ""},
      {"a\nb\nc\n", "a\nB\nc\n", "--- x\n+++ y\n@@ -1,3 +1,3 @@\n a\n-b\n+B\n c\n"},
      {"", "a\nb\n", "--- x\n+++ y\n@@ -0,0 +1,2 @@\n+a\n+b\n"},
      {"a\nb\n", "", "--- x\n+++ y\n@@ -1,2 +0,0 @@\n-a\n-b\n"},
      {"a", "b", "--- x\n+++ y\n@@ -1 +1 @@\n-a\n\\ No newline at end of file\n+b\n\\ No newline at end of file\n"},
      {"a\n", "a", "--- x\n+++ y\n@@ -1 +1 @@\n-a\n+a\n\\ No newline at end of file\n"},
      {"a\r\nb\r\n", "a\nb\r\n", "--- x\n+++ y\n@@ -1,2 +1,2 @@\n-a\r\n+a\n b\r\n"},
      {"1\n2\n3\n4\n5\n6\n7\n", "1\n2\n3\n4\n5\n6\n7\nnew\n", "--- x\n+++ y\n@@ -5,3 +5,4 @@\n 5\n 6\n 7\n+new\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(unified_diff(c.before, c.after, "x", "y"), c.expected) << "before: " << c.before << "\nafter: " << c.after;
  }
}

// Changes six unchanged lines apart share a hunk; seven lines apart they get one hunk each.
TEST(UnifiedDiff, HunksMergeWhenTheirContextsTouch) {
  auto numbered = [](int n, int changed_a, int changed_b, bool changed) {
    std::string text;
    for (int i = 1; i <= n; ++i) text += (changed && (i == changed_a || i == changed_b) ? "X" : std::to_string(i)) + "\n";
    return text;
  };
  auto hunks = [](const std::string& diff) {
    int count = 0;
    for (std::string_view line : lines_with_breaks(diff)) count += line.starts_with("@@ -") ? 1 : 0;
    return count;
  };
  EXPECT_EQ(hunks(unified_diff(numbered(30, 5, 12, false), numbered(30, 5, 12, true), "x", "y")), 1);  // 6 lines between
  EXPECT_EQ(hunks(unified_diff(numbered(30, 5, 13, false), numbered(30, 5, 13, true), "x", "y")), 2);  // 7 lines between
  EXPECT_EQ(unified_diff(numbered(30, 5, 13, false), numbered(30, 5, 13, true), "x", "y"),
            "--- x\n+++ y\n@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+X\n 6\n 7\n 8\n@@ -10,7 +10,7 @@\n 10\n 11\n 12\n-13\n+X\n 14\n 15\n 16\n");
}

TEST(EditScript, RemovalsComeBeforeAdditionsInAChange) {
  const std::vector<std::string_view> before = {"a", "b", "c"};
  const std::vector<std::string_view> after = {"a", "x", "y", "c"};
  const std::vector<Edit> script = edit_script(before, after);
  const std::vector<Edit> expected = {{Edit::KEEP, 0, 0}, {Edit::REMOVE, 1, 1}, {Edit::ADD, 2, 1}, {Edit::ADD, 2, 2}, {Edit::KEEP, 2, 3}};
  EXPECT_EQ(script, expected);
}

// Random texts over a few distinct lines, so that many lines repeat: the script is a shortest
// one, the diff applies back to the new text, and the same inputs give the same diff.
TEST(UnifiedDiffProperty, ShortestScriptAndDiffThatApplies) {
  std::mt19937 random(20240611);
  static const std::string_view alphabet[] = {"a\n", "b\n", "c\n", "d\n", "\n", "## Heading\n", "- [x](x.md)\n"};
  auto text = [&](std::size_t max_lines) {
    std::string out;
    const std::size_t n = random() % (max_lines + 1);
    for (std::size_t i = 0; i < n; ++i) out.append(alphabet[random() % std::size(alphabet)]);
    if (!out.empty() && random() % 5 == 0) out.pop_back();  // sometimes no final line break
    return out;
  };
  for (int round = 0; round < 1500; ++round) {
    const std::string before = text(round < 1000 ? 12 : 60);
    const std::string after =
        random() % 3 == 0 ? text(12) : before.substr(0, before.size() / 2) + text(6) + before.substr(before.size() / 2);
    const std::vector<std::string_view> a = lines_with_breaks(before);
    const std::vector<std::string_view> b = lines_with_breaks(after);
    const std::vector<Edit> script = edit_script(a, b);
    std::size_t kept = 0;
    std::string rebuilt;
    for (const Edit& edit : script) {
      if (edit.kind == Edit::KEEP) {
        ++kept;
        ASSERT_EQ(a[edit.old_line], b[edit.new_line]);
      }
      if (edit.kind != Edit::REMOVE) rebuilt.append(b[edit.new_line]);
    }
    ASSERT_EQ(rebuilt, after) << "before:\n" << before;
    ASSERT_EQ(kept, lcs_length(a, b)) << "not a shortest script for\n" << before << "----\n" << after;

    const std::string diff = unified_diff(before, after, "old", "new");
    ASSERT_EQ(diff.empty(), before == after);
    if (!diff.empty()) {
      ASSERT_EQ(apply_diff(before, diff), after) << diff;
    }
    ASSERT_EQ(unified_diff(before, after, "old", "new"), diff);
  }
}

}  // namespace
}  // namespace vantorel::tools
