// Where each value of a JSON text stands, so that a message about a value can give its line and
// column ("wiki.json:12:7: ...").
//
//   const JsonLocations where(R"({"pages": [{"page_id": "cli"}]})");
//   EXPECT_EQ(where.value("/pages/0/page_id"), (Location{.line = 1, .column = 24}));
//   EXPECT_EQ(where.key("/pages/0/page_id"), (Location{.line = 1, .column = 13}));
//
// Values are found by JSON pointer (RFC 6901: "/" between the steps, "~0" for "~" and "~1" for
// "/" inside a key). The text must be valid JSON; indexing walks it once, without recursion.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vantorel::tools {

// A place in a text: 1-based line, and 1-based column counted in bytes from the line's start.
struct Location {
  std::size_t line = 1;    // lines are separated by "\n"
  std::size_t column = 1;  // bytes, so a column past a multi-byte character counts each byte

  bool operator==(const Location&) const = default;
};

// The location of byte `offset` of `text`.
Location location_of(std::string_view text, std::size_t offset) noexcept;

// `key` as one step of a JSON pointer: "~" written "~0" and "/" written "~1".
std::string pointer_step(std::string_view key);

// The locations of the values and object keys of one valid JSON text.
class JsonLocations {
 public:
  // Indexes `text`, which a JSON parser accepted. A text that is not valid JSON gives an index
  // that may lack entries, never a crash.
  // What the index holds: every value and key, or only the first repeated key (a much cheaper
  // walk, for texts that are read without error).
  enum class Index { ALL, REPEATED_KEY };
  explicit JsonLocations(std::string_view text, Index index = Index::ALL);

  // Where the value at `pointer` starts ("" is the whole text), or nullopt when there is none.
  std::optional<Location> value(std::string_view pointer) const;

  // Where the key of the object member at `pointer` starts (its opening quote), or nullopt.
  std::optional<Location> key(std::string_view pointer) const;

  // A member whose key its object already has: its pointer, and where the repeated key stands.
  struct Repeated {
    std::string pointer;
    Location key;
    bool operator==(const Repeated&) const = default;
  };

  // The first member whose key its object already has, or nullopt. JSON parsers keep one of the
  // two members silently; a strict reader refuses such a text.
  const std::optional<Repeated>& repeated_key() const noexcept { return repeated_key_; }

 private:
  std::unordered_map<std::string, Location> values_;
  std::unordered_map<std::string, Location> keys_;
  std::optional<Repeated> repeated_key_;
};

}  // namespace vantorel::tools
