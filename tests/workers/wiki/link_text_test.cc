#include "vantorel/workers/wiki/link_text/link_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

namespace vantorel::workers::wiki {
namespace {

// The targets the tables link against; the page itself is "home" unless a case says otherwise.
const std::vector<LinkTarget>& targets() {
  static const std::vector<LinkTarget> all = {
      LinkTarget("config", "Config", {"src/config.c", "src/config.h"}, {"Settings"}),
      LinkTarget("loader", "Config loader", {"src/loader.py"}, {}),
      LinkTarget("tool", "loader tool", {}, {}),
      LinkTarget("cli", "Command line", {"src/cli.c"}, {"CLI", "Cli tool"}),
      LinkTarget("readme", "Readme", {"README.md"}, {}),
      LinkTarget("naive", "Na\u00efve", {}, {}),
      LinkTarget("summary", "summary", {}, {}),
  };
  return all;
}

// Two pages sharing a title and a file, and a third title under the first page's href.
const std::vector<LinkTarget> SHARED = {LinkTarget("a", "Foo", {"x.c"}, {}), LinkTarget("b", "Foo", {"x.c"}, {}),
                                        LinkTarget("a", "Bar", {}, {})};

TEST(Autolink, Table) {
  struct Case {
    std::string body, out, page = "home";
    const std::vector<LinkTarget>* links = &targets();
  } cases[] = {
      // What gets linked: the first whole-word, case-sensitive mention of each target.
      {"Uses Config and Config.", "Uses [Config](config.md) and Config."},
      {"config CONFIG Configs preConfig Config_ Config2", "config CONFIG Configs preConfig Config_ Config2"},
      {"Config-based, Na\u00efve", "[Config](config.md)-based, [Na\u00efve](naive.md)"},
      // Unicode word boundaries; an invalid byte is no letter.
      {"\u00e9Config \u0663Config Config\u00e9", "\u00e9Config \u0663Config Config\u00e9"},
      {"\u2014Config\u3000", "\u2014[Config](config.md)\u3000"},
      {"\xFF"
       "Config\xC3",
       "\xFF[Config](config.md)\xC3"},
      // The mention that starts first wins, then the longest; a longer title covers shorter ones.
      {"The Config loader tool", "The [Config loader](loader.md) tool"},
      {"Config loader, Config loader and Config", "[Config loader](loader.md), Config loader and [Config](config.md)"},
      {"Config loader uses Config.", "Config loader uses [Config](config.md).", "loader"},
      // Never the page itself, nor a target already linked.
      {"Config and `src/config.c`", "Config and `src/config.c`", "config"},
      {"[c](config.md) Config", "[c](config.md) Config"},
      {"Config, [c](config.md#usage)", "Config, [c](config.md#usage)"},
      {"[c](./config.md) [c](xconfig.md) Config", "[c](./config.md) [c](xconfig.md) [Config](config.md)"},
      // Shared titles go to the targets in list order; one href is linked once.
      {"Foo Foo Foo", "[Foo](a.md) [Foo](b.md) Foo", "home", &SHARED},
      {"Bar `x.c` Foo", "[Bar](a.md) [`x.c`](b.md) Foo", "home", &SHARED},
      // File spans: a file exactly, a code file also without its extension.
      {"`src/config.c`", "[`src/config.c`](config.md)"},
      {"``src/config`` here", "[``src/config``](config.md) here"},
      {"`README.md` `src/loader` `src/loader.py`", "[`README.md`](readme.md) [`src/loader`](loader.md) `src/loader.py`"},
      {"`README` `src/config.cc` ` src/cli.c `", "`README` `src/config.cc` ` src/cli.c `"},
      {"Config and `src/config.c`", "[Config](config.md) and `src/config.c`"},
      // Fenced and inline code.
      {"```\nConfig\n`src/cli.c`\n```", "```\nConfig\n`src/cli.c`\n```"},
      {"~~~\nConfig\n~~~\nConfig", "~~~\nConfig\n~~~\n[Config](config.md)"},
      {"`Config` and it`s Config", "`Config` and it`s Config"},
      // Links, images, bracketed text, places where a link would not read as one.
      {"[the Config](x.md) [x](Config) [x][Config]", "[the Config](x.md) [x](Config) [x][Config]"},
      {"![Config](c.png) !Config \\Config", "![Config](c.png) !Config \\Config"},
      {"[see `src/cli.c`", "[see [`src/cli.c`](cli.md)"},
      // Autolinks, raw HTML, HTML blocks, bare URLs.
      {"<https://Config.example/x> a <!-- Config --> b", "<https://Config.example/x> a <!-- Config --> b"},
      {"a <span title=\"Config\">b</span> Config", "a <span title=\"Config\">b</span> [Config](config.md)"},
      {"a <b Config\na < Config", "a <b Config\na < [Config](config.md)"},
      {"see https://example.com/Config and www.Config.org", "see https://example.com/Config and www.Config.org"},
      {"<div>\nConfig\n</div>\n\nConfig", "<div>\nConfig\n</div>\n\n[Config](config.md)"},
      // Headings, marker lines and reference definitions.
      {"# Config\n###### Config\n#Config", "# Config\n###### Config\n#[Config](config.md)"},
      {"<!-- wiki:summary -->\nsummary\n<!-- /wiki:summary -->", "<!-- wiki:summary -->\n[summary](summary.md)\n<!-- /wiki:summary -->"},
      {"[ref]: ./Config.md", "[ref]: ./Config.md"},
      // Related and Sources sections, to the next level-1 or level-2 heading outside fences.
      {"## Related\n- Config\n### Sub\nConfig\n\n## Next\nConfig", "## Related\n- Config\n### Sub\nConfig\n\n## Next\n[Config](config.md)"},
      {"## Sources\n```\n## Next\n```\nConfig\n# Top\nConfig", "## Sources\n```\n## Next\n```\nConfig\n# Top\n[Config](config.md)"},
      {"### Related\nConfig", "### Related\n[Config](config.md)"},
      {"## Related pages\nConfig", "## Related pages\n[Config](config.md)"},
      // Indented code: four columns (a tab reaches the next multiple of four) after a blank line,
      // also inside a block quote; an indented line right after a paragraph line continues it.
      {"    Config\n\nConfig", "    Config\n\n[Config](config.md)"},
      {"  \tConfig\n\n>     Config\n\nConfig", "  \tConfig\n\n>     Config\n\n[Config](config.md)"},
      {"Text\n    Config", "Text\n    [Config](config.md)"},
      // In a list item, indentation counts from the item's text: code from four columns past it.
      {"- item\n\n      Config\n\n  Config", "- item\n\n      Config\n\n  [Config](config.md)"},
      {"10. item\n\n       Config", "10. item\n\n       [Config](config.md)"},
      // Code spans and links that run over a line break, within one paragraph.
      {"a `b\nConfig` x\nConfig", "a `b\nConfig` x\n[Config](config.md)"},
      {"`c\n\nConfig`", "`c\n\n[Config](config.md)`"},
      {"[the\nConfig](x.md) [see\nthe docs](docs/Config.md) [a](\nConfig.md) Config",
       "[the\nConfig](x.md) [see\nthe docs](docs/Config.md) [a](\nConfig.md) [Config](config.md)"},
      {"[a](x.md 'the\nConfig') <span\ntitle=\"Config\">b</span> Config",
       "[a](x.md 'the\nConfig') <span\ntitle=\"Config\">b</span> [Config](config.md)"},
      // A backtick run nothing closes leaves the rest of its paragraph alone.
      {"it`s\nConfig\n\nConfig", "it`s\nConfig\n\n[Config](config.md)"},
      // A fence inside a longer fence is code, though the toggle rule leaves it between two fences.
      {"````\n```\nConfig\n```\n````\nConfig", "````\n```\nConfig\n```\n````\n[Config](config.md)"},
      {"~~~\n```\nConfig\n~~~", "~~~\n```\nConfig\n~~~"},
      // HTML blocks: <pre> runs to its closing tag past blank lines; a fence does not end a block.
      {"<pre>\nx\n\nConfig\n</pre>\n\nConfig", "<pre>\nx\n\nConfig\n</pre>\n\n[Config](config.md)"},
      {"<div>\n```\nx\n```\nConfig\n\nConfig", "<div>\n```\nx\n```\nConfig\n\n[Config](config.md)"},
      // A link reference definition may run over three lines.
      {"[r]:\n/url\n\"Config\"\n\nConfig", "[r]:\n/url\n\"Config\"\n\n[Config](config.md)"},
  };
  for (const Case& c : cases) {
    const std::string got = autolink(c.body, *c.links, c.page);
    EXPECT_EQ(got, c.out) << "body: [" << c.body << "] page: " << c.page;
  }
}

TEST(Autolink, NeverLinkedTargets) {
  const std::pair<std::string, std::string> cases[] = {
      // page id, title
      {"blank", " \u3000"}, {"empty", ""},  {"open", "a[b"},    {"close", "a]b"},  {"tick", "a`b"},    {"angle", "a<b"},
      {"newline", "a\nb"},  {"cr", "a\rb"}, {"sp ace", "Fine"}, {"tab\t", "Fine"}, {"paren(", "Fine"}, {"paren)", "Fine"},
  };
  for (const auto& [page_id, title] : cases) {
    const LinkTarget target(page_id, title, {"f.c"}, {});
    const std::string body = std::string("`f.c` ").append(title);
    EXPECT_EQ(autolink(body, {&target, 1}, "home"), body) << "page id: [" << page_id << "] title: [" << title << "]";
  }
}

// Pieces of generated bodies: titles, other prose, file spans, links, code, HTML, odd bytes.
const std::vector<std::string> TITLES = {"Config", "Config loader", "loader", "C++", "Na\u00efve", "x\xFFy", " spaced ", "Go!",
                                         "end\\",  "(paren)",       "\xFF",   "a a", "www",        "Fine",   "a[b",      ""};
const std::vector<std::string> PIECES = {
    // prose and code spans, some naming files
    "the", "Configs", "`src/a.c`", "`src/a`", "``x.py``", "`a`b.c`",
    // links, images, brackets and their pieces
    "[Config](x.md)", "[t](config.md)", "](config.md#s)", "![i](a.png)", "[r][x]", "[", "]", "(", ")", "](",
    // code, HTML and URLs, whole or cut short
    "`", "``", "<b>", "<span a=1", ">", "-->", "<!-- c -->", "<", "https://x.y/Config",
    // odd bytes and punctuation
    "!", "\\", "\xC3", "\u3000"};
const std::vector<std::string> LINES = {
    "```", "~~~",         "# Top", "## Related", "## Sources", "## Other", "<!-- wiki:summary -->", "<div>", "<!-- start",
    "-->", "[r]: Config", ""};
const std::vector<std::string> PAGE_IDS = {"config", "a`b", "a]b", "a<b", "a#b", "x", "sp ace", "pa(r", "", "a\\b"};
const std::vector<std::string> FILES = {"src/a.c", "README.md", "x.py", "a`b.c"};

template <typename T>
const T& pick(std::mt19937& rng, const std::vector<T>& from) {
  return from[rng() % from.size()];
}

TEST(AutolinkProperty, OwnResultIsAFixedPoint) {
  std::mt19937 rng(20240611);
  int changed = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string body;
    for (int line = rng() % 10; line > 0; --line) {
      if (rng() % 4 == 0) body.append(pick(rng, LINES));
      for (int n = rng() % 9; n > 0; --n) body.append(rng() % 2 ? " " : "").append(rng() % 2 ? pick(rng, TITLES) : pick(rng, PIECES));
      body.append("\n");
    }
    std::vector<LinkTarget> links;
    std::string described = std::string("body: [").append(body).append("]");
    for (int n = rng() % 7; n > 0; --n) {
      std::vector<std::string> files;
      for (int f = rng() % 3; f > 0; --f) files.push_back(pick(rng, FILES));
      links.emplace_back(pick(rng, PAGE_IDS), pick(rng, TITLES), files, std::vector<std::string>{});
      described.append("\ntarget: [").append(links.back().page_id).append("] [").append(links.back().title).append("]");
      for (const std::string& f : files) described.append(" [").append(f).append("]");
    }
    const std::string page_id = rng() % 3 == 0 && !links.empty() ? links[0].page_id : "home";
    const std::string once = autolink(body, links, page_id);
    ASSERT_EQ(autolink(once, links, page_id), once) << described << "\npage: " << page_id;
    changed += once != body;
  }
  EXPECT_GT(changed, 2000);  // the generator reaches bodies that get links
}

// A matcher that tries each title at each place, or a scan that restarts at each bracket or
// backtick, would be quadratic here and not finish. Nothing is timed.
TEST(AutolinkLargeInput, NestedTitlesLongLinesAndWindowEnds) {
  std::vector<LinkTarget> nested;  // "a", "a a", "a a a", ...
  std::string title = "a";
  for (int k = 0; k < 2000; ++k, title.append(" a"))
    nested.emplace_back(std::string("t").append(std::to_string(k)), title, std::vector<std::string>{}, std::vector<std::string>{});
  std::string body;
  for (int k = 0; k < 1000000; ++k) body.append("a ");
  const std::string out = autolink(body, nested, "home");
  EXPECT_EQ(out.size(), body.size() + std::string("[](t1999.md)").size());

  const std::vector<LinkTarget> config = {LinkTarget("config", "Config", {"a.c"}, {})};
  for (const std::string unit : {"[", "](", "![a](", "<a ", "[a][", "``a`", "](config.m", "<?", "<a b='", "<!-- --", "<![CDATA[",
                                 "[a](<", "[a](b '", "[x\n", "`x\n", "1. ", "> ", "- a\n\n", "[a]: b\n"}) {
    std::string line;
    while (line.size() < 2000000) line.append(unit);
    const std::string got = autolink(line + " Config", config, "home");
    EXPECT_GE(got.size(), line.size()) << unit;
  }
  // Lists nested deep, then many blank lines: each line is matched against the open blocks.
  std::string deep;
  for (int k = 0; k < 100; ++k) deep.append(std::string(static_cast<std::size_t>(2 * k), ' ')).append("- a\n");
  deep.append(std::string(1000000, '\n')).append("Config");
  EXPECT_GE(autolink(deep, config, "home").size(), deep.size());
  // Long prose may be read in pieces; a mention across a piece's end is still one, the longest.
  for (std::size_t at = (1u << 16) - 14; at <= (1u << 16) + 2; ++at) {
    const std::string filler = std::string(at - 1, 'z') + " ";
    EXPECT_EQ(autolink(filler + "Config loader Config", targets(), "home"), filler + "[Config loader](loader.md) [Config](config.md)")
        << at;
  }
}

TEST(RefreshLinkTexts, FormerTitlesBecomeTheCurrentOne) {
  std::vector<LinkTarget> links = targets();
  links.emplace_back("bad", "a]b", std::vector<std::string>{}, std::vector<std::string>{"Old"});
  // Two targets share an href: a link showing either current title is left as it is.
  links.emplace_back("dup", "New", std::vector<std::string>{}, std::vector<std::string>{"Shared", "Older"});
  links.emplace_back("dup", "Shared", std::vector<std::string>{}, std::vector<std::string>{});
  const std::pair<std::string, std::string> cases[] = {
      {"[Cli tool](cli.md) and [CLI](cli.md).", "[Command line](cli.md) and [Command line](cli.md)."},
      {"# [Settings](config.md) [x [CLI](cli.md) y]", "# [Config](config.md) [x [Command line](cli.md) y]"},
      {"\xFF[CLI](cli.md)\xFE", "\xFF[Command line](cli.md)\xFE"},
      {"[CLI](cli.md#usage) [CLI](./cli.md) [CLI](config.md)", "[CLI](cli.md#usage) [CLI](./cli.md) [CLI](config.md)"},
      {"[cli](cli.md) [ CLI ](cli.md) ![CLI](cli.md) [CLI][cli.md]", "[cli](cli.md) [ CLI ](cli.md) ![CLI](cli.md) [CLI][cli.md]"},
      {"`[CLI](cli.md)`\n```\n[CLI](cli.md)\n```\n[CLI](cli.md)", "`[CLI](cli.md)`\n```\n[CLI](cli.md)\n```\n[Command line](cli.md)"},
      {"[Old](bad.md)", "[Old](bad.md)"},  // the new title would break the link
      {"[Shared](dup.md) [Older](dup.md)", "[Shared](dup.md) [New](dup.md)"},
      // Only a link a CommonMark reader sees: not one in indented code or in an HTML block.
      {"    [CLI](cli.md)\n\n<pre>\n\n[CLI](cli.md)\n</pre>\n\n[CLI](cli.md)",
       "    [CLI](cli.md)\n\n<pre>\n\n[CLI](cli.md)\n</pre>\n\n[Command line](cli.md)"},
  };
  for (const auto& [body, out] : cases) EXPECT_EQ(refresh_link_texts(body, links), out) << body;
  for (const std::string body : {"", "[CLI](cli.md)", "a\r\n\xFF"}) EXPECT_EQ(refresh_link_texts(body, {}), body);
}

TEST(FormerTitles, ReadsTheStringsOfTheStoredList) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {R"({"former_titles": ["A", 1, null, "", ["C"], {"D": 1}, "B"], "title": "T"})", {"A", "", "B"}},
      {R"({"former_titles": "A"})", {}},
      {R"({"title": "T"})", {}},
      {R"(["A", "B"])", {}},
      {"null", {}},
  };
  for (const auto& [json, out] : cases) {
    const StoredRow row = StoredRow::parse(json);
    EXPECT_EQ(former_titles(&row), out) << json;
  }
  EXPECT_EQ(former_titles(nullptr), std::vector<std::string>{});
}

TEST(Renamed, FormerThenShownWithoutTheTitle) {
  struct Case {
    std::vector<std::string> former;
    std::vector<std::optional<std::string>> shown;
    std::string title;
    std::vector<std::string> out;
  } cases[] = {
      {{"A", "T", "B"}, {}, "T", {"A", "B"}},  // the title never stays listed
      {{"A", "B"}, {"B", "C", std::nullopt, "T", "A", "C"}, "T", {"A", "B", "C"}},
      {{}, {std::string(), "a", "A"}, "T", {"", "a", "A"}},  // set though empty; compared exactly
  };
  for (const Case& c : cases) EXPECT_EQ(renamed(c.former, c.shown, c.title), c.out) << "title: " << c.title;
}

}  // namespace
}  // namespace vantorel::workers::wiki
