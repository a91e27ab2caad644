// The segment list and strip_generated over arbitrary bytes taken as a page.
//
// Checks the shape of `_segments` (never empty, authored first and last, an authored segment right
// before every block, two authored segments in a row only at the end), that every line of the page
// that is not a marker line lands in exactly one segment, in order, as the very same bytes, that no
// block holds its own closing marker, and that `strip_generated` keeps exactly the kept segments'
// lines (blank runs aside), trimmed, and changes nothing when applied to its own result whenever
// that result holds no marker line outside fences.
#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"
#include "support/settle.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"

namespace vantorel::fuzz {
namespace {

namespace wiki = workers::wiki;

bool is_part_word(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; });
}

bool closes(std::string_view line, std::string_view part) {
  const text::Match m = wiki::detail::CLOSE_RE().full_match(text::trim(line));
  return m && m[1] == part;
}

void check_segments(std::string_view page, const std::vector<wiki::Segment>& segments) {
  check(!segments.empty() && segments.front().part.empty() && segments.back().part.empty(), "the list must begin and end authored",
        {{"page", page}});
  for (std::size_t k = 0; k < segments.size(); ++k) {
    const wiki::Segment& s = segments[k];
    const std::string at = std::to_string(k);
    if (s.part.empty()) {
      check(s.attribute.empty(), "an authored segment has an attribute", {{"page", page}, {"segment", at}});
      check(k + 2 >= segments.size() || !segments[k + 1].part.empty(), "two authored segments before the end",
            {{"page", page}, {"segment", at}});
    } else {
      check(k > 0 && segments[k - 1].part.empty(), "a block without an authored segment before it", {{"page", page}, {"segment", at}});
      check(is_part_word(s.part) && (s.attribute.empty() || is_part_word(s.attribute)), "a part or attribute the marker grammar refuses",
            {{"page", page}, {"part", s.part}, {"attribute", s.attribute}});
      for (std::string_view line : s.lines)
        check(!closes(line, s.part), "a block holds its own closing marker", {{"page", page}, {"line", line}});
    }
  }
  // Every line that is not a marker line is in exactly one segment, in page order, as the very
  // same bytes of the page.
  std::vector<std::string_view> flat;
  for (const wiki::Segment& s : segments) flat.insert(flat.end(), s.lines.begin(), s.lines.end());
  std::size_t j = 0;
  for (std::string_view line : text::Lines(page)) {
    const bool in_segment = j < flat.size() && flat[j].data() == line.data() && flat[j].size() == line.size();
    check(in_segment || test_support::is_marker_line(line), "a line that is no marker line was dropped or moved",
          {{"page", page}, {"line", line}});
    j += in_segment;
  }
  check(j == flat.size(), "a segment holds a line that is not one of the page", {{"page", page}});
}

void check_strip(std::string_view page, const std::vector<wiki::Segment>& segments, std::span<const std::string_view> keep) {
  const std::string stripped = wiki::strip_generated(page, keep);
  std::vector<std::string_view> expected;
  for (const wiki::Segment& s : segments)
    if (s.part.empty() || std::find(keep.begin(), keep.end(), s.part) != keep.end())
      expected.insert(expected.end(), s.lines.begin(), s.lines.end());
  std::vector<std::string_view> got = text::split_lines(stripped);
  const auto blank = [](std::string_view line) { return text::is_blank(line); };
  std::erase_if(got, blank);
  std::erase_if(expected, blank);
  const std::string want = std::string(text::trim(text::join(expected, "\n")));
  const std::string have = text::join(got, "\n");
  check(have == want, "strip_generated lost, added or reordered lines", {{"page", page}, {"stripped", stripped}, {"expected", want}});
  check(text::trim(stripped) == stripped, "strip_generated left white space at an end", {{"page", page}, {"stripped", stripped}});
  if (!test_support::has_marker_outside_fences(stripped)) {
    const std::string again = wiki::strip_generated(stripped, keep);
    check(again == stripped, "strip_generated of its own result changed it", {{"page", page}, {"stripped", stripped}, {"again", again}});
  }
}

void check_one(std::string_view page) {
  const std::vector<wiki::Segment> segments = wiki::_segments(page);
  check_segments(page, segments);
  static constexpr std::string_view kept[] = {wiki::SUMMARY, wiki::FOOTER, wiki::INDEX};
  check_strip(page, segments, {});
  check_strip(page, segments, kept);
}

}  // namespace
}  // namespace vantorel::fuzz

VANTOREL_FUZZ_TARGET(vantorel::fuzz::check_one)
