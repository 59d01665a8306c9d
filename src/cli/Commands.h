#pragma once

#include "cli/Arguments.h"
#include "cli/Interrupt.h"

namespace kestrel {

// The whole program: returns the exit status.
int runCommandLine(int count, const char *const *words);

// Each returns an exit status. Sentences for people that are no result go to standard error.
int runPlan(const Arguments &arguments, Interrupt &interrupt);
int runConvert(const Arguments &arguments, Interrupt &interrupt);
int runMeasure(const Arguments &arguments, Interrupt &interrupt);
int runClip(const Arguments &arguments, Interrupt &interrupt);
int runDoctor(const Interrupt &interrupt);
} // namespace kestrel
