// Round trips of the authored split over many generated summaries and author texts.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {
namespace {

const std::vector<std::string> kSummaryWords = {"Parses",
                                                "the",
                                                "configuration.",
                                                "caf\u00e9",
                                                "\u65e5\u672c",
                                                "\U0001F680",
                                                "it's",
                                                "\"quoted\"",
                                                "a:",
                                                ": b",
                                                "#1",
                                                " #x",
                                                "-",
                                                "- x",
                                                "?",
                                                "? x",
                                                "&anchor",
                                                "*alias",
                                                "!tag",
                                                "%",
                                                "@",
                                                "`tick`",
                                                "yes",
                                                "No",
                                                "ON",
                                                "off",
                                                "~",
                                                "null",
                                                "NULL",
                                                "42",
                                                "-0x1F",
                                                "0o7",
                                                "1_000",
                                                "3.14",
                                                "1e3",
                                                "-.inf",
                                                ".NaN",
                                                "2026-11-23",
                                                "2026-1-2 3:04:05",
                                                "<<",
                                                "=",
                                                "---",
                                                "...",
                                                "\t",
                                                "\x7F",
                                                "\u0085",
                                                "\u2028",
                                                "\ufeff",
                                                "\r",
                                                "\n",
                                                "  ",
                                                "{a}",
                                                "[b]",
                                                "|",
                                                ">",
                                                "'",
                                                "\""};

std::string random_summary(std::mt19937& rng) {
  std::string s;
  const int n = 1 + static_cast<int>(rng() % 6);
  for (int i = 0; i < n; ++i) {
    if (i && rng() % 3) s += ' ';
    s += kSummaryWords[rng() % kSummaryWords.size()];
  }
  if (rng() % 200 == 0) {
    // Long enough for the dumper to fold its line.
    while (s.size() < 25000) s += " word" + std::to_string(rng() % 1000);
  }
  return s;
}

TEST(SummaryRoundTrip, SplitGivesBackTheOneLineSummary) {
  std::mt19937 rng(2026);
  for (int i = 0; i < 5000; ++i) {
    const std::string s = random_summary(rng);
    const std::string text = Authored{.body = "Body.", .summary = s}.text();
    const Authored back = split_authored(text);
    ASSERT_EQ(back.summary, _one_line(s)) << "summary: [" << s << "]\ntext: [" << text.substr(0, 300) << "]";
    ASSERT_EQ(back.body, "Body.") << "summary: [" << s << "]";
  }
}

// Pieces of author texts: prose, headings, legacy sections, diagrams, fenced code that quotes a
// marker, odd bytes. No H1 and no marker line outside fences, which a settled text needs.
const std::vector<std::string> kBodyPieces = {"Prose with caf\u00e9.",
                                              "",
                                              "",
                                              " ",
                                              "## Overview",
                                              "### Detail",
                                              "## Sources\n- [a](../a.c)\n- [b](../b.c)",
                                              "## Related\n* [x](x.md)",
                                              "## Architecture\n\n```mermaid\nflowchart TD\n  a --> b\n```",
                                              "## Sequence diagram\n```mermaid\nsequenceDiagram\n```",
                                              "```\n<!-- wiki:index -->\n# not a heading\n\n\n```",
                                              "~~~\n<!-- /wiki:footer -->\n~~~",
                                              "- item",
                                              "> quote in the middle",
                                              "text\xFF\xFE",
                                              "\u3000",
                                              "## Sources\n\n",
                                              "Line\twith tab",
                                              "#### Deep heading"};

std::string random_text(std::mt19937& rng, std::string& summary) {
  std::string text;
  const int form = static_cast<int>(rng() % 3);
  summary = random_summary(rng);
  if (form == 0) {
    text = Authored{.body = "", .summary = summary}.text();
  } else if (form == 1) {
    text = "# Title\n<!-- wiki:summary -->\n> " + _one_line(summary) + "\n<!-- /wiki:summary -->\n\n";
  } else {
    text = "> " + _one_line(summary) + "\n\n";
  }
  const int n = 1 + static_cast<int>(rng() % 10);
  for (int i = 0; i < n; ++i) text += kBodyPieces[rng() % kBodyPieces.size()] + "\n";
  if (form == 1) text += "<!-- wiki:footer -->\n[Next](next.md)\n<!-- /wiki:footer -->\n";
  return text;
}

bool starts_with_h1(std::string_view body) {
  return static_cast<bool>(detail::H1_RE().match(body.substr(0, std::min(body.find('\n'), body.size()))));
}

bool marker_outside_fences(std::string_view body) {
  bool in_fence = false;
  for (std::string_view line : text::Lines(body)) {
    const std::string_view t = text::trim(line);
    if (!in_fence && t.starts_with("<!-- ") && t.ends_with(" -->")) return true;
    if (is_fence_line(line)) in_fence = !in_fence;
  }
  return false;
}

TEST(SplitAuthoredProperty, SplittingTheCanonicalTextGivesTheSameRecord) {
  std::mt19937 rng(77);
  int checked = 0;
  for (int i = 0; i < 5000; ++i) {
    std::string summary;
    const std::string x = random_text(rng, summary);
    const Authored first = split_authored(x);
    if (first.summary.empty() || starts_with_h1(first.body) || marker_outside_fences(first.body)) continue;
    if (_normalize_body(first.body) != first.body || _drop_legacy_sections(first.body) != first.body) continue;
    ++checked;
    ASSERT_EQ(split_authored(first.text()), first) << "text: [" << x << "]";
  }
  EXPECT_GT(checked, 3000);
}

}  // namespace
}  // namespace vantorel::workers::wiki
