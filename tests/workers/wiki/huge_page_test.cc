// A 100 MB page, and a single line of 100 MB, go through every function of the text core and of
// the generated blocks. Nothing here is timed; a quadratic function would not finish.
#include <gtest/gtest.h>

#include <string>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {
namespace {

constexpr std::size_t kSize = 100u << 20;

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
  EXPECT_EQ(_norm(std::string(kSize, '/') + "a").size(), 1u);
  EXPECT_EQ(_repo_rel_link(std::string(kSize, '(')).size(), 3 * kSize + 3);
  const std::string marker = "<!-- wiki:" + std::string(kSize, 'a') + " -->";
  EXPECT_EQ(_segments(marker).size(), 2u);
}

}  // namespace
}  // namespace vantorel::workers::wiki
