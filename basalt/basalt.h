#ifndef BASALT_BASALT_H
#define BASALT_BASALT_H

// The whole exported interface of basalt.

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/data/node_list_iterator.h"
#include "basalt/data/smart_common_variant.h"
#include "basalt/data/xml_support.h"
#include "basalt/errors/any_error.h"
#include "basalt/errors/base_error.h"
#include "basalt/errors/error_info.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/automation_strings.h"
#include "basalt/platform/com.h"
#include "basalt/platform/guid.h"
#include "basalt/platform/registry_types.h"
#include "basalt/platform/variant.h"
#include "basalt/platform/xml_dom.h"
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
