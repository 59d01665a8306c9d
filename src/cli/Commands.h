#pragma once

#include "cli/Arguments.h"
#include "cli/FolderPlan.h"
#include "cli/Interrupt.h"

namespace kestrel {

// The whole program: returns the exit status.
int runCommandLine(int count, const char *const *words);

// Each returns an exit status. Sentences for people that are no result go to standard error.
int runPlan(const Arguments &arguments, const Interrupt &interrupt);
int runConvert(const Arguments &arguments, const Interrupt &interrupt);
int runMeasure(const Arguments &arguments, const Interrupt &interrupt);
int runDoctor(const Interrupt &interrupt);

// Locates the tools, checks the settings against them, searches the folder and plans it. Throws
// UsageError, ToolError or Cancelled.
struct Prepared {
    Tools tools;
    ConversionSettings settings;
    FolderPlan plan;
};
Prepared prepare(const Arguments &arguments, std::stop_token stop);

} // namespace kestrel
