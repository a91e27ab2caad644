#include "vantorel/text/pattern.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace vantorel::text {
namespace {

const std::vector<std::string> kWhiteSpace = {"\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\u0085", "\u00a0", "\u1680",
                                              "\u2000", "\u2005", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000"};
const std::vector<std::string> kNotWhiteSpace = {"a",    "\u180e", "\u200b", "\ufeff",  "\u00e9", "\U0001F680", std::string(1, '\0'),
                                                 "\xFF", "\xC2",   "\x85",   "\xE2\x80"};

TEST(Pattern, SpaceClassesFollowTheWhiteSpaceSet) {
  const Pattern space(R"(\s)");
  const Pattern spaces(R"(\s+)");
  const Pattern non_space(R"(\S+)");
  for (const std::string& ws : kWhiteSpace) {
    EXPECT_TRUE(space.full_match(ws)) << ws;
    EXPECT_FALSE(non_space.search(ws)) << ws;
  }
  for (const std::string& other : kNotWhiteSpace) {
    EXPECT_FALSE(spaces.search(other)) << other;
    EXPECT_TRUE(non_space.full_match(other)) << other;
  }
  // An invalid byte is one more ordinary character, as trimming sees it.
  EXPECT_EQ(Pattern(R"(^\s*(\S+)\s*$)").match(" \xFF\xFE\u3000")[1], "\xFF\xFE");
}

TEST(Pattern, ThreeModes) {
  const Pattern b("b");
  EXPECT_FALSE(b.match("ab"));
  EXPECT_EQ(b.search("ab").begin(), 1u);
  EXPECT_FALSE(b.full_match("bb"));
  EXPECT_TRUE(b.match("bb"));
  EXPECT_FALSE(b.search("abc", 2));
  EXPECT_FALSE(b.search("ab", 3));
  // Full match backtracks into another alternative to reach the end, as a `\z` would.
  const Pattern alt("a|ab");
  EXPECT_EQ(alt.match("ab")[0], "a");
  EXPECT_EQ(alt.full_match("ab")[0], "ab");
}

TEST(Pattern, GroupThatDidNotTakePartIsNotAnEmptyGroup) {
  const Match m = Pattern("(x)?(y*)").full_match("");
  ASSERT_TRUE(m);
  EXPECT_EQ(m.group(1), std::nullopt);
  EXPECT_EQ(m.group(2), std::optional<std::string_view>(""));
  EXPECT_EQ(m[1], "");
  EXPECT_EQ(m.group(3), std::nullopt);  // past the pattern's groups
  EXPECT_EQ(Match().group(0), std::nullopt);
}

TEST(Pattern, AnchorsAndNewlines) {
  EXPECT_FALSE(Pattern(R"(a\Z)").search("a\n"));  // the very end, not before a final "\n"
  EXPECT_TRUE(Pattern(R"(a\Z)").search("a"));
  EXPECT_TRUE(Pattern("a$").search("a\n"));
  EXPECT_FALSE(Pattern("^b", Pattern::MULTILINE).search("a\rb"));  // only "\n" ends a line
  EXPECT_TRUE(Pattern("^b", Pattern::MULTILINE).search("a\nb"));
  EXPECT_FALSE(Pattern("a.b").search("a\nb"));
  EXPECT_TRUE(Pattern("a.b", Pattern::DOTALL).search("a\nb"));
  EXPECT_TRUE(
      Pattern("a.b").search("a\xFF"
                            "b"));
  EXPECT_EQ(Pattern(R"(x\\s)").search("x\\s")[0], "x\\s");  // an escaped backslash is not an escape
}

TEST(Pattern, BadPatternsFailWhenCompiled) {
  EXPECT_THROW(Pattern("(unclosed"), PatternError);
  EXPECT_THROW(Pattern(R"([\s])"), PatternError);
  EXPECT_THROW(Pattern(R"([^\S])"), PatternError);
  EXPECT_THROW(Pattern(R"([]\s])"), PatternError);  // "]" first in a class is a member: `\s` is inside
  EXPECT_NO_THROW(Pattern(R"([]]\s)"));
  EXPECT_THROW(Pattern("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)(l)(m)(n)(o)(p)"), PatternError);
}

// Reaching a limit is a bug and says so; it never passes for "no match".
TEST(Pattern, LimitReachedThrows) {
  const Pattern runaway("(a+)+$", Pattern::NONE, Pattern::Limits{.match = 1000, .depth = 1000});
  EXPECT_THROW(runaway.search(std::string(40, 'a') + "!"), PatternError);
  EXPECT_TRUE(runaway.search("aaa"));
}

TEST(Pattern, SharedAcrossThreads) {
  static const Pattern pattern(R"(^(\S+)\s+(\d+)$)");
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      std::string word(1, 'w');
      word += std::to_string(t);
      for (int i = 0; i < 2000; ++i) {
        std::string subject = word;
        subject += "\u3000";
        subject += std::to_string(i);
        const Match m = pattern.match(subject);
        if (!m || m[1] != word || m[2] != std::to_string(i)) ++failures[t];
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

// UTF mode, for Unicode properties: an invalid byte is a character that nothing matches, and the
// white-space classes are refused rather than given PCRE2's own meaning.
TEST(Pattern, UnicodeModeUsesCharacterProperties) {
  const Pattern word(R"([\p{L}\p{N}_])", Pattern::UNICODE);
  for (const char* yes : {"a", "_", "\u00e9", "\u65e5", "\u0663", "\U0001D400"}) EXPECT_TRUE(word.full_match(yes)) << yes;
  for (const char* no : {"-", " ", "\u2014", "\u3000", "\u0301", "\xE9", "\xFF", "\xC3", "\xC3\xA9\xA9"}) {
    EXPECT_FALSE(word.full_match(no)) << no;
  }
  EXPECT_FALSE(Pattern("^.$", Pattern::UNICODE).search("\xFF"));
  EXPECT_EQ(Pattern(R"(\p{L}+)", Pattern::UNICODE)
                .search("\xFF"
                        "caf\u00e9\xFE")[0],
            "caf\u00e9");
  EXPECT_THROW(Pattern(R"(\s)", Pattern::UNICODE), PatternError);
  EXPECT_THROW(Pattern(R"(a\S+)", Pattern::UNICODE), PatternError);
  EXPECT_TRUE(Pattern(R"(a\Z)", Pattern::UNICODE).search("\u00e9a"));
  EXPECT_FALSE(Pattern(R"(a\Z)", Pattern::UNICODE).search("a\n"));
}

}  // namespace
}  // namespace vantorel::text
