#include "json_locations.h"

#include <nlohmann/json.hpp>
#include <unordered_set>
#include <vector>

namespace vantorel::tools {

namespace {

bool is_json_space(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Walks a JSON text once, tracking line and column as it goes.
class Cursor {
 public:
  explicit Cursor(std::string_view text) noexcept : text_(text) {
    // A parser skips a UTF-8 byte order mark; columns still count its bytes.
    if (text_.starts_with("\xEF\xBB\xBF")) advance(3);
  }

  bool done() const noexcept { return at_ >= text_.size(); }
  char peek() const noexcept { return done() ? '\0' : text_[at_]; }
  Location where() const noexcept { return here_; }

  void advance(std::size_t n = 1) noexcept {
    for (; n > 0 && !done(); --n, ++at_) {
      if (text_[at_] == '\n') {
        ++here_.line;
        here_.column = 1;
      } else {
        ++here_.column;
      }
    }
  }

  void skip_space() noexcept {
    while (!done() && is_json_space(text_[at_])) advance();
  }

  // Skips a string token that starts here (at its opening quote); returns its raw text, quotes
  // included.
  std::string_view skip_string() noexcept {
    const std::size_t start = at_;
    advance();
    while (!done() && text_[at_] != '"') advance(text_[at_] == '\\' ? 2 : 1);
    advance();
    return text_.substr(start, at_ - start);
  }

  // Skips a number or a literal (true, false, null).
  void skip_scalar() noexcept {
    while (!done() && !is_json_space(text_[at_]) && text_[at_] != ',' && text_[at_] != ']' && text_[at_] != '}') advance();
  }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
  Location here_{};
};

// The string a raw string token stands for.
std::string decode_key(std::string_view raw) {
  // Most keys hold no escape: their text is the key.
  if (raw.size() >= 2 && raw.back() == '"' && raw.find('\\') == std::string_view::npos) return std::string(raw.substr(1, raw.size() - 2));
  try {
    return nlohmann::json::parse(raw).get<std::string>();
  } catch (const nlohmann::json::exception&) {
    return std::string(raw);  // only for text a parser refused
  }
}

// An object or array the walk is inside.
struct Open {
  std::string pointer;
  bool object = false;
  std::size_t index = 0;                      // the next element's index (arrays)
  std::unordered_set<std::string> keys = {};  // the keys seen so far (objects)
};

}  // namespace

Location location_of(std::string_view text, std::size_t offset) noexcept {
  Location where;
  const std::size_t end = offset < text.size() ? offset : text.size();
  for (std::size_t i = 0; i < end; ++i) {
    if (text[i] == '\n') {
      ++where.line;
      where.column = 1;
    } else {
      ++where.column;
    }
  }
  return where;
}

std::string pointer_step(std::string_view key) {
  std::string step;
  step.reserve(key.size());
  for (char c : key) {
    if (c == '~') {
      step.append("~0");
    } else if (c == '/') {
      step.append("~1");
    } else {
      step += c;
    }
  }
  return step;
}

JsonLocations::JsonLocations(std::string_view text, Index index) {
  const bool all = index == Index::ALL;
  Cursor cursor(text);
  std::vector<Open> open;
  std::string pointer;  // the pointer of the value about to start

  cursor.skip_space();
  while (!cursor.done()) {
    // A value starts here.
    if (all) values_.emplace(pointer, cursor.where());
    const char c = cursor.peek();
    if (c == '{' || c == '[') {
      open.push_back(Open{.pointer = pointer, .object = c == '{'});
      cursor.advance();
    } else if (c == '"') {
      cursor.skip_string();
    } else {
      cursor.skip_scalar();
    }

    // Find where the next value starts: after a key in an object, or after a comma, closing the
    // containers that end on the way.
    bool next = false;
    while (!next && !open.empty()) {
      cursor.skip_space();
      if (cursor.done()) return;
      const char d = cursor.peek();
      Open& top = open.back();
      if (d == '}' || d == ']') {
        cursor.advance();
        open.pop_back();
        continue;
      }
      if (d == ',') {
        cursor.advance();
        cursor.skip_space();
      }
      if (top.object) {
        if (cursor.peek() != '"') return;
        const Location key_at = cursor.where();
        const std::string key = decode_key(cursor.skip_string());
        pointer = top.pointer;
        pointer.append("/").append(pointer_step(key));
        if (all) keys_.emplace(pointer, key_at);
        if (!top.keys.insert(key).second && !repeated_key_) repeated_key_ = Repeated{.pointer = pointer, .key = key_at};
        cursor.skip_space();
        if (cursor.peek() != ':') return;
        cursor.advance();
      } else {
        pointer = top.pointer;
        pointer.append("/").append(std::to_string(top.index++));
      }
      cursor.skip_space();
      next = true;
    }
    if (!next) return;
  }
}

std::optional<Location> JsonLocations::value(std::string_view pointer) const {
  const auto found = values_.find(std::string(pointer));
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

std::optional<Location> JsonLocations::key(std::string_view pointer) const {
  const auto found = keys_.find(std::string(pointer));
  if (found == keys_.end()) return std::nullopt;
  return found->second;
}

}  // namespace vantorel::tools
