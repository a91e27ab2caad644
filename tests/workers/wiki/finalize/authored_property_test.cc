// Round trips of the authored split over many generated summaries and author texts.
#include <gtest/gtest.h>

#include <random>

#include "vantorel/workers/wiki/finalize/authored.h"

namespace vantorel::workers::wiki {
namespace {

const std::vector<std::string> kSummaryWords = {
    // words and YAML indicators
    "Parses", "the", "configuration.", "caf\u00e9", "\u65e5\u672c", "\U0001F680", "it's", "\"quoted\"", "a:", ": b", "#1", " #x", "-",
    "- x", "?", "? x", "&anchor", "*alias", "!tag", "%", "@", "`tick`", "<<", "=", "---", "...", "{a}", "[b]", "|", ">", "'", "\"",
    // scalars YAML reads as other types, white space and control characters
    "yes", "No", "ON", "off", "~", "null", "NULL", "42", "-0x1F", "0o7", "1_000", "3.14", "1e3", "-.inf", ".NaN", "2026-11-23",
    "2026-1-2 3:04:05", "\t", "\x7F", "\u0085", "\u2028", "\ufeff", "\r", "\n", "  "};

std::string random_summary(std::mt19937& rng) {
  std::string s;
  for (int i = 0, n = 1 + static_cast<int>(rng() % 6); i < n; ++i)
    s.append(i && rng() % 3 ? " " : "").append(kSummaryWords[rng() % kSummaryWords.size()]);
  const bool fold = rng() % 200 == 0;  // now and then long enough for the dumper to fold its line
  while (fold && s.size() < 25000) s.append(" word").append(std::to_string(rng() % 1000));
  return s;
}

TEST(SummaryRoundTrip, SplitGivesBackTheOneLineSummary) {
  EXPECT_EQ(_one_line("\u3000x \n\n\u00a0\u2028y\xFF\t "), "x y\xFF");
  std::mt19937 rng(2026);
  for (int i = 0; i < 5000; ++i) {
    const std::string s = random_summary(rng);
    const std::string text = Authored{.body = "Body.", .summary = s}.text();
    ASSERT_EQ(split_authored(text), (Authored{.body = "Body.", .summary = _one_line(s)}))
        << "summary: [" << s << "]\ntext: [" << text.substr(0, 300) << "]";
  }
}

// Pieces of author texts: prose, headings, legacy sections, diagrams, fenced code that quotes a
// marker, odd bytes; no H1 and no marker line outside fences.
const std::vector<std::string> kBodyPieces = {
    // prose and headings
    "Prose with caf\u00e9.", "", "", " ", "- item", "> quote in the middle", "text\xFF\xFE", "\u3000", "Line\twith tab", "## Overview",
    "### Detail", "#### Deep heading",
    // sections an older writer appended, and fenced code
    "## Sources\n- [a](../a.c)\n- [b](../b.c)", "## Related\n* [x](x.md)", "## Sources\n\n",
    "## Architecture\n\n```mermaid\nflowchart TD\n  a --> b\n```", "## Sequence diagram\n```mermaid\nsequenceDiagram\n```",
    "```\n<!-- wiki:index -->\n# not a heading\n\n\n```", "~~~\n<!-- /wiki:footer -->\n~~~"};

// An author text in one of three forms: front-matter, a page finalized before, a leading quote.
std::string random_text(std::mt19937& rng) {
  const std::string summary = random_summary(rng);
  const unsigned form = rng() % 3;
  std::string text = form == 0 ? Authored{.summary = summary}.text() : "";
  if (form == 1) text.append("# Title\n<!-- wiki:summary -->\n> ").append(_one_line(summary)).append("\n<!-- /wiki:summary -->\n\n");
  if (form == 2) text.append("> ").append(_one_line(summary)).append("\n\n");
  for (int n = 1 + static_cast<int>(rng() % 10); n > 0; --n) text.append(kBodyPieces[rng() % kBodyPieces.size()]).append("\n");
  if (form == 1) text.append("<!-- wiki:footer -->\n[Next](next.md)\n<!-- /wiki:footer -->\n");
  return text;
}

TEST(SplitAuthoredProperty, SplittingTheCanonicalTextGivesTheSameRecord) {
  std::mt19937 rng(77);
  int checked = 0;
  for (int i = 0; i < 5000; ++i) {
    const std::string x = random_text(rng);
    const Authored first = split_authored(x);
    if (first.summary.empty()) continue;  // a leading quote in the body would become the summary
    ++checked;
    ASSERT_EQ(split_authored(first.text()), first) << "text: [" << x << "]";
  }
  EXPECT_GT(checked, 3000);
}

}  // namespace
}  // namespace vantorel::workers::wiki
