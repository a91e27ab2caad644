#include "vantorel/workers/wiki/finalize/authored.h"

#include <vector>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/verify/verify.h"
#include "vantorel/yaml/yaml.h"

namespace vantorel::workers::wiki {

namespace detail {

const text::Pattern& FRONT_MATTER_RE() {
  // "\xEF\xBB\xBF" is U+FEFF. The white space before the opening line is possessive: "-" is not
  // white space, so the matches are the same and nothing is kept per character.
  static const text::Pattern pattern(R"(\A(?:\xEF\xBB\xBF)?\s*+---[ \t]*\n(.*?)\n---[ \t]*(?:\n|\Z))", text::Pattern::DOTALL);
  return pattern;
}

const text::Pattern& H1_RE() {
  static const text::Pattern pattern(R"(^#[ \t]+\S)");
  return pattern;
}

std::optional<std::string_view> summary_line(std::string_view text) noexcept {
  constexpr std::string_view KEY = "summary:";
  std::size_t line_start = 0;
  for (;;) {
    if (text.substr(line_start).starts_with(KEY)) {
      const std::size_t after = line_start + KEY.size();
      std::size_t p = after;
      while (std::size_t n = text::space_at(text, p)) p += n;  // white space, line breaks included
      if (p < text.size()) {
        // The value runs from the first character that is not white space to the last one of
        // its line.
        const std::size_t line_end = std::min(text.find('\n', p), text.size());
        return text::rtrim(text.substr(p, line_end - p));
      }
      // Only white space follows: the pattern backtracks and takes the last white-space character
      // that is not a line break, if any.
      for (std::size_t end = text.size(); end > after;) {
        const std::size_t n = text::space_before(text, end);
        if (n != 1 || text[end - 1] != '\n') return text.substr(end - n, n);
        end -= n;
      }
    }
    const std::size_t newline = text.find('\n', line_start);
    if (newline == std::string_view::npos) return std::nullopt;
    line_start = newline + 1;
  }
}

}  // namespace detail

std::string Authored::text() const {
  if (summary.empty()) return body;
  std::string dumped = yaml::dump_summary(summary);
  std::string_view scalar = text::trim(dumped);
  // YAML reads U+00A0, U+3000 and the like as part of a plain scalar, but trimming takes them
  // off its end; quoting keeps them inside the value so the summary reads back whole.
  if (scalar.size() != dumped.size()) {
    dumped = yaml::dump_summary(summary, false);
    scalar = text::trim(dumped);
  }
  std::string out;
  out.reserve(scalar.size() + body.size() + 12);
  out.append("---\n").append(scalar).append("\n---\n\n").append(body);
  return out;
}

std::optional<std::string> _front_matter(std::string_view block) {
  yaml::Node document;
  try {
    document = yaml::load(block);
  } catch (const yaml::ParseError&) {
    std::optional<std::string_view> line = detail::summary_line(block);
    if (!line) return std::nullopt;
    // Quotes at either end go, any number of them, matched or not.
    const std::size_t start = line->find_first_not_of("'\"");
    if (start == std::string_view::npos) return std::string();
    const std::size_t end = line->find_last_not_of("'\"");
    return std::string(line->substr(start, end - start + 1));
  }
  if (document.kind != yaml::Kind::MAPPING) return std::nullopt;
  const yaml::Node* summary = yaml::find(document, "summary");
  if (summary == nullptr) return std::string();
  return yaml::as_text(*summary);
}

std::string _blockquote_text(std::span<const std::string_view> lines) {
  std::string out;
  bool first = true;
  for (std::string_view line : lines) {
    if (text::is_blank(line)) continue;
    std::string_view quoted = text::ltrim(line);
    if (quoted.starts_with('>')) quoted.remove_prefix(1);
    if (!first) out += ' ';
    first = false;
    out.append(text::trim(quoted));
  }
  return out;
}

std::pair<std::string, std::string> _leading_blockquote(std::string_view body) {
  const std::vector<std::string_view> lines = text::split_lines(body);
  std::size_t count = 0;
  while (count < lines.size() && lines[count].starts_with('>')) ++count;
  if (count == 0) return {std::string(), std::string(body)};
  const std::span<const std::string_view> all(lines);
  return {_blockquote_text(all.first(count)), std::string(text::trim(text::join(all.subspan(count), "\n")))};
}

std::string _one_line(std::string_view text) { return text::collapse_spaces(text); }

Authored split_authored(std::string_view text, std::string_view plan_summary) {
  std::string summary;
  std::string_view rest = text;

  if (const text::Match m = detail::FRONT_MATTER_RE().match(text)) {
    if (std::optional<std::string> front = _front_matter(m[1])) {
      summary = std::move(*front);
      rest = text.substr(m.end());
    }
  }

  // A page finalized before: the first summary block the author's (not the plan's) gives it.
  const std::vector<Segment> segments = _segments(rest);
  if (summary.empty()) {
    for (const Segment& segment : segments) {
      if (segment.part == SUMMARY && segment.attribute != detail::FROM_PLAN) {
        summary = _blockquote_text(segment.lines);
        break;
      }
    }
  }

  // The stripped text has its blank runs collapsed already; dropping its first line, the H1 when
  // there is one, leaves them so, and only the ends need trimming.
  std::string stripped = detail::strip_segments(segments, {}, rest.size());
  std::string_view lines = stripped;
  const std::size_t first_end = std::min(lines.find('\n'), lines.size());
  if (detail::H1_RE().match(lines.substr(0, first_end))) lines.remove_prefix(std::min(first_end + 1, lines.size()));
  std::string body(text::trim(lines));

  if (summary.empty()) std::tie(summary, body) = _leading_blockquote(body);

  body = _drop_legacy_sections(body);
  summary = _one_line(summary);
  if (!summary.empty() && summary == _one_line(plan_summary)) summary.clear();
  return Authored{.body = _normalize_body(body), .summary = std::move(summary)};
}

}  // namespace vantorel::workers::wiki
