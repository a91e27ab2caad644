#include <iostream>

#include "vantorel/workers/wiki/finalize/finalize.h"

int main() {
  namespace wiki = vantorel::workers::wiki;
  std::cout << wiki::strip_generated("a\n<!-- wiki:footer -->\nx\n<!-- /wiki:footer -->\nb") << "\n";
}
