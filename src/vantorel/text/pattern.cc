#include "vantorel/text/pattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <memory>
#include <new>

namespace vantorel::text {

namespace {

// One white-space character of the set in text.h, as UTF-8 bytes.
constexpr std::string_view WS = R"((?:[\t-\r ]|\xC2[\x85\xA0]|\xE1\x9A\x80|\xE2\x80[\x80-\x8A\xA8\xA9\xAF]|\xE2\x81\x9F|\xE3\x80\x80))";

// The white-space characters of two and of three bytes.
constexpr std::string_view WS_MULTI = R"((?:\xC2[\x85\xA0]|\xE1\x9A\x80|\xE2\x80[\x80-\x8A\xA8\xA9\xAF]|\xE2\x81\x9F|\xE3\x80\x80))";
constexpr std::string_view WS_THREE = R"((?:\xE1\x9A\x80|\xE2\x80[\x80-\x8A\xA8\xA9\xAF]|\xE2\x81\x9F|\xE3\x80\x80))";

// One byte that neither starts a white-space character nor lies inside one (a search may try
// any byte offset). The other bytes of a multibyte character are continuation bytes, which never
// start a white-space character, so `\S+` steps over whole characters.
std::string non_space() {
  std::string out;
  out.append("(?:(?!").append(WS).append(")");
  out.append("(?<!(?=").append(WS_MULTI).append(")[\\x00-\\xFF])");
  out.append("(?<!(?=").append(WS_THREE).append(")[\\x00-\\xFF]{2})");
  out.append("[\\x00-\\xFF])");
  return out;
}

std::string error_text(int code) {
  PCRE2_UCHAR buffer[256];
  if (pcre2_get_error_message(code, buffer, sizeof buffer) < 0) return "PCRE2 error " + std::to_string(code);
  return std::string(reinterpret_cast<const char*>(buffer));
}

// Per-thread match data and match context: compiled code is shared, these are not.
struct ThreadState {
  pcre2_match_data* data = nullptr;
  pcre2_match_context* context = nullptr;
  pcre2_jit_stack* jit_stack = nullptr;

  ThreadState() {
    data = pcre2_match_data_create(Match::MAX_GROUPS + 1, nullptr);
    context = pcre2_match_context_create(nullptr);
    // Reserved, not committed: only the pages a match touches are used.
    jit_stack = pcre2_jit_stack_create(32 * 1024, 64 * 1024 * 1024, nullptr);
    if (data == nullptr || context == nullptr) {
      release();
      throw std::bad_alloc();
    }
    if (jit_stack != nullptr) pcre2_jit_stack_assign(context, nullptr, jit_stack);
  }
  ~ThreadState() { release(); }
  ThreadState(const ThreadState&) = delete;
  ThreadState& operator=(const ThreadState&) = delete;

  void release() noexcept {
    pcre2_match_data_free(data);
    pcre2_match_context_free(context);
    pcre2_jit_stack_free(jit_stack);
    data = nullptr;
    context = nullptr;
    jit_stack = nullptr;
  }
};

ThreadState& thread_state() {
  thread_local ThreadState state;
  return state;
}

}  // namespace

namespace detail {

std::string translate_pattern(std::string_view source, bool unicode) {
  const std::string ns = non_space();
  std::string out;
  out.reserve(source.size() + 64);
  bool in_class = false;
  for (std::size_t i = 0; i < source.size(); ++i) {
    const char c = source[i];
    if (c == '\\' && i + 1 < source.size()) {
      const char e = source[++i];
      if (e == 's' || e == 'S') {
        if (unicode) throw PatternError("\\s or \\S in a UNICODE pattern: " + std::string(source));
        if (in_class) throw PatternError("\\s or \\S inside a character class: " + std::string(source));
        out += e == 's' ? std::string(WS) : ns;
      } else if (e == 'Z') {
        out += "\\z";
      } else {
        out += c;
        out += e;
      }
      continue;
    }
    if (!in_class && c == '[') {
      in_class = true;
      out += c;
      // A "]" right after "[" or "[^" is a literal member of the class.
      if (i + 1 < source.size() && source[i + 1] == '^') out += source[++i];
      if (i + 1 < source.size() && source[i + 1] == ']') out += source[++i];
      continue;
    }
    if (in_class && c == ']') in_class = false;
    out += c;
  }
  return out;
}

}  // namespace detail

std::optional<std::string_view> Match::group(std::size_t i) const noexcept {
  if (!matched_ || i >= groups_ || spans_[i].first == UNSET) return std::nullopt;
  return subject_.substr(spans_[i].first, spans_[i].second - spans_[i].first);
}

Pattern::Pattern(std::string_view source, std::uint32_t flags) : Pattern(source, flags, Limits{}) {}

Pattern::Pattern(std::string_view source, std::uint32_t flags, Limits limits) : source_(source), limits_(limits) {
  const bool unicode = (flags & UNICODE) != 0;
  const std::string bytes = detail::translate_pattern(source, unicode);
  std::unique_ptr<pcre2_compile_context, decltype(&pcre2_compile_context_free)> context(pcre2_compile_context_create(nullptr),
                                                                                        &pcre2_compile_context_free);
  if (!context) throw std::bad_alloc();
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_LF);

