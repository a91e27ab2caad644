// The authored split and the front-matter path over arbitrary bytes.
//
// Input: a summary, then (after the first 0x1F byte, if any) a body. Checks:
//   - `split_authored`, `_front_matter`, `detail::summary_line` and `Authored::text` never throw,
//     on the whole input and on its parts;
//   - the summary round trip: for any non-empty summary s and any body, splitting
//     `Authored{body, s}.text()` gives `_one_line(s)` as the summary, where each byte of s that is
//     not UTF-8 reads back as U+FFFD (the one byte `text()` replaces). The front-matter block comes
//     first and a summary read from it wins, so the body needs no condition; an empty s writes no
//     front-matter and is not checked;
//   - the canonical text: when the split of the whole input has a summary, and its body has every
//     fence closed, no marker line outside fences and no H1 first line (the things a split takes
//     out), splitting `text()` of it gives the same record.
#include <string>
#include <string_view>

#include "fuzz_check.h"
#include "support/settle.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::fuzz {
namespace {

namespace wiki = workers::wiki;

// `s` with each byte that does not belong to a valid UTF-8 sequence replaced by U+FFFD.
std::string replace_invalid(std::string_view s) {
  std::string out;
  for (std::size_t i = 0; i < s.size();) {
    const std::size_t n = text::decode_utf8(s, i).length;
    if (n == 0) {
      out.append("\xEF\xBF\xBD");
      ++i;
    } else {
      out.append(s.substr(i, n));
      i += n;
    }
  }
  return out;
}

bool split_takes_nothing_out(std::string_view body) {
  if (test_support::has_marker_outside_fences(body)) return false;
  std::size_t fences = 0;
  for (std::string_view line : text::Lines(body)) fences += wiki::is_fence_line(line);
  const std::string_view first = body.substr(0, body.find('\n'));
  return fences % 2 == 0 && !wiki::detail::H1_RE().match(first);
}

void check_one(std::string_view data) {
  const std::size_t cut = data.find('\x1F');
  const std::string_view summary = data.substr(0, cut);
  const std::string_view body = cut == std::string_view::npos ? std::string_view() : data.substr(cut + 1);

  (void)wiki::_front_matter(data);
  (void)wiki::detail::summary_line(data);
  (void)wiki::split_authored(body, summary);

  if (!summary.empty()) {
    const std::string text = wiki::Authored{.body = std::string(body), .summary = std::string(summary)}.text();
    const std::string got = wiki::split_authored(text).summary;
    const std::string want = wiki::_one_line(replace_invalid(summary));
    check(got == want, "the summary did not survive text() and split_authored",
          {{"summary", summary}, {"text", text}, {"read back", got}, {"expected", want}});
  }

  const wiki::Authored first = wiki::split_authored(data);
  if (!first.summary.empty() && split_takes_nothing_out(first.body)) {
    const std::string text = first.text();
    const wiki::Authored again = wiki::split_authored(text);
    const wiki::Authored want{.body = first.body, .summary = wiki::_one_line(replace_invalid(first.summary))};
    check(again == want, "splitting the canonical text changed the record",
          {{"input", data}, {"text", text}, {"body", again.body}, {"summary", again.summary}});
  }
}

}  // namespace
}  // namespace vantorel::fuzz

VANTOREL_FUZZ_TARGET(vantorel::fuzz::check_one)
