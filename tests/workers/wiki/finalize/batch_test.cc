// The batch operation against `_finalize` page by page: the same records on generated wikis whose
// plans share files, repeat page ids, name missing related pages and carry renamed titles, on one
// thread and on several. Also the generator's indexed diagram builder against the plain one.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/temp_repository.h"
#include "vantorel/workers/wiki/finalize/page_run.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

namespace vantorel::workers::wiki {
namespace {

constexpr const char* TYPES[] = {"module", "submodule", "guide", "reference", "architecture", "module"};
constexpr const char* WORDS[] = {"Store", "Index", "Cache", "Parser", "Network", "Config", "Loader", "Client", "Server", "Queue"};

struct GeneratedWiki {
  WikiSetup setup;
  std::vector<std::string> texts;       // what each page's author wrote
  std::vector<std::string> groundings;  // each page's grounding
};

std::string path(std::mt19937& rng) { return "src/" + std::string(WORDS[rng() % 10]) + "/f" + std::to_string(rng() % 40) + ".c"; }

GeneratedWiki generate(unsigned seed, std::size_t pages, const test_support::TempRepository& repo) {
  std::mt19937 rng(seed);
  GeneratedWiki w;
  w.setup.repository = repo.root();
  for (std::size_t i = 0; i < pages; ++i) {
    PagePlan plan{.page_id = "p" + std::to_string(i % (pages - 3)),  // the last three ids repeat earlier ones
                  .title = std::string(WORDS[rng() % 10]) + " " + WORDS[rng() % 10],
                  .description = "About page " + std::to_string(i) + ".",
                  .type_id = i == 0 ? "overview" : TYPES[rng() % 6]};
    for (std::size_t f = rng() % 5; f > 0; --f) plan.source_files.push_back(rng() % 4 == 0 ? "./" + path(rng) : path(rng));
    for (std::size_t r = rng() % 4; r > 0; --r) plan.related_pages.push_back("p" + std::to_string(rng() % (pages + 5)));
    if (rng() % 6 == 0) plan.children.push_back("p" + std::to_string(rng() % pages));
    if (rng() % 5 == 0) w.setup.existing[plan.page_id] = {{"title", "Old " + plan.title}, {"former_titles", {"Older " + plan.title}}};
    w.setup.plans.push_back(std::move(plan));
  }
  w.setup.plans[pages / 2].type_id = "other";
  w.setup.plans[pages / 2].catch_all = true;
  for (std::size_t i = 0; i < 60; ++i) {
    const std::string file = path(rng);
    if (i % 3 == 0) repo.write(file, "int f(void) {\n  return 0;\n}\n");
    w.setup.imports[file].push_back(path(rng));
    w.setup.imports[file].push_back("./" + path(rng));
  }
  for (const PagePlan& plan : w.setup.plans) {
    std::string text = "---\nsummary: " + plan.title + " in short.\n---\n\n# " + plan.title + "\n\n";
    for (int k = 0; k < 4; ++k) {
      text += "The " + std::string(WORDS[rng() % 10]) + " " + WORDS[rng() % 10] + " uses `" + path(rng) + "` and [Old " +
              std::string(WORDS[rng() % 10]) + "](p" + std::to_string(rng() % pages) + ".md). See [code](../" + path(rng) + "#L1-L2).\n\n";
    }
    w.texts.push_back(text);
    w.groundings.push_back(rng() % 2 ? "facts: config" : "");
  }
  return w;
}

TEST(FinalizePages, EqualsFinalizingPageByPage) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    const test_support::TempRepository repo;
    GeneratedWiki w = generate(seed, 40 + 7 * seed, repo);
    const WikiGenerator generator(std::move(w.setup));
    const std::vector<Diagram> diagrams = {{.heading = "Dependencies", .mermaid = "flowchart LR\n  a --> b"}};
    std::vector<PageInput> inputs;
    for (std::size_t i = 0; i < generator._plans.size(); ++i) {
      inputs.push_back({.plan = &generator._plans[i],
                        .text = w.texts[i],
                        .diagrams = i % 3 == 0 ? std::span<const Diagram>(diagrams) : std::span<const Diagram>(),
                        .grounding = w.groundings[i],
                        .options = {.seeds = {}, .fill_citations = i % 2 == 0}});
    }
    std::vector<FinalizedPage> expected;
    for (const PageInput& in : inputs) expected.push_back(generator._finalize(*in.plan, in.text, in.diagrams, in.grounding, in.options));

    const std::vector<FinalizedPage> one = generator.finalize_pages(inputs, 1);
    const std::vector<FinalizedPage> three = generator.finalize_pages(inputs, 3);
    ASSERT_EQ(one.size(), expected.size());
    std::size_t with_related = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(one[i], expected[i]) << "seed " << seed << ", page " << i << ":\n" << one[i].markdown << "\n---\n" << expected[i].markdown;
      EXPECT_EQ(three[i], expected[i]) << "seed " << seed << ", page " << i;
      with_related += expected[i].markdown.find("## Related pages") != std::string::npos ? 1 : 0;
    }
    EXPECT_GT(with_related, expected.size() / 3) << "the generated wikis should exercise the related pages";
    // The page run over the batch, on three threads, is the page run through `_finalize`.
    const std::vector<PageRun> runs = generator.run_pages(inputs, 3);
    for (std::size_t i = 0; i < inputs.size(); i += 5) {
      const PageInput& in = inputs[i];
      EXPECT_EQ(runs[i], run_page(generator, *in.plan, in.text, in.diagrams, in.grounding, in.options)) << "seed " << seed << ", page " << i;
      EXPECT_TRUE(runs[i].settled);
    }
    std::size_t drawn = 0;
    for (const PagePlan& plan : generator._plans) {
      const std::vector<Diagram> built = generator._build_diagrams(plan);
      EXPECT_EQ(built, generator.DiagramMixin::_build_diagrams(plan)) << "seed " << seed << ", page " << plan.page_id;
      drawn += built.size();
    }
    EXPECT_GT(drawn, generator._plans.size() / 4) << "the generated wikis should exercise the diagrams";
    const FinalizeBatch batch(generator);
    const std::vector<LinkTarget> targets = generator._link_targets();
    EXPECT_TRUE(std::equal(batch.link_targets().begin(), batch.link_targets().end(), targets.begin(), targets.end()));
  }
}

TEST(FinalizePages, ThrowsTheFirstFailureInPageOrder) {
  std::vector<PagePlan> plans = {{.page_id = "a", .type_id = "module"}, {.page_id = "b", .type_id = "guide"}};
  const WikiGenerator generator({.plans = plans});
  const PagePlan bad{.page_id = "x", .type_id = "no such type"};
  const PagePlan worse{.page_id = "y", .type_id = "nor this one"};
  const std::vector<PageInput> inputs = {{.plan = &generator._plans[0]}, {.plan = &bad}, {.plan = &worse}};
  for (unsigned threads : {1u, 3u}) {
    try {
      generator.finalize_pages(inputs, threads);
      ADD_FAILURE() << "no failure with " << threads << " threads";
    } catch (const std::out_of_range& e) {
      EXPECT_NE(std::string(e.what()).find("'x'"), std::string::npos) << e.what();
    }
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki
