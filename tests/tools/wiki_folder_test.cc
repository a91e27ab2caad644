#include "wiki_folder.h"

#include <gtest/gtest.h>

#include "errors.h"
#include "json_locations.h"

namespace vantorel::tools {
namespace {

using Json = nlohmann::ordered_json;

// `marked` without its "^", and the location the "^" marked.
std::pair<std::string, Location> unmark(std::string_view marked) {
  const std::size_t at = marked.find('^');
  std::string text(marked);
  text.erase(at, 1);
  return {text, location_of(text, at)};
}

std::string at(std::string_view file, Location where) {
  return std::string(file) + ":" + std::to_string(where.line) + ":" + std::to_string(where.column) + ": ";
}

// --- Locations ------------------------------------------------------------------------------

TEST(LocationOf, CountsLinesAndBytes) {
  EXPECT_EQ(location_of("ab\ncd", 0), (Location{1, 1}));
  EXPECT_EQ(location_of("ab\ncd", 2), (Location{1, 3}));
  EXPECT_EQ(location_of("ab\ncd", 3), (Location{2, 1}));
  EXPECT_EQ(location_of("\xC3\xA9x", 2), (Location{1, 3}));
  EXPECT_EQ(location_of("ab", 99), (Location{1, 3}));
}

TEST(JsonLocations, FindsValuesAndKeysByPointer) {
  const std::string text = "{\n  \"pages\": [\n    {\"page_id\": \"cli\", \"a/b~\": [1, {}]},\n    7\n  ],\n  \"x\": null\n}\n";
  const JsonLocations where(text);
  auto find = [&](std::string_view token, std::size_t skip = 0) { return location_of(text, text.find(token, skip)); };
  EXPECT_EQ(where.value(""), (Location{1, 1}));
  EXPECT_EQ(where.value("/pages"), find("["));
  EXPECT_EQ(where.key("/pages"), find("\"pages\""));
  EXPECT_EQ(where.value("/pages/0"), find("{\"page_id\""));
  EXPECT_EQ(where.value("/pages/0/page_id"), find("\"cli\""));
  EXPECT_EQ(where.key("/pages/0/page_id"), find("\"page_id\""));
  EXPECT_EQ(where.value("/pages/0/a~1b~0"), find("[1"));
  EXPECT_EQ(where.value("/pages/0/a~1b~0/1"), find("{}"));
  EXPECT_EQ(where.value("/pages/1"), find("7"));
  EXPECT_EQ(where.value("/x"), find("null"));
  EXPECT_EQ(where.value("/pages/2"), std::nullopt);
  EXPECT_EQ(where.key("/pages/1"), std::nullopt);
  EXPECT_EQ(where.repeated_key(), std::nullopt);
}

TEST(JsonLocations, EscapedKeysAndAByteOrderMark) {
  const std::string text = "\xEF\xBB\xBF{\"a\\u0062\": \"x\\\"y\", \"c\": 1}";
  const JsonLocations where(text);
  EXPECT_EQ(where.value("/ab"), location_of(text, text.find("\"x")));
  EXPECT_EQ(where.value("/c"), location_of(text, text.find("1")));
}

TEST(JsonLocations, ARepeatedKeyIsFound) {
  const std::string text = R"({"a": {"b": 1, "c": 2, "b": 3}, "a": 4})";
  const auto repeated = JsonLocations(text).repeated_key();
  ASSERT_TRUE(repeated.has_value());
  EXPECT_EQ(repeated->pointer, "/a/b");
  EXPECT_EQ(repeated->key, location_of(text, text.rfind("\"b\"")));
  EXPECT_EQ(JsonLocations(R"([{"b": 1}, {"b": 2}])").repeated_key(), std::nullopt);
}

TEST(JsonLocations, TextThatIsNotJsonNeverHangsOrCrashes) {
  for (std::string_view text : {"", "{", "[1,", "{\"a\" 1}", "[}", "{\"a\":", "\"open", "[[[[", "]]]", "{,}", "[:]"}) {
    const JsonLocations where(text);
    (void)where.value("");
  }
}

TEST(PointerStep, EscapesTildeAndSlash) { EXPECT_EQ(pointer_step("a/b~c"), "a~1b~0c"); }

// --- wiki.json ------------------------------------------------------------------------------

TEST(PlainPageId, OnlyFileNamesInsideTheFolder) {
  for (std::string_view id : {"cli", "a.b", "a b", ".hidden", "page-1", "\xC3\xA9"}) EXPECT_TRUE(is_plain_page_id(id)) << id;
  using namespace std::string_view_literals;
  for (std::string_view id : {""sv, "a/b"sv, "/abs"sv, "a\\b"sv, ".."sv, "a..b"sv, "..x"sv, "a\0b"sv}) {
    EXPECT_FALSE(is_plain_page_id(id)) << id;
  }
}

TEST(ParseWikiJson, ReadsEveryFieldAndDefaultsTheOptionalOnes) {
  const WikiFile wiki = parse_wiki_json(R"({
    "config": {"diagrams": false, "sequence_diagrams": true},
    "imports": {"src/a.c": ["src/a.h"]},
    "pages": [
      {"page_id": "a", "title": "A", "description": "About A.", "type": "module", "source_files": ["src/a.c"],
       "catch_all": false, "children": ["b"], "related_pages": ["b"], "importance": "high", "grounding": "facts: cli",
       "seeds": [{"path": "src/a.c", "start": 1, "end": 2}]},
      {"page_id": "b", "title": "B", "type": "other"}
    ]})",
                                        "wiki.json");
  EXPECT_EQ(wiki.config, (wiki::WikiConfig{.diagrams = false, .sequence_diagrams = true}));
  EXPECT_EQ(wiki.imports, (wiki::ImportMap{{"src/a.c", {"src/a.h"}}}));
  ASSERT_EQ(wiki.pages.size(), 2u);
  EXPECT_EQ(wiki.pages[0].plan, (wiki::PagePlan{.page_id = "a",
                                                .title = "A",
                                                .description = "About A.",
                                                .source_files = {"src/a.c"},
                                                .children = {"b"},
                                                .related_pages = {"b"},
                                                .importance = "high",
                                                .type_id = "module"}));
  EXPECT_EQ(wiki.pages[0].grounding, "facts: cli");
  ASSERT_EQ(wiki.pages[0].seeds.size(), 1u);
  EXPECT_EQ(wiki.pages[0].seeds[0].dump(), R"({"path":"src/a.c","start":1,"end":2})");
  EXPECT_EQ(wiki.pages[1], (PageEntry{.plan = {.page_id = "b", .title = "B", .type_id = "other"}}));
  EXPECT_TRUE(wiki.warnings.empty());

