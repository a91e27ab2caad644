// Reading manifests: large objects are read through an index, with the same result as a plain
// reader, a repeated key included (the later value wins).
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "wiki_folder.h"

namespace vantorel::tools {
namespace {

TEST(ParseManifest, LargeAndSmallObjectsReadAsAPlainReaderReadsThem) {
  for (const int rows : {3, 40}) {
    std::string text = "{";
    for (int i = 0; i < rows; ++i) text.append("\"p").append(std::to_string(i)).append("\": {\"title\": \"T").append(std::to_string(i)).append("\", \"b\": [1, {\"x\": null}]},");
    text.append("\"p1\": {\"title\": \"later\", \"z\": 1, \"a\": 2}}");
    const StoredRows read = parse_manifest(text, "manifest.json");
    const nlohmann::ordered_json plain = nlohmann::ordered_json::parse(text);
    ASSERT_EQ(read.size(), plain.size()) << rows;
    for (const auto& [id, row] : plain.items()) {
      ASSERT_TRUE(read.contains(id)) << id;
      EXPECT_EQ(read.at(id).dump(), row.dump()) << id;  // the same members in the same order
    }
    EXPECT_EQ(read.at("p1").dump(), R"({"title":"later","z":1,"a":2})");
  }
}

}  // namespace
}  // namespace vantorel::tools
