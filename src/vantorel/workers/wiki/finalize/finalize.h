// The finalize step of the wiki generator: turns the prose an author wrote for one page into the
// finished Markdown page, and writes everything code puts around that prose.
//
// This header declares the component's public surface; include it rather than the headers of
// its families of functions.
#pragma once

#include "vantorel/workers/wiki/finalize/blocks.h"
