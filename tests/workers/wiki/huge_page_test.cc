// A 100 MB page, and a single line of 100 MB, go through every function of the text core and of
// the generated blocks. Nothing here is timed; a quadratic function would not finish.
#include <gtest/gtest.h>

#include <string>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {
namespace {

constexpr std::size_t kSize = 100u << 20;

std::string cat(std::initializer_list<std::string_view> parts) { return text::join(parts, ""); }

std::string many_lines() {
  const std::string chunk =
      "Prose with caf\u00e9 and \xFF bytes.\r\n\n\n\n  <!-- wiki:summary plan -->\n> s\n<!-- /wiki:summary -->\n```\n\n\n"
      "<!-- wiki:index -->\n```\n<!-- /wiki:footer -->\n\u3000\n";
  std::string page;
  page.reserve(kSize + chunk.size());
  while (page.size() < kSize) page += chunk;
  page += "<!-- wiki:footer -->\nnever closed\n";
  return page;
}

TEST(HugePage, ManyLines) {
  const std::string page = many_lines();
  const std::vector<Segment> segments = _segments(page);
  EXPECT_GT(segments.size(), 100000u);
  const std::string stripped = strip_generated(page, {SUMMARY});
  EXPECT_GT(stripped.size(), kSize / 3);
  EXPECT_LT(_collapse_blank_runs(page).size(), page.size());
  EXPECT_EQ(lf(page).find('\r'), std::string::npos);
  EXPECT_EQ(text::split_lines(page).size(), text::count_lines(page));
  EXPECT_GT(_block(INDEX, text::split_lines(page)).size(), page.size());
  // No heading outside fences: normalizing only collapses blank runs and trims.
  EXPECT_EQ(_normalize_body(page).size(), text::rtrim(_collapse_blank_runs(page)).size());
  EXPECT_LT(_drop_legacy_sections(page).size(), page.size());
  const Authored authored = split_authored(cat({"---\nsummary: Huge.\n---\n", page}));
  EXPECT_EQ(authored.summary, "Huge.");
  EXPECT_GT(authored.body.size(), kSize / 3);
}

TEST(HugePage, OneLine) {
  std::string line(kSize, ' ');
  line.replace(kSize / 2, 3, "\u3000");
  EXPECT_TRUE(text::is_blank(line));
  EXPECT_TRUE(text::trim(line).empty());
  EXPECT_EQ(strip_generated(line), "");
  EXPECT_EQ(_segments(line).size(), 1u);
  line += "```";
  EXPECT_TRUE(is_fence_line(line));  // the pattern runs over all the leading white space
  line.replace(0, 3, "<!-");
  EXPECT_FALSE(is_fence_line(line));
  EXPECT_EQ(_norm(cat({std::string(kSize, '/'), "a"})).size(), 1u);
  EXPECT_EQ(_repo_rel_link(std::string(kSize, '(')).size(), 3 * kSize + 3);
  const std::string marker = cat({"<!-- wiki:", std::string(kSize, 'a'), " -->"});
  EXPECT_EQ(_segments(marker).size(), 2u);
}

// Lines on which the patterns of the authored split would backtrack quadratically.
TEST(HugePage, LongLinesOfTheAuthoredSplit) {
  const std::string blanks(kSize, ' ');
  EXPECT_EQ(detail::h2_title(cat({"## a", blanks, "b"})), cat({"a", blanks, "b"}));
  EXPECT_EQ(detail::h2_title(cat({"## a", blanks, "#"})), "a");
  EXPECT_EQ(detail::summary_line(cat({"summary: a", blanks, "b\n"})), cat({"a", blanks, "b"}));
  EXPECT_EQ(detail::summary_line(cat({"summary:", blanks})), " ");
  EXPECT_EQ(_one_line(cat({blanks, "a", blanks})), "a");
  EXPECT_EQ(split_authored(cat({blanks, "---\nsummary: S.\n---\nBody."})).summary, "S.");
  // YAML of blanks alone is no mapping, so the block stays in the prose.
  EXPECT_EQ(split_authored(cat({"---\n", blanks, "\n---\nBody."})).body.size(), kSize + 14);
  EXPECT_FALSE(detail::LIST_LINK_RE().match(cat({blanks, "- [a]"})));
  EXPECT_TRUE(detail::LIST_LINK_RE().match(cat({blanks, "-", blanks, "[a](b)"})));
}

}  // namespace
}  // namespace vantorel::workers::wiki