  const WikiFile minimal = parse_wiki_json(R"({"pages": []})", "wiki.json");
  EXPECT_EQ(minimal.config, wiki::WikiConfig{});
  EXPECT_TRUE(minimal.pages.empty());
}

TEST(ParseWikiJson, UnknownPageIdsInListsAreWarnedAbout) {
  const std::string text = R"({"pages": [{"page_id": "a", "title": "A", "type": "guide", "related_pages": ["a", "nope"]}]})";
  const WikiFile wiki = parse_wiki_json(text, "w.json");
  ASSERT_EQ(wiki.warnings.size(), 1u);
  EXPECT_EQ(wiki.warnings[0],
            at("w.json", location_of(text, text.find("\"nope\""))) + "pages[0].related_pages[1]: no page has the id 'nope'");
}

// Each case marks with "^" where the message must point.
TEST(ParseWikiJson, BadInputIsRefusedWithItsLocation) {
  struct Case {
    std::string_view marked;
    std::string_view message;
  };
  static const Case cases[] = {
      {R"({"pages": [^}])", "not valid JSON: syntax error while parsing value"},
      {"^", "not valid JSON: syntax error while parsing value"},
      {R"(^[])", "the top level must be an object, not an array"},
      {R"(^{"config": {}})", "the top level lacks the required field 'pages'"},
      {R"({"pages": ^{}})", "pages must be an array of page objects, not an object"},
      {R"({"pages": [], ^"extra": 1})", "the top level has an unknown field 'extra' (known: config, imports, pages)"},
      {R"({"config": {"diagrams": ^"yes"}, "pages": []})", "config.diagrams must be true or false, not a string"},
      {R"({"config": {^"diagram": true}, "pages": []})", "config has an unknown field 'diagram' (known: diagrams, sequence_diagrams)"},
      {R"({"imports": {"a.c": ^"b.h"}, "pages": []})", "imports.a.c must be an array of strings, not a string"},
      {R"({"imports": {"a.c": ["b.h", ^2]}, "pages": []})", "imports.a.c[1] must be a string, not a number"},
      {R"({"pages": [^3]})", "pages[0] must be an object, not a number"},
      {R"({"pages": [^{"title": "A", "type": "guide"}]})", "pages[0] lacks the required field 'page_id'"},
      {R"({"pages": [{"page_id": ^7, "title": "A", "type": "guide"}]})", "pages[0].page_id must be a string, not a number"},
      {R"({"pages": [{"page_id": "a", "title": ^null, "type": "guide"}]})", "pages[0].title must be a string, not null"},
      {R"({"pages": [{"page_id": "a", "title": "A", "type": "guide", "source_files": ^"a.c"}]})",
       "pages[0].source_files must be an array of strings, not a string"},
      {R"({"pages": [{"page_id": "a", "title": "A", "type": "guide", "catch_all": ^1}]})",
       "pages[0].catch_all must be true or false, not a number"},
      {R"({"pages": [{"page_id": "a", "title": "A", "type": "guide", "seeds": [^"a.c"]}]})",
       "pages[0].seeds[0] must be an object, not a string"},
      {R"({"pages": [{"page_id": "a", "title": "A", "type": "guide", ^"tilte": "B"}]})",
       "pages[0] has an unknown field 'tilte' (known: page_id"},
      {R"({"pages": [{"page_id": "a", "title": "A", "type": ^"tutorial"}]})",
       "unknown page type 'tutorial' (known: overview, module, submodule, architecture, guide, reference, other)"},
      {R"({"pages": [{"page_id": ^"", "title": "A", "type": "guide"}]})", "page id '' is not a plain file name"},
      {R"({"pages": [{"page_id": ^"a/b", "title": "A", "type": "guide"}]})", "page id 'a/b' is not a plain file name"},
      {R"({"pages": [{"page_id": ^"..", "title": "A", "type": "guide"}]})", "page id '..' is not a plain file name"},
      {R"({"pages": [{"page_id": ^"a\\b", "title": "A", "type": "guide"}]})", "is not a plain file name"},
      {R"({"pages": [{"page_id": ^"a\u0000b\n", "title": "A", "type": "guide"}]})", "page id 'a\\x00b\\x0A' is not a plain file name"},
      {R"({"pages": [{"page_id": "a", "title": "A", "type": "guide"},
                     {"page_id": ^"a", "title": "B", "type": "guide"}]})",
       "page id 'a' is used twice (first on line 1)"},
      {R"({"pages": [{"page_id": "a", "title": "A", ^"title": "B", "type": "guide"}]})", "the key 'title' appears twice in one object"},
  };
  for (const Case& c : cases) {
    const auto [text, where] = unmark(c.marked);
    try {
      parse_wiki_json(text, "wiki/wiki.json");
      ADD_FAILURE() << "accepted: " << text;
    } catch (const InputError& e) {
      const std::string message = e.what();
      const std::string prefix = at("wiki/wiki.json", where);
      EXPECT_TRUE(message.starts_with(prefix)) << message << "\nexpected at " << prefix;
      EXPECT_NE(message.find(c.message), std::string::npos) << message;
    }
  }
}

