// Citation checks of the wiki generator: inline citations scrubbed from prose, the citations a
// page makes validated against the repository, and the stored citations topped up.
//
//   EXPECT_EQ(v._scrub_inline_citations("Parses input [src/parse.c:10-42]."), "Parses input.");
//   v._validate_citations("[parser](../src/parse.c#L10-L42)", {})
//       == {{"path": "src/parse.c", "start": 10, "end": 42}}   // when the file has 42 lines or more
//
// A citation names a repository path relative to `repository()`. The file behind it exists when
// that path, normalized by `_norm`, is non-empty, holds no ".." segment and names a regular file
// (symbolic links followed). A file's number of lines is its number of "\n" bytes, plus one when
// it is not empty and does not end in "\n".
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki/verify/citation.h"

namespace vantorel::workers::wiki {

// What an inline citation names in the repository.
struct CitationTarget {
  enum class Status {
    FOUND,      // the file exists and the lines are within it
    NO_FILE,    // no regular file of the repository has that path
    PAST_END,   // the file has fewer lines than the citation names
    BAD_RANGE,  // the first line is 0, or after the last one
    NO_LINK,    // the path cannot be written as a link destination that reads back the same ("#" in it)
  };
  Status status = Status::NO_FILE;
  std::string path{};             // the path in `_norm` form; empty when it names no repository path ("../x")
  std::int64_t start = 0;         // the first line cited; 0 when the citation names a whole file
  std::int64_t end = 0;           // the last line cited; 0 when the citation names a whole file
  std::int64_t file_lines = 0;    // with PAST_END: the number of lines the file has
  std::string link{};             // with FOUND: "../path", plus "#L<start>" or "#L<start>-L<end>"

  bool operator==(const CitationTarget&) const = default;
};

namespace detail {

// An inline citation on one line: `line[begin, end)` is "[" TEXT "]".
struct InlineCitation {
  std::size_t begin = 0;  // the "["
  std::size_t end = 0;    // just past the "]"

  bool operator==(const InlineCitation&) const = default;
};

// The inline citations of `line` (one line, outside fenced code), in order, as
// `_scrub_inline_citations` finds them: outside inline code, with the form documented there.
// Appends to `out`.
void inline_citations(std::string_view line, std::vector<InlineCitation>& out);

}  // namespace detail

class VerifyMixin {
 public:
  // The stored citations are topped up to name at least this many distinct files.
  static constexpr std::size_t MIN_CITED_FILES = 3;

  virtual ~VerifyMixin() = default;

  // `body` without its inline citations and the blanks and tabs right before each, outside fenced
  // code (fence lines included, as `is_fence_line` decides) and outside inline code. Every other
  // byte is kept as it is; never fails on odd text. Linear in the size of `body`.
  //
  // An inline citation is "[" TEXT "]" on one line where
  //   - TEXT is PATH, PATH ":" LINE or PATH ":" START "-" END, with the numbers ASCII digits and
  //     PATH one or more bytes that are none of white space, "[", "]", "`" and ":";
  //   - PATH holds an ASCII letter, and holds a "/" or ends in "." and an extension: one or more
  //     ASCII letters and digits, at least one a letter ("[parse.c]" yes; "[v1.2]", "[e.g.]" no);
  //   - the byte before "[" is none of "\", "!", "[" and "]" (an escape, an image, a nested or
  //     reference label), and not an ASCII letter, digit or "_", a quote ("'", '"', "`") or a
  //     closing ")" or "}": such a bracket is code-like text ("x[i]", `files["src/a.js"]`,
  //     "f()[0]"), never a citation;
  //   - the byte after "]" is none of "(", "[" and "]" (a link destination or label), and it is
  //     not ":" where the "[" starts the line after at most three blanks (a link reference
  //     definition).
  // So "[ ]", "[x]", "[a b.c]", "[text](dest)", "[x][ref]", "[src/a.c](dest)" and "a[src/a.c]" stay. Inline code
  // runs from a backtick run to the next run of the same length on the same line; a backtick run
  // that nothing closes on its line leaves the rest of the line untouched.
  //
  //   "See the parser [src/parse.c:10-42], `[a/b.c]`." -> "See the parser, `[a/b.c]`."
  virtual std::string _scrub_inline_citations(std::string_view body) const;

  // The valid citations `body` makes, in order of appearance with duplicates kept, then the valid
  // ones of `seeds` in their order, unchanged.
  //
  // A citation in `body` is an inline link "[text](dest)" on one line, outside fenced and inline
  // code and not an image, whose destination is "../" + path (as `_repo_rel_link` writes it:
  // "%20", "%28" and "%29" are read back as " ", "(" and ")") with no anchor or an anchor "#L10"
  // or "#L10-L42". It becomes {"path": _norm(path)} or {"path": ..., "start": 10, "end": 42}
  // ("#L10" gives start = end = 10). A destination with any other anchor, or with white space
  // (a link title), is not a citation.
  //
  // A citation is valid when its file exists (see the file comment) and, when it has lines,
  // 1 <= start <= end <= the file's number of lines. A seed must be an object with a string "path";
  // "start" and "end" are both absent (or null) or both integers. Each file is read at most once
  // per call, and only when a citation with lines names it.
  virtual std::vector<Citation> _validate_citations(std::string_view body, std::vector<Citation> seeds) const;

  // `citations`, and while they name fewer than MIN_CITED_FILES distinct paths (compared in `_norm`
  // form; an entry without a string "path" names none), {"path": _norm(f)} appended for each `f`
  // of `source_files` in plan order whose file exists and is not named yet.
  virtual std::vector<Citation> _ensure_min_citations(std::vector<Citation> citations, std::span<const std::string> source_files) const;

  // Where each inline citation text (what stands between "[" and "]", as `_scrub_inline_citations`
  // finds it: "src/a.c", "src/a.c:3" or "src/a.c:3-9") points in the repository, in the order of
  // `texts`. A citation that names an existing file, and lines within it, is FOUND, with the
  // destination of the link that `_validate_citations` counts as the same citation. Each file is
  // looked up and read at most once per call.
  //
  //   resolve_inline_citations({"src/parse.c:1-2"})[0].link == "../src/parse.c#L1-L2"
  std::vector<CitationTarget> resolve_inline_citations(std::span<const std::string_view> texts) const;

  // The repository folder citations are checked against.
  virtual const std::filesystem::path& repository() const = 0;
};

}  // namespace vantorel::workers::wiki
