#ifndef BASALT_BASALT_H
#define BASALT_BASALT_H

// The whole exported interface of basalt.

#include "basalt/concurrency/cond_args.h"
#include "basalt/concurrency/flag.h"
#include "basalt/concurrency/marlow_thread_library.h"
#include "basalt/concurrency/marlow_verbose_synchronized.h"
#include "basalt/concurrency/pavane_condition.h"
#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/concurrency/pavane_thread.h"
#include "basalt/concurrency/read_write_lock.h"
#include "basalt/concurrency/request_queue.h"
#include "basalt/concurrency/thread_pool.h"
#include "basalt/concurrency/thread_registry.h"
#include "basalt/errors/any_error.h"
#include "basalt/errors/base_error.h"
#include "basalt/errors/error_info.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/automation_strings.h"
#include "basalt/platform/guid.h"
#include "basalt/platform/jtc_exceptions.h"
#include "basalt/platform/registry_types.h"
#include "basalt/platform/variant.h"
#include "basalt/system/file.h"
#include "basalt/system/file_locator.h"
#include "basalt/system/registry_wrapper.h"
#include "basalt/system/shared_library.h"
#include "basalt/system/string_resource_library.h"
#include "basalt/system/system_support.h"
#include "basalt/text/formatted_text.h"
#include "basalt/text/kelp_string.h"
#include "basalt/text/string_converters.h"
#include "basalt/text/thread_locale.h"

#endif
