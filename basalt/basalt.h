#ifndef BASALT_BASALT_H
#define BASALT_BASALT_H

// The whole exported interface of basalt.

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/automation_strings.h"
#include "basalt/text/kelp_string.h"

#endif
