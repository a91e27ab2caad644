// White space, trimming, line splitting and joining for UTF-8 text held as bytes.
//
// Every text function of the wiki component reads a page through these helpers, so they fix what
// "white space", "trim" and "a line" mean everywhere:
//
//   EXPECT_EQ(trim("\u3000 title\r"), "title");
//   EXPECT_TRUE(is_blank(" \t\u00a0"));
//   for (std::string_view line : Lines("a\nb\n")) ...   // "a", "b", ""
//
// White space is the Unicode White_Space set: U+0009..U+000D, U+0020, U+0085, U+00A0, U+1680,
// U+2000..U+200A, U+2028, U+2029, U+202F, U+205F, U+3000 (not U+180E), recognised by its UTF-8
// bytes. Text that is not valid UTF-8 is ordinary text: an invalid byte is a character that is not
// white space. Nothing here allocates except `split_lines` (one vector) and `join` (one string),
// and nothing throws on odd text.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::text {

// Length in bytes of the white-space character that starts at `s[i]`, or 0 when the character
// there is not white space (or `i` is past the end).
std::size_t space_at(std::string_view s, std::size_t i) noexcept;

// Length in bytes of the white-space character that ends just before `s[end]`, or 0.
std::size_t space_before(std::string_view s, std::size_t end) noexcept;

// `s` without white space at its start. The result points into `s`.
std::string_view ltrim(std::string_view s) noexcept;

// `s` without white space at its end. The result points into `s`.
std::string_view rtrim(std::string_view s) noexcept;

// `s` without white space at either end. The result points into `s`.
std::string_view trim(std::string_view s) noexcept;

// Where the inline code opened by the backtick run at `line[i]` ends: just past the next run of
// backticks of the same length, or npos when nothing on the line closes it.
std::size_t code_span_end(std::string_view line, std::size_t i) noexcept;

// Removes white space at both ends of `s`, in place.
void trim_in_place(std::string& s);

// True when `line` is empty or holds white space only.
bool is_blank(std::string_view line) noexcept;

// The lines of a text split on "\n" only, as views into the text. A "\r" stays part of its line;
// a text ending in "\n" has a last empty line; the empty text is one empty line. Iterating copies
// nothing and allocates nothing.
//
//   std::vector<std::string_view>(Lines("a\r\nb\n").begin(), ...) == {"a\r", "b", ""}
class Lines {
 public:
  class iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;
    using pointer = const std::string_view*;
    using reference = std::string_view;

    iterator() = default;
    std::string_view operator*() const noexcept { return line_; }
    const std::string_view* operator->() const noexcept { return &line_; }
    iterator& operator++() noexcept;
    iterator operator++(int) noexcept {
      iterator old = *this;
      ++*this;
      return old;
    }
    bool operator==(const iterator& other) const noexcept { return done_ == other.done_ && (done_ || line_.data() == other.line_.data()); }

   private:
    friend class Lines;
    iterator(std::string_view text, bool done) noexcept;

    std::string_view text_;  // the text still to split, starting with the current line
    std::string_view line_;  // the current line
    bool done_ = true;       // past the last line
  };

  explicit Lines(std::string_view text) noexcept : text_(text) {}
  iterator begin() const noexcept { return iterator(text_, false); }
  iterator end() const noexcept { return iterator(text_, true); }

 private:
  std::string_view text_;
};

// The lines of `text` as `Lines` gives them, collected into one vector of views into `text`.
std::vector<std::string_view> split_lines(std::string_view text);

// Number of lines `Lines(text)` yields: one more than the number of "\n" bytes.
std::size_t count_lines(std::string_view text) noexcept;

// `s` with every run of white space made one blank and both ends trimmed.
std::string collapse_spaces(std::string_view s);

// The Unicode scalar value encoded at `s[i]` and its length in bytes, or a length of 0 when the
// bytes there are not a valid UTF-8 sequence (or `i` is past the end).
struct Decoded {
  char32_t code_point = 0;
  std::size_t length = 0;
};
Decoded decode_utf8(std::string_view s, std::size_t i) noexcept;

// Appends the UTF-8 encoding of the scalar value `cp` to `out`.
void append_utf8(std::string& out, char32_t cp);

// `s` with every character replaced by its Unicode simple case folding (one character for one,
// so "\u1E9E" becomes "\u00DF" and "K" (the Kelvin sign) becomes "k"). Bytes that are not valid
// UTF-8 stay as they are.
std::string fold_case(std::string_view s);

// `parts` joined with `sep`, built in one allocation.
std::string join(std::span<const std::string_view> parts, std::string_view sep);
std::string join(std::span<const std::string> parts, std::string_view sep);
std::string join(std::initializer_list<std::string_view> parts, std::string_view sep);

}  // namespace vantorel::text
