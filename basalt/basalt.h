#ifndef BASALT_BASALT_H
#define BASALT_BASALT_H

// The whole exported interface of basalt. Each class comment says whether the class may be
// shared between threads.

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
#include "basalt/data/node_list_iterator.h"
#include "basalt/data/smart_common_variant.h"
#include "basalt/data/xml_support.h"
#include "basalt/errors/any_error.h"
#include "basalt/errors/base_error.h"
#include "basalt/errors/error_info.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/guid.h"
#include "basalt/platform/com/variant.h"
#include "basalt/platform/com/xml_dom.h"
#include "basalt/platform/registry/registry_types.h"
#include "basalt/platform/threads/jtc_exceptions.h"
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
#include "basalt/version.h"

#endif
