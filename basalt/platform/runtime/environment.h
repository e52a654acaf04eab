#ifndef BASALT_PLATFORM_RUNTIME_ENVIRONMENT_H
#define BASALT_PLATFORM_RUNTIME_ENVIRONMENT_H

// The process environment as Windows reads it: names match in any case.

namespace basalt::platform {

// The value of the variable of that name: an exact match first, else the first variable
// whose name differs only in case. Null when there is none or name is null.
const char* getenv(const char* name);

} // namespace basalt::platform

#endif
