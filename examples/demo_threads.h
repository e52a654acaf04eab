#ifndef BASALT_EXAMPLES_DEMO_THREADS_H
#define BASALT_EXAMPLES_DEMO_THREADS_H

namespace demo {

// Sums ranges of numbers on a pool of two workers, one request each, and cancels one that
// watches its stop flag.
void showThreadPool();

// Faults on a thread that the library started, with tracing switched on by the sample
// registry: the fault arrives as an error, and the frames of its stack report are printed.
void showCrashTranslation();

} // namespace demo

#endif
