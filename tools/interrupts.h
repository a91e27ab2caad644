// Interrupts of the wiki-finalize program. Once `catch_interrupts` ran, the first SIGINT or SIGTERM
// only sets a flag, which a run checks between pages: it then removes what it has staged and stops
// with EXIT_INTERRUPTED, leaving every page file whole. A second signal ends the program at once,
// as the default action would.
#pragma once

namespace vantorel::tools {

// Installs the handlers for SIGINT and SIGTERM.
void catch_interrupts();

// Whether an interrupt arrived since `catch_interrupts` (or the last `reset_interrupt`).
bool interrupted() noexcept;

// Forgets an interrupt that arrived; for tests.
void reset_interrupt() noexcept;

}  // namespace vantorel::tools