  // UTF mode checks nothing up front: with MATCH_INVALID_UTF an invalid byte is simply a character
  // that nothing matches.
  std::uint32_t options = unicode ? PCRE2_UTF | PCRE2_UCP | PCRE2_MATCH_INVALID_UTF : PCRE2_NEVER_UTF | PCRE2_NEVER_UCP;
  if (flags & DOTALL) options |= PCRE2_DOTALL;
  if (flags & MULTILINE) options |= PCRE2_MULTILINE;
  const std::uint32_t mode_options[MODES] = {PCRE2_ANCHORED, PCRE2_ANCHORED | PCRE2_ENDANCHORED, 0};

  try {
    for (int mode = 0; mode < MODES; ++mode) {
      int error = 0;
      PCRE2_SIZE offset = 0;
      pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(bytes.data()), bytes.size(), options | mode_options[mode], &error,
                                       &offset, context.get());
      if (code == nullptr) {
        throw PatternError("pattern does not compile (" + error_text(error) + " at offset " + std::to_string(offset) + "): " + source_);
      }
      code_[mode] = code;
      std::uint32_t captures = 0;
      pcre2_pattern_info(code, PCRE2_INFO_CAPTURECOUNT, &captures);
      if (captures > Match::MAX_GROUPS)
        throw PatternError("pattern has more than " + std::to_string(Match::MAX_GROUPS) + " groups: " + source_);
      groups_ = captures + 1;
      // Without JIT support the interpreter runs the same pattern; nothing else changes.
      pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    }
  } catch (...) {
    for (pcre2_code* code : code_) pcre2_code_free(code);
    throw;
  }
}

Pattern::~Pattern() {
  for (pcre2_code* code : code_) pcre2_code_free(code);
}

Match Pattern::match(std::string_view subject) const { return run(MATCH, subject, 0); }

Match Pattern::full_match(std::string_view subject) const { return run(FULL, subject, 0); }

Match Pattern::search(std::string_view subject, std::size_t start) const { return run(SEARCH, subject, start); }

Match Pattern::run(Mode mode, std::string_view subject, std::size_t start) const {
  Match result;
  result.subject_ = subject;
  if (start > subject.size()) return result;

  ThreadState& state = thread_state();
  pcre2_set_match_limit(state.context, limits_.match);
  pcre2_set_depth_limit(state.context, limits_.depth);
  // A view may be null when empty; PCRE2 wants a valid pointer for a zero-length subject.
  const char* data = subject.data() != nullptr ? subject.data() : "";
  const int rc = pcre2_match(code_[mode], reinterpret_cast<PCRE2_SPTR>(data), subject.size(), start, 0, state.data, state.context);
  if (rc == PCRE2_ERROR_NOMATCH) return result;
  if (rc == PCRE2_ERROR_NOMEMORY) throw std::bad_alloc();
  if (rc < 0) throw PatternError("matching failed (" + error_text(rc) + "): " + source_);

  const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(state.data);
  result.groups_ = groups_;
  for (std::size_t i = 0; i < result.groups_; ++i) {
    const PCRE2_SIZE b = ovector[2 * i];
    const PCRE2_SIZE e = ovector[2 * i + 1];
    result.spans_[i] = b == PCRE2_UNSET ? std::pair{Match::UNSET, Match::UNSET} : std::pair<std::size_t, std::size_t>{b, e};
  }
  result.matched_ = true;
  return result;
}

}  // namespace vantorel::text
