#include "vantorel/workers/report_generator/report_generator.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "support/temp_repository.h"

namespace vantorel::workers {

void PrintTo(const FileFacts& f, std::ostream* os) { *os << "{" << f.path << ", symbols " << f.symbols << ", loc " << f.loc << "}"; }

namespace {

TEST(FileFacts, CountsLinesInPathOrderLeavingOutWhatItCannotRead) {
  const test_support::TempRepository repo;
  // In path order; only h.py is read as a language with definitions.
  struct Case {
    std::string path, text;
    int symbols, loc;
  } cases[] = {{"a.txt", "", 0, 0},       {"b.txt", "\n", 0, 1},     {"c.txt", "a", 0, 1},      {"d.txt", "a\n", 0, 1},
               {"e.txt", "a\r\nb", 0, 2}, {"f.txt", "\n\n\n", 0, 3}, {"g.txt", "a\rb\r", 0, 1}, {"h.py", "class A:\n  def f():", 2, 2}};
  std::set<std::string, std::less<>> paths = {"missing.c", "sub", "sub/../a.txt", "/etc/hostname", ""};
  std::vector<FileFacts> expected;
  for (const Case& c : cases) {
    repo.write(c.path, c.text);
    paths.insert(c.path);
    expected.push_back({.path = c.path, .symbols = c.symbols, .loc = c.loc});
  }
  repo.write("sub/s.txt", "x\n");
  EXPECT_EQ(file_facts(repo.root(), paths), expected);
}

TEST(FileFacts, SymbolLinesPerLanguage) {
  struct Case {
    std::string path;                  // its extension gives the language
    std::vector<std::string> symbols;  // lines that define something
    std::vector<std::string> others;   // lines that do not
  } cases[] = {
      {"a.C",
       {"int main(int argc, char **argv) {", "std::vector<int> Parser::parse(std::string_view s) const {",
        "void Parser::run() const override", "Parser::~Parser() {\r", "do_work(void) {", "  class Parser : public Base {",
        "union value { int i; float f; };", "typedef unsigned long size_type;", "#  define DEBUG 1"},
       {"int f(void);", "  int f(void) {", "if (x) {", "return f(x)", "x = f(y)", "struct point;", "structure_t x;", "#include <stdio.h>"}},
      {"a.pyi",
       {"def main():", "    def method(self):", "async def fetch(url):", "class Parser(Base):"},
       {"class_name = 'x'", "define = 1"}},
      {"a.rs",
       {"fn main() {", "pub(crate) struct Token;", "pub async unsafe fn run() {}", "extern \"C\" fn callback() {}",
        "impl<T> Display for Wrapper<T> {", "trait Visitor {"},
       {"let fn_ptr = f;", "const MAX: usize = 3;", "use std::fmt;"}},
      {"a.go", {"func (p *Parser) Parse() error {", "type Parser struct {"}, {"\tgo func() {", "functional := true"}},
      {"a.tsx",
       {"export default async function main() {", "export abstract class Node {", "interface Options {", "export type Id = string;",
        "export const VERSION = 3;", "const parse = (text) => {", "var f = function () {"},
       {"const limit = 3;", "parse(text);", "typeof x === 'string'"}},
      {"A.java",
       {"public class Parser {", "  public static void main(String[] args) {", "  public Parser(int size) {", "public @interface Marker {"},
       {"  private int size;", "  public abstract void run();", "  return parse(x);"}},
      {"a.kts",
       {"    private suspend fun load() {", "data class Point(val x: Int)", "  companion object {", "typealias Ids = List<Int>"},
       {"val funny = 1"}},
      {"README.md", {}, {"def main():", "int main(void) {"}}};
  for (const Case& c : cases) {
    const detail::Language language = detail::language_of(c.path);
    for (const std::string& line : c.symbols) EXPECT_TRUE(detail::is_symbol_line(language, line)) << c.path << ": " << line;
    for (const std::string& line : c.others) EXPECT_FALSE(detail::is_symbol_line(language, line)) << c.path << ": " << line;
  }
}

}  // namespace
}  // namespace vantorel::workers
