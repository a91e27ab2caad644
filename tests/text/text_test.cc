#include "vantorel/text/text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantorel::text {
namespace {

std::string utf8(char32_t cp) {
  std::string s;
  append_utf8(s, cp);
  return s;
}

bool in_white_space_set(char32_t cp) {
  return (cp >= 0x09 && cp <= 0x0D) || cp == 0x20 || cp == 0x85 || cp == 0xA0 || cp == 0x1680 || (cp >= 0x2000 && cp <= 0x200A) ||
         cp == 0x2028 || cp == 0x2029 || cp == 0x202F || cp == 0x205F || cp == 0x3000;
}

// Every scalar value, encoded, is white space exactly when it is in the set, from either end.
TEST(WhiteSpace, ExactlyTheUnicodeSetForEveryCodePoint) {
  for (char32_t cp = 0; cp <= 0x10FFFF; ++cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;
    const std::string s = utf8(cp);
    const std::size_t expected = in_white_space_set(cp) ? s.size() : 0;
    ASSERT_EQ(space_at(s, 0), expected) << "U+" << std::hex << static_cast<unsigned>(cp);
    ASSERT_EQ(space_before(s, s.size()), expected) << "U+" << std::hex << static_cast<unsigned>(cp);
  }
}

TEST(WhiteSpace, InvalidBytesAreOrdinaryCharacters) {
  // A lone lead byte, a truncated sequence, a stray continuation byte, bytes never valid in UTF-8,
  // and NUL: none is white space, and a white-space character right after one still is.
  for (std::string bad : {std::string("\xC2"), std::string("\xE2\x80"), std::string("\x85"), std::string("\xFF"), std::string("\xC0\xA0"),
                          std::string(1, '\0')}) {
    EXPECT_EQ(space_at(bad, 0), 0u);
    EXPECT_EQ(trim(" " + bad + " "), bad);
    EXPECT_EQ(trim(bad + "\xC2\x85"), bad);
    EXPECT_FALSE(is_blank(bad));
  }
  // The last bytes of U+2005 (E2 80 85) are not a NEL (C2 85).
  EXPECT_EQ(rtrim("x\xE2\x80\x85"), "x");
  EXPECT_EQ(rtrim("x\x80\x85"), "x\x80\x85");
  EXPECT_EQ(trim("\xE1\xA0\x8E"), "\xE1\xA0\x8E");  // U+180E is not white space
}

TEST(WhiteSpace, TrimFamily) {
  struct Case {
    std::string in, left, right, both;
  } cases[] = {
      {"", "", "", ""},
      {" \t\r\n", "", "", ""},
      {"  a b  ", "a b  ", "  a b", "a b"},
      {"\u3000title\u2029", "title\u2029", "\u3000title", "title"},
      {"\u00a0x\u00a0", "x\u00a0", "\u00a0x", "x"},
      {"line\r", "line\r", "line", "line"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ltrim(c.in), c.left) << c.in;
    EXPECT_EQ(rtrim(c.in), c.right) << c.in;
    EXPECT_EQ(trim(c.in), c.both) << c.in;
    EXPECT_EQ(is_blank(c.in), c.both.empty()) << c.in;
  }
  // The views point into the argument.
  const std::string s = "  ab ";
  EXPECT_EQ(trim(s).data(), s.data() + 2);
}

TEST(Lines, SplitOnLineFeedOnly) {
  struct Case {
    std::string text;
    std::vector<std::string_view> lines;
  } cases[] = {
      {"", {""}},
      {"a", {"a"}},
      {"a\n", {"a", ""}},
      {"\n", {"", ""}},
      {"a\r\nb", {"a\r", "b"}},
      {"a\rb", {"a\rb"}},
      {"\n\nx\n\n", {"", "", "x", "", ""}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(split_lines(c.text), c.lines) << c.text;
    EXPECT_EQ(count_lines(c.text), c.lines.size()) << c.text;
    EXPECT_EQ(join(split_lines(c.text), "\n"), c.text);
    std::vector<std::string_view> iterated;
    for (std::string_view line : Lines(c.text)) iterated.push_back(line);
    EXPECT_EQ(iterated, c.lines);
  }
}

}  // namespace
}  // namespace vantorel::text
