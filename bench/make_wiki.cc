// vantorel_make_wiki FOLDER PAGES: writes a generated wiki of PAGES pages as a repository folder
// the wiki-finalize program can run on: FOLDER/wiki/wiki.json, one FOLDER/wiki/<page_id>.md per
// page holding what its author wrote, and the files the catch-all page lists.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "page_data.h"

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  namespace bench = vantorel::bench;
  if (argc != 3) {
    std::fprintf(stderr, "usage: vantorel_make_wiki FOLDER PAGES\n");
    return 2;
  }
  const fs::path root(argv[1]);
  const std::size_t pages = std::strtoul(argv[2], nullptr, 10);
  if (pages < 8) {
    std::fprintf(stderr, "vantorel_make_wiki: a generated wiki has at least 8 pages\n");
    return 2;
  }
  const bench::GeneratedWiki generated = bench::generated_wiki(pages);
  fs::create_directories(root / "wiki");
  bench::write_catch_all_files(root);

  nlohmann::ordered_json imports = nlohmann::ordered_json::object();
  for (const auto& [file, imported] : generated.setup.imports) imports[file] = imported;
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < pages; ++i) {
    const bench::wiki::PagePlan& plan = generated.setup.plans[i];
    nlohmann::ordered_json page = {{"page_id", plan.page_id}, {"title", plan.title}, {"type", plan.type_id}, {"description", plan.description}};
    if (!plan.source_files.empty()) page["source_files"] = plan.source_files;
    if (plan.catch_all) page["catch_all"] = true;
    if (!plan.children.empty()) page["children"] = plan.children;
    if (!plan.related_pages.empty()) page["related_pages"] = plan.related_pages;
    page["importance"] = plan.importance;
    page["grounding"] = "facts: config, cli";
    list.push_back(std::move(page));
    std::ofstream(root / "wiki" / (plan.page_id + ".md"), std::ios::binary) << generated.texts[i];
  }
  const nlohmann::ordered_json wiki = {{"config", {{"diagrams", true}}}, {"imports", std::move(imports)}, {"pages", std::move(list)}};
  std::ofstream(root / "wiki" / "wiki.json", std::ios::binary) << wiki.dump(1) << '\n';
  return 0;
}
