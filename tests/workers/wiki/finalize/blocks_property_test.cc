// Properties of the segment list and of strip_generated over many generated pages, including
// pages with invalid UTF-8, NUL bytes and lone carriage returns.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/settle.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {
namespace {

using test_support::has_marker_outside_fences;
using test_support::is_marker_line;

const std::vector<std::string> kLines = {
    // prose with odd bytes, blank lines, fences
    "Some prose.", "## Heading", "> quote", "- item", "caf\u00e9 \U0001F680", "\xFF\xFE bad", std::string("nul\0byte", 8), "lone\rcr",
    "ends in cr\r", "\xC2", "", "", " ", "\t", "\u3000", "```", "```mermaid", "~~~", "  ```",
    // markers, and lines that only look like markers
    "<!-- wiki:summary -->", "<!-- wiki:summary plan -->", "<!-- /wiki:summary -->", "<!-- wiki:footer -->", "<!-- /wiki:footer -->",
    "  <!-- wiki:index -->\r", "<!-- /wiki:index -->", "<!-- wiki:diagram -->", "\t<!-- /wiki:diagram -->", "<!--wiki:index-->",
    "<!-- wiki:Index -->", "<!-- /wiki:summary plan -->", "<!-- wiki:index  plan -->"};

std::string random_page(std::mt19937& rng) {
  std::string page;
  for (int n = static_cast<int>(rng() % 30); n > 0; --n)
    page.append(kLines[rng() % kLines.size()]).append(n > 1 || rng() % 4 == 0 ? "\n" : "");
  return page;
}

TEST(SegmentsProperty, InvariantsHoldAndStripSettlesOnGeneratedPages) {
  const auto blank = [](std::string_view line) { return text::is_blank(line); };
  std::mt19937 rng(20261123);
  int settled = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string page = random_page(rng);
    SCOPED_TRACE("page: [" + page + "]");
    const std::vector<Segment> segments = _segments(page);
    ASSERT_TRUE(!segments.empty() && segments.back().part.empty());
    for (std::size_t k = 0; k < segments.size(); ++k) {
      const Segment& s = segments[k];
      ASSERT_TRUE(s.part.empty() ? s.attribute.empty() : k > 0 && segments[k - 1].part.empty()) << "segment " << k;
      ASSERT_FALSE(s.part.empty() && k + 2 < segments.size() && segments[k + 1].part.empty()) << "authored twice before the end";
    }
    // Every line of the page that is not a marker line is in exactly one segment, in page order,
    // as the very same bytes.
    std::size_t j = 0;
    std::vector<std::string_view> flat;
    for (const Segment& s : segments) flat.insert(flat.end(), s.lines.begin(), s.lines.end());
    for (std::string_view line : text::Lines(page)) {
      const bool in_segment = j < flat.size() && flat[j].data() == line.data() && flat[j].size() == line.size();
      ASSERT_TRUE(in_segment || is_marker_line(line)) << "line dropped: [" << line << "]";
      j += in_segment;
    }
    ASSERT_EQ(j, flat.size());
    // strip_generated keeps the kept segments' lines, blank runs aside, with only the ends of the
    // whole text trimmed; stripping that again changes nothing when no marker line is left outside
    // fences.
    for (const std::vector<std::string_view>& keep : {std::vector<std::string_view>{}, {SUMMARY, FOOTER, INDEX}}) {
      const std::string stripped = strip_generated(page, keep);
      std::vector<std::string_view> expected;
      for (const Segment& s : segments)
        if (s.part.empty() || std::find(keep.begin(), keep.end(), s.part) != keep.end())
          expected.insert(expected.end(), s.lines.begin(), s.lines.end());
      std::vector<std::string_view> got = text::split_lines(stripped);
      std::erase_if(got, blank);
      std::erase_if(expected, blank);
      ASSERT_EQ(text::join(got, "\n"), text::trim(text::join(expected, "\n")));
      ASSERT_EQ(text::trim(stripped), stripped);
      const bool settles = !has_marker_outside_fences(stripped);
      ASSERT_TRUE(!settles || strip_generated(stripped, keep) == stripped) << "[" << stripped << "]";
      settled += settles;
    }
  }
  EXPECT_GT(settled, 10000);  // the idempotence check ran on many pages
}

}  // namespace
}  // namespace vantorel::workers::wiki
