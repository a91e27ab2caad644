// The authored split: what an author wrote, separated from what code writes around it.
//
// An author hands over either raw prose that opens with a YAML front-matter block holding a
// one-sentence summary, or a page finalized before, complete with its H1 and generated blocks.
// `split_authored` keeps only the author's normalized prose and summary; `Authored::text()` is
// the canonical text the build cache keeps, and splitting it again gives the same record:
//
//   const Authored a = split_authored("---\nsummary: Parses X.\n---\n\n# Config\n\nBody.");
//   EXPECT_EQ(a, (Authored{.body = "Body.", .summary = "Parses X."}));
//   EXPECT_EQ(a.text(), "---\nsummary: Parses X.\n---\n\nBody.");
//
// The summary comes from the front-matter; else from the summary block of a page finalized
// before; else from a blockquote opening the prose. A summary equal to the plan's description is
// the plan's, not the author's, and is dropped. No function here fails on any text: front-matter
// that is not valid YAML falls back to its "summary:" line, or stays in the prose.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "vantorel/text/pattern.h"

namespace vantorel::workers::wiki {

// What the author wrote, without the parts code writes.
struct Authored {
  std::string body{};     // the prose, normalized (no front-matter, H1 or generated blocks)
  std::string summary{};  // the one-sentence summary the author gave, or ""

  // The canonical authored text: the body alone when there is no summary, else a front-matter
  // block "---\nsummary: <scalar>\n---\n\n" then the body. The scalar is written plain where YAML
  // reads it back as the same string, else quoted. A summary byte that is not UTF-8 cannot be
  // carried by YAML and is written as U+FFFD; this is the only place a byte is replaced.
  std::string text() const;

  auto operator<=>(const Authored&) const = default;
  bool operator==(const Authored&) const = default;
};

namespace detail {

// The attribute of a summary block that holds the plan's description, not the author's summary.
inline constexpr std::string_view FROM_PLAN = "plan";

// "\A\ufeff?\s*---[ \t]*\n(.*?)\n---[ \t]*(?:\n|\Z)" with "." matching line breaks, in match mode
// on the whole text: a front-matter block; group 1 is its YAML text.
const text::Pattern& FRONT_MATTER_RE();

// "^#[ \t]+\S", in match mode on the first line of the body: an H1 line.
const text::Pattern& H1_RE();

// Group 1 of the first match of "^summary:\s*(.+?)\s*$" (multi-line) in `text`, found by a direct
// scan in linear time (the pattern itself backtracks quadratically on long runs of white space).
// Points into `text`.
std::optional<std::string_view> summary_line(std::string_view text) noexcept;

}  // namespace detail

// Separates what an author wrote from what code writes around it. `text` has "\n" line endings;
// `plan_summary` is the plan's description of the page.
Authored split_authored(std::string_view text, std::string_view plan_summary = "");

// The summary of a front-matter block's YAML text, "" when the block has none, or nullopt when
// the block is not front-matter (YAML that is not a mapping, or invalid YAML without a
// "summary:" line).
std::optional<std::string> _front_matter(std::string_view block);

// (summary, rest) of a body whose first lines begin with ">": the one-line text of those lines
// and the remaining lines, trimmed. ("", body) when the first line is not a quote line.
std::pair<std::string, std::string> _leading_blockquote(std::string_view body);

// The text of blockquote lines: blank lines skipped, each other line left-trimmed, one leading
// ">" removed and trimmed, the results joined with one blank.
std::string _blockquote_text(std::span<const std::string_view> lines);

// `text` with every run of white space made one blank and both ends trimmed.
std::string _one_line(std::string_view text);

}  // namespace vantorel::workers::wiki

template <>
struct std::hash<vantorel::workers::wiki::Authored> {
  std::size_t operator()(const vantorel::workers::wiki::Authored& a) const noexcept {
    const std::size_t h = std::hash<std::string>{}(a.body);
    return h ^ (std::hash<std::string>{}(a.summary) + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2));
  }
};
