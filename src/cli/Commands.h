#pragma once

#include <functional>

#include "cli/Arguments.h"
#include "cli/Interrupt.h"

namespace kestrel {

// Shows the window until it is closed, with an application object of its own; returns the exit status.
using RunWindow = std::function<int(const Arguments &)>;

// Runs the whole program and returns the exit status. Commands for a window are passed to `runWindow`.
int runCommandLine(int count, const char *const *words, const RunWindow &runWindow);

// Each returns an exit status. Sentences for people that are no result are written to standard error.
int runPlan(const Arguments &arguments, Interrupt &interrupt);
int runConvert(const Arguments &arguments, Interrupt &interrupt);
int runMeasure(const Arguments &arguments, Interrupt &interrupt);
int runClip(const Arguments &arguments, Interrupt &interrupt);
int runScore(const Arguments &arguments, const Interrupt &interrupt);
int runDoctor(const Interrupt &interrupt);
} // namespace kestrel
