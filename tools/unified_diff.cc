#include "unified_diff.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace vantorel::tools {

namespace {

// The lines of `text`, each with its "\n" when it has one; the empty text has none.
std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    const std::size_t stop = end == std::string_view::npos ? text.size() : end + 1;
    lines.push_back(text.substr(start, stop - start));
    start = stop;
  }
  return lines;
}

// Finds a shortest edit script between two sequences of line numbers (equal lines, equal
// numbers) by Myers' divide and conquer: the middle snake of each part splits it in two. Marks
// the lines of `a` that go and the lines of `b` that come.
class Differ {
 public:
  Differ(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b)
      : a_(a), b_(b), removed_(a.size(), false), added_(b.size(), false) {}

  void run() { compare(0, a_.size(), 0, b_.size()); }
  const std::vector<bool>& removed() const { return removed_; }
  const std::vector<bool>& added() const { return added_; }

 private:
  using Index = std::ptrdiff_t;

  void compare(std::size_t a_lo, std::size_t a_hi, std::size_t b_lo, std::size_t b_hi) {
    while (a_lo < a_hi && b_lo < b_hi && a_[a_lo] == b_[b_lo]) ++a_lo, ++b_lo;
    while (a_lo < a_hi && b_lo < b_hi && a_[a_hi - 1] == b_[b_hi - 1]) --a_hi, --b_hi;
    if (a_lo == a_hi) {
      std::fill(added_.begin() + static_cast<Index>(b_lo), added_.begin() + static_cast<Index>(b_hi), true);
      return;
    }
    if (b_lo == b_hi) {
      std::fill(removed_.begin() + static_cast<Index>(a_lo), removed_.begin() + static_cast<Index>(a_hi), true);
      return;
    }
    const auto [x, y] = middle(a_lo, a_hi, b_lo, b_hi);
    compare(a_lo, x, b_lo, y);
    compare(x, a_hi, y, b_hi);
  }

  // A point (x, y) on a shortest path through the edit graph of a[a_lo, a_hi) and b[b_lo, b_hi)
  // that splits it into two shorter problems, found by searching from both ends at once. Both
  // parts are non-empty: they never meet at a corner, since the ends were trimmed.
  std::pair<std::size_t, std::size_t> middle(std::size_t a_lo, std::size_t a_hi, std::size_t b_lo, std::size_t b_hi) {
    const Index n = static_cast<Index>(a_hi - a_lo);
    const Index m = static_cast<Index>(b_hi - b_lo);
    const Index max_d = (n + m + 1) / 2;
    const Index offset = max_d;
    const Index length = 2 * max_d + 2;
    forward_.assign(static_cast<std::size_t>(length), -1);
    backward_.assign(static_cast<std::size_t>(length), -1);
    forward_[static_cast<std::size_t>(offset + 1)] = 0;
    backward_[static_cast<std::size_t>(offset + 1)] = 0;
    const Index delta = n - m;
    const bool odd = delta % 2 != 0;
    auto a = [&](Index i) { return a_[a_lo + static_cast<std::size_t>(i)]; };
    auto b = [&](Index j) { return b_[b_lo + static_cast<std::size_t>(j)]; };
    auto at = [](std::vector<Index>& v, Index i) -> Index& { return v[static_cast<std::size_t>(i)]; };
    auto split = [&](Index x, Index y) { return std::pair{a_lo + static_cast<std::size_t>(x), b_lo + static_cast<std::size_t>(y)}; };

    Index k1_start = 0, k1_end = 0, k2_start = 0, k2_end = 0;
    for (Index d = 0; d < max_d; ++d) {
      for (Index k1 = -d + k1_start; k1 <= d - k1_end; k1 += 2) {
        const Index k1_offset = offset + k1;
        Index x1 = (k1 == -d || (k1 != d && at(forward_, k1_offset - 1) < at(forward_, k1_offset + 1))) ? at(forward_, k1_offset + 1)
                                                                                                        : at(forward_, k1_offset - 1) + 1;
        Index y1 = x1 - k1;
        while (x1 < n && y1 < m && a(x1) == b(y1)) ++x1, ++y1;
        at(forward_, k1_offset) = x1;
        if (x1 > n) {
          k1_end += 2;
        } else if (y1 > m) {
          k1_start += 2;
        } else if (odd) {
          const Index k2_offset = offset + delta - k1;
          if (k2_offset >= 0 && k2_offset < length && at(backward_, k2_offset) != -1 && x1 >= n - at(backward_, k2_offset)) {
            return split(x1, y1);
          }
        }
      }
      for (Index k2 = -d + k2_start; k2 <= d - k2_end; k2 += 2) {
        const Index k2_offset = offset + k2;
        Index x2 = (k2 == -d || (k2 != d && at(backward_, k2_offset - 1) < at(backward_, k2_offset + 1)))
                       ? at(backward_, k2_offset + 1)
                       : at(backward_, k2_offset - 1) + 1;
        Index y2 = x2 - k2;
        while (x2 < n && y2 < m && a(n - x2 - 1) == b(m - y2 - 1)) ++x2, ++y2;
        at(backward_, k2_offset) = x2;
        if (x2 > n) {
          k2_end += 2;
        } else if (y2 > m) {
          k2_start += 2;
        } else if (!odd) {
          const Index k1_offset = offset + delta - k2;
          if (k1_offset >= 0 && k1_offset < length && at(forward_, k1_offset) != -1) {
            const Index x1 = at(forward_, k1_offset);
            const Index y1 = offset + x1 - k1_offset;
            if (x1 >= n - x2) return split(x1, y1);
          }
        }
      }
    }
    // No line in common: every line of `a` goes, every line of `b` comes.
    return split(n, 0);
  }

