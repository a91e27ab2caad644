// wiki-finalize: finalizes the pages of a wiki folder in place, the way a formatter does, using
// the wiki library's public interface only. See `wiki-finalize --help` and the README.
#include <unistd.h>

#include <iostream>
#include <string_view>
#include <vector>

#include "errors.h"
#include "finalize_run.h"
#include "interrupts.h"
#include "options.h"

#ifndef WIKI_FINALIZE_VERSION
#define WIKI_FINALIZE_VERSION "0.0.0"
#endif

int main(int argc, char** argv) {
  namespace tools = vantorel::tools;
  std::ios::sync_with_stdio(false);
  const std::vector<std::string_view> args(argv + (argc > 0 ? 1 : 0), argv + argc);
  tools::Options options;
  try {
    options = tools::parse_options(args);
  } catch (const tools::UsageError& e) {
    std::cerr << "wiki-finalize: " << e.what() << "\nTry 'wiki-finalize --help' for more information.\n";
    return tools::EXIT_TROUBLE;
  }

  int status = tools::EXIT_OK;
  switch (options.command) {
    case tools::Command::HELP:
      std::cout << tools::help_text();
      break;
    case tools::Command::VERSION:
      std::cout << "wiki-finalize " << WIKI_FINALIZE_VERSION << '\n';
      break;
    case tools::Command::FINALIZE:
      tools::catch_interrupts();
      status = tools::run_finalize(options, std::cout, std::cerr, ::isatty(STDERR_FILENO) == 1);
      break;
    default:
      status = tools::run_query(options, std::cout, std::cerr);
  }
  std::cout.flush();
  if (!std::cout) {
    std::cerr << "wiki-finalize: cannot write to standard output\n";
    return tools::EXIT_TROUBLE;
  }
  return status;
}
