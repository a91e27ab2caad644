// Facts of one repository file, as the catch-all page's file table shows them.
#pragma once

#include <string>

namespace vantorel::workers {

struct FileFacts {
  std::string path{};  // repository path
  int symbols = 0;     // number of symbols the file defines
  int loc = 0;         // number of lines

  bool operator==(const FileFacts&) const = default;
};

}  // namespace vantorel::workers
