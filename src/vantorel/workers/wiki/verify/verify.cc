#include "vantorel/workers/wiki/verify/verify.h"

#include "vantorel/text/text.h"

namespace vantorel::workers::wiki {

namespace detail {

const text::Pattern& FENCE_RE() {
  // Possessive: white space never overlaps a backtick or a tilde, and nothing is kept per byte.
  static const text::Pattern pattern(R"(^\s*+(?:`{3,}|~{3,}))");
  return pattern;
}

}  // namespace detail

bool is_fence_line(std::string_view line) {
  const std::string_view rest = text::ltrim(line);
  if (rest.size() < 3 || (rest[0] != '`' && rest[0] != '~')) return false;
  return static_cast<bool>(detail::FENCE_RE().match(line));
}

void detail::BlankRunCollapser::add(std::string_view line) {
  // A run of blank lines outside fences is held back until it ends: a run of one is written as
  // it stands, a longer run as one empty line.
  if (!in_fence_ && text::is_blank(line)) {
    if (pending_count_++ == 0) pending_ = line;
    return;
  }
  flush();
  if (is_fence_line(line)) in_fence_ = !in_fence_;
  put(line);
}

std::string detail::BlankRunCollapser::finish() && {
  flush();
  return std::move(out_);
}

void detail::BlankRunCollapser::put(std::string_view line) {
  if (!first_) out_ += '\n';
  first_ = false;
  out_.append(line);
}

void detail::BlankRunCollapser::flush() {
  if (pending_count_ == 1) put(pending_);
  if (pending_count_ > 1) put({});
  pending_count_ = 0;
}

std::string _collapse_blank_runs(std::string_view input) {
  detail::BlankRunCollapser collapser(input.size());
  for (std::string_view line : text::Lines(input)) collapser.add(line);
  return std::move(collapser).finish();
}

}  // namespace vantorel::workers::wiki