  const std::vector<std::uint32_t>& a_;
  const std::vector<std::uint32_t>& b_;
  std::vector<bool> removed_;
  std::vector<bool> added_;
  std::vector<Index> forward_;
  std::vector<Index> backward_;
};

// "start,count" of a hunk's range, as diff writes it: an empty range names the line before it,
// and a count of one is left out.
std::string range(std::size_t first, std::size_t count) {
  std::string out = std::to_string(count == 0 ? first : first + 1);
  if (count != 1) out.append(",").append(std::to_string(count));
  return out;
}

void append_line(std::string& out, char mark, std::string_view line) {
  out += mark;
  out.append(line);
  if (line.empty() || line.back() != '\n') out.append("\n\\ No newline at end of file\n");
}

}  // namespace

std::vector<Edit> edit_script(const std::vector<std::string_view>& before, const std::vector<std::string_view>& after) {
  std::unordered_map<std::string_view, std::uint32_t> numbers;
  auto number = [&numbers](std::string_view line) {
    return numbers.emplace(line, static_cast<std::uint32_t>(numbers.size())).first->second;
  };
  std::vector<std::uint32_t> a, b;
  a.reserve(before.size());
  b.reserve(after.size());
  for (std::string_view line : before) a.push_back(number(line));
  for (std::string_view line : after) b.push_back(number(line));

  Differ differ(a, b);
  differ.run();
  std::vector<Edit> script;
  script.reserve(std::max(a.size(), b.size()));
  std::size_t i = 0, j = 0;
  while (i < a.size() || j < b.size()) {
    if (i < a.size() && differ.removed()[i]) {
      script.push_back({.kind = Edit::REMOVE, .old_line = i++, .new_line = j});
    } else if (j < b.size() && differ.added()[j]) {
      script.push_back({.kind = Edit::ADD, .old_line = i, .new_line = j++});
    } else {
      script.push_back({.kind = Edit::KEEP, .old_line = i++, .new_line = j++});
    }
  }
  return script;
}

std::string unified_diff(std::string_view before, std::string_view after, std::string_view old_label, std::string_view new_label,
                         std::size_t context) {
  if (before == after) return {};
  const std::vector<std::string_view> old_lines = lines_of(before);
  const std::vector<std::string_view> new_lines = lines_of(after);
  const std::vector<Edit> script = edit_script(old_lines, new_lines);

  std::string out;
  out.append("--- ").append(old_label).append("\n+++ ").append(new_label).append("\n");
  std::size_t at = 0;
  while (at < script.size()) {
    // The next change, then the hunk around it: extended while the next change is at most
    // 2 * context unchanged lines away.
    while (at < script.size() && script[at].kind == Edit::KEEP) ++at;
    if (at == script.size()) break;
    const std::size_t first = at >= context ? at - context : 0;
    std::size_t last = at;  // one past the last change of the hunk
    for (std::size_t scan = at; scan < script.size();) {
      if (script[scan].kind != Edit::KEEP) {
        last = ++scan;
        continue;
      }
      std::size_t run = scan;
      while (run < script.size() && script[run].kind == Edit::KEEP) ++run;
      if (run == script.size() || run - scan > 2 * context) break;
      scan = run;
    }
    const std::size_t end = std::min(script.size(), last + context);

    std::size_t old_count = 0, new_count = 0;
    for (std::size_t s = first; s < end; ++s) {
      if (script[s].kind != Edit::ADD) ++old_count;
      if (script[s].kind != Edit::REMOVE) ++new_count;
    }
    out.append("@@ -").append(range(script[first].old_line, old_count)).append(" +").append(range(script[first].new_line, new_count));
    out.append(" @@\n");
    for (std::size_t s = first; s < end; ++s) {
      const Edit& edit = script[s];
      append_line(out, static_cast<char>(edit.kind), edit.kind == Edit::ADD ? new_lines[edit.new_line] : old_lines[edit.old_line]);
    }
    at = end;
  }
  return out;
}

}  // namespace vantorel::tools
