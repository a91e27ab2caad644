// The rules an agent receives for the page it writes.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {

// The rules for a page of `page_type` over `source_files` (as the plan lists them), as sentences,
// in the order an agent should read them.
std::vector<std::string> session_rules(const PageType& page_type, std::span<const std::string> source_files);

}  // namespace vantorel::workers::wiki
