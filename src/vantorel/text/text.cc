#include "vantorel/text/text.h"

#include <cstring>

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
