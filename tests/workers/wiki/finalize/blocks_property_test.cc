// Properties of the segment list and of strip_generated over many generated pages, including
// pages with invalid UTF-8, NUL bytes and lone carriage returns.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {
namespace {

const std::vector<std::string> kLines = {
    // prose, odd bytes included
    "Some prose.", "## Heading", "> quote", "- item", "caf\u00e9 \U0001F680", "\xFF\xFE bad", std::string("nul\0byte", 8), "lone\rcr",
    "ends in cr\r", "\xC2",
    // blank lines
    "", "", " ", "\t", "\u3000",
    // fences
    "```", "```mermaid", "~~~", "  ```",
    // markers
    "<!-- wiki:summary -->", "<!-- wiki:summary plan -->", "<!-- /wiki:summary -->", "<!-- wiki:footer -->", "<!-- /wiki:footer -->",
    "  <!-- wiki:index -->\r", "<!-- /wiki:index -->", "<!-- wiki:diagram -->", "\t<!-- /wiki:diagram -->",
    // lines that only look like markers
    "<!--wiki:index-->", "<!-- wiki:Index -->", "<!-- /wiki:summary plan -->", "<!-- wiki:index  plan -->"};

std::string random_page(std::mt19937& rng) {
  std::string page;
  const int n = static_cast<int>(rng() % 30);
  for (int i = 0; i < n; ++i) {
    if (i) page += '\n';
    page += kLines[rng() % kLines.size()];
  }
  if (rng() % 4 == 0) page += '\n';
  return page;
}

// The marker grammar written independently of the component's patterns.
bool is_name(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; });
}

bool is_marker_line(std::string_view line) {
  std::string_view t = text::trim(line);
  if (!t.ends_with(" -->")) return false;
  t.remove_suffix(4);
  if (t.starts_with("<!-- /wiki:")) return is_name(t.substr(11));
  if (!t.starts_with("<!-- wiki:")) return false;
  t.remove_prefix(10);
  const std::size_t blank = t.find(' ');
  return blank == std::string_view::npos ? is_name(t) : is_name(t.substr(0, blank)) && is_name(t.substr(blank + 1));
}

bool has_marker_outside_fences(std::string_view text) {
  bool in_fence = false;
  for (std::string_view line : text::Lines(text)) {
    if (!in_fence && is_marker_line(line)) return true;
    if (is_fence_line(line)) in_fence = !in_fence;
  }
  return false;
}

std::vector<std::string_view> non_blank(const std::vector<std::string_view>& lines) {
  std::vector<std::string_view> out;
  for (std::string_view line : lines) {
    if (!text::is_blank(line)) out.push_back(line);
  }
  return out;
}

void check_segments(const std::string& page) {
  const std::vector<Segment> segments = _segments(page);
  ASSERT_FALSE(segments.empty());
  ASSERT_TRUE(segments.front().part.empty());
  ASSERT_TRUE(segments.back().part.empty());
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (!segments[i].part.empty()) {
      ASSERT_TRUE(segments[i - 1].part.empty()) << "block " << i << " not preceded by authored text";
    } else if (i + 1 < segments.size() && segments[i + 1].part.empty()) {
      ASSERT_EQ(i + 2, segments.size()) << "two authored segments in a row before the end";
    } else {
      ASSERT_TRUE(segments[i].attribute.empty());
    }
  }
  // Every line of the page that is not a marker line is in exactly one segment, in page order,
  // as the very same bytes.
  std::vector<std::string_view> flat;
  for (const Segment& s : segments) flat.insert(flat.end(), s.lines.begin(), s.lines.end());
  std::size_t j = 0;
  for (std::string_view line : text::Lines(page)) {
    if (j < flat.size() && flat[j].data() == line.data() && flat[j].size() == line.size()) {
      ++j;
    } else {
      ASSERT_TRUE(is_marker_line(line)) << "line dropped: [" << line << "]";
    }
  }
  ASSERT_EQ(j, flat.size());
}

void check_strip(const std::string& page, std::initializer_list<std::string_view> keep) {
  const std::string stripped = strip_generated(page, keep);
  // What stays is the kept lines, blank runs aside, with only the ends of the whole text trimmed.
  std::vector<std::string_view> kept;
  for (const Segment& s : _segments(page)) {
    if (s.part.empty() || std::find(keep.begin(), keep.end(), s.part) != keep.end())
      kept.insert(kept.end(), s.lines.begin(), s.lines.end());
  }
  std::vector<std::string_view> expected = non_blank(kept);
  if (!expected.empty()) {
    expected.front() = text::ltrim(expected.front());
    expected.back() = text::rtrim(expected.back());
  }
  ASSERT_EQ(non_blank(text::split_lines(stripped)), expected);
  ASSERT_EQ(text::trim(stripped), stripped);
  if (!has_marker_outside_fences(stripped)) {
    ASSERT_EQ(strip_generated(stripped, keep), stripped);
  }
}

TEST(SegmentsProperty, InvariantsHoldOnGeneratedPages) {
  std::mt19937 rng(20261123);
  for (int i = 0; i < 20000; ++i) {
    const std::string page = random_page(rng);
    SCOPED_TRACE("page: [" + page + "]");
    check_segments(page);
    if (HasFatalFailure()) return;
  }
}

TEST(StripGeneratedProperty, KeepsAuthoredTextAndSettles) {
  std::mt19937 rng(424242);
  int settled = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string page = random_page(rng);
    SCOPED_TRACE("page: [" + page + "]");
    check_strip(page, {});
    check_strip(page, {SUMMARY});
    check_strip(page, {SUMMARY, FOOTER, INDEX});
    if (HasFatalFailure()) return;
    if (!has_marker_outside_fences(strip_generated(page))) ++settled;
  }
  EXPECT_GT(settled, 5000);  // the idempotence check above ran on many pages
}

}  // namespace
}  // namespace vantorel::workers::wiki
