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

std::string _collapse_blank_runs(std::string_view input) {
  std::string out;
  out.reserve(input.size());
  bool in_fence = false;
  bool first = true;
  // A run of blank lines outside fences is held back until it ends: a run of one is written as
  // it stands, a longer run as one empty line.
  std::string_view pending;
  std::size_t pending_count = 0;
  auto put = [&](std::string_view line) {
    if (!first) out += '\n';
    first = false;
    out.append(line);
  };
  auto flush = [&] {
    if (pending_count == 1) put(pending);
    if (pending_count > 1) put({});
    pending_count = 0;
  };
  for (std::string_view line : text::Lines(input)) {
    if (!in_fence && text::is_blank(line)) {
      if (pending_count++ == 0) pending = line;
      continue;
    }
    flush();
    if (is_fence_line(line)) in_fence = !in_fence;
    put(line);
  }
  flush();
  return out;
}

}  // namespace vantorel::workers::wiki
