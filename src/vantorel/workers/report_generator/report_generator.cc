#include "vantorel/workers/report_generator/report_generator.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>

#include "vantorel/text/pattern.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers {

namespace detail {

Language language_of(std::string_view path) {
  const std::size_t slash = path.find_last_of("/\\");
  const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return Language::OTHER;
  std::string ext(name.substr(dot + 1));
  for (char& c : ext) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  struct Entry {
    std::string_view ext;
    Language language;
  };
  static constexpr Entry TABLE[] = {
      {"c", Language::C_FAMILY},    {"h", Language::C_FAMILY},     {"cc", Language::C_FAMILY},    {"cpp", Language::C_FAMILY},
      {"cxx", Language::C_FAMILY},  {"c++", Language::C_FAMILY},   {"hh", Language::C_FAMILY},    {"hpp", Language::C_FAMILY},
      {"hxx", Language::C_FAMILY},  {"h++", Language::C_FAMILY},   {"ipp", Language::C_FAMILY},   {"inl", Language::C_FAMILY},
      {"py", Language::PYTHON},     {"pyi", Language::PYTHON},     {"rs", Language::RUST},        {"go", Language::GO},
      {"js", Language::JAVASCRIPT}, {"jsx", Language::JAVASCRIPT}, {"mjs", Language::JAVASCRIPT}, {"cjs", Language::JAVASCRIPT},
      {"ts", Language::JAVASCRIPT}, {"tsx", Language::JAVASCRIPT}, {"mts", Language::JAVASCRIPT}, {"cts", Language::JAVASCRIPT},
      {"java", Language::JAVA},     {"kt", Language::KOTLIN},      {"kts", Language::KOTLIN},
  };
  for (const Entry& e : TABLE) {
    if (e.ext == ext) return e.language;
  }
  return Language::OTHER;
}

namespace {

bool c_family_symbol(std::string_view line) {
  // Possessive quantifiers keep every pattern linear: only `[^;]*` gives back, one byte at a time.
  static const text::Pattern function_header(
      R"((?!(?:if|else|for|while|do|switch|return|case|goto|sizeof)\b)[A-Za-z_][\w \t*&:<>,~]*+\([^;]*\)(?:\s*+(?:const|noexcept|override|final)\b)*+\s*+\{?+\s*+)");
  static const text::Pattern declaration(R"(\s*+(?:(typedef\b|#\s*+define\b)|(?:struct|class|enum|union)\b))");
  if (function_header.full_match(line)) return true;
  const text::Match m = declaration.match(line);
  if (!m) return false;
  if (m.group(1)) return true;
  return !text::rtrim(line).ends_with(';') || line.find('{') != std::string_view::npos;
}

bool java_symbol(std::string_view line) {
  static const text::Pattern type(
      R"(\s*+(?:(?:public|protected|private|static|final|abstract|sealed|strictfp)\s++)*+(?:class|interface|enum|record|@interface)\s)");
  static const text::Pattern method(
      R"(\s*+(?:(?:public|protected|private|static|final|abstract|synchronized|native|default)\s++)++(?!(?:class|interface|enum|record)\b)[\w<>\[\]?,. \t]*+\()");
  if (type.match(line)) return true;
  return line.find(';') == std::string_view::npos && method.match(line);
}

}  // namespace

bool is_symbol_line(Language language, std::string_view line) {
  switch (language) {
    case Language::C_FAMILY:
      return c_family_symbol(line);
    case Language::PYTHON: {
      static const text::Pattern p(R"(\s*+(?:(?:async\s++)?def|class)\s)");
      return static_cast<bool>(p.match(line));
    }
    case Language::RUST: {
      static const text::Pattern p(
          R"(\s*+(?:pub(?:\([^)]*+\))?+\s++)?+(?:(?:async|const|unsafe|extern(?:\s++"[^"]*+")?+)\s++)*+(?:fn|struct|enum|trait|impl)\b)");
      return static_cast<bool>(p.match(line));
    }
    case Language::GO: {
      static const text::Pattern p(R"(\s*+(?:func|type)\s)");
      return static_cast<bool>(p.match(line));
    }
    case Language::JAVASCRIPT: {
      static const text::Pattern p(
          R"(\s*+(?:(?:export\s++(?:default\s++)?+)?+(?:(?:async\s++)?function\b|(?:abstract\s++)?class\s|interface\s|enum\s|type\s++[\w$]++\s*+[=<])|export\s++(?:const|let|var)\s|(?:const|let|var)\s++[\w$]++\s*+=\s*+(?:\(|function\b|async\b)))");
      return static_cast<bool>(p.match(line));
    }
    case Language::JAVA:
      return java_symbol(line);
    case Language::KOTLIN: {
      static const text::Pattern p(
          R"(\s*+(?:(?:public|private|protected|internal|open|abstract|final|override|data|sealed|inline|value|suspend|enum|annotation|inner|companion|operator|infix|tailrec|external)\s++)*+(?:fun|class|interface|object|typealias)\b)");
      return static_cast<bool>(p.match(line));
    }
    case Language::OTHER:
      break;
  }
  return false;
}

}  // namespace detail

namespace {

// Whether `path` names a file inside the repository: not empty, not absolute, no ".." segment.
bool inside_repository(std::string_view path) {
  if (path.empty() || path.front() == '/' || path.front() == '\\') return false;
  const std::string norm = wiki::_norm(path);
  if (norm.empty()) return false;
  std::string_view rest = norm;
  for (;;) {
    const std::size_t slash = rest.find('/');
    if (rest.substr(0, slash) == "..") return false;
    if (slash == std::string_view::npos) return true;
    rest.remove_prefix(slash + 1);
  }
}

}  // namespace

std::vector<FileFacts> file_facts(const std::filesystem::path& repository, const std::set<std::string, std::less<>>& paths) {
  std::vector<FileFacts> out;
  for (const std::string& path : paths) {
    if (!inside_repository(path)) continue;
    const std::filesystem::path file = repository / path;
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) continue;
    std::ifstream in(file, std::ios::binary);
    if (!in) continue;
    const std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) continue;
    const detail::Language language = detail::language_of(path);
    int symbols = 0;
    if (language != detail::Language::OTHER) {
      for (std::string_view line : text::Lines(content)) {
        if (detail::is_symbol_line(language, line)) ++symbols;
      }
    }
    const auto newlines = std::count(content.begin(), content.end(), '\n');
    const auto loc = newlines + (!content.empty() && content.back() != '\n' ? 1 : 0);
    out.push_back(FileFacts{.path = path, .symbols = symbols, .loc = static_cast<int>(loc)});
  }
  return out;
}

}  // namespace vantorel::workers
