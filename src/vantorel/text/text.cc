#include "vantorel/text/text.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace vantorel::text {

namespace {

inline unsigned char byte(std::string_view s, std::size_t i) noexcept { return static_cast<unsigned char>(s[i]); }

}  // namespace

// The white-space characters beyond ASCII all start with a byte that is never a UTF-8
// continuation byte, so finding their exact byte sequences agrees with any decoder that treats an
// invalid byte as a character of its own.
std::size_t space_at(std::string_view s, std::size_t i) noexcept {
  if (i >= s.size()) return 0;
  const unsigned char c = byte(s, i);
  if (c == ' ' || (c >= 0x09 && c <= 0x0D)) return 1;
  const std::size_t left = s.size() - i;
  if (c == 0xC2) {
    if (left >= 2 && (byte(s, i + 1) == 0x85 || byte(s, i + 1) == 0xA0)) return 2;
    return 0;
  }
  if (left < 3 || c < 0xE1 || c > 0xE3) return 0;
  const unsigned char c1 = byte(s, i + 1);
  const unsigned char c2 = byte(s, i + 2);
  switch (c) {
    case 0xE1:  // U+1680
      return (c1 == 0x9A && c2 == 0x80) ? 3 : 0;
    case 0xE2:
      if (c1 == 0x80) {  // U+2000..U+200A, U+2028, U+2029, U+202F
        return ((c2 >= 0x80 && c2 <= 0x8A) || c2 == 0xA8 || c2 == 0xA9 || c2 == 0xAF) ? 3 : 0;
      }
      return (c1 == 0x81 && c2 == 0x9F) ? 3 : 0;  // U+205F
    default:                                      // 0xE3: U+3000
      return (c1 == 0x80 && c2 == 0x80) ? 3 : 0;
  }
}

std::size_t space_before(std::string_view s, std::size_t end) noexcept {
  if (end == 0 || end > s.size()) return 0;
  const unsigned char last = byte(s, end - 1);
  if (last < 0x80) return (last == ' ' || (last >= 0x09 && last <= 0x0D)) ? 1 : 0;
  if (end >= 2 && space_at(s, end - 2) == 2) return 2;
  if (end >= 3 && space_at(s, end - 3) == 3) return 3;
  return 0;
}

std::string_view ltrim(std::string_view s) noexcept {
  std::size_t i = 0;
  while (std::size_t n = space_at(s, i)) i += n;
  return s.substr(i);
}

std::string_view rtrim(std::string_view s) noexcept {
  std::size_t end = s.size();
  while (std::size_t n = space_before(s, end)) end -= n;
  return s.substr(0, end);
}

std::string_view trim(std::string_view s) noexcept { return rtrim(ltrim(s)); }

std::size_t code_span_end(std::string_view line, std::size_t i) noexcept {
  std::size_t run_end = i;
  while (run_end < line.size() && line[run_end] == '`') ++run_end;
  const std::size_t ticks = run_end - i;
  for (std::size_t j = line.find('`', run_end); j != std::string_view::npos; j = line.find('`', j)) {
    std::size_t k = j;
    while (k < line.size() && line[k] == '`') ++k;
    if (k - j == ticks) return k;
    j = k;
  }
  return std::string_view::npos;
}

void trim_in_place(std::string& s) {
  const std::string_view kept = trim(s);
  const std::size_t start = static_cast<std::size_t>(kept.data() - s.data());
  s.erase(start + kept.size());
  s.erase(0, start);
}

bool is_blank(std::string_view line) noexcept { return ltrim(line).empty(); }

Lines::iterator::iterator(std::string_view text, bool done) noexcept : text_(text), done_(done) {
  if (!done_) line_ = text_.substr(0, text_.find('\n'));
}

Lines::iterator& Lines::iterator::operator++() noexcept {
  if (line_.size() == text_.size()) {
    done_ = true;
    line_ = {};
    return *this;
  }
  text_.remove_prefix(line_.size() + 1);
  line_ = text_.substr(0, text_.find('\n'));
  return *this;
}

std::size_t count_lines(std::string_view text) noexcept {
  std::size_t n = 1;
  const char* p = text.data();
  const char* end = p + text.size();
  while (p != end) {
    const void* hit = std::memchr(p, '\n', static_cast<std::size_t>(end - p));
    if (hit == nullptr) break;
    ++n;
    p = static_cast<const char*>(hit) + 1;
  }
  return n;
}

std::vector<std::string_view> split_lines(std::string_view text) {
  std::vector<std::string_view> out;
  out.reserve(count_lines(text));
  for (std::string_view line : Lines(text)) out.push_back(line);
  return out;
}

std::string collapse_spaces(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  bool blank = false;
  for (std::size_t i = 0; i < s.size();) {
    if (const std::size_t n = space_at(s, i)) {
      blank = true;
      i += n;
      continue;
    }
    if (blank && !out.empty()) out += ' ';
    blank = false;
    out += s[i++];
  }
  return out;
}

Decoded decode_utf8(std::string_view s, std::size_t i) noexcept {
  if (i >= s.size()) return {};
  const unsigned char c = byte(s, i);
  if (c < 0x80) return {c, 1};
  std::size_t length;
  char32_t cp;
  char32_t min;
  if (c >= 0xC2 && c <= 0xDF) {
    length = 2, cp = c & 0x1F, min = 0x80;
  } else if (c >= 0xE0 && c <= 0xEF) {
    length = 3, cp = c & 0x0F, min = 0x800;
  } else if (c >= 0xF0 && c <= 0xF4) {
    length = 4, cp = c & 0x07, min = 0x10000;
  } else {
    return {};
  }
  if (s.size() - i < length) return {};
  for (std::size_t k = 1; k < length; ++k) {
    const unsigned char next = byte(s, i + k);
    if ((next & 0xC0) != 0x80) return {};
    cp = (cp << 6) | (next & 0x3F);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return {};
  return {cp, length};
}

namespace {

struct Fold {
  char32_t from;
  char32_t to;
};

constexpr Fold FOLDS[] = {
#include "vantorel/text/case_fold_table.inc"
};

}  // namespace

void append_utf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

std::string fold_case(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    const Decoded d = decode_utf8(s, i);
    if (d.length == 0) {
      out += s[i++];
      continue;
    }
    const auto* hit =
        std::lower_bound(std::begin(FOLDS), std::end(FOLDS), d.code_point, [](const Fold& f, char32_t cp) { return f.from < cp; });
    if (hit != std::end(FOLDS) && hit->from == d.code_point) {
      append_utf8(out, hit->to);
    } else {
      out.append(s.substr(i, d.length));
    }
    i += d.length;
  }
  return out;
}

namespace {

template <class Part>
std::string join_parts(std::span<const Part> parts, std::string_view sep) {
  if (parts.empty()) return {};
  std::size_t size = sep.size() * (parts.size() - 1);
  for (const Part& p : parts) size += std::string_view(p).size();
  std::string out;
  out.reserve(size);
  bool first = true;
  for (const Part& p : parts) {
    if (!first) out.append(sep);
    first = false;
    out.append(p);
  }
  return out;
}

}  // namespace

std::string join(std::span<const std::string_view> parts, std::string_view sep) { return join_parts(parts, sep); }

std::string join(std::span<const std::string> parts, std::string_view sep) { return join_parts(parts, sep); }

std::string join(std::initializer_list<std::string_view> parts, std::string_view sep) {
  return join_parts(std::span<const std::string_view>(parts.begin(), parts.size()), sep);
}

}  // namespace vantorel::text