// --- The manifest ---------------------------------------------------------------------------

TEST(ParseManifest, RowsByPageIdAndRefusals) {
  const StoredRows rows = parse_manifest(R"({"a": {"title": "A", "former_titles": ["Old"]}, "b": {}})", "m.json");
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows.at("a").dump(), R"({"title":"A","former_titles":["Old"]})");
  EXPECT_TRUE(parse_manifest("{}", "m.json").empty());

  for (std::string_view marked : {std::string_view(R"({"a": ^[]})"), std::string_view("^[]"), std::string_view("{\"a\": {}^")}) {
    const auto [text, where] = unmark(marked);
    try {
      parse_manifest(text, "m.json");
      ADD_FAILURE() << "accepted: " << text;
    } catch (const InputError& e) {
      EXPECT_TRUE(std::string_view(e.what()).starts_with(at("m.json", where))) << e.what();
    }
  }
}

TEST(ManifestText, OneRowPerPageInPlanOrderWithFixedKeys) {
  const std::vector<PageEntry> pages = {{.plan = {.page_id = "z", .title = "Zed"}}, {.plan = {.page_id = "a", .title = "A"}}};
  const std::vector<wiki::FinalizedPage> finalized = {
      {.summary = "Z.", .own_citations = {{{"path", "z.c"}}}, .citations = {{{"path", "z.c"}}, {{"path", "y.c"}}}, .outline = {"purpose"}},
      {.summary = "bad \xFF byte"}};
  const std::vector<wiki::LinkTarget> targets = {{"z", "Zed", {}, {"Old zed"}}, {"a", "A", {}, {}}};
  const std::string text = manifest_text(pages, finalized, targets);
  EXPECT_EQ(text,
            "{\n"
            "  \"z\": {\n"
            "    \"title\": \"Zed\",\n"
            "    \"summary\": \"Z.\",\n"
            "    \"citations\": [\n      {\n        \"path\": \"z.c\"\n      },\n      {\n        \"path\": \"y.c\"\n      }\n    ],\n"
            "    \"own_citations\": [\n      {\n        \"path\": \"z.c\"\n      }\n    ],\n"
            "    \"outline\": [\n      \"purpose\"\n    ],\n"
            "    \"former_titles\": [\n      \"Old zed\"\n    ]\n"
            "  },\n"
            "  \"a\": {\n"
            "    \"title\": \"A\",\n"
            "    \"summary\": \"bad \xEF\xBF\xBD byte\",\n"
            "    \"citations\": [],\n"
            "    \"own_citations\": [],\n"
            "    \"outline\": [],\n"
            "    \"former_titles\": []\n"
            "  }\n"
            "}\n");
  // What a run writes, the next run reads back as its stored rows.
  const StoredRows rows = parse_manifest(text, "m.json");
  EXPECT_EQ(wiki::former_titles(&rows.at("z")), std::vector<std::string>{"Old zed"});
  EXPECT_EQ(manifest_text({}, {}, {}), "{}\n");
}

}  // namespace
}  // namespace vantorel::tools
