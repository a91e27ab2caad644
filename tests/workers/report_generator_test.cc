#include "vantorel/workers/report_generator/report_generator.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace vantorel::workers {
namespace {

namespace fs = std::filesystem;
using detail::Language;

// A scratch repository in a fresh temporary folder, removed again at the end of the test.
class TempRepo {
 public:
  TempRepo() {
    std::random_device seed;
    std::string name = "vantorel-facts-";
    name.append(std::to_string(seed())).append("-").append(std::to_string(seed()));
    root_ = fs::temp_directory_path() / name;
    fs::create_directories(root_);
  }
  ~TempRepo() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }
  TempRepo(const TempRepo&) = delete;
  TempRepo& operator=(const TempRepo&) = delete;

  void write(const std::string& path, const std::string& content) const {
    const fs::path file = root_ / path;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }
  const fs::path& root() const { return root_; }

 private:
  fs::path root_;
};

TEST(FileFactsLanguage, ByExtension) {
  struct Case {
    std::string path;
    Language language;
  } cases[] = {
      {"src/a.c", Language::C_FAMILY},   {"inc/a.H", Language::C_FAMILY},   {"a.hpp", Language::C_FAMILY},   {"a.c++", Language::C_FAMILY},
      {"x.py", Language::PYTHON},        {"x.pyi", Language::PYTHON},       {"lib.rs", Language::RUST},      {"main.go", Language::GO},
      {"app.tsx", Language::JAVASCRIPT}, {"app.MJS", Language::JAVASCRIPT}, {"A.java", Language::JAVA},      {"b.kts", Language::KOTLIN},
      {"README.md", Language::OTHER},    {"Makefile", Language::OTHER},     {"dir.c/file", Language::OTHER}, {".c", Language::C_FAMILY},
      {"a.", Language::OTHER},           {"a.cs", Language::OTHER},
  };
  for (const Case& c : cases) EXPECT_EQ(detail::language_of(c.path), c.language) << c.path;
}

TEST(FileFactsSymbols, LinesPerLanguage) {
  struct Case {
    Language language;
    std::vector<std::string> symbols;  // lines that define something
    std::vector<std::string> others;   // lines that do not
  } cases[] = {
      // C and C++: function headers at column 0, type and macro definitions anywhere.
      {Language::C_FAMILY,
       {"int main(int argc, char **argv) {", "static const char *name(void)", "std::vector<int> Parser::parse(std::string_view s) const {",
        "void Parser::run() const override", "Parser::~Parser() {\r", "void f(void) {  ", "do_work(void) {", "struct point {",
        "  class Parser : public Base {", "enum class Color : int {", "union value { int i; float f; };",
        "typedef unsigned long size_type;", "#define MAX(a, b) ((a) > (b) ? (a) : (b))", "#  define DEBUG 1"},
       {"int f(void);", "  int f(void) {", "if (x) {", "while (x)", "return f(x)", "x = f(y)", "struct point;", "struct point origin;",
        "structure_t x;", "#include <stdio.h>", "// int f(void) {"}},
      // Python.
      {Language::PYTHON,
       {"def main():", "    def method(self):", "async def fetch(url):", "class Parser(Base):"},
       {"class_name = 'x'", "define = 1", "# def commented():"}},
      // Rust.
      {Language::RUST,
       {"fn main() {", "    pub fn new() -> Self {", "pub(crate) struct Token;", "pub async unsafe fn run() {}",
        "const fn size() -> usize {", "extern \"C\" fn callback() {}", "impl<T> Display for Wrapper<T> {", "pub enum Kind {",
        "trait Visitor {"},
       {"let fn_ptr = f;", "const MAX: usize = 3;", "use std::fmt;"}},
      // Go.
      {Language::GO,
       {"func main() {", "func (p *Parser) Parse() error {", "type Parser struct {"},
       {"\tgo func() {", "functional := true"}},
      // JavaScript and TypeScript.
      {Language::JAVASCRIPT,
       {"function parse(text) {", "export default async function main() {", "export class Parser {", "export abstract class Node {",
        "  class Inner {", "interface Options {", "export type Id = string;", "export const VERSION = 3;", "const parse = (text) => {",
        "let run = async () => {", "var f = function () {"},
       {"const limit = 3;", "parse(text);", "typeof x === 'string'"}},
      // Java.
      {Language::JAVA,
       {"public class Parser {", "final class Token {", "  public static void main(String[] args) {", "  private List<String> names() {",
        "  public Parser(int size) {", "public @interface Marker {"},
       {"  private int size;", "  public abstract void run();", "  private final Map<A, B> m = new HashMap<>(", "  return parse(x);"}},
      // Kotlin.
      {Language::KOTLIN,
       {"fun main() {", "    private suspend fun load() {", "data class Point(val x: Int)", "enum class Color {", "  companion object {",
        "typealias Ids = List<Int>"},
       {"val funny = 1"}},
      // Other files define nothing.
      {Language::OTHER, {}, {"def main():", "int main(void) {"}},
  };
  for (const Case& c : cases) {
    for (const std::string& line : c.symbols) EXPECT_TRUE(detail::is_symbol_line(c.language, line)) << line;
    for (const std::string& line : c.others) EXPECT_FALSE(detail::is_symbol_line(c.language, line)) << line;
  }
}

TEST(FileFacts, LineCounts) {
  const TempRepo repo;
  struct Case {
    std::string content;
    int loc;
  } cases[] = {
      {"", 0}, {"\n", 1}, {"a", 1}, {"a\n", 1}, {"a\nb", 2}, {"a\nb\n", 2}, {"\n\n\n", 3}, {"a\r\nb\r\n", 2}, {"a\rb\r", 1},
  };
  for (const Case& c : cases) {
    repo.write("f.txt", c.content);
    const std::vector<FileFacts> out = file_facts(repo.root(), {"f.txt"});
    ASSERT_EQ(out.size(), 1u) << c.content;
    EXPECT_EQ(out[0], (FileFacts{.path = "f.txt", .symbols = 0, .loc = c.loc})) << c.content;
  }
}

TEST(FileFacts, PathsInOrderUnusableLeftOut) {
  const TempRepo repo;
  repo.write("src/parse.c",
             "#include \"parse.h\"\n"
             "\n"
             "struct state {\n"
             "  int depth;\n"
             "};\n"
             "\n"
             "static int depth(const struct state *s) {\n"
             "  if (s) {\n"
             "    return s->depth;\n"
             "  }\n"
             "  return 0;\n"
             "}\n"
             "int parse(const char *text);");
  repo.write("tool.py", "import sys\n\nclass Tool:\n    def run(self):\n        pass\n\nasync def main():\n    pass\n");
  repo.write("README.md", "# def x():\nclass Foo:\n");
  repo.write("inside/dir/keep.go", "package x\n");
  fs::create_directories(repo.root() / "folder.c");
  const std::vector<FileFacts> out =
      file_facts(repo.root(), {"tool.py", "src/parse.c", "README.md", "missing.c", "folder.c", "", "../outside.c", "inside/../tool.py"});
  EXPECT_EQ(out, (std::vector<FileFacts>{
                     {.path = "README.md", .symbols = 0, .loc = 2},
                     {.path = "src/parse.c", .symbols = 2, .loc = 13},
                     {.path = "tool.py", .symbols = 3, .loc = 8},
                 }));
  EXPECT_TRUE(file_facts(repo.root(), {}).empty());
}

}  // namespace
}  // namespace vantorel::workers
