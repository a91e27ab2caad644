#include "vantorel/workers/wiki/verify/verify_mixin.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <system_error>

#include "vantorel/text/pattern.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {

namespace {

constexpr std::size_t NPOS = std::string_view::npos;

bool ascii_alpha(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool ascii_alnum(char c) noexcept { return ascii_alpha(c) || (c >= '0' && c <= '9'); }

// The end of the inline code opened by the backtick run at `line[i]`, or the end of the line when
// nothing closes it.
std::size_t code_span_end(std::string_view line, std::size_t i) noexcept { return std::min(text::code_span_end(line, i), line.size()); }

// Whether the bracket text `text` has the shape of an inline citation: a path, optionally with
// ":LINE" or ":START-END".
bool is_citation_text(std::string_view text) {
  static const text::Pattern shape(R"(([^:]+)(?::[0-9]+(?:-[0-9]+)?)?)");
  const text::Match m = shape.full_match(text);
  if (!m) return false;
  const std::string_view path = m[1];
  if (std::none_of(path.begin(), path.end(), ascii_alpha)) return false;
  if (path.find('/') != NPOS) return true;
  const std::size_t dot = path.rfind('.');
  if (dot == NPOS || dot + 1 == path.size()) return false;
  const std::string_view ext = path.substr(dot + 1);
  return std::all_of(ext.begin(), ext.end(), ascii_alnum) && std::any_of(ext.begin(), ext.end(), ascii_alpha);
}

// Whether a citation's "[" may follow the byte `before`: not an escape, an image, a nested or
// reference label, and not code-like text such as "x[i]", `files["a.js"]` or "f()[0]".
bool can_precede_citation(char before) noexcept {
  static constexpr std::string_view REFUSED = "\\![]_'\"`)}";
  return !ascii_alnum(before) && REFUSED.find(before) == NPOS;
}

// The end of the inline citation whose "[" is `line[i]` (just past its "]"), or NPOS when none
// starts there. Scans only up to the next "[", "]", "`" or white space.
std::size_t inline_citation_end(std::string_view line, std::size_t i) {
  if (i > 0 && !can_precede_citation(line[i - 1])) return NPOS;
  std::size_t j = i + 1;
  while (j < line.size() && line[j] != '[' && line[j] != ']' && line[j] != '`' && text::space_at(line, j) == 0) ++j;
  if (j == i + 1 || j == line.size() || line[j] != ']') return NPOS;
  const std::size_t end = j + 1;
  if (end < line.size()) {
    const char after = line[end];
    if (after == '(' || after == '[' || after == ']') return NPOS;
    if (after == ':' && i <= 3 && line.find_first_not_of(' ') == i) return NPOS;
  }
  return is_citation_text(line.substr(i + 1, j - i - 1)) ? end : NPOS;
}

// Appends `line` to `out` without its inline citations and the blanks and tabs right before each.
void scrub_line(std::string_view line, std::vector<detail::InlineCitation>& found, std::string& out) {
  found.clear();
  detail::inline_citations(line, found);
  std::size_t copied = 0;
  for (const detail::InlineCitation& citation : found) {
    std::size_t cut = citation.begin;
    while (cut > copied && (line[cut - 1] == ' ' || line[cut - 1] == '\t')) --cut;
    out.append(line.substr(copied, cut - copied));
    copied = citation.end;
  }
  out.append(line.substr(copied));
}

// A path as it names a repository file: `_norm` form, non-empty, with no ".." segment; or nullopt.
std::optional<std::string> repository_path(std::string_view path) {
  std::string norm = _norm(path);
  if (norm.empty()) return std::nullopt;
  std::string_view rest = norm;
  for (;;) {
    const std::size_t slash = rest.find('/');
    if (rest.substr(0, slash) == "..") return std::nullopt;
    if (slash == NPOS) break;
    rest.remove_prefix(slash + 1);
  }
  return norm;
}

bool is_repository_file(const std::filesystem::path& repository, const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(repository / path, error);
}

// The number of lines of the file at `file`, or nullopt when it cannot be read.
std::optional<std::int64_t> file_line_count(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  std::array<char, 1 << 16> buffer;
  std::int64_t newlines = 0;
  char last = '\n';
  while (in) {
    in.read(buffer.data(), buffer.size());
    const std::streamsize got = in.gcount();
    if (got <= 0) break;
    newlines += std::count(buffer.data(), buffer.data() + got, '\n');
    last = buffer[static_cast<std::size_t>(got) - 1];
  }
  if (in.bad()) return std::nullopt;
  return newlines + (last != '\n' ? 1 : 0);
}

// The files of one `_validate_citations` call: whether each exists and how many lines it has, each
// looked up and read at most once.
class RepositoryFiles {
 public:
  explicit RepositoryFiles(const std::filesystem::path& repository) : repository_(repository) {}

  // Whether `path` (a `repository_path`) is a regular file of the repository.
  bool exists(const std::string& path) { return entry(path).exists; }

  // Whether `path` exists and 1 <= start <= end <= its number of lines.
  bool has_lines(const std::string& path, std::int64_t start, std::int64_t end) {
    if (start < 1 || start > end) return false;
    Entry& e = entry(path);
    if (!e.exists) return false;
    if (!e.read) {
      e.lines = file_line_count(repository_ / path);
      e.read = true;
    }
    return e.lines && end <= *e.lines;
  }

  // The number of lines of `path`, once `has_lines` has read it; 0 when it could not be read.
  std::int64_t line_count(const std::string& path) { return entry(path).lines.value_or(0); }

 private:
  struct Entry {
    bool exists = false;                  // a regular file
    bool read = false;                    // `lines` is known
    std::optional<std::int64_t> lines{};  // its number of lines; nullopt when it cannot be read
  };

  Entry& entry(const std::string& path) {
    auto it = entries_.find(path);
    if (it == entries_.end()) it = entries_.emplace(path, Entry{.exists = is_repository_file(repository_, path)}).first;
    return it->second;
  }

  const std::filesystem::path& repository_;
  std::map<std::string, Entry, std::less<>> entries_;
};

// A line number written in ASCII digits, or nullopt when it does not fit.
std::optional<std::int64_t> line_number(std::string_view digits) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

// The citation a link destination makes, or nullopt when it makes none (or names lines no file
// can have).
std::optional<Citation> destination_citation(std::string_view dest) {
  if (!dest.starts_with("../")) return std::nullopt;
  dest.remove_prefix(3);
  const std::size_t hash = dest.find('#');
  std::string decoded;
  decoded.reserve(dest.size());
  const std::string_view encoded = dest.substr(0, hash);
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    const std::string_view code = encoded.substr(i, 3);
    if (code == "%20" || code == "%28" || code == "%29") {
      decoded += code == "%20" ? ' ' : code == "%28" ? '(' : ')';
      i += 2;
    } else {
      decoded += encoded[i];
    }
  }
  std::optional<std::string> path = repository_path(decoded);
  if (!path) return std::nullopt;
  Citation citation;
  citation["path"] = std::move(*path);
  if (hash == NPOS) return citation;
  static const text::Pattern anchor("L([0-9]+)(?:-L([0-9]+))?");
  const text::Match m = anchor.full_match(dest.substr(hash + 1));
  if (!m) return std::nullopt;
  const std::optional<std::int64_t> start = line_number(m[1]);
  const std::optional<std::int64_t> end = m.group(2) ? line_number(*m.group(2)) : start;
  if (!start || !end) return std::nullopt;
  citation["start"] = *start;
  citation["end"] = *end;
  return citation;
}

bool holds_space(std::string_view s) noexcept {
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (text::space_at(s, i) != 0) return true;
  }
  return false;
}

