// Perl-compatible patterns over UTF-8 bytes, compiled once and matched in three modes.
//
// A `Pattern` is written with the usual escapes and runs over the bytes of the subject, without
// PCRE2's UTF mode, so that text which is not valid UTF-8 is ordinary text:
//
//   static const Pattern open("<!-- wiki:([a-z-]+)(?: ([a-z-]+))? -->");
//   if (Match m = open.full_match(line)) part = *m.group(1);
//
// Before compiling, `\s` becomes the UTF-8 byte sequences of the white-space set that
// `vantorel/text/text.h` defines, `\S` one character outside it (an invalid byte counts as such a
// character), and `\Z` becomes `\z` (the very end of the subject). Newlines are "\n" only.
// `\s` and `\S` may not stand inside a character class: the compiler rejects such a pattern.
//
// Match and depth limits are raised far beyond what a linear pattern reaches on a 100 MB page;
// reaching one (or any other matching error) throws `PatternError` instead of passing for a
// silent "no match". Running out of memory throws `std::bad_alloc`.
//
// With the `UNICODE` flag a pattern runs in PCRE2's UTF mode instead, for the few places that need
// Unicode character properties (word boundaries): `\p{L}` and the like work, an invalid byte is a
// character that matches no class and no literal, and `\s`/`\S` are refused (PCRE2's own set is
// not the project's white-space set):
//
//   static const Pattern word(R"([\p{L}\p{N}_])", Pattern::UNICODE);
//   EXPECT_TRUE(word.full_match("\u00e9"));
//   EXPECT_FALSE(word.full_match("\xE9"));
//
// A compiled pattern is immutable and may be used from any number of threads at once; each thread
// keeps its own match data.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

struct pcre2_real_code_8;

namespace vantorel::text {

// A pattern failed to compile, or matching hit one of PCRE2's limits or another error. Either is
// a bug in the program, not a property of the text.
class PatternError : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

// The outcome of one match: whether it matched and where its groups lie, as views into the
// subject that was matched (valid as long as that subject is).
class Match {
 public:
  // Most capturing groups a pattern may have.
  static constexpr std::size_t MAX_GROUPS = 15;

  explicit operator bool() const noexcept { return matched_; }

  // Group `i` (0 is the whole match), or nullopt when the group did not take part in the match,
  // which is not the same as a group that matched the empty text.
  std::optional<std::string_view> group(std::size_t i) const noexcept;

  // Group `i`, or the empty view when it did not take part.
  std::string_view operator[](std::size_t i) const noexcept { return group(i).value_or(std::string_view()); }

  // Offsets of the whole match in the subject.
  std::size_t begin() const noexcept { return spans_[0].first; }
  std::size_t end() const noexcept { return spans_[0].second; }

 private:
  friend class Pattern;
  static constexpr std::size_t UNSET = static_cast<std::size_t>(-1);

  std::string_view subject_;
  std::array<std::pair<std::size_t, std::size_t>, MAX_GROUPS + 1> spans_{};
  std::size_t groups_ = 0;  // groups the pattern has, the whole match included
  bool matched_ = false;
};

class Pattern {
 public:
  enum Flags : std::uint32_t {
    NONE = 0,
    DOTALL = 1,     // `.` matches "\n" too
    MULTILINE = 2,  // `^` and `$` match at every line's start and end
    UNICODE = 4,    // UTF mode with Unicode properties; invalid bytes match nothing; no `\s`/`\S`
  };

  // Bounds on the work of one match. The defaults are never reached by a linear pattern on any
  // page this program handles; tests pass small ones to see a runaway pattern fail loudly.
  struct Limits {
    std::uint32_t match = 0xFFFFFFFFu;  // PCRE2 match limit
    std::uint32_t depth = 0xFFFFFFFFu;  // PCRE2 depth limit (interpreter only)
  };

  // Compiles `source` for all three modes. Throws `PatternError` when it does not compile, holds
  // `\s`/`\S` inside a character class, or holds `\s`/`\S` at all under `UNICODE`.
  explicit Pattern(std::string_view source, std::uint32_t flags = NONE);
  Pattern(std::string_view source, std::uint32_t flags, Limits limits);
  ~Pattern();
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;

  // The match must start at the start of `subject` and may end anywhere.
  Match match(std::string_view subject) const;
  // The match must span the whole of `subject`.
  Match full_match(std::string_view subject) const;
  // The first match that starts at or after `start`.
  Match search(std::string_view subject, std::size_t start = 0) const;

  // The pattern as written, before the byte translation.
  const std::string& source() const noexcept { return source_; }

 private:
  enum Mode { MATCH, FULL, SEARCH, MODES };

  Match run(Mode mode, std::string_view subject, std::size_t start) const;

  std::string source_;
  Limits limits_;
  std::size_t groups_ = 1;  // capturing groups plus the whole match
  std::array<pcre2_real_code_8*, MODES> code_{};
};

namespace detail {

// The byte-level pattern `source` becomes: `\s` and `\S` spelled out, `\Z` made `\z`. With
// `unicode` set, only `\Z` is rewritten and `\s`/`\S` are refused.
std::string translate_pattern(std::string_view source, bool unicode = false);

}  // namespace detail

}  // namespace vantorel::text
