// What every fuzz target shares: the entry point libFuzzer calls, which turns an exception that
// escapes into a reported failure, and `fail`, which prints a broken invariant and aborts, so
// libFuzzer (or the replay program) keeps the input that broke it.
//
//   void check_one(std::string_view data) { ... if (!ok) fail("what broke", {{"page", page}}); }
//   VANTOREL_FUZZ_TARGET(check_one)
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/printable.h"

namespace vantorel::fuzz {

using Shown = std::pair<std::string_view, std::string_view>;  // a name and the value printed under it

// Prints "invariant broken: <what>" and each value (odd bytes as \xHH, long values cut short),
// then aborts.
[[noreturn]] inline void fail(std::string_view what, std::initializer_list<Shown> values = {}) {
  std::fprintf(stderr, "invariant broken: %.*s\n", static_cast<int>(what.size()), what.data());
  for (const auto& [name, value] : values) {
    const std::string shown = test_support::printable(value, 2000);
    std::fprintf(stderr, "  %.*s: [%s]\n", static_cast<int>(name.size()), name.data(), shown.c_str());
  }
  std::abort();
}

inline void check(bool ok, std::string_view what, std::initializer_list<Shown> values = {}) {
  if (!ok) fail(what, values);
}

// `data` cut at every `separator` byte; always at least one (possibly empty) field.
inline std::vector<std::string_view> fields(std::string_view data, char separator) {
  std::vector<std::string_view> out;
  for (std::size_t start = 0;;) {
    const std::size_t end = data.find(separator, start);
    out.push_back(data.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
    if (end == std::string_view::npos) return out;
    start = end + 1;
  }
}

// Field `i` of `parts`, or "" when there are fewer.
inline std::string_view field(const std::vector<std::string_view>& parts, std::size_t i) { return i < parts.size() ? parts[i] : std::string_view(); }

}  // namespace vantorel::fuzz

// Defines libFuzzer's entry point around `check_one(std::string_view)`; no exception may leave it.
#define VANTOREL_FUZZ_TARGET(check_one)                                                       \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {         \
    const std::string_view input(reinterpret_cast<const char*>(data), size);                  \
    try {                                                                                     \
      check_one(input);                                                                       \
    } catch (const std::exception& e) {                                                       \
      ::vantorel::fuzz::fail("an exception escaped", {{"what", e.what()}, {"input", input}}); \
    } catch (...) {                                                                           \
      ::vantorel::fuzz::fail("an exception escaped", {{"input", input}});                     \
    }                                                                                         \
    return 0;                                                                                 \
  }