// Appends the citations the inline links of `line` make, in order. A destination runs from the
// "(" right after a "]" to the next ")": the destinations `_repo_rel_link` writes hold none.
void line_citations(std::string_view line, std::vector<bool>& openers, std::vector<Citation>& out) {
  openers.clear();             // one entry per open "[": whether it opens an image
  std::size_t next_paren = 0;  // the first ")" at or after some earlier position; NPOS: none left
  std::size_t i = 0;
  while (i < line.size()) {
    const char c = line[i];
    if (c == '`') {
      i = code_span_end(line, i);
      continue;
    }
    if (c == '[') {
      openers.push_back(i > 0 && line[i - 1] == '!');
    } else if (c == ']' && !openers.empty()) {
      const bool image = openers.back();
      openers.pop_back();
      if (i + 1 < line.size() && line[i + 1] == '(') {
        if (next_paren != NPOS && next_paren < i + 2) next_paren = line.find(')', i + 2);
        if (next_paren != NPOS) {
          const std::string_view dest = line.substr(i + 2, next_paren - i - 2);
          if (!image && !holds_space(dest)) {
            if (std::optional<Citation> citation = destination_citation(dest)) out.push_back(std::move(*citation));
          }
          i = next_paren + 1;
          continue;
        }
      }
    }
    ++i;
  }
}

// Reads the integer member `key` of `citation` into `value`, left empty when the member is absent
// or null. False when it is something else or does not fit.
bool read_line_member(const Citation& citation, std::string_view key, std::optional<std::int64_t>& value) {
  value.reset();
  const auto it = citation.find(key);
  if (it == citation.end() || it->is_null()) return true;
  if (it->is_number_unsigned()) {
    const auto number = it->get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return false;
    value = static_cast<std::int64_t>(number);
    return true;
  }
  if (!it->is_number_integer()) return false;
  value = it->get<std::int64_t>();
  return true;
}

