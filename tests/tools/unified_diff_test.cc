#include "unified_diff.h"

#include <gtest/gtest.h>

#include <random>

namespace vantorel::tools {
namespace {

// The lines of `text`, each with its "\n" when it has one.
std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t stop = std::min(text.find('\n', start), text.size() - 1) + 1;
    lines.push_back(text.substr(start, stop - start));
    start = stop;
  }
  return lines;
}

// Applies a unified diff to `before` as patch does, failing the test when a context or removed
// line is not the line of `before` it claims to be.
std::string apply_diff(std::string_view before, std::string_view diff) {
  const std::vector<std::string_view> old_lines = lines_of(before);
  const std::vector<std::string_view> diff_lines = lines_of(diff);
  std::string out;
  std::size_t next_old = 0;
  for (std::size_t d = 2; d < diff_lines.size(); ++d) {
    const std::string_view line = diff_lines[d];
    if (line.starts_with("@@ -")) {
      const std::size_t end = line.find_first_of(", ", 4);
      const std::size_t start = std::stoul(std::string(line.substr(4, end - 4)));
      for (const std::size_t first = line.substr(end, 3) == ",0 " ? start : start - 1; next_old < first; ++next_old) {
        out.append(old_lines.at(next_old));
      }
      continue;
    }
    std::string body(line.substr(1));
    if (d + 1 < diff_lines.size() && diff_lines[d + 1] == "\\ No newline at end of file\n") body.pop_back(), ++d;
    if (line[0] != '+') {
      EXPECT_EQ(next_old < old_lines.size() ? old_lines[next_old++] : "(none)", body);
    }
    if (line[0] != '-') out.append(body);
  }
  for (; next_old < old_lines.size(); ++next_old) out.append(old_lines[next_old]);
  return out;
}

TEST(UnifiedDiff, OneChangedLineWithThreeLinesOfContext) {
  EXPECT_EQ(unified_diff("1\n2\n3\n4\n5\n6\n7\n8\n9\n", "1\n2\n3\n4\nX\n6\n7\n8\n9\n", "x", "y"),
            "--- x\n+++ y\n@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+X\n 6\n 7\n 8\n");
}

// Random texts over a few distinct lines, so that many lines repeat, some without a last "\n".
TEST(UnifiedDiff, AppliedToTheOldTextItGivesTheNewText) {
  std::mt19937 random(20240611);
  static const std::string_view alphabet[] = {"a\n", "b\n", "c\n", "\n", "## Heading\n"};
  auto text = [&](std::size_t max_lines) {
    std::string out;
    for (std::size_t n = random() % (max_lines + 1); n > 0; --n) out.append(alphabet[random() % std::size(alphabet)]);
    if (!out.empty() && random() % 5 == 0) out.pop_back();
    return out;
  };
  for (int round = 0; round < 1000; ++round) {
    const std::string before = text(40);
    const std::string after =
        random() % 3 == 0 ? text(40) : before.substr(0, before.size() / 2) + text(6) + before.substr(before.size() / 2);
    const std::string diff = unified_diff(before, after, "old", "new");
    ASSERT_EQ(diff.empty(), before == after);
    ASSERT_EQ(apply_diff(before, diff), after) << "before:\n" << before << "\ndiff:\n" << diff;
  }
}

}  // namespace
}  // namespace vantorel::tools
