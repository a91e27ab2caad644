#include "interrupts.h"

#include <atomic>
#include <csignal>

namespace vantorel::tools {

namespace {

std::atomic<bool> arrived{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the flag is set from a signal handler");

extern "C" void on_interrupt(int) { arrived.store(true, std::memory_order_relaxed); }

}  // namespace

void catch_interrupts() {
  struct sigaction action {};
  action.sa_handler = on_interrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESETHAND;  // the handler runs once; the next signal has its default action
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() noexcept { return arrived.load(std::memory_order_relaxed); }

void reset_interrupt() noexcept { arrived.store(false, std::memory_order_relaxed); }

}  // namespace vantorel::tools