bool valid_citation(const Citation& citation, RepositoryFiles& files) {
  if (!citation.is_object()) return false;
  const auto path_it = citation.find("path");
  if (path_it == citation.end() || !path_it->is_string()) return false;
  const std::optional<std::string> path = repository_path(path_it->get_ref<const std::string&>());
  std::optional<std::int64_t> start, end;
  if (!path || !read_line_member(citation, "start", start) || !read_line_member(citation, "end", end)) return false;
  if (!start && !end) return files.exists(*path);
  return start && end && files.has_lines(*path, *start, *end);
}

}  // namespace

void detail::inline_citations(std::string_view line, std::vector<InlineCitation>& out) {
  std::size_t i = line.find_first_of("`[");
  while (i < line.size()) {
    if (line[i] == '`') {
      i = code_span_end(line, i);
    } else if (const std::size_t end = inline_citation_end(line, i); end != NPOS) {
      out.push_back({i, end});
      i = end;
    } else {
      ++i;
    }
    i = std::min(line.find_first_of("`[", i), line.size());
  }
}

std::string VerifyMixin::_scrub_inline_citations(std::string_view body) const {
  std::string out;
  out.reserve(body.size());
  std::vector<detail::InlineCitation> found;
  bool in_fence = false;
  bool first = true;
  for (std::string_view line : text::Lines(body)) {
    if (!first) out += '\n';
    first = false;
    if (is_fence_line(line)) {
      in_fence = !in_fence;
      out.append(line);
    } else if (in_fence || line.find('[') == NPOS) {
      out.append(line);
    } else {
      scrub_line(line, found, out);
    }
  }
  return out;
}

std::vector<Citation> VerifyMixin::_validate_citations(std::string_view body, std::vector<Citation> seeds) const {
  std::vector<Citation> found;
  std::vector<bool> openers;
  bool in_fence = false;
  for (std::string_view line : text::Lines(body)) {
    if (is_fence_line(line)) {
      in_fence = !in_fence;
    } else if (!in_fence && line.find("](../") != NPOS) {
      line_citations(line, openers, found);
    }
  }
  RepositoryFiles files(repository());
  std::vector<Citation> out;
  out.reserve(found.size() + seeds.size());
  for (Citation& citation : found) {
    if (valid_citation(citation, files)) out.push_back(std::move(citation));
  }
  for (Citation& seed : seeds) {
    if (valid_citation(seed, files)) out.push_back(std::move(seed));
  }
  return out;
}

std::vector<CitationTarget> VerifyMixin::resolve_inline_citations(std::span<const std::string_view> texts) const {
  static const text::Pattern shape(R"(([^:]+)(?::([0-9]+)(?:-([0-9]+))?)?)");
  RepositoryFiles files(repository());
  std::vector<CitationTarget> out;
  out.reserve(texts.size());
  for (const std::string_view text : texts) {
    CitationTarget& target = out.emplace_back();
    const text::Match m = shape.full_match(text);
    if (!m) continue;
    const std::optional<std::string> path = repository_path(m[1]);
    if (!path) continue;
    target.path = *path;
    if (!files.exists(*path)) continue;
    std::string link = _repo_rel_link(*path);
    if (m.group(2)) {
      const std::optional<std::int64_t> start = line_number(*m.group(2));
      const std::optional<std::int64_t> end = m.group(3) ? line_number(*m.group(3)) : start;
      target.start = start.value_or(0);
      target.end = end.value_or(0);
      if (!start || !end || *start < 1 || *start > *end) {
        target.status = CitationTarget::Status::BAD_RANGE;
        continue;
      }
      if (!files.has_lines(*path, *start, *end)) {
        target.status = CitationTarget::Status::PAST_END;
        target.file_lines = files.line_count(*path);
        continue;
      }
      link.append("#L").append(std::to_string(*start));
      if (m.group(3)) link.append("-L").append(std::to_string(*end));
    }
    // The link must read back as this very citation: a "#" in the path would start an anchor.
    const std::optional<Citation> read_back = destination_citation(link);
    if (!read_back || read_back->at("path").get_ref<const std::string&>() != *path) {
      target.status = CitationTarget::Status::NO_LINK;
      continue;
    }
    target.status = CitationTarget::Status::FOUND;
    target.link = std::move(link);
  }
  return out;
}

std::vector<Citation> VerifyMixin::_ensure_min_citations(std::vector<Citation> citations, std::span<const std::string> source_files) const {
  std::set<std::string, std::less<>> named;
  for (const Citation& citation : citations) {
    if (!citation.is_object()) continue;
    const auto it = citation.find("path");
    if (it != citation.end() && it->is_string()) named.insert(_norm(it->get_ref<const std::string&>()));
  }
  for (const std::string& file : source_files) {
    if (named.size() >= MIN_CITED_FILES) break;
    const std::optional<std::string> path = repository_path(file);
    if (!path || named.contains(*path) || !is_repository_file(repository(), *path)) continue;
    citations.push_back(Citation{{"path", *path}});
    named.insert(*path);
  }
  return citations;
}

}  // namespace vantorel::workers::wiki
